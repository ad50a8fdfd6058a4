/**
 * @file
 * Packets as texts for the log. Pure functions.
 */
#ifndef PHONE_PACKETLOG_H
#define PHONE_PACKETLOG_H

#include <cstdint>
#include <span>
#include <string>

namespace quarlo::phone {

/** One line about a complete packet of either direction: its name, size and fields. */
std::string describePacket(std::span<const std::uint8_t> packet);

}  // namespace quarlo::phone

#endif
