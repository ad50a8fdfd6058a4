// The phone's pixels: conversion to every format and back, and the search for changed rectangles.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "Changes.h"
#include "Hash.h"
#include "PixelFormat.h"

using namespace quarlo::common;
using namespace quarlo::phone;

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes packed(const Picture& picture, const Area& area, const PixelLayout& layout) {
    Bytes bytes(static_cast<std::size_t>(area.width * area.height) * layout.bytesPerPixel());
    packPixels(picture, area, layout, bytes.data());
    return bytes;
}

TEST(PhonePixels, EveryFormatAndOrderHasItsBytes) {
    struct Case {
        PixelFormat format;
        PixelEndianess order;
        Bytes expected;
    };
    // R = 0x12, G = 0x34, B = 0x56: as 565 that is 2 << 11 | 13 << 5 | 10 = 0x11AA.
    const Picture pixel(1, 1, 0x00123456);
    const std::array<Case, 8> cases{{
        {ePIXELFORMAT_RGB888, ePIXELENDIANESS_LittleEndian, {0x56, 0x34, 0x12}},
        {ePIXELFORMAT_RGB888, ePIXELENDIANESS_BigEndian, {0x12, 0x34, 0x56}},
        {ePIXELFORMAT_RGB565, ePIXELENDIANESS_LittleEndian, {0xAA, 0x11}},
        {ePIXELFORMAT_RGB565, ePIXELENDIANESS_BigEndian, {0x11, 0xAA}},
        {ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_LittleEndian, {0x56, 0x34, 0x12, 0xFF}},
        {ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_BigEndian, {0xFF, 0x12, 0x34, 0x56}},
        {ePIXELFORMAT_RGBA8888, ePIXELENDIANESS_LittleEndian, {0xFF, 0x56, 0x34, 0x12}},
        {ePIXELFORMAT_RGBA8888, ePIXELENDIANESS_BigEndian, {0x12, 0x34, 0x56, 0xFF}},
    }};
    for (const Case& c : cases) {
        const auto size = static_cast<std::uint8_t>(c.expected.size());
        const auto layout = pixelLayoutOf(c.format, c.order, size);
        ASSERT_TRUE(layout.has_value());
        EXPECT_EQ(packed(pixel, pixel.area(), *layout), c.expected)
            << "format " << int{c.format} << " order " << int{c.order};
        const auto wrongSize = static_cast<std::uint8_t>(size + 1);
        EXPECT_FALSE(pixelLayoutOf(c.format, c.order, wrongSize).has_value());
    }
    EXPECT_FALSE(pixelLayoutOf(PixelFormat{0}, ePIXELENDIANESS_BigEndian, 4).has_value());
    EXPECT_FALSE(pixelLayoutOf(PixelFormat{5}, ePIXELENDIANESS_BigEndian, 4).has_value());
    EXPECT_FALSE(pixelLayoutOf(ePIXELFORMAT_ARGB8888, PixelEndianess{0}, 4).has_value());
    EXPECT_FALSE(pixelLayoutOf(ePIXELFORMAT_ARGB8888, PixelEndianess{3}, 4).has_value());
}

TEST(PhonePixels, AnAreaIsPackedRowByRow) {
    Picture picture(3, 3);
    for (std::uint32_t i = 0; i < 9; ++i) picture.pixels[i] = i + 1;
    const PixelLayout layout{ePIXELFORMAT_RGB888, ePIXELENDIANESS_LittleEndian};
    EXPECT_EQ(packed(picture, {1, 1, 2, 2}, layout), (Bytes{5, 0, 0, 6, 0, 0, 8, 0, 0, 9, 0, 0}));
}

