/*
 * The wire engine: templates that measure, write, read, create and release every record of the
 * catalogue.
 *
 * Layout<R>::each shows a record's fields in wire order to a visitor, which tells the kinds of
 * field apart by their C types. Reading takes its bytes from an input (Trusting, or Bounded by the
 * end of the received bytes) and its memory from a store (Heap, or the receiver's Scratch, which
 * leaves byte runs where they were received). Nothing here keeps state; all of it may be used from
 * any thread.
 */
#ifndef QUARLO_WIREENGINE_H
#define QUARLO_WIREENGINE_H

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "QUARLO-Posix.h"
#include "QUARLO.Connector.IVI-API-Types_C.h"

namespace quarlo::wire {

template <class T>
concept Scalar = std::is_integral_v<T> || std::is_enum_v<T>;

template <class R>
struct Layout;

#define QUARLO_SHOW(Kind, ...) QUARLO_SHOW_##Kind(__VA_ARGS__)
#define QUARLO_SHOW_VALUE(Type, Name, unit, meaning) &&visit(record.Name)
#define QUARLO_SHOW_BYTES(Name, N, unit, meaning) &&visit(record.Name)
#define QUARLO_SHOW_MEMBER(Record, Name, unit, meaning) &&visit(record.Name)
#define QUARLO_SHOW_RUN(Count, Length, Type, Name, unit, meaning) \
    &&visit(record.Length, record.Name)
#define QUARLO_SHOW_LIST(Count, Length, Record, Name, unit, meaning) \
    &&visit(record.Length, record.Name)

#define QUARLO_RECORD(Shape, Name, ...)                              \
    template <>                                                      \
    struct Layout<qr##Name> {                                        \
        template <class R, class Visit>                              \
        static constexpr bool each(R& record, Visit& visit) {        \
            return true QUARLO_EACH_FIELD(QUARLO_SHOW, __VA_ARGS__); \
        }                                                            \
    };
#define QUARLO_PACKET(Event, Direction, Name, ...)                   \
    template <>                                                      \
    struct Layout<packet##Name> {                                    \
        static constexpr EventType event = eEVENTTYPE_##Name;        \
        static_assert(event == Event);                               \
        template <class R, class Visit>                              \
        static constexpr bool each(R& record, Visit& visit) {        \
            return true QUARLO_EACH_FIELD(QUARLO_SHOW, __VA_ARGS__); \
        }                                                            \
    };
#define QUARLO_EMPTY_PACKET(Event, Direction, Name)           \
    template <>                                               \
    struct Layout<packet##Name> {                             \
        static constexpr EventType event = eEVENTTYPE_##Name; \
        static_assert(event == Event);                        \
        template <class R, class Visit>                       \
        static constexpr bool each(R&, Visit&) {              \
            return true;                                      \
        }                                                     \
    };
#include "QUARLO.Connector.IVI-API-Catalogue.def"

/* ---- values -------------------------------------------------------------------------------------
 */

template <Scalar T>
T load(const UInt8* at) {
    if constexpr (std::endian::native == std::endian::little) {
        T value;
        std::memcpy(&value, at, sizeof value);
        return value;
    } else {
        std::uint64_t value = 0;
        for (unsigned i = 0; i < sizeof(T); ++i) value |= std::uint64_t{at[i]} << (8 * i);
        return static_cast<T>(value);
    }
}

template <Scalar T>
UInt8* store(UInt8* at, T value) {
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(at, &value, sizeof value);
    } else {
        const std::uint64_t bits = static_cast<std::make_unsigned_t<T>>(value);
        for (unsigned i = 0; i < sizeof(T); ++i) at[i] = static_cast<UInt8>(bits >> (8 * i));
    }
    return at + sizeof(T);
}

/* ---- sizes --------------------------------------------------------------------------------------
 */

/** The smallest wire size of a record: every run and list empty. */
struct Minimum {
    std::uint64_t size = 0;

    template <Scalar T>
    constexpr bool operator()(const T&) {
        size += sizeof(T);
        return true;
    }
    template <std::size_t N>
    constexpr bool operator()(const UInt8 (&)[N]) {
        size += N;
        return true;
    }
    template <class R>
    constexpr bool operator()(R* const&) {
        const R record{};
        return Layout<R>::each(record, *this);
    }
    template <Scalar C, class T>
    constexpr bool operator()(const C&, T* const&) {
        size += sizeof(C);
        return true;
    }
};

template <class R>
constexpr std::uint64_t minimumOf() {
    const R record{};
    Minimum minimum;
    Layout<R>::each(record, minimum);
    return minimum.size;
}

inline constexpr UInt32 headerSize = static_cast<UInt32>(minimumOf<qrPacketHeader>());

