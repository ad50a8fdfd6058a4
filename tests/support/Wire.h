/*
 * Packets by hand. Payloads are written as they stand on the wire: "01 <03 00> 'Bob'" is the byte
 * 01, a count field (so that tests know where to lie about lengths) and three characters.
 */
#ifndef QUARLO_TESTS_WIRE_H
#define QUARLO_TESTS_WIRE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Bytes.h"
#include "QUARLO-WireScratch.h"

namespace quarlo::test {

struct CountField {
    std::size_t offset;
    std::size_t width;
};

struct Golden {
    Bytes bytes;
    std::vector<CountField> counts;
};

Golden golden(std::string_view notation);

/** What a decoded packet consists of. */
struct Contents {
    struct Run {
        const UInt8* at;
        std::size_t size;
    };
    std::string fields;  // "{Name='Bob' Keys=[1 2] Place{X=1}}"
    std::vector<Run> byteRuns;
    unsigned holes = 0;           // null entries of lists
    bool holesAreAtEnds = true;   // no entry follows a null one
    bool countsAreHonest = true;  // every count above 0 has its array
};

/** One packet of the catalogue with its bytes, its fields and its functions, free of its type. */
struct PacketCase {
    const char* name;
    Golden whole;
    std::string fields;  // of the packet as Contents tells them
    void* (*create)();
    void (*remove)(void* packet);
    void* (*decode)(void** buffer);
    void (*build)(void** buffer, UInt32* size, void* packet);
    void* (*decodeBounded)(wire::Bounded& in, wire::Scratch& memory);
    Contents (*contents)(const void* packet);
};

/** All packets, in the order of their type bytes. */
const std::vector<PacketCase>& packetCases();

/** The header, with which every packet record begins. */
inline qrPacketHeader*& headerOf(void* packet) {
    return *static_cast<qrPacketHeader**>(packet);
}

/** A packet of the heap with every field set. */
inline void* filled(const PacketCase& each) {
    void* at = const_cast<std::uint8_t*>(each.whole.bytes.data());
    return each.decode(&at);
}

inline Bytes takeBuffer(void* buffer, UInt32 size) {
    const auto* bytes = static_cast<const UInt8*>(buffer);
    Bytes result(bytes, bytes + size);
    quarlo_free(buffer);
    return result;
}

}  // namespace quarlo::test

#endif
