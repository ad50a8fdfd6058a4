/*
 * How the receiver ends, the supervision threads and the teardown; and threads that begin late or
 * end early: none of their flags may be lost, and none waited for in vain.
 */
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <thread>

#include "Feature.h"
#include "Supervision.h"

namespace quarlo::test {
namespace {

class Threads : public ::testing::Test {
  protected:
    Library library;

    void TearDown() override {
        supervision::refuseThread(0);
        EXPECT_EQ(supervision::unjoined(), 0);
        EXPECT_EQ(supervision::wrongJoins(), 0);
    }
    static bool waitForEnd(Host& host) {
        return host.waitUntil([&] { return host.record()->mainThreadTerminatedRegular != 0; });
    }
};

/* ---- ends of the receiver ---- */

TEST_F(Threads, EndsAsTheLinkSays) {
    for (const std::ptrdiff_t result : {-1, -2, 0x7FFFFFFF}) {
        SCOPED_TRACE(result);
        const bool isClosed = result == -1;
        Host host;
        host.run();
        host.forgetLines();
        host.endLink(result);
        ASSERT_TRUE(waitForEnd(host));
        EXPECT_TRUE(host.has(isClosed
                                 ? "ERR Unexpected EOF on connection detected [1]. Stop service."
                                 : "ERR Reader returned negative number. Stop service."));
        Lines reports{"error PROTOCOL_STOP"};
        if (!isClosed) reports.insert(reports.begin(), "error CONNECTION_EOF_ZERO");
        EXPECT_EQ(host.linesWith("error "), reports);
        EXPECT_EQ(host.linesWith("state "), Lines{"state STOP"});
        EXPECT_EQ(host.record()->receiverThread.endFlag, 1);
    }
}

TEST_F(Threads, EndsOnLengthsThatClaimMoreThanWasReceived) {
    Host host;
    host.run();
    host.feed(packet(36, u8(1) + u8(1)) + packet(68, u8(1) + u16(1) + u16(0xFFFF) + Bytes(4)));
    ASSERT_TRUE(waitForEnd(host));
    EXPECT_TRUE(host.has("INF     _PhoneCall STARTS"));
    EXPECT_TRUE(
        host.has("ERR Unexpected size values on receive: protocol used more than available "
                 "[3]. Stop service."));
    EXPECT_EQ(host.linesWith("ERR receiveSize = 29; pbOld = ").size(), 1U);
    EXPECT_TRUE(host.has("ERR currentSize = 0; receiveBufferSize = 5308416"));
}

/** Bytes are no sign of life before they make a packet. */
TEST_F(Threads, KeepsAPacketThatComesInPieces) {
    Host host;
    host.run();
    const Bytes whole = packet(36, u8(1) + u8(1));
    for (const std::size_t middle : {1U, 9U, 10U}) {
        host.forgetLines();
        host.record()->watchdogCounter = 9;
        host.feed(part(whole, 0, middle));
        host.settle();
        EXPECT_EQ(host.record()->watchdogCounter, 9);
        host.feed(part(whole, middle, whole.size()));
        host.settle();
        EXPECT_EQ(host.record()->watchdogCounter, 0);
        EXPECT_EQ(host.count("INF     _PhoneCall STARTS"), 1U);
    }
}

TEST_F(Threads, PollsWithoutRoomWhenAPacketNeverFits) {
    Host host;
    quarlo_SetFrameSize(host.handle(), 1, 1, 1, 1);
    host.run();
    const UInt32 start = quarlo_GetTimestamp();
    host.feed(u8(26) + u32(0) + u32(0x10000000) + Bytes(65536 + 4));
    // The buffer is full: 5 ms from poll to poll, not a spin, and the instance can be deleted.
    EXPECT_TRUE(host.waitUntil([&] { return host.polls() > 3; }));
    const std::size_t polls = host.polls();
    EXPECT_LE(polls, (quarlo_GetTimestamp() - start) / 5 + 2);
}

/* ---- starting ---- */

TEST_F(Threads, TellsWhyItDoesNotStart) {
    Host host;
    Int32 error = 5;
    EXPECT_EQ(quarlo_StartMainThreadEx(host.handle(), nullptr), 0);
    EXPECT_TRUE(host.has("WRN StartMainThread - errorNumber parameter is NULL"));
    EXPECT_EQ(quarlo_StartMainThreadEx(nullptr, &error), 0);
    EXPECT_EQ(error, 0);
    quarlo_SetReceiverLink(host.handle(), nullptr);
    EXPECT_EQ(quarlo_StartMainThreadEx(host.handle(), &error), 0);
    EXPECT_EQ(error, 0);
    EXPECT_TRUE(host.has(
        "WRN StartMainThread - sender and/or receiver link not set; will not start MainThread"));
}

TEST_F(Threads, ReportsThreadsThatCannotBeCreated) {
    // The initialisation timer's, without which the receiver runs, and the receiver's.
    for (const bool isTimer : {true, false}) {
        Host host;
        Int32 error = 0;
        quarlo_SetInitialisationTimeout(host.handle(), 9);
        supervision::refuseThread(isTimer ? 1 : 2);
        EXPECT_EQ(quarlo_StartMainThreadEx(host.handle(), &error), isTimer);
        EXPECT_EQ(error, EAGAIN);
        EXPECT_EQ(host.record()->waitForInitTime, isTimer ? 0 : 9);
        EXPECT_EQ(host.record()->mainThreadRunning, isTimer);
        EXPECT_TRUE(
            host.has(isTimer ? "WRN StartMainThread - initialization timer thread create failed."
                             : "ERR start main thread (receiver) FAILED with error code 11"));
        EXPECT_EQ(host.has("error RECEIVER_START_FAILED"), !isTimer);
        // Another start tells whether it is running.
        EXPECT_EQ(quarlo_StartMainThreadEx(host.handle(), &error), 1);
        EXPECT_EQ(error, isTimer ? 1 : 0);
    }
}

/** An end before RUN is reported to the initialisation timer, and the next start is like the first.
 */
TEST_F(Threads, StartsAgainAfterEveryEnd) {
    Host host;
    for (std::size_t round = 1; round <= 3; ++round) {
        quarlo_SetInitialisationTimeout(host.handle(), 250);
        host.start();
        ASSERT_TRUE(host.waitUntil(
            [&] { return host.record()->currentState == ePROTOCOL_STATE_HANDSHAKE; }));
        host.endLink();
        const auto hasCome = [&](const char* line) {
            return host.waitUntil([&] { return host.count(line) == round; });
        };
        EXPECT_TRUE(hasCome("error INITIALIZATION_ABORT"));
        EXPECT_TRUE(hasCome("ERR Init timeout thread created and/or running"));
        // A timer that is ended before it has left the round before says nothing in its own.
        EXPECT_TRUE(host.waitUntil([&] { return !host.record()->initTimerThread.isServing(); }));
        EXPECT_EQ(host.count("INF WaitForInitThread: ends now."), round);
        host.reopenLink();
    }
    EXPECT_EQ(host.linesWith("error ").size(), 3U);
}

/* ---- the whole life ---- */

/** Keeps what each thread says apart, without versions, and cut where addresses and numbers of
 * instances begin.
 */
class ThreadLines : public Host {
  public:
    ~ThreadLines() override { remove(); }

