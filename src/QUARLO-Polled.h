/*
 * A value that several threads read and write without a lock: flags, states, counters, callback and
 * link pointers. Writes are released and reads acquired, so what was written before a flag is seen
 * after it.
 */
#ifndef QUARLO_POLLED_H
#define QUARLO_POLLED_H

#include <atomic>

namespace quarlo {

template <class T>
class Polled {
  public:
    constexpr Polled() = default;
    constexpr Polled(T initial) : value(initial) {}  // NOLINT: reads and writes like a plain value
    Polled(const Polled&) = delete;
    Polled& operator=(const Polled&) = delete;

    T operator=(T next) {
        value.store(next, std::memory_order_release);
        return next;
    }
    operator T() const { return get(); }  // NOLINT
    [[nodiscard]] T get() const { return value.load(std::memory_order_acquire); }
    /** Adds, wrapping at the width of the value. */
    // cppcheck-suppress arithOperationsOnVoidPointer ; instantiated for numbers only
    T add(T amount) { return static_cast<T>(value.fetch_add(amount) + amount); }
    /** Stores and returns what was there, in one step. */
    T exchange(T next) { return value.exchange(next); }
    T setBits(T bits) { return value.fetch_or(bits); }
    T clearBits(T bits) { return value.fetch_and(static_cast<T>(~bits)); }

  private:
    std::atomic<T> value{};
};

}  // namespace quarlo

#endif
