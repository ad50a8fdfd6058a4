/**
 * @file
 * What goes wrong on the wire to a head unit when the user asks for it. The same settings, seed and
 * packets give the same bytes, however the packets come in pieces.
 */
#ifndef PHONE_FAULTS_H
#define PHONE_FAULTS_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "quarlo-framing.h"

namespace quarlo::phone {

/** What is not set does not happen. */
struct Faults {
    std::optional<unsigned> cutAt;
    std::optional<unsigned> halfOpenAt;
    std::optional<unsigned> fragment;
    std::optional<unsigned> bytesPerSecond;
    std::optional<unsigned> duplicate;
    std::optional<unsigned> reorder;
    std::optional<unsigned> damage;
};

struct FaultOption {
    const char* name;
    const char* argument;
    unsigned least;
    unsigned most;
    const char* effect;
    std::optional<unsigned> Faults::*setting;
};

/** The options that set them: for the command line, its help, and the table in docs/phone.md. */
constexpr FaultOption faultOptions[] = {
    {"--cut-at", "BYTE", 0, std::numeric_limits<unsigned>::max(),
     "Cut the connection when this many bytes have been sent", &Faults::cutAt},
    {"--half-open-at", "BYTE", 0, std::numeric_limits<unsigned>::max(),
     "Neither read nor send any more, but keep the connection open, when this many bytes have been "
     "sent",
     &Faults::halfOpenAt},
    {"--fragment", "BYTES", 1, 65536, "Send in pieces of this many bytes", &Faults::fragment},
    {"--slow", "BYTES", 1, 1'000'000'000, "Send no more than this many bytes in a second",
     &Faults::bytesPerSecond},
    {"--duplicate", "PERCENT", 1, 100, "Send so many of a hundred packets twice",
     &Faults::duplicate},
    {"--reorder", "PERCENT", 1, 100,
     "Send so many of a hundred packets behind the one that follows, or a second late when none "
     "does",
     &Faults::reorder},
    {"--damage", "PERCENT", 1, 100, "Change one byte in so many of a hundred packets",
     &Faults::damage},
};

/** What becomes of one packet. */
struct Fate {
    struct Damage {
        std::size_t at;        ///< position in the packet
        std::uint8_t changes;  ///< the bits that are turned over; never 0
        bool operator==(const Damage&) const = default;
    };
    std::optional<Damage> damage;
    bool isDuplicated = false;
    bool isHeldBack = false;  ///< until the next packet is sent

    bool operator==(const Fate&) const = default;
};

/** @param number of the packet in its stream, from 1 on
 * @param size of the packet, at least 1 */
Fate fateOf(const Faults& faults, std::uint32_t seed, std::uint32_t number, std::size_t size);

/** Takes the stream of one connection and gives the pieces that are to be sent instead. */
class FaultyWire {
  public:
    using Note = std::function<void(const std::string&)>;
    enum class End { None, Cut, HalfOpen };

    /** @param note is told of each fault when it strikes, of one that lasts when it begins */
    FaultyWire(const Faults& faults, std::uint32_t seed, Note note);

    /** The next bytes of the stream. */
    void put(std::span<const std::uint8_t> bytes);
    /** The next bytes to be sent, at once and by themselves; none when all are, or at the end.
     * Valid until bytes are put. */
    std::span<std::uint8_t> take();
    /** So long the wire is busy with them. */
    std::chrono::nanoseconds timeFor(std::size_t count) const;
    /** A packet waits for the next one. */
    bool holdsBack() const { return !heldBack.empty(); }
    /** It does not wait any longer. */
    void letGo();
    /** What ends the connection now that all that `take` gave is sent. */
    End end() const;
    /** Tells of that end. */
    void announceEnd() const;

  private:
    void finishPacket();
    void append(const std::vector<std::uint8_t>& bytes, bool isTwice);
    void tell(const Fate& fate) const;
    std::size_t largestPiece() const;
    void announcePieces() const;
    std::size_t bytesToEnd() const;

    const Faults set;
    const std::uint32_t random;
    const Note say;
    quarloFraming framing = QUARLO_FRAMING_BEGIN;
    std::uint32_t number = 0;          ///< of the packet that is collected
    std::vector<std::uint8_t> packet;  ///< as far as it has come
    std::vector<std::uint8_t> heldBack;
    bool isHeldTwice = false;
    std::vector<std::uint8_t> ready;  ///< to be sent, from `taken` on
    std::size_t taken = 0;
    std::uint64_t sent = 0;  ///< in the whole connection
};

}  // namespace quarlo::phone

#endif
