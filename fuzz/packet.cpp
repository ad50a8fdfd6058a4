/*
 * Every packet of the catalogue: the first byte is its type, the rest its payload. What can be
 * decoded is printed, and built again it is a packet that decodes to the same.
 */
#include <cstdio>
#include <cstring>

#include "Input.h"
#include "QUARLO-Core-Strings.h"
#include "QUARLO-Internal.h"
#include "QUARLO-WirePackets.h"
#include "QUARLO-WireScratch.h"
#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo::fuzz {
namespace {

/* The name printer of an enumeration; flags and numbers are printed as numbers. */
template <class T>
void printValue(T value) {
    std::printf("%lld ", static_cast<long long>(value));
}
#define QUARLO_NAME_OWN(Type)                      \
    [[maybe_unused]] void printValue(Type value) { \
        look(_quarlo_get##Type##Name(value), 1);   \
    }
#define QUARLO_NAME_NONE(Type)
#define QUARLO_ENUM_BEGIN(Type, Wire, Printer) QUARLO_NAME_##Printer(Type)
#include "QUARLO.Connector.IVI-API-Enumerations.def"

/** Prints a decoded packet; tells whether all of it is there. */
struct Print {
    bool isWhole = true;

    template <wire::Scalar T>
    bool operator()(const T& value) {
        printValue(value);
        return true;
    }
    template <std::size_t N>
    bool operator()(const UInt8 (&field)[N]) {
        look(field, N);
        return true;
    }
    template <class R>
    bool operator()(R* const& member) {
        require(member != nullptr, "a decoded packet lacks a member");
        if constexpr (std::is_same_v<R, qrString>) _quarlo_PrintString(member);
        return wire::Layout<R>::each(*member, *this);
    }
    template <wire::Scalar C, wire::Scalar T>
    bool operator()(const C& count, T* const& run) {
        look(run, count * sizeof(T));
        for (std::uint64_t i = 0; i < count && i < 256; ++i) printValue(run[i]);
        return true;
    }
    template <wire::Scalar C, class R>
    bool operator()(const C& count, R** const& list) {
        require(list != nullptr || count == 0, "a counted list is missing");
        for (std::uint64_t i = 0; i < count; ++i) {
            if (list[i] != nullptr) {
                wire::Layout<R>::each(*list[i], *this);
            } else {
                isWhole = false;
            }
        }
        return true;
    }
};

/** A built packet. */
struct Built {
    ~Built() { quarlo_free(bytes); }
    void* bytes = nullptr;
    UInt32 size = 0;
};

/** The functions of a packet that hosts use; they trust the bytes that they are given. */
template <class P>
struct Exported;
#define QUARLO_PACKET(Event, Direction, Name, ...)               \
    template <>                                                  \
    struct Exported<packet##Name> {                              \
        static constexpr auto remove = packet##Name##Delete;     \
        static constexpr auto decode = packet##Name##FromBuffer; \
        static constexpr auto build = packet##Name##ToBuffer;    \
    };
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) QUARLO_PACKET(Event, Direction, Name, )
#include "QUARLO.Connector.IVI-API-Catalogue.def"

/** What the library has built itself may be trusted. */
template <class P>
void decodeAgain(const Built& first, const qrPacketHeader& header) {
    require(first.size == wire::headerSize + header.PayloadSize, "the header tells another size");
    const Exact exact(Span(static_cast<const std::uint8_t*>(first.bytes), first.size));
    void* at = exact.data();
    P* packet = Exported<P>::decode(&at);
    require(packet != nullptr && at == exact.data() + exact.size(), "a built packet is not one");
    Built second;
    Exported<P>::build(&second.bytes, &second.size, packet);
    Exported<P>::remove(packet);
    require(second.size == first.size && std::memcmp(first.bytes, second.bytes, first.size) == 0,
            "a packet changes when it is built again");
}

template <class P>
void decode(const Exact& bytes) {
    static wire::Scratch memory;
    wire::Bounded in{bytes.data(), bytes.data() + bytes.size()};
    P* packet = wire::decodePacket<P>(in, memory);
    if (packet != nullptr) {
        Print print;
        wire::Layout<P>::each(static_cast<const P&>(*packet), print);
        Built built;
        wire::build(&built.bytes, &built.size, *packet);
        if (print.isWhole && !in.isBeyond()) {
            require(built.size != 0, "a whole packet cannot be built");
            decodeAgain<P>(built, *packet->Header);
        }
    }
    memory.reset();
    // The other memory policy, as the exported functions have it.
    wire::Bounded again{bytes.data(), bytes.data() + bytes.size()};
    wire::Heap heap;
    wire::deletePacket(wire::decodePacket<P>(again, heap));
    require(again.isBeyond() == in.isBeyond() && again.at == in.at,
            "the memory policy changes what is read");
}

/** A received packet of this type and payload, with nothing behind it. */
void play(std::uint8_t type, Span payload) {
    const Exact bytes(wire::headerSize + payload.size());
    qrPacketHeader header{static_cast<EventType>(type), 0, static_cast<UInt32>(payload.size())};
    wire::Writer writer{bytes.data()};
    wire::Layout<qrPacketHeader>::each(header, writer);
    std::copy(payload.begin(), payload.end(), bytes.data() + wire::headerSize);
    switch (type) {
#define QUARLO_PACKET(Event, Direction, Name, ...) \
    case Event:                                    \
        return decode<packet##Name>(bytes);
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) QUARLO_PACKET(Event, Direction, Name, )
#include "QUARLO.Connector.IVI-API-Catalogue.def"
        default:
            return;
    }
}

}  // namespace

void play(Input& in) {
    const std::uint8_t type = in.u8();
    play(type, in.rest());
}

}  // namespace quarlo::fuzz
