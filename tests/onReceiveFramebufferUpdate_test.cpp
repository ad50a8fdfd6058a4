/* Screen updates: the callbacks' order, decompression with every result, raw output. */
#include <climits>
#include <numeric>

#include "Frames.h"

namespace quarlo::test {
namespace {

const std::string plain = "VER no compression";
const std::string unsupported = "ERR compression not supported.";

TEST(FramebufferUpdate, HandsOnUncompressedRectanglesInOrder) {
    Screen screen;
    Rect second;
    second.x = 65535;
    second.y = 0;
    second.data = {1, 2, 3};  // shorter than its size: handed on as it is
    allocations::restart();
    const Lines lines = screen.show({Rect{}, second});
    EXPECT_EQ(lines, (Screen::head(2) + Screen::announced(0, Rect{}) +
                      Lines{plain, "frame 0 10,20 4x2 #32"} + Screen::announced(1, second) +
                      Lines{plain, "frame 1 65535,0 4x2 #3", "frame end"}));
    EXPECT_EQ(hex(screen.host.pixels()), "01 02 03");
    EXPECT_EQ(allocations::made(), 0) << "copied";
    EXPECT_EQ(screen.show({}), (Screen::head(0) + Lines{"frame end"}));
    // Two percentages of 0 mean the same as two of 100.
    EXPECT_EQ(screen.showOne(Rect{}.at(0, 0)), (Lines{plain, "frame 0 10,20 4x2 #32"}));
}

TEST(FramebufferUpdate, StartAndEndCallbacksComeAsAPair) {
    Screen screen;
    void* const handle = screen.handle();
    const auto start = screen.host.record()->frameUpdateStartCallback.get();
    const auto end = screen.host.record()->frameUpdateEndCallback.get();
    for (const bool hasStart : {false, true}) {
        quarlo_SetFrameUpdateStartCallback(handle, hasStart ? start : nullptr);
        quarlo_SetFrameUpdateEndCallback(handle, hasStart ? nullptr : end);
        screen.show({Rect{}});
        EXPECT_EQ(screen.host.linesWith("frame "), (Lines{"frame 0 10,20 4x2 #32"}));
    }
    quarlo_SetFrameUpdateStartCallback(handle, start);
    quarlo_SetFrameUpdateEndCallback(handle, end);
    quarlo_SetFrameUpdateCallback(handle, nullptr);
    EXPECT_EQ(screen.showOne(Rect{}), (Lines{plain}));
}

TEST(FramebufferUpdate, IsIgnoredWhereItCannotBeHad) {
    Screen screen;
    Host idle;
    qrRectangle at{1, 2, 1, 1};
    qrFrameProperties properties{ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_LittleEndian, 4, 4};
    UInt8 pixel[4] = {};
    qrFrameRectangle whole{&at, &properties, 100, 100, 4, pixel};
    qrFrameRectangle noSize{nullptr, &properties, 100, 100, 4, pixel};
    qrFrameRectangle noProperties{&at, nullptr, 100, 100, 4, pixel};
    qrFrameRectangle* all[] = {nullptr, &noSize, &noProperties, &whole, nullptr};
    qrFrameRectangleList list{5, all};
    packetFramebufferUpdate packet{};
    packet.UpdateRegions = &list;
    onReceiveFramebufferUpdate(nullptr, &packet);
    onReceiveFramebufferUpdate(idle.record(), nullptr);
    onReceiveFramebufferUpdate(idle.record(), &packet);
    EXPECT_EQ(idle.lines(), (Lines{"WRN ReceiveFramebufferUpdate called with NULL packet.",
                                   "WRN FrameBufferUpdate received in wrong state; ignored"}));
    onReceiveFramebufferUpdate(screen.host.record(), &packet);
    list.paRectangles = nullptr;
    onReceiveFramebufferUpdate(screen.host.record(), &packet);
    EXPECT_EQ(screen.host.linesWith("frame "), (Lines{"frame start 5", "frame 3 1,2 1x1 #4",
                                                      "frame end", "frame start 5", "frame end"}));
}

TEST(FramebufferUpdate, FollowsOneConfigurationToItsEnd) {
    Screen screen;
    quarlo_SetFrameUpdateCallback(screen.handle(), [](void* context, UInt8, UInt16, UInt16, UInt16,
                                                      UInt16, UInt8*, UInt32 length) {
        Host& host = hostOf(context);
        quarlo_SetFrameOutputType(host.handle(), eFLAG_TRUE);
        quarlo_SetPixelFormat(host.handle(), ePIXELFORMAT_RGB565, 2, ePIXELENDIANESS_LittleEndian);
        host.note("frame #" + std::to_string(length));
    });
    const Rect zlib = compressed(eFRAMECOMPRESSION_ZLIB);
    screen.show({zlib, zlib});
    EXPECT_EQ(screen.host.count("frame #32"), 2U);
}

/* ---- decompression ---- */

TEST(Decompression, GivesThePluginOfItsBitTheWholeRectangle) {
    Screen screen;
    // The output follows the configured bytes per pixel, not the rectangle's.
    quarlo_SetPixelFormat(screen.handle(), ePIXELFORMAT_RGB888, 3, ePIXELENDIANESS_LittleEndian);
    Lines buffer = madeBuffer(5 * 4 * 3) + Lines{"INF Allocated new decompression buffer"};
    struct Case {
        UInt32 number;
        Lines announced;
    };
    for (const Case& c :
         {Case{0, {"IFF data sent uses JPEG compression"}},
          Case{1, {"IFF data sent uses ZLIB compression"}}, Case{3, {}}, Case{31, {}}}) {
        SCOPED_TRACE(c.number);
        Rect r = compressed(1U << c.number, {0, 0, 0x66, 1}).sized(5, 4);
        r.bytesPerPixel = 2;
        r.format = ePIXELFORMAT_RGB565;
        r.endian = ePIXELENDIANESS_BigEndian;
        r.data.resize(50, 3);
        EXPECT_EQ(screen.showOne(r),
                  (Lines{"VRF perform decompression"} + buffer + c.announced +
                   Lines{"VRF decompression finished", "frame 0 10,20 5x4 #60"}));
        const UInt32 sum = std::accumulate(r.data.begin(), r.data.end(), 0U);
        const Bytes pixels = screen.host.pixels();
        StubReport report{};
        std::memcpy(&report, pixels.data(), std::min(pixels.size(), sizeof report));
        EXPECT_EQ(report, (StubReport{c.number, 5, 4, 2, ePIXELFORMAT_RGB565,
                                      ePIXELENDIANESS_BigEndian, 1U << c.number, 50, sum, 60}));
        EXPECT_EQ(pixels.back(), 0x66);
        buffer.clear();  // made once
    }
}

TEST(Decompression, EachFailureIsReportedAndEndsTheUpdate) {
    struct Case {
        Int32 result;
        Int32 detailCode;
        Lines lines;
    };
    const auto error = [](const std::string& text, const std::string& code) {
        return Lines{"ERR " + text, "ERR error callback with code '" + code + "'", "error " + code};
    };
    const std::string null = "ERR NULL parameter or content detected in decompression function";
    const std::string size = "SIZE or DIMENSION problem detected in decompression function";
    const std::vector<Case> cases{
        {1, 9, {null}},
        {2, 9, {null}},
        {3, 9, {}},
        {4, -3, error("ZLIB error return with code -3", "Z_DATA_ERROR")},
        {5, 9, error(size, "FRAME_SIZE_MISMATCH")},
        {6, 9, error(size, "FRAME_SIZE_MISMATCH")},
        {7, 9, error("MEMORY allocation failure in decompression function", "MEM_ALLOC")},
        {8, INT_MAX, error("JPEG error return with code 2147483647", "JPEG_ERROR")},
        {9, 9, {}},
        {INT_MIN, 9, {}},
    };
    Screen screen;
    screen.show({compressed(eFRAMECOMPRESSION_JPEG)});  // makes the buffer
    const auto expectFailure = [&](const Rect& failing, const Lines& lines) {
        EXPECT_EQ(screen.show({failing, Rect{}}),
                  (Screen::head(2) + Screen::announced(0, failing) +
                   Lines{"VRF perform decompression", "IFF data sent uses JPEG compression"} +
                   lines + Lines{"frame end"}));
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.result);
        expectFailure(compressed(eFRAMECOMPRESSION_JPEG, {c.result, c.detailCode, 0, 0}), c.lines);
    }
    // The plug-in gets no address for data that are not there.
    Rect empty = compressed(eFRAMECOMPRESSION_JPEG);
    empty.data.clear();
    expectFailure(empty, {null});
    // The connection goes on.
    EXPECT_EQ(screen.showOne(compressed(eFRAMECOMPRESSION_JPEG)).back(), "frame 0 10,20 4x2 #32");
}

TEST(Decompression, APictureWithoutPixelsNeedsNoMemory) {
    Screen screen;
    const Rect zlib = compressed(eFRAMECOMPRESSION_ZLIB);
    for (const Rect& empty : {zlib.sized(0, 65535), zlib.sized(7, 0)}) {
        const std::string size = std::to_string(empty.width) + "x" + std::to_string(empty.height);
        EXPECT_EQ(screen.showOne(empty),
                  (Lines{"VRF perform decompression", "IFF data sent uses ZLIB compression",
                         "VRF decompression finished", "frame 0 10,20 " + size + " #0"}));
    }
    EXPECT_EQ(screen.host.record()->decompressionBuffer, nullptr);
}

TEST(Decompression, ValuesWithoutAPluginEndTheUpdateBeforeABufferIsMade) {
    Screen screen("unscaled");
    for (const UInt32 compression :
         {0U, 3U, 5U, 6U, 7U, 8U, 12U, 0x80000000U, 0x80000004U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(compression);
        const Rect refused = compressed(compression);
        const std::string line =
            compression == 7 ? "ERR frame received with invalid compression value." : unsupported;
        EXPECT_EQ(screen.show({refused, Rect{}}),
                  (Screen::head(2) + Screen::announced(0, refused) + Lines{line, "frame end"}));
    }
    EXPECT_EQ(screen.host.record()->decompressionBuffer, nullptr);
}

TEST(Decompression, NeverCallsAPluginThatTheMaskOnlyNames) {
    Screen screen("none");
    void* const handle = screen.handle();
    screen.listenTo<Callback::FrameUpdateRaw>(quarlo_SetFrameUpdateRawCallback);
    quarlo_SetFrameOutputType(handle, eFLAG_TRUE);
    ASSERT_EQ(quarlo_SetSupportedCompressions(handle, 3), eRETURN_OKAY);
    quarlo_SetFrameOutputType(handle, eFLAG_FALSE);
    for (const FrameCompression compression : {eFRAMECOMPRESSION_JPEG, eFRAMECOMPRESSION_ZLIB}) {
        EXPECT_EQ(screen.showOne(compressed(compression)), (Lines{unsupported}));
    }
    EXPECT_EQ(screen.host.record()->decompressionBuffer, nullptr);
}

/* ---- raw output ---- */

TEST(RawOutput, HandsOnEverythingAsSent) {
    Screen screen("none");
    void* const handle = screen.handle();
    quarlo_SetFrameOutputType(handle, eFLAG_TRUE);
    const std::string missing =
        "ERR RAW frame output requested, but no callback set. Please correct adaptor layer code!";
    Rect jpeg = compressed(eFRAMECOMPRESSION_JPEG).at(101, 0);
    jpeg.data = {0xFF, 0xD8, 0xFF};
    Rect odd = Rect{}.sized(0, 65535);
    odd.compression = 0xFFFFFFFF;
    odd.format = 9;
    odd.endian = 8;
    odd.data.clear();
    const auto expectLines = [&](const std::string& ofFirst, const std::string& ofSecond) {
        EXPECT_EQ(screen.show({jpeg, odd}),
                  (Screen::head(2) + Screen::announced(0, jpeg) + Lines{ofFirst} +
                   Screen::announced(1, odd) + Lines{ofSecond, "frame end"}));
    };
    expectLines(missing, missing);
    screen.listenTo<Callback::FrameUpdateRaw>(quarlo_SetFrameUpdateRawCallback);
    expectLines("FrameUpdateRaw 0 10 20 4 2 [ 255 216 255 ] 3 101 0 3 2 1",
                "FrameUpdateRaw 1 10 20 0 65535 - 0 100 100 9 8 4294967295");
}

}  // namespace
}  // namespace quarlo::test
