// Sessions whose phone goes and comes again: when they try again and when they give up, what
// senders see of it, and what is left behind after many losses.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "Host.h"
#include "Levels.h"
#include "Rig.h"

namespace quarlo::test {
namespace {

std::vector<UInt32> pausesOf(const Reports& reports) {
    std::vector<UInt32> pauses;
    for (const auto& each : reports.of(eSESSIONSTATE_Waiting)) pauses.push_back(each.remaining);
    return pauses;
}

TEST(Losses, BacksOffThenGivesUpAndTriesAgainWhenAsked) {
    const Library library;
    Reports reports;
    const Place nobody;
    SessionSetup config = configOf(reports, nobody.port);
    config.firstDelay = 40;
    config.longestDelay = 100;
    config.jitter = 1;
    config.giveUpAfter = 700;
    const Clock::time_point start = Clock::now();
    Session session = startSession(config);
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_GivenUp));
    EXPECT_GE(millisecondsSince(start), 690);
    const std::vector<UInt32> pauses = pausesOf(reports);
    ASSERT_GE(pauses.size(), 3U);
    const UInt32 longest[] = {40, 80, 100};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_LE(pauses[i], longest[i]);
        EXPECT_GT(pauses[i], longest[i] / 2);
    }
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
        Phone phone([&](quarloLink*, int connection) {
            if (!isLasting) return;
            reports.waitFor(eSESSIONSTATE_Running, static_cast<unsigned>(connection) + 1);
            std::this_thread::sleep_for(std::chrono::milliseconds(60));
        });
        SessionSetup config = configOf(reports, phone.port());
        config.firstDelay = 20;
        config.lastingRun = isLasting ? 30 : 0;
        Session session = startSession(config);
        EXPECT_TRUE(reports.waitFor(eSESSIONSTATE_Running, isLasting ? 12 : 5));
        session.reset();
        UInt32 attempt = 0;
        for (const auto& each : reports.of(eSESSIONSTATE_Running)) {
            EXPECT_EQ(each.attempt, isLasting ? 1 : ++attempt);
        }
        const std::vector<UInt32> pauses = pausesOf(reports);
        ASSERT_GE(pauses.size(), 4U);
        const UInt32 longest = *std::max_element(pauses.begin(), pauses.end());
        if (isLasting) {
            EXPECT_LE(longest, 20U);
            EXPECT_GT(longest, *std::min_element(pauses.begin(), pauses.end())) << "no jitter";
        } else {
            EXPECT_GT(longest, 80U);
        }
    }
}

// Each connection is lost in the midst of what eight threads send.
TEST(Losses, EightThreadsSendAcrossThem) {
    const Library library;
    Reports reports;
    std::atomic<int> received{0};
    Phone phone([&](quarloLink* link, int) {
        for (int left = 300; left > 0; --left) {
            const Bytes seen = nextPacket(link);
            if (seen.empty()) return;
            received += seen[0] == 67 ? 1 : 0;
        }
    });
    Session session = startSession(configOf(reports, phone.port()));
    std::atomic<bool> isDone{false};
    std::vector<std::thread> senders(8);
    for (std::thread& sender : senders) {
        sender = std::thread([&] {
            Bytes block(4000, 1);
            while (!isDone) {
                void* instance = quarloSession_Acquire(session.get());
                if (instance != nullptr) {
                    quarlo_CustomDataRaw(instance, 7, 4000, block.data());
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
}

TEST(Losses, ManyLeaveNothingBehind) {
    const Library library;
    Reports reports;
    Phone phone([](quarloLink*, int) {});
    SessionSetup config = configOf(reports, phone.port());
    config.firstDelay = config.longestDelay = config.lastingRun = 1;
    Session session = startSession(config);
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running, 20));
    const soak::Levels before = soak::levels();
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running, 300));
    session.reset();
    const soak::Levels after = soak::levels();
    // What is under way at the moment may come and go.
    EXPECT_LT(after.threads, before.threads + 5);
    EXPECT_LT(after.descriptors, before.descriptors + 5);
}

}  // namespace
}  // namespace quarlo::test
