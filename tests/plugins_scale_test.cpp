/*
 * The scaling plug-in against the exact colours of each pixel's area, and parts of a picture
 * against the whole.
 */
#include <cmath>
#include <numeric>
#include <random>

#include "PluginUnderTest.h"

namespace quarlo::test {
namespace {

struct Picture {
    int width;
    int height;
    Layout layout;
    Bytes bytes;

    Picture(int w, int h, const Layout& l)
        : width(w), height(h), layout(l), bytes(size_t(w) * size_t(h) * l.bytes) {}

    [[nodiscard]] int channels() const { return layout.bytes == 2 ? 3 : layout.bytes; }
    [[nodiscard]] size_t at(int x, int y) const {
        return (size_t(y) * size_t(width) + size_t(x)) * layout.bytes;
    }
    [[nodiscard]] int channel(int x, int y, int c) const {
        const UInt8* pixel = &bytes[at(x, y)];
        if (layout.bytes != 2) return pixel[c];
        const bool little = layout.endian == ePIXELENDIANESS_LittleEndian;
        const int value = pixel[little ? 1 : 0] << 8 | pixel[little ? 0 : 1];
        return c == 0 ? value >> 11 : c == 1 ? value >> 5 & 63 : value & 31;
    }
    [[nodiscard]] Picture cut(int x, int y, int w, int h) const {
        Picture result(w, h, layout);
        for (int row = 0; row < h; ++row) {
            std::copy_n(&bytes[at(x, y + row)], w * layout.bytes, &result.bytes[result.at(0, row)]);
        }
        return result;
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

    Span(int at, int from, int to) : first(static_cast<int>(std::int64_t{at} * from / to)) {
        const auto over = std::int64_t{at + 1} * from - std::int64_t{first + 1} * to;
        beyond = std::max<double>(0, static_cast<double>(over)) / from;
    }
};

/** The exact value of one channel of the enlarged picture. */
double exact(const Picture& source, int x, int y, int c, const Picture& enlarged) {
    const Span across(x, source.width, enlarged.width);
    const Span down(y, source.height, enlarged.height);
    const int right = std::min(across.first + 1, source.width - 1);
    const int below = std::min(down.first + 1, source.height - 1);
    const auto mixed = [&](int row) {
        return std::lerp(source.channel(across.first, row, c), source.channel(right, row, c),
                         across.beyond);
    };
    return std::lerp(mixed(down.first), mixed(below), down.beyond);
}

class ScalePlugin : public testing::Test {
  protected:
    ScalePlugin() { initialised(entryOf<scaleInitialiseFunction>(file, "quarloScale_initialise")); }
    ~ScalePlugin() override { EXPECT_EQ(0, HostHeap::live); }

    [[nodiscard]] Picture enlarge(const Picture& source, int width, int height) const {
        Picture result(width, height, source.layout);
        const Exact from(source.bytes);
        const Exact to(result.bytes.size(), 0xA5);
        scaleParameter p =
            enlargement(from, source.width, source.height, to, width, height, source.layout);
        Int32 detail = 4711;
        EXPECT_EQ(eSCALEERROR_NONE, scale(&p, &detail));
        EXPECT_EQ(0, detail);
        result.bytes = bytesIn(to);
        return result;
    }

