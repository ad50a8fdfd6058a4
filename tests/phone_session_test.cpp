// A whole phone session against a scripted head unit: handshake, frames, settings, faults and bad
// input.
#include <sys/socket.h>

#include "FrameEncoder.h"
#include "Hash.h"
#include "LinkStream.h"
#include "phone_rig.h"

using namespace quarlo::common;
using namespace quarlo::phone;

namespace {

TEST(PhoneHandshake, CompletesFromSingleBytesAndDescribesThePhone) {
    Options options;
    options.appName = "Hänsel";
    options.softkeys = firstSoftkeys(5);
    Rig rig(options);
    rig.unheard.clear();
    rig.stream.readPiece = 1;
    rig.stream.writePiece = 3;
    EXPECT_TRUE(rig.handshake());
    EXPECT_TRUE(rig.session->isRunning());
    EXPECT_EQ(rig.said(),
              "ServerProtocolAcknowledge, 10 bytes: IsAcknowledged=1; "
              "ServerInitAcknowledge, 10 bytes: IsAcknowledged=1; "
              "ServerInit, 77 bytes: Name=\"Hänsel\", IsAllowedWhileMoving=1, "
              "SupportedSoftkeys={pSoftkeys=[1 (Home), 2 (Back), 3 (Menu), 4 (Search), 1 (Home)]}, "
              "Capabilities=6, ServerOSName=\"Linux\", "
              "PhoneLauncherUUID=\"6f1c7a52-3d0e-4b8e-9a54-0c2b7de1f3a8\"; "
              "ServerInitDone, 10 bytes: Successful=1");
    rig.settle(packet(67, Bytes(5)));
    EXPECT_EQ(rig.heard(), "36 36 70") << "it is in RUN, as its first word says";
}

/// What is heard of a phone that is told so, in a handshake and behind it, and how it ends.
std::string endOf(const std::function<void(Options&)>& tell) {
    Options options;
    tell(options);
    Rig rig(options);
    rig.unheard.clear();  // a phone that has fallen silent sends no pings either
    rig.handshake();
    rig.request(false);
    rig.settle();
    rig.step(5000);
    return rig.heard() + (rig.session->isRunning() ? ", ran" : "") + (rig.isAlive ? "" : ", over");
}

TEST(PhoneHandshake, RefusesStallsAndDropsWhereItIsTold) {
    const std::string upTo[] = {"", "2:1", "2:1 12:1", "2:1 12:1 14", "2:1 12:1 14 18:1, ran"};
    for (const Stage stage :
         {Stage::Protocol, Stage::Init, Stage::ServerInit, Stage::Done, Stage::Frames}) {
        const std::string& heard = upTo[static_cast<int>(stage)];
        EXPECT_EQ(endOf([&](Options& o) { o.stallAt = stage; }), heard);
        EXPECT_EQ(endOf([&](Options& o) { o.dropAt = stage; }), heard + ", over");
    }
    const auto refusing = [](Refusal what) {
        return endOf([&](Options& o) { o.refusals = {what}; });
    };
    EXPECT_EQ(refusing(Refusal::Protocol), "2:0");
    EXPECT_EQ(refusing(Refusal::Init), "2:1 12:0");
    EXPECT_EQ(refusing(Refusal::Done), "2:1 12:1 14 18:0");
}

TEST(PhoneHandshake, AcceptsOnlyWhatItCanDrawAndOnlyInOrder) {
    struct Case {
        Init unit;
        const char* heard;
    };
    for (const Case& c :
         {Case{{.width = 1, .height = 1}, "2:1 12:1 14"},
          Case{{.width = 0, .height = 100}, "2:1 12:0"},
          Case{{.width = 100, .height = 0}, "2:1 12:0"},
          Case{{.width = 8193, .height = 10}, "2:1 12:0"},
          Case{{.width = 8192, .height = 8192}, "2:1 12:0"}, Case{{.format = 9}, "2:1 12:0"}}) {
        Rig rig;
        rig.settle(initDone() + init() + version() + init(c.unit));  // the first two are too early
        EXPECT_EQ(rig.heard(), c.heard) << c.unit.width << "x" << c.unit.height;
    }
}

TEST(PhonePing, ComesEverySecondAndCounts) {
    Rig rig;
    rig.unheard.erase(eEVENTTYPE_Ping);
    rig.connect();
    for (int i = 0; i < 35; ++i) rig.step(100);
    EXPECT_EQ(rig.said(),
              "Ping, 13 bytes: PacketCounter=1; Ping, 13 bytes: PacketCounter=2; "
              "Ping, 13 bytes: PacketCounter=3");
}

TEST(PhonePing, EachWrongAnswerIsToldOnce) {
    struct Case {
        std::vector<UInt32> answers;
        std::size_t told;
    };
    for (const Case& c :
         {Case{{1, 2, 3, 4}, 0}, Case{{1, 4000000000, 3, 4}, 1}, Case{{1, 99, 2, 3}, 1},
          Case{{1, 3, 4}, 1}, Case{{2, 2, 3, 4}, 2}, Case{{1, 0, 0, 4}, 2}, Case{{5, 0, 1}, 2}}) {
        Rig rig;
        rig.connect();
        for (int i = 0; i < 45; ++i) rig.step(100);
        for (const UInt32 answer : c.answers) rig.settle(pong(answer));
        EXPECT_EQ(rig.notes("ping answered").size(), c.told) << testing::PrintToString(c.answers);
    }
}

TEST(PhoneFrames, AnIncrementalRequestWaitsForAChange) {
    Rig rig;
    rig.connect();
    rig.request(true);
    rig.step();
    const auto first = rig.takeUpdate();
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0].area, (Area{0, 0, 160, 120})) << "nothing is known to the head unit yet";
    rig.expectShown();
    rig.request(true);
    // At 30 frames per second of the screen's own time the block moves with the fourth frame.
    rig.step(90);
    rig.step(90);
    EXPECT_EQ(rig.heard(), "");
    rig.step(90);
    Area all;
    for (const Received& part : rig.takeUpdate()) all = bounds(all, part.area);
    EXPECT_EQ(all.width, 16) << "where the block was and where it is";
    rig.expectShown();
    for (int i = 0; i < 10; ++i) rig.step(40);
    EXPECT_EQ(rig.heard(), "") << "nothing is sent without a request";
    rig.tell(state(eCLIENTDATATYPE_FrameRequestsSuspended, 1));
    rig.request(false);
    for (int i = 0; i < 5; ++i) rig.step(50);
    EXPECT_EQ(rig.heard(), "");
    rig.tell(state(eCLIENTDATATYPE_FrameRequestsSuspended, 0));
    rig.step(50);
    EXPECT_EQ(rig.heard(), "26");
    for (int i = 0; i < 50; ++i) {
        rig.request(false);
        rig.step(2);
    }
    EXPECT_EQ(rig.heard(), "26 26") << "in 100 ms, at 30 updates per second";
}

