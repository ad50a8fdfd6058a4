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

const std::string goesToTheFront =
    "ServerState, 11 bytes: DataType=2 (Transition), Value=1; "
    "ServerState, 11 bytes: DataType=4 (LauncherAppState), Value=0; "
    "ServerState, 11 bytes: DataType=2 (Transition), Value=0";
const std::string goesHome =
    "ServerState, 11 bytes: DataType=2 (Transition), Value=1; "
    "ServerState, 11 bytes: DataType=4 (LauncherAppState), Value=1; "
    "ServerState, 11 bytes: DataType=2 (Transition), Value=0";
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

TEST(PhonePictures, AFingerTurnsThemButNotAtTheWheel) {
    Drive drive;
    drive.open("pictures");
    const auto drag = [&drive](unsigned from, unsigned to) {
        drive.touch({{eTOUCHTYPE_Down, from, 120}, {eTOUCHTYPE_Moved, to, 120}});
        drive.touch({{eTOUCHTYPE_Up, to, 120}});
        return drive.pixels();
    };
    const auto first = drive.pixels();
    EXPECT_EQ(drag(200, 180), first) << "too short to turn";
    EXPECT_EQ(drag(80, 240), first) << "nothing before the first";
    EXPECT_NE(drag(240, 80), first);
    EXPECT_EQ(drag(80, 240), first);
    drive.screen.phone().isMoving = true;
    const auto moving = drive.pixels();
    EXPECT_EQ(drag(240, 80), moving);
}

