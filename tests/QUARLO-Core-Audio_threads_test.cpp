/* The audio timers: what ages, what fires, and who ends them. A second lasts 20 milliseconds here.
 */
#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

#include "Calls.h"
#include "Radio.h"
#include "Supervision.h"

namespace quarlo::test {
namespace {

const std::string timedOut = "WRN audio timeout";
const std::string ended = "INF audio timeout thread ends now.";

class AudioTimer : public ::testing::Test {
  protected:
    void TearDown() override {
        supervision::refuseThread(0);
        EXPECT_EQ(supervision::wrongJoins(), 0);
    }
    /** Timers created and not yet joined; the rest are receivers. */
    static long timers(long instances = 1) { return supervision::unjoined() - instances; }
    static void passSeconds(unsigned count) {
        std::this_thread::sleep_for(std::chrono::milliseconds(count * supervision::second));
    }
    static bool waitForCount(Radio& radio, UInt32 id, UInt32 count) {
        return radio.host.waitUntil([&] { return Radio::source(id).timerCount >= count; });
    }
    /** A request that the host opens. */
    static void open(Radio& radio, UInt32 id, AudioType type, unsigned duration) {
        radio.ask(id, type, duration);
        radio.host.forgetLines();
        EXPECT_EQ(radio.answer(id, eAUDIOSTATUS_Open), eRETURN_OKAY);
    }
    static void expectClosed(Radio& radio, UInt32 id) {
        EXPECT_EQ(radio.answer(id, eAUDIOSTATUS_Close), eRETURN_OKAY);
        EXPECT_EQ(timers(), 0);
        EXPECT_EQ(Radio::sources(), Lines{});
    }
};

constexpr unsigned never = 60000;

TEST_F(AudioTimer, FiresAsIfThePhoneHadReleased) {
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Chime, 3);
    EXPECT_EQ(timers(), 0);
    radio.answer(5, eAUDIOSTATUS_Open);
    EXPECT_EQ(radio.host.linesWith("INF audio timeout (ID 5) thread handle = 0x").size(), 1U);
    ASSERT_TRUE(radio.host.waitFor("AudioRequest 5 5 4"));
    ASSERT_TRUE(radio.host.waitFor(ended));
    EXPECT_EQ(radio.host.count("INF audio timeout thread started."), 1U);
    EXPECT_EQ(radio.host.count(timedOut), 1U);
    EXPECT_EQ(Radio::sources(), Lines{"5 type 4 status 3 released"});
    // The phone's own release comes too late to be told.
    EXPECT_EQ(radio.giveBack(5, eAUDIOTYPE_Chime).size(), 1U);
    expectClosed(radio, 5);

