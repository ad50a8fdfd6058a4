// Value noise on a hashed grid. Pure functions.
#include "Noise.h"

namespace quarlo::phone {
namespace {

/// The whole number at or below x; std::floor is a library call that would take half of the time
/// here.
int cellOf(float x) {
    const int truncated = static_cast<int>(x);
    return static_cast<float>(truncated) > x ? truncated - 1 : truncated;
}

}  // namespace

std::uint32_t hashOf(std::uint32_t a, std::uint32_t b, std::uint32_t seed) {
    std::uint32_t h = a * 0x9E3779B1u ^ (b * 0x85EBCA77u) ^ (seed * 0xC2B2AE3Du);
    h ^= h >> 15;
    h *= 0x2C1B3C6Du;
    h ^= h >> 12;
    h *= 0x297A2D39u;
    return h ^ (h >> 15);
}

float hashedUnit(int a, int b, std::uint32_t seed) {
    return static_cast<float>(
               hashOf(static_cast<std::uint32_t>(a), static_cast<std::uint32_t>(b), seed) >> 8) /
           16777216.0f;
}

Noise noiseAt(float x, float y, std::uint32_t seed) {
    const int cellX = cellOf(x);
    const int cellY = cellOf(y);
    const float fx = x - static_cast<float>(cellX);
    const float fy = y - static_cast<float>(cellY);
    const float ux = fx * fx * fx * (fx * (fx * 6 - 15) + 10);
    const float uy = fy * fy * fy * (fy * (fy * 6 - 15) + 10);
    const float dux = 30 * fx * fx * (fx * (fx - 2) + 1);
    const float duy = 30 * fy * fy * (fy * (fy - 2) + 1);
    const float a = hashedUnit(cellX, cellY, seed);
    const float b = hashedUnit(cellX + 1, cellY, seed);
    const float c = hashedUnit(cellX, cellY + 1, seed);
    const float d = hashedUnit(cellX + 1, cellY + 1, seed);
    const float twist = a - b - c + d;
    return {a + (b - a) * ux + (c - a) * uy + twist * ux * uy, dux * (b - a + twist * uy),
            duy * (c - a + twist * ux)};
}

float cloudNoise(float x, float y, int octaves, std::uint32_t seed) {
    float sum = 0;
    float weight = 0.5f;
    for (int i = 0; i < octaves; ++i) {
        sum += weight * noiseAt(x, y, seed + static_cast<std::uint32_t>(i)).value;
        // Turned a little between the scales, so that the grid does not show.
        const float turnedX = 1.6f * x + 1.2f * y;
        y = 1.6f * y - 1.2f * x;
        x = turnedX;
        weight *= 0.5f;
    }
    return sum;
}

}  // namespace quarlo::phone
