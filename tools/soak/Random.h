/**
 * @file
 * Repeatable choices: a session's seed decides all of them. One thread.
 */
#ifndef QUARLO_SOAK_RANDOM_H
#define QUARLO_SOAK_RANDOM_H

#include <cstdint>
#include <random>

namespace quarlo::soak {

class Random {
  public:
    explicit Random(std::uint64_t seed) : engine(seed) {}

    unsigned between(unsigned least, unsigned most) {
        return std::uniform_int_distribution<unsigned>(least, most)(engine);
    }
    bool oneIn(unsigned n) { return between(1, n) == 1; }
    /** Small numbers often, large ones now and then: lengths. */
    unsigned length(unsigned least, unsigned most) {
        return oneIn(30) ? between(least, most) : between(least, least + (most - least) / 16);
    }
    template <class T, std::size_t N>
    T of(const T (&choices)[N]) {
        return choices[between(0, N - 1)];
    }

  private:
    std::mt19937_64 engine;
};

}  // namespace quarlo::soak

#endif
