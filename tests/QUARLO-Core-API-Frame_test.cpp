/* The frame calls: traces, bytes, results, stored configuration. */
#include "Calls.h"

namespace quarlo::test {
namespace {

/** Output, sizes, pixels of frames and of icons. */
std::string configuration(const quarlo_CoreInstance& record) {
    const coreConfiguration& config = record.config;
    const qrFrameProperties& frame = config.frameProperties;
    const qrFrameProperties& icon = record.iconConfig.IconProperties;
    std::string text = "configuration";
    for (const UInt32 value :
         {UInt32{config.rawFrameOutput}, config.hostWidth, config.hostHeight,
          config.hostPhysicalWidth, config.hostPhysicalHeight, UInt32{frame.Format},
          UInt32{frame.Endianess}, frame.Compression, UInt32{frame.BytesPerPixel},
          UInt32{icon.Format}, UInt32{icon.Endianess}, UInt32{icon.BytesPerPixel}}) {
        text += " " + std::to_string(value);
    }
    return text;
}

Lines callEverything(Session& session) {
    constexpr PixelFormat rgb565 = ePIXELFORMAT_RGB565;
    constexpr PixelEndianess big = ePIXELENDIANESS_BigEndian;
    constexpr auto oddFormat = static_cast<PixelFormat>(77);
    constexpr auto oddOrder = static_cast<PixelEndianess>(200);
    Lines lines;
    const auto call = [&](auto function, auto... arguments) {
        lines = lines + session.call(function, arguments...);
    };
    call(quarlo_SetFrameUpdateStartCallback, nullptr);
    call(quarlo_SetFrameUpdateCallback, nullptr);
    call(quarlo_SetFrameUpdateRawCallback, nullptr);
    call(quarlo_SetFrameUpdateEndCallback, nullptr);
    call(quarlo_SetPixelFormatEx, eGRAPHICTYPE_Icon, ePIXELFORMAT_RGBA8888, 3U, big);
    call(quarlo_SetPixelFormatEx, eGRAPHICTYPE_Unknown, rgb565, 2U, big);
    call(quarlo_SetPixelFormat, rgb565, 0x102U, big);
    call(quarlo_SetFrameSize, 0x10001U, 0x20002U, 0x30003U, 0x40004U);
    call(quarlo_SetFrameOutputType, Flag{1});
    lines = lines + configuration(*session.record());
    call(quarlo_SetPixelFormatEx, eGRAPHICTYPE_Frame, oddFormat, 0U, oddOrder);
    call(quarlo_SetCompressionFormat, FrameCompression{eFRAMECOMPRESSION_ZLIB});
    call(quarlo_SetFrameOutputType, Flag{2});
    lines = lines + configuration(*session.record());
    for (const bool isIncremental : {false, true}) {
        call(isIncremental ? quarlo_FrambufferUpdateRequest : quarlo_FramebufferUpdateRequest,
             UInt16{1}, UInt16{2}, UInt16{65535}, UInt16{4}, Flag{isIncremental});
    }
    call(quarlo_FrameRequestStatus, Flag{1});
    call(quarlo_FrameRequestStatus, Flag{2});
    return lines;
}

/** What comes in RUN only begins with "R:", what comes outside of it only with "O:". */
const Lines everything{
    "INF Set Frame Update Start Callback",
    "INF Set Frame Update Callback",
    "INF Set Frame Update Raw Callback",
    "INF Set Frame Update End Callback",
    "INF quarlo_SetPixelFormatEx",
    "R:WRN quarlo_SetPixelFormatEx - icon settings not allowed during RUN state.",
    "R:= NOT_ALLOWED",
    "INF quarlo_SetPixelFormatEx",
    "WRN quarlo_SetPixelFormatEx unhandled graphic type=0",
    "= PARAM_VALUE",
    "INF Set Pixel Format",
    "VER     format = 2, bytes per pixel = 258, endian = 1",
    "R:IFF Send Buffer",
    "R:sent 15 00 00 00 00 03 00 00 00 02 01 02",
    "INF Set Frame Size",
    "VER     width = 65537 (196611mm), height  = 131074 (262148mm)",
    "R:IFF Send Buffer",
    "R:sent 1B 00 00 00 00 08 00 00 00 01 00 02 00 03 00 04 00",
    "INF Set Frame Output Type to RAW",
    "R:configuration 1 65537 131074 196611 262148 2 1 0 2 3 2 0",
    "O:configuration 1 65537 131074 196611 262148 2 1 0 2 4 1 4",
    "INF quarlo_SetPixelFormatEx",
    "INF Set Pixel Format",
    "VER     format = 77, bytes per pixel = 0, endian = 200",
    "R:IFF Send Buffer",
    "R:sent 15 00 00 00 00 03 00 00 00 4D C8 00",
    "INF Override Compression Format",
    "VER     compression format = 2 (ZLIB)",
    "R:IFF Send Buffer",
    "R:sent 17 00 00 00 00 04 00 00 00 02 00 00 00",
    "INF Set Frame Output Type to DECODED",
    "R:configuration 2 65537 131074 196611 262148 77 200 2 0 3 2 0",
    "O:configuration 2 65537 131074 196611 262148 77 200 2 0 4 1 4",
    "IFF Framebuffer Update Request",
    "VRF     incremental update = FALSE",
    "VRF     region starts at (1, 2) with size (65535, 4) ",
    "R:IFF Send Buffer",
    "R:sent 19 00 00 00 00 09 00 00 00 01 00 02 00 FF FF 04 00 00",
    "IFF Framebuffer Update Request",
    "VRF     incremental update = TRUE",
    "VRF     region starts at (1, 2) with size (65535, 4) ",
    "R:IFF Send Buffer",
    "R:sent 19 00 00 00 00 09 00 00 00 01 00 02 00 FF FF 04 00 01",
    "INF Frame request status set to SUSPENDED ",
    "R:IFF Send Buffer",
    "R:sent 23 00 00 00 00 02 00 00 00 03 01",
    "O:= STATE_NOT_RUN",
    "INF Frame request status set to ACTIVE ",
    "R:IFF Send Buffer",
    "R:sent 23 00 00 00 00 02 00 00 00 03 02",
    "O:= STATE_NOT_RUN",
};

TEST(FrameCalls, StoreAtOnceAndSendInRunWithoutMemory) {
    for (const bool isInRun : {false, true}) {
        Session session(isInRun);
        Lines expected;
        for (const std::string& line : everything) {
            const bool isCommon = line[1] != ':';
            if (isCommon || line[0] == (isInRun ? 'R' : 'O')) {
                expected.push_back(line.substr(isCommon ? 0 : 2));
            }
        }
        EXPECT_EQ(textOf(withoutMemory(1, [&] { return callEverything(session); })),
                  textOf(expected));
    }
}

// A refused format leaves the earlier one, without bytes per pixel.
TEST(FrameCalls, IconsHaveFourBytesForEachPixel) {
    Idle idle;
    const Lines call{"INF quarlo_SetPixelFormatEx"};
    const Lines refusal{"WRN quarlo_SetPixelFormatEx - icon settings have to use 4 byte coding.",
                        "= PARAM_VALUE"};
    struct Case {
        PixelFormat format;
        Lines lines;
        std::string icon;
    };
    for (const Case& c :
         {Case{ePIXELFORMAT_RGBA8888, {}, "4 2 4"}, Case{ePIXELFORMAT_RGB565, refusal, "4 2 0"},
          Case{ePIXELFORMAT_ARGB8888, {}, "3 2 4"}, Case{ePIXELFORMAT_RGB888, refusal, "3 2 0"}}) {
        EXPECT_EQ(idle.call(quarlo_SetPixelFormatEx, eGRAPHICTYPE_Icon, c.format, 3,
                            ePIXELENDIANESS_LittleEndian),
                  call + c.lines);
        EXPECT_EQ(configuration(*idle.record()),
                  "configuration 0 1280 1024 134 108 3 2 0 4 " + c.icon);
    }
}

TEST(FrameCalls, TheFrameSizesTheReceiveBuffer) {
    struct Case {
        UInt32 width, height, bytesPerPixel, size;
    };
    for (const Case& c :
         {Case{1280, 1024, 4, 5308416}, Case{801, 3, 2, 70342}, Case{0, 0, 4, 65536},
          // 0 and 65536 in 32 bits
          Case{32768, 32768, 4, 0}, Case{0x10000, 0x10000, 1, 0}, Case{0xFFFFFFFF, 2, 255, 0},
          // 65536 in 64 bits
          Case{0x80000000, 0x80000000, 4, 0}}) {
        SCOPED_TRACE(c.width);
        Idle idle;
        idle.call(quarlo_SetFrameSize, c.width, c.height, 1, 1);
        idle.call(quarlo_SetPixelFormat, ePIXELFORMAT_RGB565, c.bytesPerPixel,
                  ePIXELENDIANESS_BigEndian);
        const auto allocate = [&] {
            EXPECT_EQ(_quarlo_AllocateReceiveBuffer(idle.record()), c.size);
        };
        const Lines failure =
            c.size == 0 ? outOfMemoryLines("receive buffer allocation failed.") : Lines{};
        EXPECT_EQ(idle.during(allocate), Lines{"INF Allocate Receive Buffer"} + failure +
                                             ("VER     buffer size = " + std::to_string(c.size)));
        EXPECT_EQ(idle.record()->receiveBufferSize, c.size);
        EXPECT_EQ(idle.record()->receiveBuffer != nullptr, c.size != 0);
    }
}

}  // namespace
}  // namespace quarlo::test
