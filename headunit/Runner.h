/*
 * Performs a script, step by step, as time passes and callbacks come. The main thread owns it and
 * tells it the time, so that it never waits itself.
 */
#ifndef HEADUNIT_RUNNER_H
#define HEADUNIT_RUNNER_H

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "Mailbox.h"
#include "Script.h"

namespace quarlo::headunit {

class Runner {
  public:
    using Time = std::chrono::milliseconds;

    /** @param note is told of each step as it begins */
    Runner(const Script& script, HeadUnit& unit, std::function<void(const std::string&)> note);

    void happened(Event event);
    /** @param isWhole the update covers the screen */
    void updated(bool isWhole);
    /** Does all that is due. */
    void run(Time now);

    bool isDone() const { return !failure_.empty() || position == script.steps.size(); }
    /** Empty, or the line and what went wrong there. */
    const std::string& failure() const { return failure_; }
    /** When to run again at the latest. */
    std::optional<Time> wake() const { return due; }

  private:
    /* Each says whether the step is over. */
    bool perform(const Act& act, Time now);
    bool perform(const Pause& pause, Time now);
    bool perform(const WaitFor& wait, Time now);
    bool perform(const Expect& expect, Time now);
    bool perform(const Screenshot& screenshot, Time now);

    bool advance(Time now);
    bool fail(const std::string& why);
    bool isOver(Time now) const { return due && now >= *due; }
    std::optional<std::size_t> find(std::size_t from, const std::string& callback,
                                    const std::string& text) const;

    const Script& script;
    HeadUnit& unit;
    const std::function<void(const std::string&)> note;
    std::size_t position = 0;
    bool hasBegun = false;     // the step at the position
    std::size_t nextCall = 0;  // of an Act
    std::optional<Time> due;
    bool sawUpdate = false;  // since the step began
    bool sawWhole = false;
    std::deque<Event> events;
    std::size_t firstNew = 0;  // the events before it were waited for, or passed over
    std::string failure_;
};

}  // namespace quarlo::headunit

#endif
