/* Counts the library's allocations through its single allocator, which the linker wraps. */
#ifndef QUARLO_BENCH_ALLOCATIONS_H
#define QUARLO_BENCH_ALLOCATIONS_H

#include <cstdint>

namespace quarlo::bench {

/** Allocations of the library on the calling thread since it began. */
std::uint64_t allocations();

}  // namespace quarlo::bench

#endif
