// What a session says of states, errors and refusals. Any thread may ask.
#pragma once

#include <cstdint>

#include "quarlo-links.h"

namespace quarlo::links {

/** As the library prints it. */
const char* nameOf(eProtocolState state);
const char* nameOf(eErrorCode code);
/** The packet of this type by which the phone said no; null when it said none. */
const char* wordsForRefusal(std::uint8_t type);

}  // namespace quarlo::links
