/*
 * Performs steps as time passes and callbacks come: those of a script, and those of the control
 * socket's clients. The main thread owns it and tells it the time, so that it never waits itself.
 */
#ifndef HEADUNIT_RUNNER_H
#define HEADUNIT_RUNNER_H

#include "Script.h"
#include "common/Control.h"

namespace quarlo::headunit {

class Runner {
  public:
    using Time = StepTime;

    /** @param note is told of each step as it begins */
    Runner(HeadUnit& unit, std::function<void(const std::string&)> note);

    void play(const Script& script);
    /**
     * Lets other programs give steps.
     * @param wake is called, on any thread, when there are some
     * @throws std::runtime_error when the socket cannot be made
     */
    void listen(const std::string& path, std::function<void()> wake);

    void happened(const Event& event);
    /** @param isWhole the update covers the screen */
    void updated(bool isWhole);
    /** Does all that is due. */
    void run(Time now);

    bool hasScript() const { return player.has_value(); }
    /** The script has come to its end, or to a step that failed. */
    bool isDone() const { return player && player->isDone(); }
    /** Empty, or the line and what went wrong there. */
    std::string failure() const { return player ? player->failure() : std::string(); }
    /** When to run again at the latest. */
    std::optional<Time> wake() const;

  private:
    Scene newScene() const;
    template <typename Visit>
    void eachScene(Visit visit);

    HeadUnit& unit;
    const std::function<void(const std::string&)> note;
    Scene scene;  ///< of the script
    std::optional<Player<Scene>> player;
    std::unique_ptr<Control<Scene>> control;
};

}  // namespace quarlo::headunit

#endif
