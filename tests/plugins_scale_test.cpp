/*
 * The scaling plug-in against the exact colours of each pixel's area and against another library's
 * scaler, and parts of a picture against the whole.
 */
#include <pixman.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <random>

#include "PluginUnderTest.h"

namespace quarlo::test {
namespace {

using Bytes = std::vector<UInt8>;

struct Layout {
    const char* name;
    PixelFormat format;
    PixelEndianess endian;
    UInt8 bytes;
};

constexpr Layout layouts[] = {
    {"RGB888 little", ePIXELFORMAT_RGB888, ePIXELENDIANESS_LittleEndian, 3},
    {"RGB888 big", ePIXELFORMAT_RGB888, ePIXELENDIANESS_BigEndian, 3},
    {"RGB565 little", ePIXELFORMAT_RGB565, ePIXELENDIANESS_LittleEndian, 2},
    {"RGB565 big", ePIXELFORMAT_RGB565, ePIXELENDIANESS_BigEndian, 2},
    {"ARGB8888 little", ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_LittleEndian, 4},
    {"ARGB8888 big", ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_BigEndian, 4},
    {"RGBA8888 little", ePIXELFORMAT_RGBA8888, ePIXELENDIANESS_LittleEndian, 4},
    {"RGBA8888 big", ePIXELFORMAT_RGBA8888, ePIXELENDIANESS_BigEndian, 4},
};

struct Picture {
    int width;
    int height;
    const Layout* layout;
    Bytes bytes;

    Picture(int w, int h, const Layout& l)
        : width(w), height(h), layout(&l), bytes(size_t(w) * size_t(h) * l.bytes) {}

    int channels() const { return layout->bytes == 2 ? 3 : layout->bytes; }
    const UInt8* pixel(int x, int y) const {
        return &bytes[(size_t(y) * size_t(width) + size_t(x)) * layout->bytes];
    }
    UInt8* pixel(int x, int y) { return const_cast<UInt8*>(std::as_const(*this).pixel(x, y)); }

    int channel(int x, int y, int c) const {
        const UInt8* at = pixel(x, y);
        if (layout->bytes != 2) return at[c];
        const bool little = layout->endian == ePIXELENDIANESS_LittleEndian;
        const int value = little ? at[0] | at[1] << 8 : at[1] | at[0] << 8;
        return c == 0 ? value >> 11 : c == 1 ? value >> 5 & 63 : value & 31;
    }
};

Picture noise(int width, int height, const Layout& layout) {
    Picture picture(width, height, layout);
    UInt32 state = static_cast<UInt32>(width * 31 + height);
    for (UInt8& byte : picture.bytes) {
        state = state * 1664525U + 1013904223U;
        // Mostly noise, with runs of the extremes.
        byte = state >> 30 == 0 ? UInt8{0xFF} : static_cast<UInt8>(state >> 24);
    }
    return picture;
}

/** Where a pixel of the destination begins, and its share of the source pixel after that one. */
struct Span {
    int first;
    double beyond;

    Span(int at, int from, int to) : first(at * from / to) {
        beyond = std::max(0, (at + 1) * from - (first + 1) * to) / double(from);
    }
};

/** The exact value of one channel of the enlarged picture. */
double exact(const Picture& source, int x, int y, int c, int width, int height) {
    const Span across(x, source.width, width);
    const Span down(y, source.height, height);
    const int right = std::min(across.first + 1, source.width - 1);
    const int below = std::min(down.first + 1, source.height - 1);
    const auto mixed = [&](int row) {
        return source.channel(across.first, row, c) * (1 - across.beyond) +
               source.channel(right, row, c) * across.beyond;
    };
    return mixed(down.first) * (1 - down.beyond) + mixed(below) * down.beyond;
}

/** The most levels by which a part differs from the whole at its place. */
int worstDifference(const Picture& whole, const Picture& part, int x = 0, int y = 0) {
    int worst = 0;
    for (int row = 0; row < part.height; ++row) {
        for (int column = 0; column < part.width; ++column) {
            for (int c = 0; c < part.channels(); ++c) {
                worst = std::max(worst, std::abs(part.channel(column, row, c) -
                                                 whole.channel(x + column, y + row, c)));
            }
        }
    }
    return worst;
}

class ScalePlugin : public testing::Test {
  protected:
    ScalePlugin() {
        scaleInitParameter p{0xFFFF, 0xFFFF, 0xFFFF, &HostHeap::allocate, &HostHeap::release};
        EXPECT_EQ(0, initialise(&p));
        EXPECT_LT(p.versionMajor, 0xFFFF);
        EXPECT_LT(p.versionMinor, 0xFFFF);
        EXPECT_LT(p.versionBuild, 0xFFFF);
    }
    ~ScalePlugin() override { EXPECT_EQ(0, HostHeap::live); }

