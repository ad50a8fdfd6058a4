/*
 * The JPEG plug-in: pictures coded in every way in every pixel layout, and everything that a broken
 * or hostile one gets.
 */
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <fstream>

// jpeglib.h needs what stands above.
#include <jerror.h>
#include <jpeglib.h>

#include "PluginUnderTest.h"

namespace quarlo::test {
namespace {

/** Red rises to the right, green falls downwards, blue rises along the diagonal. */
Bytes gradient(int width, int height) {
    Bytes rgb;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            rgb.push_back(static_cast<UInt8>(40 + x * 3 / 2));
            rgb.push_back(static_cast<UInt8>(230 - 3 * y));
            rgb.push_back(static_cast<UInt8>((x + y) / 2));
        }
    }
    return rgb;
}

using Coding = void (*)(jpeg_compress_struct&);

void atOnce(jpeg_compress_struct&) {}

void progressive(jpeg_compress_struct& info) {
    jpeg_simple_progression(&info);
}

/** A scan for each component. */
void separate(jpeg_compress_struct& info) {
    static const jpeg_scan_info scans[] = {
        {1, {0}, 0, 63, 0, 0}, {1, {1}, 0, 63, 0, 0}, {1, {2}, 0, 63, 0, 0}};
    info.scan_info = scans;
    info.num_scans = 3;
}

void arithmetic(jpeg_compress_struct& info) {
    separate(info);
    info.arith_code = TRUE;
}

Bytes compress(const Bytes& rgb, int width, int height, Coding coding = &atOnce) {
    jpeg_compress_struct info{};
    jpeg_error_mgr faults{};
    info.err = jpeg_std_error(&faults);
    jpeg_create_compress(&info);
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &jpeg, &size);
    info.image_width = static_cast<JDIMENSION>(width);
    info.image_height = static_cast<JDIMENSION>(height);
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 95, TRUE);
    coding(info);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        const size_t start = size_t{info.next_scanline} * 3 * info.image_width;
        JSAMPROW row = const_cast<JSAMPROW>(&rgb[start]);
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    const Bytes bytes(jpeg, jpeg + size);
    jpeg_destroy_compress(&info);
    std::free(jpeg);
    return bytes;
}

/** The same pixels in a layout: each is a number, stored in a byte order. */
Bytes inLayout(const Bytes& rgb, const Layout& layout) {
    Bytes bytes;
    for (size_t i = 0; i < rgb.size(); i += 3) {
        const UInt32 red = rgb[i], green = rgb[i + 1], blue = rgb[i + 2];
        UInt32 pixel = 0xFFU << 24 | red << 16 | green << 8 | blue;
        if (layout.format == ePIXELFORMAT_RGB565)
            pixel = red >> 3 << 11 | green >> 2 << 5 | blue >> 3;
        if (layout.format == ePIXELFORMAT_RGBA8888) pixel = pixel << 8 | 0xFF;
        Bytes stored = part(u32(pixel), 0, layout.bytes);
        if (layout.endian == ePIXELENDIANESS_BigEndian) std::reverse(stored.begin(), stored.end());
        bytes.insert(bytes.end(), stored.begin(), stored.end());
    }
    return bytes;
}

constexpr UInt8 startOfFrame = 0xC0;
constexpr UInt8 startOfProgressive = 0xC2;
constexpr UInt8 startOfScan = 0xDA;
const Bytes end{0xFF, 0xD9};

/** Where the last marker of a kind begins. */
size_t lastMarker(const Bytes& jpeg, UInt8 kind) {
    const UInt8 marker[] = {0xFF, kind};
    const auto found =
        std::find_end(jpeg.begin(), jpeg.end(), std::begin(marker), std::end(marker));
    EXPECT_NE(jpeg.end(), found);
    return static_cast<size_t>(found - jpeg.begin());
}

Bytes upTo(const Bytes& jpeg, size_t length) {
    return part(jpeg, 0, length);
}

Bytes withDimensions(Bytes jpeg, unsigned width, unsigned height, UInt8 frame = startOfFrame) {
    const Bytes size = {static_cast<UInt8>(height >> 8), static_cast<UInt8>(height),
                        static_cast<UInt8>(width >> 8), static_cast<UInt8>(width)};
    std::copy(size.begin(), size.end(), &jpeg[lastMarker(jpeg, frame) + 5]);
    return jpeg;
}

constexpr Outcome success{eDECOMPRESSERROR_NONE, 0};
constexpr Outcome dimensionMismatch{eDECOMPRESSERROR_DIMENSION_MISMATCH, 0};
constexpr Outcome failing(Int32 code) {
    return {eDECOMPRESSERROR_JPEG_ERROR, code};
}