    static constexpr const char* file = "libQUARLO-Scale00.so";
    const scaleFunction scale = entryOf<scaleFunction>(file, "quarloScale_scale");
};

TEST_F(ScalePlugin, IsWithinOneLevelOfExact) {
    const struct {
        int sourceWidth, sourceHeight, width, height;
    } sizes[] = {{1, 1, 9, 7},       {1, 5, 3, 50},    {5, 1, 50, 3},        {2, 2, 3, 3},
                 {16, 9, 32, 18},    {17, 9, 18, 31},  {33, 20, 100, 20},    {20, 33, 20, 99},
                 {31, 17, 310, 170}, {64, 48, 80, 60}, {65534, 1, 65535, 2}, {2, 65535, 3, 65535}};
    for (const Layout& layout : layouts) {
        for (const auto& s : sizes) {
            if (s.width * s.height > 99'999 && layout.bytes != 2) continue;
            SCOPED_TRACE(testing::Message()
                         << layout.name << ", " << s.sourceWidth << "x" << s.sourceHeight << " to "
                         << s.width << "x" << s.height);
            const Picture source = noise(s.sourceWidth, s.sourceHeight, layout);
            const Picture result = enlarge(source, s.width, s.height);
            double worst = 0;
            for (int i = 0; i < s.width * s.height * source.channels(); ++i) {
                const int c = i % source.channels(), at = i / source.channels();
                const int x = at % s.width, y = at / s.width;
                const double expected = std::round(exact(source, x, y, c, result));
                worst = std::max(worst, std::fabs(expected - result.channel(x, y, c)));
            }
            EXPECT_LE(worst, 1);
        }
        const Picture same = noise(37, 21, layout);
        EXPECT_EQ(same.bytes, enlarge(same, 37, 21).bytes) << layout.name;
    }
}

TEST_F(ScalePlugin, KeepsPlainColours) {
    for (const Layout& layout : layouts) {
        for (int level = 0; level < 256; ++level) {
            Picture plain(3, 2, layout);
            plain.bytes.assign(plain.bytes.size(), static_cast<UInt8>(level));
            const Bytes result = enlarge(plain, 13, 7).bytes;
            EXPECT_EQ(Bytes(result.size(), static_cast<UInt8>(level)), result) << layout.name;
        }
    }
}

// Parts whose corners fall on whole pixels, which they do at multiples of a step.
TEST_F(ScalePlugin, ScalesPartsLikeTheWhole) {
    std::minstd_rand random;
    const auto upTo = [&](int most) { return static_cast<int>(random() % unsigned(most + 1)); };
    for (const int percent : {10, 25, 33, 40, 50, 66, 70, 75, 80, 90, 95, 99}) {
        const auto up = [&](int size) { return 100 * size / percent; };
        const int step = percent / std::gcd(percent, 100);
        const int across = 198 / step, down = 99 / step;
        for (const Layout& layout : layouts) {
            const Picture whole = noise(across * step, down * step, layout);
            const Picture wholeUp = enlarge(whole, up(whole.width), up(whole.height));
            for (int i = 0; i < 4; ++i) {
                const int x = upTo(across - 1), y = upTo(down - 1);
                const int width = 1 + upTo(across - x - 1), height = 1 + upTo(down - y - 1);
                SCOPED_TRACE(testing::Message() << percent << " percent, " << layout.name);
                const Picture piece = whole.cut(x * step, y * step, width * step, height * step);
                const Picture pieceUp = enlarge(piece, up(piece.width), up(piece.height));
                EXPECT_EQ(
                    wholeUp.cut(up(x * step), up(y * step), pieceUp.width, pieceUp.height).bytes,
                    pieceUp.bytes);
            }
        }
    }
}

TEST_F(ScalePlugin, RefusesParameters) {
    const Exact from(size_t{8} * 6 * 3);
    const Exact to(size_t{16} * 12 * 3, 0x77);
    const scaleParameter good = enlargement(from, 8, 6, to, 16, 12, layouts[0]);
    const std::vector<Change<scaleParameter>> changes = {
        {"no source", [](auto& p) { p.sourceBuffer = nullptr; }, eSCALEERROR_NULL_PARAM_CONTENT},
        {"no destination", [](auto& p) { p.destinationBuffer = nullptr; },
         eSCALEERROR_NULL_PARAM_CONTENT},
        // Nothing to draw, or nothing to draw on.
        {"source width 0", [](auto& p) { p.sourceWidth = 0; }, eSCALEERROR_NONE},
        {"source height 0", [](auto& p) { p.sourceHeight = 0; }, eSCALEERROR_NONE},
        {"width 0", [](auto& p) { p.destinationWidth = 0; }, eSCALEERROR_NONE},
        {"height 0", [](auto& p) { p.destinationHeight = 0; }, eSCALEERROR_NONE},
        {"source a byte short", [](auto& p) { --p.sourceBufferLength; }, eSCALEERROR_PARAM_VALUE},
        {"destination a byte short", [](auto& p) { --p.destinationBufferLength; },
         eSCALEERROR_PARAM_VALUE},
        {"narrower", [](auto& p) { p.destinationWidth = 7; }, eSCALEERROR_PARAM_VALUE},
        {"lower", [](auto& p) { p.destinationHeight = 5; }, eSCALEERROR_PARAM_VALUE},
        {"format 5", [](auto& p) { p.format = static_cast<PixelFormat>(5), p.imageBpp = 0; },
         eSCALEERROR_PARAM_VALUE},
        {"byte order 0", [](auto& p) { p.endian = PixelEndianess{}; }, eSCALEERROR_PARAM_VALUE},
        {"bytes of another format", [](auto& p) { p.imageBpp = 2; }, eSCALEERROR_PARAM_VALUE},
        {"size that is 0 in 32 bits",
         [](auto& p) {
             p.format = ePIXELFORMAT_ARGB8888;
             p.imageBpp = 4;
             p.sourceHeight = 4;
             p.destinationWidth = p.destinationHeight = 32768;
         },
         eSCALEERROR_PARAM_VALUE},
    };
    expectEach(good, changes, scale);
    HostHeap::refuses = true;
    scaleParameter p = good;
    Int32 detail = 4711;
    EXPECT_EQ(eSCALEERROR_MEM_ALLOC, scale(&p, &detail));
    HostHeap::refuses = false;
    EXPECT_EQ(Bytes(to.size(), 0x77), bytesIn(to));
    EXPECT_EQ(eSCALEERROR_NONE, scale(&p, &detail));
}

}  // namespace
}  // namespace quarlo::test
