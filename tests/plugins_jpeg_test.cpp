/*
 * The JPEG plug-in: pictures of every sampling in every pixel layout, and everything that a broken
 * or hostile one gets.
 */
#include <sys/resource.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cstdio>
#include <fstream>

// jpeglib.h needs what stands above.
#include <jerror.h>
#include <jpeglib.h>

#include "PluginUnderTest.h"

namespace quarlo::test {
namespace {

using Bytes = std::vector<UInt8>;

struct Layout {
    const char* name;
    PixelFormat format;
    PixelEndianess endian;
    UInt8 bytes;
    /** Places of red, green, blue and alpha in a pixel of 3 or 4 bytes. */
    size_t red, green, blue, alpha;
};

constexpr size_t none = 9;
constexpr Layout layouts[] = {
    {"RGB888 little", ePIXELFORMAT_RGB888, ePIXELENDIANESS_LittleEndian, 3, 2, 1, 0, none},
    {"RGB888 big", ePIXELFORMAT_RGB888, ePIXELENDIANESS_BigEndian, 3, 0, 1, 2, none},
    {"ARGB8888 little", ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_LittleEndian, 4, 2, 1, 0, 3},
    {"ARGB8888 big", ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_BigEndian, 4, 1, 2, 3, 0},
    {"RGBA8888 little", ePIXELFORMAT_RGBA8888, ePIXELENDIANESS_LittleEndian, 4, 3, 2, 1, 0},
    {"RGBA8888 big", ePIXELFORMAT_RGBA8888, ePIXELENDIANESS_BigEndian, 4, 0, 1, 2, 3},
    {"RGB565 little", ePIXELFORMAT_RGB565, ePIXELENDIANESS_LittleEndian, 2, 0, 0, 0, none},
    {"RGB565 big", ePIXELFORMAT_RGB565, ePIXELENDIANESS_BigEndian, 2, 0, 0, 0, none},
};

/** Red rises to the right, green downwards, blue along the diagonal: no two channels are alike. */
Bytes gradient(int width, int height) {
    Bytes rgb;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            rgb.push_back(static_cast<UInt8>(40 + 200 * x / width));
            rgb.push_back(static_cast<UInt8>(230 - 200 * y / height));
            rgb.push_back(static_cast<UInt8>(120 * (x + y) / (width + height)));
        }
    }
    return rgb;
}

Bytes compress(const Bytes& pixels, int width, int height, int sampling = TJSAMP_444, int flags = 0,
               int layout = TJPF_RGB) {
    const tjhandle handle = tjInitCompress();
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    EXPECT_EQ(0, tjCompress2(handle, pixels.data(), width, 0, height, layout, &jpeg, &size,
                             sampling, 95, flags));
    Bytes bytes(jpeg, jpeg + size);
    tjFree(jpeg);
    tjDestroy(handle);
    return bytes;
}

/** One scan for each component, which TurboJPEG cannot make. */
Bytes compressScans(const Bytes& rgb, int width, int height, bool isArithmetic) {
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
    const jpeg_scan_info scans[] = {
        {1, {0}, 0, 63, 0, 0}, {1, {1}, 0, 63, 0, 0}, {1, {2}, 0, 63, 0, 0}};
    info.scan_info = scans;
    info.num_scans = 3;
    info.arith_code = isArithmetic ? TRUE : FALSE;
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        JSAMPROW row =
            const_cast<JSAMPROW>(&rgb[size_t{info.next_scanline} * 3 * info.image_width]);
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    const Bytes bytes(jpeg, jpeg + size);
    jpeg_destroy_compress(&info);
    std::free(jpeg);
    return bytes;
}

/** The same decoder called directly, for the red, green and blue of every pixel. */
Bytes reference(const Bytes& jpeg, int width, int height) {
    Bytes rgb(static_cast<size_t>(width * height) * 3);
    const tjhandle handle = tjInitDecompress();
    EXPECT_EQ(0, tjDecompress2(handle, jpeg.data(), jpeg.size(), rgb.data(), width, 0, height,
                               TJPF_RGB, 0));
    tjDestroy(handle);
    return rgb;
}

