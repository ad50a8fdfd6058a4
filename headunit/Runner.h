/*
 * Performs a script, step by step, as time passes and callbacks come. The main thread owns it and
 * tells it the time, so that it never waits itself.
 */
#ifndef HEADUNIT_RUNNER_H
#define HEADUNIT_RUNNER_H

#include "Script.h"

namespace quarlo::headunit {

class Runner {
  public:
    using Time = StepTime;

    /** @param note is told of each step as it begins */
    Runner(const Script& script, HeadUnit& unit, std::function<void(const std::string&)> note);

    void happened(Event event) { scene.history.add(std::move(event)); }
    /** @param isWhole the update covers the screen */
    void updated(bool isWhole);
    /** Does all that is due. */
    void run(Time now) { player.run(now); }

    bool isDone() const { return player.isDone(); }
    /** Empty, or the line and what went wrong there. */
    const std::string& failure() const { return player.failure(); }
    /** When to run again at the latest. */
    std::optional<Time> wake() const { return player.wake(); }

  private:
    Scene scene;
    Player<Scene> player;
};

}  // namespace quarlo::headunit

#endif
