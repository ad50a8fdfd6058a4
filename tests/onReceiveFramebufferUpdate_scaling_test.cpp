/* Enlargement of rectangles sent at reduced size, and the picture buffers with their limits. */
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "Frames.h"

namespace quarlo::test {
namespace {

const std::string plain = "VER no compression";
const std::string rule = "VRF " + std::string(78, '=');
const std::string failed = "WRN scaling image failed";
const std::string noShrinking = "ERR down scaling is not supported";

/** The lines between the data and the decision: banner, rectangle, factors. */
Lines banner(const std::string& sent, const std::string& factors) {
    return {rule, "VRF I M A G E   S C A L I N G", rule, "VRF rectangle sent ...: " + sent,
            "VRF factors ..........:                          " + factors};
}

/** The part of the lines that says what became of a rectangle. */
Lines outcome(const Lines& lines) {
    Lines result;
    for (const std::string& line : lines) {
        const bool counts = line.rfind("ERR ", 0) == 0 || line.rfind("WRN ", 0) == 0 ||
                            line.rfind("error ", 0) == 0 || line.rfind("frame 0", 0) == 0 ||
                            line.rfind("frame 1", 0) == 0;
        if (counts) result.push_back(line);
    }
    return result;
}

/** Bytes that differ from their neighbours. */
Bytes pattern(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<UInt8>(i * 7 + 1);
    return bytes;
}

/** The picture in the middle of white, computed pixel by pixel. */
Bytes centred(const Bytes& source, unsigned width, unsigned height, unsigned newWidth,
              unsigned newHeight, unsigned bytesPerPixel) {
    Bytes picture(std::size_t{newWidth} * newHeight * bytesPerPixel, 0xFF);
    const unsigned left = (newWidth - width) / 2;
    const unsigned top = (newHeight - height) / 2;
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width * bytesPerPixel; ++x) {
            picture[((y + top) * newWidth + left) * bytesPerPixel + x] =
                source[y * width * bytesPerPixel + x];
        }
    }
    return picture;
}

TEST(Scaling, WithoutAPluginThePictureIsCentredInWhite) {
    Screen screen("unscaled");
    Rect half = Rect{}.sized(100, 60).at(50, 50);
    half.data = pattern(std::size_t{100} * 60 * 4);
    EXPECT_EQ(
        screen.showOne(half),
        (Lines{plain} + banner("position ( 10,  20) size (100,  60)", "( 50,  50)") +
         Lines{"VRF scaled sizes .....: position ( 20,  40) size (200, 120)"} +
         madeBuffer(std::size_t{200} * 120 * 4) + Lines{"frame 0 20,40 200x120 #96000", rule}));
    EXPECT_EQ(screen.host.pixels(), centred(half.data, 100, 60, 200, 120, 4));
}

