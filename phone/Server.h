/**
 * @file
 * The phone as a program that serves head units: lets them in, shows one of them in the window, and
 * knows when all is over. Everything runs on the main thread but what arrives.
 */
#ifndef PHONE_SERVER_H
#define PHONE_SERVER_H

#include <deque>
#include <memory>
#include <mutex>

#include "Arrivals.h"
#include "Director.h"
#include "ServedUnit.h"

namespace quarlo::phone {

/** Where the phone's screen is shown beside the head units; see PhoneWindow. */
class Display {
  public:
    virtual ~Display() = default;
    /** @param unit is shown, or null for the phone's own screen
     * @return false when the user has closed the window */
    virtual bool turn(ServedUnit* unit) = 0;
};

class Server : private Ensemble {
  public:
    /** @param wake ends the waiting of `run`
     * @param own the phone's screen while no head unit is there: it keeps what is in front
     * @param steps has the head units do what it says, until it is done; may be null */
    Server(const Options& options, const Log& log, const Bell& wake, Screen& own, Director* steps);

    /** Throws std::runtime_error with a text for the user if it cannot begin. */
    void begin();
    /**
     * Serves until it is told to end, its time is over, the window is closed or its one connection
     * is.
     * @param isStopRequested is looked at whenever the bell rings
     * @param window may be null
     * @return the exit status
     */
    int run(const std::function<bool()>& isStopRequested, Display* window);

  private:
    void admit();
    void welcome(Link link);
    void dismiss();
    bool turn(Display* window);
    int freeNumber() const;
    bool isDone() const;
    int close();

    ServedUnit* find(int number) const;
    void post(int number, ServedUnit::Task task) override;
    void change(const Setting& setting) override;

    const Options& given;
    Options newcomers;  ///< what holds for the head units to come
    const Log& output;
    const Bell& bell;
    Screen& ownScreen;
    std::mutex lock;
    std::deque<Link> arrived;                       ///< guarded by the lock
    std::deque<std::unique_ptr<ServedUnit>> units;  ///< the first to come is the first
    Director* director = nullptr;
    bool hasCome = false;
    bool wasCompleted = false;
    std::unique_ptr<Arrivals> arrivals;
};

}  // namespace quarlo::phone

#endif
