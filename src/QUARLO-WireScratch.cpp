/* Blocks of the receiver's scratch memory; see the header. */
#include "QUARLO-WireScratch.h"

#include <algorithm>

#include "QUARLO-Posix.h"

namespace quarlo::wire {

namespace {
// Extra blocks double up to this size, so that a large packet takes few of them.
constexpr std::size_t largestStep = std::size_t{1024} * 1024;
}  // namespace

void Scratch::prepare() {
    if (ordinary == nullptr) ordinary = static_cast<UInt8*>(quarlo_malloc(ordinarySize));
    block = ordinary;
    capacity = ordinary == nullptr ? 0 : ordinarySize;
    used = 0;
}

void* Scratch::takeMore(std::size_t size) {
    const std::size_t step =
        extra == nullptr ? ordinarySize : std::min(2 * extra->size, largestStep);
    const std::size_t wanted = std::max(size, step);
    if (wanted > std::numeric_limits<std::size_t>::max() - sizeof(Extra)) return nullptr;
    auto* fresh = static_cast<Extra*>(quarlo_malloc(sizeof(Extra) + wanted));
    if (fresh == nullptr) return nullptr;
    *fresh = {extra, wanted};
    extra = fresh;
    block = reinterpret_cast<UInt8*>(fresh + 1);
    capacity = wanted;
    used = 0;
    return take(size);
}

void Scratch::releaseExtra() {
    while (extra != nullptr) {
        Extra* next = extra->next;
        quarlo_free(extra);
        extra = next;
    }
    block = ordinary;
    capacity = ordinary == nullptr ? 0 : ordinarySize;
}

void Scratch::release() {
    reset();
    quarlo_free(ordinary);
    *this = Scratch{};
}

}  // namespace quarlo::wire
