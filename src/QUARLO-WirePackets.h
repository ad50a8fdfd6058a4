/*
 * The packet side of the wire engine: create, delete, decode and build any packet of the catalogue.
 * Any thread.
 */
#ifndef QUARLO_WIREPACKETS_H
#define QUARLO_WIREPACKETS_H

#include "QUARLO-WireEngine.h"

namespace quarlo::wire {

/** Gives every member record of a packet zero-filled memory. */
struct Populate : Clear {
    using Clear::operator();
    template <class R>
    bool operator()(R*& member) {
        member = Heap::make<R>();
        return member != nullptr;
    }
};

template <class P>
void deletePacket(P* packet) {
    if (packet == nullptr) return;
    Heap::discard(packet->Header);
    Heap::discard(packet);
}

template <class P>
P* newPacket() {
    P* packet = Heap::make<P>();
    if (packet == nullptr) return nullptr;
    Populate populate;
    packet->Header = Heap::make<qrPacketHeader>();
    if (packet->Header != nullptr && Layout<P>::each(*packet, populate)) return packet;
    deletePacket(packet);
    return nullptr;
}

/** Decodes the fields behind a header that has been read; the packet then refers to that header. */
template <class P, class Input, class Store>
P* decodeFields(qrPacketHeader* header, Input& in, Store& memory) {
    P* packet = memory.template make<P>();
    if (packet == nullptr) return nullptr;
    Reader<Input, Store> reader{in, memory};
    packet->Header = header;
    if (Layout<P>::each(*packet, reader)) return packet;
    packet->Header = nullptr;
    memory.discard(packet);
    return nullptr;
}

/** Decodes a packet, header included; null when it is of another type or cannot be had. */
template <class P, class Input, class Store>
P* decodePacket(Input& in, Store& memory) {
    auto* header = Reader<Input, Store>{in, memory}.template record<qrPacketHeader>();
    if (header == nullptr) return nullptr;
    const bool isThisType = header->PacketType == Layout<P>::event;
    P* packet = isThisType ? decodeFields<P>(header, in, memory) : nullptr;
    if (packet == nullptr) memory.discard(header);
    return packet;
}

template <class P>
P* packetFromBuffer(void** bufferPointer) {
    if (bufferPointer == nullptr || *bufferPointer == nullptr) return nullptr;
    Trusting in{static_cast<const UInt8*>(*bufferPointer)};
    Heap heap;
    P* packet = decodePacket<P>(in, heap);
    *bufferPointer = const_cast<UInt8*>(in.at);
    return packet;
}

/** The size of a packet with its header; 0 when something that must be written is absent or the
 * size does not fit its field. */
template <class P>
UInt32 sizeOfPacket(const P& packet) {
    const Measure fields = measure(packet);
    const std::uint64_t whole = headerSize + fields.size;
    const bool fits = fields.isComplete && whole <= std::numeric_limits<UInt32>::max();
    return fits ? static_cast<UInt32>(whole) : 0;
}

/** Writes a packet that has a size. Every byte of it is written: list entries left out do not count
 * in the size either. */
template <class P>
void writePacket(UInt8* at, const qrPacketHeader& header, const P& packet) {
    Writer writer{at};
    Layout<qrPacketHeader>::each(header, writer);
    Layout<P>::each(packet, writer);
}

/** Builds a packet into a new buffer of exactly its size; *size is 0 when it cannot be built. */
template <class P>
void build(void** buffer, UInt32* size, P& packet) {
    *size = 0;
    const UInt32 whole = sizeOfPacket(packet);
    if (packet.Header == nullptr || whole == 0) return;
    packet.Header->PacketType = Layout<P>::event;
    packet.Header->PayloadSize = whole - headerSize;
    *buffer = quarlo_malloc(whole);
    if (*buffer == nullptr) return;
    writePacket(static_cast<UInt8*>(*buffer), *packet.Header, packet);
    *size = whole;
}

/** Sets what there is of the two results to "nothing built"; true when both are there. */
inline bool haveResults(void** buffer, UInt32* size) {
    if (buffer != nullptr && size != nullptr) return true;
    if (buffer != nullptr) *buffer = nullptr;
    if (size != nullptr) *size = 0;
    return false;
}

template <class P>
void packetToBuffer(void** buffer, UInt32* size, P* packet) {
    if (packet != nullptr) {
        if (haveResults(buffer, size)) build(buffer, size, *packet);
        return;
    }
    if (buffer != nullptr) *buffer = nullptr;
    if (size != nullptr) *size = 0;
}

template <class P>
void buildFromFields(void** buffer, UInt32* size, P& packet, bool isWhole) {
    if (!haveResults(buffer, size)) return;
    *size = 0;
    if (isWhole) build(buffer, size, packet);
}

/** Takes loose field values into a packet record that borrows them. */
struct Assign {
    bool isWhole = true;

    template <class T>
    void operator()(T& field, T value) {
        field = value;
    }
    template <std::size_t N>
    void operator()(UInt8 (&field)[N], const UInt8* value) {
        if (value != nullptr) std::memcpy(field, value, N);
        isWhole = isWhole && value != nullptr;
    }
};

#define QUARLO_ASSIGN(Kind, ...) QUARLO_ASSIGN_##Kind(__VA_ARGS__)
#define QUARLO_ASSIGN_VALUE(Type, Name, unit, meaning) assign(packet.Name, Name);
#define QUARLO_ASSIGN_BYTES(Name, N, unit, meaning) assign(packet.Name, Name);
#define QUARLO_ASSIGN_MEMBER(Record, Name, unit, meaning) assign(packet.Name, Name);
#define QUARLO_ASSIGN_RUN(Count, Length, Type, Name, unit, meaning) \
    assign(packet.Length, Length);                                  \
    assign(packet.Name, Name);

}  // namespace quarlo::wire

#endif
