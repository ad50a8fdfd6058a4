// A whole phone session against a scripted head unit: handshake, frames, settings, faults and bad
// input.
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "Compression.h"
#include "Hash.h"
#include "LinkStream.h"
#include "phone_rig.h"

using namespace quarlo::common;
using namespace quarlo::phone;

namespace {

using Types = std::vector<int>;

TEST(PhoneHandshake, CompletesFromSinglesBytesAndDescribesThePhone) {
    Options options;
    options.appName = "Hänsel";
    options.softkeys = firstSoftkeys(5);
    Rig rig(options);
    rig.stream.readPiece = 1;
    rig.stream.writePiece = 3;
    rig.tellVersion();
    rig.tellInit();
    rig.tellDone();
    EXPECT_TRUE(rig.settle());
    EXPECT_EQ(rig.heardTypes(), (Types{2, 12, 14, 18}));
    EXPECT_TRUE(rig.session->isRunning());
    EXPECT_EQ(rig.take<packetServerProtocolAcknowledge>()->IsAcknowledged, 1);
    EXPECT_EQ(rig.take<packetServerInitAcknowledge>()->IsAcknowledged, 1);
    const auto init = rig.take<packetServerInit>();
    EXPECT_EQ(std::string(reinterpret_cast<char*>(init->Name->pContent), init->Name->Length),
              "Hänsel");
    EXPECT_EQ(init->Name->Encoding, eSTRINGENCODING_UTF8);
    ASSERT_EQ(init->SupportedSoftkeys->Length, 5);
    EXPECT_EQ(init->SupportedSoftkeys->pSoftkeys[3], eSOFTKEY_Search);
    EXPECT_EQ(init->SupportedSoftkeys->pSoftkeys[4], eSOFTKEY_Home);
    EXPECT_EQ(rig.take<packetServerInitDone>()->Successful, 1);
}

struct FaultCase {
    const char* name;
    std::function<void(Options&)> fault;
    Types heard;
    int lastAnswer;  ///< the one payload byte of the last packet, -1 if it has another shape
    bool isRunning;
    bool isAlive;
};

TEST(PhoneHandshake, RefusesStallsAndDropsWhereItIsTold) {
    const auto refuse = [](Refusal what) { return [=](Options& o) { o.refusals = {what}; }; };
    const auto stall = [](Stage where) { return [=](Options& o) { o.stallAt = where; }; };
    const auto drop = [](Stage where) { return [=](Options& o) { o.dropAt = where; }; };
    const std::vector<FaultCase> cases{
        {"refuse protocol", refuse(Refusal::Protocol), {2}, 0, false, true},
        {"refuse init", refuse(Refusal::Init), {2, 12}, 0, false, true},
        {"refuse done", refuse(Refusal::Done), {2, 12, 14, 18}, 0, false, true},
        {"stall protocol", stall(Stage::Protocol), {}, -1, false, true},
        {"stall init", stall(Stage::Init), {2}, 1, false, true},
        {"stall serverinit", stall(Stage::ServerInit), {2, 12}, 1, false, true},
        {"stall done", stall(Stage::Done), {2, 12, 14}, -1, false, true},
        {"stall frames", stall(Stage::Frames), {2, 12, 14, 18}, 1, true, true},
        {"drop protocol", drop(Stage::Protocol), {}, -1, false, false},
        {"drop init", drop(Stage::Init), {2}, 1, false, false},
        {"drop serverinit", drop(Stage::ServerInit), {2, 12}, 1, false, false},
        {"drop done", drop(Stage::Done), {2, 12, 14}, -1, false, false},
        {"drop frames", drop(Stage::Frames), {2, 12, 14, 18}, 1, true, false},
    };
    for (const FaultCase& c : cases) {
        SCOPED_TRACE(c.name);
        Options options;
        c.fault(options);
        Rig rig(options);
        rig.tellVersion();
        rig.tellInit();
        rig.tellDone();
        rig.request(false);
        rig.settle();
        rig.step(5000);  // a phone that has fallen silent sends no pings either
        EXPECT_EQ(rig.heardTypes(), c.heard);
        EXPECT_EQ(rig.session->isRunning(), c.isRunning);
        EXPECT_EQ(rig.isAlive, c.isAlive);
        if (c.lastAnswer >= 0) {
            EXPECT_EQ(rig.stream.fromPhone.back(), c.lastAnswer);
        }
    }
}

TEST(PhoneHandshake, AcceptsOnlyWhatItCanDrawAndOnlyInOrder) {
    struct Case {
        int width, height;
        PixelLayout layout;
        bool isAccepted;
    };
    const PixelLayout argb;
    const std::array<Case, 6> cases{
        {{1, 1, argb, true},
         {0, 100, argb, false},
         {100, 0, argb, false},
         {8193, 10, argb, false},
         {8192, 8192, argb, false},
         {100, 100, {PixelFormat{9}, ePIXELENDIANESS_BigEndian}, false}}};
    for (const Case& c : cases) {
        Rig rig;
        rig.width = c.width;
        rig.height = c.height;
        rig.layout = c.layout;
        rig.tellDone();  // too early, ignored
        rig.tellInit();
        rig.tellVersion();
        rig.tellInit();
        rig.settle();
        EXPECT_EQ(rig.heardTypes(), c.isAccepted ? (Types{2, 12, 14}) : (Types{2, 12}));
        rig.take<packetServerProtocolAcknowledge>();
        EXPECT_EQ(rig.take<packetServerInitAcknowledge>()->IsAcknowledged, c.isAccepted);
    }
}

TEST(PhonePing, ComesEverySecondAndCounts) {
    Rig rig;
    rig.keepsPings = true;
    rig.connect();
    for (int i = 0; i < 35; ++i) {
        rig.step(100);
    }
    EXPECT_EQ(rig.heardTypes(), (Types{128, 128, 128}));
    for (UInt32 i = 1; i <= 3; ++i) EXPECT_EQ(rig.take<packetPing>()->PacketCounter, i);
}

TEST(PhonePing, EachWrongAnswerIsToldOnce) {
    struct Case {
        std::vector<UInt32> answers;
        int told;
    };
    for (const Case& c :
         {Case{{1, 2, 3, 4}, 0}, Case{{1, 4000000000, 3, 4}, 1}, Case{{1, 99, 2, 3}, 1},
          Case{{1, 3, 4}, 1}, Case{{2, 2, 3, 4}, 2}, Case{{1, 0, 0, 4}, 2}, Case{{5, 0, 1}, 2}}) {
        Rig rig;
        rig.connect();
        for (int i = 0; i < 45; ++i) rig.step(100);
        for (const UInt32 answer : c.answers) {
            rig.tell<packetPingAcknowledge>([&](auto& p) { p.PacketCounter = answer; });
            rig.settle();
        }
        EXPECT_EQ(rig.notes("ping answered").size(), static_cast<std::size_t>(c.told))
            << testing::PrintToString(c.answers);
    }
}

TEST(PhoneFrames, TheHeadUnitSeesTheScreenInEveryFormatAndCompression) {
    for (unsigned format = ePIXELFORMAT_RGB888; format <= ePIXELFORMAT_RGBA8888; ++format) {
        for (const PixelEndianess order :
             {ePIXELENDIANESS_BigEndian, ePIXELENDIANESS_LittleEndian}) {
            for (const FrameCompression compression :
                 {eFRAMECOMPRESSION_Uncompressed, eFRAMECOMPRESSION_ZLIB}) {
                SCOPED_TRACE(std::to_string(format) + " " + std::to_string(int{order}) + " " +
                             std::to_string(compression));
                Rig rig;
                rig.layout = {static_cast<PixelFormat>(format), order};
                rig.wanted = compression;
                rig.connect();
                rig.request(false);
                rig.step();
                const auto whole = rig.takeUpdate();
                ASSERT_EQ(whole.size(), 1u);
                EXPECT_EQ(whole[0].area, (Area{0, 0, 160, 120}));
                EXPECT_EQ(whole[0].compression, compression);
                ASSERT_EQ(rig.canvas.pixels, rig.shown().pixels);
                rig.request(true);
                rig.step(1000);
                for (const Received& part : rig.takeUpdate()) EXPECT_LE(part.area.width, 24);
                ASSERT_EQ(rig.canvas.pixels, rig.shown().pixels);
            }
        }
    }
}

TEST(PhoneFrames, AnIncrementalRequestWaitsForAChange) {
    Rig rig;
    rig.connect();
    rig.request(true);
    rig.step();
    const auto first =
        rig.takeUpdate();  // nothing is known to the head unit yet: everything is a change
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0].area, (Area{0, 0, 160, 120}));
    rig.request(true);
    // At 30 frames per second of the screen's own time the block moves with the fourth frame.
    Types frames;
    for (int i = 0; i < 3; ++i) {
        rig.step(40);
        frames.push_back(static_cast<int>(rig.heardTypes().size()));
    }
    EXPECT_EQ(frames, (Types{0, 0, 1}));
    const auto change = rig.takeUpdate();
    ASSERT_FALSE(change.empty());
    Area all;
    for (const Received& part : change) all = bounds(all, part.area);
    EXPECT_EQ(all.width, 16);  // where the block was and where it is
    EXPECT_EQ(rig.canvas.pixels, rig.shown().pixels);
    for (int i = 0; i < 10; ++i) rig.step(40);
    EXPECT_TRUE(rig.heardTypes().empty()) << "nothing is sent without a request";
}

