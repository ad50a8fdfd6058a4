/*
 * A capture file as connections: the bytes of both directions, put in order, in the pieces in which
 * they were captured. Pure functions of the file.
 */
#ifndef REPLAY_CAPTURE_H
#define REPLAY_CAPTURE_H

#include <cstdint>
#include <string>
#include <vector>

namespace quarlo::replay {

/** What one captured frame adds to a direction. */
struct Piece {
    bool isFromPhone;
    unsigned frame;     ///< its number in the file, from 1
    std::int64_t time;  ///< nanoseconds since the file's first frame
    std::vector<std::uint8_t> bytes;
};

struct Connection {
    std::vector<Piece> pieces;  ///< of both directions, as they could be handed on
    std::uint64_t hole = 0;     ///< bytes that the capture lacks of the phone's, behind the pieces
    bool isEndedByPhone = false;
};

struct Capture {
    std::vector<Connection> connections;  ///< in the order of their first frames
    std::string cut;                      ///< why not all of the file could be read
};

/** Throws what is wrong with a file that holds nothing to play. */
Capture readCapture(const std::string& file, unsigned phonePort);

}  // namespace quarlo::replay

#endif
