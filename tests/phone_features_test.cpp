// What a head unit does to the phone beside taking its picture: touches, keys, the vehicle's state
// and data, services, audio, apps and custom data; each seen in the bytes and in the picture.
#include "Apps.h"
#include "phone_rig.h"

using namespace quarlo::common;
using namespace quarlo::phone;

namespace {

/// A running session that forgets nothing but pings and frames.
class Drive : public Rig {
  public:
    Drive() {
        width = 320;
        height = 240;
        unheard.clear();
        connect();
    }

    std::vector<std::uint32_t> pixels() { return screen.draw({36000000}).pixels; }

    struct Finger {
        TouchType type;
        int x;
        int y;
        UInt32 id = 1;
    };
    void touch(const std::vector<Finger>& fingers) {
        tell<packetTouchEvent>([&](auto& packet) {
            packet.TouchEvents->Length = static_cast<UInt8>(fingers.size());
            packet.TouchEvents->paTouches =
                quarlo::wire::Heap::make<qrTouch*>(static_cast<UInt32>(fingers.size()));
            for (std::size_t i = 0; i < fingers.size(); ++i) {
                packet.TouchEvents->paTouches[i] = quarlo::wire::Heap::make<qrTouch>();
                *packet.TouchEvents->paTouches[i] = {
                    fingers[i].type, static_cast<UInt16>(fingers[i].x),
                    static_cast<UInt16>(fingers[i].y), fingers[i].id};
            }
        });
        settle();
    }
    void tap(int x, int y) {
        touch({{eTOUCHTYPE_Down, x, y}});
        touch({{eTOUCHTYPE_Up, x, y}});
        settle();
    }
    void key(int softkey, int event) {
        tell<packetSoftkeyEvent>([&](auto& packet) {
            packet.Softkey = static_cast<Softkey>(softkey);
            packet.SoftkeyEvent = static_cast<SoftkeyEventType>(event);
        });
        settle();
    }
    void open(const char* app) {
        screen.open(findApp(app));
        settle();
    }
    void ask(Wish wish, int which) {
        screen.phone().ask(wish, which);
        settle();
    }
};

TEST(PhoneInput, FingersAndKeysOperateWhatIsInFront) {
    Drive drive;
    drive.open("news");
    const auto top = drive.pixels();
    drive.touch({{eTOUCHTYPE_Down, 100, 200}});
    drive.touch({{eTOUCHTYPE_Moved, 100, 90}});
    drive.touch({{eTOUCHTYPE_Moved, 100, 200, 7}});  // a finger that never went down
    const auto scrolled = drive.pixels();
    EXPECT_NE(scrolled, top);
    drive.touch({{eTOUCHTYPE_Moved, 100, 60000}});  // beyond the first row
    drive.touch({{eTOUCHTYPE_Cancelled, 100, 200}});
    EXPECT_EQ(drive.pixels(), top);

    drive.key(eSOFTKEY_Menu, eSOFTKEYEVENTTYPE_Press);
    EXPECT_NE(drive.pixels(), top) << "a key that is held is drawn";
    drive.key(eSOFTKEY_Menu, eSOFTKEYEVENTTYPE_Release);
    EXPECT_EQ(drive.screen.front(), findApp("pictures"));
    drive.tap(20, 236);  // the softkey drawn at the lower left
    EXPECT_EQ(drive.screen.front(), -1);
    for (const int wrong : {0, 5, 255}) {
        drive.key(wrong, eSOFTKEYEVENTTYPE_Press);
        drive.key(eSOFTKEY_Home, wrong);
    }
    EXPECT_TRUE(drive.isAlive);
}

TEST(PhoneInput, TwoFingersEnlargeTheMapWithinBounds) {
    Drive drive;
    drive.open("maps");
    const auto before = drive.pixels();
    drive.touch({{eTOUCHTYPE_Down, 150, 120, 1}, {eTOUCHTYPE_Down, 170, 120, 2}});
    EXPECT_EQ(drive.pixels(), before);
    drive.touch({{eTOUCHTYPE_Moved, 110, 120, 1}, {eTOUCHTYPE_Moved, 210, 120, 2}});
    const auto larger = drive.pixels();
    EXPECT_NE(larger, before);
    for (int i = 0; i < 100; ++i)  // a pinch to nothing, a spread to everything
        drive.touch({{eTOUCHTYPE_Moved, i % 2 * 65535, 0, 1},
                     {eTOUCHTYPE_Moved, 160, 120, 2},
                     {eTOUCHTYPE_Down, i, i, static_cast<UInt32>(i) + 3}});
    drive.touch({{eTOUCHTYPE_Up, 0, 0, 1}, {eTOUCHTYPE_Up, 160, 120, 2}});
    drive.key(eSOFTKEY_Search, eSOFTKEYEVENTTYPE_Release);  // back to where it was
    EXPECT_EQ(drive.pixels(), before);
}

std::string text(const qrString* string) {
    return textOf(string);
}

TEST(PhoneVehicle, WhatTheCarDoesChangesThePicture) {
    Drive drive;
    drive.open("maps");
    auto seen = drive.pixels();
    const auto expectChange = [&](const char* what) {
        drive.settle();
        const auto now = drive.pixels();
        EXPECT_NE(now, seen) << what;
        seen = now;
    };
    const auto state = [&](ClientDataType type, UInt8 value) {
        drive.tell<packetClientState>([&](auto& p) {
            p.DataType = type;
            p.Value = value;
        });
    };
    const auto position = [&](const char* sentence) {
        drive.tell<packetPositionInformation>([&](auto& p) { setText(*p.NMEA, sentence); });
    };
    const auto language = [&](const char* code) {
        drive.tell<packetClientSettings>([&](auto& p) { std::memcpy(p.arrLanguage, code, 3); });
    };
    state(eCLIENTDATATYPE_DayNightMode, 0);
    expectChange("day");
    state(eCLIENTDATATYPE_Movement, 1);
    expectChange("moving");
    position("$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*47");
    expectChange("position");
    position("$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A");
    expectChange("heading");
    position("$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*48");
    expectChange("wrong checksum");
    position("$GPGGA,123519,,,,,0,00,,,M,,M,,*");
    expectChange("unreadable");
    language("deu");
    expectChange("language");
    language("\x01\x80z");
    drive.settle();
    EXPECT_EQ(drive.screen.phone().language, "deu");
    ASSERT_TRUE(drive.screen.phone().position) << "what was known once is still shown";
    EXPECT_NEAR(drive.screen.phone().position->latitude, 48.1173, 1e-4);
    EXPECT_EQ(drive.screen.phone().heading, 84.4);
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
             Case{"$", Unreadable},
             Case{"*00", Unreadable},
             Case{"$GPGGA", Unreadable},
             Case{"$GPGGA,1,4807.038,N,01131.000,E,1*4", Unreadable},
             Case{"$GPGGA,1,4807.038,N,01131.000,E,1*-1", Unreadable},
             Case{"$GPGGA,1,4807.038,N,01131.000,E,", Unreadable},
             Case{"$GPGGA,1,9999.9,N,1,E,1", Unreadable},
             Case{"$GPGGA,1,4860,N,1,E,1", Unreadable},
             Case{"$GPGGA,1,9001,N,1,E,1", Unreadable},
             Case{"$GPGGA,1,48,E,1,E,1", Unreadable},
             Case{"$GPGGA,1,-48,N,1,E,1", Unreadable},
             Case{"$GPGGA,1,nan,N,inf,E,1", Unreadable},
             Case{"$GPRMC,1,A,9e99,N,1,E,0,1", Unreadable},
             Case{"$GPRMC,1,A,48,N,1,E,0,361", Unreadable},
             Case{"\xFF\xFE,,,,", Unreadable},
         }) {
        const Sentence sentence = readSentence(c.text);
        EXPECT_EQ(sentence.state, c.state) << c.text;
        EXPECT_NEAR(sentence.place.latitude, c.place.latitude, 1e-5) << c.text;
        EXPECT_NEAR(sentence.place.longitude, c.place.longitude, 1e-5) << c.text;
        EXPECT_EQ(sentence.heading, c.heading) << c.text;
    }
}

