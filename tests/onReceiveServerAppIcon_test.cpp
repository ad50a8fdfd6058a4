/* App icons as the phone sends them: handed on or decompressed by stub plug-ins. */
#include <gtest/gtest.h>

#include <cstring>

#include "Allocations.h"
#include "Feature.h"
#include "stubs/Plugins.h"
#include "stubs/Stubs.h"

namespace quarlo::test {
namespace {

const Lines head{"INF Received ServerAppIcon"};

constexpr unsigned jpeg = 1;
constexpr unsigned zlib = 2;
constexpr unsigned uncompressed = 4;

/** The library finds the stubs, and closes them all at its end. */
struct Stubs {
    Stubs() { findPluginsIn("good"); }
    ~Stubs() {
        EXPECT_EQ(openLibraries(), 0);
        findPluginsIn("");
    }
    Stubs(const Stubs&) = delete;
    Stubs& operator=(const Stubs&) = delete;
};

/** A host in RUN that has asked for an icon and notes what it gets. */
class Icons {
  public:
    Icons() { quarlo_SetAppIconResponseCallback(session.handle(), &onIcon); }

    void ask(const char* url, UInt16 width, UInt16 height) {
        session.record()->iconConfig.eIconReqState = eICONREQUESTSTATE_Unknown;
        EXPECT_EQ(quarlo_RequestAppIcon(session.handle(), url, width, height), eRETURN_OKAY);
    }
    Lines answer(const std::string& url, unsigned compression, const Bytes& data) {
        return session.hear(
            packet(72, text(url) + u32(7) + u32(compression) + u32(data.size()) + data));
    }
    /** Without memory for blocks of this size and above. */
    Lines answerWithout(std::size_t size, const std::string& url, unsigned compression,
                        const Bytes& data) {
        allocations::refuseFrom(size);
        const Lines lines = answer(url, compression, data);
        allocations::refuseFrom(0);
        return lines;
    }
    [[nodiscard]] bool isPending() const {
        return session.record()->iconConfig.eIconReqState == eICONREQUESTSTATE_Requested;
    }

  private:
    /** What a stub reports begins a picture of 10 x 10. */
    static void onIcon(void* context, AppIconResponse* icon) {
        const UInt32 length = icon->uncompressedDataLength;
        std::string line = wordOf(icon->IdentifierURL) + " " + std::to_string(icon->UniqueIconID) +
                           " #" + std::to_string(length);
        if (length == 400) {
            std::array<UInt32, 10> report{};
            static_assert(sizeof report == sizeof(StubReport));
            std::memcpy(report.data(), icon->uncompressedData, sizeof report);
            line += wordOf(report.data(), report.size());
        } else if (length < 20) {
            line += wordOf(icon->uncompressedData, length);
        }
        hostOf(context).note("icon" + line);
    }

    const Stubs stubs;

