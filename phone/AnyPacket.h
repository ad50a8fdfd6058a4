/**
 * @file
 * Packets whose type is known at run time only: made, decoded, and their fields told and set by
 * name, all from the wire catalogue. A field of a record within is named with a dot, an entry of a
 * list by its number from 0. Values.
 */
#ifndef PHONE_ANYPACKET_H
#define PHONE_ANYPACKET_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "QUARLO.Connector.IVI-API-Types_C.h"

namespace quarlo::phone {

/** Pairs of hexadecimal digits. */
std::string digitsOf(std::span<const std::uint8_t> bytes);

class AnyPacket {
  public:
    /** Names and values; enumerators have names, bytes are hexadecimal digits. */
    using Fields = std::vector<std::pair<std::string, std::string>>;

    virtual ~AnyPacket() = default;
    /**
     * @param path whose number of an entry may be left out, for the first
     * @param mayCount the length of a list may be said by itself: the packet is not to be built
     * @return empty, or what is allowed instead
     */
    virtual std::string assign(std::string_view path, std::string_view value, bool mayCount) = 0;
    virtual Fields fields() const = 0;
    /** Header included; empty if it cannot be built. */
    virtual std::vector<std::uint8_t> bytes() const = 0;
};

enum class Direction { ToPhone, FromPhone };

struct PacketKind {
    EventType type;
    Direction direction;
    std::string_view name;
    /** Empty, or null without memory. */
    std::unique_ptr<AnyPacket> (*make)();
    /** Null for bytes that are none. */
    std::unique_ptr<AnyPacket> (*decode)(std::span<const std::uint8_t>);
};

/** One for each packet of the catalogue. */
std::span<const PacketKind> packetKinds();

}  // namespace quarlo::phone

#endif