TEST(Scaling, BothWaysHandOnTheEnlargedRectangle) {
    struct Case {
        Rect rectangle;
        Lines expected;
    };
    const auto rect = [](unsigned x, unsigned width, unsigned height, std::size_t size) {
        Rect r = Rect{}.sized(width, height);
        r.x = x;
        r.data = Bytes(size, 0x42);
        return r;
    };
    Rect ownBytes = rect(10, 4, 2, 16).at(50, 50);
    ownBytes.bytesPerPixel = 2;
    Rect configuredBytes = rect(10, 4, 2, 32).at(50, 50);
    configuredBytes.bytesPerPixel = 0;
    const std::vector<Case> cases{
        {rect(7, 4, 2, 32).at(33, 100), {"frame 0 21,20 12x2 #96"}},
        {rect(7, 4, 2, 32).at(100, 33), {"frame 0 7,60 4x6 #96"}},
        {ownBytes, {"frame 0 20,40 8x4 #64"}},
        {configuredBytes, {"frame 0 20,40 8x4 #128"}},
        // Sizes and positions keep 16 bits; the first still holds its picture.
        {rect(60000, 700, 1, 2800).at(1, 100), {"frame 0 36224,20 4464x1 #17856"}},
        {rect(10, 60000, 1, 240000).at(91, 100), {failed}},
        // Bytes that are not there are not read.
        {rect(10, 4, 2, 31).at(50, 50), {failed}},
        {rect(10, 4, 2, 0).at(50, 50), {failed}},
        {rect(10, 65535, 1, 16).at(100, 50), {failed}},
        {rect(10, 0, 2, 32).at(50, 50), {failed}},
        {rect(10, 4, 0, 32).at(50, 50), {failed}},
        {rect(10, 0, 0, 0).at(1, 1), {failed}},
        {rect(10, 4, 2, 32).at(101, 100), {noShrinking}},
        {rect(10, 4, 2, 32).at(100, 101), {noShrinking}},
        {rect(10, 4, 2, 32).at(255, 1), {noShrinking}},
        {rect(10, 4, 2, 32).at(0, 50), {noShrinking}},
        {rect(10, 4, 2, 32).at(100, 0), {noShrinking}},
        {rect(10, 4, 2, 32).at(0, 255), {noShrinking}},
    };
    for (const char* folder : {"unscaled", "good"}) {
        Screen screen(folder);
        for (const Case& c : cases) {
            const Rect& r = c.rectangle;
            SCOPED_TRACE(std::string(folder) + " " + std::to_string(r.width) + "x" +
                         std::to_string(r.height) + " at " + std::to_string(r.horizontal) + "/" +
                         std::to_string(r.vertical) + " #" + std::to_string(r.data.size()));
            // A dropped rectangle lets the next one through, a refused one ends the update.
            const Lines lines = screen.show({r, Rect{}});
            const bool ends = c.expected == Lines{noShrinking};
            const Lines rest = ends ? Lines{} : Lines{"frame 1 10,20 4x2 #32"};
            EXPECT_EQ(outcome(lines), c.expected + rest);
            EXPECT_EQ(std::count(lines.begin(), lines.end(), rule), ends ? 2 : 3);
            EXPECT_EQ(lines.back(), "frame end");
        }
    }
}

TEST(Scaling, ThePluginDrawsTheWholePicture) {
    Screen screen;
    Rect half = Rect{}.at(50, 50);
    EXPECT_EQ(screen.showOne(half),
              (Lines{plain} + banner("position ( 10,  20) size (  4,   2)", "( 50,  50)") +
               Lines{"VRF scaled sizes .....: position ( 20,  40) size (  8,   4)"} +
               madeBuffer(128) + Lines{"frame 0 20,40 8x4 #128", rule}));
    EXPECT_EQ(screen.host.pixels(), Bytes(128, 0x11));
    half.data[0] = unscalable;
    EXPECT_EQ(outcome(screen.show({half, Rect{}})), (Lines{failed, "frame 1 10,20 4x2 #32"}));
    EXPECT_EQ(screen.host.count(rule), 3U);
}

TEST(Scaling, TracesTheSizesAsTheyWereCut) {
    Screen screen("unscaled");
    const Lines lines = screen.showOne(Rect{}.sized(60000, 1).at(91, 100));
    ASSERT_GT(lines.size(), 6U);
    EXPECT_EQ(lines[6], "VRF scaled sizes .....: position ( 10,  20) size (398,   1)");
    EXPECT_EQ(outcome(lines), Lines{failed});
}

TEST(Scaling, FollowsDecompression) {
    Screen screen("unscaled");
    const Rect half = compressed(eFRAMECOMPRESSION_ZLIB).at(50, 50);
    EXPECT_EQ(outcome(screen.show({half})), Lines{"frame 0 20,40 8x4 #128"});
    EXPECT_EQ(screen.host.pixels(), centred(Bytes(32, 0x55), 4, 2, 8, 4, 4));
    // The decoded picture has the configured bytes per pixel: too few for what the rectangle says.
    quarlo_SetPixelFormat(screen.host.handle(), ePIXELFORMAT_RGB565, 2,
                          ePIXELENDIANESS_LittleEndian);
    EXPECT_EQ(outcome(screen.show({half})), Lines{failed});
}

TEST(Scaling, WithoutACallbackNothingIsHandedOn) {
    Screen screen("unscaled");
    quarlo_SetFrameUpdateCallback(screen.host.handle(), nullptr);
    const Lines lines = screen.showOne(Rect{}.at(50, 50));
    EXPECT_TRUE(outcome(lines).empty());
    EXPECT_EQ(lines.back(), rule);
}

