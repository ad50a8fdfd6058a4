// Sessions whose phone goes and comes again: when they try again and when they give up, what
// senders see of it, and what is left behind after many losses.
#include <dirent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "Host.h"
#include "Rig.h"

namespace quarlo::test {
namespace {

constexpr UInt16 rawIdentifier = 7;

TEST(Losses, BacksOffThenGivesUpAndTriesAgainWhenAsked) {
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
    EXPECT_LT(millisecondsSince(start), 15000);
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
TEST(Losses, OnlyARunThatLastsEndsTheBackingOff) {
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

// The phone checks the framing while it answers, and loses the connection in the midst of it.
TEST(Losses, EightThreadsSendAcrossLossesAndNothingMixes) {
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

TEST(Losses, AThousandLossesLeaveNothingBehind) {
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
