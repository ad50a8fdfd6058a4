/* The frame calls: traces, bytes, results, stored configuration. */
#include <gtest/gtest.h>

#include "Host.h"
#include "Plugins.h"

namespace quarlo::test {
namespace {

using Lines = std::vector<std::string>;

std::string describe(const coreConfiguration& config) {
    const qrFrameProperties& p = config.frameProperties;
    std::string text;
    for (const UInt32 value :
         {UInt32{p.Format}, UInt32{p.Endianess}, p.Compression, UInt32{p.BytesPerPixel},
          UInt32{config.rawFrameOutput}, config.hostWidth, config.hostHeight,
          config.hostPhysicalWidth, config.hostPhysicalHeight}) {
        text += (text.empty() ? "" : " ") + std::to_string(value);
    }
    return text;
}

constexpr const char* unchanged = "3 2 0 4 0 1280 1024 134 108";

struct Call {
    const char* name;
    std::function<eReturnCode(void*)> call;
    Lines lines;
    Bytes sent;                          // in RUN
    std::string config;                  // afterwards
    eReturnCode outside = eRETURN_OKAY;  // result before RUN
};

const PixelFormat rgb565 = ePIXELFORMAT_RGB565;
const PixelEndianess big = ePIXELENDIANESS_BigEndian;

/** A call without a result. */
template <class Function>
std::function<eReturnCode(void*)> plain(Function call) {
    return [call](void* handle) {
        call(handle);
        return eRETURN_OKAY;
    };
}

std::vector<Call> pixelFormatCalls() {
    return {
        {"SetPixelFormat",
         plain([](void* h) { quarlo_SetPixelFormat(h, rgb565, 0x102, big); }),
         {"INF Set Pixel Format", "VER     format = 2, bytes per pixel = 258, endian = 1"},
         packet(21, u8(2) + u8(1) + u8(2)),
         "2 1 0 2 0 1280 1024 134 108"},
        {"SetPixelFormat with values of no meaning",
         plain([](void* h) {
             quarlo_SetPixelFormat(h, static_cast<PixelFormat>(77), 0,
                                   static_cast<PixelEndianess>(200));
         }),
         {"INF Set Pixel Format", "VER     format = 77, bytes per pixel = 0, endian = 200"},
         packet(21, u8(77) + u8(200) + u8(0)),
         "77 200 0 0 0 1280 1024 134 108"},
        {"SetPixelFormatEx for the frame",
         [](void* h) { return quarlo_SetPixelFormatEx(h, eGRAPHICTYPE_Frame, rgb565, 2, big); },
         {"INF quarlo_SetPixelFormatEx", "INF Set Pixel Format",
          "VER     format = 2, bytes per pixel = 2, endian = 1"},
         packet(21, u8(2) + u8(1) + u8(2)),
         "2 1 0 2 0 1280 1024 134 108"},
    };
}

std::vector<Call> sizeAndCompressionCalls() {
    return {
        {"SetFrameSize",
         plain([](void* h) { quarlo_SetFrameSize(h, 800, 480, 150, 90); }),
         {"INF Set Frame Size", "VER     width = 800 (150mm), height  = 480 (90mm)"},
         packet(27, u16(800) + u16(480) + u16(150) + u16(90)),
         "3 2 0 4 0 800 480 150 90"},
        {"SetFrameSize beyond 16 bits",
         plain([](void* h) { quarlo_SetFrameSize(h, 0x10001, 0x20002, 0x30003, 0x40004); }),
         {"INF Set Frame Size", "VER     width = 65537 (196611mm), height  = 131074 (262148mm)"},
         packet(27, u16(1) + u16(2) + u16(3) + u16(4)),
         "3 2 0 4 0 65537 131074 196611 262148"},
        {"OverrideCompressionFormat",
         plain([](void* h) { quarlo_OverrideCompressionFormat(h, eFRAMECOMPRESSION_ZLIB); }),
         {"INF Override Compression Format", "VER     compression format = 2 (ZLIB)"},
         packet(23, u32(2)),
         "3 2 2 4 0 1280 1024 134 108"},
        {"SetCompressionFormat with two flags",
         plain([](void* h) { quarlo_SetCompressionFormat(h, 3); }),
         {"INF Override Compression Format", "VER     compression format = 3 (unknown)"},
         packet(23, u32(3)),
         "3 2 3 4 0 1280 1024 134 108"},
    };
}

std::vector<Call> requestCalls() {
    const Lines wholeLines{"IFF Framebuffer Update Request", "VRF     incremental update = FALSE",
                           "VRF     region starts at (1, 2) with size (65535, 4) "};
    const Bytes whole = packet(25, u16(1) + u16(2) + u16(65535) + u16(4) + u8(0));
    return {
        {"FramebufferUpdateRequest",
         plain([](void* h) { quarlo_FramebufferUpdateRequest(h, 1, 2, 65535, 4, 0); }), wholeLines,
         whole, unchanged},
        {"FrambufferUpdateRequest",
         plain([](void* h) { quarlo_FrambufferUpdateRequest(h, 1, 2, 65535, 4, 0); }), wholeLines,
         whole, unchanged},
        {"FramebufferUpdateRequest, incremental",
         plain([](void* h) { quarlo_FramebufferUpdateRequest(h, 0, 0, 0, 0, 1); }),
         {"IFF Framebuffer Update Request", "VRF     incremental update = TRUE",
          "VRF     region starts at (0, 0) with size (0, 0) "},
         packet(25, u16(0) + u16(0) + u16(0) + u16(0) + u8(1)),
         unchanged},
        {"FrameRequestStatus, suspended",
         [](void* h) { return quarlo_FrameRequestStatus(h, 1); },
         {"INF Frame request status set to SUSPENDED "},
         packet(35, u8(3) + u8(1)),
         unchanged,
         eRETURN_STATE_NOT_RUN},
        {"FrameRequestStatus, neither",
         [](void* h) { return quarlo_FrameRequestStatus(h, 2); },
         {"INF Frame request status set to ACTIVE "},
         packet(35, u8(3) + u8(2)),
         unchanged,
         eRETURN_STATE_NOT_RUN},
    };
}

/** Calls that never send. */
std::vector<Call> quietCalls() {
    const auto output = [](Flag raw) {
        return plain([raw](void* h) { quarlo_SetFrameOutputType(h, raw); });
    };
    return {
        {"raw output",
         output(1),
         {"INF Set Frame Output Type to RAW"},
         {},
         "3 2 0 4 1 1280 1024 134 108"},
        {"decoded output", output(0), {"INF Set Frame Output Type to DECODED"}, {}, unchanged},
        {"output of no meaning",
         output(2),
         {"INF Set Frame Output Type to DECODED"},
         {},
         "3 2 0 4 2 1280 1024 134 108"},
        {"SetPixelFormatEx for nothing",
         [](void* h) { return quarlo_SetPixelFormatEx(h, eGRAPHICTYPE_Unknown, rgb565, 2, big); },
         {"INF quarlo_SetPixelFormatEx", "WRN quarlo_SetPixelFormatEx unhandled graphic type=0"},
         {},
         unchanged,
         eRETURN_PARAM_VALUE},
    };
}

std::vector<Call> allCalls() {
    std::vector<Call> calls = pixelFormatCalls();
    for (const auto& more : {sizeAndCompressionCalls(), requestCalls(), quietCalls()}) {
        calls.insert(calls.end(), more.begin(), more.end());
    }
    return calls;
}

TEST(FrameCalls, OutsideRunStoreAndTraceOnly) {
    const Library library;
    for (const Call& c : allCalls()) {
        SCOPED_TRACE(c.name);
        Host host;
        EXPECT_EQ(c.call(host.handle()), c.outside);
        EXPECT_EQ(host.lines(), c.lines);
        EXPECT_EQ(describe(host.record()->config), c.config);
        EXPECT_TRUE(host.sent().empty());
    }
}

TEST(FrameCalls, InRunSendAtOnceAndNeedNoMemory) {
    const Library library;
    for (const Call& c : allCalls()) {
        SCOPED_TRACE(c.name);
        Host host;
        host.run();
        host.forgetSent();
        host.forgetLines();
        refuseAllocationsFrom(1);
        const eReturnCode result = c.call(host.handle());
        refuseAllocationsFrom(0);
        Lines expected = c.lines;
        if (c.sent.empty()) {
            EXPECT_EQ(result, c.outside);
            EXPECT_TRUE(host.sent().empty());
        } else {
            expected.emplace_back("IFF Send Buffer");
            EXPECT_EQ(result, eRETURN_OKAY);
            ASSERT_EQ(host.sent().size(), 1U);
            EXPECT_EQ(hex(host.sent()[0]), hex(c.sent));
        }
        EXPECT_EQ(host.lines(), expected);
        EXPECT_EQ(describe(host.record()->config), c.config);
    }
}

TEST(FrameCalls, SettersKeepAndDropCallbacks) {
    const Library library;
    Host host;
    const quarlo_CoreInstance& record = *host.record();
    const auto start = [](void*, UInt8) {};
    const auto update = [](void*, UInt8, UInt16, UInt16, UInt16, UInt16, UInt8*, UInt32) {};
    const auto raw = [](void*, UInt8, UInt16, UInt16, UInt16, UInt16, UInt8*, UInt32, UInt8, UInt8,
                        PixelFormat, PixelEndianess, FrameCompression) {};
    const auto end = [](void*) {};
    quarlo_SetFrameUpdateStartCallback(host.handle(), start);
    quarlo_SetFrameUpdateCallback(host.handle(), update);
    quarlo_SetFrameUpdateRawCallback(host.handle(), raw);
    quarlo_SetFrameUpdateEndCallback(host.handle(), end);
    EXPECT_EQ(record.frameUpdateStartCallback.get(), +start);
    EXPECT_EQ(record.frameUpdateCallback.get(), +update);
    EXPECT_EQ(record.frameUpdateRawCallback.get(), +raw);
    EXPECT_EQ(record.frameUpdateEndCallback.get(), +end);
    const Lines expected{"INF Set Frame Update Start Callback", "INF Set Frame Update Callback",
                         "INF Set Frame Update Raw Callback", "INF Set Frame Update End Callback"};
    EXPECT_EQ(host.lines(), expected);
    quarlo_SetFrameUpdateStartCallback(host.handle(), nullptr);
    quarlo_SetFrameUpdateCallback(host.handle(), nullptr);
    quarlo_SetFrameUpdateRawCallback(host.handle(), nullptr);
    quarlo_SetFrameUpdateEndCallback(host.handle(), nullptr);
    EXPECT_EQ(record.frameUpdateStartCallback.get(), nullptr);
    EXPECT_EQ(record.frameUpdateCallback.get(), nullptr);
    EXPECT_EQ(record.frameUpdateRawCallback.get(), nullptr);
    EXPECT_EQ(record.frameUpdateEndCallback.get(), nullptr);
}

TEST(FrameCalls, TheFrameSizesTheReceiveBuffer) {
    struct Case {
        UInt32 width, height, bytesPerPixel, size;
    };
    const Library library;
    for (const Case& c :
         {Case{1280, 1024, 4, 5308416}, Case{801, 3, 2, 70342}, Case{0, 0, 4, 65536},
          // 0 and 65536 in 32 bits
          Case{32768, 32768, 4, 0}, Case{0x10000, 0x10000, 1, 0}, Case{0xFFFFFFFF, 2, 255, 0},
          // 65536 in 64 bits
          Case{0x80000000, 0x80000000, 4, 0}}) {
        SCOPED_TRACE(c.width);
        Host host;
        quarlo_SetFrameSize(host.handle(), c.width, c.height, 1, 1);
        quarlo_SetPixelFormat(host.handle(), rgb565, c.bytesPerPixel, big);
        host.forgetLines();
        EXPECT_EQ(_quarlo_AllocateReceiveBuffer(host.record()), c.size);
        EXPECT_EQ(host.record()->receiveBufferSize, c.size);
        EXPECT_EQ(host.record()->receiveBuffer != nullptr, c.size != 0);
        Lines expected{"INF Allocate Receive Buffer",
                       "VER     buffer size = " + std::to_string(c.size)};
        if (c.size == 0) {
            expected.insert(expected.begin() + 1,
                            {"ERR receive buffer allocation failed.",
                             "ERR error callback with code 'MEM_ALLOC'", "error MEM_ALLOC"});
        }
        EXPECT_EQ(host.lines(), expected);
    }
}

/* ---- icons
 * --------------------------------------------------------------------------------------- */

TEST(IconFormat, TakesFourByteFormatsOutsideRun) {
    struct Case {
        PixelFormat format;
        eReturnCode result;
        unsigned storedFormat;
        unsigned storedBytes;
    };
    const Library library;
    // One instance for all: a refused format leaves the earlier one, without bytes per pixel.
    Host host;
    const qrFrameProperties& icon = host.record()->iconConfig.IconProperties;
    for (const Case& c : {Case{ePIXELFORMAT_RGBA8888, eRETURN_OKAY, 4, 4},
                          Case{ePIXELFORMAT_RGB565, eRETURN_PARAM_VALUE, 4, 0},
                          Case{ePIXELFORMAT_ARGB8888, eRETURN_OKAY, 3, 4},
                          Case{ePIXELFORMAT_RGB888, eRETURN_PARAM_VALUE, 3, 0}}) {
        SCOPED_TRACE(c.format);
        host.forgetLines();
        EXPECT_EQ(quarlo_SetPixelFormatEx(host.handle(), eGRAPHICTYPE_Icon, c.format, 3, big),
                  c.result);
        EXPECT_EQ(icon.Format, c.storedFormat);
        EXPECT_EQ(icon.BytesPerPixel, c.storedBytes);
        EXPECT_EQ(icon.Endianess, big);
        Lines expected{"INF quarlo_SetPixelFormatEx"};
        if (c.result != eRETURN_OKAY) {
            expected.emplace_back(
                "WRN quarlo_SetPixelFormatEx - icon settings have to use 4 byte coding.");
        }
        EXPECT_EQ(host.lines(), expected);
        EXPECT_EQ(describe(host.record()->config), unchanged);
    }
}

TEST(IconFormat, IsRefusedInRun) {
    const Library library;
    Host host;
    host.run();
    host.forgetLines();
    EXPECT_EQ(
        quarlo_SetPixelFormatEx(host.handle(), eGRAPHICTYPE_Icon, ePIXELFORMAT_ARGB8888, 4, big),
        eRETURN_NOT_ALLOWED);
    const Lines expected{
        "INF quarlo_SetPixelFormatEx",
        "WRN quarlo_SetPixelFormatEx - icon settings not allowed during RUN state."};
    EXPECT_EQ(host.lines(), expected);
    EXPECT_EQ(host.record()->iconConfig.IconProperties.Endianess, ePIXELENDIANESS_LittleEndian);
}

}  // namespace
}  // namespace quarlo::test
