/*
 * An instance in RUN on in-memory links whose receiver link copies the bytes it is told to, again
 * and again, so that the receiver thread does nothing but the library's work and that copy.
 */
#ifndef QUARLO_BENCH_PUMP_H
#define QUARLO_BENCH_PUMP_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "QUARLO-Core.h"

namespace quarlo::bench {

using Bytes = std::vector<UInt8>;

class Pump {
  public:
    Pump(UInt32 width, UInt32 height);
    ~Pump();
    Pump(const Pump&) = delete;
    Pump& operator=(const Pump&) = delete;

    [[nodiscard]] void* handle() const { return instance; }

    /** The time of the receiver thread in a run, and what happened in it. */
    struct Result {
        double seconds = 0;
        double worked = 0; /**< of these, what the thread had a processor for */
        std::uint64_t allocations = 0;
        std::uint64_t sends = 0;
    };
    /** Lets the receiver thread read the bytes so many times, each time whole or cut into reads. */
    Result run(const Bytes& bytes, std::size_t times, std::size_t readSize = 0);

    /** Where the host copies its frames to; null keeps it from copying. */
    UInt8* frame = nullptr;
    /** Bytes from row to row there; 0: rectangles are copied to its beginning. */
    std::size_t pitch = 0;

  private:
    static std::size_t receive(void* context, UInt8* buffer, std::size_t size, void*);
    static void send(void* context, UInt8* buffer, std::size_t size, void*);
    std::size_t waitForWork(std::unique_lock<std::mutex>& lock);
    void finish();
    void copy(std::size_t x, std::size_t y, std::size_t width, const UInt8* data, std::size_t size);
    void handshake();
    void* instance;

    std::mutex mutex;
    std::condition_variable changed;
    const Bytes* source = nullptr;
    std::size_t offset = 0;
    std::size_t left = 0;
    std::size_t limit = 0;
    bool isDone = true;
    bool isEnding = false;
    std::uint64_t sends = 0;
    double begin = 0;
    double workedBefore = 0;
    std::uint64_t allocationsBefore = 0;
    std::uint64_t sendsBefore = 0;
    Result result;
};

/** Seconds of the monotonic clock. */
double now();

/** Seconds that the calling thread has worked. */
double worked();

/** What one malloc and free of 64 bytes takes: the measure for what is too short for another. */
double secondsPerMalloc();

}  // namespace quarlo::bench

#endif
