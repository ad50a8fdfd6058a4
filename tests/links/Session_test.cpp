// Links under a running library, and sessions with a scripted phone: what the host is told, and how
// connections end.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Host.h"
#include "Rig.h"

namespace quarlo::test {
namespace {

constexpr UInt16 rawIdentifier = 7;

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
        EXPECT_EQ(Phone::nextPacket(wire.farInput)[0], 1) << "protocol version";
        quarlo_DeleteInstance(instance);
    };
    useOnce();
    EXPECT_TRUE(takesLessThan(150, useOnce));
}

TEST(Session, TellsTheHostHowItFaresAndConfiguresEveryInstance) {
    const Library library;
    struct Counting : Reports {
        std::atomic<int> configured{0};
        std::atomic<int> warnings{0};
    } counting;
    Phone phone([](int descriptor, int connection) {
        if (connection > 0) stay(descriptor, connection);
    });
    SessionSetup config = configOf(counting, phone.port());
    config.configure = [](void* context, quarloSession*, void* instance) {
        ++static_cast<Counting*>(static_cast<Reports*>(context))->configured;
        quarlo_SetTraceOutput(instance, [](void* own, eTraceClass traceClass, char*) {
            auto& self = *static_cast<Counting*>(static_cast<Reports*>(own));
            self.warnings += traceClass == eTRACECLASS_WARNING;
        });
        return eRETURN_OKAY;
    };
    Session session = startSession(config);
    ASSERT_TRUE(counting.waitFor(eSESSIONSTATE_Running, 2));
    EXPECT_EQ(counting.configured, 2);
    EXPECT_EQ(counting.warnings, 0) << "of what the session has chosen itself";
    session.reset();
    std::vector<quarloSessionState> states;
    for (const Reports::Report& report : counting.all()) states.push_back(report.state);
    EXPECT_EQ(states, (std::vector<quarloSessionState>{
                          eSESSIONSTATE_Connecting, eSESSIONSTATE_Connected, eSESSIONSTATE_Running,
                          eSESSIONSTATE_Waiting, eSESSIONSTATE_Connecting, eSESSIONSTATE_Connected,
                          eSESSIONSTATE_Running, eSESSIONSTATE_Stopped}));
    EXPECT_NE(counting.all()[3].reason.find("the connection"), std::string::npos);
}

TEST(Session, ARefusalASilenceAndAnUnfinishedHandshakeEndTheConnection) {
    struct Case {
        const char* reason;
        std::function<void(int)> phone;
        UInt32 handshakeLimit;
        bool hasWatchdog;
    };
    const auto silent = [](int descriptor) {
        pollfd gone = {descriptor, 0, 0};
        poll(&gone, 1, 10000);
    };
    const auto inRun = [](const Bytes& last) {
        return [last](int descriptor) {
            Phone::shakeHands(descriptor);
            writeFully(descriptor, last);
            shutdown(descriptor, SHUT_WR);
        };
    };
    const Case cases[] = {
        {"the phone refused the protocol version",
         [](int descriptor) { Phone::shakeHands(descriptor, 0); }, 0, false},
        {"the phone refused the head unit",
         [](int descriptor) {
             Phone::nextPacket(descriptor);
             writeFully(descriptor, packet(2, u8(1)));
             Phone::nextPacket(descriptor);
             writeFully(descriptor, packet(12, u8(0)));
         },
         0, false},
        {"the phone refused the frame size", inRun(packet(28, u8(0))), 0, false},
        {"the phone refused the pixel format", inRun(packet(22, u8(7))), 0, false},
        {"the phone sent a packet of an unknown type", inRun(packet(200)), 0, false},
        {"the phone sent what cannot be read, or memory is exhausted; see the trace",
         inRun(packet(50, u8(1) + u16(9))), 0, false},
        {"the phone closed the connection", inRun({}), 0, false},
        {"RUN was not reached within 0.2 s", silent, 200, false},
        {"no sign of life from the phone",
         [&](int descriptor) {
             Phone::shakeHands(descriptor);
             silent(descriptor);
         },
         0, true},
    };
    const Library library;
    for (const Case& each : cases) {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        std::thread phone([&] { each.phone(ends[1]); });
        struct Custom : Reports {
            int descriptor = -1;
            bool hasWatchdog = false;
        } custom;
        custom.descriptor = ends[0];
        custom.hasWatchdog = each.hasWatchdog;
        SessionSetup config = configOf(custom, 0);
        config.handshakeLimit = each.handshakeLimit;
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
        EXPECT_TRUE(custom.waitFor(eSESSIONSTATE_Waiting)) << each.reason;
        EXPECT_EQ(custom.all().back().reason, each.reason);
        session.reset();
        phone.join();
        close(ends[1]);
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
        EXPECT_TRUE(Phone::shakeHands(phone));
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
    const UInt16 port = quarloListener_GetPort(listener);
    const auto connectOne = [&] {
        phones.push_back(quarloLink_ConnectTcp("127.0.0.1", port, 0, nullptr));
        EXPECT_TRUE(Phone::shakeHands(phones.back()));
    };
    connectOne();
    connectOne();
    for (Reports& each : reports) EXPECT_TRUE(each.waitFor(eSESSIONSTATE_Running));
    // One goes; the other session is not disturbed, and the place is free again.
    quarloLink_Close(phones[0]);
    phones.erase(phones.begin());
    connectOne();
    const auto runs = [&](Reports& of) { return of.waitFor(eSESSIONSTATE_Running, 2, 1); };
    EXPECT_NE(runs(reports[0]), runs(reports[1]));
    for (Session& each : sessions) each.reset();
    for (quarloLink* each : phones) quarloLink_Close(each);
    quarloListener_Close(listener);
}

TEST(Session, SaysWhatOfAConfigurationMakesNoSense) {
    Reports reports;
    quarloSessionConfig none = {};
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
    EXPECT_EQ(quarloSession_Start(&none, nullptr), nullptr);
}

TEST(Session, EndsQuicklyWhileAPhoneStallsItsSenders) {
    const Library library;
    Reports reports;
    std::atomic<bool> isOver{false};
    Phone phone([&](int, int) {
        while (!isOver) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    });
    SessionSetup config = configOf(reports, phone.port());
    Session session = startSession(config);
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running));
    std::thread sender([&] {
        Bytes block(60000, 1);
        for (int i = 0; i < 2000; ++i) {
            void* instance = quarloSession_Acquire(session.get());
            if (instance == nullptr) return;
            quarlo_CustomDataRaw(instance, rawIdentifier, 60000, block.data());
            quarloSession_Release(session.get());
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const Clock::time_point start = Clock::now();
    quarloSession_Stop(session.get());
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Stopped));
    EXPECT_LT(millisecondsSince(start), 10000);
    sender.join();
    isOver = true;
}

}  // namespace
}  // namespace quarlo::test