TEST(PhoneVehicle, BlockModeHidesWhatIsNotAllowedAndIsAnswered) {
    Drive drive;
    drive.open("news");
    drive.stream.fromPhone.clear();
    const auto seen = drive.pixels();
    const auto block = [&](int mode) {
        drive.tell<packetSetBlockMode>(
            [&](auto& p) { p.ModeToSet = static_cast<BlockMode>(mode); });
        drive.settle();
    };
    block(eBLOCKMODE_UseWhitelist);
    EXPECT_NE(drive.pixels(), seen);
    EXPECT_EQ(drive.take<packetBlockStatus>()->BlockIsActive, 1);
    EXPECT_EQ(drive.take<packetBlockHealth>()->AppIsHealthy, 1);
    EXPECT_EQ(drive.take<packetServerState>()->DataType, eSERVERDATATYPE_Inactive);
    drive.open("maps");
    EXPECT_EQ(drive.take<packetBlockStatus>()->BlockIsActive, 0);
    drive.stream.fromPhone.clear();
    block(eBLOCKMODE_DenyAll);
    EXPECT_EQ(drive.take<packetBlockStatus>()->BlockIsActive, 1);
    block(77);
    block(eBLOCKMODE_AllowAll);
    drive.open("news");
    EXPECT_EQ(drive.pixels(), seen);
}

