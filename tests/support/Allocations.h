/*
 * The library's allocator under observation: counts blocks and refuses the ones a test names. Only
 * for programs linked with quarlo_watch_allocations(). The counters are atomic; a refusal is armed
 * while no other thread allocates.
 */
#ifndef QUARLO_TESTS_ALLOCATIONS_H
#define QUARLO_TESTS_ALLOCATIONS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace quarlo::test::allocations {

/** Blocks taken and not given back. */
long live();
/** Requests since the last restart, refused ones included. */
long made();
/** The largest request since the last restart. */
std::size_t largest();

/** Restarts counting and refuses the n-th request, onwards also all after it; none for 0. */
void restart(long refused = 0, bool onwards = false);
/** Refuses all requests of at least so many bytes; 0 ends this. */
void refuseFrom(std::size_t size);

/**
 * Runs action once to count its requests, then once for each with that one refused. The action gets
 * the number of the refused request, 0 at first, and gives back all that it takes.
 */
template <class Action>
long sweep(Action action) {
    const long before = live();
    restart();
    action(0L);
    const long total = made();
    for (long refused = 1; refused <= total; ++refused) {
        SCOPED_TRACE("refused request " + std::to_string(refused));
        restart(refused);
        action(refused);
        EXPECT_EQ(live(), before) << "leaked";
    }
    restart();
    EXPECT_EQ(live(), before) << "leaked without a refusal";
    return total;
}

}  // namespace quarlo::test::allocations

#endif