/* ---- buffers and limits
 * -------------------------------------------------------------------------- */

const std::string noBuffer = "ERR     frame buffer allocation failed.";
const Lines memoryReport{noBuffer, "ERR error callback with code 'MEM_ALLOC'", "error MEM_ALLOC"};
const Lines noPicture =
    memoryReport + Lines{"ERR compressed frame: cannot allocate output data buffer"};
const Lines noScaled = memoryReport + Lines{"ERR scale buffer allocation failure"};

TEST(PictureBuffers, AreReusedInTheSteadyState) {
    Screen screen("unscaled");
    const std::vector<Rect> rectangles{compressed(eFRAMECOMPRESSION_ZLIB).at(50, 50), Rect{},
                                       compressed(eFRAMECOMPRESSION_JPEG),
                                       compressed(eFRAMECOMPRESSION_JPEG).at(50, 50)};
    screen.show(rectangles);
    const unsigned long before = allocations();
    for (int i = 0; i < 5; ++i) screen.show(rectangles);
    EXPECT_EQ(allocations(), before);
    EXPECT_EQ(screen.host.count("frame 3 20,40 8x4 #128"), 1U);
    // A smaller picture needs no new block either.
    screen.show({compressed(eFRAMECOMPRESSION_JPEG).sized(2, 1)});
    screen.show({compressed(eFRAMECOMPRESSION_JPEG)});
    EXPECT_EQ(allocations(), before);
    screen.show({compressed(eFRAMECOMPRESSION_JPEG).sized(5, 2)});
    EXPECT_EQ(allocations(), before + 1);
}

TEST(PictureBuffers, PicturesBeyondTheLimitCountAsFailedAllocations) {
    struct Case {
        Rect rectangle;
        Lines expected;
    };
    const Rect zlib = compressed(eFRAMECOMPRESSION_ZLIB);
    const std::vector<Case> cases{
        {zlib.sized(65535, 65535), noPicture},
        {zlib.sized(65535, 16385), noPicture},  // 196604 in 32 bits
        {zlib.sized(32768, 32768), noPicture},  // 0 in 32 bits
        {zlib.sized(32769, 32768), noPicture},
        {zlib.sized(4097, 4096), noPicture},
        {Rect{}.sized(65535, 65535).at(100, 50), noScaled},
        {Rect{}.sized(16384, 16384).at(25, 25), {failed}},  // 65536 keeps nothing
        {Rect{}.sized(16384, 16384).at(50, 50), noScaled},  // 0 in 32 bits
        {Rect{}.sized(2048, 2049).at(50, 50), noScaled},
    };
    Screen screen("unscaled");
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.rectangle.width) + "x" + std::to_string(c.rectangle.height));
        EXPECT_EQ(outcome(screen.show({c.rectangle})), c.expected);
    }
    // Refused like an allocation that fails: the buffer is gone, the lines before are the same.
    const Lines gone{"INF (Re-)Allocate Frame Buffer", "VER     remove old buffer"};
    const quarlo_CoreInstance& record = *screen.host.record();
    screen.show({zlib.at(50, 50)});
    EXPECT_EQ(screen.showOne(zlib.sized(4097, 4096)),
              Lines{"VRF perform decompression"} + gone + noPicture);
    EXPECT_EQ(record.decompressionBuffer, nullptr);
    EXPECT_EQ(record.decompressionBufferSize, 0U);
    const Lines unscaled = screen.showOne(Rect{}.sized(2048, 2049).at(50, 50));
    ASSERT_GT(unscaled.size(), 7U);
    EXPECT_EQ(Lines(unscaled.begin() + 7, unscaled.end()), gone + noScaled);
    EXPECT_EQ(record.scaleBuffer, nullptr);
    EXPECT_EQ(record.scaleBufferSize, 0U);
    // Exactly the limit.
    EXPECT_EQ(outcome(screen.show({zlib.sized(4096, 4096)})),
              Lines{"frame 0 10,20 4096x4096 #67108864"});
}

