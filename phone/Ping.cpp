// Sends a ping every second and checks the counters that come back. Session thread.
#include "Session.h"

namespace quarlo::phone {
namespace {

constexpr std::chrono::seconds interval{1};

class Ping : public Feature {
  public:
    explicit Ping(Session& owner) : session(owner) {
        session.on<packetPingAcknowledge>([this](const auto& packet) { onAnswer(packet); });
    }

    void begin(TimePoint now) override { next = now + interval; }

    void tick(TimePoint now) override {
        if (now < next) return;
        ++counter;
        session.send<packetPing>([&](auto& packet) { packet.PacketCounter = counter; });
        next = std::max(next + interval, now);
    }

    TimePoint nextWake() const override { return next; }

  private:
    void onAnswer(const packetPingAcknowledge& packet) {
        const UInt32 answered = packet.PacketCounter;
        const bool isAwaited = answered > lastAnswered && answered <= counter;
        if (!isAwaited || answered - lastAnswered - 1 > wrongAnswers) {
            session.note("ping answered with counter " + std::to_string(answered) + " after " +
                         std::to_string(lastAnswered) + "; last sent " + std::to_string(counter));
        }
        wrongAnswers = isAwaited ? 0 : wrongAnswers + 1;
        if (isAwaited) lastAnswered = answered;
    }

    Session& session;
    TimePoint next = TimePoint::max();
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
