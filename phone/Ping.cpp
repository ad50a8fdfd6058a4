// Sends a ping every second and checks the counters that come back. Session thread.
#include "Session.h"

namespace quarlo::phone {
namespace {

constexpr std::chrono::seconds interval{1};

class Ping : public Feature {
  public:
    explicit Ping(Session& session) : session_(session) {
        session.on<packetPingAcknowledge>([this](const auto& packet) { onAnswer(packet); });
    }

    void begin(TimePoint now) override { next_ = now + interval; }

    void tick(TimePoint now) override {
        if (now < next_) return;
        ++counter_;
        session_.send<packetPing>([&](auto& packet) { packet.PacketCounter = counter_; });
        next_ = std::max(next_ + interval, now);
    }

    TimePoint nextWake() const override { return next_; }

  private:
    void onAnswer(const packetPingAcknowledge& packet) {
        if (packet.PacketCounter - lastAnswered_ != 1 || packet.PacketCounter > counter_) {
            session_.note("ping answered with counter " + std::to_string(packet.PacketCounter) +
                          " after " + std::to_string(lastAnswered_) + "; last sent " +
                          std::to_string(counter_));
        }
        lastAnswered_ = packet.PacketCounter;
    }

    Session& session_;
    TimePoint next_ = TimePoint::max();
    UInt32 counter_ = 0;
    UInt32 lastAnswered_ = 0;
};

}  // namespace

std::unique_ptr<Feature> makePing(Session& session) {
    return std::make_unique<Ping>(session);
}

}  // namespace quarlo::phone
