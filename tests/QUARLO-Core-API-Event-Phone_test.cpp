/* Phone calls, route requests, voice sessions, and the phone's state. */
#include <gtest/gtest.h>

#include "Calls.h"

namespace quarlo::test {
namespace {

TEST(PhoneCalls, InRunSendAtOnce) {
    std::vector<Sending> sendings;
    const auto add = [&](const std::function<eReturnCode(void*)>& call, const Lines& lines,
                         const Bytes& sent) {
        sendings.push_back({call, lines, sent, lines});
    };
    for (const unsigned value : {0U, 200U}) {
        add(bound(quarlo_PhoneCallStatusResponse, static_cast<PhoneCallStatus>(value)),
            {"INF PhoneCall Status Response"}, packet(51, u8(value)));
        add(bound(quarlo_VoiceSessionStatus, static_cast<VoiceSessionStatus>(value),
                  eVOICESESSIONSTATUSCONSTRAINT_SCOTimeout),
            {"INF VoiceSessionStatus"}, packet(63, u8(value) + u8(3)));
    }
    for (const auto& [value, line] :
         {std::pair(0U, "INF     [NotSupported]"), std::pair(4U, "INF     [SecondEndpoint]"),
          std::pair(5U, "WRN unknown value '5' for VoiceSupportInfo."),
          std::pair(255U, "WRN unknown value '255' for VoiceSupportInfo.")}) {
        add(bound(quarlo_VoiceSupportInfo, static_cast<VoiceSupport>(value),
                  eVOICESUPPORTCONSTRAINT_MicAndSpeakersTogetherOnly),
            {"INF VoiceSupportInfo", line}, packet(61, u8(value) + u8(1)));
    }
    expectSendings(sendings);
}

TEST(VoiceSupport, IsStoredInEveryState) {
    Idle session;
    quarlo_VoiceSupportInfo(session.handle(), eVOICESUPPORT_FullSCOSupport,
                            eVOICESUPPORTCONSTRAINT_MicAndSpeakersTogetherOnly);
    session.host.run();
    // The handshake carries it.
    EXPECT_EQ(session.host.count("sent " + hex(packet(61, u8(2) + u8(1)))), 1U);
    quarlo_VoiceSupportInfo(session.handle(), static_cast<VoiceSupport>(77),
                            static_cast<VoiceSupportConstraint>(78));
    EXPECT_EQ(session.record()->voiceSupportInfo, 77);
    EXPECT_EQ(session.record()->voiceSupportConstraint, 78);
}

/* ---- the callbacks ---- */

/** A host in RUN that dials and guides. */
class Driver : public Session {
  public:
    Driver() {
        quarlo_SetClientCapabilities(handle(), eCLIENTCAPABILITIES_InitiatePhoneCall, 1);
        quarlo_SetClientCapabilities(handle(), eCLIENTCAPABILITIES_NavigateTo, 1);
        listenTo<Callback::InitiatePhoneCall>(quarlo_SetInitiatePhoneCallCallback);
        listenTo<Callback::NavigateTo>(quarlo_SetNavigateToCallback);
    }
};

Bytes dial(const std::string& number, const std::string& name) {
    return packet(50, text(name) + text(number));
}

TEST(Dialling, HandsTheNumberOn) {
    const Lines head{"INF InitiatePhoneCall"};
    const Lines ignored = head + "WRN InitiatePhoneCall without number; ignored.";
    Driver driver;
    EXPECT_EQ(driver.hear(dial("+49 89", "Anna") + dial("%s%n", "")),
              head + "InitiatePhoneCall +49 89 Anna" + head + "InitiatePhoneCall %s%n -");
    EXPECT_EQ(driver.hear(dial("", "Anna")), ignored);
    // Without memory it is like without a name or a number.
    const std::string large(40000, '1');
    Lines seen;
    allocations::sweep([&](long) { seen.push_back(driver.hear(dial(large, large)).back()); });
    EXPECT_EQ(seen, (Lines{"InitiatePhoneCall " + large + " " + large,
                           "InitiatePhoneCall " + large + " -"}));
    EXPECT_EQ(hearWithoutMemory(driver, dial(std::string(65535, '1'), "name")), ignored);

    quarlo_SetInitiatePhoneCallCallback(driver.handle(), nullptr);
    EXPECT_EQ(driver.hear(dial("", "Anna")), head);
    quarlo_SetClientCapabilities(driver.handle(), eCLIENTCAPABILITIES_InitiatePhoneCall, 0);
    EXPECT_EQ(driver.hear(dial("1", "Anna")),
              head + "WRN InitiatePhoneCall received and init phone not active; ignored.");
}

/** Latitude before longitude, each a value and its exponent. */
struct Position {
    long latitude;
    int latitudeExponent;
    long longitude;
    int longitudeExponent;
};

Bytes decimal(long value, int exponent) {
    return little(static_cast<std::int64_t>(value)) + u8(static_cast<unsigned>(exponent));
}

Bytes navigate(unsigned type, const std::string& name, const Position& at = {},
               const std::vector<std::string>& place = std::vector<std::string>(7)) {
    Bytes payload = text(name) + decimal(at.latitude, at.latitudeExponent) +
                    decimal(at.longitude, at.longitudeExponent);
    for (const std::string& field : place) payload = payload + text(field);
    return packet(52, payload + u8(type));
}

TEST(Guiding, HandsOnWhatTheTypeNames) {
    const Lines head{"INF NavigateTo"};
    const Position munich{48137, -3, 11575, -3};
    const std::vector<std::string> full{"DE", "BY", "80331", "Munich", "Tal", "Marienplatz", "1"};
    const std::vector<std::string> city{"", "", "", "Munich", "", "", ""};
    const std::string position = "VER     position destination (11.575000, 48.137000) named ";
    const std::pair<Bytes, Lines> requests[] = {
        {navigate(1, "Home", munich, full),
         {position + "'Home'", "NavigateTo Home 1 11.575 48.137 -"}},
        {navigate(2, "Home", munich, full),
         {"NavigateTo Home 2 0 0 mask 127 DE BY 80331 Munich Tal Marienplatz 1"}},
        {navigate(3, "", munich, city),
         {position + "''", "NavigateTo - 3 11.575 48.137 mask 8 - - - Munich - - -"}},
        {navigate(2, "%n", munich), {"NavigateTo %n 2 0 0 mask 0 - - - - - - -"}},
        {navigate(1, "x", {-1, -5, 1, 9}),
         {"VER     position destination (1000000000.000000, -0.000010) named 'x'",
          "NavigateTo x 1 1e+09 -1e-05 -"}},
        // A type without a name.
        {navigate(0, "Home", munich, full), {"NavigateTo Home 0 0 0 -"}},
        {navigate(200, "Home", munich, full), {"NavigateTo Home 200 0 0 -"}},
    };
    Driver driver;
    for (const auto& [request, lines] : requests) EXPECT_EQ(driver.hear(request), head + lines);
    quarlo_SetNavigateToCallback(driver.handle(), nullptr);
    EXPECT_EQ(driver.hear(navigate(2, "x")), head);
    quarlo_SetClientCapabilities(driver.handle(), eCLIENTCAPABILITIES_NavigateTo, 0);
    EXPECT_EQ(driver.hear(navigate(2, "x")),
              head + "WRN NavigateTo received and navigate to not active; ignored.");
}

/* The texts of a handler lie in the receiver's own memory; only what does not fit it is asked for.
 */
TEST(Guiding, WithoutMemoryTellsOfWhatThereIs) {
    Driver driver;
    const std::string large(60000, 'x');
    const Bytes request = navigate(2, large, {}, std::vector<std::string>(7, large));
    const long requests = allocations::sweep([&](long refused) {
        const Lines lines = driver.hear(request);
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines.back().size() > 8 * large.size(), refused == 0);
    });
    EXPECT_GE(requests, 2);
    const Lines reported =
        Lines{"INF NavigateTo"} +
        outOfMemoryLines("onReceiveNavigateTo: error allocating location strings memory.");
    // One of these names leaves less room in the receiver's memory than the place needs.
    long reports = 0;
    for (std::size_t length = 60000; length < 65536; length += 16) {
        const Bytes fit = navigate(2, std::string(length, 'x'));
        if (hearWithoutMemory(driver, fit) == reported) ++reports;
    }
    EXPECT_GT(reports, 0);
}

TEST(VoiceSession, RequestsReachTheHost) {
    const Lines head{"INF ServerVoiceSessionRequest"};
    Session session;
    EXPECT_EQ(session.hear(packet(62, u8(3))), head);
    session.listenTo<Callback::VoiceSessionRequest>(quarlo_SetVoiceSessionRequestCallback);
    session.host.reaction = [&](const Heard&) {
        quarlo_VoiceSessionStatus(session.handle(), eVOICESESSIONSTATUS_Active,
                                  eVOICESESSIONSTATUSCONSTRAINT_NoConstraint);
    };
    const Lines answer = Lines{"INF VoiceSessionStatus"} + sending(packet(63, u8(3) + u8(0)));
    EXPECT_EQ(session.hear(packet(62, u8(0)) + packet(62, u8(99))),
              head + "VoiceSessionRequest 0" + answer + head + "VoiceSessionRequest 99" + answer);
}

TEST(PhoneHandlers, RefuseNullPacketsAndWrongStates) {
    Idle idle;
    expectRefusals(idle, onReceiveInitiatePhoneCall,
                   {"WRN ReceiveInitiatePhoneCall called with NULL packet."},
                   {"WRN InitiatePhoneCall received in wrong state; ignored."});
    expectRefusals(idle, onReceiveNavigateTo, {"WRN ReceiveNavigateTo called with NULL packet."},
                   {"WRN NavigateTo received in wrong state; ignored."});
    expectRefusals(idle, onReceiveServerVoiceSessionRequest,
                   {"WRN ReceiveServerVoiceSessionRequest called with NULL packet."},
                   {"WRN ServerVoiceSessionRequest received in wrong state; ignored."});
}

}  // namespace
}  // namespace quarlo::test