TEST(PhoneVehicle, TheCarIsFollowedAndWhatCannotBeBelievedIgnored) {
    Drive drive;
    Phone& phone = drive.screen.phone();
    drive.tell(state(eCLIENTDATATYPE_DayNightMode, 0) + state(eCLIENTDATATYPE_Movement, 1));
    for (const char* sentence :
         {"$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*47",
          "$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A",
          "$GPGGA,123519,4907.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*48",
          "$GPGGA,123519,,,,,0,00,,,M,,M,,*"})
        drive.tell(position(sentence));
    drive.settle(language("deu") + language("\x01\x80z") + flag(39, 77));
    EXPECT_FALSE(phone.isNight);
    EXPECT_TRUE(phone.isMoving);
    EXPECT_EQ(phone.language, "deu");
    EXPECT_EQ(phone.sentence, SentenceState::Unreadable);
    ASSERT_TRUE(phone.position) << "what was known once is still shown";
    EXPECT_NEAR(phone.position->latitude, 48.1173, 1e-4);
    EXPECT_EQ(phone.heading, 84.4);
    EXPECT_EQ(drive.notes("ignored"),
              (std::vector<std::string>{
                  "ignored a position with a wrong checksum: "
                  "$GPGGA,123519,4907.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*48",
                  "ignored a position that cannot be read: $GPGGA,123519,,,,,0,00,,,M,,M,,*",
                  "ignored a language that is none", "ignored an unknown block mode"}));
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
             Case{"$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*47\r\n",
                  Place,
                  {48.1173, 11.516667}},
             Case{"$GNRMC,123519,A,3351.000,S,07040.500,W,022.4,084.4,230394,003.1,W*7B",
                  Place,
                  {-33.85, -70.675},
                  84.4},
             Case{"$GPRMC,1,A,0000,N,00000,E,0,", Place},
             Case{"$GPRMC,1,A,9000,N,18000,W,0,360", Place, {90, -180}, 360.0},
             Case{"$GPRMC,1,V,,,,,,", NoFix},
             Case{"$GPGGA,1,,,,,0", NoFix},
             Case{"$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*46",
                  WrongChecksum},
             Case{"$GPGLL,4916.45,N,12311.12,W*71", OtherKind},
             Case{"", Unreadable},
             Case{"*00", Unreadable},
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
    drive.saidTo(flag(39, eBLOCKMODE_AllowAll));
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

TEST(PhoneServices, TapsDialGuideAndListen) {
    Drive drive;
    drive.open("phone");
    EXPECT_EQ(drive.tap(100, 60),
              "InitiatePhoneCall, 39 bytes: DisplayName=\"Ada Lindqvist\", "
              "Number=\"+4615550101\"");
    EXPECT_EQ(drive.status("phone"), "Dialling Ada Lindqvist");
    EXPECT_EQ(drive.saidTo(flag(51, ePHONECALLSTATUS_Active)),
              "ServerState, 11 bytes: DataType=1 (PhoneCall), Value=1");
    EXPECT_EQ(drive.status("phone"), "Call: Active");
    EXPECT_EQ(drive.saidTo(flag(51, ePHONECALLSTATUS_Rejected)),
              "ServerState, 11 bytes: DataType=1 (PhoneCall), Value=0");
    EXPECT_EQ(drive.ask(Wish::Navigate, 0),
              "NavigateTo, 87 bytes: DisplayName=\"Home\", "
              "Position={Latitude={Value=48137154, Exponent=-6}, "
              "Longitude={Value=11576124, Exponent=-6}}, "
              "Placemark={Country=\"Germany\", Region=\"\", ZipCode=\"80331\", City=\"München\", "
              "Streetname=\"Seestraße\", CrossStreetname=\"\", Housenumber=\"7\"}, Type=3 (Both)");
    EXPECT_TRUE(drive.ask(Wish::Navigate, 2).ends_with("Type=1 (PositionOnly)"));
    EXPECT_TRUE(drive.ask(Wish::Navigate, 3).ends_with("Type=2 (PlacemarkOnly)"));
    EXPECT_EQ(drive.ask(Wish::Voice, eVOICEREQUEST_EndUserEvent),
              "ServerVoiceSessionRequest, 10 bytes: Type=3 (EndUserEvent)");
    drive.settle(packet(63, u8(200) + u8(0)));
    EXPECT_EQ(drive.status("voice"), "unknown · NoConstraint");
}

TEST(PhoneAudio, ChannelsAreAskedForAndGivenBack) {
    Drive drive;
    EXPECT_EQ(drive.ask(Wish::Audio, noSoundWish), "") << "nothing to stop";
    EXPECT_EQ(drive.ask(Wish::Audio, soundWish(eAUDIOTYPE_Main, 10)),
              "ServerAudio, 17 bytes: RequestID=1, Command=1 (Request), Type=3 (Main), "
              "MaximumDuration=10");
    EXPECT_EQ(drive.ask(Wish::Audio, soundWish(eAUDIOTYPE_Announcement, 5)),
              "ServerAudio, 17 bytes: RequestID=1, Command=5 (Release), Type=3 (Main), "
              "MaximumDuration=10; "
              "ServerAudio, 17 bytes: RequestID=2, Command=1 (Request), Type=5 (Announcement), "
              "MaximumDuration=5");
    drive.settle(audio(99, eAUDIOSTATUS_Close));
    EXPECT_EQ(drive.status("music"), "Asked for Announcement");
    drive.settle(audio(1, eAUDIOSTATUS_Close));
    EXPECT_EQ(drive.ask(Wish::Audio, noSoundWish),
              "ServerAudio, 17 bytes: RequestID=2, Command=5 (Release), Type=5 (Announcement), "
              "MaximumDuration=5")
        << "the last one, not the first";
    drive.ask(Wish::Audio, soundWish(eAUDIOTYPE_Main, 0));
    drive.settle(audio(3, eAUDIOSTATUS_Close));
    EXPECT_EQ(drive.status("music"), "Request 3: Close, NoError");
    EXPECT_EQ(drive.ask(Wish::Audio, noSoundWish), "") << "closed already";
    EXPECT_EQ(drive.ask(Wish::Audio, whichSoundWish), "RequestAudioType, 9 bytes");
}

TEST(PhoneApps, TheCatalogueIsAnnouncedIconsDrawnAndAppsStarted) {
    Options options;
    options.toldApps = {8};
    Rig rig(options);
    rig.unheard = {eEVENTTYPE_Ping};
    rig.handshake();
    EXPECT_EQ(rig.heard(), "2:1 12:1 14 18:1");
    EXPECT_EQ(rig.saidTo(packet(67, Bytes(5))),  // in RUN, as its first word says
              "ServerState, 11 bytes: DataType=5 (PTTAvailable), Value=1; "
              "ServerState, 11 bytes: DataType=4 (LauncherAppState), Value=1; "
              "ServerAppInfo, 93 bytes: Info={paInfo=["
              "{IdentifierURL=\"quarlo://app/link\", Name=\"Link\", UniqueIconID=9, "
              "Manufacturer=\"quarlo\", Description=\"Link of the simulated phone\", "
              "Categories={pCategories=[2]}, InstStatus=3 (Executable), IsAbleToLaunchApps=0, "
              "arrLanguage=\"eng\"}]}");

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

    EXPECT_EQ(drive.saidTo(start("quarlo://app/maps")),
              "ServerAppStarted, 30 bytes: IdentifierURL=\"quarlo://app/maps\", "
              "Status=2 (Success); " +
                  goesToTheFront);
    EXPECT_EQ(drive.saidTo(start("quarlo://app/nothing")),
              "ServerAppStarted, 33 bytes: IdentifierURL=\"quarlo://app/nothing\", "
              "Status=129 (NotInstalled)");
    EXPECT_EQ(drive.screen.front(), findApp("maps"));
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
