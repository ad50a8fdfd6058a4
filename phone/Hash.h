/**
 * @file
 * Repeatable chance: the same numbers and seed give the same value on every machine.
 */
#ifndef PHONE_HASH_H
#define PHONE_HASH_H

#include <cstdint>

namespace quarlo::phone {

constexpr std::uint32_t hashOf(std::uint32_t a, std::uint32_t b, std::uint32_t seed) {
    std::uint32_t h = a * 0x9E3779B1u ^ (b * 0x85EBCA77u) ^ (seed * 0xC2B2AE3Du);
    h ^= h >> 15;
    h *= 0x2C1B3C6Du;
    h ^= h >> 12;
    h *= 0x297A2D39u;
    return h ^ (h >> 15);
}

/** 0 to 1. */
constexpr double hashedUnit(int a, int b, std::uint32_t seed) {
    const auto unsignedA = static_cast<std::uint32_t>(a);
    return (hashOf(unsignedA, static_cast<std::uint32_t>(b), seed) >> 8) / 16777216.0;
}

}  // namespace quarlo::phone

#endif