TEST(PhoneVehicle, TheDashboardAsksForItsValuesWhileItIsOpen) {
    Drive drive;
    drive.stream.fromPhone.clear();
    drive.open("vehicle");
    auto filter = drive.take<packetSetVehicleDataFilter>();
    ASSERT_NE(filter, nullptr);
    ASSERT_EQ(filter->Length, 6);
    EXPECT_EQ(filter->pKeys[5], 6U);
    EXPECT_EQ(drive.take<packetBlacklistUrgentVehicleData>()->Key, 9U);
    const auto value = [&](UInt32 key, const std::string& json) {
        drive.tell<packetVehicleData>([&](auto& p) {
            p.Key = key;
            setText(*p.JSONValue, json);
        });
        drive.settle();
    };
    const auto empty = drive.pixels();
    value(1, "{\"kmh\": 120}");
    const auto filled = drive.pixels();
    EXPECT_NE(filled, empty);
    value(4711, "1");
    value(2, std::string(60000, '\xC3'));  // long and no valid text
    value(3, "1e999");
    drive.pixels();
    EXPECT_EQ(drive.screen.phone().vehicle.size(), 3U);
    drive.stream.fromPhone.clear();
    drive.open("");
    EXPECT_EQ(drive.take<packetSetVehicleDataFilter>()->Length, 0);
    value(1, "7");
    EXPECT_TRUE(drive.screen.phone().vehicle.empty());
}

TEST(PhoneServices, TapsDialGuideAndListen) {
    Drive drive;
    drive.open("phone");
    drive.stream.fromPhone.clear();
    drive.tap(100, 60);  // the first row
    const auto call = drive.take<packetInitiatePhoneCall>();
    ASSERT_NE(call, nullptr);
    EXPECT_EQ(text(call->Number), "+4615550101");
    EXPECT_EQ(text(call->DisplayName), "Ada Lindqvist");
    const auto dialling = drive.pixels();
    drive.tell<packetPhoneCallStatusResponse>([](auto& p) { p.Status = ePHONECALLSTATUS_Active; });
    drive.settle();
    EXPECT_NE(drive.pixels(), dialling);
    const auto state = drive.take<packetServerState>();
    EXPECT_EQ(state->DataType, eSERVERDATATYPE_PhoneCall);
    EXPECT_EQ(state->Value, 1);

    const NavigateToType types[] = {eNAVIGATETOTYPE_Both, eNAVIGATETOTYPE_Both,
                                    eNAVIGATETOTYPE_PositionOnly, eNAVIGATETOTYPE_PlacemarkOnly};
    for (int i = 0; i < 4; ++i) {
        drive.ask(Wish::Navigate, i);
        const auto goal = drive.take<packetNavigateTo>();
        ASSERT_NE(goal, nullptr);
        EXPECT_EQ(goal->Type, types[i]);
        if (i != 0) continue;
        EXPECT_EQ(text(goal->Placemark->City), "München");
        EXPECT_EQ(goal->Position->Latitude->Value, 48137154);
        EXPECT_EQ(goal->Position->Longitude->Exponent, -6);
    }
    drive.ask(Wish::Voice, eVOICEREQUEST_EndUserEvent);
    EXPECT_EQ(drive.take<packetServerVoiceSessionRequest>()->Type, eVOICEREQUEST_EndUserEvent);
    drive.open("voice");
    const auto asked = drive.pixels();
    drive.tell<packetClientVoiceSessionStatus>(
        [](auto& p) { p.Value = static_cast<VoiceSessionStatus>(200); });
    drive.settle();
    EXPECT_NE(drive.pixels(), asked);
}

