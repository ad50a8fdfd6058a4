// Links under a running library, and sessions with a scripted phone: what the host is told, and how
// connections end.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "Host.h"
#include "Rig.h"

namespace quarlo::test {
namespace {

using States = std::vector<quarloSessionState>;

TEST(Attach, WantsTheLinkAsConnectionAndAContextOfItsOwn) {
    const Library library;
    Wire wire(Kind::Pair);
    Wire other(Kind::Pair);
    int app = 0;
    void* instance = quarlo_CreateInstance(wire.link, "one");
    void* second = quarlo_CreateInstance(other.link, "two");
    EXPECT_EQ(quarloLink_Attach(nullptr, instance, &app), eRETURN_NULL_PARAM);
    EXPECT_EQ(quarloLink_Attach(wire.link, nullptr, &app), eRETURN_NULL_HANDLE);
    EXPECT_EQ(quarloLink_Attach(wire.link, second, &app), eRETURN_PARAM_VALUE);
    EXPECT_EQ(quarloLink_Attach(wire.link, instance, &app), eRETURN_OKAY);
    EXPECT_EQ(quarloLink_Attach(other.link, second, &app), eRETURN_NOT_ALLOWED);
    EXPECT_EQ(quarloLink_Attach(other.link, second, nullptr), eRETURN_OKAY);
    int nobody = 0;
    quarloLink_EndReceiverRequest(&nobody);
    quarlo_DeleteInstance(instance);
    wire.closeLink();
    EXPECT_EQ(quarloLink_Attach(other.link, second, &app), eRETURN_OKAY);
    quarlo_DeleteInstance(second);
}

TEST(Attach, DeletingAnInstanceEndsItsBlockedReadAtOnceAndTheLinkCanGoOn) {
    const Library library;
    Wire wire(Kind::Pair);
    const auto useOnce = [&] {
        void* instance = quarlo_CreateInstance(wire.link, "round");
        quarlo_SetInitialisationTimeout(instance, 0);
        ASSERT_EQ(quarloLink_Attach(wire.link, instance, nullptr), eRETURN_OKAY);
        quarlo_StartMainThread(instance);
        EXPECT_EQ(readFully(wire.farInput, 15)[0], 1) << "protocol version";
        quarlo_DeleteInstance(instance);
    };
    useOnce();
    EXPECT_TRUE(takesLessThan(150, useOnce));
}

TEST(Session, TellsTheHostHowItFaresAndConfiguresEveryInstance) {
    const Library library;
    Reports reports;
    Phone phone([](quarloLink* link, int connection) {
        if (connection > 0) stay(link);
    });
    SessionSetup config = configOf(reports, phone.port());
    config.configure = [](void* context, quarloSession*, void* instance) {
        static_cast<Reports*>(context)->note("configured");
        quarlo_SetTraceOutput(instance, [](void* own, eTraceClass traceClass, char* text) {
            if (traceClass == eTRACECLASS_WARNING) static_cast<Reports*>(own)->note(text);
        });
        return eRETURN_OKAY;
    };
    Session session = startSession(config);
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running, 2));
    // The session has chosen nothing itself that the library would warn of.
    EXPECT_EQ(reports.notes(), (std::vector<std::string>{"configured", "configured"}));
    session.reset();
    States states;
    for (const Reports::Report& report : reports.all()) states.push_back(report.state);
    EXPECT_EQ(states,
              (States{eSESSIONSTATE_Connecting, eSESSIONSTATE_Connected, eSESSIONSTATE_Running,
                      eSESSIONSTATE_Waiting, eSESSIONSTATE_Connecting, eSESSIONSTATE_Connected,
                      eSESSIONSTATE_Running, eSESSIONSTATE_Stopped}));
    EXPECT_NE(reports.all()[3].reason.find("the connection"), std::string::npos);
}

TEST(Session, ARefusalASilenceAndAnUnfinishedHandshakeEndTheConnection) {
    struct Custom : Reports {
        int descriptor = -1;
        bool hasWatchdog = false;
    };
    struct Case {
        const char* reason;
        std::function<void(quarloLink*)> phone;
    };
    const auto inRun = [](const Bytes& last) {
        return [last](quarloLink* link) {
            shakeHands(link);
            send(link, last);
            quarloLink_EndSending(link);
        };
    };
    const Case cases[] = {
        {"the phone refused the protocol version", [](quarloLink* link) { shakeHands(link, 0); }},
        {"the phone refused the head unit",
         [](quarloLink* link) {
             nextPacket(link);
             send(link, packet(2, u8(1)));
             nextPacket(link);
             send(link, packet(12, u8(0)));
         }},
        {"the phone refused the frame size", inRun(packet(28, u8(0)))},
        {"the phone refused the pixel format", inRun(packet(22, u8(7)))},
        {"the phone sent a packet of an unknown type", inRun(packet(200))},
        {"the phone sent what cannot be read, or memory is exhausted; see the trace",
         inRun(packet(50, u8(1) + u16(9)))},
        {"the phone closed the connection", inRun({})},
        {"RUN was not reached within 0.2 s", [](quarloLink* link) { stay(link); }},
        {"no sign of life from the phone",
         [](quarloLink* link) {
             shakeHands(link);
             stay(link);
         }},
    };
    const Library library;
    for (const Case& each : cases) {
        SCOPED_TRACE(each.reason);
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        quarloLink* far = quarloLink_FromDescriptors(ends[1], ends[1], nullptr);
        std::thread phone([&] { each.phone(far); });
        Custom custom;
        custom.descriptor = ends[0];
        custom.hasWatchdog = each.reason == cases[8].reason;
        SessionSetup config = configOf(custom, 0);
        config.handshakeLimit = each.reason == cases[7].reason ? 200 : 0;
        config.firstDelay = 10000;
        config.place.kind = eTRANSPORT_Custom;
        config.place.open = [](void* context, quarloSession*, quarloLinkFailure* failure) {
            const int own = static_cast<Custom*>(static_cast<Reports*>(context))->descriptor;
            return quarloLink_FromDescriptors(own, own, failure);
        };
        config.configure = [](void* context, quarloSession*, void* instance) {
            if (static_cast<Custom*>(static_cast<Reports*>(context))->hasWatchdog) {
                quarlo_EnablePingWatchdog(instance, 1, 1);
            }
            return eRETURN_OKAY;
        };
        Session session = startSession(config);
        EXPECT_TRUE(custom.waitFor(eSESSIONSTATE_Waiting));
        EXPECT_EQ(custom.all().back().reason, each.reason);
        session.reset();
        phone.join();
        quarloLink_Close(far);
    }
}

