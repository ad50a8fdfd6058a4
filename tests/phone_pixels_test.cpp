// The phone's pixels: conversion to every format and back, and the search for changed rectangles.
#include <gtest/gtest.h>

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
    for (const Case& c : {
             Case{ePIXELFORMAT_RGB888, ePIXELENDIANESS_LittleEndian, {0x56, 0x34, 0x12}},
             Case{ePIXELFORMAT_RGB888, ePIXELENDIANESS_BigEndian, {0x12, 0x34, 0x56}},
             Case{ePIXELFORMAT_RGB565, ePIXELENDIANESS_LittleEndian, {0xAA, 0x11}},
             Case{ePIXELFORMAT_RGB565, ePIXELENDIANESS_BigEndian, {0x11, 0xAA}},
             Case{ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_LittleEndian, {0x56, 0x34, 0x12, 0xFF}},
             Case{ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_BigEndian, {0xFF, 0x12, 0x34, 0x56}},
             Case{ePIXELFORMAT_RGBA8888, ePIXELENDIANESS_LittleEndian, {0xFF, 0x56, 0x34, 0x12}},
             Case{ePIXELFORMAT_RGBA8888, ePIXELENDIANESS_BigEndian, {0x12, 0x34, 0x56, 0xFF}},
         }) {
        const auto size = static_cast<std::uint8_t>(c.expected.size());
        const auto layout = pixelLayoutOf(c.format, c.order, size);
        ASSERT_TRUE(layout);
        EXPECT_EQ(packed(pixel, pixel.area(), *layout), c.expected);
        EXPECT_FALSE(pixelLayoutOf(c.format, c.order, static_cast<std::uint8_t>(size + 1)));
    }
    Picture picture(3, 3);
    for (std::uint32_t i = 0; i < 9; ++i) picture.pixels[i] = i + 1;
    const PixelLayout rgb{ePIXELFORMAT_RGB888, ePIXELENDIANESS_LittleEndian};
    EXPECT_EQ(packed(picture, {1, 1, 2, 2}, rgb), (Bytes{5, 0, 0, 6, 0, 0, 8, 0, 0, 9, 0, 0}));
}

TEST(PhonePixels, QuantisingIsWhatThePackedPixelsExpandTo) {
    Picture picture(3, 1);
    picture.pixels = {0x00123456, 0xFFFFFFFF, 0x00FBF7F8};
    Picture seen;
    quantise(picture, ePIXELFORMAT_RGB565, seen);
    EXPECT_EQ(seen.pixels, (std::vector<std::uint32_t>{0xFF103452, 0xFFFFFFFF, 0xFFFFF7FF}));
    quantise(picture, ePIXELFORMAT_RGBA8888, seen);
    EXPECT_EQ(seen.pixels, (std::vector<std::uint32_t>{0xFF123456, 0xFFFFFFFF, 0xFFFBF7F8}));
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

void copy(const Area& area, const Picture& from, Picture& to) {
    for (int y = area.y; y < area.bottom(); ++y)
        std::copy_n(from.row(y) + area.x, area.width, to.row(y) + area.x);
}

TEST(PhoneChanges, CoverEveryDifferenceOnceTightlyAndWithinTheLimit) {
    for (std::uint32_t number = 0; number < 300; ++number) {
        SCOPED_TRACE(number);
        const Scene scene(number);
        const std::size_t limit = number % 5 + 1;
        const auto areas = changedAreas(scene.before, scene.now, scene.region, limit);
        EXPECT_LE(areas.size(), limit);
        const auto changes = [&](const Area& area) {
            Picture with = scene.before;
            copy(area, scene.now, with);
            return with.pixels != scene.before.pixels;
        };
        Picture updated = scene.before;
        for (const Area& a : areas) {
            for (const Area& edge :
                 {Area{a.x, a.y, a.width, 1}, Area{a.x, a.y, 1, a.height},
                  Area{a.x, a.bottom() - 1, a.width, 1}, Area{a.right() - 1, a.y, 1, a.height}})
                EXPECT_TRUE(changes(edge));
            for (const Area& other : areas)
                EXPECT_TRUE(&other == &a || intersection(other, a).empty());
            copy(a, scene.now, updated);
        }
        Picture expected = scene.before;
        copy(scene.region, scene.now, expected);
        EXPECT_EQ(updated.pixels, expected.pixels);
    }
}

TEST(PhoneChanges, DistantChangesStaySmallRectangles) {
    Scene scene(1);
    scene.now = scene.before;
    scene.change({3, 3, 2, 2});
    scene.change({90, 50, 4, 1});
    EXPECT_EQ(changedAreas(scene.before, scene.now, scene.now.area(), 24),
              (std::vector<Area>{{3, 3, 2, 2}, {90, 50, 4, 1}}));
}

}  // namespace
