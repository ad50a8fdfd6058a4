// How links come about: connecting to addresses that answer or do not, waiting for phones, and what
// is said of a place that cannot be opened.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <unistd.h>

#include <cerrno>

#include "Connect.h"
#include "Rig.h"
#include "Wait.h"

namespace quarlo::test {
namespace {

// A listener whose queue is full does not answer, like a host behind a wall.
struct Wall : Place {
    Wall() : Place(0) {
        quarloLinkFailure failure{};
        do {
            queue.push_back(quarloLink_ConnectTcp("127.0.0.1", port, 200, &failure));
        } while (queue.back() != nullptr && queue.size() < 10);
        EXPECT_EQ(failure.number, ETIMEDOUT);
    }
    ~Wall() {
        for (quarloLink* link : queue) quarloLink_Close(link);
    }
    Wall(const Wall&) = delete;
    Wall& operator=(const Wall&) = delete;

    std::vector<quarloLink*> queue;
};

// Of a name's addresses some may be silent, some refuse; the system's order is not to be trusted.
TEST(Opening, TheFirstAddressThatAnswersWins) {
    const Wall wall;
    const Place nobody;
    quarloListener* there = quarloListener_OpenTcp(nullptr, 0, nullptr);
    sockaddr_in places[3];
    const UInt16 ports[] = {wall.port, nobody.port, quarloListener_GetPort(there)};
    for (int i = 0; i < 3; ++i) {
        places[i] = {AF_INET, htons(ports[i]), {htonl(INADDR_LOOPBACK)}, {}};
    }
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_TRUE(writeFully(ends[1], {1}));
    struct Case {
        std::vector<int> order;
        int error;  // 0: one answers
        int earliest, latest;
        int interruption = -1;
    };
    for (const Case& each : {Case{{0, 2}, 0, 200, 2000}, Case{{1, 1, 1, 2}, 0, 0, 200},
                             Case{{0, 1, 0, 2}, 0, 400, 3000}, Case{{2, 0}, 0, 0, 200},
                             Case{{1, 1}, ECONNREFUSED, 0, 200}, Case{{0, 1}, ETIMEDOUT, 450, 3000},
                             Case{{0}, ECANCELED, 0, 200, ends[0]}}) {
        std::vector<addrinfo> list(each.order.size());
        for (std::size_t i = 0; i < list.size(); ++i) {
            list[i].ai_family = AF_INET;
            list[i].ai_addr = reinterpret_cast<sockaddr*>(&places[each.order[i]]);
            list[i].ai_addrlen = sizeof places[0];
            list[i].ai_next = i + 1 < list.size() ? &list[i + 1] : nullptr;
        }
        const UInt32 limit = each.error == ETIMEDOUT ? 500 : 10000;
        EXPECT_TRUE(takesLessThan(each.latest, [&] {
            int error = 0;
            const Clock::time_point start = Clock::now();
            const int won =
                links::connectToAny(list.data(), each.interruption, links::after(limit), error);
            EXPECT_GE(millisecondsSince(start), each.earliest);
            EXPECT_EQ(won >= 0, each.error == 0);
            if (won >= 0) {
                close(won);
            } else {
                EXPECT_EQ(error, each.error);
            }
        }));
    }
    for (const int descriptor : ends) close(descriptor);
    quarloListener_Close(there);
}

TEST(Opening, WhatCannotBeOpenedIsNamedInOneLine) {
    quarloLinkFailure failure{};
    const Place nobody;
    EXPECT_EQ(quarloLink_ConnectTcp("127.0.0.1", nobody.port, 0, &failure), nullptr);
    EXPECT_EQ(std::string(failure.text), "cannot connect to 127.0.0.1 port " +
                                             std::to_string(nobody.port) + ": Connection refused");
    EXPECT_EQ(failure.number, ECONNREFUSED);
    EXPECT_EQ(quarloListener_OpenTcp("127.0.0.1", nobody.port, &failure), nullptr);
    EXPECT_EQ(failure.number, EADDRINUSE);
    EXPECT_EQ(quarloListener_OpenTcp("no address", 1, &failure), nullptr);
    EXPECT_EQ(quarloLink_ConnectUnix("/nowhere/at/all", &failure), nullptr);
    EXPECT_STREQ(failure.text, "cannot connect to /nowhere/at/all: No such file or directory");
    EXPECT_EQ(quarloLink_ConnectUnix("", &failure), nullptr);
    EXPECT_STREQ(failure.text, "cannot connect to a Unix socket: its path is empty");
    EXPECT_EQ(quarloListener_OpenUnix(nullptr, &failure), nullptr);
    EXPECT_STREQ(failure.text, "cannot listen on a Unix socket: its path is empty");
    EXPECT_EQ(quarloLink_ConnectUnix(std::string(200, 'x').c_str(), &failure), nullptr);
    EXPECT_EQ(failure.number, ENAMETOOLONG);
    EXPECT_EQ(quarloLink_OpenSerial("/dev/ttyNOWHERE", 9600, 0, &failure), nullptr);
    EXPECT_STREQ(failure.text,
                 "cannot open serial line /dev/ttyNOWHERE: No such file or directory");
    EXPECT_EQ(quarloLink_OpenSerial("/dev/null", 9600, 0, &failure), nullptr);
    EXPECT_EQ(failure.number, ENOTTY);
    EXPECT_EQ(quarloLink_OpenSerial("/dev/null", 0, 0, nullptr), nullptr);
}

TEST(Opening, ReplacesAnAbandonedSocketFileOnly) {
    const std::string path = "/tmp/quarlo-listener-" + std::to_string(getpid());
    quarloLinkFailure failure{};
    quarloListener* first = quarloListener_OpenUnix(path.c_str(), &failure);
    ASSERT_NE(first, nullptr) << failure.text;
    EXPECT_EQ(quarloListener_OpenUnix(path.c_str(), &failure), nullptr) << "stole a live socket";
    EXPECT_EQ(failure.number, EADDRINUSE);
    const std::string kept = path + ".kept";
    ASSERT_EQ(link(path.c_str(), kept.c_str()), 0);
    quarloListener_Close(first);
    quarloListener* second = quarloListener_OpenUnix(kept.c_str(), &failure);
    EXPECT_NE(second, nullptr) << failure.text;
    quarloListener_Close(second);
    const int plain = open(path.c_str(), O_CREAT | O_WRONLY, 0600);
    EXPECT_EQ(quarloListener_OpenUnix(path.c_str(), &failure), nullptr) << "replaced a plain file";
    close(plain);
    EXPECT_EQ(unlink(path.c_str()), 0);
}

TEST(Opening, AcceptEndsInTimeAndWhenStopped) {
    quarloListener* listener = quarloListener_OpenTcp("::1", 0, nullptr);
    if (listener == nullptr) listener = quarloListener_OpenTcp(nullptr, 0, nullptr);
    ASSERT_NE(quarloListener_GetPort(listener), 0);
    quarloLinkFailure failure{};
    EXPECT_EQ(quarloListener_Accept(listener, 50, &failure), nullptr);
    EXPECT_EQ(failure.number, ETIMEDOUT);
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        quarloListener_Stop(listener);
    });
    EXPECT_EQ(quarloListener_Accept(listener, 0, &failure), nullptr);
    EXPECT_EQ(failure.number, ECANCELED);
    stopper.join();
    quarloListener_Close(listener);
}

}  // namespace
}  // namespace quarlo::test