TEST(PhoneFrames, EqualRequestsGiveEqualBytesAndTheRatesLimitHolds) {
    std::array<std::vector<std::uint8_t>, 2> runs;
    for (auto& bytes : runs) {
        Rig rig;
        rig.connect();
        for (int i = 0; i < 12; ++i) {
            rig.request(i % 4 == 0);
            rig.step(&bytes == &runs[0] ? 40 : 90);
        }
        bytes = rig.stream.fromPhone;
    }
    EXPECT_FALSE(runs[0].empty());
    EXPECT_EQ(runs[0], runs[1]);
    Rig rig;
    rig.connect();
    for (int i = 0; i < 50; ++i) {
        rig.request(false);
        rig.step(2);
    }
    EXPECT_EQ(rig.heardTypes().size(), 3u) << "100 ms at 30 updates per second";
}

TEST(PhoneFrames, RegionsAreClippedAndOnlyTheyAreSent) {
    Rig rig;
    rig.connect();
    struct Case {
        Area asked;
        Area sent;
    };
    for (const Case& c :
         {Case{{10, 20, 30, 40}, {10, 20, 30, 40}},
          Case{{150, 110, 65535, 65535}, {150, 110, 10, 10}}, Case{{0, 0, 1, 1}, {0, 0, 1, 1}}}) {
        rig.request(false, c.asked);
        rig.step(40);
        const auto update = rig.takeUpdate();
        ASSERT_EQ(update.size(), 1u);
        EXPECT_EQ(update[0].area, c.sent);
    }
    for (const Area& nothing : {Area{0, 0, 0, 10}, Area{5, 5, 10, 0}}) {
        rig.request(false, nothing);
        rig.step(40);
        EXPECT_TRUE(rig.heardTypes().empty());
    }
    rig.request(false, {160, 0, 10, 10});
    rig.step(40);
    EXPECT_TRUE(rig.heardTypes().empty());
}

