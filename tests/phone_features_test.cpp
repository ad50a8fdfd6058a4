// What a head unit does to the phone beside taking its picture: touches, keys, the vehicle's state
// and data, services, audio, apps and custom data. A tour of both programs shows what is usual;
// here stand what the phone says to the letter, and what is refused.
#include "Apps.h"
#include "phone_rig.h"

using namespace quarlo::common;
using namespace quarlo::phone;

namespace {

/// A running session of which all is heard but pings.
class Drive : public Rig {
  public:
    Drive() {
        unit.width = 320;
        unit.height = 240;
        unheard = {eEVENTTYPE_Ping};
        connect();
    }

    std::vector<std::uint32_t> pixels() { return screen.draw({36000000}).pixels; }

    struct Finger {
        TouchType type;
        unsigned x;
        unsigned y;
        unsigned id = 1;
    };
    std::string touch(const std::vector<Finger>& fingers) {
        Bytes payload = u8(static_cast<unsigned>(fingers.size()));
        for (const Finger& f : fingers)
            payload = payload + u8(f.type) + u16(f.x) + u16(f.y) + u32(f.id);
        settle(packet(33, payload + u32(9)));
        return saidTo({});
    }
    std::string tap(unsigned x, unsigned y) {
        touch({{eTOUCHTYPE_Down, x, y}});
        return touch({{eTOUCHTYPE_Up, x, y}});
    }
    std::string open(const char* app) {
        screen.open(findApp(app));
        return saidTo({});
    }
    std::string ask(Wish wish, int which) {
        screen.phone().ask(wish, which);
        return saidTo({});
    }
    std::string status(const char* app) { return screen.phone().status[app]; }
};

std::string goesTo(const std::string& launcherState) {
    return "ServerState, 11 bytes: DataType=2 (Transition), Value=1; "
           "ServerState, 11 bytes: DataType=4 (LauncherAppState), Value=" +
           launcherState + "; ServerState, 11 bytes: DataType=2 (Transition), Value=0";
}
const std::string goesHome = goesTo("1");
const std::string goesToTheFront = goesTo("0");
const std::string volumeKey = "ServerCustomData, 15 bytes: Event=5 (Key), Type=4, pData=[10]";
const std::string firstName =
    "ServerCustomData, 29 bytes: Event=1 (String), Type=1, pData=[1, 12, "
    "0, 113, 117, 97, 114, 108, 111, 32, 112, 104, 111, 110, 101]";

TEST(PhoneInput, FingersAndKeysOperateWhatIsInFront) {
    Drive drive;
    drive.open("link");
    EXPECT_EQ(drive.tap(100, 60), firstName);
    EXPECT_EQ(drive.touch({{eTOUCHTYPE_Down, 100, 200}}), "");
    EXPECT_EQ(drive.touch({{eTOUCHTYPE_Moved, 100, 110}}), "");
    EXPECT_EQ(drive.touch({{eTOUCHTYPE_Moved, 100, 200, 7}}), "") << "it never went down";
    EXPECT_EQ(drive.touch({{eTOUCHTYPE_Up, 100, 110}}), "") << "no tap";
    EXPECT_EQ(drive.tap(100, 60), volumeKey) << "three rows further";
    drive.touch({{eTOUCHTYPE_Down, 100, 110}});
    drive.touch({{eTOUCHTYPE_Moved, 100, 60000}});
    EXPECT_EQ(drive.touch({{eTOUCHTYPE_Cancelled, 100, 60000}}), "");
    EXPECT_EQ(drive.tap(100, 60), firstName) << "no further than the first row";
    drive.settle(state(eCLIENTDATATYPE_Movement, 1));
    drive.touch({{eTOUCHTYPE_Down, 100, 200}, {eTOUCHTYPE_Moved, 100, 110}});
    EXPECT_EQ(drive.touch({{eTOUCHTYPE_Up, 100, 110}}), "");
    EXPECT_EQ(drive.tap(100, 60), firstName) << "nothing scrolls at the wheel";
    drive.saidTo(key(eSOFTKEYEVENTTYPE_Press, eSOFTKEY_Menu));
    EXPECT_EQ(drive.screen.front(), findApp("link"));
    drive.saidTo(key(eSOFTKEYEVENTTYPE_Release, eSOFTKEY_Menu));
    EXPECT_EQ(drive.screen.front(), findApp("phone")) << "behind the last one";
    EXPECT_EQ(drive.tap(20, 236), goesHome) << "the softkey drawn at the lower left";
    for (const unsigned wrong : {0U, 5U, 255U})
        drive.tell(key(eSOFTKEYEVENTTYPE_Release, wrong) + key(wrong, eSOFTKEY_Home));
    EXPECT_TRUE(drive.settle());
}

TEST(PhoneInput, TwoFingersEnlargeTheMapWithinBounds) {
    Drive drive;
    drive.open("maps");
    const auto before = drive.pixels();
    drive.touch({{eTOUCHTYPE_Down, 150, 120, 1}, {eTOUCHTYPE_Down, 170, 120, 2}});
    for (unsigned i = 0; i < 100; ++i)  // a pinch to nothing, a spread to everything
        drive.touch({{eTOUCHTYPE_Moved, i % 2 * 65535, 0, 1},
                     {eTOUCHTYPE_Moved, 160, 120, 2},
                     {eTOUCHTYPE_Down, i, i, i + 3}});
    EXPECT_NE(drive.pixels(), before);
    drive.touch({{eTOUCHTYPE_Up, 0, 0, 1}, {eTOUCHTYPE_Up, 160, 120, 2}});
    drive.settle(key(eSOFTKEYEVENTTYPE_Release, eSOFTKEY_Search));
    EXPECT_EQ(drive.pixels(), before);
}

TEST(PhoneVehicle, TheCarIsFollowedAndWhatCannotBeBelievedIgnored) {
    Drive drive;
    Phone& phone = drive.screen.phone();
    drive.tell(state(eCLIENTDATATYPE_DayNightMode, 0) + state(eCLIENTDATATYPE_Movement, 1));
    for (const char* one :
         {"$GPGGA,1,4807.038,N,01131.000,E,1*6F", "$GPRMC,1,A,4807.038,N,01131.000,E,0,84.4*24",
          "$GPGGA,1,4907.038,N,01131.000,E,1*6F", "$GPGGA,1,,,,,1"})
        drive.tell(position(one));
    drive.settle(language("deu") + language("\x01\x80z") + flag(39, 77));
    EXPECT_FALSE(phone.isNight);
    EXPECT_TRUE(phone.isMoving);
    EXPECT_EQ(phone.language, "deu");
    EXPECT_EQ(phone.sentence, SentenceState::Unreadable);
    ASSERT_TRUE(phone.position) << "what was known once is still shown";
    EXPECT_NEAR(phone.position->latitude, 48.1173, 1e-4);
    EXPECT_EQ(phone.heading, 84.4);
    EXPECT_EQ(drive.notes("ignored"),
              (std::vector<std::string>{"ignored a position with a wrong checksum: "
                                        "$GPGGA,1,4907.038,N,01131.000,E,1*6F",
                                        "ignored a position that cannot be read: $GPGGA,1,,,,,1",
                                        "ignored a language that is none",
                                        "ignored an unknown block mode"}));
}

TEST(PhoneVehicle, SentencesAreReadAsFarAsTheyCanBeTrusted) {
    struct Case {
        std::string_view text;
        SentenceState state;
        Coordinates place{};
        std::optional<double> heading{};
    };
    using enum SentenceState;
    for (const Case& c : {
             Case{"$GPGGA,1,4807.038,N,01131.000,E,1*6F\r\n", Place, {48.1173, 11.516667}},
             Case{"$GNRMC,1,A,3351.0,S,07040.5,W,0,84.4*35", Place, {-33.85, -70.675}, 84.4},
             Case{"$GPRMC,1,A,0000,N,00000,E,0,", Place},
             Case{"$GPRMC,1,A,9000,N,18000,W,0,360", Place, {90, -180}, 360.0},
             Case{"$GPRMC,1,V,,,,,,", NoFix},
             Case{"$GPGGA,1,,,,,0", NoFix},
             Case{"$GPGGA,1,4807.038,N,01131.000,E,1*6E", WrongChecksum},
             Case{"$GPGLL,4916.45,N,12311.12,W*71", OtherKind},
             Case{"", Unreadable},
             Case{"$GPGGA,1,4807.038,N,01131.000,E,1*-1", Unreadable},
             Case{"$GPGGA,1,4807.038,N,01131.000,E,", Unreadable},
             Case{"$GPGGA,1,4860,N,1,E,1", Unreadable},
             Case{"$GPGGA,1,9001,N,1,E,1", Unreadable},
             Case{"$GPGGA,1,48,E,1,E,1", Unreadable},
             Case{"$GPGGA,1,-48,N,1,E,1", Unreadable},
             Case{"$GPGGA,1,nan,N,inf,E,1", Unreadable},
             Case{"$GPRMC,1,A,9e99,N,1,E,0,1", Unreadable},
             Case{"$GPRMC,1,A,48,N,1,E,0,361", Unreadable},
         }) {
        const Sentence sentence = readSentence(c.text);
        EXPECT_EQ(sentence.state, c.state) << c.text;
        EXPECT_NEAR(sentence.place.latitude, c.place.latitude, 1e-5) << c.text;
        EXPECT_NEAR(sentence.place.longitude, c.place.longitude, 1e-5) << c.text;
        EXPECT_EQ(sentence.heading, c.heading) << c.text;
    }
}

TEST(PhoneVehicle, BlockModeHidesWhatIsNotAllowedAndIsAnswered) {
    const std::string blocks =
        "BlockStatus, 10 bytes: BlockIsActive=1; BlockHealth, 10 bytes: AppIsHealthy=1; "
        "ServerState, 11 bytes: DataType=3 (Inactive), Value=1";
    Drive drive;
    drive.open("news");
    const auto seen = drive.pixels();
    EXPECT_EQ(drive.saidTo(flag(39, eBLOCKMODE_UseWhitelist)), blocks);
    EXPECT_NE(drive.pixels(), seen);
    EXPECT_EQ(drive.open("maps"), "BlockStatus, 10 bytes: BlockIsActive=0; " + goesToTheFront +
                                      "; ServerState, 11 bytes: DataType=3 (Inactive), Value=0");
    EXPECT_EQ(drive.saidTo(flag(39, eBLOCKMODE_DenyAll)), blocks);
    EXPECT_EQ(drive.saidTo(start("quarlo://app/music")),
              "ServerAppStarted, 31 bytes: IdentifierURL=\"quarlo://app/music\", "
              "Status=130 (NotAllowed); " +
                  goesToTheFront);
    drive.saidTo(start("quarlo://app/nothing") + flag(39, eBLOCKMODE_AllowAll));
    EXPECT_EQ(drive.screen.front(), findApp("music"));
    drive.open("news");
    EXPECT_EQ(drive.pixels(), seen);
}

TEST(PhoneVehicle, TheDashboardAsksForItsValuesWhileItIsOpen) {
    Drive drive;
    std::map<UInt32, std::string>& known = drive.screen.phone().vehicle;
    EXPECT_EQ(drive.open("vehicle"),
              "SetVehicleDataFilter, 34 bytes: pKeys=[1, 2, 3, 4, 5, 6]; "
              "BlacklistUrgentVehicleData, 13 bytes: Key=9; " +
                  goesToTheFront);
    drive.tell(value(1, "{\"kmh\": 120}") + value(4711, "1"));
    drive.settle(value(2, std::string(60000, '\xC3')) + value(3, "1e999"));  // long, and no text
    drive.pixels();
    EXPECT_EQ(known.size(), 3U);
    EXPECT_EQ(known[1], "{\"kmh\": 120}");
    EXPECT_EQ(known[2].size(), 256U);
    EXPECT_EQ(drive.open(""), "SetVehicleDataFilter, 10 bytes: pKeys=[]; " + goesHome);
    drive.settle(value(1, "7"));
    EXPECT_TRUE(known.empty());
}

TEST(PhoneServices, ShowWhatTheHeadUnitAnswers) {
    Drive drive;
    drive.open("phone");
    drive.tap(100, 60);
    EXPECT_EQ(drive.status("phone"), "Dialling Ada Lindqvist");
    EXPECT_EQ(drive.saidTo(flag(51, ePHONECALLSTATUS_Active)),
              "ServerState, 11 bytes: DataType=1 (PhoneCall), Value=1");
    EXPECT_EQ(drive.status("phone"), "Call: Active");
    EXPECT_EQ(drive.saidTo(flag(51, ePHONECALLSTATUS_Rejected)),
              "ServerState, 11 bytes: DataType=1 (PhoneCall), Value=0");
    drive.settle(packet(63, u8(200) + u8(0)));
    EXPECT_EQ(drive.status("voice"), "unknown · NoConstraint");
}

std::string asks(unsigned id, const char* command, const char* type, unsigned seconds) {
    return "ServerAudio, 17 bytes: RequestID=" + std::to_string(id) + ", Command=" + command +
           ", Type=" + type + ", MaximumDuration=" + std::to_string(seconds);
}

TEST(PhoneAudio, ChannelsAreAskedForAndGivenBack) {
    Drive drive;
    EXPECT_EQ(drive.ask(Wish::Audio, noSoundWish), "") << "nothing to stop";
    EXPECT_EQ(drive.ask(Wish::Audio, soundWish(eAUDIOTYPE_Main, 10)),
              asks(1, "1 (Request)", "3 (Main)", 10));
    EXPECT_EQ(drive.ask(Wish::Audio, soundWish(eAUDIOTYPE_Announcement, 5)),
              asks(1, "5 (Release)", "3 (Main)", 10) + "; " +
                  asks(2, "1 (Request)", "5 (Announcement)", 5));
    drive.settle(audio(99, eAUDIOSTATUS_Close));
    EXPECT_EQ(drive.status("music"), "Asked for Announcement");
    drive.settle(audio(1, eAUDIOSTATUS_Close));
    EXPECT_EQ(drive.ask(Wish::Audio, noSoundWish), asks(2, "5 (Release)", "5 (Announcement)", 5));
    drive.ask(Wish::Audio, soundWish(eAUDIOTYPE_Main, 0));
    drive.settle(audio(3, eAUDIOSTATUS_Close));
    EXPECT_EQ(drive.status("music"), "Request 3: Close, NoError");
    EXPECT_EQ(drive.ask(Wish::Audio, noSoundWish), "") << "closed already";
}

TEST(PhoneApps, IconsAreDrawnAsAskedForOrEmpty) {
    Drive drive;
    const auto drawn = [&](const std::string& app, unsigned side, unsigned compression = 0) {
        drive.settle(icon("quarlo://app/" + app, side, compression));
        return drive.take();
    };
    const Bytes raw = drawn("maps", 48, eFRAMECOMPRESSION_Uncompressed);
    const std::size_t head = 9 + 3 + 17 + 4 + 4 + 4;
    ASSERT_EQ(raw.size(), head + 48 * 48 * 4);
    const Bytes packed = drawn("maps", 48);
    ASSERT_LT(packed.size(), raw.size());
    EXPECT_EQ(packed[head - 8], eFRAMECOMPRESSION_ZLIB);
    Bytes pixels(48 * 48 * 4);
    uLongf size = pixels.size();
    ASSERT_EQ(uncompress(pixels.data(), &size, &packed[head], packed.size() - head), Z_OK);
    EXPECT_EQ(pixels, quarlo::test::part(raw, head, raw.size()));
    for (const unsigned side : {0U, 513U, 65535U}) EXPECT_EQ(drawn("maps", side).size(), head);
    EXPECT_EQ(drawn("nothing", 48).size(), head + 3);
}

TEST(PhoneCustomData, AllChannelsListenToWhatIsWellFormed) {
    struct Heard {
        unsigned channel;
        unsigned type;
        Bytes content;
        const char* shown;
    };
    const char* const nothing = "nothing";
    const Heard heard[] = {
        {1, 2, text("hi"), "Text: hi"},
        {1, 2, {1, 3, 0, 'h', 'i'}, nothing},
        {1, 2, {1}, nothing},
        {2, 0xFF00, {1, 2}, "Number 65280: 01 02"},
        {2, 0xFF00, {1, 2, 3}, nothing},
        {4, 1, {7, 0, 0, 0, 1, 0xAB}, "Bus 7: AB"},
        {4, 1, {7, 0, 0, 0, 200, 0xAB}, nothing},
        {5, 4, {2, 0, 0, 0, 0}, "Key: ScrollUp Click"},
        {5, 9, {2, 0, 0, 0, 0}, nothing},
        {5, 4, {2}, nothing},
        {3, 0x42, {'q', 'u', 'a', 'r', 'l', 'o'}, "Fetched 66: 71 75 61 72 6C 6F"},
        {3, 0x42, {}, "Fetched 66:"},
        {9, 1, {1}, nothing},
    };
    Drive drive;
    for (const Heard& h : heard) {
        drive.screen.phone().status["link"] = nothing;
        drive.settle(custom(h.channel, h.type, h.content));
        EXPECT_EQ(drive.status("link"), h.shown);
    }
}

}  // namespace
