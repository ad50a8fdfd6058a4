/* The phone's description, softkeys, touches, vehicle status and position, block mode. */
#include <gtest/gtest.h>

#include "ApiCalls.h"
#include "Calls.h"

namespace quarlo::test {
namespace {

/** A call that traces the same outside RUN and sends nothing there. */
Sending silent(std::function<eReturnCode(void*)> call, const Lines& lines, const Bytes& sent) {
    return {std::move(call), lines, sent, lines};
}

TEST(EventCalls, InRunSendAtOnce) {
    std::vector<Sending> sendings{
        silent(bound(quarlo_SoftkeyEvent, eSOFTKEY_Search, eSOFTKEYEVENTTYPE_Release),
               {"INF Softkey Event", "VER     key = 4, event = 2"}, packet(31, u8(2) + u8(4))),
        silent(bound(quarlo_SoftkeyEvent, static_cast<Softkey>(200),
                     static_cast<SoftkeyEventType>(77)),
               {"INF Softkey Event", "VER     key = 200, event = 77"},
               packet(31, u8(77) + u8(200)))};
    for (const Flag value : {Flag{0}, Flag{1}, Flag{2}, Flag{255}}) {
        sendings.push_back(silent(
            bound(quarlo_SetMovingStatus, value),
            {std::string("INF Moving status set to ") + (value == 1 ? "MOVING " : "STATIONARY ")},
            packet(35, u8(1) + u8(value))));
        sendings.push_back(
            silent(bound(quarlo_SetNightMode, value),
                   {std::string("INF Set Day/Night Mode to ") + (value == 1 ? "NIGHT" : "DAY")},
                   packet(35, u8(2) + u8(value))));
        sendings.push_back(silent(bound(quarlo_SetBlockMode, static_cast<BlockMode>(value)),
                                  {"INF Set Block Mode"}, packet(39, u8(value))));
    }
    expectSendings(sendings);
}

TEST(Position, IsTracedWholeAndJudgedBeforeItIsCut) {
    const auto position = [](const std::string& given, const Lines& warning) {
        const Lines traced{"INF Position Information", "VER " + given};
        return Sending{[=](void* handle) {
                           quarlo_PositionInformation(handle, given.c_str());
                           return eRETURN_OKAY;
                       },
                       traced + warning, packet(37, text(given.substr(0, 80))), traced};
    };
    const Lines cut{"WRN NMEA string truncated to 80 bytes."};
    const Lines none{"INF Position Information", "INF no valid NMEA string provided."};
    // The last one has a length that is 10 when it is kept in 16 bits.
    expectSendings({position("%s%n%1000d", {}), position(std::string(80, 'a'), {}),
                    position(std::string(80, 'a') + "b", cut),
                    position(std::string(65536 + 10, 'x'), cut)});
    Session session;
    EXPECT_EQ(session.call(quarlo_PositionInformation, nullptr), none);
    EXPECT_EQ(session.call(quarlo_PositionInformation, ""), none);
}

/* ---- touches ---- */

Bytes wire(const TouchEvent& t) {
    return u8(t.event) + u16(t.xPosition) + u16(t.yPosition) + u32(t.fingerId);
}

TEST(Touches, OfOneCallTravelTogetherInOrder) {
    TouchEvent two[] = {{eTOUCHTYPE_Down, 1, 65535, 0xFFFFFFFF},
                        {static_cast<TouchType>(200), 640, 480, 7}};
    Session session;
    EXPECT_EQ(session.call(quarlo_TouchEventsTimed, two, 2, 77),
              Lines({"VER Touch Event", "VER     position = (1, 65535), event = 1, uniqueID = -1",
                     "VER     position = (640, 480), event = 200, uniqueID = 7"}) +
                  sending(packet(33, u8(2) + wire(two[0]) + wire(two[1]) + u32(77))));
    // However many, they need no memory.
    std::vector<TouchEvent> most(255, {eTOUCHTYPE_Moved, 3, 4, 5});
    Bytes touches;
    for (const TouchEvent& touch : most) touches = touches + wire(touch);
    allocations::restart();
    EXPECT_EQ(session.call(quarlo_TouchEventsTimed, most.data(), 255, 1).back(),
              sending(packet(33, u8(255) + touches + u32(1))).back());
    EXPECT_EQ(allocations::made(), 0);
}

TEST(Touches, WithoutATimeGetThePresent) {
    Session session;
    TouchEvent one{eTOUCHTYPE_Up, 1, 2, 3};
    const UInt32 before = quarlo_GetTimestamp();
    session.host.forgetSent();
    quarlo_TouchEvents(session.handle(), &one, 1);
    quarlo_TouchEventsTimed(session.handle(), &one, 1, 0);
    const UInt32 span = quarlo_GetTimestamp() - before;
    ASSERT_EQ(session.host.sent().size(), 2U);
    for (const Bytes& bytes : session.host.sent()) EXPECT_LE(numberAt(bytes, 19) - before, span);
}

TEST(Touches, AreRefusedWithAWarning) {
    const Lines empty{"VER Touch Event", "WRN touch event list size is 0."};
    TouchEvent one{};
    Session session;
    EXPECT_EQ(session.call(quarlo_TouchEvents, &one, 0), empty);
    EXPECT_EQ(session.call(quarlo_TouchEvents, nullptr, 0), empty);
    EXPECT_EQ(session.call(quarlo_TouchEvents, nullptr, 1),
              (Lines{"VER Touch Event", "WRN touch event array is NULL."}));
    Idle idle;
    EXPECT_EQ(idle.call(quarlo_TouchEvents, nullptr, 0),
              (Lines{"VER Touch Event", "WRN touch events outside RUN state."}));
}

/* ---- the phone's description ---- */

TEST(Description, TextsAreCopiedWholeOrNotAtAll) {
    const struct {
        const char* name;
        UInt16 (*get)(void*, char*, UInt16);
        std::string text;
    } getters[] = {{"GetLauncherUUID", &quarlo_GetLauncherUUID, "launcher-uuid"},
                   {"GetServerOSName", &quarlo_GetServerOSName, "PhoneOS 4"},
                   {"GetServerAppName", &quarlo_GetServerAppName, "phone"}};
    Session session;
    Idle idle;
    for (const auto& g : getters) {
        const auto length = static_cast<UInt16>(g.text.size());
        const Lines traced{std::string("INF ") + g.name};
        std::string buffer(g.text.size() + 1, '#');
        EXPECT_EQ(session.call(g.get, nullptr, 100), traced);
        EXPECT_EQ(session.call(g.get, buffer.data(), 0), traced);
        EXPECT_EQ(buffer[0], '#');
        EXPECT_EQ(session.call(g.get, buffer.data(), length), traced);
        EXPECT_EQ(buffer[0], '\0');
        EXPECT_EQ(session.call(g.get, buffer.data(), length + 1),
                  traced + ("= " + std::to_string(length)));
        EXPECT_EQ(buffer, g.text + '\0');
        // Before the handshake there is none.
        EXPECT_EQ(idle.call(g.get, buffer.data(), length), traced);
    }
}

TEST(Description, CapabilitiesHideTheDeprecatedOne) {
    Session session;
    EXPECT_EQ(session.record()->serverCapabilities, 7U);
    EXPECT_EQ(session.call(quarlo_GetServerCapabilities),
              (Lines{"INF GetServerCapabilities", "= 6"}));
    Idle idle;
    EXPECT_EQ(quarlo_GetServerCapabilities(idle.handle()), 0U);
}

TEST(Description, SoftkeysStayTheInstances) {
    Session session;
    UInt8 count = 0;
    Softkey* keys = nullptr;
    EXPECT_EQ(session.call(quarlo_GetAvailableSoftkeys, &count, &keys),
              Lines{"INF GetAvailableSoftkeys"});
    ASSERT_EQ(count, 2);
    // Another description leaves what was handed out in place.
    const Softkey* const handedOut = keys;
    session.record()->currentState = ePROTOCOL_STATE_INIT_SERVER;
    session.hear(Host::serverInit("phone", {3, 4, 5}));
    quarlo_GetAvailableSoftkeys(session.handle(), &count, &keys);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(handedOut[0], eSOFTKEY_Home);
    EXPECT_EQ(handedOut[1], eSOFTKEY_Back);

    quarlo_GetAvailableSoftkeys(session.handle(), nullptr, &keys);
    EXPECT_EQ(keys, nullptr);
    quarlo_GetAvailableSoftkeys(session.handle(), &count, nullptr);
    EXPECT_EQ(count, 0);
    Idle idle;
    for (void* handle : {static_cast<void*>(nullptr), idle.handle()}) {
        Softkey other{};
        count = 5;
        keys = &other;
        quarlo_GetAvailableSoftkeys(handle, &count, &keys);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(keys, nullptr);
    }
}

/* ---- block status ---- */

TEST(Block, StatusReachesTheHostInRunOnly) {
    const Lines received{"INF received packet BlockStatus"};
    Session session;
    EXPECT_EQ(session.hear(packet(40, u8(1))), received);
    session.listenTo<Callback::BlockStatus>(quarlo_SetBlockStatusCallback);
    EXPECT_EQ(session.hear(packet(40, u8(1)) + packet(40, u8(9))),
              received + "BlockStatus 1" + received + "BlockStatus 9");
    const Lines notHandled{"WRN received packet BlockHealth; not handled"};
    EXPECT_EQ(session.hear(packet(42, u8(1))), notHandled);
    Idle idle;
    expectRefusals(idle, onReceiveBlockStatus, {"WRN ReceiveBlockStatus called with NULL packet."},
                   {"WRN received packet BlockStatus while in wrong status; ignored"});
    expectRefusals(idle, onReceiveBlockHealth, {"WRN ReceiveBlockHealth called with NULL packet."},
                   notHandled);
}

/* ---- the callbacks of all features ---- */

TEST(Setters, TraceWhatTheySet) {
    const std::pair<const char*, const char*> setters[] = {
        {"BlockStatus", "INF Set Block Status Callback"},
        {"PhonecallStatus", "INF Set Phonecall Status Callback"},
        {"AppTransitionStatus", "INF Set Application Transition Callback"},
        {"AppInactive", "INF Set Application Inactive Callback"},
        {"LauncherState", "INF Set Launcher State Callback"},
        {"PTTAvailable", "INF Set PTT Available Callback"},
        {"InitiatePhoneCall", "INF Set Initiate PhoneCall Callback"},
        {"NavigateTo", "INF Set NavigateTo Callback"},
        {"AudioRequest", "INF SetAudioRequestCallback"},
        {"AppListChanged", "INF SetAppListChangedCallback"},
        {"AppIconResponse", "INF SetAppIconResponseCallback"},
        {"AppStartedResponse", "INF SetAppStartedResponseCallback"}};
    Idle idle;
    Listening arguments(&idle.host);
    for (const auto& [name, line] : setters) {
        const ApiCall& call = apiCall(std::string("quarlo_Set") + name + "Callback");
        EXPECT_EQ(idle.during([&] { return call.call(idle.handle(), arguments); }), Lines{line});
    }
}

}  // namespace
}  // namespace quarlo::test
