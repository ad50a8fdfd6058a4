/**
 * @file
 * Packets as the bytes that are sent. Pure functions.
 */
#ifndef PHONE_PACKETBYTES_H
#define PHONE_PACKETBYTES_H

#include <cstdint>
#include <memory>
#include <vector>

#include "QUARLO-WirePackets.h"

namespace quarlo::phone {

using PacketBytes = std::vector<std::uint8_t>;

/** Creates a packet and lets `fill` set its fields; empty if it cannot be built. */
template <class P, class Fill>
PacketBytes bytesOf(Fill fill) {
    const std::unique_ptr<P, void (*)(P*)> packet(wire::newPacket<P>(), wire::deletePacket<P>);
    if (packet == nullptr) return {};
    fill(*packet);
    void* buffer = nullptr;
    UInt32 size = 0;
    wire::packetToBuffer(&buffer, &size, packet.get());
    const auto* bytes = static_cast<const std::uint8_t*>(buffer);
    PacketBytes result(bytes, bytes + size);
    quarlo_free(buffer);
    return result;
}

/** Gives a counted run of bytes or values a copy of these. */
template <class Count, class Value, class Values>
void setRun(Count& count, Value*& run, const Values& values) {
    if (values.size() == 0) return;
    run = wire::Heap::make<Value>(values.size());
    if (run == nullptr) return;
    count = static_cast<Count>(values.size());
    std::copy(values.begin(), values.end(), run);
}

}  // namespace quarlo::phone

#endif
