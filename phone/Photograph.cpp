// Renders the photograph: a height field shaped like a valley with a lake, lit by a low sun, seen
// from the shore column by column, with haze, sky, reflections and grain. Plain functions, no
// shared state.
#include "Photograph.h"

#include <cmath>

#include "Noise.h"

namespace quarlo::phone {
namespace {

constexpr int gridSize = 1024;
constexpr float waterLevel = 12.0f;
constexpr float eyeHeight = 26.0f;
constexpr int oversampling = 2;

struct Colour {
    float r;
    float g;
    float b;
};

Colour operator*(const Colour& c, float f) {
    return {c.r * f, c.g * f, c.b * f};
}
Colour operator+(const Colour& a, const Colour& b) {
    return {a.r + b.r, a.g + b.g, a.b + b.b};
}
Colour tinted(const Colour& a, const Colour& b) {
    return {a.r * b.r, a.g * b.g, a.b * b.b};
}
Colour mix(const Colour& a, const Colour& b, float t) {
    return a * (1 - t) + b * t;
}

float step(float from, float to, float value) {
    const float t = std::clamp((value - from) / (to - from), 0.0f, 1.0f);
    return t * t * (3 - 2 * t);
}

/// The land: heights and the light that falls on each cell.
struct Land {
    std::vector<float> height = std::vector<float>(static_cast<std::size_t>(gridSize) * gridSize);
    std::vector<Colour> colour = std::vector<Colour>(static_cast<std::size_t>(gridSize) * gridSize);

