/* Enlargement of rectangles sent at reduced size, and the picture buffers with their limits. */
#include <algorithm>

#include "Frames.h"
#include "PluginUnderTest.h"

namespace quarlo::test {
namespace {

const std::string plain = "VER no compression";
const std::string rule = "VRF " + std::string(78, '=');
const std::string failed = "WRN scaling image failed";
const std::string noShrinking = "ERR down scaling is not supported";
const std::string next = "frame 1 10,20 4x2 #32";

/** The lines that say what became of the rectangles. */
Lines outcome(const Lines& lines) {
    Lines result;
    for (const std::string& line : lines) {
        for (const char* start : {"ERR ", "WRN ", "error ", "frame 0", "frame 1"}) {
            if (line.rfind(start, 0) == 0) result.push_back(line);
        }
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

TEST(Scaling, EnlargesWithThePluginOrCentresInWhite) {
    Rect half = Rect{}.sized(100, 60).at(50, 50);
    half.data = pattern(24000);
    const Lines expected = Lines{plain,
                                 rule,
                                 "VRF I M A G E   S C A L I N G",
                                 rule,
                                 "VRF rectangle sent ...: position ( 10,  20) size (100,  60)",
                                 "VRF factors ..........:                          ( 50,  50)",
                                 "VRF scaled sizes .....: position ( 20,  40) size (200, 120)"} +
                           madeBuffer(96000) + Lines{"frame 0 20,40 200x120 #96000", rule};
    {
        Screen screen;
        EXPECT_EQ(screen.showOne(half), expected);
        EXPECT_EQ(screen.host.pixels(), Bytes(96000, half.data[0]));
        Rect failing = Rect{}.at(50, 50);
        failing.data[0] = unscalable;
        EXPECT_EQ(outcome(screen.show({failing, Rect{}})), (Lines{failed, next}));
        EXPECT_EQ(screen.host.count(rule), 3U);
    }
    Screen screen("unscaled");
    EXPECT_EQ(screen.showOne(half), expected);
    EXPECT_EQ(screen.host.pixels(), centred(half.data, 100, 60, 200, 120, 4));
    Rect odd = Rect{}.sized(3, 2).at(50, 40);
    odd.bytesPerPixel = 3;
    odd.data = pattern(18);
    screen.show({odd});
    EXPECT_EQ(hex(screen.host.pixels()), hex(centred(odd.data, 3, 2, 6, 5, 3)));
}

TEST(Scaling, BothWaysHandOnTheEnlargedRectangle) {
    struct Case {
        Rect rectangle;
        std::string sizes;  // as they were cut, where the rectangle can be enlarged
        std::string outcome;
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
    const Rect small = rect(10, 4, 2, 32);
    const std::string twice = "( 20,  40) size (  8,   4)";
    const std::vector<Case> cases{
        {rect(7, 4, 2, 32).at(33, 100), "( 21,  20) size ( 12,   2)", "frame 0 21,20 12x2 #96"},
        {rect(7, 4, 2, 32).at(100, 33), "(  7,  60) size (  4,   6)", "frame 0 7,60 4x6 #96"},
        {ownBytes, twice, "frame 0 20,40 8x4 #64"},
        {configuredBytes, twice, "frame 0 20,40 8x4 #128"},
        // Sizes and positions keep 16 bits; the first still holds its picture.
        {rect(60000, 700, 1, 2800).at(1, 100), "(36224,  20) size (4464,   1)",
         "frame 0 36224,20 4464x1 #17856"},
        {rect(10, 60000, 1, 240000).at(91, 100), "( 10,  20) size (398,   1)", failed},
        // Bytes that are not there are not read.
        {rect(10, 4, 2, 31).at(50, 50), twice, failed},
        {rect(10, 4, 2, 0).at(50, 50), twice, failed},
        {rect(10, 65535, 1, 16).at(100, 50), "( 10,  40) size (65535,   2)", failed},
        {rect(10, 0, 2, 32).at(50, 50), "( 20,  40) size (  0,   4)", failed},
        {rect(10, 4, 0, 32).at(50, 50), "( 20,  40) size (  8,   0)", failed},
        {rect(10, 0, 0, 0).at(1, 1), "(1000, 2000) size (  0,   0)", failed},
        {small.at(101, 100), "", noShrinking},
        {small.at(100, 101), "", noShrinking},
        {small.at(0, 50), "", noShrinking},
        {small.at(100, 0), "", noShrinking},
    };
    for (const char* folder : {"unscaled", "good"}) {
        Screen screen(folder);
        for (const Case& c : cases) {
            SCOPED_TRACE(folder + textOf(Screen::announced(0, c.rectangle)));
            // A dropped rectangle lets the next one through, a refused one ends the update.
            const Lines lines = screen.show({c.rectangle, Rect{}});
            const bool ends = c.sizes.empty();
            EXPECT_EQ(outcome(lines), ends ? Lines{c.outcome} : (Lines{c.outcome, next}));
            EXPECT_EQ(screen.host.linesWith("VRF scaled"),
                      ends ? Lines{} : Lines{"VRF scaled sizes .....: position " + c.sizes});
            EXPECT_EQ(screen.host.count(rule), ends ? 2U : 3U);
            EXPECT_EQ(lines.back(), "frame end");
        }
    }
}

TEST(Scaling, FollowsDecompression) {
    Screen screen("unscaled");
    const Rect half = compressed(eFRAMECOMPRESSION_ZLIB).at(50, 50);
    screen.show({half});
    EXPECT_TRUE(screen.host.has("frame 0 20,40 8x4 #128"));
    EXPECT_EQ(screen.host.pixels(), centred(Bytes(32, 0x55), 4, 2, 8, 4, 4));
    // The decoded picture has the configured bytes per pixel: too few for what the rectangle says.
    quarlo_SetPixelFormat(screen.handle(), ePIXELFORMAT_RGB565, 2, ePIXELENDIANESS_LittleEndian);
    screen.show({half});
    EXPECT_TRUE(screen.host.has(failed));
}

/* ---- buffers and limits ---- */

const Lines memoryReport = outOfMemoryLines("    frame buffer allocation failed.");
const Lines noPicture =
    memoryReport + Lines{"ERR compressed frame: cannot allocate output data buffer"};
const Lines noScaled = memoryReport + Lines{"ERR scale buffer allocation failure"};
const Rect zlib = compressed(eFRAMECOMPRESSION_ZLIB);

TEST(PictureBuffers, AreReusedInTheSteadyState) {
    Screen screen("unscaled");
    const Rect jpeg = compressed(eFRAMECOMPRESSION_JPEG);
    const std::vector<Rect> rectangles{zlib.at(50, 50), Rect{}, jpeg, jpeg.at(50, 50)};
    screen.show(rectangles);
    allocations::restart();
    screen.show(rectangles);
    screen.show(rectangles);
    EXPECT_EQ(screen.host.count("frame 3 20,40 8x4 #128"), 1U);
    // A smaller picture needs no new block either.
    screen.show({jpeg.sized(2, 1)});
    screen.show({jpeg});
    EXPECT_EQ(allocations::made(), 0);
    screen.show({jpeg.sized(5, 2)});
    EXPECT_EQ(allocations::made(), 1);
}

TEST(PictureBuffers, PicturesBeyondTheLimitCountAsFailedAllocations) {
    struct Case {
        UInt32 frameWidth, frameHeight;
        Rect rectangle;
        Lines expected;
    };
    const Lines larger{"frame 0 10,20 4097x4096 #67125248"};
    const std::vector<Case> cases{
        {800, 480, zlib.sized(65535, 65535), noPicture},
        {800, 480, zlib.sized(65535, 16385), noPicture},  // 196604 in 32 bits
        {800, 480, zlib.sized(32768, 32768), noPicture},  // 0 in 32 bits
        {800, 480, zlib.sized(4097, 4096), noPicture},
        {800, 480, zlib.sized(4096, 4096), {"frame 0 10,20 4096x4096 #67108864"}},
        {800, 480, Rect{}.sized(65535, 32767).at(100, 50), noScaled},
        {800, 480, Rect{}.sized(16384, 16384).at(50, 50), noScaled},  // 0 in 32 bits
        {800, 480, Rect{}.sized(2048, 2049).at(50, 50), noScaled},
        // The limit grows with the frame,
        {4097, 1024, zlib.sized(4097, 4097), noPicture},
        {4097, 1024, zlib.sized(4097, 4096), larger},
        // up to what a length can say; the size of this one wraps to 0 in 64 bits.
        {0x80000000, 0x80000000, zlib.sized(65535, 16385), noPicture},
        {0x80000000, 0x80000000, zlib.sized(4097, 4096), larger},
    };
    Screen screen("unscaled");
    const quarlo_CoreInstance& record = *screen.host.record();
    for (const Case& c : cases) {
        SCOPED_TRACE(textOf(Screen::announced(0, c.rectangle)));
        quarlo_SetFrameSize(screen.handle(), c.frameWidth, c.frameHeight, 1, 1);
        screen.show({zlib.at(50, 50)});
        EXPECT_EQ(outcome(screen.show({c.rectangle})), c.expected);
        // Refused like an allocation that fails: the former buffer is gone.
        EXPECT_EQ(screen.host.count("VER     remove old buffer"), 1U);
        EXPECT_EQ(record.decompressionBufferSize == 0, c.expected == noPicture);
        EXPECT_EQ(record.scaleBufferSize == 0, c.expected == noScaled);
    }
}

TEST(PictureBuffers, FailedAllocationsEndTheUpdate) {
    Screen screen("unscaled");
    const Rect half = Rect{}.at(50, 50);
    allocations::restart(1);
    EXPECT_EQ(outcome(screen.show({zlib, Rect{}})), noPicture);
    allocations::restart(1);
    EXPECT_EQ(outcome(screen.show({half, Rect{}})), noScaled);
    allocations::restart();
    EXPECT_EQ(outcome(screen.show({zlib, half})),
              (Lines{"frame 0 10,20 4x2 #32", "frame 1 20,40 8x4 #128"}));
}

TEST(AllocateFrameBuffer, KeepsABlockThatIsLargeEnough) {
    const Found found("none");
    Host host;
    UInt8* buffer = nullptr;
    std::size_t size = 0;
    const auto request = [&](std::size_t amount) {
        host.forgetLines();
        EXPECT_EQ(_quarlo_AllocateFrameBuffer(host.record(), &buffer, &size, amount), eRETURN_OKAY);
        EXPECT_EQ(size, amount);
    };
    request(1000);
    EXPECT_EQ(Bytes(buffer, buffer + 1000), Bytes(1000, 0));
    UInt8* const first = buffer;
    request(600);
    EXPECT_EQ(buffer, first);
    // The recorded size follows the request, so this one is made anew.
    request(800);
    EXPECT_EQ(host.count("VER     remove old buffer"), 1U);
    EXPECT_EQ(_quarlo_AllocateFrameBuffer(nullptr, &buffer, &size, 1), eRETURN_NULL_HANDLE);
    EXPECT_EQ(_quarlo_AllocateFrameBuffer(host.record(), nullptr, &size, 1), eRETURN_NULL_PARAM);
    EXPECT_EQ(_quarlo_AllocateFrameBuffer(host.record(), &buffer, nullptr, 1), eRETURN_NULL_PARAM);
    allocations::restart(1);
    EXPECT_EQ(_quarlo_AllocateFrameBuffer(host.record(), &buffer, &size, 801), eRETURN_MEM_ALLOC);
    allocations::restart();
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(size, 0U);
}

TEST(ScaleImage, RefusesWhatDoesNotFit) {
    const Exact source(Bytes(4, 1));
    const Exact destination(16, 2);
    const scaleParameter good = enlargement(source, 2, 2, destination, 4, 4, {"", {}, {}, 1});
    const std::vector<Change<scaleParameter>> changes{
        {"source length 0", [](auto& p) { p.sourceBufferLength = 0, p.sourceBuffer = nullptr; }, 4},
        {"source height 0", [](auto& p) { p.sourceHeight = 0; }, 4},
        {"source width 0", [](auto& p) { p.sourceWidth = 0; }, 4},
        {"length 0", [](auto& p) { p.destinationBufferLength = 0, p.destinationBuffer = nullptr; },
         4},
        {"height 0", [](auto& p) { p.destinationHeight = 0, p.sourceBuffer = nullptr; }, 4},
        {"width 0", [](auto& p) { p.destinationWidth = 0, p.sourceBuffer = nullptr; }, 4},
        {"no source", [](auto& p) { p.sourceBuffer = nullptr; }, 2},
        {"no destination", [](auto& p) { p.destinationBuffer = nullptr; }, 2},
        {"wider", [](auto& p) { p.sourceWidth = 5, p.sourceHeight = 1; }, 4},
        {"higher", [](auto& p) { p.sourceWidth = 1, p.sourceHeight = 5; }, 4},
        {"short source", [](auto& p) { p.sourceBufferLength = 3; }, 4},
        {"short destination", [](auto& p) { p.destinationBufferLength = 15; }, 4},
        {"source of 0 in 32 bits",
         [](auto& p) {
             p.sourceWidth = p.sourceHeight = p.destinationWidth = p.destinationHeight = 32768;
             p.imageBpp = 4;
         },
         4},
    };
    expectEach(good, changes, &_quarlo_ScaleImage);
    EXPECT_EQ(bytesIn(destination), Bytes(16, 2));
    scaleParameter parameter = good;
    Int32 detailCode = 77;
    EXPECT_EQ(_quarlo_ScaleImage(&parameter, &detailCode), eSCALEERROR_NONE);
    EXPECT_EQ(detailCode, 0);
    EXPECT_EQ(hex(bytesIn(destination)), "FF FF FF FF FF 01 01 FF FF 01 01 FF FF FF FF FF");
}

}  // namespace
}  // namespace quarlo::test