TEST(Session, ServesPhonesThatConnectToIt) {
    const Library library;
    Reports reports;
    const std::string path = "/tmp/quarlo-session-" + std::to_string(getpid());
    SessionSetup config = configOf(reports, 0);
    config.place.kind = eTRANSPORT_UnixServer;
    config.place.address = path.c_str();
    Session session = startSession(config);
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Connecting));
    for (unsigned round = 1; round <= 2; ++round) {
        quarloLink* phone = nullptr;
        while (phone == nullptr) phone = quarloLink_ConnectUnix(path.c_str(), nullptr);
        EXPECT_TRUE(shakeHands(phone));
        EXPECT_TRUE(reports.waitFor(eSESSIONSTATE_Running, round));
        quarloLink_Close(phone);
        EXPECT_TRUE(reports.waitFor(eSESSIONSTATE_Connecting, round + 1));
    }
    session.reset();
    EXPECT_NE(access(path.c_str(), F_OK), 0);
}

// Two screens in one car: two phones, one place to come to.
TEST(Session, OneListenerServesSeveralSessions) {
    const Library library;
    quarloListener* listener = quarloListener_OpenTcp(nullptr, 0, nullptr);
    Reports reports[2];
    Session sessions[2];
    std::vector<quarloLink*> phones;
    for (int i = 0; i < 2; ++i) {
        SessionSetup config = configOf(reports[i], 0);
        config.place.kind = eTRANSPORT_Listener;
        config.place.listener = listener;
        sessions[i] = startSession(config);
    }
    const auto runs = [&](int i) { return reports[i].of(eSESSIONSTATE_Running).size(); };
    const auto connectOne = [&](std::size_t expected) {
        const UInt16 port = quarloListener_GetPort(listener);
        phones.push_back(quarloLink_ConnectTcp("127.0.0.1", port, 0, nullptr));
        EXPECT_TRUE(shakeHands(phones.back()));
        while (runs(0) + runs(1) < expected) std::this_thread::yield();
    };
    connectOne(1);
    connectOne(2);
    EXPECT_EQ(runs(0), runs(1));
    // One goes; the other session is not disturbed, and the place is free again.
    quarloLink_Close(phones[0]);
    phones.erase(phones.begin());
    connectOne(3);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(reports[i].of(eSESSIONSTATE_Waiting).size() + 1, runs(i));
        sessions[i].reset();
    }
    for (quarloLink* each : phones) quarloLink_Close(each);
    quarloListener_Close(listener);
}

TEST(Session, SaysWhatOfAConfigurationMakesNoSense) {
    Reports reports;
    struct Case {
        const char* text;
        std::function<void(SessionSetup&)> spoil;
    };
    const Case cases[] = {
        {"the configuration has no size", [](SessionSetup& s) { s.size = 8; }},
        {"the transport has no size", [](SessionSetup& s) { s.place.size = 0; }},
        {"the transport has no port", [](SessionSetup& s) { s.place.port = 0; }},
        {"the transport has no address", [](SessionSetup& s) { s.place.address = ""; }},
        {"there is no transport of this kind",
         [](SessionSetup& s) { s.place.kind = static_cast<quarloTransportKind>(99); }},
        {"the transport has no listener",
         [](SessionSetup& s) { s.place.kind = eTRANSPORT_Listener; }},
        {"the silence limit is out of range", [](SessionSetup& s) { s.silenceLimit = 1999; }},
        {"the jitter is out of range", [](SessionSetup& s) { s.jitter = 101; }},
    };
    for (const Case& each : cases) {
        SessionSetup setup = configOf(reports, 1);
        each.spoil(setup);
        setup.transport = &setup.place;
        quarloLinkFailure failure{};
        EXPECT_EQ(quarloSession_Start(&setup, &failure), nullptr);
        EXPECT_EQ(std::string(failure.text), std::string("cannot start session: ") + each.text);
        EXPECT_EQ(failure.number, EINVAL);
    }
    const quarloSessionConfig none = {};
    EXPECT_EQ(quarloSession_Start(&none, nullptr), nullptr);
}

TEST(Session, EndsQuicklyWhileAPhoneStallsItsSenders) {
    const Library library;
    Reports reports;
    Phone phone([&](quarloLink*, int) { reports.waitFor(eSESSIONSTATE_Stopped); });
    Session session = startSession(configOf(reports, phone.port()));
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running));
    std::thread sender([&] {
        Bytes block(60000, 1);
        for (int i = 0; i < 2000; ++i) {
            void* instance = quarloSession_Acquire(session.get());
            if (instance == nullptr) return;
            quarlo_CustomDataRaw(instance, 7, 60000, block.data());
            quarloSession_Release(session.get());
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const Clock::time_point start = Clock::now();
    quarloSession_Stop(session.get());
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Stopped));
    EXPECT_LT(millisecondsSince(start), 10000);
    sender.join();
}

}  // namespace
}  // namespace quarlo::test