/** A picture of 6 x 5 pixels (201, 40, 90): progressive, chrominance at a third of the width. */
Bytes thirdOfTheWidth() {
    Bytes jpeg = {0xFF, 0xD8};
    for (const UInt8 table : {UInt8{0}, UInt8{1}}) {
        jpeg.insert(jpeg.end(), {0xFF, 0xDB, 0x00, 0x43, table});
        jpeg.insert(jpeg.end(), 64, 1);
    }
    jpeg.insert(
        jpeg.end(),
        {0xFF, 0xC2, 0x00, 0x11, 0x08, 0x00, 0x05, 0x00, 0x06, 0x03, 0x01, 0x31, 0x00, 0x02, 0x11,
         0x01, 0x03, 0x11, 0x01, 0xFF, 0xC4, 0x00, 0x15, 0x00, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00,
         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x09, 0xFF, 0xC4, 0x00,
         0x15, 0x01, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
         0x00, 0x00, 0x00, 0x05, 0x0A, 0xFF, 0xDA, 0x00, 0x0C, 0x03, 0x01, 0x00, 0x02, 0x10, 0x03,
         0x10, 0x00, 0x00, 0x00, 0x9D, 0xE1, 0xF4, 0xC1, 0xFF, 0xC4, 0x00, 0x14, 0x10, 0x01, 0x00,
         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
         0xFF, 0xDA, 0x00, 0x08, 0x01, 0x01, 0x00, 0x01, 0x3F, 0x00, 0x7F, 0xFF, 0xC4, 0x00, 0x14,
         0x11, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
         0x00, 0x00, 0x00, 0xFF, 0xDA, 0x00, 0x08, 0x01, 0x02, 0x01, 0x01, 0x3F, 0x00, 0x7F, 0xFF,
         0xC4, 0x00, 0x14, 0x11, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xDA, 0x00, 0x08, 0x01, 0x03, 0x01, 0x01, 0x3F,
         0x00, 0x7F, 0xFF, 0xD9});
    return jpeg;
}

constexpr UInt8 startOfFrame = 0xC0;
constexpr UInt8 startOfProgressive = 0xC2;
constexpr UInt8 startOfScan = 0xDA;
constexpr UInt8 endOfImage = 0xD9;

/** Where the last marker of a kind begins. */
size_t lastMarker(const Bytes& jpeg, UInt8 kind) {
    const UInt8 marker[] = {0xFF, kind};
    const auto found =
        std::find_end(jpeg.begin(), jpeg.end(), std::begin(marker), std::end(marker));
    EXPECT_NE(jpeg.end(), found);
    return static_cast<size_t>(found - jpeg.begin());
}

