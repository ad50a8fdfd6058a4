/**
 * @file
 * What is wrong about custom data, and about the strings and keys that stand in it as in other
 * packets. Session thread.
 */
#ifndef PHONE_CUSTOMDATARULES_H
#define PHONE_CUSTOMDATARULES_H

#include <algorithm>
#include <initializer_list>

#include "Judgement.h"

namespace quarlo::phone {

inline std::string number(std::uint64_t value) {
    return std::to_string(value);
}

inline bool isWithin(std::uint64_t value, std::uint64_t least, std::uint64_t most) {
    return value >= least && value <= most;
}

inline bool isOneOf(std::uint64_t value, std::initializer_list<std::uint64_t> allowed) {
    return std::find(allowed.begin(), allowed.end(), value) != allowed.end();
}

/** There is such a key beside the screen. */
bool isKey(unsigned code);

void checkEncoding(Judgement& judgement, unsigned encoding, std::span<const std::uint8_t> text);

void checkCustomData(Judgement& judgement, const packetClientCustomData& packet);

}  // namespace quarlo::phone

#endif
