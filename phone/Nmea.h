/**
 * @file
 * NMEA 0183 sentences that say where the car is and where it is heading. Pure functions.
 */
#ifndef PHONE_NMEA_H
#define PHONE_NMEA_H

#include <optional>
#include <string_view>

namespace quarlo::phone {

struct Coordinates {
    double latitude = 0;
    double longitude = 0;
};

/** What became of a sentence. */
enum class SentenceState {
    Place,          ///< it says where the car is
    NoFix,          ///< it says that the receiver does not know
    WrongChecksum,  ///< it is not as it was sent
    OtherKind,      ///< of a kind that tells no place, or none that is read here
    Unreadable
};

struct Sentence {
    SentenceState state = SentenceState::Unreadable;
    Coordinates place;
    /** Degrees clockwise from north; RMC tells it while the car moves, GGA never. */
    std::optional<double> heading;
};

/** Reads GGA and RMC of any talker; a checksum may be missing but not wrong. */
Sentence readSentence(std::string_view text);

}  // namespace quarlo::phone

#endif
