/*
 * A packet on its way out: a record tree on the caller's stack, whose runs and lists lead into what
 * the caller has, and the bytes that are made of it. The bytes stay on the stack too, unless a
 * packet turns out larger than that: then they get one block of the heap. Any thread.
 */
#ifndef QUARLO_WIREOUTGOING_H
#define QUARLO_WIREOUTGOING_H

#include <algorithm>
#include <cstddef>
#include <utility>

#include "QUARLO-WirePackets.h"

namespace quarlo::wire {

/** The largest wire size of a record: every run and list as long as its count can say. */
struct Maximum {
    std::uint64_t size = 0;

    template <class T>
    constexpr bool operator()(const T&) {
        size += sizeof(T);
        return true;
    }
    template <class R>
    constexpr bool operator()(R* const&) {
        const R record{};
        return Layout<R>::each(record, *this);
    }
    template <Scalar C, Scalar T>
    constexpr bool operator()(const C&, T* const&) {
        size += sizeof(C) + std::uint64_t{std::numeric_limits<C>::max()} * sizeof(T);
        return true;
    }
    template <Scalar C, class R>
    constexpr bool operator()(const C&, R** const&) {
        Maximum entry;
        const R record{};
        Layout<R>::each(record, entry);
        size += sizeof(C) + std::numeric_limits<C>::max() * entry.size;
        return true;
    }
};

/** The largest size of a packet with its header. */
template <class P>
constexpr std::uint64_t largestOf() {
    const P packet{};
    Maximum maximum;
    Layout<P>::each(packet, maximum);
    return headerSize + maximum.size;
}

/** What a packet may take of the stack: a touch event with as many touches as it can hold fits. */
inline constexpr std::size_t mostOnStack = 2560;

/** A packet that always fits the stack, so that sending it cannot fail. */
template <class P>
concept Small = largestOf<P>()
<= mostOnStack;

/** A packet with its member records beside it, all zeros. It owns none of the bytes and lists that
 * its fields are made to lead to. */
template <class P>
class Draft {
  public:
    Draft() {
        Place place{members};
        Layout<P>::each(packet, place);
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    P packet{};

  private:
    static constexpr std::size_t roundUp(std::size_t amount) {
        constexpr std::size_t alignment = alignof(std::max_align_t);
        return (amount + alignment - 1) / alignment * alignment;
    }
    /** Adds up the memory of the member records. */
    struct MembersSize {
        std::size_t size = 0;

        template <class T>
        constexpr bool operator()(const T&) {
            return true;
        }
        template <class R>
        constexpr bool operator()(R* const&) {
            size += roundUp(sizeof(R));
            return true;
        }
        template <Scalar C, class T>
        constexpr bool operator()(const C&, T* const&) {
            return true;
        }
    };
    static constexpr std::size_t membersSize() {
        const P none{};
        MembersSize members;
        Layout<P>::each(none, members);
        return std::max<std::size_t>(members.size, 1);
    }
    /** Gives every member record its place. */
    struct Place {
        UInt8* at;

        template <class T>
        bool operator()(T&) {
            return true;
        }
        template <class R>
        bool operator()(R*& member) {
            member = reinterpret_cast<R*>(at);
            at += roundUp(sizeof(R));
            return true;
        }
        template <Scalar C, class T>
        bool operator()(C&, T*&) {
            return true;
        }
    };
    alignas(std::max_align_t) UInt8 members[membersSize()] = {};
};

/** Room for bytes: on the stack, or in one block of the heap when there are more. */
template <std::size_t N>
class Room {
  public:
    // cppcheck-suppress uninitMemberVar ; what is taken is written first
    Room() = default;
    ~Room() {
        if (block != nullptr) quarlo_free(block);
    }
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;

    /** Null without memory. Once only. */
    UInt8* take(std::size_t size) {
        if (size <= N) return own;
        block = static_cast<UInt8*>(quarlo_malloc(size));
        return block;
    }
    /** The block, if there is one, which then is the caller's. */
    UInt8* giveUpBlock() { return std::exchange(block, nullptr); }

  private:
    UInt8* block = nullptr;
    UInt8 own[N];  // Deliberate: without a value, because what is taken is written.
};

/** The bytes of a packet. */
template <class P>
class Outgoing {
  public:
    /** False when something that must be written is absent, or without memory. */
    bool encode(const P& packet) {
        const UInt32 whole = sizeOfPacket(packet);
        at = whole == 0 ? nullptr : room.take(whole);
        if (at == nullptr) return false;
        writePacket(at, {Layout<P>::event, 0, whole - headerSize}, packet);
        length = whole;
        return true;
    }
    [[nodiscard]] UInt8* bytes() const { return at; }
    [[nodiscard]] UInt32 size() const { return length; }
    UInt8* giveUpBlock() { return room.giveUpBlock(); }

  private:
    UInt8* at = nullptr;
    UInt32 length = 0;
    Room<static_cast<std::size_t>(std::min<std::uint64_t>(largestOf<P>(), mostOnStack))> room;
};

}  // namespace quarlo::wire

#endif
