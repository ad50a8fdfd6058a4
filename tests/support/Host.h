/*
 * A host with one instance on an in-memory link, and the far end of that link: what a test feeds is
 * received by the instance, what the instance sends is kept as packets. Traces, callbacks and error
 * reports are kept in order as lines ("WRN text", "error MEM_ALLOC", "state RUN", "frame 0 10,20
 * 4x2 #32"). Thread-safe.
 */
#ifndef QUARLO_TESTS_HOST_H
#define QUARLO_TESTS_HOST_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "Bytes.h"
#include "Listener.h"
#include "QUARLO-Core.h"
#include "QUARLO-Internal.h"

namespace quarlo::test {

/** quarlo_Init and quarlo_Shutdown around a test; a library inside of another is the same one. */
class Library {
  public:
    Library() {
        if (depth.fetch_add(1, std::memory_order_relaxed) == 0) quarlo_Init();
    }
    ~Library() {
        if (depth.fetch_sub(1, std::memory_order_relaxed) == 1) quarlo_Shutdown();
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

  private:
    // Relaxed: it must not order the threads whose sessions end at once.
    static inline std::atomic<int> depth{0};
};

class Host : public Listener {
  public:
    static constexpr std::chrono::milliseconds patience{10000};

    /** Creates and configures an instance; it traces everything and has no initialisation timer. */
    explicit Host(const char* description = "test host");
    /** Deletes the instance. */
    ~Host() override;
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    [[nodiscard]] void* handle() const { return instance; }
    [[nodiscard]] quarlo_CoreInstance* record() const {
        return static_cast<quarlo_CoreInstance*>(instance);
    }

    void start();
    void remove();

    /* the far end of the link */
    void feed(const Bytes& bytes);
    /** The receiver link returns this number when all that was fed has been read; -1 by default. */
    void endLink(std::ptrdiff_t result = -1);
    /** Undoes endLink for another start. */
    void reopenLink();
    /** The bytes of everything sent so far, one entry for each call of the sender link. */
    [[nodiscard]] std::vector<Bytes> sent() const;
    /** Waits until so many packets were sent, and returns them. */
    std::vector<Bytes> waitForSent(std::size_t count);
    void forgetSent();

    /* what the host saw */
    [[nodiscard]] std::vector<std::string> lines() const;
    [[nodiscard]] bool has(const std::string& line) const;
    [[nodiscard]] std::size_t count(const std::string& line) const;
    /** Lines that begin so. */
    [[nodiscard]] std::vector<std::string> linesWith(const std::string& prefix) const;
    bool waitFor(const std::string& line);
    bool waitUntil(const std::function<bool()>& condition);
    void forgetLines();
    void note(const std::string& line);

    /** Pixels of the last frame rectangle. */
    [[nodiscard]] Bytes pixels() const;

    /* the handshake, step by step */
    static Bytes serverInit(const std::string& name = "phone", const Bytes& softkeys = {1, 2},
                            unsigned capabilities = 7);
    /** Starts and brings the connection to RUN; the version announcement has been sent. */
    void run();
    /** Calls of the receiver link that found no room. */
    [[nodiscard]] std::size_t polls() const;
    /** Waits until everything fed has been handled, or the receiver has ended. */
    void settle();

    void heard(const Heard& what) override;
    std::size_t read(UInt8* buffer, std::size_t size) override;
    void write(const UInt8* buffer, std::size_t size) override;
    void traced(eTraceClass traceClass, const char* line) override;

  private:
    void registerCallbacks();

    mutable std::mutex mutex;
    std::condition_variable changed;
    void* instance = nullptr;
    Bytes incoming;
    std::size_t consumed = 0;
    bool isWaiting = false;
    std::size_t emptyPolls = 0;
    bool isEnded = false;
    bool mustReturn = false;
    std::ptrdiff_t endResult = -1;
    std::vector<Bytes> outgoing;
    std::vector<std::string> seen;
    Bytes lastPixels;
};

/** The host of a callback, which is its context. */
inline Host& hostOf(void* context) {
    return *static_cast<Host*>(context);
}

}  // namespace quarlo::test

#endif
