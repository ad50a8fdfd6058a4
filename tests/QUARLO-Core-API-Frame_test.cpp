/* The frame calls: traces, bytes, results, stored configuration. */
#include "Calls.h"

namespace quarlo::test {
namespace {

/** A host whose lines hold what it sends, the results of calls and the configuration too. */
class FrameHost : public Host {
  public:
    void write(const UInt8* buffer, std::size_t size) override {
        Host::write(buffer, size);
        note("sent " + hex({buffer, buffer + size}));
    }
    void gives(eReturnCode result) { note("result " + std::to_string(result)); }
    /** Output, sizes of frames and of icons. */
    void tellConfiguration() {
        const coreConfiguration& config = record()->config;
        const qrFrameProperties& frame = config.frameProperties;
        const qrFrameProperties& icon = record()->iconConfig.IconProperties;
        std::string text = "configuration";
        for (const UInt32 value :
             {UInt32{config.rawFrameOutput}, config.hostWidth, config.hostHeight,
              config.hostPhysicalWidth, config.hostPhysicalHeight, UInt32{frame.Format},
              UInt32{frame.Endianess}, frame.Compression, UInt32{frame.BytesPerPixel},
              UInt32{icon.Format}, UInt32{icon.Endianess}, UInt32{icon.BytesPerPixel}}) {
            text += " " + std::to_string(value);
        }
        note(text);
    }
};

void callEverything(FrameHost& host) {
    void* const h = host.handle();
    constexpr PixelFormat rgb565 = ePIXELFORMAT_RGB565;
    constexpr PixelEndianess big = ePIXELENDIANESS_BigEndian;
    quarlo_SetFrameUpdateStartCallback(h, nullptr);
    quarlo_SetFrameUpdateCallback(h, nullptr);
    quarlo_SetFrameUpdateRawCallback(h, nullptr);
    quarlo_SetFrameUpdateEndCallback(h, nullptr);
    host.gives(quarlo_SetPixelFormatEx(h, eGRAPHICTYPE_Icon, ePIXELFORMAT_RGBA8888, 3, big));
    host.gives(quarlo_SetPixelFormatEx(h, eGRAPHICTYPE_Unknown, rgb565, 2, big));
    quarlo_SetPixelFormat(h, rgb565, 0x102, big);
    quarlo_SetFrameSize(h, 0x10001, 0x20002, 0x30003, 0x40004);
    quarlo_SetFrameOutputType(h, 1);
    host.tellConfiguration();
    host.gives(quarlo_SetPixelFormatEx(h, eGRAPHICTYPE_Frame, static_cast<PixelFormat>(77), 0,
                                       static_cast<PixelEndianess>(200)));
    quarlo_SetCompressionFormat(h, eFRAMECOMPRESSION_ZLIB);
    quarlo_SetFrameOutputType(h, 2);
    host.tellConfiguration();
    quarlo_FramebufferUpdateRequest(h, 1, 2, 65535, 4, 0);
    quarlo_FrambufferUpdateRequest(h, 1, 2, 65535, 4, 1);
    host.gives(quarlo_FrameRequestStatus(h, 1));
    host.gives(quarlo_FrameRequestStatus(h, 2));
}

/** What comes in RUN only begins with "R:", what comes outside of it only with "O:". */
const Lines everything{
    "INF Set Frame Update Start Callback",
    "INF Set Frame Update Callback",
    "INF Set Frame Update Raw Callback",
    "INF Set Frame Update End Callback",
    "INF quarlo_SetPixelFormatEx",
    "R:WRN quarlo_SetPixelFormatEx - icon settings not allowed during RUN state.",
    "R:result -10",
    "O:result 0",
    "INF quarlo_SetPixelFormatEx",
    "WRN quarlo_SetPixelFormatEx unhandled graphic type=0",
    "result -5",
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
    "result 0",
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
    "R:result 0",
    "O:result -3",
    "INF Frame request status set to ACTIVE ",
    "R:IFF Send Buffer",
    "R:sent 23 00 00 00 00 02 00 00 00 03 02",
    "R:result 0",
    "O:result -3",
};

TEST(FrameCalls, StoreAtOnceAndSendInRunWithoutMemory) {
    for (const bool isInRun : {false, true}) {
        const Library library;
        FrameHost host;
        if (isInRun) host.run();
        host.forgetLines();
        allocations::restart(1, true);
        callEverything(host);
        allocations::restart();
        Lines expected;
        for (const std::string& line : everything) {
            if (line[1] != ':') expected.push_back(line);
            if (line[1] == ':' && line[0] == (isInRun ? 'R' : 'O'))
                expected.push_back(line.substr(2));
        }
        EXPECT_EQ(textOf(host.lines()), textOf(expected));
    }
}

// A refused format leaves the earlier one, without bytes per pixel.
TEST(FrameCalls, IconsHaveFourBytesForEachPixel) {
    const Library library;
    FrameHost host;
    for (const PixelFormat format :
         {ePIXELFORMAT_RGBA8888, ePIXELFORMAT_RGB565, ePIXELFORMAT_ARGB8888, ePIXELFORMAT_RGB888}) {
        host.gives(quarlo_SetPixelFormatEx(host.handle(), eGRAPHICTYPE_Icon, format, 3,
                                           ePIXELENDIANESS_LittleEndian));
        host.tellConfiguration();
    }
    const std::string call = "INF quarlo_SetPixelFormatEx";
    const std::string refusal =
        "WRN quarlo_SetPixelFormatEx - icon settings have to use 4 byte coding.";
    const std::string now = "configuration 0 1280 1024 134 108 3 2 0 4 ";
    EXPECT_EQ(host.lines(), (Lines{call, "result 0", now + "4 2 4",            //
                                   call, refusal, "result -5", now + "4 2 0",  //
                                   call, "result 0", now + "3 2 4",            //
                                   call, refusal, "result -5", now + "3 2 0"}));
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
        quarlo_SetPixelFormat(host.handle(), ePIXELFORMAT_RGB565, c.bytesPerPixel,
                              ePIXELENDIANESS_BigEndian);
        host.forgetLines();
        EXPECT_EQ(_quarlo_AllocateReceiveBuffer(host.record()), c.size);
        EXPECT_EQ(host.record()->receiveBufferSize, c.size);
        EXPECT_EQ(host.record()->receiveBuffer != nullptr, c.size != 0);
        const Lines failure =
            c.size == 0 ? outOfMemoryLines("receive buffer allocation failed.") : Lines{};
        EXPECT_EQ(host.lines(), Lines{"INF Allocate Receive Buffer"} + failure +
                                    Lines{"VER     buffer size = " + std::to_string(c.size)});
    }
}

}  // namespace
}  // namespace quarlo::test
