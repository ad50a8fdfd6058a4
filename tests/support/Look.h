/* Memory that is looked at byte by byte, so that a sanitizer sees what must not be read. */
#ifndef QUARLO_TESTS_LOOK_H
#define QUARLO_TESTS_LOOK_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

namespace quarlo::test {

/** Ends the program: what must hold did not. */
inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "found: %s\n", what);
    std::abort();
}

/** Where a sum ends, so that no compiler leaves it out. */
inline thread_local volatile unsigned sink = 0;

inline void look(const void* data, std::size_t size) {
    require(data != nullptr || size == 0, "bytes announced, none given");
    unsigned sum = 0;
    const auto* at = static_cast<const std::uint8_t*>(data);
    for (std::size_t i = 0; i < size; ++i) sum += at[i];
    sink = sum;
}

inline void lookAtText(const char* text) {
    if (text != nullptr) look(text, std::strlen(text) + 1);
}

/** Exactly these bytes on the heap: a sanitizer sees the first one beyond them. */
class Exact {
  public:
    explicit Exact(std::size_t size, std::uint8_t fill = 0)
        : length(size), block(std::malloc(size)) {
        if (block != nullptr) std::fill_n(data(), size, fill);
    }
    explicit Exact(std::span<const std::uint8_t> bytes) : Exact(bytes.size()) {
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

}  // namespace quarlo::test

#endif
