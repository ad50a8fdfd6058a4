/* The handshake and the protocol's states, over an in-memory link. */
#include <gtest/gtest.h>

#include "Feature.h"

namespace quarlo::test {
namespace {

class Protocol : public ::testing::Test {
  protected:
    Library library;
    Host host;

    /** Feeds one answer when the library has sent so many packets. */
    static void answer(Host& to, std::size_t sentBefore, const Bytes& bytes) {
        to.waitForSent(sentBefore);
        to.feed(bytes);
        to.settle();
    }
    static void startUpTo(Host& to, eProtocolState state) {
        to.start();
        to.waitForSent(1);
        to.settle();
        if (state >= ePROTOCOL_STATE_INIT_SERVER) answer(to, 1, packet(2, u8(1)));
        if (state >= ePROTOCOL_STATE_INIT_DONE) {
            answer(to, 2, packet(12, u8(1)));
            answer(to, 3, Host::serverInit());
        }
        ASSERT_EQ(to.record()->currentState, state);
    }
};

TEST_F(Protocol, ReachesRunWithTheDocumentedPackets) {
    host.run();
    const Bytes screen = u16(1280) + u16(1024) + u16(134) + u16(108);
    const Bytes properties = u8(3) + u8(2) + u32(0) + u8(4);
    const Bytes version = text(theCoreVersion);
    EXPECT_EQ(
        host.sent(),
        (std::vector<Bytes>{
            packet(1, u16(1) + u16(2) + u16(0)),
            packet(11, text("test host") + screen + u32(36) + properties +
                           u32(supportedCompressions) + u8(0) + u8(0)),
            packet(61, u8(0) + u8(0)), packet(17, u8(1)), packet(129, u32(1)),
            packet(67, u8(1) + u16(7) + u16(static_cast<unsigned>(version.size())) + version)}));
    Lines lines = host.lines();
    lines.erase(lines.begin(),
                std::find(lines.begin(), lines.end(), "INF QUARLO: Receive data thread started."));
    // What the thread that starts it says meanwhile.
    std::erase_if(lines, [](const std::string& line) {
        return line.rfind("INF main", 0) == 0 || line.rfind("INF Start", 0) == 0;
    });
    EXPECT_EQ(lines,
              (Lines{"INF QUARLO: Receive data thread started.",
                     "IFF Send Buffer",
                     "INF ServerProtocolAcknowledge",
                     "VER protocol state changed to INIT_CLIENT",
                     "IFF Send Buffer",
                     "INF ServerInitAcknowledge",
                     "IFF Send Buffer",
                     "INF Language not yet set.",
                     "INF QUARLO: ServerInit",
                     "VER     name:           phone",
                     "VER     OS name:        PhoneOS 4",
                     "VER     Launcher UUID:  launcher-uuid",
                     "VER     is allowed while car is moving",
                     "VER     supported softkey list length = 2",
                     "VER     supported softkey [ 0]   1 Home",
                     "VER     supported softkey [ 1]   2 Back",
                     "VER     capabilities = 0x7",
                     "INF ServerInitDone",
                     "VER protocol state changed to INIT_DONE",
                     "IFF Send Buffer",
                     "INF ClientInitDone sent",
                     "INF found ClientInitDone sent and ServerInitDone received --> RUN state",
                     "state RUN",
                     "VER ping 1",
                     "IFF Send Buffer",
                     "INF Client Custom Data String",
                     "INF Type '_IVIFirmwareVersionF' is reserved for Core Version.",
                     "IFF Send Buffer"}));
}

TEST_F(Protocol, DescribesTheConfiguredHeadUnit) {
    quarlo_SetFrameSize(host.handle(), 0x10320, 480, 150, 0x10050);
    quarlo_SetPixelFormat(host.handle(), ePIXELFORMAT_RGB565, 2, ePIXELENDIANESS_BigEndian);
    quarlo_OverrideCompressionFormat(host.handle(), eFRAMECOMPRESSION_ZLIB);
    quarlo_SetClientCapabilities(host.handle(), eCLIENTCAPABILITIES_NavigateTo, 1);
    quarlo_VoiceSupportInfo(host.handle(), eVOICESUPPORT_FullSCOSupport,
                            eVOICESUPPORTCONSTRAINT_MicAndSpeakersTogetherOnly);
    UInt8 language[] = {'d', 'e', 'u'};
    quarlo_SetISO639LanguageCode(host.handle(), language);
    ClientCustomDataIntType types[] = {eCLIENTCUSTOMDATAINTTYPE_ScreenTest,
                                       eCLIENTCUSTOMDATAINTTYPE_GetCanAmbientlight};
    quarlo_SetSupportedCustomData(host.handle(), 2, types);
    ClientCustomDataKeyCode keys[] = {eCLIENTCUSTOMDATAKEYCODE_Ok, eCLIENTCUSTOMDATAKEYCODE_Back};
    quarlo_SetCustomKeysSupported(host.handle(), 2, keys);
    startUpTo(host, ePROTOCOL_STATE_INIT_DONE);
    const std::vector<Bytes> sent = host.waitForSent(5);
    EXPECT_EQ(
        std::vector<Bytes>(sent.begin() + 1, sent.end()),
        (std::vector<Bytes>{
            packet(11, text("test host") + u16(0x320) + u16(480) + u16(150) + u16(0x50) + u32(38) +
                           u8(2) + u8(1) + u32(2) + u8(2) + u32(supportedCompressions) + u8(2) +
                           u16(0xFF00) + u16(0xFF01) + u8(2) + u8(12) + u8(14)),
            packet(61, u8(2) + u8(1)), packet(69, {'d', 'e', 'u'}), packet(17, u8(1))}));
    quarlo_SetISO639LanguageCode(nullptr, nullptr);
}

/** After a refusal the receiver reads on, and no feature is served. */
TEST_F(Protocol, EndsWithEveryRefusal) {
    struct Refusal {
        eProtocolState state;
        Bytes answer;
        const char* trace;
    };
    const Refusal refusals[] = {
        {ePROTOCOL_STATE_HANDSHAKE, packet(2, u8(0)), "ERR protocol not acknowledged by server."},
        {ePROTOCOL_STATE_HANDSHAKE, packet(2, u8(2)), "ERR protocol not acknowledged by server."},
        {ePROTOCOL_STATE_INIT_SERVER, packet(12, u8(0)),
         "ERR client init not acknowledged by server."},
        {ePROTOCOL_STATE_INIT_DONE, packet(18, u8(0)),
         "ERR server initialisation not successful."}};
    for (const Refusal& refusal : refusals) {
        Host refused;
        startUpTo(refused, refusal.state);
        refused.feed(refusal.answer);
        refused.settle();
        refused.feed(packet(36, u8(1) + u8(1)));
        refused.settle();
        EXPECT_TRUE(refused.has(refusal.trace)) << refusal.trace;
        EXPECT_TRUE(refused.has("WRN ServerState received in wrong state; ignored."));
        EXPECT_EQ(refused.linesWith("error "), Lines{});
        EXPECT_EQ(refused.linesWith("state "), Lines{"state STOP"});
        EXPECT_EQ(refused.record()->mainThreadRunning, 1);
    }
}

TEST_F(Protocol, IgnoresPacketsInTheWrongState) {
    struct Early {
        Bytes bytes;
        const char* warning;
    };
    const Early inHandshake[] = {
        {packet(12, u8(1)), "WRN ServerInitAcknowledge received in wrong state; ignored."},
        {Host::serverInit(), "WRN ServerInitAcknowledge received in wrong state; ignored."},
        {packet(18, u8(1)), "WRN ServerInitDone received in wrong state; ignored."},
        {packet(36, u8(1) + u8(1)), "WRN ServerState received in wrong state; ignored."}};
    startUpTo(host, ePROTOCOL_STATE_HANDSHAKE);
    for (const Early& early : inHandshake) {
        host.forgetLines();
        answer(host, 1, early.bytes);
        EXPECT_EQ(host.count(early.warning), 1U) << early.warning;
        EXPECT_EQ(host.record()->currentState, ePROTOCOL_STATE_HANDSHAKE);
    }
    answer(host, 1, packet(2, u8(1)));
    host.forgetLines();
    answer(host, 2, packet(2, u8(1)));
    EXPECT_TRUE(host.has("WRN ServerProtocolAcknowledge received in wrong state; ignored."));
}

TEST_F(Protocol, SavesAStateThatItDoesNotKnow) {
    quarlo_Protocol(nullptr);
    host.record()->currentState = static_cast<eProtocolState>(42);
    for (int step = 0; step < 2; ++step) quarlo_Protocol(host.handle());
    const std::string warning = "WRN unknown protocol state; ignored (but saved).";
    EXPECT_EQ(host.lines(),
              (Lines{"VER protocol state changed to *** UNKNOWN ***", warning, warning}));
    EXPECT_TRUE(host.sent().empty());
}

TEST_F(Protocol, KeepsWhatThePhoneDeclares) {
    startUpTo(host, ePROTOCOL_STATE_INIT_SERVER);
    answer(host, 2, packet(12, u8(1)));
    answer(host, 3, Host::serverInit("Phone \xC3\xA9", {1, 2, 3, 4, 9, 7}, 6));
    EXPECT_EQ(host.count("WRN number of supported softkeys larger than 4."), 1U);
    EXPECT_TRUE(host.has("VER     name:           Phone \xC3\xA9"));
    EXPECT_TRUE(host.has("VER     supported softkey [ 4]   9 unknown"));
    char name[64];
    EXPECT_EQ(quarlo_GetServerAppName(host.handle(), name, sizeof name), 8);
    EXPECT_STREQ(name, "Phone \xC3\xA9");
    UInt8 count = 0;
    Softkey* keys = nullptr;
    quarlo_GetAvailableSoftkeys(host.handle(), &count, &keys);
    ASSERT_EQ(count, 6);
    EXPECT_EQ(keys[4], static_cast<Softkey>(9));
    EXPECT_EQ(quarlo_GetServerCapabilities(host.handle()), 6U);
}

TEST_F(Protocol, ReportsStatusToItsCallbacks) {
    quarlo_SetPhonecallStatusCallback(host.handle(), [](void* context, Flag on) {
        static_cast<Host*>(context)->note("call " + std::to_string(on));
    });
    quarlo_SetLauncherStateCallback(host.handle(), [](void* context, LauncherState state) {
        static_cast<Host*>(context)->note("launcher " + std::to_string(state));
    });
    quarlo_SetPTTAvailableCallback(host.handle(), [](void* context, Flag on) {
        static_cast<Host*>(context)->note("ptt " + std::to_string(on));
    });
    host.run();
    host.forgetLines();
    for (const auto& [type, value] :
         {std::pair{1, 7}, {1, 0}, {2, 1}, {3, 0}, {4, 2}, {5, 1}, {9, 1}}) {
        host.feed(packet(36, u8(static_cast<unsigned>(type)) + u8(static_cast<unsigned>(value))));
    }
    host.settle();
    EXPECT_EQ(
        host.lines(),
        (Lines{"INF ServerState", "INF     _PhoneCall STARTS", "call 1", "INF ServerState",
               "INF     _PhoneCall ENDS", "call 0", "INF ServerState",
               "INF     _AppTransition STARTS", "INF ServerState", "INF     _Inactive ACTIVE",
               "INF ServerState", "INF     _LauncherAppState VisibleOther", "launcher 2",
               "INF ServerState", "INF     _PTTAvailable AVAILABLE", "ptt 1", "INF ServerState"}));
}

TEST_F(Protocol, EntersRunAgainAfterASecondStart) {
    host.run();
    host.endLink(-1);
    host.waitUntil([&] { return host.record()->mainThreadTerminatedRegular != 0; });
    EXPECT_EQ(host.record()->currentState, ePROTOCOL_STATE_STOP);
    host.reopenLink();
    host.forgetSent();
    host.start();
    answer(host, 1, packet(2, u8(1)));
    answer(host, 2, packet(12, u8(1)) + Host::serverInit());
    // Both ends of the initialisation were seen in the first session and are not exchanged again.
    EXPECT_EQ(host.record()->currentState, ePROTOCOL_STATE_RUN);
    for (const Bytes& sent : host.sent()) EXPECT_NE(sent[0], 17);
}

TEST_F(Protocol, StaysSilentOnceShutdownIsAnnounced) {
    host.run();
    host.forgetSent();
    host.forgetLines();
    quarlo_AnnounceShutdown(host.handle());
    quarlo_SetMovingStatus(host.handle(), 1);
    host.feed(packet(128, u32(2)));
    host.waitUntil([&] { return host.record()->mainThreadRunning == 0; });
    EXPECT_TRUE(host.sent().empty());
    EXPECT_TRUE(host.linesWith("state ").empty());
    EXPECT_TRUE(host.linesWith("error ").empty());
}

}  // namespace
}  // namespace quarlo::test