  public:
    Session session;
};

Bytes order(const StubOrder& content) {
    Bytes bytes(sizeof content);
    std::memcpy(bytes.data(), &content, sizeof content);
    return bytes;
}

const Bytes good = order({0, 0, 0x55, 0});
const Bytes reported = order({0, 0, 0x55, 1});

Lines compression(unsigned value) {
    return head + ("VER \tIconCompression = " + std::to_string(value) + ".");
}

Lines unsupported(unsigned value) {
    return compression(value) + "ERR compression not supported.";
}

const std::string dimensions = "VER Width=10, Height=10, Format=3, Endianess=2, BPP=4.";
const std::string usesZlib = "VER data sent uses ZLIB compression";

TEST(Icon, UncompressedIsHandedOnAsItIs) {
    Icons icons;
    icons.ask("u", 10, 10);
    EXPECT_EQ(icons.answer("u", uncompressed, {1, 2, 3}), compression(4) + "icon u 7 #3 [ 1 2 3 ]");
    EXPECT_FALSE(icons.isPending());
    // Unasked for, and without data.
    EXPECT_EQ(icons.answer("%s", uncompressed, {}), compression(4) + "icon %s 7 #0 -");
}

TEST(Icon, IsDecompressedToTheSizeAskedFor) {
    Icons icons;
    icons.ask("u", 10, 10);
    const struct {
        unsigned value;
        unsigned plugin;
        Lines lines;
    } compressions[] = {{zlib, 1, {usesZlib}},
                        {jpeg, 0, {"WRN data sent uses JPEG compression - not allowed for icons"}},
                        // Another plug-in's own, and mixtures that go to the first.
                        {8, 3, {}},
                        {3, 0, {}},
                        {6, 0, {}}};
    for (const auto& c : compressions) {
        const std::string report = std::to_string(c.plugin) + " 10 10 4 3 2 " +
                                   std::to_string(c.value) + " " + std::to_string(reported.size()) +
                                   " 86 400 ]";
        EXPECT_EQ(icons.answer("u", c.value, reported),
                  compression(c.value) + dimensions + c.lines +
                      "VER decompression of icon finished." + ("icon u 7 #400 [ " + report));
    }
    for (const unsigned none : {0U, 32U}) {
        EXPECT_EQ(icons.answer("u", none, reported), unsupported(none));
    }
}

// The mask still names what was closed; no other plug-in gets such data.
TEST(Icon, OfAClosedPluginIsNotSupported) {
    Icons icons;
    void* handle = icons.session.handle();
    icons.ask("u", 10, 10);
    icons.session.listenTo<Callback::FrameUpdateRaw>(quarlo_SetFrameUpdateRawCallback);
    const auto close = [&](UInt32 kept) {
        EXPECT_EQ(quarlo_SetSupportedCompressions(handle, kept), eRETURN_OKAY);
        quarlo_SetFrameOutputType(handle, eFLAG_TRUE);
        EXPECT_EQ(quarlo_SetSupportedCompressions(handle, 3), eRETURN_OKAY);
        quarlo_SetFrameOutputType(handle, eFLAG_FALSE);
    };
    close(eFRAMECOMPRESSION_JPEG);
    EXPECT_EQ(icons.answer("u", zlib, good), unsupported(zlib));
    EXPECT_EQ(icons.answer("u", jpeg, good).back().substr(0, 4), "icon");
    close(eFRAMECOMPRESSION_None);
    for (const unsigned value : {jpeg, zlib, 3U, 5U, 6U}) {
        EXPECT_EQ(icons.answer("u", value, good), unsupported(value));
    }
}

TEST(Icon, FailedDecompressionIsTraced) {
    Icons icons;
    icons.ask("u", 10, 10);
    const Lines before = compression(2) + dimensions + usesZlib;
    const std::pair<Int32, Lines> results[] = {
        {3, {}},
        {4, {"ERR ZLIB error return with code -77"}},
        {6, {"ERR SIZE or DIMENSION problem detected in decompression function"}}};
    for (const auto& [result, lines] : results) {
        EXPECT_EQ(icons.answer("u", zlib, order({result, -77, 0, 0})), before + lines);
    }
    EXPECT_EQ(icons.answer("u", zlib, {1}), before);
    EXPECT_EQ(icons.answer("u", zlib, {}),
              before + "ERR NULL parameter or content detected in decompression function");
}

TEST(Icon, SizesThatCannotBeAreDropped) {
    Icons icons;
    const Lines dropped =
        compression(2) + "WRN onReceiveServerAppIcon could not allocate uncompressed buffer.";
    EXPECT_EQ(icons.answer("unasked", zlib, good), dropped);
    // 4 x 65535 x 65535 does not fit 32 bits, 4 x 65535 x 16385 is 196604 there; 4 x 8192 x 2049 is
    // above 64 MiB.
    const std::pair<UInt16, UInt16> sizes[] = {
        {65535, 65535}, {65535, 16385}, {8192, 2049}, {0, 0}, {0, 10}, {10, 0}, {32768, 32768}};
    for (const auto& [width, height] : sizes) {
        icons.ask("u", width, height);
        EXPECT_EQ(icons.answer("u", zlib, good), dropped);
        EXPECT_FALSE(icons.isPending());
    }
    icons.ask("u", 8192, 2048);
    EXPECT_EQ(icons.answer("u", zlib, good).back(), "icon u 7 #67108864");
    icons.ask("u", 200, 200);
    EXPECT_EQ(icons.answerWithout(100000, "u", zlib, good), dropped);
}

TEST(Icon, WithoutUrlOrMemoryIsDropped) {
    Icons icons;
    const Lines failed = compression(4) + "WRN allocation for IdentifierURL failed.";
    EXPECT_EQ(icons.answer("", uncompressed, {1}), failed);
    EXPECT_EQ(icons.answerWithout(1, std::string(65535, 'u'), uncompressed, {1}), failed);
    quarlo_CoreInstance* obj = icons.session.record();
    UInt8 letter = 'u';
    qrString url{eSTRINGENCODING_UTF8, 1, &letter};
    packetServerAppIcon packet{};
    packet.IconCompression = uncompressed;
    packet.IdentifierURL = &url;
    // The scratch memory is full and cannot grow.
    obj->scratch.make<UInt8>(wire::Scratch::ordinarySize);
    allocations::refuseFrom(1);
    EXPECT_EQ(icons.session.during([&] { onReceiveServerAppIcon(obj, &packet); }),
              compression(4) + "WRN allocation for AppIconResponse failed.");
    allocations::refuseFrom(0);
    obj->scratch.reset();
}

TEST(Icon, WithoutCallbackStillEndsTheRequest) {
    Icons icons;
    icons.ask("u", 10, 10);
    quarlo_SetAppIconResponseCallback(icons.session.handle(), nullptr);
    const Lines unset = head + "WRN ServerAppIcon received, but onAppIconResponseCallback not set.";
    EXPECT_EQ(icons.answer("v", uncompressed, {1}), unset);
    EXPECT_TRUE(icons.isPending());
    EXPECT_EQ(icons.answer("u", uncompressed, {1}), unset);
    EXPECT_FALSE(icons.isPending());
}

TEST(Icon, IsRefusedWhenIncompleteOrTooEarly) {
    Idle idle;
    idle.listenTo<Callback::AppIconResponse>(quarlo_SetAppIconResponseCallback);
    const auto receive = [&](packetServerAppIcon* packet) {
        return idle.during([&] { onReceiveServerAppIcon(idle.record(), packet); });
    };
    const auto refusal = [](const char* why) {
        return head + (std::string("WRN onReceiveServerAppIcon called with ") + why);
    };
    UInt8 letter = 'u';
    qrString url{eSTRINGENCODING_UTF8, 1, &letter};
    packetServerAppIcon packet{};
    EXPECT_EQ(receive(nullptr), refusal("NULL packet."));
    EXPECT_EQ(receive(&packet), refusal("IdentifierURL = NULL; ignored"));
    packet.IdentifierURL = &url;
    EXPECT_EQ(receive(&packet), head + "WRN ServerAppIcon received in wrong state; ignored.");
    packet.DataLength = 1;
    EXPECT_EQ(receive(&packet), refusal("DataLength > 0 and pData = NULL."));
    onReceiveServerAppIcon(nullptr, &packet);
}

}  // namespace
}  // namespace quarlo::test
