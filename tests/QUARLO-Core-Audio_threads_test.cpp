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

class AudioTimer : public ::testing::Test {
  protected:
    void TearDown() override {
        supervision::refuseThread(0);
        supervision::holdThreads(false);
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
    static bool waitForEnd(Radio& radio) {
        return radio.host.waitFor("INF audio timeout thread ends now.");
    }

    const Library library;
};

constexpr unsigned never = 60000;

TEST_F(AudioTimer, FiresAsIfThePhoneHadReleased) {
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Chime, 3);
    EXPECT_EQ(timers(), 0);
    radio.forget();
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Open), eRETURN_OKAY);
    EXPECT_EQ(radio.host.linesWith("INF audio timeout (ID 5) thread handle = 0x").size(), 1U);
    ASSERT_TRUE(radio.host.waitFor("audio Release 5 4"));
    ASSERT_TRUE(waitForEnd(radio));
    EXPECT_EQ(radio.host.count("INF audio timeout thread started."), 1U);
    EXPECT_EQ(radio.host.count("WRN audio timeout"), 1U);
    EXPECT_EQ(Radio::sources(), Lines{"5 type 4 status 3 released"});
    // The phone's own release comes too late to be told.
    EXPECT_EQ(radio.giveBack(5, eAUDIOTYPE_Chime).size(), 1U);
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Close), eRETURN_OKAY);
    EXPECT_EQ(timers(), 0);
    EXPECT_EQ(Radio::sources(), Lines{});
}

TEST_F(AudioTimer, WithoutCallbackEndsTheSameWay) {
    Radio radio;
    quarlo_SetAudioRequestCallback(radio.handle(), nullptr);
    radio.ask(5, eAUDIOTYPE_Chime, 1);
    radio.answer(5, eAUDIOSTATUS_Open);
    ASSERT_TRUE(waitForEnd(radio));
    EXPECT_TRUE(radio.host.has("WRN audio timeout"));
    EXPECT_EQ(Radio::sources(), Lines{"5 type 4 status 3"});
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Close), eRETURN_OKAY);
    EXPECT_EQ(timers(), 0);
}

TEST_F(AudioTimer, DoesNotAgeWhileSuspended) {
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Main, 20);
    radio.answer(5, eAUDIOSTATUS_Open);
    ASSERT_TRUE(waitForCount(radio, 5, 2));
    radio.answer(5, eAUDIOSTATUS_Suspend);
    const UInt32 counted = Radio::source(5).timerCount;
    passSeconds(25);
    EXPECT_FALSE(radio.host.has("WRN audio timeout"));
    EXPECT_EQ(Radio::source(5).timerCount, counted);
    // It goes on where it was, with the same thread.
    radio.answer(5, eAUDIOSTATUS_Open);
    EXPECT_GE(Radio::source(5).timerCount, counted);
    ASSERT_TRUE(radio.host.waitFor("audio Release 5 3"));
    EXPECT_EQ(radio.host.count("INF audio timeout thread started."), 1U);
}

TEST_F(AudioTimer, StartsAgainWhenOpenedAgain) {
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Main, 100);
    radio.answer(5, eAUDIOSTATUS_Open);
    ASSERT_TRUE(waitForCount(radio, 5, 15));
    radio.answer(5, eAUDIOSTATUS_Open);
    EXPECT_LT(Radio::source(5).timerCount, 15U);
    EXPECT_EQ(timers(), 1);
}

TEST_F(AudioTimer, OfAMainSourceIsRetriggered) {
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Main, 100);
    radio.ask(6, eAUDIOTYPE_Chime, 100);
    for (const UInt32 id : {5U, 6U}) radio.answer(id, eAUDIOSTATUS_Open);
    ASSERT_TRUE(waitForCount(radio, 5, 15));
    const Lines lines = radio.ask(5, eAUDIOTYPE_Main, 50);
    EXPECT_EQ(lines.back(), "INF Request: timer re-triggered for requestID 5.");
    EXPECT_LT(Radio::source(5).timerCount, 15U);
    EXPECT_EQ(Radio::source(5).duration, 50U);
    EXPECT_EQ(radio.ask(6, eAUDIOTYPE_Chime, 50).back(),
              "WRN Request: entry already existent for requestID 6; request ignored.");
    EXPECT_EQ(Radio::source(6).duration, 100U);
    radio.ask(5, eAUDIOTYPE_Main, 1);
    ASSERT_TRUE(radio.host.waitFor("audio Release 5 3"));
    ASSERT_TRUE(radio.host.waitUntil([&] { return !Radio::source(5).hasTimer; }));
    EXPECT_EQ(radio.ask(5, eAUDIOTYPE_Main, 50).back(),
              "WRN Request: entry already existent for requestID 5; request ignored.");
}