    static std::size_t cell(int x, int z) {
        return static_cast<std::size_t>(z) * gridSize + static_cast<std::size_t>(x);
    }
    float at(int x, int z) const {
        return height[cell(std::clamp(x, 0, gridSize - 1), std::clamp(z, 0, gridSize - 1))];
    }
};

/// Worn mountains: the steeper a place already is, the less the finer scales add.
float mountainNoise(float x, float y, std::uint32_t seed) {
    float sum = 0;
    float weight = 1;
    float slopeX = 0;
    float slopeY = 0;
    for (std::uint32_t i = 0; i < 10; ++i) {
        const Noise n = noiseAt(x, y, seed + i);
        slopeX += n.slopeX;
        slopeY += n.slopeY;
        sum += weight * n.value / (1 + slopeX * slopeX + slopeY * slopeY);
        weight *= 0.5f;
        const float turnedX = 1.6f * x - 1.2f * y;
        y = 1.2f * x + 1.6f * y;
        x = turnedX;
    }
    return sum;
}

/// How high the mountains may be: low along the lake, rising to both sides and behind it.
float valley(float x, float z, std::uint32_t seed) {
    const float bend = 60 * (noiseAt(z / 210, 3.5f, seed + 40).value - 0.5f);
    const float aside = std::abs(x - 512 - bend) / 512;
    const float behind = step(430, 900, z);
    const float sides = step(0.12f, 0.8f, aside) * step(120, 520, z + 220 * aside);
    return std::max(sides * 0.85f, behind * (0.75f + 0.25f * aside));
}

float treeHeight(int x, int z, float ground, float slope, std::uint32_t seed) {
    const float density =
        cloudNoise(static_cast<float>(x) / 46, static_cast<float>(z) / 46, 3, seed + 60);
    if (ground < waterLevel + 1.2f || ground > 96 || slope > 1.5f || density < 0.34f) return 0;
    const float tall = hashedUnit(x, z, seed + 61);
    return (1.0f + 4.2f * tall * tall) * step(0.34f, 0.44f, density) * step(96, 70, ground);
}

void raiseLand(Land& land, std::uint32_t seed) {
    for (int z = 0; z < gridSize; ++z) {
        for (int x = 0; x < gridSize; ++x) {
            const float fx = static_cast<float>(x);
            const float fz = static_cast<float>(z);
            const float rise = valley(fx, fz, seed);
            const float rough = mountainNoise(fx / 190, fz / 190, seed);
            land.height[Land::cell(x, z)] =
                5 + 4 * rough + rise * step(170, 330, fz) * (40 + 250 * rough);
        }
    }
}

struct Slope {
    float x;
    float z;
    float steepness() const { return std::sqrt(x * x + z * z); }
};

Slope slopeAt(const Land& land, int x, int z) {
    return {(land.at(x + 1, z) - land.at(x - 1, z)) / 2,
            (land.at(x, z + 1) - land.at(x, z - 1)) / 2};
}

Colour groundColour(int x, int z, float height, float slope, float trees, std::uint32_t seed) {
    const float fx = static_cast<float>(x);
    const float fz = static_cast<float>(z);
    const float patch = cloudNoise(fx / 17, fz / 17, 4, seed + 70);
    const Colour meadow = mix({0.24f, 0.27f, 0.09f}, {0.38f, 0.34f, 0.14f}, patch);
    const Colour rock = mix({0.25f, 0.22f, 0.20f}, {0.46f, 0.42f, 0.39f}, patch);
    const Colour wood = mix({0.035f, 0.075f, 0.035f}, {0.09f, 0.13f, 0.045f},
                            hashedUnit(x, z, seed + 71) * 0.7f + patch * 0.3f);
    Colour colour = mix(meadow, rock, step(0.55f, 1.05f, slope + height / 420));
    if (trees > 0) colour = wood;
    const float snow = step(118, 165, height + 50 * (patch - 0.5f)) * step(1.75f, 1.0f, slope);
    return mix(colour, {0.93f, 0.95f, 1.0f}, snow);
}

/// Light from the low sun on the left, shadows included, plus the blue of the sky.
void lightLand(Land& land, std::uint32_t seed) {
    const Land bare = land;
    constexpr float sunRise = 0.62f;
    for (int z = 0; z < gridSize; ++z) {
        float shadow = 0;
        for (int x = 0; x < gridSize; ++x) {
            const std::size_t cell = Land::cell(x, z);
            const float ground = bare.height[cell];
            const Slope slope = slopeAt(bare, x, z);
            const float trees = treeHeight(x, z, ground, slope.steepness(), seed);
            shadow = std::max(ground + trees, shadow - sunRise);
            const float lit = step(3.5f, 0.0f, shadow - ground - trees);
            const float length = std::sqrt(1 + slope.x * slope.x + slope.z * slope.z);
            const float facing = (-slope.x * 0.87f + slope.z * 0.22f + sunRise) / length;
            const float sun = lit * std::max(0.0f, trees > 0 ? 0.35f + 0.65f * facing : facing);
            const float open = 0.6f + 0.4f / length;
            const Colour light =
                Colour{2.5f, 1.85f, 1.2f} * sun + Colour{0.30f, 0.38f, 0.52f} * open;
            land.colour[cell] =
                tinted(groundColour(x, z, ground, slope.steepness(), trees, seed), light);
            land.height[cell] = ground + trees;
        }
    }
}

Colour skyColour(float u, float up, std::uint32_t seed) {
    const Colour high{0.16f, 0.33f, 0.62f};
    const Colour low{0.93f, 0.79f, 0.64f};
    Colour sky = mix(low, high, std::pow(std::clamp(up * 1.7f, 0.0f, 1.0f), 0.62f));
    const float glow = std::exp(-((u - 0.1f) * (u - 0.1f) * 3.2f + up * up * 14));
    sky = sky + Colour{0.55f, 0.33f, 0.10f} * glow;
    // Clouds lie in a plane above: the lower in the picture, the further away and the flatter.
    const float away = 1 / (up + 0.12f);
    const float veil = cloudNoise((u - 0.5f) * away * 1.9f + 7, away * 1.15f, 7, seed + 80);
    const float wisps = cloudNoise((u - 0.5f) * away * 6 + 2 * veil, away * 3.1f, 5, seed + 90);
    const float cover = step(0.47f, 0.78f, 0.72f * veil + 0.30f * wisps) * step(0.0f, 0.16f, up);
    const Colour cloud =
        mix({1.08f, 0.95f, 0.83f}, {0.70f, 0.70f, 0.77f}, step(0.45f, 0.75f, veil));
    return mix(sky, cloud, cover * 0.85f);
}

/// Looks down the valley from above the lake's near shore.
class Camera {
  public:
    Camera(const Land& land, int width, int height, std::uint32_t seed)
        : land_(land),
          width_(width),
          height_(height),
          horizon_(static_cast<float>(height) * 0.60f),
          focal_(static_cast<float>(width) * 0.78f),
          seed_(seed),
          film_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {
        float distance = 60;
        while (distance < 990) {
            stops_.push_back(distance);
            distance += 0.35f + distance / 1500;
        }
    }

