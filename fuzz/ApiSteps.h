/* The steps of an input of the target api: what the seeds need to know too. */
#ifndef QUARLO_FUZZ_APISTEPS_H
#define QUARLO_FUZZ_APISTEPS_H

#include <iterator>

#include "ApiCalls.h"

namespace quarlo::fuzz::step {

/* The highest bit of a step is the instance. */
constexpr unsigned secondInstance = 0x80;
/* That of a reaction: the others have their turns first. */
constexpr unsigned takeTime = 0x80;

enum Lifecycle : unsigned {
    Open,
    Start,
    Close,
    Connect,
    Turn,
    Turns,
    EndLink,
    Callbacks,
    AnnounceShutdown,
    RefuseAllocation,
    RefuseThread,
    React,
    HearMany,
    Hear,
    lifecycleSteps
};

/** A call stands for itself when it neither begins nor ends anything that the steps above do. */
constexpr bool isStep(const test::ApiCall& call) {
    using test::About;
    return call.about != About::Library && call.about != About::Life && call.about != About::Links;
}

/** The calls that are steps, by number. */
constexpr const test::ApiCall& call(unsigned number) {
    for (;;) {
        for (const test::ApiCall& each : test::apiCalls) {
            if (isStep(each) && number-- == 0) return each;
        }
    }
}

/** The step of a call. */
constexpr unsigned of(std::string_view name) {
    unsigned number = lifecycleSteps;
    while (call(number - lifecycleSteps).name != name) ++number;
    return number;
}

/** How many calls are steps; those behind the last begin again. */
constexpr unsigned calls = [] {
    unsigned count = 0;
    for (const test::ApiCall& each : test::apiCalls) count += isStep(each) ? 1U : 0U;
    return count;
}();
static_assert(lifecycleSteps + calls <= secondInstance);

}  // namespace quarlo::fuzz::step

#endif