TEST_F(AudioTimer, RetriggeredWithoutALimitNeverFires) {
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Main, 20);
    radio.answer(5, eAUDIOSTATUS_Open);
    radio.ask(5, eAUDIOTYPE_Main, 0);
    passSeconds(25);
    EXPECT_FALSE(radio.host.has("WRN audio timeout"));
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Close), eRETURN_OKAY);
    EXPECT_EQ(timers(), 0);
    EXPECT_EQ(Radio::sources(), Lines{});
}

TEST_F(AudioTimer, EndsWithTheRelease) {
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Main, never);
    radio.answer(5, eAUDIOSTATUS_Open);
    radio.giveBack(5, eAUDIOTYPE_Main);
    ASSERT_TRUE(waitForEnd(radio));
    ASSERT_TRUE(radio.host.waitUntil([&] { return !Radio::source(5).hasTimer; }));
    EXPECT_FALSE(radio.host.has("WRN audio timeout"));
    // Opened again: a timer of its own, after the old one was joined.
    radio.forget();
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Open), eRETURN_OKAY);
    EXPECT_EQ(timers(), 1);
    EXPECT_TRUE(radio.host.waitFor("INF audio timeout thread started."));
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Close), eRETURN_OKAY);
    EXPECT_EQ(timers(), 0);
}

TEST_F(AudioTimer, IsToldToEndBeforeItRuns) {
    // The end must not be lost, however early it comes.
    Radio radio;
    for (int i = 0; i < 50; ++i) {
        radio.ask(5, eAUDIOTYPE_Main, never);
        radio.answer(5, eAUDIOSTATUS_Open);
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
    EXPECT_EQ(radio.during([&] { EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Open), eRETURN_OKAY); }),
              (Lines{"INF SetAudioStatus requestID=5 status=Open",
                     "INF pending open request acknowledged",
                     "WRN SetAudioStatus - timeout thread create failed."} +
               sendLine));
    EXPECT_EQ(mixed(), 3U);
    EXPECT_EQ(timers(), 0);
    // The next answer tries again.
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Open), eRETURN_OKAY);
    EXPECT_EQ(timers(), 1);
    EXPECT_TRUE(radio.host.waitFor("audio Release 5 3"));
}

/* ---- answers on the timer's own thread ---- */

TEST_F(AudioTimer, MayBeAnsweredFromItsOwnCallback) {
    for (const AudioStatus end : {eAUDIOSTATUS_Close, eAUDIOSTATUS_Reject}) {
        Radio radio;
        radio.react([&](AudioControl control, UInt32 id) {
            if (control == eAUDIOCONTROL_Request) return;
            EXPECT_EQ(radio.answer(id, end), eRETURN_OKAY);
        });
        radio.ask(5, eAUDIOTYPE_Main, 1);
        radio.answer(5, eAUDIOSTATUS_Open);
        ASSERT_TRUE(waitForEnd(radio));
        EXPECT_EQ(Radio::sources(), Lines{});
        EXPECT_EQ(mixed(), 2U);
        // The next request finds the thread at its end and joins it.
        EXPECT_TRUE(radio.host.waitUntil([&] {
            radio.ask(6, eAUDIOTYPE_Main, 0);
            return timers() == 0;
        }));
    }
}

TEST_F(AudioTimer, OpenedAgainFromItsOwnCallbackGoesOn) {
    Radio radio;
    std::atomic<int> releases{0};
    radio.react([&](AudioControl control, UInt32 id) {
        if (control == eAUDIOCONTROL_Request) return;
        ++releases;
        EXPECT_EQ(radio.answer(id, eAUDIOSTATUS_Open), eRETURN_OKAY);
    });
    radio.ask(5, eAUDIOTYPE_Main, 2);
    radio.answer(5, eAUDIOSTATUS_Open);
    // The second time-out finds the release told already, and ends.
    ASSERT_TRUE(waitForEnd(radio));
    EXPECT_EQ(radio.host.count("WRN audio timeout"), 2U);
    EXPECT_EQ(releases, 1);
    EXPECT_EQ(radio.host.count("INF audio timeout thread started."), 1U);
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Close), eRETURN_OKAY);
    EXPECT_EQ(timers(), 0);
}