    std::vector<Colour> expose() {
        for (int x = 0; x < width_; ++x) exposeColumn(x);
        for (int x = 0; x < width_; ++x) mirrorColumn(x);
        return std::move(film_);
    }

  private:
    Colour& pixel(int x, int y) {
        return film_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                     static_cast<std::size_t>(x)];
    }

    Colour hazy(const Colour& colour, float distance, float u) const {
        const float clear = std::exp(-distance * distance / 3.4e6f - distance / 6000);
        const Colour haze = mix({0.90f, 0.73f, 0.57f}, {0.60f, 0.68f, 0.80f}, step(-0.1f, 0.8f, u));
        return mix(haze, colour, clear);
    }

    Colour sample(float gridX, float gridZ, float& height) const {
        const int x = static_cast<int>(gridX);
        const int z = static_cast<int>(gridZ);
        const float fx = gridX - static_cast<float>(x);
        const float fz = gridZ - static_cast<float>(z);
        const auto blend = [&](auto a, auto b, auto c, auto d) {
            return (a * (1 - fx) + b * fx) * (1 - fz) + (c * (1 - fx) + d * fx) * fz;
        };
        const std::size_t at = Land::cell(x, z);
        height = blend(land_.height[at], land_.height[at + 1], land_.height[at + gridSize],
                       land_.height[at + gridSize + 1]);
        return blend(land_.colour[at], land_.colour[at + 1], land_.colour[at + gridSize],
                     land_.colour[at + gridSize + 1]);
    }

    /// From the nearest cell to the farthest; what rises above all before it becomes visible.
    void exposeColumn(int x) {
        const float u = static_cast<float>(x) / static_cast<float>(width_);
        const float aside = (static_cast<float>(x) - static_cast<float>(width_) / 2) / focal_;
        int top = height_;
        for (const float distance : stops_) {
            const float gridX = 512 + aside * distance;
            if (gridX < 1 || gridX > gridSize - 3 || distance > gridSize - 3) break;
            float height = 0;
            const Colour colour = sample(gridX, distance, height);
            if (height < waterLevel) continue;
            const int y = static_cast<int>(horizon_ - (height - eyeHeight) / distance * focal_);
            if (y >= top) continue;
            const Colour seen = hazy(colour, distance, u);
            for (int row = std::max(0, y); row < top; ++row) pixel(x, row) = seen;
            top = std::max(0, y);
        }
        for (int y = 0; y < top; ++y) {
            const float up = (horizon_ - static_cast<float>(y)) / static_cast<float>(height_);
            pixel(x, y) = skyColour(u, std::max(0.0f, up), seed_);
        }
        shore_.push_back(shoreOf(x));
    }

    /// The row at which the land in this column meets the lake.
    int shoreOf(int x) const {
        const float aside = (static_cast<float>(x) - static_cast<float>(width_) / 2) / focal_;
        for (const float distance : stops_) {
            const int gridX = static_cast<int>(512 + aside * distance);
            if (gridX < 0 || gridX >= gridSize) break;
            if (land_.at(gridX, static_cast<int>(distance)) >= waterLevel)
                return static_cast<int>(horizon_ + (eyeHeight - waterLevel) / distance * focal_);
        }
        return static_cast<int>(horizon_);
    }