TEST(PhoneAudio, ChannelsAreAskedForAndGivenBack) {
    Drive drive;
    drive.open("music");
    drive.stream.fromPhone.clear();
    const auto expect = [&](UInt32 id, AudioControl command, AudioType type, unsigned seconds) {
        const auto audio = drive.take<packetServerAudio>();
        ASSERT_NE(audio, nullptr);
        EXPECT_EQ(audio->RequestID, id);
        EXPECT_EQ(audio->Command, command);
        EXPECT_EQ(audio->Type, type);
        EXPECT_EQ(audio->MaximumDuration, seconds);
    };
    drive.ask(Wish::Audio, noSoundWish);  // nothing to stop
    drive.ask(Wish::Audio, soundWish(eAUDIOTYPE_Main, 10));
    expect(1, eAUDIOCONTROL_Request, eAUDIOTYPE_Main, 10);
    drive.ask(Wish::Audio, soundWish(eAUDIOTYPE_Announcement, 5));
    expect(1, eAUDIOCONTROL_Release, eAUDIOTYPE_Main, 10);
    expect(2, eAUDIOCONTROL_Request, eAUDIOTYPE_Announcement, 5);
    const auto answer = [&](UInt32 id, AudioStatus status) {
        drive.tell<packetClientAudio>([&](auto& p) {
            p.RequestID = id;
            p.Status = status;
        });
        drive.settle();
    };
    const auto waiting = drive.pixels();
    answer(99, eAUDIOSTATUS_Close);
    EXPECT_EQ(drive.pixels(), waiting);
    answer(2, eAUDIOSTATUS_Open);
    EXPECT_NE(drive.pixels(), waiting);
    answer(2, eAUDIOSTATUS_Close);
    drive.ask(Wish::Audio, noSoundWish);  // closed already
    drive.ask(Wish::Audio, whichSoundWish);
    EXPECT_EQ(drive.heardTypes(), std::vector<int>{eEVENTTYPE_RequestAudioType});
}

TEST(PhoneApps, TheCatalogueIsAnnouncedIconsDrawnAndAppsStarted) {
    Drive drive;
    Rig other;
    other.unheard.clear();
    other.tellVersion();
    other.tellInit();
    other.tellDone();
    other.tell<packetClientCustomData>([](auto&) {});  // in RUN, as its first word says
    other.settle();
    other.take<packetServerProtocolAcknowledge>();
    other.take<packetServerInitAcknowledge>();
    EXPECT_EQ(other.take<packetServerInit>()->Capabilities,
              eSERVERCAPABILITIES_EnableAudioHandling | eSERVERCAPABILITIES_EnableAppStart);
    other.take<packetServerInitDone>();
    while (!other.heardTypes().empty() && other.heardTypes()[0] != eEVENTTYPE_ServerAppInfo)
        other.take<packetServerState>();
    const auto catalogue = other.take<packetServerAppInfo>();
    ASSERT_NE(catalogue, nullptr);
    ASSERT_EQ(catalogue->Info->NumberOfApps, static_cast<UInt32>(appCount));
    const std::string url = text(catalogue->Info->paInfo[1]->IdentifierURL);

    drive.stream.fromPhone.clear();
    const auto icon = [&](FrameCompression compression, const std::string& of, int side) {
        drive.tell<packetClientRequestAppIcon>([&](auto& p) {
            p.Width = p.Height = static_cast<UInt16>(side);
            *p.IconProperties = {ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_LittleEndian, compression,
                                 4};
            setText(*p.IdentifierURL, of);
        });
        drive.settle();
        return drive.take<packetServerAppIcon>();
    };
    const auto raw = icon(eFRAMECOMPRESSION_Uncompressed, url, 48);
    ASSERT_EQ(raw->DataLength, 48U * 48 * 4);
    const auto packed = icon(eFRAMECOMPRESSION_None, url, 48);
    EXPECT_EQ(packed->IconCompression, eFRAMECOMPRESSION_ZLIB);
    std::vector<std::uint8_t> pixels(48 * 48 * 4);
    uLongf size = pixels.size();
    ASSERT_EQ(uncompress(pixels.data(), &size, packed->pData, packed->DataLength), Z_OK);
    EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), raw->pData));
    for (const int side : {0, 513, 65535})
        EXPECT_EQ(icon(eFRAMECOMPRESSION_None, url, side)->DataLength, 0U);
    EXPECT_EQ(icon(eFRAMECOMPRESSION_ZLIB, "quarlo://app/nothing", 48)->DataLength, 0U);

    const auto start = [&](const std::string& of) {
        drive.tell<packetClientStartApp>([&](auto& p) { setText(*p.IdentifierURL, of); });
        drive.stream.fromPhone.clear();
        drive.settle();
        const auto answer = drive.take<packetServerAppStarted>();
        EXPECT_EQ(text(answer->IdentifierURL), of);
        return answer->Status;
    };
    EXPECT_EQ(start(url), eAPPSTARTSTATUS_Success);
    EXPECT_EQ(drive.screen.front(), findApp("maps"));
    EXPECT_EQ(start("quarlo://app/nothing"), eAPPSTARTSTATUS_NotInstalled);
    EXPECT_EQ(drive.screen.front(), findApp("maps"));
}

