/*
 * Ends that meet: of threads that end each other, of an instance and of what still runs in it. A
 * hang is the time limit of the test.
 */
#include <gtest/gtest.h>

#include <functional>

#include "Radio.h"
#include "Supervision.h"
#include "Unit.h"

namespace quarlo::test {
namespace {

/** A unit whose phone says something for ever, or once, and that reacts to callbacks. */
class Reactor : public Unit {
  public:
    using Reaction = std::function<void(const Heard&)>;

    void heard(const Heard& what) override {
        Unit::heard(what);
        if (reaction) reaction(what);
    }
    Reaction reaction;
    Bytes once;
    Bytes always;

  protected:
    Bytes speak() override { return once.empty() ? always : std::exchange(once, {}); }
};

void answer(const Unit& unit, UInt32 id, AudioStatus status) {
    quarlo_SetAudioStatus(unit.handle, id, status, eAUDIOREQUESTRESULTCODE_NoError);
}

Bytes request(UInt32 id, unsigned duration) {
    return serverAudio(id, eAUDIOCONTROL_Request, eAUDIOTYPE_Chime, duration);
}

bool isTimeout(const Heard& what, eErrorCode code) {
    return what.callback == Callback::Error && what.numbers[0] == static_cast<UInt32>(code);
}

bool isRelease(const Heard& what) {
    return what.callback == Callback::AudioRequest && what.numbers[0] == eAUDIOCONTROL_Release;
}

/** Two of them in RUN; whoever reacts to something counts it. */
class ThreadEnds : public ::testing::Test {
  protected:
    ThreadEnds() { quarlo_Init(); }
    ~ThreadEnds() override {
        for (Reactor* unit : {&a, &b}) {
            if (unit->handle != nullptr) unit->close();
        }
        EXPECT_EQ(Radio::sources(), Lines{});
        quarlo_Shutdown();
        EXPECT_EQ(supervision::unjoined(), 0);
        EXPECT_EQ(supervision::wrongJoins(), 0);
    }
    static void run(Reactor& unit) {
        unit.open();
        unit.start();
        EXPECT_TRUE(waitFor([&] { return unit.isInRun(); }));
    }
    /** Lets the count reach a number; it counts what happens in callbacks. */
    void expectCount(unsigned number) {
        EXPECT_TRUE(waitFor([&] { return count.load(relaxed) >= number; })) << count;
    }
    void done() { count.fetch_add(1, relaxed); }
    /** The other one, whose callback this one is about to end, is in it; or it does not come. */
    void meet() { meeting.meet(std::chrono::milliseconds(100)); }

    Reactor a;
    Reactor b;
    std::atomic<unsigned> count{0};
    Meeting meeting{2};
};

TEST_F(ThreadEnds, ARequestAnsweredWhileItsInstanceIsDeleted) {
    run(b);
    a.reaction = [&](const Heard& what) {
        if (what.callback != Callback::AudioRequest) return;
        answer(a, 1, eAUDIOSTATUS_Open);
        done();
    };
    for (unsigned n = 0; n < 40; ++n) {
        a.once = request(1, 100);
        run(a);
        expectCount(n + 1);
        std::thread other(
            [&] { answer(b, 1, n % 2 == 0 ? eAUDIOSTATUS_Close : eAUDIOSTATUS_Open); });
        a.close();
        other.join();
    }
}

TEST_F(ThreadEnds, AWatchdogAndAnAudioTimerThatEndEachOther) {
    a.reaction = [&](const Heard& what) {
        if (isTimeout(what, eERRORCODE_CONNECTION_TIMEOUT)) {
            meet();
            answer(a, 1, eAUDIOSTATUS_Close);
            done();
        } else if (isRelease(what)) {
            meet();
            quarlo_EnablePingWatchdog(a.handle, 0, 0);
            answer(a, 1, eAUDIOSTATUS_Close);
            done();
        } else if (what.callback == Callback::AudioRequest) {
            answer(a, 1, eAUDIOSTATUS_Open);
            quarlo_EnablePingWatchdog(a.handle, 1, 1);
        }
    };
    for (unsigned n = 0; n < 10; ++n) {
        a.once = request(1, 1);
        run(a);
        expectCount(n + 1);
        a.close();
    }
}

TEST_F(ThreadEnds, AWatchdogSwitchedByManyAtOnce) {
    a.always = packet(128, u32(1));
    run(a);
    std::vector<std::thread> hosts;
    for (unsigned i = 0; i < 3; ++i) {
        hosts.emplace_back([&, i] {
            for (unsigned n = 0; n < 100; ++n)
                quarlo_EnablePingWatchdog(a.handle, (n + i) % 2, 200);
        });
    }
    for (std::thread& thread : hosts) thread.join();
}

}  // namespace
}  // namespace quarlo::test
