// What a session says of refusals. Any thread may ask.
#pragma once

#include <cstdint>

#include "quarlo-links.h"

namespace quarlo::links {

/** The packet of this type by which the phone said no; null when it said none. */
const char* wordsForRefusal(std::uint8_t type);

}  // namespace quarlo::links
