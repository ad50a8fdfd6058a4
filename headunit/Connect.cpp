#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "Transport.h"

namespace quarlo::headunit {
namespace {

using Clock = std::chrono::steady_clock;

void setOption(int descriptor, int level, int name, int value) {
    // Refinements: a connection works without them.
    setsockopt(descriptor, level, name, &value, sizeof value);
}

// Small packets leave at once, and a silent end of the line is found within about five seconds.
void tune(int descriptor) {
    setOption(descriptor, IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, 2);
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, 1);
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, 3);
    setOption(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, 5000);
}

int waitConnected(int descriptor, Clock::time_point limit) {
    pollfd watched{descriptor, POLLOUT, 0};
    for (;;) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now()).count();
        if (left <= 0) return ETIMEDOUT;
        if (poll(&watched, 1, static_cast<int>(left)) > 0) break;
    }
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size);
    return error;
}

// @return 0 or an error number; the descriptor is non-blocking afterwards
int connectSocket(int descriptor, const sockaddr* address, socklen_t size,
                  Clock::time_point limit) {
    fcntl(descriptor, F_SETFL, O_NONBLOCK);
    for (;;) {
        if (connect(descriptor, address, size) == 0) return 0;
        if (errno == EINPROGRESS || errno == EINTR) return waitConnected(descriptor, limit);
        // A Unix socket whose queue is full: there is nothing to poll for.
        if (errno != EAGAIN) return errno;
        if (Clock::now() >= limit) return ETIMEDOUT;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

const char* explain(int error) {
    switch (error) {
        case ECONNREFUSED:
            return "connection refused: nothing listens there";
        case ETIMEDOUT:
            return "no answer in time";
        case EHOSTUNREACH:
            return "host unreachable";
        case ENETUNREACH:
            return "network unreachable";
        case ENOENT:
            return "no such socket";
        default:
            return std::strerror(error);
    }
}

Descriptor connectAddress(int family, const sockaddr* address, socklen_t size,
                          Clock::time_point limit, int& error) {
    Descriptor descriptor(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    error = descriptor ? connectSocket(descriptor.get(), address, size, limit) : errno;
    return error == 0 ? std::move(descriptor) : Descriptor();
}

Descriptor connectTcp(const Endpoint& endpoint, Clock::time_point limit, std::string& why) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int code = getaddrinfo(endpoint.host.c_str(), endpoint.port.c_str(), &hints, &found);
    if (code != 0) {
        why = std::string("unknown host: ") + gai_strerror(code);
        return Descriptor();
    }
    int error = 0;
    Descriptor descriptor;
    for (const addrinfo* entry = found; entry != nullptr && !descriptor; entry = entry->ai_next) {
        descriptor =
            connectAddress(entry->ai_family, entry->ai_addr, entry->ai_addrlen, limit, error);
    }
    freeaddrinfo(found);
    if (descriptor) {
        tune(descriptor.get());
    } else {
        why = explain(error);
    }
    return descriptor;
}

Descriptor connectUnix(const Endpoint& endpoint, Clock::time_point limit, std::string& why) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (endpoint.path.size() >= sizeof address.sun_path) {
        why = "the path is too long for a socket";
        return Descriptor();
    }
    std::memcpy(address.sun_path, endpoint.path.data(), endpoint.path.size());
    int error = 0;
    Descriptor descriptor = connectAddress(AF_UNIX, reinterpret_cast<const sockaddr*>(&address),
                                           sizeof address, limit, error);
    if (!descriptor) why = explain(error);
    return descriptor;
}

}  // namespace

Descriptor connectTo(const Endpoint& endpoint, double seconds, std::string& error) {
    const auto limit = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                          std::chrono::duration<double>(seconds));
    std::string why;
    Descriptor descriptor = endpoint.path.empty() ? connectTcp(endpoint, limit, why)
                                                  : connectUnix(endpoint, limit, why);
    if (!descriptor) error = "cannot connect to " + endpoint.text() + ": " + why;
    return descriptor;
}

}  // namespace quarlo::headunit