TEST(PictureBuffers, TheLimitGrowsWithTheConfiguredFrame) {
    Screen screen("unscaled");
    quarlo_SetFrameSize(screen.host.handle(), 4097, 1024, 1, 1);
    const Rect zlib = compressed(eFRAMECOMPRESSION_ZLIB);
    EXPECT_EQ(outcome(screen.show({zlib.sized(4097, 4097)})), noPicture);
    EXPECT_EQ(outcome(screen.show({zlib.sized(4097, 4096)})),
              Lines{"frame 0 10,20 4097x4096 #67125248"});
}

TEST(PictureBuffers, TheLimitOfAnAbsurdFrameIsWhatTheLengthCanSay) {
    // Its size wraps to 0 in 64 bits.
    Screen screen("unscaled");
    quarlo_SetFrameSize(screen.host.handle(), 0x80000000, 0x80000000, 1, 1);
    const Rect zlib = compressed(eFRAMECOMPRESSION_ZLIB);
    EXPECT_EQ(outcome(screen.show({zlib.sized(65535, 16385)})), noPicture);
    EXPECT_EQ(outcome(screen.show({zlib.sized(4097, 4096)})),
              Lines{"frame 0 10,20 4097x4096 #67125248"});
}

TEST(PictureBuffers, FailedAllocationsEndTheUpdate) {
    Screen screen("unscaled");
    const Rect zlib = compressed(eFRAMECOMPRESSION_ZLIB).sized(1000, 100);
    Rect half = Rect{}.sized(500, 100).at(50, 100);
    half.data = Bytes(std::size_t{500} * 100 * 4);
    refuseAllocationsFrom(400000);
    EXPECT_EQ(outcome(screen.show({zlib, Rect{}})), noPicture);
    EXPECT_EQ(screen.host.record()->decompressionBufferSize, 0U);
    EXPECT_EQ(outcome(screen.show({half, Rect{}})), noScaled);
    EXPECT_EQ(screen.host.record()->scaleBufferSize, 0U);
    refuseAllocationsFrom(0);
    EXPECT_EQ(outcome(screen.show({zlib, half})),
              (Lines{"frame 0 10,20 1000x100 #400000", "frame 1 20,20 1000x100 #400000"}));
}

TEST(AllocateFrameBuffer, KeepsABlockThatIsLargeEnough) {
    const Found found("none");
    Host host;
    UInt8* buffer = nullptr;
    std::size_t size = 0;
    const auto request = [&](std::size_t amount) {
        return _quarlo_AllocateFrameBuffer(host.record(), &buffer, &size, amount);
    };
    ASSERT_EQ(request(1000), eRETURN_OKAY);
    EXPECT_EQ(Bytes(buffer, buffer + 1000), Bytes(1000, 0));
    UInt8* const first = buffer;
    EXPECT_EQ(request(600), eRETURN_OKAY);
    EXPECT_EQ(buffer, first);
    EXPECT_EQ(size, 600U);
    // The recorded size follows the request, so this one is made anew.
    host.forgetLines();
    const unsigned long before = allocations();
    EXPECT_EQ(request(800), eRETURN_OKAY);
    EXPECT_EQ(allocations(), before + 1);
    EXPECT_EQ(size, 800U);
    ASSERT_EQ(host.lines().size(), 3U);
    EXPECT_EQ(host.lines()[0], "INF (Re-)Allocate Frame Buffer");
    EXPECT_EQ(host.lines()[1], "VER     remove old buffer");

    host.forgetLines();
    refuseAllocationsFrom(801);
    EXPECT_EQ(request(801), eRETURN_MEM_ALLOC);
    refuseAllocationsFrom(0);
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(host.lines(), (Lines{"INF (Re-)Allocate Frame Buffer", "VER     remove old buffer"} +
                             memoryReport));
    host.forgetLines();
    EXPECT_EQ(_quarlo_AllocateFrameBuffer(nullptr, &buffer, &size, 1), eRETURN_NULL_HANDLE);
    EXPECT_EQ(_quarlo_AllocateFrameBuffer(host.record(), nullptr, &size, 1), eRETURN_NULL_PARAM);
    EXPECT_EQ(_quarlo_AllocateFrameBuffer(host.record(), &buffer, nullptr, 1), eRETURN_NULL_PARAM);
    EXPECT_TRUE(host.lines().empty());
}

