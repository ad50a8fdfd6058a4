/* Threads that begin late or end early: none of their flags may be lost, and none waited for in
 * vain. */
#include <gtest/gtest.h>

#include <thread>

#include "Host.h"
#include "Supervision.h"

namespace quarlo::test {
namespace {

class ThreadOrder : public ::testing::Test {
  protected:
    Library library;
    Host host;

    void TearDown() override {
        supervision::holdThreads(false);
        host.remove();
        EXPECT_EQ(supervision::unjoined(), 0);
        EXPECT_EQ(supervision::wrongJoins(), 0);
    }
    /** Runs end on another thread while new threads wait, and lets them begin once it has asked. */
    template <class End, class IsAsked>
    void endBeforeTheBegin(End end, IsAsked isAsked) {
        std::thread other(end);
        EXPECT_TRUE(host.waitUntil(isAsked));
        supervision::holdThreads(false);
        other.join();
    }
};

TEST_F(ThreadOrder, InstanceIsDeletedBeforeItsThreadsBegin) {
    quarlo_SetInitialisationTimeout(host.handle(), 60);
    supervision::holdThreads(true);
    host.start();
    quarlo_CoreInstance* const obj = host.record();
    endBeforeTheBegin([&] { host.remove(); }, [&] { return obj->initTimerThread.endFlag != 0; });
    EXPECT_FALSE(host.has("INF WaitForInitThread: wait time is over."));
    EXPECT_TRUE(host.has("INF WaitForInitThread: ends now."));
}

TEST_F(ThreadOrder, WatchdogIsSwitchedOffBeforeItBegins) {
    host.run();
    supervision::holdThreads(true);
    quarlo_EnablePingWatchdog(host.handle(), 1, 60);
    endBeforeTheBegin([&] { quarlo_EnablePingWatchdog(host.handle(), 0, 60); },
                      [&] { return host.record()->watchdogThread.endFlag != 0; });
    EXPECT_FALSE(host.has("WRN watchdog timeout"));
    EXPECT_TRUE(host.has("INF watchdog thread ends now."));
    EXPECT_FALSE(host.record()->watchdogThread.isServing());
}

TEST_F(ThreadOrder, WatchdogIsSwitchedOffBeforeRun) {
    quarlo_EnablePingWatchdog(host.handle(), 1, 5);
    quarlo_EnablePingWatchdog(host.handle(), 0, 5);
    EXPECT_TRUE(host.has("VER set watchdogStartPending to FALSE"));
    host.run();
    EXPECT_FALSE(host.record()->watchdogThread.isServing());
}

TEST_F(ThreadOrder, ReceiverEndsWithoutItsLink) {
    host.run();
    quarlo_SetReceiverLink(host.handle(), nullptr);
    host.feed(packet(128, u32(2)));
    EXPECT_TRUE(host.waitUntil([&] { return host.record()->mainThreadTerminatedRegular != 0; }));
}

/** A link that returns now and then: nobody has to be cancelled. */
TEST_F(ThreadOrder, ReceiverEndsBeforeItsJoinTimer) {
    quarlo_SetEndReceiverRequestCallback(host.handle(), nullptr);
    quarlo_SetWaitForJoinTimeout(host.handle(), 255);
    quarlo_SetReceiverLink(host.handle(), [](void*, UInt8*, std::size_t, void*) {
        quarloPosix_pause(1);
        return std::size_t{0};
    });
    host.start();
    host.waitForSent(1);
    host.remove();
    EXPECT_TRUE(host.has("INF main receiver thread terminated regularly."));
    EXPECT_TRUE(host.has("WRN wait for waitForJoinThread to finish"));
    EXPECT_FALSE(host.has("INF WaitForJoinThread: cancel main receiver now."));
}

TEST_F(ThreadOrder, BodiesRefuseWhatTheyCannotRunOn) {
    for (const auto body : {&quarlo_MainInstanceThread, &quarlo_WatchdogThread,
                            &quarlo_WaitForInitThread, &quarlo_WaitForJoinThread}) {
        EXPECT_EQ(body(nullptr), nullptr);
    }
    quarlo_SetWaitForJoinTimeout(host.handle(), 0);
    std::thread([&] {
        quarlo_WaitForInitThread(host.record());
        quarlo_WaitForJoinThread(host.record());
    }).join();
    EXPECT_TRUE(host.has("INF WaitForInitThread: should run with wait time 0; denied."));
    EXPECT_TRUE(host.has("INF WaitForJoinThread: should run with wait time 0; denied."));
}

}  // namespace
}  // namespace quarlo::test
