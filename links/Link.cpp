// Links at work: reading on the one receiver thread, sending on any thread. Sending is ordered by
// the link's mutex. Reading allocates nothing, has no clean-up to run and takes no lock but to tell
// observers, when it cannot be cancelled: elsewhere the receiver may be, at any instruction.
#include "Link.h"

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>

#include "Structs.h"
#include "Tap.h"
#include "Threads.h"
#include "Wait.h"

namespace quarlo::links {
namespace {

constexpr int pollTime = 250;
constexpr std::int32_t nothing = 0;
constexpr std::int32_t ended = -1;
constexpr std::int32_t failed = -2;

bool wouldBlock(int error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

std::int32_t unreadable(quarloLink& link, int error, short events) {
    if (error == EINTR) return nothing;
    // Ready and yet without data: only a hang-up or a fault that persists would make that a spin.
    if (wouldBlock(error)) {
        if ((events & (POLLHUP | POLLERR)) == 0) return nothing;
        link.isEnded.store(true);
        return ended;
    }
    link.error.store(error);
    link.isEnded.store(true);
    const bool isEnd =
        error == ECONNRESET || error == EIO || error == EPIPE || error == ENODEV || error == ENXIO;
    return isEnd ? ended : failed;
}

// A sender that has just written tells of it first: what is read now may be the answer.
void tellReceived(Watch& watch, const UInt8* bytes, size_t count) {
    const Cancellation before = forbidCancel();
    watch.order.lock();
    watch.carried(eDIRECTION_FromPhone, bytes, count);
    watch.order.unlock();
    permitCancel(before);
}

std::int32_t takeBytes(quarloLink& link, UInt8* buffer, size_t size, short events) {
    const size_t most = std::min(size, static_cast<size_t>(INT32_MAX));
    const ssize_t count = link.isInputSocket ? recv(link.input, buffer, most, MSG_DONTWAIT)
                                             : read(link.input, buffer, most);
    if (count > 0) {
        if (link.watch != nullptr) tellReceived(*link.watch, buffer, static_cast<size_t>(count));
        link.received.fetch_add(static_cast<std::uint64_t>(count), std::memory_order_relaxed);
        return static_cast<std::int32_t>(count);
    }
    if (count < 0) return unreadable(link, errno, events);
    link.isEnded.store(true);
    return ended;
}

// A phone that went away may have sent its last packets before: they are still read.
bool mayHoldMore(const quarloLink& link) {
    const int error = link.error.load();
    return link.isBroken.load() && !link.isStopped.load() &&
           (error == EPIPE || error == ECONNRESET);
}

// A stop is the host's own doing and no end of the connection. Who goes on reading all the same is
// told of an end, so that his loop cannot spin.
std::int32_t woken(quarloLink& link) {
    if (link.isBroken.load()) return ended;
    return link.isStopSeen.exchange(true) ? ended : nothing;
}

std::int32_t receive(quarloLink& link, UInt8* buffer, size_t size) {
    if (link.isAttached.load(std::memory_order_relaxed)) LibraryThread::mark();
    if (link.watch != nullptr && link.watch->handled() && link.session != nullptr) {
        tellAnswered(*link.session);
    }
    pollfd watched[] = {{link.wake, POLLIN, 0}, {size > 0 ? link.input : -1, POLLIN, 0}};
    const int found = poll(watched, 2, pollTime);
    if (found < 0) return unreadable(link, errno, 0);
    const bool isReadable = watched[1].revents != 0;
    if (watched[0].revents != 0 && !(isReadable && mayHoldMore(link))) return woken(link);
    if (!isReadable) return isSilent(link) ? unreadable(link, ETIMEDOUT, 0) : nothing;
    return takeBytes(link, buffer, size, watched[1].revents);
}

// Keeps the SIGPIPE of a write to a pipe from the process, without touching its disposition.
class PipeSignalGuard {
  public:
    PipeSignalGuard() {
        sigset_t pending;
        sigemptyset(&pipeSignal);
        sigaddset(&pipeSignal, SIGPIPE);
        sigpending(&pending);
        wasPending = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipeSignal, &before);
    }
    ~PipeSignalGuard() {
        const int kept = errno;
        const timespec atOnce{};
        if (!wasPending) {
            while (sigtimedwait(&pipeSignal, nullptr, &atOnce) < 0 && errno == EINTR) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        errno = kept;
    }
    PipeSignalGuard(const PipeSignalGuard&) = delete;
    PipeSignalGuard& operator=(const PipeSignalGuard&) = delete;

  private:
    sigset_t pipeSignal;
    sigset_t before;
    bool wasPending = false;
};

ssize_t offerBytes(const quarloLink& link, const UInt8* bytes, size_t size) {
    if (link.isOutputSocket) return send(link.output, bytes, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    const PipeSignalGuard guard;
    return write(link.output, bytes, size);
}

// Nobody tells of the answer before the bytes that it answers were told of.
ssize_t putBytes(const quarloLink& link, const UInt8* bytes, size_t size) {
    if (link.watch == nullptr) return offerBytes(link, bytes, size);
    const Cancellation before = forbidCancel();
    link.watch->order.lock();
    const ssize_t count = offerBytes(link, bytes, size);
    const int error = errno;
    if (count > 0) link.watch->carried(eDIRECTION_ToPhone, bytes, static_cast<size_t>(count));
    link.watch->order.unlock();
    permitCancel(before);
    errno = error;
    return count;
}

// Half a packet may be out: nothing can follow it any more.
void breakLink(quarloLink& link, int error) {
    int none = 0;
    link.error.compare_exchange_strong(none, error);
    link.isBroken.store(true);
    wakeUp(link.wake);
}

std::int64_t sendDeadline(const quarloLink& link, size_t size) {
    std::int64_t limit = link.sendLimit.load();
    constexpr std::int64_t driverBuffer = 4096;
    // Ten bit times a byte, and as much again for a line that is not used to the full.
    if (link.baudRate != 0) {
        limit += (static_cast<std::int64_t>(size) + driverBuffer) * 20 * 1000 / link.baudRate;
    }
    return now() + limit;
}

void sendWhole(quarloLink& link, const UInt8* bytes, size_t size) {
    const std::int64_t deadline = sendDeadline(link, size);
    while (size > 0) {
        const ssize_t count = putBytes(link, bytes, size);
        if (count > 0) {
            link.sent.fetch_add(static_cast<std::uint64_t>(count), std::memory_order_relaxed);
            bytes += count;
            size -= static_cast<size_t>(count);
            continue;
        }
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && !wouldBlock(errno)) return breakLink(link, errno);
        const Waited result = waitFor(link.output, POLLOUT, link.wake, deadline);
        if (result != Waited::Ready) return breakLink(link, errorOf(result));
    }
}

// What became of the connection, in words; null for other failures than these, empty while it is
// open.
const char* endOf(const quarloLink& link) {
    switch (link.error.load()) {
        case 0:
            return link.isEnded.load() ? "the phone closed the connection" : "";
        case EPIPE:
            return "the phone closed the connection";
        case ECONNRESET:
            return "the phone reset the connection";
        case ETIMEDOUT:
            return link.isBroken.load() ? "the phone does not take what it is sent"
                                        : "the phone does not answer any more";
        case ECANCELED:
            return "the connection was stopped";
        default:
            return nullptr;
    }
}

}  // namespace

Watch* watchOf(quarloLink& link) {
    if (link.watch == nullptr) link.watch = new (std::nothrow) Watch;
    return link.watch;
}

}  // namespace quarlo::links

using namespace quarlo::links;

void quarloLink_SetSendLimit(quarloLink* link, UInt32 milliseconds) {
    if (link != nullptr) {
        link->sendLimit.store(milliseconds != 0 ? milliseconds : defaultSendLimit);
    }
}

size_t quarloLink_Receive(void* /*context*/, UInt8* buffer, size_t size, void* connectionInfo) {
    auto* link = static_cast<quarloLink*>(connectionInfo);
    return static_cast<size_t>(link != nullptr ? receive(*link, buffer, size) : ended);
}

void quarloLink_Send(void* /*context*/, UInt8* buffer, size_t size, void* connectionInfo) {
    auto* link = static_cast<quarloLink*>(connectionInfo);
    if (link == nullptr || buffer == nullptr) return;
    const std::lock_guard<std::mutex> lock(link->sending);
    if (link->isBroken.load()) return;
    if (link->watch != nullptr) link->watch->sending(buffer, size);
    sendWhole(*link, buffer, size);
}

void quarloLink_Stop(quarloLink* link) {
    if (link == nullptr) return;
    link->isStopped.store(true);
    wakeUp(link->wake);
}

void quarloLink_EndSending(quarloLink* link) {
    if (link != nullptr && link->isOutputSocket) shutdown(link->output, SHUT_WR);
}

Int32 quarloLink_GetError(const quarloLink* link) {
    return link != nullptr ? link->error.load() : 0;
}

size_t quarloLink_GetEndText(const quarloLink* link, char* text, size_t size) {
    char words[96];
    const char* known = link != nullptr ? endOf(*link) : "";
    const int length = known != nullptr
                           ? snprintf(text, size, "%s", known)
                           : snprintf(text, size, "connection lost: %s",
                                      wordsFor(link->error.load(), words, sizeof words));
    return static_cast<size_t>(std::max(length, 0));
}

UInt64 quarloLink_GetBytesReceived(const quarloLink* link) {
    return link != nullptr ? link->received.load(std::memory_order_relaxed) : 0;
}

UInt64 quarloLink_GetBytesSent(const quarloLink* link) {
    return link != nullptr ? link->sent.load(std::memory_order_relaxed) : 0;
}

eReturnCode quarloLink_AddObserver(quarloLink* link, const quarloObserver* observer) {
    if (link == nullptr || observer == nullptr) return eRETURN_NULL_PARAM;
    quarloObserver known;
    if (!take(observer, known)) return eRETURN_PARAM_VALUE;
    Watch* watch = watchOf(*link);
    return watch != nullptr && watch->add(known) ? eRETURN_OKAY : eRETURN_MEM_ALLOC;
}

eReturnCode quarloLink_GetPacketCount(const quarloLink* link, quarloDirection direction,
                                      UInt32 type, UInt64* packets, UInt64* bytes) {
    if (link == nullptr) return eRETURN_NULL_PARAM;
    return link->watch != nullptr
               ? readCount(link->watch->counts(), direction, type, packets, bytes)
               : eRETURN_NOT_SUPPORTED;
}

void quarloLink_Close(quarloLink* link) {
    if (link == nullptr) return;
    forget(*link);
    if (link->watch != nullptr) link->watch->close(*link);
    // Else close would wait for a peer that takes nothing.
    if (link->isSerial) discardBuffered(link->output);
    close(link->input);
    if (link->output != link->input) close(link->output);
    close(link->wake);
    delete link->watch;
    delete link->tap;
    delete link;
}
