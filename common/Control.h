/*
 * The steps of other programs: each client of a control socket has a player of its own, gives it a
 * line at a time and hears "ok", or "error" and why. Whoever owns it gives it turns; one thread.
 */
#ifndef COMMON_CONTROL_H
#define COMMON_CONTROL_H

#include <map>
#include <memory>

#include "ControlSocket.h"
#include "Player.h"

namespace quarlo {
inline namespace common {

template <class Stage>
class Control {
  public:
    using Table = Steps<Deed<Stage>>;

    /**
     * @param steps outlives it
     * @param enter makes the stage of a client that has come
     * @param wake see ControlSocket
     */
    Control(const std::string& path, const Table& steps,
            std::function<std::unique_ptr<Stage>()> enter, std::function<void()> wake)
        : table(steps), makeStage(std::move(enter)), socket(path, std::move(wake)) {}

    /** Does all that is due. */
    void run(StepTime now) {
        for (const auto& [client, line] : socket.take()) {
            if (line) {
                begin(client, *line, now);
            } else {
                actors.erase(client);
            }
        }
        for (auto& [client, actor] : actors) turn(client, actor, now);
    }

    /** When to run again at the latest. */
    std::optional<StepTime> wake() const {
        std::optional<StepTime> first;
        for (const auto& [client, actor] : actors) first = earlier(first, actor.player->wake());
        return first;
    }

    /** Shows the stage of each client. */
    template <class Visit>
    void each(Visit visit) {
        for (auto& [client, actor] : actors) visit(*actor.stage);
    }

  private:
    struct Actor {
        std::unique_ptr<Stage> stage;
        std::unique_ptr<Player<Stage>> player;
        bool isAsked = false;
    };

    void begin(ControlSocket::Client client, const std::string& given, StepTime now) {
        const std::string line = Words(given).rest();
        if (line.empty() || line.starts_with('#')) return socket.answer(client, {});
        Step<Deed<Stage>> step;
        step.text = line;
        const std::string allowed = table.read(line, step.what);
        if (!allowed.empty()) return socket.answer(client, "error " + refusal(line, allowed));
        Actor& actor = actors[client];
        if (actor.stage == nullptr) {
            actor.stage = makeStage();
            actor.player = std::make_unique<Player<Stage>>(*actor.stage, "control");
        }
        actor.player->add(std::move(step));
        actor.isAsked = true;
        turn(client, actor, now);
    }

    void turn(ControlSocket::Client client, Actor& actor, StepTime now) {
        if (!actor.isAsked) return;
        actor.player->run(now);
        if (!actor.player->isDone()) return;
        const std::string& problem = actor.player->problemOfStep();
        socket.answer(client, problem.empty() ? "ok" : "error " + problem);
        actor.player->clear();
        actor.isAsked = false;
    }

    const Table& table;
    const std::function<std::unique_ptr<Stage>()> makeStage;
    std::map<ControlSocket::Client, Actor> actors;
    ControlSocket socket;
};

}  // namespace common
}  // namespace quarlo

#endif
