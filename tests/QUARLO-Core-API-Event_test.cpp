/* The phone's description, softkeys, touches, vehicle status and position, block mode. */
#include <gtest/gtest.h>

#include "Calls.h"

namespace quarlo::test {
namespace {

/* ---- calls that send one packet ---- */

template <class Function>
Call silent(const char* name, Function call, const Lines& lines, const Bytes& sent) {
    return {name, plain(call), lines, sent, {}, {lines}};
}

std::vector<Call> inputCalls() {
    return {
        silent(
            "home pressed",
            [](void* h) { quarlo_SoftkeyEvent(h, eSOFTKEY_Home, eSOFTKEYEVENTTYPE_Press); },
            {"INF Softkey Event", "VER     key = 1, event = 1"}, packet(31, u8(1) + u8(1))),
        silent(
            "search released",
            [](void* h) { quarlo_SoftkeyEvent(h, eSOFTKEY_Search, eSOFTKEYEVENTTYPE_Release); },
            {"INF Softkey Event", "VER     key = 4, event = 2"}, packet(31, u8(2) + u8(4))),
        silent(
            "a softkey of no meaning",
            [](void* h) {
                quarlo_SoftkeyEvent(h, static_cast<Softkey>(200),
                                    static_cast<SoftkeyEventType>(77));
            },
            {"INF Softkey Event", "VER     key = 200, event = 77"}, packet(31, u8(77) + u8(200)))};
}

std::vector<Call> statusCalls() {
    std::vector<Call> calls;
    for (const unsigned value : {0U, 1U, 2U, 255U}) {
        const Flag flag = static_cast<Flag>(value);
        calls.push_back(silent(
            "moving", [flag](void* h) { quarlo_SetMovingStatus(h, flag); },
            {std::string("INF Moving status set to ") + (value == 1 ? "MOVING " : "STATIONARY ")},
            packet(35, u8(1) + u8(value))));
        calls.push_back(silent(
            "night", [flag](void* h) { quarlo_SetNightMode(h, flag); },
            {std::string("INF Set Day/Night Mode to ") + (value == 1 ? "NIGHT" : "DAY")},
            packet(35, u8(2) + u8(value))));
        calls.push_back(silent(
            "block mode", [flag](void* h) { quarlo_SetBlockMode(h, static_cast<BlockMode>(flag)); },
            {"INF Set Block Mode"}, packet(39, u8(value))));
    }
    return calls;
}

std::vector<Call> positionCalls() {
    const auto call = [](const char* name, const std::string& given, const std::string& sent,
                         const Lines& warning) {
        const Lines before{"INF Position Information", "VER " + given};
        return Call{name,
                    plain([given](void* h) { quarlo_PositionInformation(h, given.c_str()); }),
                    before + warning,
                    packet(37, text(sent)),
                    {},
                    {before}};
    };
    const Lines cut{"WRN NMEA string truncated to 80 bytes."};
    return {
        call("a sentence", "$GPGLL,4916.45,N,12311.12,W*71", "$GPGLL,4916.45,N,12311.12,W*71", {}),
        call("as format", "%s%n%1000d", "%s%n%1000d", {}),
        call("80 bytes", std::string(80, 'a'), std::string(80, 'a'), {}),
        call("81 bytes", std::string(80, 'a') + "b", std::string(80, 'a'), cut)};
}

std::vector<Call> allCalls() {
    std::vector<Call> calls = inputCalls();
    for (const auto& more : {statusCalls(), positionCalls()}) {
        calls.insert(calls.end(), more.begin(), more.end());
    }
    return calls;
}

TEST(EventCalls, InRunSendAtOnce) {
    expectSentInRun(allCalls());
}

TEST(EventCalls, OutsideRunTraceAndSendNothing) {
    expectNothingSentOutsideRun(allCalls());
}

TEST(EventCalls, NeedNoMemory) {
    expectFailuresWithoutMemory(allCalls());
}

TEST(Position, IsTracedWholeAndJudgedBeforeItIsCut) {
    const Library library;
    Session session;
    // A length that is 10 when it is kept in 16 bits.
    const std::string sentence(65536 + 10, 'x');
    quarlo_PositionInformation(session.handle(), sentence.c_str());
    EXPECT_EQ(session.sent(), hexes({packet(37, text(std::string(80, 'x')))}));
    EXPECT_TRUE(session.host.has("WRN NMEA string truncated to 80 bytes."));
    EXPECT_TRUE(session.host.has("VER " + sentence));
}

TEST(Position, WithoutASentenceIsNotSent) {
    const Library library;
    Session session;
    for (const char* none : {static_cast<const char*>(nullptr), ""}) {
        EXPECT_EQ(session.during([&] { quarlo_PositionInformation(session.handle(), none); }),
                  (Lines{"INF Position Information", "INF no valid NMEA string provided."}));
    }
    EXPECT_TRUE(session.sent().empty());
}

/* ---- touches ---- */

TouchEvent touch(TouchType type, unsigned x, unsigned y, UInt32 finger) {
    return {type, static_cast<UInt16>(x), static_cast<UInt16>(y), finger};
}

Bytes wire(const TouchEvent& t) {
    return u8(t.event) + u16(t.xPosition) + u16(t.yPosition) + u32(t.fingerId);
}

TEST(Touches, OfOneCallTravelTogetherInOrder) {
    const Library library;
    Session session;
    TouchEvent two[] = {touch(eTOUCHTYPE_Down, 1, 65535, 0xFFFFFFFF),
                        touch(static_cast<TouchType>(200), 640, 480, 7)};
    EXPECT_EQ(session.during([&] { quarlo_TouchEventsTimed(session.handle(), two, 2, 77); }),
              (Lines{"VER Touch Event", "VER     position = (1, 65535), event = 1, uniqueID = -1",
                     "VER     position = (640, 480), event = 200, uniqueID = 7"} +
               sendLine));
    EXPECT_EQ(session.sent(), hexes({packet(33, u8(2) + wire(two[0]) + wire(two[1]) + u32(77))}));

    std::vector<TouchEvent> most(255, touch(eTOUCHTYPE_Moved, 3, 4, 5));
    session.forget();
    quarlo_TouchEventsTimed(session.handle(), most.data(), 255, 0xFFFFFFFF);
    ASSERT_EQ(session.host.sent().size(), 1U);
    EXPECT_EQ(session.host.sent()[0].size(), 9U + 1 + 255 * 9 + 4);
}

TEST(Touches, WithoutATimeGetThePresent) {
    const Library library;
    Session session;
    TouchEvent one = touch(eTOUCHTYPE_Up, 1, 2, 3);
    const UInt32 before = quarlo_GetTimestamp();
    quarlo_TouchEvents(session.handle(), &one, 1);
    quarlo_TouchEventsTimed(session.handle(), &one, 1, 0);
    const UInt32 span = quarlo_GetTimestamp() - before;
    ASSERT_EQ(session.host.sent().size(), 2U);
    for (const Bytes& bytes : session.host.sent()) {
        ASSERT_EQ(bytes.size(), 23U);
        UInt32 sent = 0;
        for (unsigned i = 0; i < 4; ++i) sent |= UInt32{bytes[19 + i]} << (8 * i);
        EXPECT_LE(sent - before, span);
    }
}

TEST(Touches, AreRefusedWithAWarning) {
    const Library library;
    TouchEvent one = touch(eTOUCHTYPE_Up, 1, 2, 3);
    Session session;
    EXPECT_EQ(session.during([&] { quarlo_TouchEvents(session.handle(), &one, 0); }),
              (Lines{"VER Touch Event", "WRN touch event list size is 0."}));
    EXPECT_EQ(session.during([&] { quarlo_TouchEvents(session.handle(), nullptr, 0); }),
              (Lines{"VER Touch Event", "WRN touch event list size is 0."}));
    EXPECT_EQ(session.during([&] { quarlo_TouchEvents(session.handle(), nullptr, 1); }),
              (Lines{"VER Touch Event", "WRN touch event array is NULL."}));
    EXPECT_TRUE(session.sent().empty());
    Host idle;
    quarlo_TouchEvents(idle.handle(), nullptr, 0);
    EXPECT_EQ(idle.lines(), (Lines{"VER Touch Event", "WRN touch events outside RUN state."}));
}

TEST(Touches, NeedNoMemoryHoweverMany) {
    const Library library;
    Session session;
    std::vector<TouchEvent> most(255, touch(eTOUCHTYPE_Moved, 1, 2, 3));
    Bytes touches;
    for (int i = 0; i < 255; ++i) touches = touches + u8(3) + u16(1) + u16(2) + u32(3);
    allocations::restart();
    quarlo_TouchEventsTimed(session.handle(), most.data(), 255, 1);
    EXPECT_EQ(allocations::made(), 0);
    EXPECT_EQ(session.sent(), hexes({packet(33, u8(255) + touches + u32(1))}));
}

/* ---- the phone's description ---- */

struct TextGetter {
    const char* name;
    UInt16 (*get)(void*, char*, UInt16);
    const char* text;
};

constexpr TextGetter textGetters[] = {{"GetLauncherUUID", &quarlo_GetLauncherUUID, "launcher-uuid"},
                                      {"GetServerOSName", &quarlo_GetServerOSName, "PhoneOS 4"},
                                      {"GetServerAppName", &quarlo_GetServerAppName, "phone"}};

TEST(Description, TextsAreCopiedWholeOrNotAtAll) {
    const Library library;
    Session session;
    for (const TextGetter& g : textGetters) {
        SCOPED_TRACE(g.name);
        const std::string whole = g.text;
        const auto length = static_cast<UInt16>(whole.size());
        std::vector<char> buffer(whole.size() + 1, '#');
        EXPECT_EQ(session.during([&] { g.get(session.handle(), nullptr, 100); }),
                  Lines{std::string("INF ") + g.name});
        EXPECT_EQ(g.get(session.handle(), nullptr, 100), 0);
        EXPECT_EQ(g.get(session.handle(), buffer.data(), 0), 0);
        EXPECT_EQ(buffer[0], '#');
        EXPECT_EQ(g.get(session.handle(), buffer.data(), length), 0);
        EXPECT_STREQ(buffer.data(), "");
        EXPECT_EQ(g.get(session.handle(), buffer.data(), length + 1), length);
        EXPECT_STREQ(buffer.data(), g.text);
        EXPECT_EQ(g.get(nullptr, buffer.data(), length), 0);
        EXPECT_STREQ(buffer.data(), g.text);
    }
}

TEST(Description, IsEmptyBeforeTheHandshake) {
    const Library library;
    Host idle;
    char buffer[8] = "before";
    for (const TextGetter& g : textGetters) {
        EXPECT_EQ(g.get(idle.handle(), buffer, sizeof buffer), 0);
    }
    EXPECT_EQ(quarlo_GetServerCapabilities(idle.handle()), 0U);
    UInt8 count = 9;
    Softkey* keys = reinterpret_cast<Softkey*>(buffer);
    quarlo_GetAvailableSoftkeys(idle.handle(), &count, &keys);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(keys, nullptr);
}

TEST(Description, CapabilitiesHideTheDeprecatedOne) {
    const Library library;
    Session session;
    EXPECT_EQ(session.host.record()->serverCapabilities, 7U);
    EXPECT_EQ(quarlo_GetServerCapabilities(session.handle()), 6U);
    EXPECT_EQ(quarlo_GetServerCapabilities(nullptr), 0U);
    EXPECT_TRUE(session.host.has("INF GetServerCapabilities"));
}

TEST(Description, SoftkeysStayTheInstances) {
    const Library library;
    Session session;
    UInt8 count = 0;
    Softkey* keys = nullptr;
    EXPECT_EQ(session.during([&] { quarlo_GetAvailableSoftkeys(session.handle(), &count, &keys); }),
              Lines{"INF GetAvailableSoftkeys"});
    ASSERT_EQ(count, 2);
    EXPECT_EQ(keys[0], eSOFTKEY_Home);
    EXPECT_EQ(keys[1], eSOFTKEY_Back);

    // Another description leaves what was handed out in place.
    const Softkey* const handedOut = keys;
    session.host.record()->currentState = ePROTOCOL_STATE_INIT_SERVER;
    session.host.feed(Host::serverInit("phone", {3, 4, 5}));
    ASSERT_TRUE(session.host.waitUntil([&] {
        quarlo_GetAvailableSoftkeys(session.handle(), &count, &keys);
        return count == 3;
    }));
    EXPECT_EQ(handedOut[0], eSOFTKEY_Home);
    EXPECT_EQ(handedOut[1], eSOFTKEY_Back);

    quarlo_GetAvailableSoftkeys(session.handle(), nullptr, &keys);
    EXPECT_EQ(keys, nullptr);
    quarlo_GetAvailableSoftkeys(session.handle(), &count, nullptr);
    EXPECT_EQ(count, 0);
    quarlo_GetAvailableSoftkeys(session.handle(), nullptr, nullptr);
    Softkey other{};
    count = 5;
    keys = &other;
    quarlo_GetAvailableSoftkeys(nullptr, &count, &keys);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(keys, nullptr);
}

/* ---- block status ---- */

TEST(Block, StatusReachesTheHostInRunOnly) {
    const Library library;
    Session session;
    EXPECT_EQ(session.hear(packet(40, u8(1))), Lines{"INF received packet BlockStatus"});
    EXPECT_EQ(session.during([&] {
        quarlo_SetBlockStatusCallback(session.handle(), [](void* context, Flag isActive) {
            hostOf(context).note("block " + std::to_string(isActive));
        });
    }),
              Lines{"INF Set Block Status Callback"});
    EXPECT_EQ(
        session.hear(packet(40, u8(1)) + packet(40, u8(0)) + packet(40, u8(9))),
        (Lines{"INF received packet BlockStatus", "block 1", "INF received packet BlockStatus",
               "block 0", "INF received packet BlockStatus", "block 9"}));
    EXPECT_EQ(session.during([&] { onReceiveBlockStatus(session.host.record(), nullptr); }),
              Lines{"WRN ReceiveBlockStatus called with NULL packet."});
    quarlo_SetBlockStatusCallback(session.handle(), nullptr);
    EXPECT_EQ(session.hear(packet(40, u8(1))), Lines{"INF received packet BlockStatus"});

    Host idle;
    packetBlockStatus status{};
    onReceiveBlockStatus(idle.record(), &status);
    EXPECT_EQ(idle.lines(),
              Lines{"WRN received packet BlockStatus while in wrong status; ignored"});
    onReceiveBlockStatus(nullptr, &status);
}

TEST(Block, HealthIsNotHandledInAnyState) {
    const Library library;
    Session session;
    EXPECT_EQ(session.hear(packet(42, u8(1))),
              Lines{"WRN received packet BlockHealth; not handled"});
    Host idle;
    packetBlockHealth health{};
    onReceiveBlockHealth(idle.record(), &health);
    onReceiveBlockHealth(idle.record(), nullptr);
    EXPECT_EQ(idle.lines(), (Lines{"WRN received packet BlockHealth; not handled",
                                   "WRN ReceiveBlockHealth called with NULL packet."}));
    onReceiveBlockHealth(nullptr, &health);
    EXPECT_TRUE(session.sent().empty());
}

}  // namespace
}  // namespace quarlo::test
