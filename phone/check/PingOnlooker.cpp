// Pings and their answers, in order; pings that were sent in unusual pieces are judged apart. One
// thread.
#include <algorithm>

#include "Onlooker.h"
#include "common/Text.h"

namespace quarlo::phone {
namespace {

class PingOnlooker : public Onlooker {
  public:
    using Onlooker::Onlooker;

    void tell(const Told& told) override {
        const auto* ping = told.packet.as<packetPing>();
        if (ping == nullptr) return;
        if (!known.isRunning) {
            beforeRun = ping->PacketCounter;
            return;
        }
        awaited.push_back({ping->PacketCounter, now(), told.isInPieces});
    }

    void hear(const Decoded& packet) override {
        const auto* answer = packet.as<packetPingAcknowledge>();
        if (answer == nullptr || !known.isRunning) return;
        const UInt32 counter = answer->PacketCounter;
        const auto found = std::find_if(awaited.begin(), awaited.end(),
                                        [&](const Ping& ping) { return ping.counter == counter; });
        if (found == awaited.end()) return hearUnawaited(counter);
        for (auto ping = awaited.begin(); ping != found; ++ping)
            docket.find(ruleOf(*ping), "the answer to " + std::to_string(counter) +
                                           " passes over " + std::to_string(ping->counter));
        take(*found);
        awaited.erase(awaited.begin(), found + 1);
    }

    void pass() override {
        while (!awaited.empty() && now() > awaited.front().sent + answerLimit) {
            const Ping& ping = awaited.front();
            docket.findOverdue(ping.sent + answerLimit, ruleOf(ping),
                               "no answer to ping " + std::to_string(ping.counter));
            settle(ping);
            awaited.pop_front();
        }
    }

    void forget() override { awaited.clear(); }

  private:
    struct Ping {
        UInt32 counter;
        TimePoint sent;
        bool isInPieces;
    };

    static Rule ruleOf(const Ping& ping) {
        return ping.isInPieces ? Rule::ReceivePieces : Rule::PingAnswer;
    }

    /// Counters only grow: all up to the last settled one may be said again.
    void settle(const Ping& ping) {
        settled = std::max(settled, ping.counter);
        hasSettled = true;
    }

    void take(const Ping& ping) {
        settle(ping);
        docket.judgeBy(ruleOf(ping));
        if (ping.isInPieces) return;
        slowest = std::max<Seconds>(slowest, now() - ping.sent);
        docket.praise(Rule::PingAnswer, format("%u answered, the slowest after %.0f ms", ++answered,
                                               slowest.count() * 1000));
    }

    /// It repeats an earlier answer, or is a wrong one for the ping that waits longest.
    void hearUnawaited(UInt32 counter) {
        const bool isRepeated = hasSettled ? counter > beforeRun && counter <= settled
                                           : counter == 0 || counter == beforeRun;
        if (isRepeated) return;
        const std::string text = "counter " + std::to_string(counter);
        if (awaited.empty()) return docket.find(Rule::PingAnswer, text + " answers no ping");
        const Ping& ping = awaited.front();
        docket.judgeBy(ruleOf(ping));
        docket.find(ruleOf(ping), text + " answers ping " + std::to_string(ping.counter));
        settle(ping);
        awaited.pop_front();
    }

    std::deque<Ping> awaited;
    UInt32 beforeRun = 0;
    UInt32 settled = 0;
    bool hasSettled = false;
    unsigned answered = 0;
    Seconds slowest{0};
};

}  // namespace

std::unique_ptr<Onlooker> makePingOnlooker(Docket& docket, const Known& known) {
    return std::make_unique<PingOnlooker>(docket, known);
}

}  // namespace quarlo::phone
