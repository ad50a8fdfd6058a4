// The blocks of a pcapng file, and in them TCP segments between two addresses. Nothing here has
// state or allocates; any thread may call it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace quarlo::links {

/** Comments of a packet that is yet to come, as they stand in the file. */
class Comments {
  public:
    /** @return false when there is no room */
    bool add(const char* kind, const char* text);
    void clear() { used = 0; }
    const unsigned char* bytes() const { return options; }
    std::size_t size() const { return used; }

  private:
    unsigned char options[16384] = {};
    std::size_t used = 0;
};

enum TcpFlag : std::uint8_t { tcpFin = 1, tcpSyn = 2, tcpRst = 4, tcpPush = 8, tcpAck = 16 };

/** The two ends of a connection. */
enum Side : std::uint8_t { phoneSide = 0, headUnitSide = 1 };
constexpr Side other(Side side) {
    return side == phoneSide ? headUnitSide : phoneSide;
}

/** The most that one segment carries. */
constexpr std::size_t longestSegment = 32768;

struct Segment {
    Side from;
    std::uint8_t flags;
    std::uint16_t headUnitPort;
    std::uint32_t sequence;
    std::uint32_t acknowledged;
    const unsigned char* bytes;
    std::size_t count;
};

/** What stands before and behind the bytes of a segment in the file. */
struct PacketFrame {
    unsigned char head[28 + 20 + 28];
    std::size_t headSize;
    unsigned char tail[4 + 4 + 4];  // padding, behind the comments their end, and the block's size
    std::size_t paddingSize;
    std::size_t endSize;
    /** Of the whole block. */
    std::size_t size;
};

/** @param time nanoseconds since 1970 */
void frameSegment(const Segment& segment, std::uint64_t time, const Comments& comments,
                  PacketFrame& frame);

/** The section and its one interface; returns their size. */
std::size_t beginFile(unsigned char (&into)[128]);

}  // namespace quarlo::links