class JpegPlugin : public testing::Test {
  protected:
    ~JpegPlugin() override { EXPECT_EQ(0, HostHeap::live); }

    Decompressor plugin{"libQUARLO-Decomp00.so", eFRAMECOMPRESSION_JPEG};
};

TEST_F(JpegPlugin, ShowsWhatWasDrawnInEveryLayout) {
    const struct { int width, height; } sizes[] = {{1, 1}, {7, 3}, {64, 48}, {129, 65}};
    for (const auto& size : sizes) {
        const Bytes drawn = gradient(size.width, size.height);
        for (const Coding coding : {&atOnce, &progressive, &separate, &arithmetic}) {
            const Bytes jpeg = compress(drawn, size.width, size.height, coding);
            ASSERT_EQ(success, plugin.decode(jpeg, size.width, size.height));
            const Bytes rgb = plugin.decoded;
            for (size_t i = 0; i < drawn.size(); ++i) ASSERT_NEAR(drawn[i], rgb[i], 8) << i;
            for (const Layout& layout : layouts) {
                SCOPED_TRACE(testing::Message() << size.width << " wide, " << layout.name);
                EXPECT_EQ(success, plugin.decode(jpeg, size.width, size.height, layout));
                EXPECT_EQ(inLayout(rgb, layout), plugin.decoded);
            }
        }
    }
}

TEST_F(JpegPlugin, RefusesParameters) {
    const Exact data(compress(gradient(8, 8), 8, 8));
    const Exact frame(size_t{8} * 8 * 3);
    const decompressParameter good = compressedPicture(plugin.bit, data, frame, 8, 8, layouts[0]);
    expectEach(good, changesOfAnyData, plugin.call);
    const Changes changes = {
        {"zlib", [](auto& p) { p.compression = eFRAMECOMPRESSION_ZLIB; },
         eDECOMPRESSERROR_PARAM_CONTENT},
        {"format 5", [](auto& p) { p.format = static_cast<PixelFormat>(5), p.bpp = 0; },
         eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"byte order 0", [](auto& p) { p.endian = PixelEndianess{}; },
         eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"frame a byte short", [](auto& p) { --p.frameDataLength, p.bpp = 0; },
         eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"bytes that fill the frame in another format",
         [](auto& p) { p.frameDataLength = 128, p.bpp = 2; }, eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"wider", [](auto& p) { p.width = 9; }, eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"size that is 0 in 32 bits",
         [](auto& p) {
             p.width = p.height = 32768;
             p.format = ePIXELFORMAT_ARGB8888;
             p.bpp = 4;
         },
         eDECOMPRESSERROR_DIMENSION_MISMATCH},
    };
    expectEach(good, changes, plugin.call);
}

TEST_F(JpegPlugin, RefusesBombs) {
    const Bytes jpeg = compress(gradient(16, 16), 16, 16);
    EXPECT_EQ(dimensionMismatch, plugin.decode(withDimensions(jpeg, 65000, 65000), 16, 16));
    EXPECT_EQ(dimensionMismatch, plugin.decode(jpeg, 15, 16));
    EXPECT_EQ(dimensionMismatch, plugin.decode(jpeg, 16, 17));
    EXPECT_EQ(Bytes(size_t{16} * 17 * 3, 0x55), plugin.decoded);
    EXPECT_EQ(failing(JERR_IMAGE_TOO_BIG),
              plugin.decode(withDimensions(jpeg, 65535, 65535), 16, 16));
    EXPECT_EQ(failing(JERR_EMPTY_IMAGE), plugin.decode(withDimensions(jpeg, 16, 0), 16, 16));
    // The few bytes of a small picture do not become a large one.
    EXPECT_EQ(failing(JWRN_HIT_MARKER),
              plugin.decode(withDimensions(jpeg, 2048, 1024), 2048, 1024));

    // A last scan that is repeated changes nothing, costs time, and would be without end.
    const Bytes whole = compress(gradient(6, 5), 6, 5, &separate);
    const Bytes scan = part(whole, lastMarker(whole, startOfScan), whole.size() - 2);
    const auto scans = [&](int times) {
        Bytes repeated = upTo(whole, whole.size() - 2 - scan.size());
        for (int i = 0; i < times; ++i) repeated = repeated + scan;
        return repeated + end;
    };
    EXPECT_EQ(success, plugin.decode(scans(498), 6, 5));
    EXPECT_EQ(failing(JERR_BAD_PROGRESSION), plugin.decode(scans(499), 6, 5));
}

