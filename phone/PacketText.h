/**
 * @file
 * Packets written as text: "NAME FIELD=VALUE ...". Names and fields are those of the wire
 * catalogue, so every packet that exists can be sent and recognised without code of its own. A
 * field of a record within is named with a dot, an entry of a list by its number from 0. Values.
 */
#ifndef PHONE_PACKETTEXT_H
#define PHONE_PACKETTEXT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "AnyPacket.h"

namespace quarlo::phone {

/** Every packet of that direction, with commas between them. */
std::string packetNames(Direction direction);
bool isPacket(std::string_view name, Direction direction);

/**
 * Builds a packet of the phone's.
 * @param bytes get it, header included
 * @return empty, or what is allowed instead
 */
std::string buildPacket(std::string_view name, std::string_view fields,
                        std::vector<std::uint8_t>& bytes);

/** The same from fields that exist. @return the bytes, or none when a value is not allowed */
std::vector<std::uint8_t> packetWith(
    std::string_view name, const std::vector<std::pair<std::string_view, std::string>>& fields);

/** What a packet of the head unit must be like. */
class PacketPattern {
  public:
    /**
     * @param fields "FIELD=VALUE" for one that is equal, "FIELD~TEXT" for one that contains it;
     * an entry's number may be left out: then any will do
     * @return empty, or what is allowed instead
     */
    std::string read(std::string_view name, std::string_view fields);
    bool matches(std::span<const std::uint8_t> packet) const;

  private:
    struct Condition {
        std::string field;
        bool isWhole;
        std::string value;
    };
    static bool holds(const Condition& condition, const AnyPacket::Fields& fields);

    const PacketKind* kind = nullptr;
    std::vector<Condition> conditions;
};

}  // namespace quarlo::phone

#endif
