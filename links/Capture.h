// A capture file: whoever carries bytes puts whole blocks into a ring, which a thread of the
// capture's own empties into the file. The lock guards all that has no other remark; whoever holds
// it cannot be cancelled.
#pragma once

#include <pthread.h>

#include <array>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>

#include "Wait.h"

struct quarloCapture {
  public:
    explicit quarloCapture(int descriptor);
    ~quarloCapture();
    quarloCapture(const quarloCapture&) = delete;
    quarloCapture& operator=(const quarloCapture&) = delete;

    /** @return an errno value */
    int start();
    /** Writes the rest. */
    void finish();
    /** @return the number of the next connection in the file. Under the lock. */
    std::uint32_t nextConnection() { return connections++; }
    /**
     * Waits for room for a block, up to a second, without the lock.
     * @return false when the capture has ended; with the lock held
     */
    bool waitForRoom(std::unique_lock<std::mutex>& guard);
    /** A part of a block, in the room that was waited for. Under the lock. */
    void put(const unsigned char* bytes, std::size_t count);
    /** The time of the next block: the file never goes back. Under the lock. */
    std::uint64_t timeOf(std::uint64_t wallTime);
    /** Under the lock. */
    bool hasEnded() const { return error != 0; }
    /** @return an errno value, 0 while all is written */
    int failure() const;

    mutable std::mutex lock;

  private:
    static void* threadBody(void* capture);
    void run();
    bool hasWork(std::unique_lock<std::mutex>& guard);
    std::size_t write(std::size_t at, std::size_t count, int& problem) const;
    void end(int number);

    static constexpr std::size_t ringSize = std::size_t{8} << 20;
    const quarlo::links::Descriptor file;
    bool isRegular = false;
    pthread_t thread{};
    std::unique_ptr<unsigned char[]> ring;
    std::size_t first = 0;  // where in the ring the oldest byte is
    std::size_t used = 0;
    std::uint64_t lastTime = 0;
    std::uint32_t connections = 0;
    int error = 0;
    bool isFinishing = false;
    std::condition_variable work;
    std::condition_variable room;
};
