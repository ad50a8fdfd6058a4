#include "Allocations.h"

#include <cstddef>

namespace {
// Per thread: an atomic count would cost as much as the allocations it counts.
thread_local std::uint64_t counter = 0;
}  // namespace

extern "C" {
void* __real_quarlo_malloc(std::size_t amount);
void __real_quarlo_free(void* block);
void* __wrap_quarlo_malloc(std::size_t amount);
void __wrap_quarlo_free(void* block);

void* __wrap_quarlo_malloc(std::size_t amount) {
    ++counter;
    return __real_quarlo_malloc(amount);
}
void __wrap_quarlo_free(void* block) {
    __real_quarlo_free(block);
}
}

namespace quarlo::bench {
std::uint64_t allocations() {
    return counter;
}
}  // namespace quarlo::bench
