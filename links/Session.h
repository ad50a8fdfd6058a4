// A session: one thread that opens the transport, runs an instance on it and starts over.
// Everything but the atomics and what the lock guards belongs to the session thread; other threads
// only raise events, borrow the instance and ask for changes.
#pragma once

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <random>
#include <string>

#include "Link.h"
#include "Wait.h"

namespace quarlo::links {

/** What other threads ask of a session or tell it, as bits. */
enum Event : unsigned {
    eventStop = 1,
    eventReconnect = 2,
    eventRun = 4,
    eventEnd = 8,
    eventSilent = 16,
    eventRelease = 32,
    eventChange = 64,
    eventAnswer = 128
};
constexpr unsigned eventsThatEnd = eventStop | eventReconnect | eventEnd | eventSilent;

/** A configuration of the host, copied, with the defaults in place of zeroes. */
struct SessionSettings {
    quarloSessionConfig config;
    quarloTransport transport;
    quarloObserver observer;
    quarloFrameChange frames;   // of what 0 when the host gives none
    quarloFrameChange largest;  // likewise
    std::string address;
    std::string description;
};

/** Whether a host may ask for it. */
bool isChange(const quarloFrameChange& change);

/** @return null, or what of the configuration makes no sense */
const char* readConfig(const quarloSessionConfig* config, SessionSettings& settings);

/** A change of frames that somebody has asked for. */
struct ChangeRequest {
    quarloFrameChange change;
    bool isWaitedFor;  // then it belongs to who waits, once it is over
    bool isOver = false;
    quarloChangeResult result = eCHANGERESULT_Lost;
    ChangeRequest* next = nullptr;
};

/** Requests in their order, linked. */
struct ChangeQueue {
    void append(ChangeRequest* request);
    ChangeRequest* take();
    ChangeRequest* first = nullptr;
    unsigned count = 0;
};

}  // namespace quarlo::links

struct quarloSession {
  public:
    explicit quarloSession(const quarlo::links::SessionSettings& wanted);
    ~quarloSession();
    quarloSession(const quarloSession&) = delete;
    quarloSession& operator=(const quarloSession&) = delete;

    int start();
    void join();
    /** Lets somebody know that the host has done what is not allowed. */
    void warn(const char* text);
    void raise(unsigned event);
    /** As raise, for a wish that ends the connection. */
    void ask(unsigned event);
    void* acquire();
    void release();
    eReturnCode change(const quarloFrameChange& wanted, quarloChangeResult* result);
    void onProtocol(void* context, eProtocolState state);
    void beginRun();
    void onError(void* context, eErrorCode code);
    /** An event for the capture of the present link. */
    void note(const char* kind, const char* name);
    const quarlo::links::PacketCounts& counts() const { return carried; }
    int interrupt() const { return wake; }

  private:
    using Watch = quarlo::links::Watch;
    using Setting = quarlo::links::Setting;
    using ChangeRequest = quarlo::links::ChangeRequest;

    static void* threadBody(void* session);
    void run();
    void beginAnew();
    bool attempt();
    quarloLink* open();
    quarloLink* openListening();
    quarloLink* acceptOn(const quarloListener& waiting);
    bool prepare(quarloLink& link);
    void serve(quarloLink& link);
    bool configure(quarloLink& link, void* instance);
    void watch(const quarloLink& link, void* instance);
    unsigned stayInRun(const quarloLink& link, void* instance);
    void explainEnd(const quarloLink& link, unsigned events);
    void lend(quarloLink* link, void* instance);
    void takeBack(quarloLink& link);
    bool pause();
    bool countDown(std::int64_t until);
    std::uint32_t jittered(std::uint32_t pause);
    bool giveUp();
    unsigned wait(unsigned wanted, std::int64_t deadline);
    bool isStopping() const { return (events.load() & quarlo::links::eventStop) != 0; }
    bool isEnding() const { return (events.load() & quarlo::links::eventsThatEnd) != 0; }
    void report(quarloSessionState state, std::uint32_t remaining = 0);
    void setReason(int number, const char* text);

    /* SessionChange.cpp */
    void makeChanges(Watch& watch, void* instance);
    ChangeRequest* nextRequest();
    bool raiseFence(Watch& watch, void* instance);
    void suspend(void* instance, bool isSuspended);
    quarloChangeResult make(const quarloFrameChange& change, bool isQuiet, Watch& watch,
                            void* instance);
    quarloChangeResult awaitAnswers(const quarloFrameChange& change, Watch& watch);
    void settle(const Watch& watch);
    bool isOwed(const Watch& watch, Setting setting) const;
    bool await(const Watch& watch, Setting setting);
    void tellChange(const quarloFrameChange& change, quarloChangePhase phase,
                    quarloChangeResult result);
    void declare(const quarloFrameChange& frames, void* instance);
    void finish(ChangeRequest* request);
    void setChanging(bool isUnderWay);
    void dropChanges();

    quarlo::links::SessionSettings settings;
    const quarloSessionConfig& config;
    int wake;
    std::atomic<unsigned> events{0};
    std::atomic<bool> isTypeUnknown{false};  // the phone sent a packet of one
    quarlo::links::PacketCounts carried;
    pthread_t thread{};  // for whoever joins

    std::mutex lock;
    void* lent = nullptr;                 // guarded by lock; null when nobody may take the instance
    unsigned users = 0;                   // guarded by lock
    quarloLink* live = nullptr;           // guarded by lock; the link of the present instance
    bool isRunning = false;               // guarded by lock; changes may be asked for
    bool isChanging = false;              // guarded by lock; the session thread may be sending
    quarlo::links::ChangeQueue requests;  // guarded by lock
    unsigned waiters = 0;                 // guarded by lock; threads that wait for their change
    quarloFrameChange frames;             // guarded by lock; what is kept for the next connection
    quarloFrameChange coming = {};        // with the changes that are under way
    std::condition_variable changed;      // a request is over, or a waiter has left

    quarloListener* listener = nullptr;
    quarloLinkFailure reason{};
    std::uint32_t attempts = 0;
    std::uint32_t delay = 0;
    std::int64_t tryingSince = 0;
    std::minstd_rand random;
    /** Of each setting: packets that the phone never answered, and need not any more. */
    std::uint32_t forgiven[quarlo::links::settingCount] = {};
};