TEST(PhoneFrames, AreSuspendedAndResumed) {
    Rig rig;
    rig.connect();
    const auto suspend = [&](UInt8 value) {
        rig.tell<packetClientState>([&](auto& packet) {
            packet.DataType = eCLIENTDATATYPE_FrameRequestsSuspended;
            packet.Value = value;
        });
    };
    suspend(1);
    rig.request(false);
    for (int i = 0; i < 5; ++i) rig.step(50);
    EXPECT_TRUE(rig.heardTypes().empty());
    suspend(0);
    rig.step(50);
    EXPECT_EQ(rig.heardTypes(), (Types{26}));
}

TEST(PhoneFrames, FollowTheFormatAndTheSizeWithinTheHeadUnitsBuffer) {
    Rig rig;
    rig.layout = {ePIXELFORMAT_RGB565, ePIXELENDIANESS_LittleEndian};
    rig.wanted = eFRAMECOMPRESSION_Uncompressed;
    rig.connect();
    rig.request(false);
    rig.step();
    rig.takeUpdate();

    rig.layout = {ePIXELFORMAT_RGBA8888, ePIXELENDIANESS_BigEndian};
    rig.tell<packetSetPixelFormat>([](auto& packet) {
        packet.Format = ePIXELFORMAT_RGBA8888;
        packet.Endianess = ePIXELENDIANESS_BigEndian;
        packet.BytesPerPixel = 4;
    });
    rig.tell<packetSetFrameSize>([](auto& packet) {
        packet.ScreenWidth = 500;
        packet.ScreenHeight = 300;
    });
    rig.request(true);
    rig.step(40);
    EXPECT_EQ(rig.take<packetPixelFormatAcknowledge>()->IsAcknowledged, 1);
    EXPECT_EQ(rig.take<packetFrameSizeAcknowledge>()->IsAcknowledged, 1);
    rig.canvas = Picture(500, 300);
    rig.largestHeard = 0;
    std::size_t updates = 0;
    while (!rig.takeUpdate().empty()) ++updates;
    EXPECT_GE(updates, 6u);
    EXPECT_LE(rig.largestHeard, 160u * 120 * 2 + 65536)
        << "the buffer was taken for the first size";
    EXPECT_EQ(rig.canvas.pixels, rig.shown().pixels);
}

