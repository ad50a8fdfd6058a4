// The structs of the interface that hosts hand in: how much of them a host of any release has.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "quarlo-links.h"

namespace quarlo::links {

// What the first release had: the least that a host brings. Never raised, whatever is added. No
// struct ends in padding, where a member could be added that an old host seems to have set.
template <class T>
inline constexpr std::size_t oldestSize = 0;

#define QUARLO_OLDEST(Struct, lastMember)                          \
    template <>                                                    \
    inline constexpr std::size_t oldestSize<Struct> =              \
        offsetof(Struct, lastMember) + sizeof(Struct::lastMember); \
    static_assert(oldestSize<Struct> % alignof(Struct) == 0)

QUARLO_OLDEST(quarloLinkFailure, reserved);
QUARLO_OLDEST(quarloObserver, closed);
QUARLO_OLDEST(quarloTransport, reserved);
QUARLO_OLDEST(quarloSessionConfig, giveUpAfter);
QUARLO_OLDEST(quarloFrameChange, reserved);

#undef QUARLO_OLDEST

/** Takes of a host's struct what this release knows, the rest being 0; false for one without size.
 */
template <class T>
bool take(const T* given, T& into) {
    into = {};
    if (given == nullptr || given->size < oldestSize<T>) return false;
    memcpy(&into, given, std::min(given->size, sizeof into));
    return true;
}

}  // namespace quarlo::links
