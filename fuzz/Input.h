/* The bytes of one fuzz input, taken from the front; what is missing reads as zeros. */
#ifndef QUARLO_FUZZ_INPUT_H
#define QUARLO_FUZZ_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

namespace quarlo::fuzz {

using Span = std::span<const std::uint8_t>;

class Input {
  public:
    Input(const std::uint8_t* data, std::size_t size) : left(data, size) {}

    [[nodiscard]] bool isEmpty() const { return left.empty(); }
    template <class T>
    T number() {
        std::uint64_t value = 0;
        unsigned shift = 0;
        for (const std::uint8_t byte : take(sizeof(T))) {
            value |= std::uint64_t{byte} << shift;
            shift += 8;
        }
        return static_cast<T>(value);
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

/** A finding of a target's own: what must hold did not. */
inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "fuzz: %s\n", what);
    std::abort();
}

/** Where a sum ends, so that no compiler leaves it out. */
inline volatile unsigned sink = 0;

/** Reads every byte, so that a sanitizer sees those that must not be read. */
inline void look(const void* data, std::size_t size) {
    require(data != nullptr || size == 0, "bytes announced, none given");
    unsigned sum = 0;
    for (const std::uint8_t byte : Span(static_cast<const std::uint8_t*>(data), size)) sum += byte;
    sink = sum;
}

/** Exactly these bytes on the heap: a sanitizer sees the first one beyond them. */
class Exact {
  public:
    explicit Exact(std::size_t size) : length(size), block(std::malloc(size)) {
        if (block != nullptr) std::fill_n(data(), size, std::uint8_t{0});
    }
    explicit Exact(Span bytes) : Exact(bytes.size()) {
        std::copy(bytes.begin(), bytes.end(), data());
    }
    ~Exact() { std::free(block); }
    Exact(const Exact&) = delete;
    Exact& operator=(const Exact&) = delete;

    [[nodiscard]] std::uint8_t* data() const { return static_cast<std::uint8_t*>(block); }
    [[nodiscard]] std::size_t size() const { return length; }

  private:
    std::size_t length;
    void* block;
};

/** What a target does with an input; each defines its own. */
void play(Input& in);

}  // namespace quarlo::fuzz

extern "C" {
int LLVMFuzzerInitialize(int* argc, char*** argv);
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
}

#endif
