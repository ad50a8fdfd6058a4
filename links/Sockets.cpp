// Listeners, and Unix sockets to connect to. Several threads may accept on one listener: each phone
// goes to one of them.
#include "Sockets.h"

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "Link.h"
#include "Lookup.h"
#include "Wait.h"

struct quarloListener {
    int socket = -1;
    int wake = -1;
    char name[140] = {};                            // for reports
    char path[sizeof(sockaddr_un::sun_path)] = {};  // socket file to remove, if any
};

namespace quarlo::links {
namespace {

constexpr int socketFlags = SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC;

void nameTcp(char* name, size_t size, const char* host, UInt16 port) {
    snprintf(name, size, "%.100s port %u", host, unsigned{port});
}

// What is wrong with a path says the failure.
bool fill(sockaddr_un& address, const char* path, quarloLinkFailure* failure, const char* what) {
    address.sun_family = AF_UNIX;
    if (path == nullptr || path[0] == 0) {
        describe(failure, EINVAL, what, "a Unix socket", "its path is empty");
    } else if (strlen(path) >= sizeof address.sun_path) {
        describe(failure, ENAMETOOLONG, what, path, "a Unix socket's path has at most 107 bytes");
    } else {
        memcpy(address.sun_path, path, strlen(path) + 1);
        return true;
    }
    return false;
}

// A file left behind by a process that died: a socket, with nobody behind it.
bool isAbandoned(const sockaddr_un& address) {
    struct stat status {};
    if (lstat(address.sun_path, &status) < 0 || !S_ISSOCK(status.st_mode)) return false;
    const Descriptor probe(socket(AF_UNIX, socketFlags, 0));
    return connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0 &&
           errno == ECONNREFUSED;
}

int bindUnix(int socket, const sockaddr_un& address) {
    const auto* plain = reinterpret_cast<const sockaddr*>(&address);
    if (bind(socket, plain, sizeof address) == 0) return 0;
    if (errno != EADDRINUSE) return errno;
    if (!isAbandoned(address)) return EADDRINUSE;
    unlink(address.sun_path);
    return bind(socket, plain, sizeof address) == 0 ? 0 : errno;
}

int bindTcp(int socket, const addrinfo& address) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    return bind(socket, address.ai_addr, address.ai_addrlen) == 0 ? 0 : errno;
}

quarloListener* listenOn(Descriptor& socket, int& error) {
    constexpr int backlog = 8;
    if (error == 0 && listen(socket.get(), backlog) < 0) error = errno;
    Descriptor wake(error == 0 ? newWake() : -1);
    if (error == 0 && wake.get() < 0) error = errno;
    if (error != 0) return nullptr;
    auto* listener = new (std::nothrow) quarloListener;
    if (listener == nullptr) {
        error = ENOMEM;
        return nullptr;
    }
    listener->socket = socket.release();
    listener->wake = wake.release();
    return listener;
}

// What accept says of a connection that was gone before it was taken, rather than of the listener.
bool isPassing(int error) {
    return error == EINTR || error == EAGAIN || error == ECONNABORTED || error == EPROTO ||
           error == ENETDOWN || error == EHOSTUNREACH || error == ENETUNREACH;
}

}  // namespace

quarloLink* linkOf(Descriptor& socket, quarloLinkFailure* failure) {
    quarloLink* link = quarloLink_FromDescriptors(socket.get(), socket.get(), failure);
    if (link != nullptr) socket.release();
    return link;
}

quarloLink* acceptLink(const quarloListener& listener, int wake, std::int64_t deadline,
                       quarloLinkFailure* failure) {
    const char* what = "no phone accepted on";
    for (;;) {
        const Waited result = waitFor(listener.socket, POLLIN, wake, deadline);
        if (result != Waited::Ready) {
            describe(failure, errorOf(result), what, listener.name);
            return nullptr;
        }
        Descriptor socket(accept4(listener.socket, nullptr, nullptr, SOCK_CLOEXEC));
        if (socket.get() >= 0) return linkOf(socket, failure);
        if (isPassing(errno)) continue;
        describe(failure, errno, what, listener.name);
        return nullptr;
    }
}

}  // namespace quarlo::links

using namespace quarlo::links;

quarloLink* quarloLink_ConnectUnix(const char* path, quarloLinkFailure* failure) {
    const char* what = "cannot connect to";
    sockaddr_un address{};
    if (!fill(address, path, failure, what)) return nullptr;
    Descriptor socket(::socket(AF_UNIX, socketFlags, 0));
    // Never in progress: a Unix socket connects at once, or refuses because too many wait already.
    if (socket.get() < 0 ||
        connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        describe(failure, errno, what, path);
        return nullptr;
    }
    return linkOf(socket, failure);
}

quarloListener* quarloListener_OpenTcp(const char* address, UInt16 port,
                                       quarloLinkFailure* failure) {
    const char* what = "cannot listen on";
    if (address == nullptr) address = "127.0.0.1";
    char name[140];
    nameTcp(name, sizeof name, address, port);
    AddressList addresses;
    const int looked = addresses.read(address, port, AI_PASSIVE);
    if (looked != 0) {
        describeLookup(failure, looked, errno, what, name);
        return nullptr;
    }
    const addrinfo& found = *addresses.first;
    Descriptor socket(::socket(found.ai_family, socketFlags, found.ai_protocol));
    int error = socket.get() < 0 ? errno : bindTcp(socket.get(), found);
    quarloListener* listener = listenOn(socket, error);
    if (listener == nullptr) {
        describe(failure, error, what, name);
        return nullptr;
    }
    memcpy(listener->name, name, sizeof name);
    return listener;
}

quarloListener* quarloListener_OpenUnix(const char* path, quarloLinkFailure* failure) {
    const char* what = "cannot listen on";
    sockaddr_un address{};
    if (!fill(address, path, failure, what)) return nullptr;
    Descriptor socket(::socket(AF_UNIX, socketFlags, 0));
    int error = socket.get() < 0 ? errno : bindUnix(socket.get(), address);
    const bool isBound = error == 0;
    quarloListener* listener = listenOn(socket, error);
    if (listener == nullptr) {
        if (isBound) unlink(path);
        describe(failure, error, what, path);
        return nullptr;
    }
    memcpy(listener->path, address.sun_path, sizeof listener->path);
    memcpy(listener->name, address.sun_path, sizeof listener->path);
    return listener;
}

UInt16 quarloListener_GetPort(const quarloListener* listener) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (listener == nullptr ||
        getsockname(listener->socket, reinterpret_cast<sockaddr*>(&address), &size) < 0) {
        return 0;
    }
    if (address.ss_family == AF_INET6) {
        return ntohs(reinterpret_cast<const sockaddr_in6*>(&address)->sin6_port);
    }
    if (address.ss_family != AF_INET) return 0;
    return ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
}

quarloLink* quarloListener_Accept(quarloListener* listener, UInt32 timeLimit,
                                  quarloLinkFailure* failure) {
    if (listener == nullptr) {
        describe(failure, EINVAL, "no phone accepted on", "(null)");
        return nullptr;
    }
    return acceptLink(*listener, listener->wake, timeLimit != 0 ? after(timeLimit) : never,
                      failure);
}

void quarloListener_Stop(quarloListener* listener) {
    if (listener != nullptr) wakeUp(listener->wake);
}

void quarloListener_Close(quarloListener* listener) {
    if (listener == nullptr) return;
    if (listener->path[0] != 0) unlink(listener->path);
    close(listener->socket);
    close(listener->wake);
    delete listener;
}
