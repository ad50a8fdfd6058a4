// Sends a ping every second, checks the counters that come back, and gives up a head unit that
// leaves pings unanswered for too long. Session thread.
#include "Session.h"

namespace quarlo::phone {
namespace {

constexpr std::chrono::seconds interval{1};

class Ping : public Feature {
  public:
    explicit Ping(Session& owner) : session(owner) {
        session.on<packetPingAcknowledge>([this](const auto& packet) { onAnswer(packet); });
    }

    void begin(TimePoint now) override {
        next = now + interval;
        answeredAt = now;
    }

    void tick(TimePoint now) override {
        // What still waits to be sent cannot be answered.
        if (lastAnswered == counter || !session.isAllSent()) answeredAt = now;
        if (now >= giveUpAt()) {
            return session.end("pings were not answered for " +
                               std::to_string(session.options().pingLimit) + " s");
        }
        if (now < next) return;
        ++counter;
        session.send<packetPing>([&](auto& packet) { packet.PacketCounter = counter; });
        next = std::max(next + interval, now);
    }

    TimePoint nextWake() const override { return std::min(next, giveUpAt()); }

  private:
    TimePoint giveUpAt() const {
        const unsigned limit = session.options().pingLimit;
        return limit == 0 ? TimePoint::max() : answeredAt + std::chrono::seconds(limit);
    }

    void onAnswer(const packetPingAcknowledge& packet) {
        const UInt32 answered = packet.PacketCounter;
        const bool isAwaited = answered > lastAnswered && answered <= counter;
        if (!isAwaited || answered - lastAnswered - 1 > wrongAnswers) {
            session.note("ping answered with counter " + std::to_string(answered) + " after " +
                         std::to_string(lastAnswered) + "; last sent " + std::to_string(counter));
        }
        wrongAnswers = isAwaited ? 0 : wrongAnswers + 1;
        if (!isAwaited) return;
        lastAnswered = answered;
        answeredAt = session.now();
    }

    Session& session;
    TimePoint next = TimePoint::max();
    /// Since then pings wait for an answer.
    TimePoint answeredAt{};
    UInt32 counter = 0;
    UInt32 lastAnswered = 0;
    /// Since that one; each may have stood for a right one, which is then not missing.
    UInt32 wrongAnswers = 0;
};

}  // namespace

std::unique_ptr<Feature> makePing(Session& session) {
    return std::make_unique<Ping>(session);
}

}  // namespace quarlo::phone
