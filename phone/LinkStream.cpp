#include "LinkStream.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace quarlo::phone {
namespace {

/// How much is kept for each direction; what is beyond waits in the transport.
constexpr std::size_t mostHeld = std::size_t{64} * 1024;
/// So late is a packet that waits for the next one when there is none.
constexpr std::chrono::seconds longestDelay{1};

void removeFront(std::vector<std::uint8_t>& bytes, std::size_t count) {
    bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count));
}

}  // namespace

LinkStream::LinkStream(Link opened, const Bell& bell, FaultyWire output)
    : link(std::move(opened)),
      news(bell),
      wire(std::move(output)),
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
        if (isHalfOpen) changed.wait(guard, [this] { return isStopped; });
        if (isStopped) return;
        if (count == 0 || isIgnoring) continue;
        incoming.insert(incoming.end(), piece.data(), piece.data() + count);
        news.ring();
        changed.wait(guard,
                     [this] { return incoming.size() < mostHeld || isIgnoring || isStopped; });
    }
}

void LinkStream::send() {
    std::unique_lock guard(lock);
    while (wire.end() == FaultyWire::End::None && awaitOutput(guard)) transmit(guard);
    if (!isDone()) endAsTold(guard);
}

/// Hands over to the wire what is to be sent; false when the connection is done.
bool LinkStream::awaitOutput(std::unique_lock<std::mutex>& guard) {
    const auto hasWork = [this] { return !outgoing.empty() || isDone(); };
    if (!wire.holdsBack()) {
        changed.wait(guard, hasWork);
    } else if (!changed.wait_for(guard, longestDelay, hasWork)) {
        wire.letGo();
    }
    if (isDone()) return false;
    std::vector<std::uint8_t> bytes;
    bytes.swap(outgoing);
    isSending = true;
    guard.unlock();
    news.ring();
    wire.put(bytes);
    guard.lock();
    return true;
}

/// Sends what the wire gives, until there is no more or the connection is done.
void LinkStream::transmit(std::unique_lock<std::mutex>& guard) {
    for (auto piece = wire.take(); !piece.empty() && !isDone(); piece = wire.take()) {
        guard.unlock();
        quarloLink_Send(nullptr, piece.data(), piece.size(), link.get());
        guard.lock();
        const auto busy = wire.timeFor(piece.size());
        if (busy.count() > 0) changed.wait_for(guard, busy, [this] { return isDone(); });
    }
    isSending = wire.holdsBack();
    news.ring();
}

void LinkStream::endAsTold(std::unique_lock<std::mutex>& guard) {
    const bool isToCut = wire.end() == FaultyWire::End::Cut;
    guard.unlock();
    wire.announceEnd();
    // Closing at once could take along what is under way.
    if (isToCut) quarloLink_EndSending(link.get());
    guard.lock();
    if (isToCut) {
        isCut = isIgnoring = true;
        incoming.clear();
    } else {
        isHalfOpen = true;
        // What was not sent is not the head unit's to answer.
        isSending = true;
    }
    changed.notify_all();
    news.ring();
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
    if (incoming.empty()) return isOver || isCut ? -1 : 0;
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
    if (isOver || isCut) return static_cast<long>(bytes.size());
    const std::size_t count = std::min(bytes.size(), mostHeld - outgoing.size());
    outgoing.insert(outgoing.end(), bytes.data(), bytes.data() + count);
    changed.notify_all();
    return static_cast<long>(count);
}

bool LinkStream::isAllSent() const {
    const std::lock_guard guard(lock);
    return isCut || (outgoing.empty() && !isSending);
}

bool LinkStream::hasNews() const {
    const std::lock_guard guard(lock);
    return !incoming.empty() || isOver || isCut;
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
    {
        const std::lock_guard guard(lock);
        if (isCut) return "the connection was cut as told";
    }
    const int error = quarloLink_GetError(link.get());
    if (error == 0 || error == EPIPE) return Stream::end();
    if (error == ECONNRESET) return "the head unit reset the connection";
    if (error == ETIMEDOUT) return "the head unit takes nothing of what it is sent";
    return "the connection was lost: " + std::generic_category().message(error);
}

}  // namespace quarlo::phone
