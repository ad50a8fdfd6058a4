// Only one piece is under way at a time, so the time at which it was handed over is known, and a
// head unit that does not read is not owed for. One thread.
#include "Pipe.h"

#include "PacketLog.h"

namespace quarlo::phone {
namespace {

constexpr std::size_t readPiece = std::size_t{64} * 1024;
constexpr std::size_t mostInARound = std::size_t{256} * 1024;
constexpr std::size_t largestPayload = std::size_t{4} * 1024 * 1024;

}  // namespace

void Pipe::say(const PacketBytes& packet, Judge::Pace pace) {
    sayTogether({packet}, pace);
}

void Pipe::sayTogether(const std::vector<PacketBytes>& packets, Judge::Pace pace) {
    if (isClosed) return;
    Piece piece{{}, packets, pace};
    for (const PacketBytes& packet : packets)
        piece.bytes.insert(piece.bytes.end(), packet.begin(), packet.end());
    queue(std::move(piece));
}

void Pipe::sayInBytes(const PacketBytes& packet, std::chrono::milliseconds gap) {
    if (isClosed) return;
    for (const std::uint8_t byte : packet) queue({{byte}, {}, Judge::Pace::InPieces, gap});
    outgoing.back().completed = {packet};
}

void Pipe::queue(Piece piece) {
    queued += piece.bytes.size();
    outgoing.push_back(std::move(piece));
}

void Pipe::receive(TimePoint now, const std::function<void(const Decoded&)>& take) {
    for (std::size_t sum = 0; sum < mostInARound && !isOver;) {
        const std::size_t held = incoming.size();
        incoming.resize(held + readPiece);
        const long count = stream.read({incoming.data() + held, readPiece});
        incoming.resize(held + static_cast<std::size_t>(std::max(count, 0L)));
        if (count < 0) {
            output.line("UNIT", stream.end());
            judge.end(now, incoming.size());
            isOver = true;
        }
        if (count <= 0) return;
        sum += static_cast<std::size_t>(count);
        cut(now, take);
    }
}

void Pipe::cut(TimePoint now, const std::function<void(const Decoded&)>& take) {
    std::size_t at = 0;
    while (!isOver && incoming.size() - at >= wire::headerSize) {
        constexpr std::size_t sizeAt = 5;
        const std::size_t payload = wire::load<UInt32>(incoming.data() + at + sizeAt);
        const std::size_t size = wire::headerSize + payload;
        if (payload > largestPayload) {
            judge.hearTooMuch(now, size);
            isOver = true;
        }
        if (isOver || incoming.size() - at < size) break;
        const Judge::Bytes packet(incoming.data() + at, size);
        if (output.isVerbose()) output.detail("RECV", "<- " + describePacket(packet));
        const Decoded decoded = judge.hear(now, packet);
        if (decoded.isReadable()) take(decoded);
        at += size;
    }
    incoming.erase(incoming.begin(), incoming.begin() + static_cast<std::ptrdiff_t>(at));
}

void Pipe::transmit(TimePoint now) {
    while (!outgoing.empty() && !isOver && !isClosed) {
        Piece& piece = outgoing.front();
        const bool isDue = now >= lastSent + piece.gap && stream.isAllSent();
        if ((written == 0 && !isDue) || !send(piece, now)) return;
        queued -= piece.bytes.size();
        outgoing.pop_front();
        written = 0;
        lastSent = now;
    }
}

/// False if some of it is left.
bool Pipe::send(Piece& piece, TimePoint now) {
    const Judge::Bytes rest = Judge::Bytes(piece.bytes).subspan(written);
    const long count = stream.write(rest);
    // That the connection has ended is found when all that came before was read.
    written += static_cast<std::size_t>(std::max(count, 0L));
    if (written < piece.bytes.size()) return false;
    for (const PacketBytes& packet : piece.completed) {
        if (output.isVerbose()) output.detail("SEND", "-> " + describePacket(packet));
        judge.tell(now, packet, piece.pace);
    }
    return true;
}

TimePoint Pipe::nextWake() const {
    if (outgoing.empty() || isClosed || !stream.isAllSent()) return TimePoint::max();
    return lastSent + outgoing.front().gap;
}

void Pipe::close() {
    isClosed = true;
    stream.endSending();
}

}  // namespace quarlo::phone
