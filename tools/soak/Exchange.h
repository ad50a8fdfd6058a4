/**
 * @file
 * What the two ends of one session tell each other behind the library's back, so that each can
 * check what the library handed over: numbers sent and received, and the pixels that were drawn.
 */
#ifndef QUARLO_SOAK_EXCHANGE_H
#define QUARLO_SOAK_EXCHANGE_H

#include <atomic>
#include <cstdint>
#include <deque>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "PixelFormat.h"
#include "common/Picture.h"

namespace quarlo::soak {

/** Messages in one direction from one thread, numbered from 1. */
struct Channel {
    std::atomic<std::uint64_t> sent{0};
    std::atomic<std::uint64_t> received{0};

    bool isComplete() const { return sent == received; }
    std::string text() const {
        return std::to_string(received) + " of " + std::to_string(sent) + " arrived";
    }
    /** The number of the next message. */
    std::uint64_t next() { return ++sent; }
    /** Notes an arrival; false when one before it is missing. */
    bool arrive(std::uint64_t number) { return number == ++received; }
};

/** Bytes that say their number and follow from it. */
inline std::vector<std::uint8_t> numbered(std::uint64_t number, std::size_t length) {
    std::vector<std::uint8_t> bytes(std::max<std::size_t>(length, sizeof number));
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const bool isNumber = i < sizeof number;
        bytes[i] = static_cast<std::uint8_t>(isNumber ? number >> (8 * i) : number + i);
    }
    return bytes;
}

/** The number that such bytes say; 0 when they are broken. */
inline std::uint64_t numberOf(std::span<const std::uint8_t> bytes) {
    std::uint64_t number = 0;
    if (bytes.size() < sizeof number) return 0;
    for (std::size_t i = 0; i < sizeof number; ++i) number |= std::uint64_t{bytes[i]} << (8 * i);
    const std::vector<std::uint8_t> whole = numbered(number, bytes.size());
    return std::equal(whole.begin(), whole.end(), bytes.begin()) ? number : 0;
}

/** A rectangle as the head unit's host has to see it. */
struct Drawn {
    Area area;
    FrameCompression compression = eFRAMECOMPRESSION_Uncompressed;
    std::vector<std::uint8_t> pixels;
};

struct Exchange {
    Channel fromPhone;      ///< numbered custom data
    Channel fromHost;       ///< the same from a host thread
    Channel fromCallbacks;  ///< the same from the receiver thread
    Channel calls;          ///< other packets of the host, only counted
    Channel pings;
    Channel audio;  ///< requests and releases, and the host's answers

    std::atomic<bool> isRunning{false};
    std::atomic<bool> isStopped{false};

    void push(Drawn drawn) {
        const std::lock_guard lock(mutex);
        due.push_back(std::move(drawn));
    }
    bool pop(Drawn& drawn) {
        const std::lock_guard lock(mutex);
        if (due.empty()) return false;
        drawn = std::move(due.front());
        due.pop_front();
        return true;
    }
    std::size_t undrawn() const {
        const std::lock_guard lock(mutex);
        return due.size();
    }

  private:
    mutable std::mutex mutex;
    std::deque<Drawn> due;
};

}  // namespace quarlo::soak

#endif
