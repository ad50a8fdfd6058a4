// Keeps one entry for each rule, whatever the head unit does: nothing here grows. One thread.
#include "Docket.h"

#include "common/Text.h"

namespace quarlo::phone {

void Docket::connect(TimePoint now) {
    ++connections;
    packets = 0;
    start = time = now;
}

void Docket::beginPacket() {
    ++packets;
    beginEvent();
}

void Docket::endEvent() {
    isOpen = false;
    if (worst) record(*worst);
    worst.reset();
}

/// Connections after the first refuse: most rules are about a session.
bool Docket::holds(Rule rule) const {
    return connections <= 1 || rule == Rule::WireFraming || rule == Rule::WireStrings ||
           rule == Rule::RefusalHandshake;
}

void Docket::judgeBy(Rule rule) {
    if (holds(rule)) ++entry(rule).judged;
}

void Docket::findAt(TimePoint when, Rule rule, const std::string& text) {
    if (!holds(rule)) return;
    const Breach breach{rule, text, when};
    if (!isOpen) return record(breach);
    if (!worst || rule < worst->rule) worst = breach;
}

void Docket::findOverdue(TimePoint limit, Rule rule, const std::string& text) {
    judgeBy(rule);
    findAt(limit, rule, text);
}

void Docket::record(const Breach& breach) {
    Entry& found = entry(breach.rule);
    if (++found.breaches > 1) return;
    const std::chrono::duration<double> seconds = breach.time - start;
    found.firstBreach =
        format("connection %d, packet %u, %.3f s: ", connections, packets, seconds.count()) +
        breach.text;
}

}  // namespace quarlo::phone
