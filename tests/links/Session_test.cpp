// Links under a running library, and sessions: handshake with a scripted phone, loss and return of
// it, what the host is told, and what is left behind after many losses.
#include <dirent.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

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
    for (int round = 0; round < 2; ++round) {
        void* instance = quarlo_CreateInstance(wire.link, "round");
        quarlo_SetInitialisationTimeout(instance, 0);
        ASSERT_EQ(quarloLink_Attach(wire.link, instance, nullptr), eRETURN_OKAY);
        quarlo_StartMainThread(instance);
        EXPECT_EQ(Phone::nextPacket(wire.farInput)[0], 1) << "protocol version";
        const Clock::time_point start = Clock::now();
        quarlo_DeleteInstance(instance);
        EXPECT_LT(millisecondsSince(start), 150);
    }
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

TEST(Session, BacksOffThenGivesUpAndTriesAgainWhenAsked) {
    const Library library;
    Reports reports;
    const Phone nobody([](int, int) {}, false);
    SessionSetup config = configOf(reports, nobody.port());
    config.firstDelay = 40;
    config.longestDelay = 100;
    config.jitter = 1;
    config.giveUpAfter = 450;
    const Clock::time_point start = Clock::now();
    Session session = startSession(config);
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_GivenUp));
    EXPECT_GE(millisecondsSince(start), 440);
    EXPECT_LT(millisecondsSince(start), 1500);
    std::vector<UInt32> pauses;
    for (const Reports::Report& report : reports.all()) {
        if (report.state == eSESSIONSTATE_Waiting) pauses.push_back(report.remaining);
    }
    ASSERT_GE(pauses.size(), 4U);
    EXPECT_NEAR(pauses[0], 40, 10);
    EXPECT_NEAR(pauses[1], 80, 10);
    EXPECT_NEAR(pauses[2], 100, 10);
    EXPECT_EQ(reports.all().back().errorNumber, ECONNREFUSED);
    EXPECT_EQ(quarloSession_Acquire(session.get()), nullptr);
    quarloSession_Reconnect(session.get());
    EXPECT_TRUE(reports.waitFor(eSESSIONSTATE_GivenUp, 2));
}

// A phone that dies right after RUN each time is not worth a connection each time.
TEST(Session, OnlyARunThatLastsEndsTheBackingOff) {
    const Library library;
    for (const bool isLasting : {false, true}) {
        Reports reports;
        Phone phone([&](int, int) {
            if (isLasting) std::this_thread::sleep_for(std::chrono::milliseconds(60));
        });
        SessionSetup config = configOf(reports, phone.port());
        config.firstDelay = 20;
        config.giveUpAfter = 600;
        config.lastingRun = isLasting ? 30 : 0;
        Session session = startSession(config);
        const bool hasGivenUp = reports.waitFor(eSESSIONSTATE_GivenUp, 1, isLasting ? 2 : 20);
        EXPECT_EQ(hasGivenUp, !isLasting);
        session.reset();
        std::vector<UInt32> pauses;
        for (const Reports::Report& report : reports.all()) {
            if (report.state == eSESSIONSTATE_Waiting) pauses.push_back(report.remaining);
            const bool isAgain = report.state == eSESSIONSTATE_Running && report.attempt > 1;
            EXPECT_FALSE(isAgain && isLasting) << "attempts are counted from a lasting RUN";
        }
        ASSERT_GE(pauses.size(), 4U);
        const UInt32 longest = *std::max_element(pauses.begin(), pauses.end());
        if (isLasting) {
            EXPECT_LE(longest, 20U);
            EXPECT_GT(longest, *std::min_element(pauses.begin(), pauses.end())) << "no jitter";
        } else {
            EXPECT_GT(longest, 100U);
            EXPECT_LT(phone.connections(), 9);
        }
    }
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
        {"the handshake was not finished in time", silent, 200, false},
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

// The phone checks the framing while it answers, and loses the connection in the midst of it.
TEST(Session, EightThreadsSendAcrossLossesAndNothingMixes) {
    constexpr int threads = 8;
    const Library library;
    Reports reports;
    std::atomic<int> received{0};
    std::atomic<int> mixed{0};
    Phone phone([&](int descriptor, int) {
        for (int left = 300; left > 0; --left) {
            const Bytes seen = Phone::nextPacket(descriptor);
            if (seen.empty()) break;
            if (seen[0] != 67 || seen[9] != eCUSTOMDATAEVENT_Raw) continue;
            const std::uint8_t id = seen.back();
            const auto size = static_cast<std::ptrdiff_t>(seen[12] | seen[13] << 8);
            ++received;
            if (size != std::count(seen.end() - size, seen.end(), id)) ++mixed;
        }
    });
    SessionSetup config = configOf(reports, phone.port());
    Session session = startSession(config);
    std::atomic<bool> isDone{false};
    std::vector<std::thread> senders;
    for (int id = 0; id < threads; ++id) {
        senders.emplace_back([&, id] {
            Bytes block(4000, static_cast<std::uint8_t>(id));
            while (!isDone) {
                void* instance = quarloSession_Acquire(session.get());
                if (instance != nullptr) {
                    quarlo_CustomDataRaw(instance, rawIdentifier, 4000, block.data());
                    quarloSession_Release(session.get());
                }
                std::this_thread::yield();
            }
        });
    }
    EXPECT_TRUE(reports.waitFor(eSESSIONSTATE_Running, 6));
    isDone = true;
    for (std::thread& sender : senders) sender.join();
    session.reset();
    EXPECT_GT(received, 1000);
    EXPECT_EQ(mixed, 0);
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
    EXPECT_LT(millisecondsSince(start), 1000);
    sender.join();
    isOver = true;
}

struct Level {
    int threads = 0;
    int descriptors = 0;
    long residentKiB = 0;
};

Level levelNow() {
    Level level;
    if (DIR* folder = opendir("/proc/self/fd")) {
        while (readdir(folder) != nullptr) ++level.descriptors;
        closedir(folder);
    }
    FILE* status = fopen("/proc/self/status", "re");
    char line[256];
    while (status != nullptr && fgets(line, sizeof line, status) != nullptr) {
        sscanf(line, "Threads: %d", &level.threads);
        sscanf(line, "VmRSS: %ld", &level.residentKiB);
    }
    if (status != nullptr) fclose(status);
    return level;
}

TEST(Session, AThousandLossesLeaveNothingBehind) {
    const Library library;
    Reports reports;
    Phone phone([](int, int) {});
    SessionSetup config = configOf(reports, phone.port());
    config.firstDelay = config.longestDelay = config.lastingRun = 1;
    Session session = startSession(config);
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running, 100, 60));
    const Level before = levelNow();
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running, 1100, 120));
    session.reset();
    const Level after = levelNow();
    EXPECT_LT(after.threads, before.threads + 1);
    EXPECT_LE(after.descriptors, before.descriptors);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(after.residentKiB, before.residentKiB + 1024);
#endif
    printf("threads %d -> %d, descriptors %d -> %d, resident %ld -> %ld KiB\n", before.threads,
           after.threads, before.descriptors, after.descriptors, before.residentKiB,
           after.residentKiB);
}

}  // namespace
}  // namespace quarlo::test
