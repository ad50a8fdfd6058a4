/*
 * Memory for the records of one received packet: a block that is taken once and reused, with
 * further blocks for a packet that does not fit it, which are given back when the packet has been
 * handled. Byte runs are not copied; they stay in the received bytes. Owned by an instance, used by
 * its receiver thread only.
 */
#ifndef QUARLO_WIRESCRATCH_H
#define QUARLO_WIRESCRATCH_H

#include <cstddef>
#include <cstring>
#include <limits>

#include "QUARLO-WireEngine.h"

namespace quarlo::wire {

class Scratch {
  public:
    static constexpr bool borrowsBytes = true;
    static constexpr std::size_t ordinarySize = std::size_t{64} * 1024;

    /** Takes the ordinary block; without it every packet gets blocks of its own. */
    void prepare();
    /** Gives the memory of the packet back, keeping the ordinary block. */
    void reset() {
        used = 0;
        if (extra != nullptr) releaseExtra();
    }
    void release();

    /** Zero-filled room for count objects; null when there is no memory. */
    template <class T>
    T* make(std::uint64_t count = 1) {
        static_assert(alignof(T) <= alignment);
        if (count > std::numeric_limits<std::size_t>::max() / (2 * sizeof(T))) return nullptr;
        const std::size_t size = roundUp(static_cast<std::size_t>(count) * sizeof(T));
        void* room = size <= capacity - used ? take(size) : takeMore(size);
        if (room != nullptr) std::memset(room, 0, size);
        return static_cast<T*>(room);
    }
    /** What was made stays until the reset. */
    template <class R>
    static void discard(R*) {}

  private:
    static constexpr std::size_t alignment = 8;
    static constexpr std::size_t roundUp(std::size_t size) {
        return (size + alignment - 1) / alignment * alignment;
    }
    struct Extra {
        Extra* next;
        std::size_t size;
    };
    void* take(std::size_t size) {
        UInt8* room = block + used;
        used += size;
        return room;
    }
    void* takeMore(std::size_t size);
    void releaseExtra();

    UInt8* ordinary = nullptr;
    UInt8* block = nullptr;  // the ordinary block, or the latest of the extra ones
    std::size_t capacity = 0;
    std::size_t used = 0;
    Extra* extra = nullptr;
};

}  // namespace quarlo::wire

#endif