TEST(PhonePictures, AFingerTurnsThemButNotAtTheWheel) {
    Drive drive;
    drive.open("pictures");
    const auto first = drive.pixels();
    const auto drag = [&drive](int from, int to) {
        drive.touch({{eTOUCHTYPE_Down, from, 120}});
        drive.touch({{eTOUCHTYPE_Moved, to, 120}});
        drive.touch({{eTOUCHTYPE_Up, to, 120}});
        return drive.pixels();
    };
    EXPECT_EQ(drag(200, 180), first) << "too short to turn";
    EXPECT_EQ(drag(80, 240), first) << "nothing before the first";
    const auto second = drag(240, 80);
    EXPECT_NE(second, first);
    EXPECT_EQ(drag(80, 240), first);
    drive.screen.phone().isMoving = true;
    const auto moving = drive.pixels();
    EXPECT_EQ(drag(240, 80), moving);
}

TEST(PhoneCustomData, AllChannelsSpeakAndListen) {
    Drive drive;
    drive.open("link");
    drive.stream.fromPhone.clear();
    struct Said {
        int event, type;
        std::vector<std::uint8_t> bytes;
    };
    const std::vector<std::uint8_t> parked{'q', 'u', 'a', 'r', 'l', 'o'};
    const std::vector<Said> said{
        {1, 1, {1, 12, 0, 'q', 'u', 'a', 'r', 'l', 'o', ' ', 'p', 'h', 'o', 'n', 'e'}},
        {1,
         2,
         {1, 16, 0, 'n', 'e', 't', '.', 'q', 'u', 'a', 'r', 'l', 'o', '.', 'p', 'h', 'o', 'n',
          'e'}},
        {2, 1, {70, 0, 0, 0}},
        {5, 4, {10}},
        {4, 0xFF01, {0x30, 2, 0, 0, 3, 0xFF, 0x80, 0x20}},
        {3, 0x1042, parked},
        {3, 0x2042, {}},
        {3, 0x3042, parked},
        {3, 0x4042, {}},
        {3, 0x5042, parked},
        {3, 0x6042, {}},
        {3, 0x7042, {}},
        {3, 0x8042, parked},
        {3, 0x9042, {}},
        {3, 0xA042, {}}};
    for (std::size_t i = 0; i < said.size(); ++i) {
        drive.ask(Wish::Custom, static_cast<int>(i));
        const auto packet = drive.take<packetServerCustomData>();
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(packet->Event, said[i].event);
        EXPECT_EQ(packet->Type, said[i].type);
        EXPECT_EQ(std::vector<std::uint8_t>(packet->pData, packet->pData + packet->Length),
                  said[i].bytes);
    }
    // Heard, or dropped because it is malformed.
    struct Heard {
        Said data;
        const char* shown;
    };
    const std::vector<Heard> heard{{{1, 2, {1, 2, 0, 'h', 'i'}}, "Text: hi"},
                                   {{1, 2, {1, 3, 0, 'h', 'i'}}, nullptr},
                                   {{1, 2, {1}}, nullptr},
                                   {{2, 0xFF00, {1, 2}}, "Number 65280: 01 02"},
                                   {{2, 0xFF00, {1, 2, 3}}, nullptr},
                                   {{4, 1, {7, 0, 0, 0, 1, 0xAB}}, "Bus 7: AB"},
                                   {{4, 1, {7, 0, 0, 0, 200, 0xAB}}, nullptr},
                                   {{5, 4, {2, 0, 0, 0, 0}}, "Key: ScrollUp Click"},
                                   {{5, 9, {2, 0, 0, 0, 0}}, nullptr},
                                   {{5, 4, {2}}, nullptr},
                                   {{3, 0x42, parked}, "Fetched 66: 71 75 61 72 6C 6F"},
                                   {{3, 0x42, {}}, "Fetched 66:"},
                                   {{9, 1, {1}}, nullptr}};
    for (const Heard& h : heard) {
        drive.screen.phone().status["link"] = "nothing";
        drive.tell<packetClientCustomData>([&](auto& p) {
            p.Event = static_cast<CustomDataEvent>(h.data.event);
            p.Type = static_cast<UInt16>(h.data.type);
            if (h.data.bytes.empty()) return;
            p.Length = static_cast<UInt16>(h.data.bytes.size());
            p.pData = quarlo::wire::Heap::make<UInt8>(p.Length);
            std::memcpy(p.pData, h.data.bytes.data(), p.Length);
        });
        drive.settle();
        EXPECT_EQ(drive.screen.phone().status["link"], h.shown ? h.shown : "nothing");
    }
}

}  // namespace
