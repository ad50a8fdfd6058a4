/**
 * @file
 * What becomes of a head unit, for those who follow it from elsewhere. A value.
 */
#ifndef PHONE_HAPPENING_H
#define PHONE_HAPPENING_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace quarlo::phone {

enum class Event { Packet, Fault, Connected, Running, Closed };

struct Happening {
    int unit;  ///< its number
    Event event;
    std::vector<std::uint8_t> packet{};
    std::string text{};  ///< of a fault
};

/** Is called on the threads of the head units. */
using Teller = std::function<void(Happening)>;

}  // namespace quarlo::phone

#endif
