/* How the receiver ends, the supervision threads, and the teardown in every state. */
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "Host.h"
#include "Supervision.h"

namespace quarlo::test {
namespace {

using namespace std::chrono_literals;

class Threads : public ::testing::Test {
  protected:
    Library library;

    void TearDown() override {
        supervision::refuseThread(0);
        EXPECT_EQ(supervision::wrongJoins(), 0);
    }
    static bool waitForEnd(Host& host) {
        return host.waitUntil([&] { return host.record()->mainThreadTerminatedRegular != 0; });
    }
};

/* ---- ends of the receiver ---- */

TEST_F(Threads, EndsAsTheLinkSays) {
    struct End {
        std::ptrdiff_t result;
        const char* trace;
        std::vector<std::string> reports;
    };
    const End ends[] = {{-1,
                         "ERR Unexpected EOF on connection detected [1]. Stop service.",
                         {"error PROTOCOL_STOP"}},
                        {-2,
                         "ERR Reader returned negative number. Stop service.",
                         {"error CONNECTION_EOF_ZERO", "error PROTOCOL_STOP"}},
                        {-77,
                         "ERR Reader returned negative number. Stop service.",
                         {"error CONNECTION_EOF_ZERO", "error PROTOCOL_STOP"}},
                        {0x7FFFFFFF,
                         "ERR Reader returned negative number. Stop service.",
                         {"error CONNECTION_EOF_ZERO", "error PROTOCOL_STOP"}}};
    for (const End& end : ends) {
        Host host;
        host.run();
        host.endLink(end.result);
        ASSERT_TRUE(waitForEnd(host));
        EXPECT_TRUE(host.has(end.trace));
        EXPECT_EQ(host.linesWith("error "), end.reports);
        EXPECT_EQ(host.linesWith("state "), (std::vector<std::string>{"state RUN", "state STOP"}));
        EXPECT_EQ(host.record()->receiverThread.endFlag, 1);
    }
}

TEST_F(Threads, EndsOnAnUnknownPacketAndDropsTheRest) {
    Host host;
    host.run();
    host.feed(packet(36, u8(1) + u8(1)) + packet(129, u32(1)) + packet(36, u8(1) + u8(0)));
    ASSERT_TRUE(waitForEnd(host));
    EXPECT_EQ(host.count("INF ServerState"), 1U);
    EXPECT_TRUE(host.has("ERR QUARLO_Receive() returned error code 2."));
    EXPECT_EQ(host.linesWith("error "),
              (std::vector<std::string>{"error MESSAGE_PROCESSING_FAILED", "error PROTOCOL_STOP"}));
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
    EXPECT_EQ(host.linesWith("error "), std::vector<std::string>{"error PROTOCOL_STOP"});
    EXPECT_EQ(host.linesWith("state "), (std::vector<std::string>{"state RUN", "state STOP"}));
}

TEST_F(Threads, ReportsAnEndBeforeRunToTheInitialisationTimer) {
    Host host;
    quarlo_SetInitialisationTimeout(host.handle(), 60);
    host.start();
    host.waitForSent(1);
    host.endLink();
    ASSERT_TRUE(host.waitFor("error INITIALIZATION_ABORT"));
    EXPECT_TRUE(host.has("ERR Init timeout thread created and/or running"));
    EXPECT_TRUE(host.waitFor("INF WaitForInitThread: ends now."));
    EXPECT_EQ(host.linesWith("error ").size(), 1U);
}

TEST_F(Threads, DoesNotReportAnAbortAfterRun) {
    Host host;
    quarlo_SetInitialisationTimeout(host.handle(), 60);
    host.run();
    host.endLink();
    ASSERT_TRUE(waitForEnd(host));
    EXPECT_TRUE(host.waitFor("INF WaitForInitThread: ends now."));
    EXPECT_EQ(host.linesWith("error "), std::vector<std::string>{"error PROTOCOL_STOP"});
}

TEST_F(Threads, KeepsAPacketThatComesInPieces) {
    Host host;
    host.run();
    host.forgetLines();
    const Bytes two = packet(36, u8(1) + u8(1)) + packet(36, u8(1) + u8(0));
    for (std::size_t first = 1; first < two.size(); ++first) {
        host.record()->watchdogCounter = 9;
        host.feed(Bytes(two.begin(), two.begin() + static_cast<std::ptrdiff_t>(first)));
        host.settle();
        EXPECT_EQ(host.record()->watchdogCounter, first < 11 ? 9 : 0);
        host.feed(Bytes(two.begin() + static_cast<std::ptrdiff_t>(first), two.end()));
        host.settle();
        EXPECT_EQ(host.count("INF     _PhoneCall ENDS"), first);
    }
    EXPECT_EQ(host.count("INF     _PhoneCall STARTS"), two.size() - 1);
}

TEST_F(Threads, PollsWithoutRoomWhenAPacketNeverFits) {
    Host host;
    quarlo_SetFrameSize(host.handle(), 1, 1, 1, 1);
    host.run();
    host.feed(u8(26) + u32(0) + u32(0x10000000) + Bytes(65536 + 4));
    std::this_thread::sleep_for(60ms);
    // The buffer is full: some polls, not a spin, and the instance can still be deleted.
    EXPECT_EQ(host.record()->mainThreadRunning, 1);
    EXPECT_LT(host.polls(), 60U);
    EXPECT_GT(host.polls(), 2U);
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
    Int32 error = 0;
    Host timed;
    quarlo_SetInitialisationTimeout(timed.handle(), 9);
    supervision::refuseThread(1);
    EXPECT_EQ(quarlo_StartMainThreadEx(timed.handle(), &error), 1);
    EXPECT_EQ(error, EAGAIN);
    EXPECT_TRUE(timed.has("WRN StartMainThread - initialization timer thread create failed."));
    EXPECT_EQ(timed.record()->waitForInitTime, 0);
    EXPECT_EQ(quarlo_StartMainThreadEx(timed.handle(), &error), 1);
    EXPECT_EQ(error, 1);

    Host received;
    quarlo_SetInitialisationTimeout(received.handle(), 9);
    supervision::refuseThread(2);
    EXPECT_EQ(quarlo_StartMainThreadEx(received.handle(), &error), 0);
    EXPECT_EQ(error, EAGAIN);
    EXPECT_TRUE(received.has("ERR start main thread (receiver) FAILED with error code 11"));
    EXPECT_TRUE(received.has("error RECEIVER_START_FAILED"));
    EXPECT_EQ(received.record()->mainThreadRunning, 0);
    EXPECT_EQ(quarlo_StartMainThreadEx(received.handle(), &error), 1);
    EXPECT_EQ(error, 0);
}

TEST_F(Threads, StartsAgainAfterEveryEnd) {
    Host host;
    for (int round = 0; round < 3; ++round) {
        quarlo_SetInitialisationTimeout(host.handle(), 30);
        host.start();
        ASSERT_TRUE(host.waitUntil(
            [&] { return host.record()->currentState == ePROTOCOL_STATE_HANDSHAKE; }));
        host.endLink();
        ASSERT_TRUE(waitForEnd(host));
        host.reopenLink();
    }
    EXPECT_TRUE(host.waitUntil([&] { return host.count("error INITIALIZATION_ABORT") == 3; }));
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
    EXPECT_EQ(host.lines(), (std::vector<std::string>{"INF InitialisationTimeout",
                                                      "VER     init timeout is 7 seconds"}));
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
    quarlo_EnablePingWatchdog(host.handle(), 1, 15);
    EXPECT_TRUE(host.has("VER set watchdogStartPending to TRUE due to protocol status != RUN"));
    host.run();
    EXPECT_TRUE(host.has("VER protocol handler: watchdog pending true; starting now."));
    quarlo_EnablePingWatchdog(host.handle(), 1, 15);
    EXPECT_TRUE(host.has("WRN watchdog is already running."));
    ASSERT_TRUE(host.waitFor("error CONNECTION_TIMEOUT"));
    ASSERT_TRUE(host.waitFor("INF watchdog thread ends now."));
    EXPECT_EQ(host.count("error CONNECTION_TIMEOUT"), 1U);
    EXPECT_EQ(host.record()->currentState, ePROTOCOL_STATE_RUN);
    host.waitUntil([&] { return !host.record()->watchdogThread.isServing(); });
    host.forgetLines();
    quarlo_EnablePingWatchdog(host.handle(), 1, 1);
    EXPECT_TRUE(host.waitFor("error CONNECTION_TIMEOUT"));
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
    EXPECT_EQ(host.linesWith("error ").size(), 0U);
    EXPECT_GE(host.count("WRN watchdog timeout"), sent.size());
    quarlo_EnablePingWatchdog(host.handle(), 1, 0);
    EXPECT_TRUE(host.has("VER running watchdog stopped."));
    EXPECT_FALSE(host.record()->watchdogThread.isServing());
}

TEST_F(Threads, WatchdogSeesLifeInEveryConsumption) {
    Host host;
    host.run();
    quarlo_EnablePingWatchdog(host.handle(), 1, 4);
    for (int i = 0; i < 12; ++i) {
        host.feed(packet(36, u8(1) + u8(1)));
        std::this_thread::sleep_for(std::chrono::milliseconds(supervision::second));
    }
    EXPECT_EQ(host.linesWith("error ").size(), 0U);
    quarlo_EnablePingWatchdog(host.handle(), 0, 4);
    EXPECT_EQ(host.linesWith("WRN watchdog timeout").size(), 0U);
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

/**
 * A host that may be cancelled anywhere in its links: nothing but blocking calls on a socket pair.
 * Its phone reads whole packets and answers them.
 */
class Blocked {
  public:
    Blocked() : handle(quarlo_CreateInstance(this, "blocked")) {
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) ends[0] = ends[1] = -1;
        quarlo_SetCallbackContext(handle, this);
        quarlo_SetTraceOutput(handle, nullptr);
        quarlo_SetInitialisationTimeout(handle, 0);
        quarlo_SetSenderLink(handle, [](void* context, UInt8* data, std::size_t size, void*) {
            auto& self = *static_cast<Blocked*>(context);
            if (self.blocksInSender) {
                self.block();
            } else if (write(self.ends[0], data, size) < 0) {
                self.isBlocked = true;
            }
        });
        quarlo_SetReceiverLink(handle, [](void* context, UInt8* data, std::size_t size, void*) {
            auto& self = *static_cast<Blocked*>(context);
            self.isBlocked = true;
            return static_cast<std::size_t>(read(self.ends[0], data, size));
        });
    }
    ~Blocked() {
        close(ends[0]);
        close(ends[1]);
    }
    Blocked(const Blocked&) = delete;
    Blocked& operator=(const Blocked&) = delete;

    void block() {
        isBlocked = true;
        char byte = 0;
        while (read(ends[0], &byte, 1) < 0) {
        }
    }
    void start() {
        quarlo_StartMainThread(handle);
        while (!isBlocked) std::this_thread::yield();
    }
    /** The type of the next packet that the library sends. */
    unsigned nextPacket() const {
        UInt8 header[9] = {};
        readAll(header, sizeof header);
        Bytes payload(std::size_t{header[5]} + 256U * header[6]);
        readAll(payload.data(), payload.size());
        return header[0];
    }
    void answer(const Bytes& bytes) const {
        EXPECT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    /** Answers the handshake until the version has been announced. */
    void run() {
        start();
        EXPECT_EQ(nextPacket(), 1U);
        answer(packet(2, u8(1)));
        EXPECT_EQ(nextPacket(), 11U);
        answer(packet(12, u8(1)) + Host::serverInit() + packet(18, u8(1)));
        while (nextPacket() != 17U) {
        }
        answer(packet(128, u32(1)));
        while (nextPacket() != 67U) {
        }
    }

    void* handle;
    std::atomic<bool> isBlocked{false};
    bool blocksInSender = false;
    int ends[2] = {-1, -1};

  private:
    void readAll(UInt8* bytes, std::size_t size) const {
        for (std::size_t got = 0; got < size;) {
            const ssize_t count = read(ends[1], bytes + got, size - got);
            if (count <= 0) return;
            got += static_cast<std::size_t>(count);
        }
    }
};

TEST_F(Threads, CancelsAReceiverThatStaysInTheHostsCode) {
    for (const bool inSender : {false, true}) {
        for (const UInt8 joinTime : {UInt8{0}, UInt8{1}, UInt8{2}}) {
            Blocked blocked;
            blocked.blocksInSender = inSender;
            quarlo_SetWaitForJoinTimeout(blocked.handle, joinTime);
            blocked.start();
            quarlo_DeleteInstance(blocked.handle);
            EXPECT_EQ(supervision::unjoined(), 0);
        }
    }
}

TEST_F(Threads, CancelsAConnectionInRun) {
    for (const UInt8 joinTime : {UInt8{0}, UInt8{1}}) {
        Blocked blocked;
        quarlo_SetWaitForJoinTimeout(blocked.handle, joinTime);
        blocked.run();
        quarlo_EnablePingWatchdog(blocked.handle, 1, 9);
        quarlo_DeleteInstance(blocked.handle);
        EXPECT_EQ(supervision::unjoined(), 0);
    }
}

TEST_F(Threads, CancelsWithoutAJoinTimer) {
    Blocked blocked;
    quarlo_SetWaitForJoinTimeout(blocked.handle, 1);
    blocked.start();
    supervision::refuseThread(1);
    quarlo_DeleteInstance(blocked.handle);
    EXPECT_EQ(supervision::unjoined(), 0);
}

TEST_F(Threads, DeletesInEveryState) {
    const auto untouched = [](Host&) {};
    const auto started = [](Host& host) { host.start(); };
    const auto shaking = [](Host& host) {
        host.start();
        host.waitForSent(1);
        host.feed(packet(2, u8(1)));
    };
    const auto running = [](Host& host) { host.run(); };
    const auto watched = [](Host& host) {
        quarlo_SetInitialisationTimeout(host.handle(), 5);
        host.run();
        quarlo_EnablePingWatchdog(host.handle(), 1, 5);
    };
    const auto ended = [](Host& host) {
        host.run();
        host.endLink();
        host.waitUntil([&] { return host.record()->mainThreadRunning == 0; });
    };
    const auto announced = [](Host& host) {
        host.run();
        quarlo_AnnounceShutdown(host.handle());
    };
    const std::function<void(Host&)> states[] = {untouched, started, shaking,  running,
                                                 watched,   ended,   announced};
    for (const auto& bring : states) {
        Host host;
        bring(host);
        host.remove();
        EXPECT_EQ(supervision::unjoined(), 0);
    }
}

TEST_F(Threads, TracesTheTeardownInItsOrder) {
    Host host;
    host.run();
    host.forgetLines();
    host.remove();
    const std::vector<std::string> expected = {
        "INF watchdog thread no (longer) running",
        "INF initialization timeout thread no (longer) running",
        "INF DeleteInstance - end main receiver thread",
        "INF DeleteInstance - end flag set",
        "INF DeleteInstance - end receiver request",
        "INF DeleteInstance - waiting for join: main thread",
        "INF DeleteInstance: decompression buffer is NULL",
        "INF DeleteInstance: scale buffer is NULL"};
    std::vector<std::string> seen;
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

}  // namespace
}  // namespace quarlo::test