Bytes upTo(const Bytes& jpeg, size_t length) {
    return {jpeg.begin(), jpeg.begin() + static_cast<std::ptrdiff_t>(length)};
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
const Bytes end{0xFF, endOfImage};

Bytes withDimensions(Bytes jpeg, unsigned width, unsigned height, UInt8 frame = startOfFrame) {
    const size_t at = lastMarker(jpeg, frame) + 5;
    jpeg[at] = static_cast<UInt8>(height >> 8);
    jpeg[at + 1] = static_cast<UInt8>(height);
    jpeg[at + 2] = static_cast<UInt8>(width >> 8);
    jpeg[at + 3] = static_cast<UInt8>(width);
    return jpeg;
}

decompressParameter rectangle(const Exact& data, const Exact& frame, int width, int height,
                              const Layout& layout = layouts[0]) {
    return {static_cast<UInt16>(width),
            static_cast<UInt16>(height),
            layout.bytes,
            layout.format,
            layout.endian,
            eFRAMECOMPRESSION_JPEG,
            data.data(),
            data.size(),
            frame.data(),
            frame.size()};
}

constexpr Outcome success{eDECOMPRESSERROR_NONE, 0};
constexpr Outcome dimensionMismatch{eDECOMPRESSERROR_DIMENSION_MISMATCH, 0};
constexpr Outcome failing(Int32 code) {
    return {eDECOMPRESSERROR_JPEG_ERROR, code};
}

class JpegPlugin : public testing::Test {
  protected:
    ~JpegPlugin() override { EXPECT_EQ(0, HostHeap::live); }

    Outcome decode(const Bytes& jpeg, int width, int height, const Layout& layout = layouts[0]) {
        const Exact in(jpeg);
        const Exact frame(static_cast<size_t>(width * height) * layout.bytes, 0x55);
        const Outcome outcome = plugin(rectangle(in, frame, width, height, layout));
        decoded = frame.bytes();
        return outcome;
    }

    /** The decoded pixels hold the red, green and blue given, in their layout. */
    void expectPixels(const Bytes& rgb, const Layout& layout) const {
        ASSERT_EQ(rgb.size() / 3 * layout.bytes, decoded.size());
        for (size_t i = 0; i < rgb.size() / 3; ++i) {
            const UInt8* expected = rgb.data() + 3 * i;
            const UInt8* pixel = decoded.data() + layout.bytes * i;
            if (layout.bytes == 2) {
                const bool little = layout.endian == ePIXELENDIANESS_LittleEndian;
                const int value = little ? pixel[0] | pixel[1] << 8 : pixel[1] | pixel[0] << 8;
                ASSERT_EQ((expected[0] >> 3) << 11 | (expected[1] >> 2) << 5 | expected[2] >> 3,
                          value)
                    << "pixel " << i;
                continue;
            }
            ASSERT_EQ(expected[0], pixel[layout.red]) << "pixel " << i;
            ASSERT_EQ(expected[1], pixel[layout.green]) << "pixel " << i;
            ASSERT_EQ(expected[2], pixel[layout.blue]) << "pixel " << i;
            if (layout.alpha != none) {
                ASSERT_EQ(0xFF, pixel[layout.alpha]) << "pixel " << i;
            }
        }
    }

    Decompressor plugin{"libQUARLO-Decomp00.so", eFRAMECOMPRESSION_JPEG};
    Bytes decoded;
};

TEST_F(JpegPlugin, DecodesEverySamplingIntoEveryLayout) {
    const struct { int width, height; } sizes[] = {{1, 1}, {7, 3}, {64, 48}, {129, 65}};
    for (const auto& size : sizes) {
        const Bytes picture = gradient(size.width, size.height);
        for (int sampling = 0; sampling < TJ_NUMSAMP; ++sampling) {
            for (const int flags : {0, TJFLAG_PROGRESSIVE}) {
                const Bytes jpeg = compress(picture, size.width, size.height, sampling, flags);
                const Bytes expected = reference(jpeg, size.width, size.height);
                for (const Layout& layout : layouts) {
                    SCOPED_TRACE(testing::Message()
                                 << size.width << "x" << size.height << ", sampling " << sampling
                                 << ", flags " << flags << ", " << layout.name);
                    EXPECT_EQ(success, decode(jpeg, size.width, size.height, layout));
                    expectPixels(expected, layout);
                }
            }
        }
    }
}

// The whole way: what was drawn is what is shown, apart from what JPEG loses.
TEST_F(JpegPlugin, ShowsThePictureThatWasDrawn) {
    const Bytes picture = gradient(160, 90);
    ASSERT_EQ(success, decode(compress(picture, 160, 90), 160, 90, layouts[1]));
    for (size_t i = 0; i < picture.size(); ++i) ASSERT_NEAR(picture[i], decoded[i], 6) << i;
}

TEST_F(JpegPlugin, RefusesParameters) {
    const Bytes jpeg = compress(gradient(8, 8), 8, 8);
    const Exact data(jpeg);
    const Exact frame(size_t{8} * 8 * 3);
    const decompressParameter good = rectangle(data, frame, 8, 8);
    expectRefusesParameters(plugin, good);
    expectRefusesInitialiseWithoutHeap(plugin);

    const struct {
        const char* what;
        void (*change)(decompressParameter&);
        eDECOMPRESSERROR expected;
    } cases[] = {
        {"compression of another plug-in", [](auto& p) { p.compression = eFRAMECOMPRESSION_ZLIB; },
         eDECOMPRESSERROR_PARAM_CONTENT},
        {"format 0", [](auto& p) { p.format = PixelFormat{}; },
         eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"format 5", [](auto& p) { p.format = static_cast<PixelFormat>(5); },
         eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"byte order 0", [](auto& p) { p.endian = PixelEndianess{}; },
         eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"byte order 3", [](auto& p) { p.endian = static_cast<PixelEndianess>(3); },
         eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"bytes left to the format", [](auto& p) { p.bpp = 0; }, eDECOMPRESSERROR_NONE},
        {"frame a byte short", [](auto& p) { --p.frameDataLength; },
         eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"frame for 2 bytes per pixel", [](auto& p) { p.frameDataLength = 128; },
         eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"wider", [](auto& p) { p.width = 9; }, eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"size beyond 32 bits", [](auto& p) { p.width = p.height = 65535; },
         eDECOMPRESSERROR_DIMENSION_MISMATCH},
        {"size that is 0 in 32 bits",
         [](auto& p) {
             p.width = p.height = 32768;
             p.format = ePIXELFORMAT_ARGB8888;
             p.bpp = 4;
         },
         eDECOMPRESSERROR_DIMENSION_MISMATCH},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        decompressParameter changed = good;
        c.change(changed);
        EXPECT_EQ((Outcome{c.expected, 0}), plugin(changed));
    }
}

TEST_F(JpegPlugin, RefusesOtherDimensionsBeforeDecoding) {
    const Bytes jpeg = compress(gradient(32, 16), 32, 16);
    EXPECT_EQ(dimensionMismatch, decode(jpeg, 16, 32));
    EXPECT_EQ(dimensionMismatch, decode(jpeg, 31, 16));
    EXPECT_EQ(dimensionMismatch, decode(jpeg, 32, 17));
    EXPECT_EQ(Bytes(size_t{32} * 17 * 3, 0x55), decoded);
}

TEST_F(JpegPlugin, RefusesBombs) {
    const Bytes jpeg = compress(gradient(16, 16), 16, 16);
    EXPECT_EQ(dimensionMismatch, decode(withDimensions(jpeg, 65000, 65000), 16, 16));
    EXPECT_EQ(failing(JERR_IMAGE_TOO_BIG), decode(withDimensions(jpeg, 65535, 65535), 16, 16));
    EXPECT_EQ(failing(JERR_EMPTY_IMAGE), decode(withDimensions(jpeg, 16, 0), 16, 16));
    // The few bytes of a small picture do not become a large one.
    EXPECT_EQ(failing(JWRN_HIT_MARKER), decode(withDimensions(jpeg, 2048, 1024), 2048, 1024));

    // A last scan that is repeated changes nothing, costs time, and would be without end.
    const Bytes whole = thirdOfTheWidth();
    const size_t last = lastMarker(whole, startOfScan);
    const Bytes scan(&whole[last], &whole[whole.size() - 2]);
    const auto repeat = [&](int times) {
        Bytes repeated = upTo(whole, whole.size() - 2);
        for (int i = 0; i < times; ++i) repeated = repeated + scan;
        return repeated + end;
    };
    EXPECT_EQ(success, decode(repeat(10), 6, 5));
    EXPECT_EQ(failing(JERR_BAD_PROGRESSION), decode(repeat(600), 6, 5));
}

TEST_F(JpegPlugin, DecodesASamplingWithoutAName) {
    ASSERT_EQ(success, decode(thirdOfTheWidth(), 6, 5, layouts[1]));
    for (size_t i = 0; i < decoded.size(); i += 3) {
        EXPECT_EQ((Bytes{201, 40, 90}), Bytes(&decoded[i], &decoded[i] + 3)) << "pixel " << i / 3;
    }
}

struct Coding {
    const char* name;
    Bytes jpeg;
};

/** One picture of 40 x 24 in every order of its data. */
std::vector<Coding> codings() {
    const Bytes picture = gradient(40, 24);
    return {{"at once", compress(picture, 40, 24, TJSAMP_420)},
            {"progressive", compress(picture, 40, 24, TJSAMP_420, TJFLAG_PROGRESSIVE)},
            {"a scan for each component", compressScans(picture, 40, 24, false)}};
}

// What surrounds whole data, or is missing behind them, changes nothing.
TEST_F(JpegPlugin, TakesWholePicturesWithSpareBytesOrWithoutAnEnd) {
    for (const Coding& coding : codings()) {
        SCOPED_TRACE(coding.name);
        const Bytes& whole = coding.jpeg;
        const Bytes expected = reference(whole, 40, 24);
        const auto expectPicture = [&](const Bytes& jpeg) {
            EXPECT_EQ(success, decode(jpeg, 40, 24, layouts[1]));
            EXPECT_EQ(expected, decoded);
        };
        expectPicture(upTo(whole, whole.size() - 1));
        expectPicture(upTo(whole, whole.size() - 2));
        expectPicture(upTo(whole, whole.size() - 2) + Bytes(9, 0));
        expectPicture(whole + Bytes(9, 0xAA));
        for (const Bytes& spare : {Bytes{0x12, 0x00}, Bytes{0xFF, 0xFF, 0xFF}}) {
            for (const UInt8 marker : {UInt8{0xDB}, UInt8{0xC4}, startOfScan, endOfImage}) {
                const size_t at = lastMarker(whole, marker);
                expectPicture(upTo(whole, at) + spare +
                              Bytes(whole.begin() + static_cast<std::ptrdiff_t>(at), whole.end()));
            }
        }
    }
}

// Also between two scans, and also when an end was set behind the cut.
TEST_F(JpegPlugin, RefusesEveryTruncation) {
    for (const Coding& coding : codings()) {
        const Bytes& whole = coding.jpeg;
        for (size_t length = 0; length < whole.size() - 2; ++length) {
            SCOPED_TRACE(testing::Message() << coding.name << ", byte " << length);
            for (const Layout& layout : {layouts[0], layouts[7]}) {
                const Outcome outcome = decode(upTo(whole, length), 40, 24, layout);
                EXPECT_EQ(eDECOMPRESSERROR_JPEG_ERROR, outcome.result);
                EXPECT_GT(outcome.detail, 0);
            }
        }
    }
    const Bytes arithmetic = compressScans(gradient(40, 24), 40, 24, true);
    EXPECT_EQ(success, decode(arithmetic, 40, 24));
    EXPECT_EQ(failing(JWRN_JPEG_EOF), decode(upTo(arithmetic, arithmetic.size() - 2), 40, 24));
}

TEST_F(JpegPlugin, NamesTheFault) {
    const std::vector<Coding> whole = codings();
    const auto cutBefore = [&](size_t coding, UInt8 marker) {
        return upTo(whole[coding].jpeg, lastMarker(whole[coding].jpeg, marker));
    };
    const Bytes& simple = whole[0].jpeg;
    const struct {
        const char* what;
        Bytes jpeg;
        Int32 code;
    } cases[] = {
        {"nothing", {}, JERR_INPUT_EMPTY},
        {"no JPEG", {0x89, 'P', 'N', 'G'}, JERR_NO_SOI},
        {"fill alone", Bytes(500, 0xFF), JERR_NO_SOI},
        {"no picture", {0xFF, 0xD8, 0xFF, 0xD9}, JERR_NO_IMAGE},
        {"cut in its header", cutBefore(0, startOfScan), JERR_SOF_NO_SOS},
        {"cut in its data", upTo(simple, simple.size() - 5), JWRN_HIT_MARKER},
        {"cut in its data, with an end", upTo(simple, simple.size() - 5) + end, JWRN_HIT_MARKER},
        {"cut before the last refinement", cutBefore(1, startOfScan), JWRN_JPEG_EOF},
        {"cut before the last component", cutBefore(2, startOfScan), JWRN_JPEG_EOF},
        {"without the last component", cutBefore(2, startOfScan) + end, JERR_MISSING_DATA},
        {"four colours", compress(gradient(40, 32), 40, 24, TJSAMP_444, 0, TJPF_CMYK),
         JERR_CONVERSION_NOTIMPL},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(failing(c.code), decode(c.jpeg, 40, 24));
    }
}

// Wherever one bit is turned the plug-in answers with a documented code and stays inside its
// buffers.
TEST_F(JpegPlugin, SurvivesEveryTurnedBit) {
    const Bytes whole = compress(gradient(24, 16), 24, 16, TJSAMP_420, TJFLAG_PROGRESSIVE);
    for (size_t bit = 0; bit < whole.size() * 8; ++bit) {
        Bytes data = whole;
        data[bit / 8] = static_cast<UInt8>(data[bit / 8] ^ (1U << (bit % 8)));
        const Outcome outcome = decode(data, 24, 16, layouts[bit % 8]);
        EXPECT_TRUE(outcome == success || outcome == dimensionMismatch ||
                    (outcome.result == eDECOMPRESSERROR_JPEG_ERROR && outcome.detail > 0))
            << "bit " << bit << ": " << outcome;
    }
}

// A sanitizer needs the address space.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(JpegPlugin, ReportsADecoderWithoutMemory) {
    // The decoder keeps all of a progressive picture; its memory is not the host's.
    constexpr int width = 6000, height = 3000;
    const Bytes jpeg = withDimensions(thirdOfTheWidth(), width, height, startOfProgressive);
    const Exact in(jpeg);
    const Exact frame(size_t{2} * width * height);
    const auto decodeInSixteenMegabytes = [&] {
        size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlim_t limit = pages * 4096 + (16U << 20U);
        const rlimit space{limit, limit};
        setrlimit(RLIMIT_AS, &space);
        // An emulated processor has no such limit, and nothing to show.
        void* volatile block = std::malloc(size_t{64} << 20U);
        if (block != nullptr) _exit(0);
        const Outcome outcome = plugin(rectangle(in, frame, width, height, layouts[6]));
        _exit(outcome == Outcome{eDECOMPRESSERROR_MEM_ALLOC, 0} ? 0 : 1);
    };
    EXPECT_EXIT(decodeInSixteenMegabytes(), testing::ExitedWithCode(0), "");
}
#endif

TEST_F(JpegPlugin, ServesEightThreads) {
    const Bytes whole = compress(gradient(200, 100), 200, 100, TJSAMP_420);
    const Bytes half = upTo(whole, whole.size() / 2);
    const Outcome cutOff = failing(JWRN_HIT_MARKER);
    Bytes expected[std::size(layouts)];
    for (size_t i = 0; i < std::size(layouts); ++i) {
        ASSERT_EQ(success, decode(whole, 200, 100, layouts[i]));
        expected[i] = decoded;
    }
    std::atomic<int> failures{0};
    onEightThreads([&](unsigned thread) {
        const Layout& layout = layouts[thread];
        const Exact in(whole);
        const Exact cut(half);
        for (int i = 0; i < 20; ++i) {
            const Exact frame(size_t{200} * 100 * layout.bytes);
            failures += plugin(rectangle(cut, frame, 200, 100, layout)) == cutOff ? 0 : 1;
            failures += plugin(rectangle(in, frame, 200, 100, layout)) == success ? 0 : 1;
            failures += frame.bytes() == expected[thread] ? 0 : 1;
        }
    });
    EXPECT_EQ(0, failures);
}

}  // namespace
}  // namespace quarlo::test