TEST(PhonePixels, QuantisingIsWhatThePackedPixelsExpandTo) {
    Picture picture(16, 16);
    for (int i = 0; i < 256; ++i)
        picture.pixels[static_cast<std::size_t>(i)] = hashOf(static_cast<std::uint32_t>(i), 0, 1);
    Picture seen;
    quantise(picture, ePIXELFORMAT_RGB565, seen);
    const Bytes bytes =
        packed(picture, picture.area(), {ePIXELFORMAT_RGB565, ePIXELENDIANESS_LittleEndian});
    for (std::size_t i = 0; i < 256; ++i) {
        const std::uint32_t value = bytes[2 * i] + 256u * bytes[2 * i + 1];
        const std::uint32_t r = value >> 11;
        const std::uint32_t g = value >> 5 & 63;
        const std::uint32_t b = value & 31;
        const std::uint32_t rgb =
            (r << 3 | r >> 2) << 16 | (g << 2 | g >> 4) << 8 | (b << 3 | b >> 2);
        ASSERT_EQ(seen.pixels[i], 0xFF000000u | rgb) << "pixel " << i;
    }
    quantise(picture, ePIXELFORMAT_RGBA8888, seen);
    for (std::size_t i = 0; i < 256; ++i)
        ASSERT_EQ(seen.pixels[i], 0xFF000000u | (picture.pixels[i] & 0xFFFFFFu));
}

/// A random scene of change: some dots and blocks, compared within some region.
struct Scene {
    Picture before{97, 61, 1};
    Picture now = before;
    Area region{0, 0, 97, 61};
    std::uint32_t seed;

    explicit Scene(std::uint32_t number) : seed(number) {
        const unsigned blocks = random(0) % 12;
        for (unsigned i = 0; i < blocks; ++i) {
            const int side = static_cast<int>(random(10 * i + 1) % 9) + 1;
            const Area block{static_cast<int>(random(10 * i + 2) % 90),
                             static_cast<int>(random(10 * i + 3) % 60), side, side};
            change(intersection(block, now.area()));
        }
        if (number % 3 == 0) region = {13, 7, 50, 33};
    }
    std::uint32_t random(std::uint32_t n) const { return hashOf(n, seed, 77); }
    void change(const Area& area) {
        for (int y = area.y; y < area.bottom(); ++y)
            std::fill_n(now.row(y) + area.x, area.width, 2u);
    }
};

bool hasChange(const Scene& scene, const Area& area) {
    for (int y = area.y; y < area.bottom(); ++y)
        for (int x = area.x; x < area.right(); ++x)
            if (scene.before.row(y)[x] != scene.now.row(y)[x]) return true;
    return false;
}

void expectTight(const Scene& scene, const Area& area) {
    EXPECT_TRUE(hasChange(scene, {area.x, area.y, area.width, 1}));
    EXPECT_TRUE(hasChange(scene, {area.x, area.bottom() - 1, area.width, 1}));
    EXPECT_TRUE(hasChange(scene, {area.x, area.y, 1, area.height}));
    EXPECT_TRUE(hasChange(scene, {area.right() - 1, area.y, 1, area.height}));
}

TEST(PhoneChanges, CoverEveryDifferenceOnceTightlyAndWithinTheLimit) {
    for (std::uint32_t number = 0; number < 300; ++number) {
        SCOPED_TRACE(number);
        Scene scene(number);
        const std::size_t limit = number % 5 + 1;
        const auto areas = changedAreas(scene.before, scene.now, scene.region, limit);
        EXPECT_LE(areas.size(), limit);
        std::vector<int> covered(scene.now.pixels.size());
        for (const Area& area : areas) {
            EXPECT_EQ(intersection(area, scene.region), area);
            expectTight(scene, area);
            for (int y = area.y; y < area.bottom(); ++y)
                for (int x = area.x; x < area.right(); ++x)
                    ++covered[static_cast<std::size_t>(y * 97 + x)];
        }
        for (int y = 0; y < 61; ++y) {
            for (int x = 0; x < 97; ++x) {
                const int times = covered[static_cast<std::size_t>(y * 97 + x)];
                ASSERT_LE(times, 1);
                const bool isDue = hasChange(scene, intersection({x, y, 1, 1}, scene.region));
                ASSERT_TRUE(!isDue || times == 1);
            }
        }
    }
}

TEST(PhoneChanges, DistantChangesStaySmallRectangles) {
    Scene scene(1);
    scene.now = scene.before;
    scene.change({3, 3, 2, 2});
    scene.change({90, 50, 4, 1});
    EXPECT_EQ(changedAreas(scene.before, scene.now, scene.now.area(), 24),
              (std::vector<Area>{{3, 3, 2, 2}, {90, 50, 4, 1}}));
    EXPECT_TRUE(changedAreas(scene.before, scene.now, {40, 0, 10, 61}, 24).empty());
    EXPECT_TRUE(changedAreas(scene.now, scene.now, scene.now.area(), 24).empty());
}

}  // namespace