TEST(PhoneFrames, SettingsThatCannotBeHadAreRefusedAndChangeNothing) {
    const auto format = [](UInt8 f, UInt8 order, UInt8 size) {
        return [=](Rig& rig) {
            rig.tell<packetSetPixelFormat>([=](auto& p) {
                p.Format = static_cast<PixelFormat>(f);
                p.Endianess = static_cast<PixelEndianess>(order);
                p.BytesPerPixel = size;
            });
        };
    };
    const auto size = [](UInt16 width, UInt16 height) {
        return [=](Rig& rig) {
            rig.tell<packetSetFrameSize>([=](auto& p) {
                p.ScreenWidth = width;
                p.ScreenHeight = height;
            });
        };
    };
    const auto compression = [](UInt32 value) {
        return [=](Rig& rig) {
            rig.tell<packetOverrideCompression>([=](auto& p) { p.Compression = value; });
        };
    };
    struct Case {
        const char* name;
        std::function<void(Rig&)> tell;
        std::optional<Refusal> refusal;
        int type;
        bool isAccepted;
    };
    const std::vector<Case> cases{
        {"same format", format(3, 2, 4), {}, 22, true},
        {"format refused", format(3, 2, 4), Refusal::PixelFormat, 22, false},
        {"format 0", format(0, 2, 4), {}, 22, false},
        {"order 7", format(3, 7, 4), {}, 22, false},
        {"565 in 4 bytes", format(2, 2, 4), {}, 22, false},
        {"same size", size(160, 120), {}, 28, true},
        {"size refused", size(200, 120), Refusal::FrameSize, 28, false},
        {"no width", size(0, 120), {}, 28, false},
        {"65535 x 65535", size(65535, 65535), {}, 28, false},
        {"free choice", compression(0), {}, 24, true},
        {"zlib", compression(2), {}, 24, true},
        {"any", compression(7), {}, 24, true},
        {"compression refused", compression(2), Refusal::Compression, 24, false},
        {"undefined compression", compression(8), {}, 24, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Options options;
        if (c.refusal) options.refusals = {*c.refusal};
        Rig rig(options);
        rig.connect();
        c.tell(rig);
        rig.settle();
        ASSERT_EQ(rig.heardTypes(), (Types{c.type}));
        EXPECT_EQ(rig.stream.fromPhone.back(), c.isAccepted ? 1 : 0);
        rig.stream.fromPhone.clear();
        rig.request(false);
        rig.step(40);
        rig.takeUpdate();
        EXPECT_EQ(rig.canvas.pixels, rig.shown().pixels) << "the settings of the start still hold";
    }
}

TEST(PhoneFrames, TheCompressionFollowsSupportWishAndCommandLine) {
    constexpr FrameCompression raw = eFRAMECOMPRESSION_Uncompressed;
    constexpr FrameCompression zlib = eFRAMECOMPRESSION_ZLIB;
    struct Case {
        FrameCompression supported, wanted, forced, expected;
    };
    for (const Case& c :
         {Case{7, 0, 0, zlib}, Case{raw, 0, 0, raw}, Case{7, raw, 0, raw}, Case{raw, zlib, 0, zlib},
          Case{7, zlib, raw, raw}, Case{raw, raw, zlib, zlib}, Case{0, 0, 0, raw}}) {
        Options options;
        options.compression = c.forced;
        Rig rig(options);
        rig.supported = c.supported;
        rig.wanted = c.wanted;
        rig.connect();
        rig.request(false);
        rig.step();
        const auto update = rig.takeUpdate();
        ASSERT_EQ(update.size(), 1u);
        EXPECT_EQ(update[0].compression, c.expected);
    }
}

TEST(PhoneFrames, JpegIsRecordedAsItIsSeen) {
    Picture picture(64, 48);
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x)
            picture.row(y)[x] =
                0xFF000000u | static_cast<unsigned>(x * 4) << 16 | static_cast<unsigned>(y * 5);
    FrameEncoder encoder;
    FrameStyle style;
    style.compression = eFRAMECOMPRESSION_JPEG;
    std::deque<Area> areas{{8, 8, 40, 32}};
    std::vector<std::uint8_t> out;
    Picture view(64, 48, 0xFF00FF00);
    ASSERT_TRUE(encoder.appendUpdate(style, picture, areas, out, view));
    int worst = 0;
    bool isExact = true;
    for (int y = 8; y < 40; ++y) {
        for (int x = 8; x < 48; ++x) {
            isExact = isExact && view.row(y)[x] == picture.row(y)[x];
            for (const int shift : {0, 8, 16}) {
                const int difference = static_cast<int>(view.row(y)[x] >> shift & 0xFF) -
                                       static_cast<int>(picture.row(y)[x] >> shift & 0xFF);
                worst = std::max(worst, std::abs(difference));
            }
        }
    }
    EXPECT_FALSE(isExact);
    EXPECT_LT(worst, 24);
    EXPECT_EQ(view.row(7)[8], 0xFF00FF00u);
    EXPECT_EQ(view.row(8)[48], 0xFF00FF00u);
}

