/* Screen updates: the callbacks' order, decompression with every result, raw output, limits. */
#include <gtest/gtest.h>

#include <climits>

#include "Frames.h"

namespace quarlo::test {
namespace {

const std::string plain = "VER no compression";
const std::string unsupported = "ERR compression not supported.";

/* ---- order of the callbacks
 * ---------------------------------------------------------------------- */

TEST(FramebufferUpdate, HandsOnUncompressedRectanglesInOrder) {
    Screen screen;
    Rect second;
    second.x = 65535;
    second.y = 0;
    second.data = {1, 2, 3};  // shorter than its size: handed on as it is
    const unsigned long before = allocations();
    const Lines lines = screen.show({Rect{}, second});
    EXPECT_EQ(lines, (Screen::head(2) + Screen::announced(0, Rect{}) +
                      Lines{plain, "frame 0 10,20 4x2 #32"} + Screen::announced(1, second) +
                      Lines{plain, "frame 1 65535,0 4x2 #3", "frame end"}));
    EXPECT_EQ(hex(screen.host.pixels()), "01 02 03");
    EXPECT_EQ(allocations(), before);
    EXPECT_EQ(screen.show({}), (Screen::head(0) + Lines{"frame end"}));
    // Two percentages of 0 mean the same as two of 100.
    EXPECT_EQ(screen.showOne(Rect{}.at(0, 0)), (Lines{plain, "frame 0 10,20 4x2 #32"}));
}

TEST(FramebufferUpdate, DoesNotCopyWhatNeedsNoDecoding) {
    Screen screen;
    quarlo_SetFrameUpdateCallback(
        screen.host.handle(),
        [](void* context, UInt8, UInt16, UInt16, UInt16, UInt16, UInt8* data, UInt32 length) {
            Host& host = *static_cast<Host*>(context);
            const quarlo_CoreInstance& record = *host.record();
            const bool isInside = data >= record.receiveBuffer &&
                                  data + length <= record.receiveBuffer + record.receiveBufferSize;
            host.note(isInside ? "in place" : "copied");
        });
    EXPECT_EQ(screen.showOne(Rect{}), (Lines{plain, "in place"}));
}

TEST(FramebufferUpdate, StartAndEndCallbacksComeAsAPair) {
    Screen screen;
    void* handle = screen.host.handle();
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

TEST(FramebufferUpdate, IsIgnoredOutsideRunAndWithoutAPacket) {
    const Found found("good");
    Host host;
    packetFramebufferUpdate packet{};
    onReceiveFramebufferUpdate(nullptr, &packet);
    onReceiveFramebufferUpdate(host.record(), nullptr);
    onReceiveFramebufferUpdate(host.record(), &packet);
    EXPECT_EQ(host.lines(), (Lines{"WRN ReceiveFramebufferUpdate called with NULL packet.",
                                   "WRN FrameBufferUpdate received in wrong state; ignored"}));
}

TEST(FramebufferUpdate, SkipsRectanglesThatCouldNotBeHad) {
    Screen screen;
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
    onReceiveFramebufferUpdate(screen.host.record(), &packet);
    EXPECT_EQ(screen.host.linesWith("frame "),
              (Lines{"frame start 5", "frame 3 1,2 1x1 #4", "frame end"}));
    list.paRectangles = nullptr;
    screen.host.forgetLines();
    onReceiveFramebufferUpdate(screen.host.record(), &packet);
    EXPECT_EQ(screen.host.lines(), (Screen::head(5) + Lines{"frame end"}));
}

TEST(FramebufferUpdate, FollowsOneConfigurationToItsEnd) {
    Screen screen;
    quarlo_SetFrameUpdateCallback(screen.host.handle(), [](void* context, UInt8, UInt16, UInt16,
                                                           UInt16, UInt16, UInt8*, UInt32 length) {
        Host& host = *static_cast<Host*>(context);
        quarlo_SetFrameOutputType(host.handle(), eFLAG_TRUE);
        quarlo_SetPixelFormat(host.handle(), ePIXELFORMAT_RGB565, 2, ePIXELENDIANESS_LittleEndian);
        host.note("frame #" + std::to_string(length));
    });
    const Rect zlib = compressed(eFRAMECOMPRESSION_ZLIB);
    screen.show({zlib, zlib});
    EXPECT_EQ(screen.host.count("frame #32"), 2U);
}

/* ---- decompression
 * ------------------------------------------------------------------------------- */

StubReport reportIn(const Bytes& pixels) {
    StubReport report{};
    EXPECT_GE(pixels.size(), sizeof report);
    std::memcpy(&report, pixels.data(), std::min(pixels.size(), sizeof report));
    return report;
}

TEST(Decompression, GivesThePluginOfItsBitTheWholeRectangle) {
    Screen screen;
    // The output follows the configured bytes per pixel, not the rectangle's.
    quarlo_SetPixelFormat(screen.host.handle(), ePIXELFORMAT_RGB888, 3,
                          ePIXELENDIANESS_LittleEndian);
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
        const StubReport got = reportIn(screen.host.pixels());
        EXPECT_EQ(got.number, c.number);
        EXPECT_EQ(got.width, 5U);
        EXPECT_EQ(got.height, 4U);
        EXPECT_EQ(got.bpp, 2U);
        EXPECT_EQ(got.format, ePIXELFORMAT_RGB565);
        EXPECT_EQ(got.endian, ePIXELENDIANESS_BigEndian);
        EXPECT_EQ(got.compression, 1U << c.number);
        EXPECT_EQ(got.compressedDataLength, 50U);
        UInt32 sum = 0;
        for (const UInt8 byte : r.data) sum += byte;
        EXPECT_EQ(got.compressedSum, sum);
        EXPECT_EQ(got.frameDataLength, 60U);
        EXPECT_EQ(screen.host.pixels().back(), 0x66);
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
        {4, INT_MAX, error("ZLIB error return with code 2147483647", "Z_DATA_ERROR")},
        {5, 9, error(size, "FRAME_SIZE_MISMATCH")},
        {6, 9, error(size, "FRAME_SIZE_MISMATCH")},
        {7, 9, error("MEMORY allocation failure in decompression function", "MEM_ALLOC")},
        {8, 53, error("JPEG error return with code 53", "JPEG_ERROR")},
        {9, 9, {}},
        {-1, 9, {}},
        {INT_MAX, 9, {}},
        {INT_MIN, 9, {}},
    };
    Screen screen;
    screen.show({compressed(eFRAMECOMPRESSION_JPEG)});  // makes the buffer
    for (const Case& c : cases) {
        SCOPED_TRACE(c.result);
        const Rect failing = compressed(eFRAMECOMPRESSION_JPEG, {c.result, c.detailCode, 0, 0});
        EXPECT_EQ(screen.show({failing, Rect{}}),
                  (Screen::head(2) + Screen::announced(0, failing) +
                   Lines{"VRF perform decompression", "IFF data sent uses JPEG compression"} +
                   c.lines + Lines{"frame end"}));
    }
    // The connection goes on.
    screen.show({compressed(eFRAMECOMPRESSION_JPEG)});
    EXPECT_TRUE(screen.host.has("frame 0 10,20 4x2 #32"));
}

TEST(Decompression, EmptyDataReachThePluginAsNull) {
    Screen screen;
    Rect empty = compressed(eFRAMECOMPRESSION_ZLIB);
    empty.data.clear();
    EXPECT_EQ(screen.showOne(empty).back(),
              "ERR NULL parameter or content detected in decompression function");
}

TEST(Decompression, APictureWithoutPixelsNeedsNoMemory) {
    Screen screen;
    for (const Rect& empty : {compressed(eFRAMECOMPRESSION_ZLIB).sized(0, 65535),
                              compressed(eFRAMECOMPRESSION_ZLIB).sized(7, 0)}) {
        const std::string size = std::to_string(empty.width) + "x" + std::to_string(empty.height);
        EXPECT_EQ(screen.showOne(empty),
                  (Lines{"VRF perform decompression", "IFF data sent uses ZLIB compression",
                         "VRF decompression finished", "frame 0 10,20 " + size + " #0"}));
    }
    EXPECT_EQ(screen.host.record()->decompressionBuffer, nullptr);
}

TEST(Decompression, ValuesWithoutAPluginEndTheUpdateBeforeABufferIsMade) {
    struct Case {
        UInt32 compression;
        std::string line;
    };
    const std::string invalid = "ERR frame received with invalid compression value.";
    Screen screen("unscaled");
    for (const Case& c : {Case{0, unsupported}, Case{3, unsupported}, Case{5, unsupported},
                          Case{6, unsupported}, Case{7, invalid}, Case{8, unsupported},
                          Case{12, unsupported}, Case{0x80000000, unsupported},
                          Case{0x80000004, unsupported}, Case{0xFFFFFFFF, unsupported}}) {
        SCOPED_TRACE(c.compression);
        const Rect refused = compressed(c.compression);
        EXPECT_EQ(screen.show({refused, Rect{}}),
                  (Screen::head(2) + Screen::announced(0, refused) + Lines{c.line, "frame end"}));
        EXPECT_EQ(screen.host.record()->decompressionBuffer, nullptr);
    }
}

TEST(Decompression, NeverCallsAPluginThatTheMaskOnlyNames) {
    Screen screen("none");
    void* handle = screen.host.handle();
    EXPECT_EQ(screen.showOne(compressed(eFRAMECOMPRESSION_ZLIB)), (Lines{unsupported}));
    quarlo_SetFrameUpdateRawCallback(
        handle, [](void*, UInt8, UInt16, UInt16, UInt16, UInt16, UInt8*, UInt32, UInt8, UInt8,
                   PixelFormat, PixelEndianess, FrameCompression) {});
    quarlo_SetFrameOutputType(handle, eFLAG_TRUE);
    ASSERT_EQ(quarlo_SetSupportedCompressions(handle, 3), eRETURN_OKAY);
    quarlo_SetFrameOutputType(handle, eFLAG_FALSE);
    ASSERT_EQ(quarlo_Eng_GetSupportedCompressions(), 7U);
    for (const FrameCompression compression : {eFRAMECOMPRESSION_JPEG, eFRAMECOMPRESSION_ZLIB}) {
        EXPECT_EQ(screen.showOne(compressed(compression)), (Lines{unsupported}));
    }
    EXPECT_EQ(screen.host.record()->decompressionBuffer, nullptr);
}

/* ---- raw output
 * ---------------------------------------------------------------------------------- */

TEST(RawOutput, HandsOnEverythingAsSent) {
    Screen screen("none");
    void* handle = screen.host.handle();
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
    EXPECT_EQ(screen.show({jpeg, odd}),
              (Screen::head(2) + Screen::announced(0, jpeg) + Lines{missing} +
               Screen::announced(1, odd) + Lines{missing, "frame end"}));
    quarlo_SetFrameUpdateRawCallback(
        handle, [](void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width, UInt16 height,
                   UInt8* data, UInt32 length, UInt8 horizontal, UInt8 vertical, PixelFormat format,
                   PixelEndianess endian, FrameCompression compression) {
            std::string line = "raw";
            for (const UInt32 value : {UInt32{index}, UInt32{x}, UInt32{y}, UInt32{width},
                                       UInt32{height}, length, UInt32{horizontal}, UInt32{vertical},
                                       UInt32{format}, UInt32{endian}, compression}) {
                line += " " + std::to_string(value);
            }
            static_cast<Host*>(context)->note(line + " [" + hex({data, data + length}) + "]");
        });
    EXPECT_EQ(screen.show({jpeg, odd}),
              (Screen::head(2) + Screen::announced(0, jpeg) +
               Lines{"raw 0 10 20 4 2 3 101 0 3 2 1 [FF D8 FF]"} + Screen::announced(1, odd) +
               Lines{"raw 1 10 20 0 65535 0 100 100 9 8 4294967295 []", "frame end"}));
}

}  // namespace
}  // namespace quarlo::test
