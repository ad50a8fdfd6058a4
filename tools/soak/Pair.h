/**
 * @file
 * One of the instances of the soak: a thread that plays session after session, each with its own
 * transport, and rests between the rounds, so that what is left then can be counted.
 */
#ifndef QUARLO_SOAK_PAIR_H
#define QUARLO_SOAK_PAIR_H

#include <chrono>
#include <condition_variable>

#include "Peer.h"

namespace quarlo::soak {

using Clock = std::chrono::steady_clock;

/** Lets the pairs play until a moment, and waits until all of them rest. */
class Rounds {
  public:
    explicit Rounds(unsigned count) : pairs(count) {}

    /* the main thread */
    void play(Clock::time_point until);
    /** False when a pair does not come to rest: something hangs. */
    bool waitForRest();
    void finish();

    /* the pairs */
    /** Rests until there is another round; false when there is none. */
    bool rest();
    Clock::time_point end() const;

  private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    const unsigned pairs;
    unsigned resting = 0;
    unsigned round = 0;
    bool isFinished = false;
    Clock::time_point until{};
};

class Pair {
  public:
    Pair(Rounds& all, unsigned number, std::uint64_t seed);
    /** To be called after Rounds::finish. */
    ~Pair();
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    /** What it is doing, for the report of a hang. */
    const char* stage() const { return current; }

  private:
    void run();
    void session();
    Setting chooseSetting();
    bool connect(quarloLink*& link, int& socket);
    void play(Peer& peer, Exchange& exchange, Clock::time_point until);
    void shakeHands(Peer& peer, Exchange& exchange);
    bool flush(Peer& peer, Exchange& exchange, HeadUnit& unit);
    void makeGrowth();

    Rounds& rounds;
    const unsigned index;
    Random random;
    std::atomic<const char*> current{"rest"};
    UInt32 sessions = 0;
    std::thread thread;
};

}  // namespace quarlo::soak

#endif