TEST(PhoneFrames, ReducedRenderingEnlargesToWholePixels) {
    for (const unsigned percent : {50u, 75u, 33u, 1u}) {
        Options options;
        options.renderPercent = percent;
        Rig rig(options);
        rig.width = 301;
        rig.height = 203;
        rig.connect();
        for (int i = 0; i < 6; ++i) {
            rig.request(i > 0);
            rig.step(200);
            for (const Received& part : rig.takeUpdate()) {
                const int p = static_cast<int>(percent);
                EXPECT_EQ(part.percent, percent);
                EXPECT_EQ(100 * part.area.x % p, 0);
                EXPECT_EQ(100 * part.area.y % p, 0);
                EXPECT_LE(100 * part.area.right() / p, 301);
                EXPECT_LE(100 * part.area.bottom() / p, 203);
            }
        }
    }
}

TEST(PhoneFrames, DumpsWhatTheHeadUnitSeesAndDropsAfterTheFramesAskedFor) {
    const std::string directory = testing::TempDir() + "quarlo-phone-dump";
    std::filesystem::remove_all(directory);
    std::filesystem::create_directories(directory);
    Options options;
    options.dumpDirectory = directory;
    options.dropAfterFrames = 3;
    Rig rig(options);
    rig.layout = {ePIXELFORMAT_RGB565, ePIXELENDIANESS_BigEndian};
    rig.connect();
    for (int number = 1; number <= 3; ++number) {
        rig.request(true, {0, 0, 40 * number, 120});
        rig.step(500);
        ASSERT_FALSE(rig.takeUpdate().empty());
        const std::string path = directory + "/phone-000" + std::to_string(number) + ".png";
        const Surface png(cairo_image_surface_create_from_png(path.c_str()), cairo_surface_destroy);
        ASSERT_EQ(cairo_surface_status(png.get()), CAIRO_STATUS_SUCCESS);
        for (int y = 0; y < 120; ++y) {
            const auto* row = cairo_image_surface_get_data(png.get()) +
                              y * cairo_image_surface_get_stride(png.get());
            for (int x = 0; x < 160; ++x) {
                std::uint32_t pixel = 0;
                std::memcpy(&pixel, row + 4 * x, 4);
                ASSERT_EQ(pixel & 0xFFFFFF, rig.canvas.row(y)[x] & 0xFFFFFF) << x << "," << y;
            }
        }
    }
    rig.request(true);
    EXPECT_FALSE(rig.step(500));
    EXPECT_TRUE(rig.stream.fromPhone.empty());
}

