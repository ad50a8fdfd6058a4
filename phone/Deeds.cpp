#include "Deeds.h"

#include <atomic>

namespace quarlo::phone {
namespace {

std::string nameOf(int unit) {
    return "head unit " + std::to_string(unit);
}

std::optional<History<Happening>::Number> find(const Scene& scene, History<Happening>::Number from,
                                               const Wanted& wanted) {
    return scene.director.history().find(from, [&](const Happening& happening) {
        return happening.unit == scene.unit && wanted.isIn(happening);
    });
}

}  // namespace

Performed errand(State needed, const std::function<void(Session&)>& act) {
    using Flag = std::atomic<bool>;
    return [needed, act, isDone = std::shared_ptr<Flag>()](Scene& scene, Turn&) mutable -> Outcome {
        if (isDone != nullptr && isDone->load()) return isWellDone;
        // Whoever forgets the task forgets its flag.
        if (isDone != nullptr && isDone.use_count() > 1) return goesOn;
        isDone.reset();
        if (scene.director.stateOf(scene.unit) < needed) {
            if (scene.isPatient) return goesOn;
            return nameOf(scene.unit) + (needed == State::Running
                                             ? " has not completed the handshake"
                                             : " is not connected");
        }
        isDone = std::make_shared<Flag>(false);
        scene.director.ensemble().post(
            scene.unit, [act, isDone, &bell = scene.director.bell()](Session& session) {
                act(session);
                isDone->store(true);
                bell.ring();
            });
        return goesOn;
    };
}

Performed sending(State needed, const std::vector<UInt8>& bytes) {
    return errand(needed, [bytes](Session& session) {
        session.sendDirect([&bytes](std::vector<std::uint8_t>& out) {
            out.insert(out.end(), bytes.begin(), bytes.end());
            return true;
        });
    });
}

Performed sendingPacket(std::string_view name,
                        const std::vector<std::pair<std::string_view, std::string>>& fields) {
    const std::vector<UInt8> bytes = packetWith(name, fields);
    if (!bytes.empty()) return sending(State::Running, bytes);
    return [](Scene&, Turn&) { return Outcome("too long for a packet"); };
}

Performed wishing(Wish wish, int which) {
    return errand(State::Running, [=](Session& session) { session.phone().ask(wish, which); });
}

Performed setting(const Setting& change) {
    return [change](Scene& scene, Turn&) {
        scene.director.ensemble().change(change);
        return isWellDone;
    };
}

Performed waitFor(const Wanted& wanted, unsigned milliseconds) {
    return [wanted, milliseconds](Scene& scene, Turn& turn) -> Outcome {
        if (const auto found = find(scene, scene.unheard, wanted)) {
            scene.unheard = *found + 1;
            return isWellDone;
        }
        if (wanted.isSo(scene.director.stateOf(scene.unit))) return isWellDone;
        if (!turn.isOver(milliseconds)) return goesOn;
        return "no '" + wanted.words + "' of " + nameOf(scene.unit) + " within " +
               std::to_string(milliseconds) + " ms";
    };
}

Performed expect(const Wanted& wanted, bool isToBe) {
    return [wanted, isToBe](Scene& scene, Turn&) -> Outcome {
        if (find(scene, 0, wanted).has_value() == isToBe) return isWellDone;
        return std::string(isToBe ? "there was no '" : "there was '") + wanted.words + "' of " +
               nameOf(scene.unit);
    };
}

Performed dropNow() {
    Wanted closed;
    closed.event = Event::Closed;
    const auto end = errand(State::Connected, [](Session& session) {
        session.endAfterSending("dropping the connection as told");
    });
    return [closed, end, isAsked = false, from = History<Happening>::Number{0}](
               Scene& scene, Turn& turn) mutable -> Outcome {
        if (turn.isFirst) from = scene.director.history().end();
        if (!isAsked) {
            Outcome outcome = end(scene, turn);
            if (!outcome || !outcome->empty()) return outcome;
            isAsked = true;
        }
        return find(scene, from, closed) ? isWellDone : goesOn;
    };
}

}  // namespace quarlo::phone
