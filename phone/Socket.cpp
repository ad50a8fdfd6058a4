// TCP and Unix sockets without blocking calls other than poll. One thread.
#include "Socket.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace quarlo::phone {
namespace {

constexpr int finishMilliseconds = 500;

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

bool isTransient(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

bool waitFor(int fd, short events, int milliseconds) {
    pollfd entry{fd, events, 0};
    return poll(&entry, 1, milliseconds) > 0;
}

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Addresses resolved(const std::string& host, const std::string& port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int problem = getaddrinfo(host.c_str(), port.c_str(), &hints, &found);
    if (problem != 0)
        throw std::runtime_error("cannot resolve " + host + ": " + gai_strerror(problem));
    return {found, freeaddrinfo};
}

UInt16 portOf(int fd) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
    if (address.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6*>(&address)->sin6_port);
    return ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
}

/// A socket file that nobody listens on any more is left over from a process that was killed.
void removeStale(const std::string& path, const sockaddr_un& address) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISSOCK(info.st_mode)) return;
    const Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto* name = reinterpret_cast<const sockaddr*>(&address);
    if (connect(probe.get(), name, sizeof address) != 0 && errno == ECONNREFUSED)
        unlink(path.c_str());
}

}  // namespace

long SocketStream::read(std::span<std::uint8_t> room) {
    const ssize_t count = recv(descriptor.get(), room.data(), room.size(), 0);
    if (count > 0) return static_cast<long>(count);
    return count < 0 && isTransient(errno) ? 0 : -1;
}

long SocketStream::write(std::span<const std::uint8_t> bytes) {
    const ssize_t count = send(descriptor.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count >= 0) return static_cast<long>(count);
    return isTransient(errno) ? 0 : -1;
}

void SocketStream::wait(bool forRead, bool forWrite, int milliseconds) {
    const int events = (forRead ? POLLIN : 0) | (forWrite ? POLLOUT : 0);
    waitFor(descriptor.get(), static_cast<short>(events), milliseconds);
}

void SocketStream::finish() {
    shutdown(descriptor.get(), SHUT_WR);
    // Closing with unread bytes would reset the connection and take what is still under way with
    // it.
    std::array<std::uint8_t, 4096> rest;
    for (int left = finishMilliseconds; left > 0; left -= 10) {
        if (!waitFor(descriptor.get(), POLLIN, 10)) continue;
        if (read(rest) < 0) return;
    }
}

Listener Listener::tcp(const Endpoint& endpoint) {
    const Addresses addresses = resolved(endpoint.host, std::to_string(endpoint.port));
    for (const addrinfo* at = addresses.get(); at != nullptr; at = at->ai_next) {
        Descriptor fd(socket(at->ai_family, at->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        const int on = 1;
        setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        if (bind(fd.get(), at->ai_addr, at->ai_addrlen) != 0 || listen(fd.get(), 4) != 0) continue;
        Endpoint actual = endpoint;
        actual.port = portOf(fd.get());
        return {std::move(fd), actual.text(), actual.port};
    }
    fail("cannot listen on " + endpoint.text());
}

Listener Listener::unixSocket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw std::runtime_error("cannot listen on " + path + ": a socket path has at most " +
                                 std::to_string(sizeof address.sun_path - 1) + " bytes");
    std::copy(path.begin(), path.end(), address.sun_path);
    removeStale(path, address);
    Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const auto* name = reinterpret_cast<const sockaddr*>(&address);
    if (bind(fd.get(), name, sizeof address) != 0 || listen(fd.get(), 4) != 0)
        fail("cannot listen on " + path);
    Listener listener(std::move(fd), path, 0);
    listener.ownPath = path;
    return listener;
}

Listener::~Listener() {
    if (descriptor.isOpen() && !ownPath.empty()) unlink(ownPath.c_str());
}

std::unique_ptr<SocketStream> Listener::accept(int milliseconds) {
    if (!waitFor(descriptor.get(), POLLIN, milliseconds)) return nullptr;
    Descriptor fd(accept4(descriptor.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!fd.isOpen()) return nullptr;
    const int on = 1;
    setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    setsockopt(fd.get(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    return std::make_unique<SocketStream>(std::move(fd));
}

}  // namespace quarlo::phone