TEST(ScaleImage, CentresInWhite) {
    struct Case {
        UInt16 width, height, newWidth, newHeight;
        UInt8 bytesPerPixel;
    };
    for (const Case& c : {Case{2, 2, 4, 4, 1}, Case{2, 2, 5, 3, 3}, Case{3, 1, 3, 1, 4},
                          Case{1, 4, 6, 4, 2}, Case{2, 2, 4, 4, 0}}) {
        SCOPED_TRACE(c.newWidth);
        Bytes source = pattern(std::size_t{c.width} * c.height * c.bytesPerPixel + 1);
        Bytes expected =
            centred(source, c.width, c.height, c.newWidth, c.newHeight, c.bytesPerPixel);
        // What lies behind the picture, but inside the buffer, turns white too.
        expected.push_back(0xFF);
        Bytes destination(expected.size(), 0);
        scaleParameter parameter{c.width,
                                 c.height,
                                 static_cast<UInt32>(source.size()),
                                 source.data(),
                                 c.newWidth,
                                 c.newHeight,
                                 static_cast<UInt32>(destination.size()),
                                 destination.data(),
                                 ePIXELFORMAT_RGB888,
                                 ePIXELENDIANESS_BigEndian,
                                 c.bytesPerPixel};
        Int32 detailCode = 77;
        EXPECT_EQ(_quarlo_ScaleImage(&parameter, &detailCode), eSCALEERROR_NONE);
        EXPECT_EQ(detailCode, 0);
        EXPECT_EQ(hex(destination), hex(expected));
    }
}

TEST(ScaleImage, RefusesWhatDoesNotFit) {
    Bytes source(4, 1);
    Bytes destination(16, 2);
    const scaleParameter good{2,
                              2,
                              4,
                              source.data(),
                              4,
                              4,
                              16,
                              destination.data(),
                              ePIXELFORMAT_RGB888,
                              ePIXELENDIANESS_BigEndian,
                              1};
    struct Case {
        const char* name;
        std::function<void(scaleParameter&)> spoil;
        Int32 result;
    };
    const std::vector<Case> cases{
        {"source length 0", [](auto& p) { p.sourceBufferLength = 0; }, 4},
        {"source height 0", [](auto& p) { p.sourceHeight = 0; }, 4},
        {"source width 0", [](auto& p) { p.sourceWidth = 0; }, 4},
        {"length 0", [](auto& p) { p.destinationBufferLength = 0; }, 4},
        {"height 0", [](auto& p) { p.destinationHeight = 0; }, 4},
        {"width 0", [](auto& p) { p.destinationWidth = 0; }, 4},
        {"no source", [](auto& p) { p.sourceBuffer = nullptr; }, 2},
        {"no destination", [](auto& p) { p.destinationBuffer = nullptr; }, 2},
        {"wider", [](auto& p) { p.sourceWidth = 5, p.sourceHeight = 1; }, 4},
        {"higher", [](auto& p) { p.sourceWidth = 1, p.sourceHeight = 5; }, 4},
        {"short source", [](auto& p) { p.sourceBufferLength = 3; }, 4},
        {"short destination", [](auto& p) { p.destinationBufferLength = 15; }, 4},
        {"source beyond 32 bits",
         [](auto& p) {
             p.sourceWidth = p.sourceHeight = p.destinationWidth = p.destinationHeight = 32768;
             p.imageBpp = 4;
         },
         4},
    };
    Int32 detailCode = 77;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        scaleParameter spoilt = good;
        c.spoil(spoilt);
        EXPECT_EQ(_quarlo_ScaleImage(&spoilt, &detailCode), c.result);
        EXPECT_EQ(destination, Bytes(16, 2));
    }
    scaleParameter parameter = good;
    EXPECT_EQ(_quarlo_ScaleImage(nullptr, &detailCode), eSCALEERROR_NULL_PARAM);
    EXPECT_EQ(_quarlo_ScaleImage(&parameter, nullptr), eSCALEERROR_NULL_PARAM);
    EXPECT_EQ(detailCode, 77);
}

}  // namespace
}  // namespace quarlo::test
