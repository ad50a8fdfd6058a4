#include "Tap.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "Threads.h"

namespace quarlo::links {
namespace {

constexpr std::uint16_t firstPort = 49152;
constexpr std::uint16_t ports = 16384;
// Half of the window: from here on the bytes of one direction are acknowledged without an answer.
constexpr std::uint64_t mostUnacknowledged = std::uint64_t{512} << 20;

std::uint64_t wallTime() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * 1000000000U +
           static_cast<std::uint64_t>(time.tv_nsec);
}

struct Address {
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;
    template <class T>
    const T& as() const {
        return reinterpret_cast<const T&>(storage);
    }
    // Empty for the unnamed end of a Unix socket.
    bool hasPath() const {
        return storage.ss_family == AF_UNIX && size > offsetof(sockaddr_un, sun_path);
    }
};

void describeAddress(const Address& address, char* text, std::size_t size) {
    char host[INET6_ADDRSTRLEN] = "";
    if (address.storage.ss_family == AF_INET) {
        const auto& in = address.as<sockaddr_in>();
        inet_ntop(AF_INET, &in.sin_addr, host, sizeof host);
        snprintf(text, size, "tcp %s:%u", host, static_cast<unsigned>(ntohs(in.sin_port)));
    } else if (address.storage.ss_family == AF_INET6) {
        const auto& in = address.as<sockaddr_in6>();
        inet_ntop(AF_INET6, &in.sin6_addr, host, sizeof host);
        snprintf(text, size, "tcp [%s]:%u", host, static_cast<unsigned>(ntohs(in.sin6_port)));
    } else if (address.hasPath()) {
        const auto& local = address.as<sockaddr_un>();
        // An abstract name begins with a zero, and none need end with one.
        const bool isAbstract = local.sun_path[0] == 0;
        const std::size_t begin = offsetof(sockaddr_un, sun_path) + (isAbstract ? 1 : 0);
        snprintf(text, size, "unix %s%.*s", isAbstract ? "@" : "",
                 static_cast<int>(address.size - begin), local.sun_path + (isAbstract ? 1 : 0));
    }
}

// The file that a descriptor leads to, as the system calls it.
void describeDescriptor(const quarloLink& link, char* text, std::size_t size) {
    char self[32];
    char path[108];
    snprintf(self, sizeof self, "/proc/self/fd/%d", link.input);
    const ssize_t length = readlink(self, path, sizeof path);
    snprintf(text, size, "%s %.*s", link.isSerial ? "serial" : "descriptor",
             static_cast<int>(std::max<ssize_t>(length, 0)), path);
}

void describePlace(const quarloLink& link, char* text, std::size_t size) {
    Address address;
    auto* storage = reinterpret_cast<sockaddr*>(&address.storage);
    text[0] = 0;
    if (link.isInputSocket && getpeername(link.input, storage, &address.size) == 0) {
        // Of a phone that connected the place is the listener's.
        const bool isUnnamed = address.storage.ss_family == AF_UNIX && !address.hasPath();
        address.size = isUnnamed ? sizeof address.storage : address.size;
        if (isUnnamed) getsockname(link.input, storage, &address.size);
        describeAddress(address, text, size);
    }
    if (text[0] == 0) describeDescriptor(link, text, size);
}

struct Ending {
    Side from;
    bool isReset;
};

// Who ended a connection, and how.
Ending endingOf(const quarloLink& link) {
    switch (link.error.load()) {
        case 0:
            return {link.isEnded.load() ? phoneSide : headUnitSide, false};
        case EPIPE:
        case EIO:
        case ENODEV:
        case ENXIO:
            return {phoneSide, false};
        case ECONNRESET:
            return {phoneSide, true};
        case ETIMEDOUT:
            return {headUnitSide, true};
        default:
            return {headUnitSide, false};
    }
}

}  // namespace

// The numbers begin shortly before they wrap, which readers of a long capture must get along with:
// so that they do with each.
Tap::Tap(quarloCapture& into, const quarloLink& link)
    : file(into), ends{{0xFFFFE000}, {0xFFFFFF00}} {
    char place[128];
    describePlace(link, place, sizeof place);
    comments.add("open", place);
}

