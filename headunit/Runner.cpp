#include "Runner.h"

#include "quarlo-names.h"

namespace quarlo::headunit {
namespace {

constexpr std::size_t maximumEvents = 16384;
// A phone that does not answer in that time has nothing newer to show.
constexpr Runner::Time screenshotPatience{15000};

std::string wanted(const std::string& callback, const std::string& text) {
    return "'" + callback + "'" + (text.empty() ? "" : " with '" + text + "'");
}

}  // namespace

Runner::Runner(const Script& given, HeadUnit& played,
               std::function<void(const std::string&)> listener)
    : script(given), unit(played), note(std::move(listener)) {}

void Runner::happened(Event event) {
    if (events.size() == maximumEvents) {
        events.pop_front();
        if (firstNew > 0) --firstNew;
    }
    events.push_back(std::move(event));
}

void Runner::updated(bool isWhole) {
    sawUpdate = true;
    sawWhole = sawWhole || isWhole;
}

void Runner::run(Time now) {
    while (!isDone() && advance(now)) {
    }
}

bool Runner::advance(Time now) {
    const Step& step = script.steps[position];
    if (!hasBegun) {
        note(std::to_string(step.line) + ": " + step.text);
        sawUpdate = sawWhole = false;
        nextCall = 0;
        due.reset();
    }
    const bool isStepOver =
        std::visit([&](const auto& what) { return perform(what, now); }, step.what);
    hasBegun = true;
    if (!isStepOver || !failure_.empty()) return false;
    hasBegun = false;
    due.reset();
    ++position;
    return true;
}

bool Runner::perform(const Act& act, Time now) {
    if (!hasBegun) due = now + Time(act.calls.front().afterMilliseconds);
    while (isOver(now)) {
        const eReturnCode result = act.calls[nextCall].make(unit);
        if (result != eRETURN_OKAY)
            return fail(std::string("refused: ") + quarloName_OfResult(result));
        if (++nextCall == act.calls.size()) return true;
        *due += Time(act.calls[nextCall].afterMilliseconds);
    }
    return false;
}

bool Runner::perform(const Pause& pause, Time now) {
    if (!hasBegun) due = now + Time(pause.milliseconds);
    return isOver(now);
}

bool Runner::perform(const WaitFor& wait, Time now) {
    if (!hasBegun) due = now + Time(wait.milliseconds);
    if (wait.callback == "update") {
        if (sawUpdate) return true;
    } else if (const auto found = find(firstNew, wait.callback, wait.text)) {
        firstNew = *found + 1;
        return true;
    }
    if (!isOver(now)) return false;
    return fail("no callback " + wanted(wait.callback, wait.text) + " within " +
                std::to_string(wait.milliseconds) + " ms");
}

// What the step before made happen at once reaches the runner only after this round: so a miss is
// judged in the next.
bool Runner::perform(const Expect& expect, Time now) {
    if (find(0, expect.callback, expect.text)) return true;
    if (!hasBegun) {
        due = now;
        return false;
    }
    return fail("there was no callback " + wanted(expect.callback, expect.text));
}

bool Runner::perform(const Screenshot& screenshot, Time now) {
    if (!hasBegun && unit.hasFrames()) {
        due = now + screenshotPatience;
        const eReturnCode result = unit.change(Refresh{});
        if (result != eRETURN_OKAY)
            return fail(std::string("refused: ") + quarloName_OfResult(result));
    }
    if (due && !sawWhole && !isOver(now)) return false;
    const std::string problem = unit.screenshot(screenshot.name);
    return problem.empty() || fail(problem);
}

bool Runner::fail(const std::string& why) {
    const Step& step = script.steps[position];
    failure_ = script.file + ":" + std::to_string(step.line) + ": '" + step.text + "': " + why;
    return false;
}

std::optional<std::size_t> Runner::find(std::size_t from, const std::string& callback,
                                        const std::string& text) const {
    for (std::size_t i = from; i < events.size(); ++i) {
        const Event& event = events[i];
        if (event.callback == callback && event.text.find(text) != std::string::npos) return i;
    }
    return {};
}

}  // namespace quarlo::headunit
