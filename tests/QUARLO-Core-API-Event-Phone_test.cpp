/* Phone calls, route requests, voice sessions, and the phone's state. */
#include <gtest/gtest.h>

#include <cstdio>

#include "Calls.h"

namespace quarlo::test {
namespace {

/* ---- calls that send one packet ---- */

std::vector<Call> allCalls() {
    std::vector<Call> calls;
    for (const unsigned value : {0U, 1U, 6U, 200U}) {
        const Lines lines{"INF PhoneCall Status Response"};
        calls.push_back({"phone call status",
                         plain([value](void* h) {
                             quarlo_PhoneCallStatusResponse(h, static_cast<PhoneCallStatus>(value));
                         }),
                         lines,
                         packet(51, u8(value)),
                         {},
                         {lines}});
    }
    for (const unsigned value : {0U, 4U, 99U}) {
        const Lines lines{"INF VoiceSessionStatus"};
        calls.push_back({"voice session status",
                         plain([value](void* h) {
                             quarlo_VoiceSessionStatus(h, static_cast<VoiceSessionStatus>(value),
                                                       eVOICESESSIONSTATUSCONSTRAINT_SCOTimeout);
                         }),
                         lines,
                         packet(63, u8(value) + u8(3)),
                         {},
                         {lines}});
    }
    const std::pair<unsigned, const char*> support[] = {
        {0, "INF     [NotSupported]"},
        {1, "INF     [VirtualPhoneCallOnly]"},
        {2, "INF     [FullSCOSupport]"},
        {3, "INF     [ProtocolTransport]"},
        {4, "INF     [SecondEndpoint]"},
        {5, "WRN unknown value '5' for VoiceSupportInfo."},
        {255, "WRN unknown value '255' for VoiceSupportInfo."}};
    for (const auto& [value, line] : support) {
        const Lines lines{"INF VoiceSupportInfo", line};
        const auto given = static_cast<VoiceSupport>(value);
        calls.push_back({line,
                         plain([given](void* h) {
                             quarlo_VoiceSupportInfo(
                                 h, given, eVOICESUPPORTCONSTRAINT_MicAndSpeakersTogetherOnly);
                         }),
                         lines,
                         packet(61, u8(value) + u8(1)),
                         {},
                         {lines}});
    }
    return calls;
}

TEST(PhoneCalls, InRunSendAtOnce) {
    expectSentInRun(allCalls());
}

TEST(PhoneCalls, OutsideRunTraceAndSendNothing) {
    expectNothingSentOutsideRun(allCalls());
}

TEST(PhoneCalls, NeedNoMemory) {
    expectFailuresWithoutMemory(allCalls());
}

TEST(VoiceSupport, IsStoredInEveryState) {
    const Library library;
    Host host;
    quarlo_VoiceSupportInfo(host.handle(), eVOICESUPPORT_FullSCOSupport,
                            eVOICESUPPORTCONSTRAINT_MicAndSpeakersTogetherOnly);
    EXPECT_EQ(host.record()->voiceSupportInfo, eVOICESUPPORT_FullSCOSupport);
    host.run();
    // The handshake carries it.
    const Bytes announced = packet(61, u8(2) + u8(1));
    const std::vector<Bytes> sent = host.sent();
    EXPECT_EQ(std::count(sent.begin(), sent.end(), announced), 1);
    quarlo_VoiceSupportInfo(host.handle(), static_cast<VoiceSupport>(77),
                            static_cast<VoiceSupportConstraint>(78));
    EXPECT_EQ(host.record()->voiceSupportInfo, 77);
    EXPECT_EQ(host.record()->voiceSupportConstraint, 78);
}

/* ---- the callbacks ---- */

void noteCall(void* context, char* number, char* displayName) {
    hostOf(context).note(std::string("call ") + number + " " +
                         (displayName == nullptr ? "-" : displayName));
}

void notePlace(void* context, char* displayName, NavigateToType type, double longitude,
               double latitude, LocationStrings* place) {
    char numbers[64];
    std::snprintf(numbers, sizeof numbers, " %d %g %g", type, longitude, latitude);
    std::string line = std::string("go ") + (displayName == nullptr ? "-" : displayName) + numbers;
    if (place != nullptr) {
        line += " mask " + std::to_string(place->validMask);
        const char* const texts[] = {place->Country,    place->StateRegion, place->ZipCode,
                                     place->City,       place->Street,      place->CrossStreet,
                                     place->Housenumber};
        for (const char* one : texts) line += std::string(" ") + (one == nullptr ? "-" : one);
    }
    hostOf(context).note(line);
}

/** A host in RUN that dials and guides. */
class Driver : public Session {
  public:
    Driver() {
        quarlo_SetClientCapabilities(handle(), eCLIENTCAPABILITIES_InitiatePhoneCall, 1);
        quarlo_SetClientCapabilities(handle(), eCLIENTCAPABILITIES_NavigateTo, 1);
        quarlo_SetInitiatePhoneCallCallback(handle(), &noteCall);
        quarlo_SetNavigateToCallback(handle(), &notePlace);
        forget();
    }
};

Bytes dial(const std::string& number, const std::string& name) {
    return packet(50, text(name) + text(number));
}

TEST(Dialling, HandsTheNumberOn) {
    const Library library;
    Driver driver;
    EXPECT_EQ(driver.hear(dial("+49 89 1234", "Anna") + dial("%s%n", "")),
              (Lines{"INF InitiatePhoneCall", "call +49 89 1234 Anna", "INF InitiatePhoneCall",
                     "call %s%n -"}));
    EXPECT_EQ(driver.hear(dial("", "Anna")),
              (Lines{"INF InitiatePhoneCall", "WRN InitiatePhoneCall without number; ignored."}));
    quarlo_SetInitiatePhoneCallCallback(driver.handle(), nullptr);
    EXPECT_EQ(driver.hear(dial("", "Anna")), Lines{"INF InitiatePhoneCall"});
    quarlo_SetClientCapabilities(driver.handle(), eCLIENTCAPABILITIES_InitiatePhoneCall, 0);
    EXPECT_EQ(driver.hear(dial("1", "Anna")),
              (Lines{"INF InitiatePhoneCall",
                     "WRN InitiatePhoneCall received and init phone not active; ignored."}));
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

Bytes navigate(unsigned type, const std::string& name, const Position& at,
               const std::vector<std::string>& place) {
    Bytes payload = text(name) + decimal(at.latitude, at.latitudeExponent) +
                    decimal(at.longitude, at.longitudeExponent);
    for (const std::string& field : place) payload = payload + text(field);
    return packet(52, payload + u8(type));
}

TEST(Guiding, HandsOnWhatTheTypeNames) {
    const Position munich{48137, -3, 11575, -3};
    const std::vector<std::string> full{"DE", "BY", "80331", "Munich", "Tal", "Marienplatz", "1"};
    const std::vector<std::string> city{"", "", "", "Munich", "", "", ""};
    const std::vector<std::string> none(7);
    const struct {
        Bytes packet;
        Lines lines;
    } requests[] = {
        {navigate(1, "Home", munich, full),
         {"VER     position destination (11.575000, 48.137000) named 'Home'",
          "go Home 1 11.575 48.137"}},
        {navigate(2, "Home", munich, full),
         {"go Home 2 0 0 mask 127 DE BY 80331 Munich Tal Marienplatz 1"}},
        {navigate(3, "", munich, city),
         {"VER     position destination (11.575000, 48.137000) named ''",
          "go - 3 11.575 48.137 mask 8 - - - Munich - - -"}},
        {navigate(2, "%n", munich, none), {"go %n 2 0 0 mask 0 - - - - - - -"}},
        {navigate(1, "x", {-1, -5, 1, 9}, none),
         {"VER     position destination (1000000000.000000, -0.000010) named 'x'",
          "go x 1 1e+09 -1e-05"}},
        // A type without a name.
        {navigate(0, "Home", munich, full), {"go Home 0 0 0"}},
        {navigate(200, "Home", munich, full), {"go Home 200 0 0"}},
    };
    const Library library;
    Driver driver;
    for (const auto& request : requests) {
        EXPECT_EQ(driver.hear(request.packet), Lines{"INF NavigateTo"} + request.lines);
    }
}

TEST(Guiding, NeedsCapabilityAndCallback) {
    const Library library;
    Driver driver;
    const Bytes request = navigate(3, "x", {1, 0, 2, 0}, std::vector<std::string>(7));
    quarlo_SetNavigateToCallback(driver.handle(), nullptr);
    EXPECT_EQ(driver.hear(request), Lines{"INF NavigateTo"});
    quarlo_SetClientCapabilities(driver.handle(), eCLIENTCAPABILITIES_NavigateTo, 0);
    EXPECT_EQ(
        driver.hear(request),
        (Lines{"INF NavigateTo", "WRN NavigateTo received and navigate to not active; ignored."}));
}

/* The texts of a handler lie in the receiver's own memory; only what does not fit it is asked for.
 */

TEST(Guiding, WithoutMemoryTellsOfWhatThereIs) {
    const Library library;
    Driver driver;
    const std::string large(60000, 'x');
    const Bytes request =
        navigate(2, large, {0, 0, 0, 0}, {large, large, large, large, large, large, large});
    const std::size_t whole = 3 + 60000 + 6 + 9 + 7 * 60001;
    const long requests = allocations::sweep([&](long refused) {
        const Lines lines = driver.hear(request);
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines.back().size() >= whole, refused == 0);
    });
    EXPECT_GE(requests, 2);
}

TEST(Guiding, WithoutMemoryForThePlaceIsReported) {
    const Library library;
    Driver driver;
    const Lines reported =
        Lines{"INF NavigateTo"} +
        outOfMemoryLines("onReceiveNavigateTo: error allocating location strings memory.");
    // One of these names leaves less room in the receiver's memory than the place needs.
    long reports = 0;
    for (std::size_t length = 60000; length < 65536; length += 16) {
        const Bytes request =
            navigate(2, std::string(length, 'x'), {0, 0, 0, 0}, std::vector<std::string>(7));
        allocations::restart(1);
        if (driver.hear(request) == reported) ++reports;
    }
    allocations::restart();
    EXPECT_GT(reports, 0);
}

TEST(Dialling, WithoutMemoryIsLikeWithoutNumber) {
    const Library library;
    Driver driver;
    const std::string large(40000, '1');
    const Bytes request = dial(large, large);
    Lines seen;
    allocations::sweep([&](long) { seen.push_back(driver.hear(request).back()); });
    EXPECT_EQ(seen, (Lines{"call " + large + " " + large, "call " + large + " -"}));
    const Bytes longest = dial(std::string(65535, '1'), "name");
    allocations::restart(1);
    EXPECT_EQ(driver.hear(longest),
              (Lines{"INF InitiatePhoneCall", "WRN InitiatePhoneCall without number; ignored."}));
    allocations::restart();
}

TEST(VoiceSession, RequestsReachTheHost) {
    const Library library;
    Session session;
    EXPECT_EQ(session.hear(packet(62, u8(3))), Lines{"INF ServerVoiceSessionRequest"});
    EXPECT_EQ(session.during([&] {
        quarlo_SetVoiceSessionRequestCallback(
            session.handle(), [](void* context, VoiceRequest request) {
                Host& host = hostOf(context);
                host.note("voice " + std::to_string(request));
                quarlo_VoiceSessionStatus(host.handle(), eVOICESESSIONSTATUS_Active,
                                          eVOICESESSIONSTATUSCONSTRAINT_NoConstraint);
            });
    }),
              Lines{});
    EXPECT_EQ(
        session.hear(packet(62, u8(0)) + packet(62, u8(99))),
        (Lines{"INF ServerVoiceSessionRequest", "voice 0", "INF VoiceSessionStatus"} + sendLine +
         Lines{"INF ServerVoiceSessionRequest", "voice 99", "INF VoiceSessionStatus"} + sendLine));
    const Bytes answer = packet(63, u8(3) + u8(0));
    EXPECT_EQ(session.sent(), hexes({answer, answer}));
}

TEST(PhoneHandlers, RefuseNullPacketsAndWrongStates) {
    const Library library;
    Host idle;
    quarlo_CoreInstance* obj = idle.record();
    packetInitiatePhoneCall call{};
    packetNavigateTo place{};
    packetServerVoiceSessionRequest voice{};
    onReceiveInitiatePhoneCall(obj, nullptr);
    onReceiveInitiatePhoneCall(obj, &call);
    onReceiveInitiatePhoneCall(nullptr, &call);
    onReceiveNavigateTo(obj, nullptr);
    onReceiveNavigateTo(obj, &place);
    onReceiveNavigateTo(nullptr, &place);
    onReceiveServerVoiceSessionRequest(obj, nullptr);
    onReceiveServerVoiceSessionRequest(obj, &voice);
    onReceiveServerVoiceSessionRequest(nullptr, &voice);
    EXPECT_EQ(idle.lines(),
              (Lines{"WRN ReceiveInitiatePhoneCall called with NULL packet.",
                     "WRN InitiatePhoneCall received in wrong state; ignored.",
                     "WRN ReceiveNavigateTo called with NULL packet.",
                     "WRN NavigateTo received in wrong state; ignored.",
                     "WRN ReceiveServerVoiceSessionRequest called with NULL packet.",
                     "WRN ServerVoiceSessionRequest received in wrong state; ignored."}));
}

/* ---- the setters ---- */

TEST(PhoneSetters, TraceAndStoreInAnyState) {
    const Library library;
    Host idle;
    void* const h = idle.handle();
    const quarloFlagCallback flag = [](void*, Flag) {};
    const quarloLauncherStateCallback launcher = [](void*, LauncherState) {};
    quarlo_SetPhonecallStatusCallback(h, flag);
    quarlo_SetAppTransitionStatusCallback(h, flag);
    quarlo_SetAppInactiveCallback(h, flag);
    quarlo_SetLauncherStateCallback(h, launcher);
    EXPECT_EQ(quarlo_SetPTTAvailableCallback(h, flag), eRETURN_OKAY);
    quarlo_SetInitiatePhoneCallCallback(h, &noteCall);
    quarlo_SetNavigateToCallback(h, &notePlace);
    EXPECT_EQ(idle.lines(),
              (Lines{"INF Set Phonecall Status Callback", "INF Set Application Transition Callback",
                     "INF Set Application Inactive Callback", "INF Set Launcher State Callback",
                     "INF Set PTT Available Callback", "INF Set Initiate PhoneCall Callback",
                     "INF Set NavigateTo Callback"}));
    const quarlo_CoreInstance& record = *idle.record();
    for (const auto* field : {&record.phonecallStatusCallback, &record.appTransitionStatusCallback,
                              &record.appInactiveCallback, &record.pttAvailableCallback}) {
        EXPECT_EQ(field->get(), flag);
    }
    EXPECT_EQ(record.launcherStateCallback.get(), launcher);
    EXPECT_EQ(record.initiatePhoneCallCallback.get(), &noteCall);
    EXPECT_EQ(record.navigateToCallback.get(), &notePlace);
}

}  // namespace
}  // namespace quarlo::test
