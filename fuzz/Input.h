/* The bytes of one fuzz input, taken from the front; what is missing reads as zeros. */
#ifndef QUARLO_FUZZ_INPUT_H
#define QUARLO_FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Look.h"

namespace quarlo::fuzz {

using test::Exact;
using test::look;
using test::require;

using Span = std::span<const std::uint8_t>;

class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : left(data, size) {}

    [[nodiscard]] bool isEmpty() const { return left.empty(); }
    /** A number of so many bytes. */
    std::uint64_t number(std::size_t size) {
        std::uint64_t value = 0;
        unsigned shift = 0;
        for (const std::uint8_t byte : take(size)) {
            value |= std::uint64_t{byte} << shift;
            shift += 8;
        }
        return value;
    }
    template <class T>
    T number() {
        return static_cast<T>(number(sizeof(T)));
    }
    std::uint8_t u8() { return number<std::uint8_t>(); }
    std::uint16_t u16() { return number<std::uint16_t>(); }
    std::uint32_t u32() { return number<std::uint32_t>(); }
    /** At most so many bytes. */
    Span take(std::size_t count) {
        const Span taken = left.first(std::min(count, left.size()));
        left = left.subspan(taken.size());
        return taken;
    }
    Span rest() { return take(left.size()); }

  private:
    Span left;
};

/** What a target does with an input; each defines its own. */
void play(Input& in);

}  // namespace quarlo::fuzz

extern "C" {
int LLVMFuzzerInitialize(int* argc, char*** argv);
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
}

#endif
