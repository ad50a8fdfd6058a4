/* The linker leads the library's allocator here (--wrap); see the header. */
#include "Allocations.h"

#include <atomic>

extern "C" {
void* __real_quarlo_malloc(std::size_t amount);
void __real_quarlo_free(void* block);
void* __wrap_quarlo_malloc(std::size_t amount);
void __wrap_quarlo_free(void* block);
}

namespace {
// Relaxed: the counters must not order the threads that they count, or races would go unseen.
constexpr auto relaxed = std::memory_order_relaxed;
std::atomic<long> liveBlocks{0};
std::atomic<long> requests{0};
std::atomic<long> refusedRequest{0};
std::atomic<bool> refusesOnwards{false};
std::atomic<std::size_t> refusedSize{0};
std::atomic<std::size_t> largestRequest{0};
}  // namespace

void* __wrap_quarlo_malloc(std::size_t amount) {
    const long number = ++requests;
    std::size_t largest = largestRequest;
    while (amount > largest && !largestRequest.compare_exchange_weak(largest, amount)) {
    }
    const long refused = refusedRequest;
    if (number == refused || (refusesOnwards && number > refused)) return nullptr;
    if (refusedSize != 0 && amount >= refusedSize) return nullptr;
    // As on platforms whose allocator has no empty blocks.
    if (amount == 0) return nullptr;
    void* block = __real_quarlo_malloc(amount);
    if (block != nullptr) liveBlocks.fetch_add(1, relaxed);
    return block;
}

void __wrap_quarlo_free(void* block) {
    if (block != nullptr) liveBlocks.fetch_sub(1, relaxed);
    __real_quarlo_free(block);
}

namespace quarlo::test::allocations {

long live() {
    return liveBlocks;
}
long made() {
    return requests;
}
std::size_t largest() {
    return largestRequest;
}
void restart(long refused, bool onwards) {
    refusesOnwards = onwards;
    requests = 0;
    largestRequest = 0;
    refusedRequest = refused;
}

void refuseFrom(std::size_t size) {
    refusedSize = size;
}

}  // namespace quarlo::test::allocations