quarloObserver Tap::observer() {
    quarloObserver told{};
    told.size = sizeof told;
    told.context = this;
    told.piece = [](void* tap, const quarloPiece* piece) {
        static_cast<Tap*>(tap)->carried(*piece);
    };
    told.closed = [](void* tap, const quarloLink* link) { static_cast<Tap*>(tap)->closed(*link); };
    return told;
}

bool Tap::note(const char* kind, const char* text) {
    const Cancellation before = forbidCancel();
    file.lock.lock();
    const bool hasRoom = comments.add(kind, text);
    file.lock.unlock();
    permitCancel(before);
    return hasRoom;
}

void Tap::carried(const quarloPiece& piece) {
    Guard guard(file.lock);
    if (!isOpen && !open(guard, piece.wallTime)) return;
    const Side from = piece.direction == eDIRECTION_FromPhone ? phoneSide : headUnitSide;
    for (std::size_t at = 0; at < piece.count; at += longestSegment) {
        const End& end = ends[from];
        if (end.sent - end.acknowledged > mostUnacknowledged &&
            !write(guard, other(from), tcpAck, piece.wallTime, true)) {
            return;
        }
        const std::size_t count = std::min(piece.count - at, longestSegment);
        if (!write(guard, from, tcpAck | tcpPush, piece.wallTime, true, piece.bytes + at, count)) {
            return;
        }
    }
}

bool Tap::open(Guard& guard, std::uint64_t time) {
    if (file.hasEnded()) return false;
    isOpen = true;
    port = static_cast<std::uint16_t>(firstPort + file.nextConnection() % ports);
    return write(guard, headUnitSide, tcpSyn, time, true) &&
           write(guard, phoneSide, tcpSyn | tcpAck, time, false) &&
           write(guard, headUnitSide, tcpAck, time, false);
}

void Tap::closed(const quarloLink& link) {
    char text[128];
    if (quarloLink_GetEndText(&link, text, sizeof text) == 0) {
        snprintf(text, sizeof text, "the host closed the connection");
    }
    Guard guard(file.lock);
    if (!isOpen) return;
    comments.add("end", text);
    close(guard, link);
}

void Tap::close(Guard& guard, const quarloLink& link) {
    const Ending ending = endingOf(link);
    const std::uint64_t time = wallTime();
    if (ending.isReset) {
        write(guard, ending.from, tcpRst | tcpAck, time, true);
    } else if (write(guard, ending.from, tcpFin | tcpAck, time, false) &&
               write(guard, other(ending.from), tcpFin | tcpAck, time, false)) {
        write(guard, ending.from, tcpAck, time, true);
    }
}

bool Tap::write(Guard& guard, Side from, unsigned flags, std::uint64_t time, bool isCommented,
                const UInt8* bytes, std::size_t count) {
    if (!file.waitForRoom(guard)) return false;
    static const Comments none;
    End& own = ends[from];
    End& their = ends[other(from)];
    const bool isAck = (flags & tcpAck) != 0;
    const auto numberOf = [](const End& end) {
        return static_cast<std::uint32_t>(end.begin + end.sent);
    };
    const Segment segment = {from,          static_cast<std::uint8_t>(flags), port,
                             numberOf(own), isAck ? numberOf(their) : 0,      bytes,
                             count};
    const Comments& said = isCommented ? comments : none;
    PacketFrame frame;
    frameSegment(segment, file.timeOf(time), said, frame);
    file.put(frame.head, frame.headSize);
    file.put(bytes, count);
    file.put(frame.tail, frame.paddingSize);
    file.put(said.bytes(), said.size());
    file.put(frame.tail + frame.paddingSize, frame.endSize);
    if (isCommented) comments.clear();
    own.sent += count + ((flags & (tcpSyn | tcpFin)) != 0 ? 1 : 0);
    if (isAck) their.acknowledged = their.sent;
    return true;
}

}  // namespace quarlo::links