    quarlo_SetAudioRequestCallback(radio.handle(), nullptr);
    open(radio, 5, eAUDIOTYPE_Chime, 1);
    ASSERT_TRUE(radio.host.waitFor(ended));
    EXPECT_TRUE(radio.host.has(timedOut));
    EXPECT_EQ(Radio::sources(), Lines{"5 type 4 status 3"});
    expectClosed(radio, 5);
}

TEST_F(AudioTimer, DoesNotAgeWhileSuspended) {
    Radio radio;
    open(radio, 5, eAUDIOTYPE_Main, 20);
    ASSERT_TRUE(waitForCount(radio, 5, 2));
    radio.answer(5, eAUDIOSTATUS_Suspend);
    const UInt32 counted = Radio::source(5).timerCount;
    passSeconds(25);
    EXPECT_FALSE(radio.host.has(timedOut));
    EXPECT_EQ(Radio::source(5).timerCount, counted);
    // It goes on where it was, with the same thread.
    radio.answer(5, eAUDIOSTATUS_Open);
    EXPECT_GE(Radio::source(5).timerCount, counted);
    ASSERT_TRUE(radio.host.waitFor("AudioRequest 5 5 3"));
    EXPECT_EQ(radio.host.count("INF audio timeout thread started."), 1U);
}

TEST_F(AudioTimer, StartsAgainWhenOpenedOrAskedAgain) {
    constexpr UInt32 aWhile = 50;
    Radio radio;
    open(radio, 5, eAUDIOTYPE_Main, never);
    open(radio, 6, eAUDIOTYPE_Chime, never);
    ASSERT_TRUE(waitForCount(radio, 6, aWhile));
    radio.answer(6, eAUDIOSTATUS_Open);
    EXPECT_LT(Radio::source(6).timerCount, aWhile);
    EXPECT_EQ(radio.ask(5, eAUDIOTYPE_Main, never / 2).back(),
              "INF Request: timer re-triggered for requestID 5.");
    EXPECT_LT(Radio::source(5).timerCount, aWhile);
    EXPECT_EQ(Radio::source(5).duration, never / 2);
    const std::string refused = "WRN Request: entry already existent for requestID ";
    EXPECT_EQ(radio.ask(6, eAUDIOTYPE_Chime, 50).back(), refused + "6; request ignored.");
    EXPECT_EQ(Radio::source(6).duration, never);
    EXPECT_EQ(timers(), 2);
    radio.ask(5, eAUDIOTYPE_Main, 1);
    ASSERT_TRUE(radio.host.waitFor("AudioRequest 5 5 3"));
    EXPECT_EQ(radio.host.count(timedOut), 1U);
    ASSERT_TRUE(radio.host.waitUntil([&] { return !Radio::source(5).hasTimer; }));
    EXPECT_EQ(radio.ask(5, eAUDIOTYPE_Main, 50).back(), refused + "5; request ignored.");
}

TEST_F(AudioTimer, WithoutALimitNeverFires) {
    Radio radio;
    open(radio, 5, eAUDIOTYPE_Main, 20);
    radio.ask(5, eAUDIOTYPE_Main, 0);
    passSeconds(25);
    EXPECT_FALSE(radio.host.has(timedOut));
    expectClosed(radio, 5);
}

TEST_F(AudioTimer, EndsWithTheRelease) {
    Radio radio;
    open(radio, 5, eAUDIOTYPE_Main, never);
    radio.giveBack(5, eAUDIOTYPE_Main);
    ASSERT_TRUE(radio.host.waitFor(ended));
    ASSERT_TRUE(radio.host.waitUntil([&] { return !Radio::source(5).hasTimer; }));
    EXPECT_FALSE(radio.host.has(timedOut));
    // Opened again: a timer of its own, after the old one was joined.
    radio.host.forgetLines();
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Open), eRETURN_OKAY);
    EXPECT_EQ(timers(), 1);
    EXPECT_TRUE(radio.host.waitFor("INF audio timeout thread started."));
    expectClosed(radio, 5);
}

TEST_F(AudioTimer, IsToldToEndBeforeItRuns) {
    // The end must not be lost, however early it comes.
    Radio radio;
    for (int i = 0; i < 50; ++i) {
        open(radio, 5, eAUDIOTYPE_Main, never);
        const AudioStatus end = i % 2 == 0 ? eAUDIOSTATUS_Close : eAUDIOSTATUS_Reject;
        EXPECT_EQ(radio.answer(5, end), eRETURN_OKAY);
        EXPECT_EQ(timers(), 0);
    }
    EXPECT_EQ(Radio::sources(), Lines{});
}

TEST_F(AudioTimer, ThatCannotBeCreatedLeavesTheSourceOpen) {
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Main, 1);
    supervision::refuseThread(1);
    EXPECT_EQ(radio.call(quarlo_SetAudioStatus, 5, eAUDIOSTATUS_Open, {}),
              Lines({"INF SetAudioStatus requestID=5 status=Open",
                     "INF pending open request acknowledged",
                     "WRN SetAudioStatus - timeout thread create failed."}) +
                  sending(packet(59, u32(5) + u8(3) + u8(0))));
    EXPECT_EQ(mixed(), 3U);
    EXPECT_EQ(timers(), 0);
    // The next answer tries again.
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Open), eRETURN_OKAY);
    EXPECT_EQ(timers(), 1);
    EXPECT_TRUE(radio.host.waitFor("AudioRequest 5 5 3"));
}

/* ---- answers on the timer's own thread ---- */

