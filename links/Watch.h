// What a link carries, packet by packet: counted, told to observers, and understood as far as a
// session needs it. Made before the link is used. The order lock guards all that has no other
// remark; whoever holds it cannot be cancelled.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "quarlo-framing.h"
#include "quarlo-link.h"

namespace quarlo::links {

struct PacketCount {
    std::atomic<std::uint64_t> packets{0};
    std::atomic<std::uint64_t> bytes{0};
};
/** For each direction, and in it for each type. */
using PacketCounts = PacketCount[2][256];

/** Reads one of them for a host; see quarloLink_GetPacketCount. */
eReturnCode readCount(const PacketCounts& counts, quarloDirection direction, std::uint32_t type,
                      std::uint64_t* packets, std::uint64_t* bytes);

/** What a phone acknowledges one by one and in order. */
enum class Setting { PixelFormat, Compression, Size };
constexpr int settingCount = 3;

class Watch {
  public:
    Watch() = default;
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    bool add(const quarloObserver& observer);
    void close(const quarloLink& link);
    const PacketCounts& counts() const { return numbers; }
    /** Adds what is carried from now on to other counts too. */
    void countAlso(PacketCounts& total) { totals = &total; }

    /** The lock under which bytes are read or written and told of. */
    std::mutex order;
    /** Bytes were read, or taken by the system. To be called under the lock. */
    void carried(quarloDirection direction, const UInt8* bytes, std::size_t count);

    /** A whole packet is about to be sent. */
    void sending(const UInt8* packet, std::size_t size);
    /** The receiver comes back for more: it has handled what it was given. Receiver thread.
     * @return whether an acknowledgement was among it */
    bool handled();

    /** Acknowledgements, or refusals, of a setting that were handled. */
    std::uint32_t answers(Setting setting) const { return at(setting).handled.load(); }
    std::uint32_t sent(Setting setting) const { return at(setting).sent.load(); }
    bool isLastRefused(Setting setting) const { return at(setting).isRefused.load(); }
    /** The type of the last packet by which the phone said no; 0: none yet. */
    std::uint8_t refusal() const { return refusedBy.load(); }
    /** What the phone was told last. */
    std::uint32_t compression() const { return compressionTold.load(); }
    bool isSuspended() const { return isSuspendedByHost.load(); }
    /** Sends of this thread are the session's own, not the host's. */
    static void setOwn(bool isOwn);

  private:
    struct Stream {
        quarloFraming framing = QUARLO_FRAMING_BEGIN;
        std::uint64_t steadyBegin = 0;
        std::uint64_t position = 0;
        std::uint8_t first = 0;  // byte of the payload
    };
    struct Asked {
        std::atomic<std::uint32_t> sent{0};
        std::uint32_t arrived = 0;  // receiver thread only
        std::atomic<std::uint32_t> handled{0};
        std::atomic<bool> isRefused{false};
    };
    struct Entry {
        quarloObserver observer;
        Entry* next = nullptr;
    };

    const Asked& at(Setting setting) const { return asked[static_cast<int>(setting)]; }
    void took(Stream& stream, const quarloPiece& piece, const UInt8* bytes, std::uint64_t before);
    void complete(const Stream& stream, const quarloPiece& piece);
    void understand(const Stream& stream);

    Stream streams[2];
    PacketCounts numbers;
    PacketCounts* totals = nullptr;
    Entry* observers = nullptr;  // constant once the link is used
    Asked asked[settingCount];
    bool hasNews = false;  // receiver thread only
    std::atomic<std::uint8_t> refusedBy{0};
    std::atomic<std::uint32_t> compressionTold{0};
    std::atomic<bool> isSuspendedByHost{false};
};

}  // namespace quarlo::links
