/**
 * @file
 * What all instances together have done, and the first thing that went wrong. Atomic or locked.
 */
#ifndef QUARLO_SOAK_TALLY_H
#define QUARLO_SOAK_TALLY_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

namespace quarlo::soak {

/** Mistakes that can be made on purpose, to see that they are found. */
enum class Fault { None, Lost, Unsent, Pixel, Memory, Descriptor, Thread };

struct Tally {
    std::atomic<std::uint64_t> sessions{0};
    std::atomic<std::uint64_t> packets{0};
    std::atomic<std::uint64_t> bytes{0};
    std::atomic<std::uint64_t> rectangles{0};
    std::atomic<bool> isOver{false};  ///< the time is up, or something failed
    Fault fault = Fault::None;        ///< set once, before the first thread

    /** The first one counts: what follows is often its consequence. */
    void fail(const std::string& what) {
        const std::lock_guard lock(mutex);
        if (failure.empty()) failure = what;
        isOver = true;
    }
    std::string firstFailure() const {
        const std::lock_guard lock(mutex);
        return failure;
    }

  private:
    mutable std::mutex mutex;
    std::string failure;
};

inline Tally tally;

}  // namespace quarlo::soak

#endif
