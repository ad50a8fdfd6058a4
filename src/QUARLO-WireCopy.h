/*
 * Copies of records with everything that they lead to: each piece in a block of its own, or the
 * whole in one block, whose size is known beforehand. For records without lists. Any thread.
 */
#ifndef QUARLO_WIRECOPY_H
#define QUARLO_WIRECOPY_H

#include <cstddef>

#include "QUARLO-WireEngine.h"

namespace quarlo::wire {

/** Hands out pieces of a block that is large enough for all of them. */
class Pieces {
  public:
    explicit Pieces(void* block) : at(static_cast<UInt8*>(block)) {}

    /** What count objects take of the block. */
    template <class T>
    static constexpr std::size_t sizeOf(std::uint64_t count = 1) {
        return (static_cast<std::size_t>(count) * sizeof(T) + alignment - 1) / alignment *
               alignment;
    }
    /** Never null; zero-filled. */
    template <class T>
    T* make(std::uint64_t count = 1) {
        static_assert(alignof(T) <= alignment);
        void* piece = at;
        at += sizeOf<T>(count);
        std::memset(piece, 0, sizeOf<T>(count));
        return static_cast<T*>(piece);
    }

  private:
    static constexpr std::size_t alignment = 8;
    UInt8* at;
};

/** Adds up the pieces that a record leads to. */
struct PiecesOf {
    std::size_t size = 0;

    template <Scalar T>
    bool operator()(const T&) {
        return true;
    }
    template <std::size_t N>
    bool operator()(const UInt8 (&)[N]) {
        return true;
    }
    template <class R>
    bool operator()(R* const& member) {
        if (member == nullptr) return true;
        size += Pieces::sizeOf<R>();
        return Layout<R>::each(*member, *this);
    }
    template <Scalar C, Scalar T>
    bool operator()(const C& count, T* const& run) {
        if (run != nullptr) size += Pieces::sizeOf<T>(count);
        return true;
    }
};

/** Takes a record that is a plain copy of another, and gives it pieces of its own in place of those
 * that it shares. Without memory it leaves null what it could not have, and all behind that. */
template <class Store>
struct Separate {
    Store& memory;
    bool isWhole = true;

    template <Scalar T>
    bool operator()(T&) {
        return true;
    }
    template <std::size_t N>
    bool operator()(UInt8 (&)[N]) {
        return true;
    }
    template <class R>
    bool operator()(R*& member) {
        member = own<R>(member, 1);
        return member == nullptr || Layout<R>::each(*member, *this);
    }
    template <Scalar C, Scalar T>
    bool operator()(C& count, T*& run) {
        run = own<T>(run, count);
        if (run == nullptr) count = 0;
        return true;
    }

  private:
    template <class T>
    T* own(T* const shared, std::uint64_t count) {
        if (!isWhole || shared == nullptr || count == 0) return nullptr;
        T* piece = memory.template make<T>(count);
        isWhole = piece != nullptr;
        if (isWhole) std::memcpy(piece, shared, static_cast<std::size_t>(count) * sizeof(T));
        return piece;
    }
};

}  // namespace quarlo::wire

#endif
