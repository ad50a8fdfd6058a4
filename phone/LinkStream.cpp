#include "LinkStream.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace quarlo::phone {
namespace {

/// How much is kept for each direction; what is beyond waits in the transport.
constexpr std::size_t mostHeld = std::size_t{64} * 1024;
/// So small that the send limit holds for a wire that is slow, but moves.
constexpr std::size_t mostAtOnce = std::size_t{16} * 1024;

void removeFront(std::vector<std::uint8_t>& bytes, std::size_t count) {
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
}

}  // namespace

LinkStream::LinkStream(Link opened, const Bell& bell)
    : link(std::move(opened)),
      news(bell),
      receiver([this] { receive(); }),
      sender([this] { send(); }) {}

LinkStream::~LinkStream() {
    {
        const std::lock_guard guard(lock);
        isStopped = true;
    }
    changed.notify_all();
    quarloLink_Stop(link.get());
    receiver.join();
    sender.join();
}

void LinkStream::receive() {
    std::vector<std::uint8_t> piece(mostHeld);
    for (;;) {
        const auto result = static_cast<std::int32_t>(
            quarloLink_Receive(nullptr, piece.data(), piece.size(), link.get()));
        if (result < 0) return markEnded();
        const auto count = static_cast<std::size_t>(result);
        std::unique_lock guard(lock);
        if (isStopped) return;
        if (count == 0 || isIgnoring) continue;
        incoming.insert(incoming.end(), piece.data(), piece.data() + count);
        news.ring();
        changed.wait(guard,
                     [this] { return incoming.size() < mostHeld || isIgnoring || isStopped; });
    }
}

void LinkStream::send() {
    std::vector<std::uint8_t> piece;
    std::unique_lock guard(lock);
    for (;;) {
        changed.wait(guard, [this] { return !outgoing.empty() || isOver || isStopped; });
        if (isOver || isStopped) return;
        const std::size_t count = std::min(outgoing.size(), mostAtOnce);
        piece.assign(outgoing.data(), outgoing.data() + count);
        removeFront(outgoing, count);
        isSending = true;
        guard.unlock();
        quarloLink_Send(nullptr, piece.data(), piece.size(), link.get());
        guard.lock();
        isSending = false;
        news.ring();
    }
}

void LinkStream::markEnded() {
    {
        const std::lock_guard guard(lock);
        isOver = true;
    }
    changed.notify_all();
    news.ring();
}

long LinkStream::read(std::span<std::uint8_t> room) {
    const std::lock_guard guard(lock);
    if (incoming.empty()) return isOver ? -1 : 0;
    const std::size_t count = std::min(room.size(), incoming.size());
    std::copy_n(incoming.data(), count, room.data());
    removeFront(incoming, count);
    changed.notify_all();
    // Who has not read all comes again.
    if (!incoming.empty() || isOver) news.ring();
    return static_cast<long>(count);
}

long LinkStream::write(std::span<const std::uint8_t> bytes) {
    const std::lock_guard guard(lock);
    // What goes nowhere is no reason to forget what came before the end, which reading tells.
    if (isOver) return static_cast<long>(bytes.size());
    const std::size_t count = std::min(bytes.size(), mostHeld - outgoing.size());
    outgoing.insert(outgoing.end(), bytes.data(), bytes.data() + count);
    changed.notify_all();
    return static_cast<long>(count);
}

bool LinkStream::isAllSent() const {
    const std::lock_guard guard(lock);
    return outgoing.empty() && !isSending;
}

bool LinkStream::hasNews() const {
    const std::lock_guard guard(lock);
    return !incoming.empty() || isOver;
}

bool LinkStream::hasEnded() const {
    const std::lock_guard guard(lock);
    return isOver;
}

void LinkStream::ignoreInput() {
    {
        const std::lock_guard guard(lock);
        isIgnoring = true;
        incoming.clear();
    }
    changed.notify_all();
}

void LinkStream::endSending() {
    quarloLink_EndSending(link.get());
}

std::string LinkStream::end() const {
    const int error = quarloLink_GetError(link.get());
    if (error == 0 || error == EPIPE) return Stream::end();
    if (error == ECONNRESET) return "the head unit reset the connection";
    if (error == ETIMEDOUT) return "the head unit takes nothing of what it is sent";
    return "the connection was lost: " + std::generic_category().message(error);
}

}  // namespace quarlo::phone