    void traced(eTraceClass traceClass, const char* line) override {
        char thread[16];
        pthread_getname_np(pthread_self(), thread, sizeof thread);
        const std::string text = std::string(quarlo_getTraceClassPrefix(traceClass)) + line;
        if (text.rfind("INF     ", 0) != 0) {
            const std::lock_guard lock(mutex);
            said[thread].push_back(text.substr(0, std::min(text.find("0x"), text.find('#'))));
        }
        Host::traced(traceClass, line);
    }
    Lines of(const std::string& thread) {
        const std::lock_guard lock(mutex);
        return said[thread];
    }

  private:
    std::mutex mutex;
    std::map<std::string, Lines> said;
};

TEST_F(Threads, TellTheLifeOfAnInstance) {
    ThreadLines host;
    quarlo_SetInitialisationTimeout(host.handle(), 250);
    quarlo_EnablePingWatchdog(host.handle(), 1, 250);
    host.run();
    EXPECT_TRUE(host.waitFor("INF WaitForInitThread: ends now."));
    EXPECT_TRUE(host.waitUntil([&] { return !host.record()->initTimerThread.isServing(); }));
    EXPECT_TRUE(host.waitFor("INF watchdog thread started."));
    host.remove();
    char thread[16];
    pthread_getname_np(pthread_self(), thread, sizeof thread);
    EXPECT_EQ(textOf(host.of(thread)),
              "INF InitialisationTimeout\n"
              "VER     init timeout is 250 seconds\n"
              "INF quarlo_EnablePingWatchdog\n"
              "INF Enable == TRUE\n"
              "VER set watchdogStartPending to TRUE due to protocol status != RUN\n"
              "INF Allocate Receive Buffer\n"
              "VER     buffer size = 5308416\n"
              "INF ----------------------------------\n"
              "INF Version information:\n"
              "INF ----------------------------------\n"
              "INF StartMainThread - start initialization timeout\n"
              "INF init timeout thread handle = \n"
              "INF Start main thread (receiver)\n"
              "INF main thread handle = \n"
              "INF about to delete instance \n"
              "INF main thread handle = \n"
              "INF watchdog thread handle = \n"
              "INF initialization timeout thread no (longer) running\n"
              "INF DeleteInstance - end watchdog thread\n"
              "INF DeleteInstance - watchdog thread ended\n"
              "INF DeleteInstance - end main receiver thread\n"
              "INF DeleteInstance - end flag set\n"
              "INF DeleteInstance - end receiver request\n"
              "INF DeleteInstance - waiting for join: main thread\n"
              "INF DeleteInstance: decompression buffer is NULL\n"
              "INF DeleteInstance: scale buffer is NULL\n");
    EXPECT_EQ(host.of("quarlo WAITINIT"),
              (Lines{"INF WaitForInitThread: started; going to sleep now.",
                     "INF WaitForInitThread: ends now."}));
    EXPECT_EQ(host.of("quarlo PING WD"),
              (Lines{"INF watchdog thread started.", "INF watchdog thread ends now."}));
    const Lines receiver = host.of("quarlo RECEIVER");
    EXPECT_EQ(
        Lines(receiver.end() - std::min<std::ptrdiff_t>(6, std::ssize(receiver)), receiver.end()),
        (Lines{"VER protocol handler: watchdog pending true; starting now.",
               "INF quarlo_EnablePingWatchdog", "INF Enable == TRUE",
               "VER create watchdog thread succeeded.",
               "INF watchdog thread handle = ", "INF Receive data thread ends now."}));

    ThreadLines idle;
    idle.remove();
    EXPECT_EQ(textOf(idle.of(thread)),
              "INF about to delete instance \n"
              "INF main thread is not running.\n"
              "INF watchdog thread no (longer) running\n"
              "INF initialization timeout thread no (longer) running\n"
              "INF DeleteInstance - end main receiver thread\n"
              "WRN main receiver thread is not (longer) running.\n"
              "INF DeleteInstance: receiveBuffer is NULL\n"
              "INF DeleteInstance: decompression buffer is NULL\n"
              "INF DeleteInstance: scale buffer is NULL\n");
}

/* ---- initialisation timer ---- */

TEST_F(Threads, ReportsAHandshakeThatDoesNotEnd) {
    Host host;
    quarlo_SetInitialisationTimeout(host.handle(), 3);
    host.start();
    ASSERT_TRUE(host.waitFor("error INITIALIZATION_TIMEOUT"));
    EXPECT_TRUE(host.has("INF WaitForInitThread: wait time is over."));
    EXPECT_EQ(host.record()->mainThreadRunning, 1);
    EXPECT_EQ(host.record()->currentState, ePROTOCOL_STATE_HANDSHAKE);
}

TEST_F(Threads, TakesTheInitialisationTimeOnlyWhileStopped) {
    Host host;
    quarlo_SetInitialisationTimeout(host.handle(), 7);
    EXPECT_EQ(host.record()->waitForInitTime, 7);
    EXPECT_EQ(host.lines(),
              (Lines{"INF InitialisationTimeout", "VER     init timeout is 7 seconds"}));
    host.record()->currentState = ePROTOCOL_STATE_INIT_DONE;
    quarlo_SetInitialisationTimeout(host.handle(), 9);
    EXPECT_TRUE(host.has("INF InitialisationTimeout not set due to state != NONE or STOP"));
    host.record()->currentState = static_cast<eProtocolState>(42);
    quarlo_SetInitialisationTimeout(host.handle(), 9);
    EXPECT_TRUE(host.has("WRN InitialisationTimeout not set due to unknown protocol state"));
    EXPECT_EQ(host.record()->waitForInitTime, 7);
    host.record()->currentState = ePROTOCOL_STATE_STOP;
}

/* ---- watchdog ---- */

TEST_F(Threads, WatchdogStartsAtRunAndReportsSilenceOnce) {
    Host host;
    quarlo_EnablePingWatchdog(host.handle(), 1, 255);
    EXPECT_TRUE(host.has("VER set watchdogStartPending to TRUE due to protocol status != RUN"));
    quarlo_EnablePingWatchdog(host.handle(), 0, 255);
    EXPECT_TRUE(host.has("VER set watchdogStartPending to FALSE"));
    quarlo_EnablePingWatchdog(host.handle(), 1, 255);
    host.run();
    EXPECT_TRUE(host.has("VER protocol handler: watchdog pending true; starting now."));
    quarlo_EnablePingWatchdog(host.handle(), 1, 255);
    EXPECT_TRUE(host.has("WRN watchdog is already running."));
    quarlo_EnablePingWatchdog(host.handle(), 0, 255);
    EXPECT_EQ(host.linesWith("error "), Lines{});
    for (int times = 0; times < 2; ++times) {
        host.forgetLines();
        quarlo_EnablePingWatchdog(host.handle(), 1, 1);
        ASSERT_TRUE(host.waitFor("INF watchdog thread ends now."));
        host.waitUntil([&] { return !host.record()->watchdogThread.isServing(); });
        EXPECT_EQ(host.linesWith("error "), Lines{"error CONNECTION_TIMEOUT"});
        EXPECT_EQ(host.record()->currentState, ePROTOCOL_STATE_RUN);
    }
}

TEST_F(Threads, WatchdogAnswersEverySecondSilentPeriod) {
    Host host;
    host.run();
    host.feed(packet(128, u32(41)));
    host.settle();
    host.forgetSent();
    quarlo_SendPingAckOnWatchdog(host.handle(), 1);
    quarlo_EnablePingWatchdog(host.handle(), 1, 1);
    const std::vector<Bytes> sent = host.waitForSent(3);
    ASSERT_GE(sent.size(), 3U);
    for (const Bytes& bytes : sent) EXPECT_EQ(hex(bytes), hex(packet(129, u32(41))));
    EXPECT_EQ(host.linesWith("error "), Lines{});
    EXPECT_GE(host.count("WRN watchdog timeout"), sent.size());
    quarlo_EnablePingWatchdog(host.handle(), 1, 0);
    EXPECT_TRUE(host.has("VER running watchdog stopped."));
    EXPECT_FALSE(host.record()->watchdogThread.isServing());
}

TEST_F(Threads, WatchdogThatCannotBeCreated) {
    Host host;
    host.run();
    supervision::refuseThread(1);
    quarlo_EnablePingWatchdog(host.handle(), 1, 1);
    EXPECT_TRUE(host.has("WRN create watchdog thread FAILED."));
    EXPECT_FALSE(host.record()->watchdogThread.isServing());
}

/* ---- teardown ---- */

std::atomic<bool> isStuck{false};

/** A link that never returns, and may be cancelled anywhere. */
std::size_t stay(void*, UInt8*, std::size_t, void*) {
    isStuck = true;
    while (true) usleep(1000);
}

/** Also when there can be no join timer: whoever deletes waits then. */
TEST_F(Threads, CancelsAReceiverThatStaysInItsLink) {
    const std::tuple<UInt8, long, bool> cases[] = {
        {0, 0, false}, {1, 0, false}, {2, 0, true}, {0, 0, true}, {1, 1, false}};
    for (const auto& [joinTime, refusedThread, isInRun] : cases) {
        Host host;
        isStuck = false;
        quarlo_SetEndReceiverRequestCallback(host.handle(), nullptr);
        quarlo_SetWaitForJoinTimeout(host.handle(), joinTime);
        if (isInRun) host.run();
        quarlo_SetReceiverLink(host.handle(), &stay);
        if (isInRun) {
            quarlo_EnablePingWatchdog(host.handle(), 1, 255);
            host.feed(packet(128, u32(2)));
        } else {
            host.start();
        }
        EXPECT_TRUE(host.waitUntil([] { return isStuck.load(); }));
        supervision::refuseThread(refusedThread);
        host.remove();
        EXPECT_EQ(supervision::unjoined(), 0);
    }
}

TEST_F(Threads, TracesTheTeardownInItsOrder) {
    Host host;
    host.run();
    host.forgetLines();
    host.remove();
    const Lines expected = {"INF watchdog thread no (longer) running",
                            "INF initialization timeout thread no (longer) running",
                            "INF DeleteInstance - end main receiver thread",
                            "INF DeleteInstance - end flag set",
                            "INF DeleteInstance - end receiver request",
                            "INF DeleteInstance - waiting for join: main thread",
                            "INF DeleteInstance: decompression buffer is NULL",
                            "INF DeleteInstance: scale buffer is NULL"};
    Lines seen;
    for (const std::string& line : host.lines()) {
        if (std::count(expected.begin(), expected.end(), line) != 0) seen.push_back(line);
    }
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(host.lines()[0].find("INF about to delete instance #"), 0U);
    EXPECT_EQ(host.lines()[1].find("INF main thread handle = 0x"), 0U);
    EXPECT_TRUE(host.linesWith("error ").empty());
}

TEST_F(Threads, TearsDownARecordOnlyOnce) {
    Host host;
    EXPECT_EQ(listFreeElementDataInstance(nullptr), eRETURN_NULL_HANDLE);
    EXPECT_EQ(listFreeElementDataInstance(&host.record()->list), eRETURN_OKAY);
    EXPECT_EQ(listFreeElementDataInstance(&host.record()->list), eRETURN_PARAM_VALUE);
    EXPECT_TRUE(host.has("WRN This instance has already been deleted."));
    EXPECT_TRUE(host.has("WRN main receiver thread is not (longer) running."));
}

/* ---- threads that begin late or end early ---- */

class ThreadOrder : public Threads {
  protected:
    Host host;

    void TearDown() override {
        supervision::holdThreads(false);
        host.remove();
        Threads::TearDown();
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
