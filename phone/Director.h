/**
 * @file
 * Has steps performed on head units: those of a script, and those of the control socket's clients.
 * Lives on the main thread and reaches the sessions through their tasks; what happens to them comes
 * from their threads and waits behind the lock.
 */
#ifndef PHONE_DIRECTOR_H
#define PHONE_DIRECTOR_H

#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Bell.h"
#include "Happening.h"
#include "ScriptSteps.h"
#include "Session.h"
#include "common/Control.h"

namespace quarlo::phone {

/** The head units there are, as far as steps have to do with them. */
class Ensemble {
  public:
    virtual ~Ensemble() = default;
    /** Has the session's thread do something, or forgets it when the head unit leaves before. */
    virtual void post(int number, std::function<void(Session&)> task) = 0;
    /** For those that are there and those that come. */
    virtual void change(const Setting& setting) = 0;
};

class Director;

/** How far a head unit is, as far as was heard of it. */
enum class State { Absent, Connected, Running };

/** What the steps of one script, or of one client, have to do with. */
struct Scene {
    Director& director;
    /** Of a script that waits for head units; a client is told that they are not there. */
    bool isPatient;
    int unit = 1;                            ///< the number of the one that the steps are about
    History<Happening>::Number unheard = 0;  ///< what came before was waited for, or passed over

    void begin(unsigned line, const std::string& text) const;
};

class Director {
  public:
    /** @param wake is rung when there is something to do
     * @throws std::runtime_error when the control socket cannot be made */
    Director(const Options& options, const Log& log, const Bell& wake);

    /** From any thread. */
    void tell(Happening happening);

    /** Does all that is due. */
    void run(Ensemble& present);
    /** When to run again at the latest. */
    TimePoint wake() const;
    /** There was a script, and it is done or has failed. */
    bool isDone() const { return script && script->isDone(); }
    /** What is wrong if everything ends now: empty, or the line and why. */
    std::string verdict() const;

    // For the steps.
    Ensemble& ensemble() { return *units; }
    const History<Happening>& history() const { return past; }
    State stateOf(int unit) const;
    const Bell& bell() const { return alarm; }
    void note(const std::string& text) const { output.line("STEP", text); }

  private:
    void take(Happening happening);
    StepTime now() const;

    const Log& output;
    const Bell& alarm;
    const TimePoint start = std::chrono::steady_clock::now();
    Ensemble* units = nullptr;
    History<Happening> past;
    std::map<int, State> states;  ///< of those that are not absent
    Scene scene{*this, true};
    std::optional<Player<Scene>> script;
    std::mutex lock;
    std::deque<Happening> news;  ///< guarded by the lock
    std::size_t newsBytes = 0;   ///< guarded by the lock
    std::unique_ptr<Control<Scene>> control;
};

}  // namespace quarlo::phone

#endif
