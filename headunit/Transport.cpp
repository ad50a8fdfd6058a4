#include "Transport.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

namespace quarlo::headunit {
namespace {

using Clock = std::chrono::steady_clock;

// How long the receiver link waits before it tells the library that nothing is there.
constexpr int pauseMilliseconds = 250;
constexpr size_t connectionEnded = static_cast<size_t>(-1);
constexpr size_t readFailed = static_cast<size_t>(-2);

int untilMilliseconds(Clock::time_point limit) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, 1'000'000));
}

}  // namespace

Descriptor::~Descriptor() {
    if (value >= 0) close(value);
}

Transport::Transport(Descriptor connected, std::chrono::milliseconds limit)
    : socket(std::move(connected)),
      wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      sendLimit(limit) {}

size_t Transport::receive(void*, UInt8* buffer, size_t size, void* connectionInfo) {
    return static_cast<Transport*>(connectionInfo)->read(buffer, size);
}

void Transport::send(void*, UInt8* buffer, size_t size, void* connectionInfo) {
    static_cast<Transport*>(connectionInfo)->write(buffer, size);
}

void Transport::requestEnd() {
    isEnded = true;
    const std::uint64_t one = 1;
    // Fails only when the event is set already.
    [[maybe_unused]] const ssize_t written = ::write(wake.get(), &one, sizeof one);
}

// A phone that goes may have sent its last pictures before: they are read first.
size_t Transport::read(UInt8* buffer, size_t size) {
    if (isEnded) return broken == Broken::No ? 0 : connectionEnded;
    if (broken == Broken::WriteStalled) return connectionEnded;
    // Without room only the event is of interest.
    pollfd watched[] = {{wake.get(), POLLIN, 0}, {socket.get(), POLLIN, 0}};
    const bool hasRoom = size > 0;
    const int timeout = broken == Broken::No ? pauseMilliseconds : 0;
    poll(watched, hasRoom ? 2 : 1, timeout);
    if (hasRoom && watched[1].revents != 0) return readAvailable(buffer, size);
    return broken == Broken::No ? 0 : connectionEnded;
}

size_t Transport::readAvailable(UInt8* buffer, size_t size) {
    const size_t room = std::min<size_t>(size, INT32_MAX);
    const ssize_t count = recv(socket.get(), buffer, room, MSG_DONTWAIT);
    if (count > 0) {
        received += static_cast<UInt64>(count);
        return static_cast<size_t>(count);
    }
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) return 0;
    if (count == 0) {
        breakOff(Broken::Closed);
        return connectionEnded;
    }
    const bool isReset = errno == ECONNRESET || errno == EPIPE || errno == ETIMEDOUT;
    breakOff(isReset ? Broken::Reset : Broken::ReadFailed);
    return isReset ? connectionEnded : readFailed;
}

void Transport::write(const UInt8* buffer, size_t size) {
    const std::lock_guard guard(sendLock);
    const auto limit = Clock::now() + sendLimit;
    while (size > 0 && broken == Broken::No) {
        const ssize_t count = ::send(socket.get(), buffer, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count >= 0) {
            buffer += count;
            size -= static_cast<size_t>(count);
            sent += static_cast<UInt64>(count);
        } else if (errno == EAGAIN) {
            if (!waitWritable(limit)) return breakOff(Broken::WriteStalled);
        } else if (errno != EINTR) {
            return breakOff(Broken::WriteFailed);
        }
    }
}

bool Transport::waitWritable(Clock::time_point limit) {
    pollfd watched[] = {{wake.get(), POLLIN, 0}, {socket.get(), POLLOUT, 0}};
    const int left = untilMilliseconds(limit);
    if (left == 0) return false;
    poll(watched, 2, left);
    return !isEnded;
}

// The first reason counts: what follows is its consequence. What fails after the end was asked for
// fails because of that.
void Transport::breakOff(Broken why) {
    if (isEnded) return;
    Broken none = Broken::No;
    broken.compare_exchange_strong(none, why);
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(wake.get(), &one, sizeof one);
}

std::string Transport::fault() const {
    switch (broken.load()) {
        case Broken::No:
            return {};
        case Broken::Closed:
            return "the phone closed the connection";
        case Broken::Reset:
            return "the connection was reset";
        case Broken::ReadFailed:
            return "reading from the connection failed";
        case Broken::WriteFailed:
            return "writing to the connection failed";
        case Broken::WriteStalled:
            return "the phone does not read what it is sent";
    }
    return {};
}

}  // namespace quarlo::headunit
