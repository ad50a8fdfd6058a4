/* App icons as the phone sends them: handed on or decompressed by stub plug-ins. */
#include <gtest/gtest.h>

#include <cstring>

#include "Feature.h"
#include "stubs/Plugins.h"
#include "stubs/Stubs.h"

namespace quarlo::test {
namespace {

const Lines head{"INF Received ServerAppIcon"};

constexpr unsigned jpeg = 1;
constexpr unsigned zlib = 2;
constexpr unsigned uncompressed = 4;

/** A host in RUN that has asked for an icon and notes what it gets. */
class Icons {
  public:
    explicit Icons(const char* folder = "good") : found(folder) {
        EXPECT_EQ(session.during([&] {
            EXPECT_EQ(quarlo_SetAppIconResponseCallback(session.handle(), &onIcon), eRETURN_OKAY);
        }),
                  Lines{"INF SetAppIconResponseCallback"});
    }

    void ask(const char* url, unsigned width, unsigned height) {
        session.host.record()->iconConfig.eIconReqState = eICONREQUESTSTATE_Unknown;
        EXPECT_EQ(quarlo_RequestAppIcon(session.handle(), url, static_cast<UInt16>(width),
                                        static_cast<UInt16>(height)),
                  eRETURN_OKAY);
    }
    Lines answer(const std::string& url, unsigned compression, const Bytes& data) {
        return session.hear(
            packet(72, text(url) + u32(7) + u32(compression) + u32(data.size()) + data));
    }
    [[nodiscard]] bool isPending() const {
        return session.host.record()->iconConfig.eIconReqState == eICONREQUESTSTATE_Requested;
    }

    const Found found;
    Session session;