TEST(PhoneFrames, RegionsAreClippedAndOnlyTheyAreSent) {
    Rig rig;
    rig.connect();
    struct Case {
        Area asked;
        std::vector<Area> sent;
    };
    for (const Case& c :
         {Case{{10, 20, 30, 40}, {{10, 20, 30, 40}}},
          Case{{150, 110, 65535, 65535}, {{150, 110, 10, 10}}}, Case{{0, 0, 1, 1}, {{0, 0, 1, 1}}},
          Case{{0, 0, 0, 10}, {}}, Case{{5, 5, 10, 0}, {}}, Case{{160, 0, 10, 10}, {}}}) {
        rig.request(false, c.asked);
        rig.step(40);
        std::vector<Area> sent;
        for (const Received& part : rig.takeUpdate()) sent.push_back(part.area);
        EXPECT_EQ(sent, c.sent);
    }
}

TEST(PhoneFrames, FollowTheFormatAndTheSizeWithinTheHeadUnitsBuffer) {
    Rig rig;
    rig.unit.format = ePIXELFORMAT_RGB565;
    rig.unit.pixel = 2;
    rig.unit.wanted = eFRAMECOMPRESSION_Uncompressed;
    rig.connect();
    rig.request(false);
    rig.step();
    EXPECT_EQ(rig.heard(), "26");
    rig.unit = {};
    rig.canvas = Picture(500, 300);
    rig.tell(packet(21, u8(3) + u8(2) + u8(4)) + packet(27, u16(500) + u16(300) + u32(0)));
    rig.request(true);
    rig.step(40);
    EXPECT_EQ(rig.take(), flag(22, 1));
    EXPECT_EQ(rig.take(), flag(28, 1));
    int updates = 0;
    while (!rig.takeUpdate().empty()) ++updates;
    EXPECT_GE(updates, 6) << "the head unit's buffer was taken for the first size";
    rig.expectShown();
}

