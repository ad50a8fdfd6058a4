/**
 * @file
 * One head unit while it is connected: its link, its screen and its session, which live on a thread
 * of their own. Others reach them by posting tasks to that thread; what they may ask directly is
 * atomic or guarded by the lock.
 */
#ifndef PHONE_SERVEDUNIT_H
#define PHONE_SERVEDUNIT_H

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "Happening.h"
#include "LinkStream.h"
#include "Session.h"

namespace quarlo::phone {

class ServedUnit {
  public:
    using Task = std::function<void(Session&)>;
    /** What a head unit has to do with others and with the program. */
    struct Place {
        Options options;
        const Log& log;
        const Bell& owner;  ///< is rung when the head unit is gone
        int number;         ///< from 1 on; of those connected at one time no two are equal
        int app;            ///< in front at the beginning
        Teller tell;        ///< hears what becomes of the head unit, if there is one
    };

    ServedUnit(Link link, const Place& where);
    /** Ends the connection and waits for the thread. */
    ~ServedUnit();

    /** Has the session's thread do something. Forgotten when the session is not there, or not there
     * any more. From any thread. */
    void post(Task task);
    /** Has the connection end soon, with what is queued already sent. From any thread. */
    void stop();
    /** Waits until it is gone. */
    void wait();

    int number() const { return place.number; }
    /** The session has ended; what is left is to say good-bye, which may take a moment. */
    bool isLeaving() const { return hasEnded.load(); }
    bool isGone() const { return hasGone.load(); }
    bool wasCompleted() const { return hasRun.load(); }
    /** The app in front when the session ended: once, and nothing before. */
    std::optional<int> takeAppLeft();
    /** Copies the screen if it was drawn anew since the drawing `seen`, which becomes the present
     * one; 0 stands for none. */
    void copyPicture(Picture& into, unsigned& seen) const;

  private:
    void note(const std::string& text) const;
    void run(Link link);
    void serve(LinkStream& stream);
    bool isAwaited(const LinkStream& stream) const;
    void perform(Session& session);
    void report(Event event, std::span<const std::uint8_t> packet = {},
                const std::string& text = {}) const;
    Witness witness() const;
    void publish(const Screen& screen);
    void finish(LinkStream& stream) const;

    const Place place;
    Bell bell;
    std::atomic<bool> isStopping{false};
    std::atomic<bool> hasEnded{false};
    std::atomic<bool> hasGone{false};
    std::atomic<bool> hasRun{false};
    mutable std::mutex lock;
    std::optional<int> appLeft;
    std::vector<Task> tasks;
    Picture shown;
    unsigned drawings = 0;
    std::thread thread;
};

}  // namespace quarlo::phone

#endif