    static scaleParameter parameterOf(const Exact& from, const Exact& to, int sourceWidth,
                                      int sourceHeight, int width, int height,
                                      const Layout& layout) {
        return {static_cast<UInt16>(sourceWidth),
                static_cast<UInt16>(sourceHeight),
                from.size(),
                from.data(),
                static_cast<UInt16>(width),
                static_cast<UInt16>(height),
                to.size(),
                to.data(),
                layout.format,
                layout.endian,
                layout.bytes};
    }

    Picture enlarge(const Picture& source, int width, int height) const {
        Picture result(width, height, *source.layout);
        const Exact from(source.bytes);
        const Exact to(result.bytes.size(), 0xA5);
        scaleParameter p =
            parameterOf(from, to, source.width, source.height, width, height, *source.layout);
        Int32 detail = 4711;
        EXPECT_EQ(eSCALEERROR_NONE, scale(&p, &detail));
        EXPECT_EQ(0, detail);
        result.bytes = to.bytes();
        return result;
    }

    Plugin plugin{"libQUARLO-Scale00.so"};
    scaleInitialiseFunction initialise =
        plugin.function<scaleInitialiseFunction>("quarloScale_initialise");
    scaleFunction scale = plugin.function<scaleFunction>("quarloScale_scale");
};

TEST_F(ScalePlugin, IsWithinOneLevelOfExact) {
    const struct {
        int sourceWidth, sourceHeight, width, height;
    } sizes[] = {{1, 1, 1, 1},     {1, 1, 9, 7},       {1, 5, 3, 50},    {5, 1, 50, 3},
                 {2, 2, 3, 3},     {16, 9, 32, 18},    {17, 9, 18, 31},  {33, 20, 100, 20},
                 {20, 33, 20, 99}, {31, 17, 310, 170}, {64, 48, 80, 60}, {99, 3, 100, 4}};
    for (const Layout& layout : layouts) {
        for (const auto& s : sizes) {
            SCOPED_TRACE(testing::Message()
                         << layout.name << ", " << s.sourceWidth << "x" << s.sourceHeight << " to "
                         << s.width << "x" << s.height);
            const Picture source = noise(s.sourceWidth, s.sourceHeight, layout);
            const Picture result = enlarge(source, s.width, s.height);
            double worst = 0;
            for (int y = 0; y < s.height; ++y) {
                for (int x = 0; x < s.width; ++x) {
                    for (int c = 0; c < source.channels(); ++c) {
                        const double expected = exact(source, x, y, c, s.width, s.height);
                        worst = std::max(worst,
                                         std::fabs(std::round(expected) - result.channel(x, y, c)));
                    }
                }
            }
            EXPECT_LE(worst, 1);
        }
    }
}

/** The same by another library: a box is drawn for each pixel of the source and read by boxes. */
Picture enlargedByPixman(const Picture& source, int width, int height) {
    Picture result(width, height, *source.layout);
    using Image = std::unique_ptr<pixman_image_t, decltype(&pixman_image_unref)>;
    const auto imageOf = [](const Picture& picture) {
        auto* bits = reinterpret_cast<uint32_t*>(const_cast<UInt8*>(picture.bytes.data()));
        return Image(pixman_image_create_bits(PIXMAN_a8r8g8b8, picture.width, picture.height, bits,
                                              picture.width * 4),
                     &pixman_image_unref);
    };
    const Image from = imageOf(source);
    const Image to = imageOf(result);
    const pixman_fixed_t across = pixman_double_to_fixed(double(source.width) / width);
    const pixman_fixed_t down = pixman_double_to_fixed(double(source.height) / height);
    pixman_transform_t transform;
    pixman_transform_init_scale(&transform, across, down);
    pixman_image_set_transform(from.get(), &transform);
    int count = 0;
    pixman_fixed_t* filter = pixman_filter_create_separable_convolution(
        &count, across, down, PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX,
        PIXMAN_KERNEL_BOX, 8, 8);
    pixman_image_set_filter(from.get(), PIXMAN_FILTER_SEPARABLE_CONVOLUTION, filter, count);
    std::free(filter);
    pixman_image_set_repeat(from.get(), PIXMAN_REPEAT_PAD);
    pixman_image_composite32(PIXMAN_OP_SRC, from.get(), nullptr, to.get(), 0, 0, 0, 0, 0, 0, width,
                             height);
    return result;
}

TEST_F(ScalePlugin, AgreesWithAnotherScaler) {
    const Layout& layout = layouts[4];
    const struct {
        int sourceWidth, sourceHeight, width, height;
    } sizes[] = {
        {640, 360, 1280, 720}, {640, 360, 800, 480}, {321, 203, 642, 609}, {90, 70, 100, 100}};
    for (const auto& s : sizes) {
        SCOPED_TRACE(testing::Message() << s.sourceWidth << " to " << s.width);
        const Picture source = noise(s.sourceWidth, s.sourceHeight, layout);
        // Its weights are tabulated for 256 places in a pixel.
        EXPECT_LE(worstDifference(enlargedByPixman(source, s.width, s.height),
                                  enlarge(source, s.width, s.height)),
                  3);
    }
}

TEST_F(ScalePlugin, KeepsPlainColoursAndPicturesOfTheSameSize) {
    for (const Layout& layout : layouts) {
        SCOPED_TRACE(layout.name);
        for (int level = 0; level < 256; ++level) {
            Picture plain(3, 2, layout);
            std::fill(plain.bytes.begin(), plain.bytes.end(), static_cast<UInt8>(level));
            const Picture result = enlarge(plain, 13, 7);
            EXPECT_EQ(Bytes(result.bytes.size(), static_cast<UInt8>(level)), result.bytes);
        }
        const Picture source = noise(37, 21, layout);
        EXPECT_EQ(source.bytes, enlarge(source, 37, 21).bytes);
    }
}

// Where corners do not fall on whole pixels, a part lies up to a pixel beside its place.
TEST_F(ScalePlugin, ScalesPartsLikeTheWhole) {
    std::minstd_rand random;
    const auto from1To = [&](int most) { return 1 + static_cast<int>(random() % unsigned(most)); };
    /** The worst of some parts that begin and end at multiples of a step. */
    const auto worstOfParts = [&](const Picture& whole, int percent, int step) {
        const auto up = [&](int size) { return 100 * size / percent; };
        const Picture wholeUp = enlarge(whole, up(whole.width), up(whole.height));
        int worst = 0;
        for (int i = 0; i < 4; ++i) {
            const int width = from1To(whole.width / step) * step;
            const int height = from1To(whole.height / step) * step;
            const int x = (from1To((whole.width - width) / step + 1) - 1) * step;
            const int y = (from1To((whole.height - height) / step + 1) - 1) * step;
            Picture part(width, height, *whole.layout);
            for (int row = 0; row < height; ++row) {
                std::copy_n(whole.pixel(x, y + row), width * whole.layout->bytes,
                            part.pixel(0, row));
            }
            worst = std::max(worst, worstDifference(wholeUp, enlarge(part, up(width), up(height)),
                                                    up(x), up(y)));
        }
        return worst;
    };
    Picture slope(198, 99, layouts[4]);
    for (int i = 0; i < slope.width * slope.height; ++i) {
        const int x = i % slope.width, y = i / slope.width;
        for (int c = 0; c < 4; ++c) slope.pixel(x, y)[c] = static_cast<UInt8>(c % 2 ? x : y);
    }
    for (const int percent : {10, 25, 33, 40, 50, 66, 70, 75, 80, 90, 95, 99, 100}) {
        SCOPED_TRACE(percent);
        const int step = percent / std::gcd(percent, 100);
        for (const Layout& layout : layouts) {
            const Picture whole = noise(198 / step * step, 99 / step * step, layout);
            EXPECT_EQ(0, worstOfParts(whole, percent, step)) << layout.name;
        }
        EXPECT_LE(worstOfParts(slope, percent, 1), 2);
    }
}

TEST_F(ScalePlugin, ReachesTheLargestSizes) {
    const Layout& layout = layouts[2];
    const Picture wide = noise(65534, 1, layout);
    const Picture high = noise(2, 65535, layout);
    const Picture spot = noise(1, 1, layout);
    const Picture wider = enlarge(wide, 65535, 2);
    const Picture higher = enlarge(high, 3, 65535);
    const Picture line = enlarge(spot, 65535, 1);
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(wide.channel(65533, 0, c), wider.channel(65534, 0, c));
        EXPECT_EQ(wide.channel(65533, 0, c), wider.channel(65534, 1, c));
        EXPECT_EQ(high.channel(0, 65534, c), higher.channel(0, 65534, c));
        EXPECT_EQ(high.channel(1, 65534, c), higher.channel(2, 65534, c));
        EXPECT_EQ(spot.channel(0, 0, c), line.channel(65534, 0, c));
    }
}

TEST_F(ScalePlugin, RefusesParameters) {
    const Exact from(size_t{8} * 6 * 3);
    const Exact to(size_t{16} * 12 * 3, 0x77);
    const scaleParameter good = parameterOf(from, to, 8, 6, 16, 12, layouts[0]);
    const struct {
        const char* what;
        void (*change)(scaleParameter&);
        eSCALEERROR expected;
    } cases[] = {
        {"no source", [](auto& p) { p.sourceBuffer = nullptr; }, eSCALEERROR_NULL_PARAM_CONTENT},
        {"no destination", [](auto& p) { p.destinationBuffer = nullptr; },
         eSCALEERROR_NULL_PARAM_CONTENT},
        // Nothing to draw, or nothing to draw on.
        {"source width 0", [](auto& p) { p.sourceWidth = 0; }, eSCALEERROR_NONE},
        {"source height 0", [](auto& p) { p.sourceHeight = 0; }, eSCALEERROR_NONE},
        {"width 0", [](auto& p) { p.destinationWidth = 0; }, eSCALEERROR_NONE},
        {"height 0", [](auto& p) { p.destinationHeight = 0; }, eSCALEERROR_NONE},
        {"source length 0", [](auto& p) { p.sourceBufferLength = 0; }, eSCALEERROR_PARAM_VALUE},
        {"length 0", [](auto& p) { p.destinationBufferLength = 0; }, eSCALEERROR_PARAM_VALUE},
        {"source a byte short", [](auto& p) { --p.sourceBufferLength; }, eSCALEERROR_PARAM_VALUE},
        {"destination a byte short", [](auto& p) { --p.destinationBufferLength; },
         eSCALEERROR_PARAM_VALUE},
        {"narrower", [](auto& p) { p.destinationWidth = 7; }, eSCALEERROR_PARAM_VALUE},
        {"lower", [](auto& p) { p.destinationHeight = 5; }, eSCALEERROR_PARAM_VALUE},
        {"format 0", [](auto& p) { p.format = PixelFormat{}; }, eSCALEERROR_PARAM_VALUE},
        {"format 5", [](auto& p) { p.format = static_cast<PixelFormat>(5); },
         eSCALEERROR_PARAM_VALUE},
        {"byte order 0", [](auto& p) { p.endian = PixelEndianess{}; }, eSCALEERROR_PARAM_VALUE},
        {"bytes of another format", [](auto& p) { p.imageBpp = 2; }, eSCALEERROR_PARAM_VALUE},
        {"no bytes", [](auto& p) { p.imageBpp = 0; }, eSCALEERROR_PARAM_VALUE},
        {"size beyond 32 bits", [](auto& p) { p.destinationWidth = p.destinationHeight = 65535; },
         eSCALEERROR_PARAM_VALUE},
        {"size that is 0 in 32 bits",
         [](auto& p) {
             p.format = ePIXELFORMAT_ARGB8888;
             p.imageBpp = 4;
             p.sourceHeight = 4;
             p.destinationWidth = p.destinationHeight = 32768;
         },
         eSCALEERROR_PARAM_VALUE},
    };
    Int32 detail = 4711;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        scaleParameter p = good;
        c.change(p);
        EXPECT_EQ(c.expected, scale(&p, &detail));
        EXPECT_EQ(0, detail);
    }
    scaleParameter p = good;
    EXPECT_EQ(eSCALEERROR_NULL_PARAM, scale(nullptr, &detail));
    EXPECT_EQ(eSCALEERROR_NULL_PARAM, scale(&p, nullptr));
    HostHeap::refuses = true;
    EXPECT_EQ(eSCALEERROR_MEM_ALLOC, scale(&p, &detail));
    HostHeap::refuses = false;
    EXPECT_EQ(Bytes(to.size(), 0x77), to.bytes());

    scaleInitParameter noHeap{};
    EXPECT_NE(0, initialise(nullptr));
    EXPECT_NE(0, initialise(&noHeap));
}

TEST_F(ScalePlugin, ServesEightThreads) {
    std::atomic<int> failures{0};
    onEightThreads([&](unsigned thread) {
        const Layout& layout = layouts[thread];
        const Picture source = noise(60 + static_cast<int>(thread), 40, layout);
        const Picture expected = enlarge(source, 150, 90);
        for (int i = 0; i < 20; ++i) {
            failures += enlarge(source, 150, 90).bytes == expected.bytes ? 0 : 1;
        }
    });
    EXPECT_EQ(0, failures);
}

}  // namespace
}  // namespace quarlo::test
