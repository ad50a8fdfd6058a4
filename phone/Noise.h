/**
 * @file
 * Repeatable noise: the same coordinates and seed give the same value on every machine.
 */
#ifndef QUARLO_PHONE_NOISE_H
#define QUARLO_PHONE_NOISE_H

#include <cstdint>

namespace quarlo::phone {

std::uint32_t hashOf(std::uint32_t a, std::uint32_t b, std::uint32_t seed);

/** 0 to 1. */
float hashedUnit(int a, int b, std::uint32_t seed);

/** Smooth noise between 0 and 1 with its slope in both directions. */
struct Noise {
    float value;
    float slopeX;
    float slopeY;
};

Noise noiseAt(float x, float y, std::uint32_t seed);

/** Noise of several scales added up, between 0 and 1. */
float cloudNoise(float x, float y, int octaves, std::uint32_t seed);

}  // namespace quarlo::phone

#endif