    void mirrorColumn(int x) {
        const int shore = std::clamp(shore_[static_cast<std::size_t>(x)], 1, height_);
        for (int y = shore; y < height_; ++y) {
            const float depth = static_cast<float>(y) - horizon_ + 1;
            const float distance = (eyeHeight - waterLevel) * focal_ / depth;
            const float side =
                (static_cast<float>(x) - static_cast<float>(width_) / 2) / focal_ * distance;
            const float wave = cloudNoise(side * 0.55f, distance * 0.9f, 4, seed_ + 95) - 0.47f;
            const float gust =
                step(0.42f, 0.62f, cloudNoise(side / 40, distance / 15, 3, seed_ + 97));
            const float tremble = wave * depth * (0.10f + 0.22f * gust);
            const int fromY = std::clamp(
                static_cast<int>(2 * static_cast<float>(shore) - static_cast<float>(y) + tremble),
                0, shore - 1);
            const int fromX = std::clamp(x + static_cast<int>(tremble * 0.25f), 0, width_ - 1);
            const float grazing =
                0.35f + 0.50f * std::exp(-depth / static_cast<float>(height_) * 4.2f);
            pixel(x, y) = mix({0.035f, 0.085f, 0.105f}, pixel(fromX, fromY), grazing);
        }
    }

    const Land& land_;
    int width_;
    int height_;
    float horizon_;
    float focal_;
    std::uint32_t seed_;
    std::vector<float> stops_;  ///< the distances at which the land is looked at, the nearest first
    std::vector<Colour> film_;
    std::vector<int> shore_;  ///< by column
};

std::uint32_t developedChannel(float light, float grain) {
    // A film curve: soft shoulder, then the display's gamma.
    const float exposed = light * 0.82f;
    const float toned =
        exposed * (2.51f * exposed + 0.03f) / (exposed * (2.43f * exposed + 0.59f) + 0.14f);
    const float shown = std::pow(std::clamp(toned, 0.0f, 1.0f), 1 / 1.9f);
    return static_cast<std::uint32_t>(std::clamp(shown * 255 + grain, 0.0f, 255.0f));
}

Picture develop(const std::vector<Colour>& film, int width, int height, std::uint32_t seed) {
    Picture picture(width, height);
    const int filmWidth = width * oversampling;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            Colour sum{0, 0, 0};
            for (int sub = 0; sub < oversampling * oversampling; ++sub) {
                const int filmY = y * oversampling + sub / oversampling;
                const int filmX = x * oversampling + sub % oversampling;
                sum = sum +
                      film[static_cast<std::size_t>(filmY) * static_cast<std::size_t>(filmWidth) +
                           static_cast<std::size_t>(filmX)];
            }
            const float u = static_cast<float>(x) / static_cast<float>(width) - 0.5f;
            const float v = static_cast<float>(y) / static_cast<float>(height) - 0.5f;
            const Colour light =
                sum * ((1 - 0.5f * (u * u + v * v)) / (oversampling * oversampling));
            const float grain = 7 * (hashedUnit(x, y, seed + 99) - 0.5f);
            picture.row(y)[x] = 0xFF000000u | developedChannel(light.r, grain) << 16 |
                                developedChannel(light.g, grain) << 8 |
                                developedChannel(light.b, grain);
        }
    }
    return picture;
}

}  // namespace

Picture takePhotograph(int width, int height, std::uint32_t seed) {
    Land land;
    raiseLand(land, seed);
    lightLand(land, seed);
    Camera camera(land, width * oversampling, height * oversampling, seed);
    return develop(camera.expose(), width, height, seed);
}

}  // namespace quarlo::phone
