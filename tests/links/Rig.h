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

enum class Kind { Pair, Tcp, Unix, Pipes, Serial };

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

  private:
    void makeSocket(Kind kind);
};

/** A pseudo terminal: the master, and the path of the device. */
int openTerminal(std::string& device);

/**
 * A phone behind a listening TCP socket of the loopback address. Each connection is taken through
 * the handshake on a thread of its own, then handed to afterRun, and closed.
 */
class Phone {
  public:
    using Script = std::function<void(int descriptor, int connection)>;

    explicit Phone(Script afterRun, bool isListening = true);
    ~Phone();
    Phone(const Phone&) = delete;
    Phone& operator=(const Phone&) = delete;

    [[nodiscard]] UInt16 port() const { return listeningPort; }
    [[nodiscard]] int connections() const { return count.load(); }
    /** Answers a head unit until it has finished the handshake; false when it went away. */
    static bool shakeHands(int descriptor, unsigned acknowledge = 1);
    static bool shakeHands(quarloLink* link);
    /** One packet with its header, empty at the end of the stream. */
    static Bytes nextPacket(int descriptor);

  private:
    void serve();

    Script script;
    int listening = -1;
    UInt16 listeningPort = 0;
    std::atomic<int> count{0};
    std::atomic<bool> isEnding{false};
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
    bool waitFor(quarloSessionState state, unsigned times = 1, int seconds = 20);
    std::vector<Report> all() const;

    /** Called on the session thread, after the report was kept. */
    std::function<void(quarloSession*, const quarloSessionInfo&)> reaction;

  private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<Report> reports;
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

/** Reads packets until the head unit leaves. */
void stay(int descriptor, int connection);

}  // namespace quarlo::test

#endif