// What surrounds whole data, or is missing behind them, changes nothing; what is missing inside of
// them, also between two scans, is a fault.
TEST_F(JpegPlugin, TellsWholePicturesFromCutOnes) {
    for (const Coding coding : {&atOnce, &progressive, &separate}) {
        const Bytes whole = compress(gradient(40, 24), 40, 24, coding);
        ASSERT_EQ(success, plugin.decode(whole, 40, 24));
        const Bytes expected = plugin.decoded;
        std::vector<Bytes> same = {upTo(whole, whole.size() - 1), upTo(whole, whole.size() - 2),
                                   upTo(whole, whole.size() - 2) + Bytes(9, 0),
                                   whole + Bytes(9, 0xAA)};
        for (const Bytes& spare : {Bytes{0x12, 0x00}, Bytes{0xFF, 0xFF, 0xFF}}) {
            for (const UInt8 marker : {UInt8{0xDB}, UInt8{0xC4}, startOfScan, end[1]}) {
                const size_t at = lastMarker(whole, marker);
                same.push_back(upTo(whole, at) + spare + part(whole, at, whole.size()));
            }
        }
        for (const Bytes& jpeg : same) {
            EXPECT_EQ(success, plugin.decode(jpeg, 40, 24));
            EXPECT_EQ(expected, plugin.decoded);
        }
        for (size_t length = 0; length < whole.size() - 2; ++length) {
            SCOPED_TRACE(length);
            for (const Layout& layout : {layouts[0], layouts[2]}) {
                const Outcome outcome = plugin.decode(upTo(whole, length), 40, 24, layout);
                EXPECT_EQ(eDECOMPRESSERROR_JPEG_ERROR, outcome.result);
                EXPECT_GT(outcome.detail, 0);
            }
        }
    }
}

TEST_F(JpegPlugin, NamesTheFault) {
    const Bytes picture = gradient(40, 24);
    const Bytes simple = compress(picture, 40, 24);
    const Bytes inScans = compress(picture, 40, 24, &separate);
    const Bytes refined = compress(picture, 40, 24, &progressive);
    const Bytes coded = compress(picture, 40, 24, &arithmetic);
    const auto cutBeforeScan = [](const Bytes& jpeg) {
        return upTo(jpeg, lastMarker(jpeg, startOfScan));
    };
    const struct {
        const char* what;
        Bytes jpeg;
        Int32 code;
    } cases[] = {
        {"nothing", {}, JERR_INPUT_EMPTY},
        {"no picture", {0xFF, 0xD8, 0xFF, 0xD9}, JERR_NO_IMAGE},
        {"cut in its data, with an end", upTo(simple, simple.size() - 5) + end, JWRN_HIT_MARKER},
        {"cut before the last refinement", cutBeforeScan(refined), JWRN_JPEG_EOF},
        {"cut before the last component", cutBeforeScan(inScans), JWRN_JPEG_EOF},
        {"without the last component", cutBeforeScan(inScans) + end, JERR_MISSING_DATA},
        {"arithmetic without an end", upTo(coded, coded.size() - 2), JWRN_JPEG_EOF},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(failing(c.code), plugin.decode(c.jpeg, 40, 24));
    }
}

// A sanitizer needs the address space.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(JpegPlugin, ReportsADecoderWithoutMemory) {
    // The decoder keeps all of a progressive picture; its memory is not the host's.
    const Bytes small = compress(gradient(6, 5), 6, 5, &progressive);
    const Exact in(withDimensions(small, 6000, 3000, startOfProgressive));
    const Exact frame(size_t{2} * 6000 * 3000);
    const auto decodeInSixteenMegabytes = [&] {
        size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlim_t limit = pages * 4096 + (16U << 20U);
        const rlimit space{limit, limit};
        setrlimit(RLIMIT_AS, &space);
        // An emulated processor has no such limit, and nothing to show.
        void* volatile block = std::malloc(size_t{64} << 20U);
        if (block != nullptr) _exit(0);
        decompressParameter p = compressedPicture(plugin.bit, in, frame, 6000, 3000, layouts[2]);
        Int32 detail = 0;
        _exit(plugin.call(&p, &detail) == eDECOMPRESSERROR_MEM_ALLOC && detail == 0 ? 0 : 1);
    };
    EXPECT_EXIT(decodeInSixteenMegabytes(), testing::ExitedWithCode(0), "");
}
#endif

}  // namespace
}  // namespace quarlo::test