TEST(PhoneFrames, FollowSupportWishSettingsAndCommandLineAsFarAsTheyCanBeMet) {
    constexpr FrameCompression raw = eFRAMECOMPRESSION_Uncompressed;
    constexpr FrameCompression zlib = eFRAMECOMPRESSION_ZLIB;
    const auto format = [](unsigned f, unsigned order, unsigned size) {
        return packet(21, u8(f) + u8(order) + u8(size));
    };
    const auto size = [](unsigned width, unsigned height) {
        return packet(27, u16(width) + u16(height) + u32(0));
    };
    const auto compression = [](unsigned value) { return packet(23, u32(value)); };
    struct Case {
        FrameCompression supported, wanted, forced, expected;
        Bytes told = {};
        const char* heard = "";
        std::set<Refusal> refusals = {};
    };
    for (const Case& c : {Case{7, 0, 0, zlib},
                          Case{raw, 0, 0, raw},
                          Case{7, raw, 0, raw},
                          Case{raw, zlib, 0, zlib},
                          Case{7, zlib, raw, raw},
                          Case{raw, raw, zlib, zlib},
                          Case{0, 0, 0, raw},
                          Case{7, raw, 0, zlib, compression(0), "24:1"},
                          Case{7, raw, 0, zlib, compression(zlib), "24:1"},
                          Case{7, raw, 0, zlib, compression(7), "24:1"},
                          Case{7, raw, 0, raw, compression(8), "24:0"},
                          Case{7, raw, raw, raw, compression(zlib), "24:0"},
                          Case{7, raw, 0, raw, compression(zlib), "24:0", {Refusal::Compression}},
                          Case{7, 0, 0, zlib, format(3, 2, 4), "22:1"},
                          Case{7, 0, 0, zlib, format(3, 2, 4), "22:0", {Refusal::PixelFormat}},
                          Case{7, 0, 0, zlib, format(0, 2, 4), "22:0"},
                          Case{7, 0, 0, zlib, format(2, 2, 4), "22:0"},
                          Case{7, 0, 0, zlib, size(160, 120), "28:1"},
                          Case{7, 0, 0, zlib, size(200, 120), "28:0", {Refusal::FrameSize}},
                          Case{7, 0, 0, zlib, size(0, 120), "28:0"},
                          Case{7, 0, 0, zlib, size(65535, 65535), "28:0"}}) {
        SCOPED_TRACE(testing::PrintToString(c.told));
        Options options;
        options.compression = c.forced;
        options.refusals = c.refusals;
        Rig rig(options);
        rig.unit.supported = c.supported;
        rig.unit.wanted = c.wanted;
        rig.connect();
        rig.settle(c.told);
        EXPECT_EQ(rig.heard(), c.heard);
        rig.request(false);
        rig.step(40);
        const auto update = rig.takeUpdate();
        ASSERT_EQ(update.size(), 1u);
        EXPECT_EQ(update[0].compression, c.expected);
        rig.expectShown();
    }
}

