/*
 * Far ends for link tests: pairs of connected streams of every kind, one end as a link and the
 * other as plain descriptors, and a scripted phone that takes head units through the handshake.
 */
#ifndef QUARLO_TESTS_LINKS_RIG_H
#define QUARLO_TESTS_LINKS_RIG_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Bytes.h"
#include "quarlo-links.h"

namespace quarlo::test {

using Clock = std::chrono::steady_clock;

inline long long millisecondsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

/**
 * Whether `attempt` takes less than `limit` milliseconds, now or in one of four more goes: a loaded
 * machine delays some, but what waits where it should not does so every time.
 */
template <class Attempt>
bool takesLessThan(long long limit, Attempt attempt) {
    for (int i = 0; i < 5; ++i) {
        const Clock::time_point start = Clock::now();
        attempt();
        if (millisecondsSince(start) < limit) return true;
    }
    return false;
}

/** What quarloLink_Receive says, read as the library reads it. */
int receive(quarloLink* link, Bytes& into, std::size_t size);
/** Receives until count bytes have come or the link has ended. */
Bytes receiveAll(quarloLink* link, std::size_t count);
void send(quarloLink* link, Bytes bytes);

/** Reads count bytes from a descriptor, fewer only at its end. */
Bytes readFully(int descriptor, std::size_t count);
bool writeFully(int descriptor, const Bytes& bytes);

/** A TCP port of the loopback address, at which nobody listens unless there is a queue. */
struct Place {
    explicit Place(int queue = -1);
    ~Place();
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    const int descriptor;
    UInt16 port = 0;
};

enum class Kind { Pair, Tcp, Pipes, Serial };

/** A link and its far end. */
class Wire {
  public:
    explicit Wire(Kind kind);
    ~Wire();
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;

    void closeFar();
    void closeLink();

    quarloLink* link = nullptr;
    int farInput = -1;
    int farOutput = -1;
};

/** A pseudo terminal: the master, and the path of the device. */
int openTerminal(std::string& device);

/** One packet with its header, empty at the end of the stream. */
Bytes nextPacket(quarloLink* link);
/**
 * Answers a head unit until it has finished the handshake; false when it went away. What follows at
 * once may still find it outside of RUN: its next packet shows that it is there.
 */
bool shakeHands(quarloLink* link, unsigned acknowledge = 1);
/** Reads packets until the head unit leaves. */
void stay(quarloLink* link, int connection = 0);

/**
 * A phone behind a listening TCP socket, of the loopback address by default. Each connection is
 * taken through the handshake on a thread of its own, then handed to afterRun, and closed.
 */
class Phone {
  public:
    using Script = std::function<void(quarloLink* link, int connection)>;

    explicit Phone(Script afterRun, const char* address = nullptr);
    ~Phone();
    Phone(const Phone&) = delete;
    Phone& operator=(const Phone&) = delete;

    [[nodiscard]] UInt16 port() const { return quarloListener_GetPort(listener); }
    [[nodiscard]] int connections() const { return count.load(); }

  private:
    void serve();

    Script script;
    quarloListener* listener;
    std::atomic<int> count{0};
    std::thread thread;
};

/** Keeps what a session reports, and lets a test wait for it. */
class Reports {
  public:
    struct Report {
        quarloSessionState state;
        UInt32 attempt;
        UInt32 remaining;
        Int32 errorNumber;
        std::string reason;
    };

    static void onState(void* context, quarloSession* session, const quarloSessionInfo* info);
    /** Waits until this state has been reported so often. */
    bool waitFor(quarloSessionState state, unsigned times = 1, int seconds = 60);
    std::vector<Report> all() const;
    /** Of all, those of this state. */
    std::vector<Report> of(quarloSessionState state) const;
    /** What the host saw beside them, in order. */
    void note(const std::string& text);
    std::vector<std::string> notes() const;

    /** Called on the session thread, after the report was kept. */
    std::function<void(quarloSession*, const quarloSessionInfo&)> reaction;

  private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<Report> reports;
    std::vector<std::string> texts;
};

/** A configuration with the transport that it points to once it is started. */
struct SessionSetup : quarloSessionConfig {
    quarloTransport place = {};
};
SessionSetup configOf(Reports& reports, UInt16 port);

struct EndSession {
    void operator()(quarloSession* session) const { quarloSession_Delete(session); }
};
using Session = std::unique_ptr<quarloSession, EndSession>;
Session startSession(SessionSetup setup);

}  // namespace quarlo::test

#endif
