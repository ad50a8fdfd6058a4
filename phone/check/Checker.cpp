#include "Checker.h"

namespace quarlo::phone {
namespace {

constexpr std::chrono::milliseconds longestRound{250};
constexpr std::chrono::milliseconds nextLimit{3000};
constexpr Conversation::Refused refusals[] = {
    Conversation::Refused::Nothing, Conversation::Refused::Protocol, Conversation::Refused::Init,
    Conversation::Refused::Done};

}  // namespace

Checker::Checker(const Log& log, TimePoint now) : output(log), lastStep(now), clock(now) {}

void Checker::connect(Stream& stream) {
    const auto what = refusals[static_cast<std::size_t>(connections)];
    ++connections;
    conversation = std::make_unique<Conversation>(stream, judge, output, what, clock);
    output.line("UNIT", "connection " + std::to_string(connections));
}

bool Checker::step(TimePoint now) {
    clock += std::min<TimePoint::duration>(now - lastStep, longestRound);
    lastStep = now;
    if (conversation == nullptr) return clock < idleEnd;
    const bool goesOn = conversation->step(clock);
    if (connections == 1) wasRunning = judge.known().isRunning;
    if (goesOn) return true;
    conversation.reset();
    idleEnd = clock + nextLimit;
    return connections < static_cast<int>(std::size(refusals));
}

TimePoint Checker::nextWake() const {
    // Never so long that the clock would stand still.
    const TimePoint due = conversation == nullptr ? idleEnd : conversation->nextWake();
    constexpr auto longest = longestRound / 2;
    if (due >= clock + longest) return lastStep + longest;
    return lastStep + std::max(due - clock, TimePoint::duration(0));
}

}  // namespace quarlo::phone