TEST(PhoneFrames, JpegIsRecordedAsItIsSeen) {
    Picture picture(64, 48);
    for (int i = 0; i < 64 * 48; ++i)
        picture.row(0)[i] = 0xFF000000u | static_cast<unsigned>(i % 64 * 4 << 16 | i / 64 * 5);
    FrameEncoder encoder;
    FrameStyle style;
    style.compression = eFRAMECOMPRESSION_JPEG;
    const Area sent{8, 8, 40, 32};
    std::deque<Area> areas{sent};
    Bytes out;
    Picture view(64, 48, 0xFF00FF00);
    ASSERT_TRUE(encoder.appendUpdate(style, picture, areas, out, view));
    JpegCodec codec;
    Picture seen(64, 48, 0xFF00FF00);
    ASSERT_TRUE(codec.decode(&out[31], out.size() - 31, seen, sent));
    EXPECT_EQ(view.pixels, seen.pixels);
    EXPECT_NE(view.row(20)[20], picture.row(20)[20]) << "it loses a little";
    EXPECT_NEAR(view.row(20)[20] >> 16 & 0xFF, 80, 24);
}

TEST(PhoneFrames, ReducedRenderingEnlargesToWholePixels) {
    for (const int percent : {50, 75, 33, 1}) {
        Options options;
        options.renderPercent = static_cast<unsigned>(percent);
        Rig rig(options);
        rig.unit.width = 301;
        rig.unit.height = 203;
        rig.connect();
        for (int i = 0; i < 6; ++i) {
            rig.request(i > 0);
            rig.step(200);
            for (const Received& part : rig.takeUpdate()) {
                EXPECT_EQ(part.percent, percent);
                EXPECT_EQ(100 * part.area.x % percent, 0);
                EXPECT_EQ(100 * part.area.y % percent, 0);
                EXPECT_LE(100 * part.area.right() / percent, 301);
                EXPECT_LE(100 * part.area.bottom() / percent, 203);
            }
        }
    }
}

TEST(PhoneBadInput, WhatIsWrongAboutAPacketIsToldOnceAndTheStreamStaysInStep) {
    Rig rig;
    rig.connect();
    EXPECT_EQ(rig.notes(": "), std::vector<std::string>{});
    for (const Bytes& told :
         {Bytes{200, 1, 2, 3, 4, 2, 0, 0, 0, 9, 9}, packet(26), state(1, 0), packet(35, u8(1)),
          packet(33, u8(255)), packet(73, u8(1) + u16(0xFFFF)), key(2, 1),
          position("not even advice"), request(161)})
        rig.tell(told);
    EXPECT_TRUE(rig.settle());
    EXPECT_EQ(rig.notes(": "),
              (std::vector<std::string>{
                  "packet 200: flags are set", "packet 200: the type is unknown",
                  "FramebufferUpdate: phones send this, not head units",
                  "ClientState: cannot be read", "TouchEvent: cannot be read",
                  "ClientStartApp: cannot be read", "SoftkeyEvent: key 1 is not pressed",
                  "ignored a position that cannot be read: not even advice",
                  "FramebufferUpdateRequest: region 161x48 at 0,0 is not within the screen"}));
    for (unsigned number = 0; number < 200; ++number) rig.tell(touch(1, number));
    rig.settle();
    EXPECT_EQ(rig.notes("one more than are followed").size(), 200u - 64);
    rig.heard();
    rig.request(false);
    rig.step(100);
    EXPECT_EQ(rig.heard(), "26");
    rig.tell({37, 0, 0, 0, 0, 255, 255, 255, 255});
    EXPECT_FALSE(rig.step()) << "no memory is taken for what is only announced";
}

TEST(PhoneBadInput, RandomPacketsDoNoHarm) {
    for (std::uint32_t seed = 0; seed < 12; ++seed) {
        Rig rig;
        rig.connect();
        std::uint32_t n = 0;
        const auto random = [&](unsigned end) { return hashOf(++n, seed, 5) % end; };
        constexpr std::array types{1, 11, 17, 21, 23, 25, 27, 31, 33, 35, 71, 73};
        for (int i = 0; i < 40; ++i) {
            Bytes payload;
            // Small numbers are often valid ones.
            for (unsigned left = random(40); left > 0; --left)
                payload = payload + u8(random(random(2) == 0 ? 5 : 256));
            rig.tell(packet(static_cast<unsigned>(types[random(types.size())]), payload));
            EXPECT_TRUE(rig.step(40));
        }
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

}  // namespace