/** The wire size of a record; incomplete when something that must be written is absent. */
struct Measure {
    std::uint64_t size = 0;
    bool isComplete = true;

    template <Scalar T>
    bool operator()(const T&) {
        size += sizeof(T);
        return true;
    }
    template <std::size_t N>
    bool operator()(const UInt8 (&)[N]) {
        size += N;
        return true;
    }
    template <class R>
    bool operator()(R* const& member) {
        if (member == nullptr) return need(false);
        return Layout<R>::each(*member, *this);
    }
    template <Scalar C, Scalar T>
    bool operator()(const C& count, T* const& run) {
        size += sizeof(C) + std::uint64_t{count} * sizeof(T);
        return need(count == 0 || run != nullptr);
    }
    template <Scalar C, class R>
    bool operator()(const C& count, R** const& list) {
        size += sizeof(C);
        if (list == nullptr) return need(count == 0);
        for (std::uint64_t i = 0; i < count; ++i) {
            if (list[i] != nullptr) Layout<R>::each(*list[i], *this);
        }
        return true;
    }

  private:
    bool need(bool isPresent) {
        isComplete = isComplete && isPresent;
        return true;
    }
};

template <class R>
Measure measure(const R& record) {
    Measure result;
    Layout<R>::each(record, result);
    return result;
}

/** The size as it is exported: 32 bits, 0 for a null record. */
template <class R>
UInt32 sizeOf(const R* record) {
    return record == nullptr ? 0 : static_cast<UInt32>(measure(*record).size);
}

/* ---- writing ------------------------------------------------------------------------------------
 */

/** Writes fields one after another; fails at an absent member or run, skips absent list entries. */
struct Writer {
    UInt8* at;

    template <Scalar T>
    bool operator()(const T& value) {
        at = store(at, value);
        return true;
    }
    template <std::size_t N>
    bool operator()(const UInt8 (&bytes)[N]) {
        std::memcpy(at, bytes, N);
        at += N;
        return true;
    }
    template <class R>
    bool operator()(R* const& member) {
        return member != nullptr && Layout<R>::each(*member, *this);
    }
    template <Scalar C, Scalar T>
    bool operator()(const C& count, T* const& run) {
        at = store(at, count);
        if (count == 0) return true;
        if (run == nullptr) return false;
        if constexpr (sizeof(T) == 1) {
            std::memcpy(at, run, count);
            at += count;
        } else {
            for (std::uint64_t i = 0; i < count; ++i) at = store(at, run[i]);
        }
        return true;
    }
    template <Scalar C, class R>
    bool operator()(const C& count, R** const& list) {
        at = store(at, count);
        if (count != 0 && list == nullptr) return false;
        for (std::uint64_t i = 0; i < count; ++i) {
            if (list[i] != nullptr && !Layout<R>::each(*list[i], *this)) return false;
        }
        return true;
    }
};

template <class R>
void* write(void* buffer, const R* record) {
    if (buffer == nullptr || record == nullptr) return nullptr;
    Writer writer{static_cast<UInt8*>(buffer)};
    return Layout<R>::each(*record, writer) ? writer.at : nullptr;
}

/* ---- creating and releasing ---------------------------------------------------------------------
 */

/** Memory of the exported functions: zero-filled blocks from the library's allocator. */
struct Heap {
    static constexpr bool borrowsBytes = false;

    template <class T>
    static T* make(std::uint64_t count = 1) {
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) return nullptr;
        const auto size = static_cast<std::size_t>(count) * sizeof(T);
        void* block = quarlo_malloc(size);
        if (block != nullptr) std::memset(block, 0, size);
        return static_cast<T*>(block);
    }
    template <class R>
    static void discard(R* record);
};

/** Sets a record's pointers to null, its counts to 0 and its byte fields to zeros. */
struct Clear {
    template <Scalar T>
    bool operator()(T&) {
        return true;
    }
    template <std::size_t N>
    bool operator()(UInt8 (&bytes)[N]) {
        std::memset(bytes, 0, N);
        return true;
    }
    template <class R>
    bool operator()(R*& member) {
        member = nullptr;
        return true;
    }
    template <Scalar C, class T>
    bool operator()(C& count, T*& run) {
        count = 0;
        run = nullptr;
        return true;
    }
};

/** Frees everything a record holds and leaves it as Clear does; not the record itself. */
struct Release : Clear {
    using Clear::operator();

    template <class R>
    bool operator()(R*& member) {
        Heap::discard(member);
        return Clear::operator()(member);
    }
    template <Scalar C, Scalar T>
    bool operator()(C& count, T*& run) {
        quarlo_free(run);
        return Clear::operator()(count, run);
    }
    template <Scalar C, class R>
    bool operator()(C& count, R**& list) {
        for (std::uint64_t i = 0; list != nullptr && i < count; ++i) Heap::discard(list[i]);
        quarlo_free(list);
        return Clear::operator()(count, list);
    }
};

