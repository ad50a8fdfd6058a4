// What a link carries, as one TCP connection of a capture. Told by the link's watch and, of events,
// by any thread; all of it is guarded by the capture's lock.
#pragma once

#include <cstdint>
#include <mutex>

#include "Capture.h"
#include "Link.h"
#include "Pcapng.h"

namespace quarlo::links {

class Tap {
  public:
    Tap(quarloCapture& into, const quarloLink& link);

    quarloObserver observer();
    /** An event, for the next segment; false when there is no room. */
    bool note(const char* kind, const char* text);
    quarloCapture& capture() const { return file; }

  private:
    /** The connection as one of its sides knows it; numbers are those of TCP's sequence. */
    struct End {
        std::uint32_t begin;
        std::uint64_t sent = 0;
        std::uint64_t acknowledged = 0;
    };
    using Guard = std::unique_lock<std::mutex>;

    void carried(const quarloPiece& piece);
    void closed(const quarloLink& link);
    bool open(Guard& guard, std::uint64_t time);
    void close(Guard& guard, const quarloLink& link);
    bool write(Guard& guard, Side from, unsigned flags, std::uint64_t time, bool isCommented,
               const UInt8* bytes = nullptr, std::size_t count = 0);

    quarloCapture& file;
    Comments comments;
    End ends[2];
    bool isOpen = false;
    std::uint16_t port = 0;
};

}  // namespace quarlo::links