TEST(PhoneBadInput, WhatIsWrongAboutAPacketIsToldOnceAndTheStreamStaysInStep) {
    using Bytes = std::vector<std::uint8_t>;
    struct Case {
        Bytes packet;
        std::vector<std::string> notes;
    };
    const auto request = [](std::uint8_t x, std::uint8_t width, std::uint8_t height) {
        return Bytes{25, 0, 0, 0, 0, 9, 0, 0, 0, x, 0, 0, 0, width, 0, height, 0, 1};
    };
    const auto key = [](std::uint8_t event, std::uint8_t which) {
        return Bytes{31, 0, 0, 0, 0, 2, 0, 0, 0, event, which};
    };
    const auto touch = [](std::uint8_t what, std::uint8_t x, std::uint8_t finger) {
        return Bytes{33, 0, 0, 0, 0, 14, 0, 0, 0, 1, what, x, 0, 9, 0, finger, 0, 0, 0, 7, 0, 0, 0};
    };
    const Case cases[] = {
        {{0, 0, 0, 0, 0, 0, 0, 0, 0}, {"packet 0: the type is unknown"}},
        {{200, 1, 2, 3, 4, 2, 0, 0, 0, 9, 9},
         {"packet 200: flags are set", "packet 200: the type is unknown"}},
        {{26, 0, 0, 0, 0, 0, 0, 0, 0}, {"FramebufferUpdate: phones send this, not head units"}},
        {{35, 0, 0, 0, 0, 2, 0, 0, 0, 1, 0}, {}},
        {{35, 0, 0, 0, 128, 2, 0, 0, 0, 1, 0}, {"ClientState: flags are set"}},
        {{35, 0, 0, 0, 0, 5, 0, 0, 0, 1, 0, 1, 2, 3},
         {"ClientState: 3 bytes more than its fields take"}},
        {{35, 0, 0, 0, 0, 1, 0, 0, 0, 1}, {"ClientState: cannot be read"}},
        {{25, 0, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0},
         {"FramebufferUpdateRequest: cannot be read"}},
        {{33, 0, 0, 0, 0, 1, 0, 0, 0, 255}, {"TouchEvent: cannot be read"}},
        {{73, 0, 0, 0, 0, 3, 0, 0, 0, 1, 255, 255}, {"ClientStartApp: cannot be read"}},
        {request(0, 160, 120), {}},
        {request(1, 160, 120),
         {"FramebufferUpdateRequest: region 160x120 at 1,0 is not within the screen"}},
        {request(0, 160, 121),
         {"FramebufferUpdateRequest: region 160x121 at 0,0 is not within the screen"}},
        {request(5, 0, 9), {"FramebufferUpdateRequest: region 0x9 at 5,0 is empty"}},
        {key(2, 1), {"SoftkeyEvent: key 1 is not pressed"}},
        {key(1, 1), {}},
        {key(1, 2), {}},
        {key(1, 1), {"SoftkeyEvent: key 1 is pressed already"}},
        {key(2, 1), {}},
        {key(3, 4), {"SoftkeyEvent: key 4 does what is unknown, 3"}},
        {key(1, 5), {"SoftkeyEvent: key 5 is none of the phone's"}},
        {touch(3, 0, 1), {"TouchEvent: finger 1 moves, but is not down"}},
        {touch(1, 159, 1), {}},
        {touch(1, 160, 2), {"TouchEvent: finger 2 is not within the screen"}},
        {touch(1, 0, 1), {"TouchEvent: finger 1 is down already"}},
        {touch(3, 0, 1), {}},
        {touch(2, 0, 1), {}},
        {touch(2, 0, 1), {"TouchEvent: finger 1 leaves, but is not down"}},
        {touch(4, 0, 2), {}},
        {touch(3, 0, 2), {"TouchEvent: finger 2 moves, but is not down"}},
        {touch(5, 0, 2), {"TouchEvent: finger 2 does what is unknown, 5"}},
        {{33, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0},
         {"TouchEvent: no finger", "TouchEvent: no time"}},
    };
    Rig rig;
    rig.connect();
    EXPECT_EQ(rig.notes(": "), (std::vector<std::string>{}));
    for (const Case& c : cases) {
        rig.tellBytes(c.packet);
        EXPECT_TRUE(rig.settle());
        EXPECT_EQ(rig.notes(": "), c.notes) << testing::PrintToString(c.packet);
    }
    for (std::uint8_t finger = 0; finger < 200; ++finger) rig.tellBytes(touch(1, 0, finger));
    rig.settle();
    EXPECT_EQ(rig.notes("one more than are followed").size(), 200u - 64);
    rig.tellVersion();
    rig.stream.fromPhone.clear();
    rig.request(false);
    rig.step(100);
    EXPECT_EQ(rig.heardTypes(), (Types{26}));
    rig.tellBytes({37, 0, 0, 0, 0, 255, 255, 255, 255});
    EXPECT_FALSE(rig.step()) << "no memory is taken for what is only announced";
}