  private:
    static void onIcon(void* context, AppIconResponse* icon) {
        Bytes data(icon->uncompressedData, icon->uncompressedData + icon->uncompressedDataLength);
        std::string line = std::string("icon ") + icon->IdentifierURL + " " +
                           std::to_string(icon->UniqueIconID) + " #" + std::to_string(data.size());
        StubReport report{};
        if (data.size() == 400) {
            std::memcpy(&report, data.data(), sizeof report);
            for (const UInt32 value : {report.number, report.width, report.height, report.bpp,
                                       report.format, report.endian, report.compression,
                                       report.compressedDataLength, report.frameDataLength}) {
                line += " " + std::to_string(value);
            }
        } else if (data.size() < 20) {
            line += " " + hex(data);
        }
        hostOf(context).note(line);
    }
};

Bytes order(const StubOrder& content) {
    Bytes bytes(sizeof content);
    std::memcpy(bytes.data(), &content, sizeof content);
    return bytes;
}

Lines compression(unsigned value) {
    return head + Lines{"VER \tIconCompression = " + std::to_string(static_cast<int>(value)) + "."};
}

const Lines dimensions{"VER Width=10, Height=10, Format=3, Endianess=2, BPP=4."};
const Lines finished{"VER decompression of icon finished."};

TEST(Icon, UncompressedIsHandedOnAsItIs) {
    Icons icons;
    icons.ask("u", 10, 10);
    EXPECT_EQ(icons.answer("u", uncompressed, {1, 2, 3}),
              compression(4) + Lines{"icon u 7 #3 01 02 03"});
    EXPECT_FALSE(icons.isPending());
    // Unasked for, and without data.
    EXPECT_EQ(icons.answer("%s", uncompressed, {}), compression(4) + Lines{"icon %s 7 #0 "});
}

TEST(Icon, IsDecompressedToTheSizeAskedFor) {
    Icons icons;
    icons.ask("u", 10, 10);
    const Bytes reported = order({0, 0, 0x55, 1});
    const auto icon = [&](unsigned plugin, unsigned value) {
        return Lines{"icon u 7 #400 " + std::to_string(plugin) + " 10 10 4 3 2 " +
                     std::to_string(value) + " " + std::to_string(reported.size()) + " 400"};
    };
    EXPECT_EQ(icons.answer("u", zlib, reported), compression(2) + dimensions +
                                                     Lines{"VER data sent uses ZLIB compression"} +
                                                     finished + icon(1, 2));
    EXPECT_EQ(icons.answer("u", jpeg, reported),
              compression(1) + dimensions +
                  Lines{"WRN data sent uses JPEG compression - not allowed for icons"} + finished +
                  icon(0, 1));
    // Another plug-in's own, and a mixture that goes to the first.
    EXPECT_EQ(icons.answer("u", 8, reported), compression(8) + dimensions + finished + icon(3, 8));
    EXPECT_EQ(icons.answer("u", 3, reported), compression(3) + dimensions + finished + icon(0, 3));
    EXPECT_EQ(icons.answer("u", 6, reported), compression(6) + dimensions + finished + icon(0, 6));
    EXPECT_EQ(icons.answer("u", 32, reported),
              compression(32) + Lines{"ERR compression not supported."});
    EXPECT_EQ(icons.answer("u", 0, reported),
              compression(0) + Lines{"ERR compression not supported."});
}

// The mask still names what was closed; no other plug-in gets such data.
TEST(Icon, OfAClosedPluginIsNotSupported) {
    Icons icons;
    void* handle = icons.session.handle();
    icons.ask("u", 10, 10);
    const auto expectUnsupported = [&](std::initializer_list<unsigned> values) {
        for (const unsigned value : values) {
            EXPECT_EQ(icons.answer("u", value, order({0, 0, 0x55, 0})),
                      compression(value) + Lines{"ERR compression not supported."});
        }
    };
    quarlo_SetFrameUpdateRawCallback(
        handle, [](void*, UInt8, UInt16, UInt16, UInt16, UInt16, UInt8*, UInt32, UInt8, UInt8,
                   PixelFormat, PixelEndianess, FrameCompression) {});
    const auto close = [&](UInt32 kept) {
        EXPECT_EQ(quarlo_SetSupportedCompressions(handle, kept), eRETURN_OKAY);
        quarlo_SetFrameOutputType(handle, eFLAG_TRUE);
        EXPECT_EQ(quarlo_SetSupportedCompressions(handle, 3), eRETURN_OKAY);
        quarlo_SetFrameOutputType(handle, eFLAG_FALSE);
    };
    close(eFRAMECOMPRESSION_JPEG);
    expectUnsupported({zlib});
    EXPECT_EQ(icons.answer("u", jpeg, order({0, 0, 0x55, 0})).back().substr(0, 4), "icon");
    close(eFRAMECOMPRESSION_None);
    expectUnsupported({jpeg, zlib, 3, 5, 6});
}

TEST(Icon, FailedDecompressionIsTraced) {
    Icons icons;
    icons.ask("u", 10, 10);
    const Lines before = compression(2) + dimensions + Lines{"VER data sent uses ZLIB compression"};
    const char* const null = "ERR NULL parameter or content detected in decompression function";
    const char* const size = "ERR SIZE or DIMENSION problem detected in decompression function";
    const std::pair<Int32, Lines> results[] = {
        {1, {null}},
        {2, {null}},
        {3, {}},
        {4, {"ERR ZLIB error return with code -77"}},
        {5, {size}},
        {6, {size}},
        {7, {"ERR MEMORY allocation failure in decompression function"}},
        {8, {"ERR JPEG error return with code -77"}},
        {9, {}},
        {-1, {}}};
    for (const auto& [result, lines] : results) {
        EXPECT_EQ(icons.answer("u", zlib, order({result, -77, 0, 0})), before + lines);
    }
    EXPECT_EQ(icons.answer("u", zlib, {1}), before);
    EXPECT_EQ(icons.answer("u", zlib, {}), before + Lines{null});
}

TEST(Icon, SizesThatCannotBeAreDropped) {
    Icons icons;
    const Lines dropped{"WRN onReceiveServerAppIcon could not allocate uncompressed buffer."};
    const Bytes good = order({0, 0, 0x55, 0});
    EXPECT_EQ(icons.answer("unasked", zlib, good), compression(2) + dropped);
    // 4 x 65535 x 65535 does not fit 32 bits, 4 x 65535 x 16385 is 196604 there; 4 x 8192 x 2049 is
    // above 64 MiB.
    const std::pair<unsigned, unsigned> sizes[] = {
        {65535, 65535}, {65535, 16385}, {8192, 2049}, {0, 0}, {0, 10}, {10, 0}, {32768, 32768}};
    for (const auto& [width, height] : sizes) {
        icons.ask("u", width, height);
        EXPECT_EQ(icons.answer("u", zlib, good), compression(2) + dropped);
        EXPECT_FALSE(icons.isPending());
    }
    icons.ask("u", 8192, 2048);
    EXPECT_EQ(icons.answer("u", zlib, good).back(), "icon u 7 #67108864");
    icons.ask("u", 200, 200);
    refuseAllocationsFrom(100000);
    EXPECT_EQ(icons.answer("u", zlib, good), compression(2) + dropped);
    refuseAllocationsFrom(0);
}

TEST(Icon, WithoutUrlOrMemoryForItIsDropped) {
    Icons icons;
    const Lines failed{"WRN allocation for IdentifierURL failed."};
    EXPECT_EQ(icons.answer("", uncompressed, {1}), compression(4) + failed);
    refuseAllocationsFrom(1);
    EXPECT_EQ(icons.answer(std::string(65535, 'u'), uncompressed, {1}), compression(4) + failed);
    refuseAllocationsFrom(0);
}

TEST(Icon, WithoutRoomForTheAnswerIsDropped) {
    Icons icons;
    quarlo_CoreInstance* obj = icons.session.host.record();
    UInt8 letter = 'u';
    qrString url{eSTRINGENCODING_UTF8, 1, &letter};
    packetServerAppIcon packet{};
    packet.IconCompression = uncompressed;
    packet.IdentifierURL = &url;
    // The scratch memory is full and cannot grow.
    obj->scratch.make<UInt8>(wire::Scratch::ordinarySize);
    refuseAllocationsFrom(1);
    EXPECT_EQ(icons.session.during([&] { onReceiveServerAppIcon(obj, &packet); }),
              compression(4) + Lines{"WRN allocation for AppIconResponse failed."});
    refuseAllocationsFrom(0);
    obj->scratch.reset();
}

TEST(Icon, WithoutCallbackStillEndsTheRequest) {
    Icons icons;
    icons.ask("u", 10, 10);
    quarlo_SetAppIconResponseCallback(icons.session.handle(), nullptr);
    const Lines unset{"WRN ServerAppIcon received, but onAppIconResponseCallback not set."};
    EXPECT_EQ(icons.answer("v", uncompressed, {1}), head + unset);
    EXPECT_TRUE(icons.isPending());
    EXPECT_EQ(icons.answer("u", uncompressed, {1}), head + unset);
    EXPECT_FALSE(icons.isPending());
}

TEST(Icon, IsRefusedWhenIncompleteOrTooEarly) {
    Icons icons;
    quarlo_CoreInstance* obj = icons.session.host.record();
    packetServerAppIcon packet{};
    packet.DataLength = 1;
    EXPECT_EQ(icons.session.during([&] {
        onReceiveServerAppIcon(obj, nullptr);
        onReceiveServerAppIcon(obj, &packet);
        packet.DataLength = 0;
        onReceiveServerAppIcon(obj, &packet);
        onReceiveServerAppIcon(nullptr, &packet);
    }),
              head + Lines{"WRN onReceiveServerAppIcon called with NULL packet."} + head +
                  Lines{"WRN onReceiveServerAppIcon called with DataLength > 0 and pData = NULL."} +
                  head +
                  Lines{"WRN onReceiveServerAppIcon called with IdentifierURL = NULL; ignored"});

    Host idle;
    quarlo_SetAppIconResponseCallback(idle.handle(), [](void*, AppIconResponse*) {});
    idle.forgetLines();
    UInt8 letter = 'u';
    qrString url{eSTRINGENCODING_UTF8, 1, &letter};
    packet.IdentifierURL = &url;
    onReceiveServerAppIcon(idle.record(), &packet);
    EXPECT_EQ(idle.lines(), head + Lines{"WRN ServerAppIcon received in wrong state; ignored."});
}

}  // namespace
}  // namespace quarlo::test