template <class R, class Visit>
void visitAll(R* record, Visit visit) {
    if (record != nullptr) Layout<R>::each(*record, visit);
}

template <class R>
void Heap::discard(R* record) {
    if (record == nullptr) return;
    visitAll(record, Release{});
    quarlo_free(record);
}

/* ---- reading ------------------------------------------------------------------------------------
 */

/** Bytes whose end is not known: the caller vouches for what the lengths inside say. */
struct Trusting {
    const UInt8* at;

    const UInt8* take(std::uint64_t count) {
        const UInt8* start = at;
        at += count;
        return start;
    }
    static bool fits(std::uint64_t) { return true; }
    static bool isBeyond() { return false; }
};

/** Bytes up to the end of what was received; a read behind it touches nothing and is remembered. */
struct Bounded {
    const UInt8* at;
    const UInt8* end;
    bool wentBeyond = false;

    const UInt8* take(std::uint64_t count) {
        if (!fits(count)) return nullptr;
        const UInt8* start = at;
        at += count;
        return start;
    }
    bool fits(std::uint64_t count) {
        wentBeyond = wentBeyond || count > static_cast<std::uint64_t>(end - at);
        return !wentBeyond;
    }
    [[nodiscard]] bool isBeyond() const { return wentBeyond; }
};

template <class Input, class Store>
struct Reader {
    Input& in;
    Store& memory;
    bool isLost = false;  // an entry could not be had, so where the list ends is unknown

    template <Scalar T>
    bool operator()(T& value) {
        const UInt8* bytes = take(sizeof(T));
        if (bytes != nullptr) value = load<T>(bytes);
        return bytes != nullptr;
    }
    template <std::size_t N>
    bool operator()(UInt8 (&field)[N]) {
        const UInt8* bytes = take(N);
        if (bytes != nullptr) std::memcpy(field, bytes, N);
        return bytes != nullptr;
    }
    template <class R>
    bool operator()(R*& member) {
        member = record<R>();
        return member != nullptr;
    }
    template <Scalar C, Scalar T>
    bool operator()(C& count, T*& run) {
        if (!(*this)(count)) return false;
        if (count == 0) return true;
        if constexpr (sizeof(T) == 1 && Store::borrowsBytes) {
            // The record lives no longer than the received bytes, so it may point at them.
            run = reinterpret_cast<T*>(const_cast<UInt8*>(in.take(count)));
        } else if (in.fits(std::uint64_t{count} * sizeof(T))) {
            run = memory.template make<T>(count);
            if (run != nullptr) copy(run, count);
        }
        return run != nullptr;
    }
    template <Scalar C, class R>
    bool operator()(C& count, R**& list) {
        if (!(*this)(count)) return false;
        if (count == 0) return true;
        if (!in.fits(std::uint64_t{count} * minimumOf<R>())) return false;
        list = memory.template make<R*>(count);
        if (list == nullptr) return false;
        for (std::uint64_t i = 0; i < count; ++i) {
            // An entry that cannot be had ends the list; it and the rest stay null. What follows
            // the list cannot be found any more.
            if ((list[i] = record<R>()) != nullptr) continue;
            isLost = true;
            return !in.isBeyond();
        }
        return true;
    }

    template <class R>
    R* record() {
        R* made = memory.template make<R>();
        if (made == nullptr || Layout<R>::each(*made, *this)) return made;
        memory.discard(made);
        return nullptr;
    }

  private:
    const UInt8* take(std::uint64_t count) { return isLost ? nullptr : in.take(count); }

    template <Scalar T>
    void copy(T* run, std::uint64_t count) {
        const UInt8* bytes = in.take(count * sizeof(T));
        if constexpr (sizeof(T) == 1) {
            std::memcpy(run, bytes, static_cast<std::size_t>(count));
        } else {
            for (std::uint64_t i = 0; i < count; ++i) run[i] = load<T>(bytes + i * sizeof(T));
        }
    }
};

/** Reads one record from bytes that the caller vouches for; the result is a heap tree. */
template <class R>
R* read(void** bufferPointer) {
    if (bufferPointer == nullptr || *bufferPointer == nullptr) return nullptr;
    Trusting in{static_cast<const UInt8*>(*bufferPointer)};
    Heap heap;
    R* result = Reader<Trusting, Heap>{in, heap}.template record<R>();
    *bufferPointer = const_cast<UInt8*>(in.at);
    return result;
}

}  // namespace quarlo::wire

#endif