TEST_F(AudioTimer, SuspendedFromItsOwnCallbackEnds) {
    Radio radio;
    radio.react([&](AudioControl control, UInt32 id) {
        if (control == eAUDIOCONTROL_Release) radio.answer(id, eAUDIOSTATUS_Suspend);
    });
    radio.ask(5, eAUDIOTYPE_Main, 1);
    radio.answer(5, eAUDIOSTATUS_Open);
    ASSERT_TRUE(waitForEnd(radio));
    EXPECT_EQ(Radio::sources(), Lines{"5 type 3 status 4 released"});
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Close), eRETURN_OKAY);
    EXPECT_EQ(Radio::sources(), Lines{});
}

TEST_F(AudioTimer, MayWaitInItsCallbackForAnotherCaller) {
    // The callback has closed its source and waits for what another thread holds meanwhile.
    Radio radio;
    std::mutex hosts;
    std::atomic<bool> isClosed{false};
    radio.react([&](AudioControl control, UInt32 id) {
        if (control == eAUDIOCONTROL_Request) return;
        radio.answer(id, eAUDIOSTATUS_Close);
        isClosed = true;
        const std::lock_guard lock(hosts);
    });
    radio.ask(5, eAUDIOTYPE_Main, 1);
    radio.ask(6, eAUDIOTYPE_Chime, 0);
    {
        const std::lock_guard lock(hosts);
        radio.answer(5, eAUDIOSTATUS_Open);
        ASSERT_TRUE(radio.host.waitUntil([&] { return isClosed.load(); }));
        EXPECT_EQ(radio.answer(6, eAUDIOSTATUS_Open), eRETURN_OKAY);
        EXPECT_EQ(radio.ask(7, eAUDIOTYPE_Chime, 0).back(), "audio Request 7 4");
    }
    EXPECT_TRUE(waitForEnd(radio));
}

/* ---- ends ---- */

TEST_F(AudioTimer, OfADeletedInstanceAreEndedAndJoinedTogether) {
    Radio stays;
    stays.ask(1, eAUDIOTYPE_Main, never);
    stays.answer(1, eAUDIOSTATUS_Open);
    std::optional<Radio> radio(std::in_place);
    for (UInt32 id = 10; id < 60; ++id) {
        radio->ask(id, eAUDIOTYPE_Chime, never);
        radio->answer(id, eAUDIOSTATUS_Open);
    }
    EXPECT_EQ(timers(2), 51);
    const auto start = std::chrono::steady_clock::now();
    radio->host.remove();
    const std::chrono::duration<double, std::milli> taken =
        std::chrono::steady_clock::now() - start;
    EXPECT_EQ(timers(), 1);
    // Told to end one after the other they would need fifty seconds of twenty milliseconds.
    EXPECT_LT(taken.count(), 30 * supervision::second);
    EXPECT_EQ(Radio::sources(), Lines{"1 type 3 status 3"});
    radio.reset();
    stays.host.remove();
    EXPECT_EQ(supervision::unjoined(), 0);
}

TEST_F(AudioTimer, StoppedOutsideRunIsJoined) {
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Main, never);
    radio.answer(5, eAUDIOSTATUS_Open);
    radio.host.endLink();
    ASSERT_TRUE(radio.host.waitFor("state STOP"));
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Close), eRETURN_STATE_NOT_RUN);
    EXPECT_FALSE(Radio::source(5).hasTimer);
    EXPECT_EQ(Radio::sources(), Lines{"5 type 3 status 6"});
}

TEST_F(AudioTimer, AreEndedByTheElementOperation) {
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Main, never);
    radio.answer(5, eAUDIOSTATUS_Open);
    genericListElement* const element = listGetFirstElement(&audioSourceList);
    EXPECT_EQ(listFreeElementDataAudio(element), eRETURN_OKAY);
    EXPECT_EQ(timers(), 0);
    EXPECT_EQ(listFreeElementDataAudio(element), eRETURN_OKAY);
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Close), eRETURN_OKAY);
}

}  // namespace
}  // namespace quarlo::test