TEST(PhoneBadInput, RandomPacketsDoNoHarm) {
    for (std::uint32_t seed = 0; seed < 12; ++seed) {
        Rig rig;
        rig.connect();
        std::uint32_t n = 0;
        const auto random = [&] { return hashOf(++n, seed, 5); };
        constexpr std::array<std::uint8_t, 12> types{1, 11, 17, 21, 23, 25, 27, 31, 33, 35, 71, 73};
        for (int i = 0; i < 40; ++i) {
            const auto size = static_cast<std::uint8_t>(random() % 40);
            std::vector<std::uint8_t> packet{
                types[random() % types.size()], 0, 0, 0, 0, size, 0, 0, 0};
            // Small numbers are often valid ones.
            for (int b = 0; b < size; ++b)
                packet.push_back(
                    static_cast<std::uint8_t>(random() % (random() % 2 == 0 ? 5 : 256)));
            rig.tellBytes(packet);
            rig.step(40);
            rig.stream.fromPhone.clear();
        }
        EXPECT_TRUE(rig.isAlive);
    }
}

TEST(PhoneBadInput, WhatCameBeforeTheEndIsReadThoughNothingCanBeSent) {
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    ASSERT_EQ(write(ends[1], "last", 4), 4);
    ASSERT_EQ(close(ends[1]), 0);
    const Bell bell;
    LinkStream stream(Link(quarloLink_FromDescriptors(ends[0], ends[0], nullptr)), bell,
                      {{}, 1, nullptr});
    while (!stream.hasEnded()) bell.wait(TimePoint::max());
    std::array<std::uint8_t, 8> bytes{};
    EXPECT_EQ(stream.write(bytes), 8);
    EXPECT_EQ(stream.read(bytes), 4);
    EXPECT_EQ(stream.read(bytes), -1);
}

TEST(PhoneBadInput, AVanishedHeadUnitEndsTheSession) {
    Rig rig;
    rig.connect();
    rig.request(false);
    rig.stream.isGone = true;
    rig.step();
    EXPECT_FALSE(rig.isAlive);
    EXPECT_TRUE(rig.session->isRunning()) << "the handshake was completed all the same";
}

}  // namespace
