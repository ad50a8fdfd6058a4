/**
 * @file
 * The bytes of a connection as packets, in front of the judge: it hears all that comes and is told
 * all that goes, at the time at which its last byte goes. One thread.
 */
#ifndef PHONE_CHECK_PIPE_H
#define PHONE_CHECK_PIPE_H

#include <deque>
#include <functional>

#include "Judge.h"
#include "PacketBytes.h"
#include "Stream.h"
#include "common/Log.h"

namespace quarlo::phone {

class Pipe {
  public:
    Pipe(Stream& bytes, Judge& listener, const Log& log)
        : stream(bytes), judge(listener), output(log) {}

    /** Queues packets that leave in one piece. */
    void say(const PacketBytes& packet, Judge::Pace pace = Judge::Pace::Ordinary);
    void sayTogether(const std::vector<PacketBytes>& packets, Judge::Pace pace);
    /** Queues a packet that leaves byte by byte. */
    void sayInBytes(const PacketBytes& packet, std::chrono::milliseconds gap);
    /** Everything said has left: there is no use in saying more than the head unit takes. */
    bool isIdle() const { return outgoing.empty() && stream.isAllSent(); }

    /** Little enough is queued for answers to be added; who asks and does not read gets none any
     * more. */
    bool hasRoom() const { return queued < mostQueued; }

    /** Hands over what has come and can be read. */
    void receive(TimePoint now, const std::function<void(const Decoded&)>& take);
    void transmit(TimePoint now);
    /** When `transmit` has something to do if nothing happens until then. */
    TimePoint nextWake() const;
    /** Ends this direction; what is queued is not said any more. */
    void close();
    /** Nothing can come any more. */
    bool hasEnded() const { return isOver; }

  private:
    struct Piece {
        PacketBytes bytes;
        std::vector<PacketBytes> completed;  ///< packets whose last byte is in it
        Judge::Pace pace = Judge::Pace::Ordinary;
        std::chrono::milliseconds gap{0};  ///< since the piece before it
    };

    void cut(TimePoint now, const std::function<void(const Decoded&)>& take);
    bool send(Piece& piece, TimePoint now);

    static constexpr std::size_t mostQueued = std::size_t{1024} * 1024;

    void queue(Piece piece);

    Stream& stream;
    Judge& judge;
    const Log& output;
    PacketBytes incoming;
    std::deque<Piece> outgoing;
    std::size_t queued = 0;   ///< bytes of all pieces
    std::size_t written = 0;  ///< of the first piece
    TimePoint lastSent{};
    bool isClosed = false;
    bool isOver = false;
};

}  // namespace quarlo::phone

#endif
