/*
 * Everything at once, from a seed: instances whose phones say anything, host threads and callbacks
 * that call everything about all of them, and instances, connections and the library itself that
 * come and go meanwhile. QUARLO_STRESS_SECONDS and QUARLO_STRESS_SEED make it longer, and another.
 */
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <shared_mutex>

#include "Supervision.h"
#include "Unit.h"
#include "Varied.h"

namespace quarlo::test {
namespace {

constexpr unsigned instances = 6;
constexpr unsigned hostThreads = 3;

unsigned setting(const char* name, unsigned otherwise) {
    const char* const given = std::getenv(name);
    return given == nullptr ? otherwise : static_cast<unsigned>(std::strtoul(given, nullptr, 10));
}

unsigned nextSeed() {
    static std::atomic<unsigned> seed{setting("QUARLO_STRESS_SEED", 1)};
    return seed.fetch_add(1, relaxed);
}

/** Each thread has its own, also those of the library. */
Chance& chance() {
    thread_local Chance own(nextSeed());
    return own;
}

/** What besides the traffic happens. */
enum class Life { Stays, ComesAndGoes };

class Crowd;

class Member : public Unit {
  public:
    Member(Crowd& everybody, Life how) : crowd(everybody), life(how) {}

    void begin() {
        open();
        start();
        const std::lock_guard lock(use);
        lent = handle;
        isWanted.store(false, relaxed);
    }
    /** The handle, which nobody but the instance's own callbacks uses from now on. */
    void* takeBack() {
        isWanted.store(true, relaxed);
        const std::lock_guard lock(use);
        return std::exchange(lent, nullptr);
    }
    /** Nobody borrows what is wanted back: many who share a lock keep out who wants it alone. */
    [[nodiscard]] bool isLent() const { return !isWanted.load(relaxed); }
    void heard(const Heard& what) override;

    std::shared_mutex use;
    void* lent = nullptr;

  protected:
    Bytes speak() override;

  private:
    Crowd& crowd;
    const Life life;
    std::atomic<bool> isWanted{false};
};

class Crowd {
  public:
    explicit Crowd(Life how) : life(how) {
        for (unsigned i = 0; i < instances; ++i) {
            members.push_back(std::make_unique<Member>(*this, how));
        }
        for (const auto& member : members) member->begin();
    }
    /** Host threads call for so long. */
    void callFor(std::chrono::milliseconds time) {
        const auto until = std::chrono::steady_clock::now() + time;
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < hostThreads; ++i) {
            threads.emplace_back([&] {
                while (std::chrono::steady_clock::now() < until) step();
            });
        }
        for (std::thread& thread : threads) thread.join();
    }
    /** From inside a callback: never waits for whoever takes an instance back. */
    void callInside(Member& own) {
        if (chance().oneIn(2)) return callAny(own.handle, own, true);
        Member& member = any();
        if (!member.isLent()) return;
        const std::shared_lock lock(member.use, std::try_to_lock);
        if (lock.owns_lock() && member.lent != nullptr) callAny(member.lent, member, true);
    }

    std::vector<std::unique_ptr<Member>> members;

  private:
    Member& any() { return *members[chance().below(instances)]; }

    void step() {
        Member& member = any();
        if (life == Life::ComesAndGoes && chance().oneIn(100)) return renew(member);
        const std::shared_lock lock(member.use);
        if (member.lent != nullptr) callAny(member.lent, member, false);
    }
    static void renew(Member& member) {
        if (member.takeBack() == nullptr) return;
        member.close();
        member.begin();
    }
    void callAny(void* handle, Member& member, bool isInside) {
        const ApiCall& call = apiCalls[chance().below(std::size(apiCalls))];
        if (!isAllowed(call, isInside)) return;
        Varied arguments(chance(), member);
        call.call(handle, arguments);
    }
    [[nodiscard]] bool isAllowed(const ApiCall& call, bool isInside) const {
        switch (call.about) {
            case About::Library:
                return life == Life::ComesAndGoes && call.name == "quarlo_CreateInstance" &&
                       chance().oneIn(10);
            case About::Life:
                if (call.name == "quarlo_DeleteInstance" && !isInside) return false;
                return life == Life::ComesAndGoes &&
                       (call.name != "quarlo_AnnounceShutdown" || chance().oneIn(50));
            default:
                return call.about != About::Links;
        }
    }

    const Life life;
};

void Member::heard(const Heard& what) {
    Unit::heard(what);
    thread_local unsigned depth = 0;
    if (what.callback == Callback::EndReceiverRequest || depth > 1) return;
    ++depth;
    if (what.callback == Callback::AudioRequest && !chance().oneIn(4)) {
        constexpr AudioStatus answers[] = {eAUDIOSTATUS_Open, eAUDIOSTATUS_Suspend,
                                           eAUDIOSTATUS_Close, eAUDIOSTATUS_Reject};
        const UInt32 id = chance().oneIn(3) ? chance().below(8) : what.numbers[1];
        quarlo_SetAudioStatus(handle, id, answers[chance().below(4)],
                              eAUDIOREQUESTRESULTCODE_NoError);
    }
    while (chance().oneIn(3)) crowd.callInside(*this);
    --depth;
}

Bytes Member::speak() {
    // Now and then long enough for a watchdog.
    if (chance().oneIn(500)) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (chance().oneIn(8)) return {};
    if (life == Life::ComesAndGoes && chance().oneIn(300)) {
        endLink(chance().oneIn(2) ? -1 : -5);
        return {};
    }
    if (life == Life::ComesAndGoes && chance().oneIn(500)) return packet(255);
    return randomPackets(chance());
}

std::chrono::milliseconds duration(unsigned usual) {
    return std::chrono::milliseconds(setting("QUARLO_STRESS_SECONDS", 0) * 1000 + usual);
}

void expectAllEnded() {
    EXPECT_EQ(supervision::unjoined(), 0);
    EXPECT_EQ(supervision::wrongJoins(), 0);
}

TEST(Stress, OfConnectionsThatStay) {
    const Library library;
    Crowd crowd(Life::Stays);
    crowd.callFor(duration(2000));
    for (const auto& member : crowd.members) member->takeBack();
    for (const auto& member : crowd.members) member->close();
    EXPECT_EQ(Radio::sources(), Lines{});
    expectAllEnded();
}

TEST(Stress, OfConnectionsThatComeAndGo) {
    constexpr unsigned rounds = 4;
    for (unsigned round = 0; round < rounds; ++round) {
        quarlo_Init();
        Crowd crowd(Life::ComesAndGoes);
        crowd.callFor(duration(1000) / rounds);
        for (const auto& member : crowd.members) member->takeBack();
        // Some are left for the library to delete.
        for (unsigned i = 0; i < round; ++i) crowd.members[i]->close();
        quarlo_Shutdown();
        expectAllEnded();
    }
}

}  // namespace
}  // namespace quarlo::test
