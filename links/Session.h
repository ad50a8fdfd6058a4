// A session: one thread that opens the transport, runs an instance on it and starts over.
// Everything but the atomics and what the lock guards belongs to the session thread; other threads
// only raise events and borrow the instance.
#pragma once

#include <pthread.h>

#include <atomic>
#include <mutex>
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
    eventRelease = 32
};

struct SessionSettings {
    quarloSessionConfig config;
    std::string address;
    std::string description;
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
    bool isOwnThread();
    void raise(unsigned event);
    void* acquire();
    void release();
    void onProtocol(void* context, eProtocolState state);
    void onError(void* context, eErrorCode code);

  private:
    static void* threadBody(void* session);
    void run();
    bool attempt();
    quarloLink* open();
    quarloLink* openListening();
    void serve(quarloLink& link);
    bool configure(quarloLink& link, void* instance);
    void watch(const quarloLink& link);
    void explainEnd(const quarloLink& link, unsigned events);
    void lend(quarloLink* link, void* instance);
    void takeBack(quarloLink& link);
    bool pause();
    bool countDown(std::int64_t until);
    bool giveUp();
    unsigned wait(unsigned wanted, std::int64_t deadline);
    bool isStopping() const { return (events.load() & quarlo::links::eventStop) != 0; }
    void report(quarloSessionState state, std::uint32_t remaining = 0);
    void setReason(int number, const char* text);

    quarlo::links::SessionSettings settings;
    const quarloSessionConfig& config;
    int wake;
    std::atomic<unsigned> events{0};
    pthread_t thread{};               // for whoever joins
    std::atomic<pthread_t> runner{};  // set by the thread itself

    std::mutex lock;
    void* lent = nullptr;        // guarded by lock; null when nobody may take the instance
    unsigned users = 0;          // guarded by lock
    quarloLink* live = nullptr;  // guarded by lock; the link of the present instance

    quarloListener* listener = nullptr;
    quarloLinkFailure reason{};
    std::uint32_t attempts = 0;
    std::uint32_t delay = 0;
    std::int64_t tryingSince = 0;
};