TEST_F(AudioTimer, MayBeAnsweredFromItsOwnCallback) {
    const struct {
        AudioStatus answer;
        unsigned timeouts;
        Lines sources;
    } answers[] = {{eAUDIOSTATUS_Close, 1, {}},
                   {eAUDIOSTATUS_Reject, 1, {}},
                   {eAUDIOSTATUS_Suspend, 1, {"5 type 3 status 4 released"}},
                   // It goes on, finds the release told already the second time, and ends.
                   {eAUDIOSTATUS_Open, 2, {"5 type 3 status 3 released"}}};
    for (const auto& a : answers) {
        Radio radio;
        radio.onRelease([&](UInt32 id) { EXPECT_EQ(radio.answer(id, a.answer), eRETURN_OKAY); });
        open(radio, 5, eAUDIOTYPE_Main, 2);
        ASSERT_TRUE(radio.host.waitFor(ended));
        EXPECT_EQ(radio.host.count(timedOut), a.timeouts);
        EXPECT_EQ(radio.host.count("AudioRequest 5 5 3"), 1U);
        EXPECT_EQ(radio.host.count("INF audio timeout thread started."), 1U);
        EXPECT_EQ(Radio::sources(), a.sources);
        EXPECT_EQ(mixed(), a.sources.empty() ? 2U : 3U);
        // The next request finds the thread at its end and joins it.
        EXPECT_TRUE(radio.host.waitUntil([&] {
            radio.ask(6, eAUDIOTYPE_Main, 0);
            return timers() == 0;
        }));
    }
}

TEST_F(AudioTimer, MayWaitInItsCallbackForAnotherCaller) {
    // The callback has closed its source and waits for what another thread holds meanwhile.
    std::mutex hosts;
    std::atomic<bool> isClosed{false};
    Radio radio;
    radio.onRelease([&](UInt32 id) {
        radio.answer(id, eAUDIOSTATUS_Close);
        isClosed = true;
        const std::lock_guard lock(hosts);
    });
    radio.ask(6, eAUDIOTYPE_Chime, 0);
    {
        const std::lock_guard lock(hosts);
        open(radio, 5, eAUDIOTYPE_Main, 1);
        ASSERT_TRUE(radio.host.waitUntil([&] { return isClosed.load(); }));
        EXPECT_EQ(radio.answer(6, eAUDIOSTATUS_Open), eRETURN_OKAY);
        EXPECT_EQ(radio.ask(7, eAUDIOTYPE_Chime, 0).back(), "AudioRequest 1 7 4");
    }
    EXPECT_TRUE(radio.host.waitFor(ended));
}

/* ---- ends ---- */

TEST_F(AudioTimer, OfADeletedInstanceAreEndedAndJoinedTogether) {
    constexpr unsigned count = 200;
    Radio stays;
    open(stays, 1, eAUDIOTYPE_Main, never);
    std::optional<Radio> radio(std::in_place);
    for (UInt32 id = 10; id < 10 + count; ++id) open(*radio, id, eAUDIOTYPE_Chime, never);
    EXPECT_EQ(timers(2), count + 1);
    const auto start = std::chrono::steady_clock::now();
    radio->host.remove();
    const std::chrono::duration<double, std::milli> taken =
        std::chrono::steady_clock::now() - start;
    EXPECT_EQ(timers(), 1);
    // Told to end one after the other they would need a second each.
    EXPECT_LT(taken.count(), count * supervision::second * 3 / 4);
    EXPECT_EQ(Radio::sources(), Lines{"1 type 3 status 3"});
    radio.reset();
    stays.host.remove();
    EXPECT_EQ(supervision::unjoined(), 0);
}

TEST_F(AudioTimer, StoppedOutsideRunIsJoined) {
    Radio radio;
    open(radio, 5, eAUDIOTYPE_Main, never);
    radio.host.endLink();
    ASSERT_TRUE(radio.host.waitFor("state STOP"));
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Close), eRETURN_STATE_NOT_RUN);
    EXPECT_FALSE(Radio::source(5).hasTimer);
    EXPECT_EQ(Radio::sources(), Lines{"5 type 3 status 6"});
}

TEST_F(AudioTimer, AreEndedByTheElementOperation) {
    Radio radio;
    open(radio, 5, eAUDIOTYPE_Main, never);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(listFreeElementDataAudio(audioSourceList.head.next), eRETURN_OKAY);
        EXPECT_EQ(timers(), 0);
    }
    expectClosed(radio, 5);
}

}  // namespace
}  // namespace quarlo::test
