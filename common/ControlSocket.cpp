#include "ControlSocket.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "Text.h"

namespace quarlo {
inline namespace common {
namespace {

/// A client that does not read its answer for that long is no client any more.
constexpr std::chrono::seconds patience{10};
constexpr std::size_t mostNews = 256;

/// Empty for a path that is too long.
std::optional<sockaddr_un> addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return {};
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

Descriptor newSocket() {
    return Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

const sockaddr* generic(const sockaddr_un& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

std::runtime_error failure(const std::string& why) {
    return std::runtime_error("control socket: " + why);
}

}  // namespace

ControlSocket::ControlSocket(const std::string& place, std::function<void()> waker)
    : path(place), wake(std::move(waker)), event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    open();
    thread = std::thread([this] { serve(); });
}

ControlSocket::~ControlSocket() {
    isStopping.store(true);
    notify();
    thread.join();
    struct stat found {};
    const bool isOwn = ::lstat(path.c_str(), &found) == 0 && found.st_dev == made.st_dev &&
                       found.st_ino == made.st_ino;
    if (isOwn) ::unlink(path.c_str());
}

std::string ControlSocket::problemWith(const std::string& path) {
    const auto address = addressOf(path);
    if (!address) {
        return "'" + path + "' is too long; allowed: up to " +
               std::to_string(sizeof address->sun_path - 1) + " bytes";
    }
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0) return {};
    if (!S_ISSOCK(found.st_mode)) {
        return "'" + path +
               "' is no socket and left alone; allowed: a new file, or a socket that " +
               "nobody uses";
    }
    const Descriptor probe = newSocket();
    const bool isAlone =
        ::connect(probe.get(), generic(*address), sizeof *address) != 0 && errno == ECONNREFUSED;
    return isAlone ? std::string() : "'" + path + "' is used by another program";
}

void ControlSocket::open() {
    const std::string problem = problemWith(path);
    if (!problem.empty()) throw failure(problem);
    ::unlink(path.c_str());
    const sockaddr_un address = *addressOf(path);
    listener = newSocket();
    // The file takes the mode of its socket; set afterwards, others could connect before.
    const bool isOpen = event.isOpen() && listener.isOpen() &&
                        ::fchmod(listener.get(), S_IRUSR | S_IWUSR) == 0 &&
                        ::bind(listener.get(), generic(address), sizeof address) == 0 &&
                        ::lstat(path.c_str(), &made) == 0 && ::listen(listener.get(), 8) == 0;
    if (!isOpen) throw failure("'" + path + "': " + std::strerror(errno));
}

void ControlSocket::notify() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(event.get(), &one, sizeof one);
}

std::vector<ControlSocket::News> ControlSocket::take() {
    const std::lock_guard guard(lock);
    return std::exchange(news, {});
}

void ControlSocket::answer(Client client, const std::string& text) {
    {
        const std::lock_guard guard(lock);
        const auto found = connections.find(client);
        if (found == connections.end()) return;
        Connection& connection = found->second;
        connection.isAsked = false;
        if (!text.empty()) say(connection, printable(text));
    }
    notify();
}

void ControlSocket::serve() {
    while (!isStopping.load()) {
        std::vector<Client> clients;
        std::vector<pollfd> watched = watch(clients);
        const bool isTimed = isShort || std::any_of(watched.begin(), watched.end(), [](auto& one) {
                                 return (one.events & POLLOUT) != 0;
                             });
        ::poll(watched.data(), watched.size(), isTimed ? 1000 : -1);
        isShort = false;
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t size = ::read(event.get(), &count, sizeof count);
        const std::lock_guard guard(lock);
        for (std::size_t i = 0; i < clients.size(); ++i) {
            exchange(clients[i], connections.at(clients[i]), watched[i + 2].revents);
        }
        if (watched[1].revents != 0) accept();
    }
}

/// First the event and the listener, then the clients.
std::vector<pollfd> ControlSocket::watch(std::vector<Client>& clients) {
    const auto events = [](bool isHeard, bool isSpokenTo) {
        return static_cast<short>((isHeard ? POLLIN : 0) | (isSpokenTo ? POLLOUT : 0));
    };
    std::vector<pollfd> watched{{event.get(), POLLIN, 0},
                                {listener.get(), events(!isShort, false), 0}};
    const std::lock_guard guard(lock);
    for (const auto& [client, connection] : connections) {
        watched.push_back(
            {connection.socket.get(), events(connection.isHeard(), !connection.unsent.empty()), 0});
        clients.push_back(client);
    }
    return watched;
}

void ControlSocket::accept() {
    Descriptor socket(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    isShort = !socket.isOpen() && errno != EAGAIN;
    // One place more is for those who are sent away.
    if (!socket.isOpen() || connections.size() > mostClients || news.size() > mostNews) return;
    const bool isTooMany = connections.size() == mostClients;
    Connection& connection = connections[++latest];
    connection.socket = std::move(socket);
    if (isTooMany) refuse(connection, std::to_string(mostClients) + " others are connected");
}

void ControlSocket::exchange(Client client, Connection& connection, short events) {
    // Who has gone altogether waits for no answer.
    const bool isGone = (events & POLLERR) != 0 || ((events & POLLHUP) != 0 && connection.isAsked);
    const bool hasNews = (events & (POLLIN | POLLHUP)) != 0 && connection.isHeard();
    if (isGone || (hasNews && !receive(connection)) || !send(connection)) return remove(client);
    passOn(client, connection);
    const bool isDone = !connection.isReading && !connection.isAsked;
    if ((isDone || connection.isLeaving) && connection.unsent.empty()) remove(client);
}

/// False when the client is gone.
bool ControlSocket::receive(Connection& connection) {
    char piece[4096];
    const ssize_t size = ::recv(connection.socket.get(), piece, sizeof piece, 0);
    if (size < 0) return errno == EAGAIN || errno == EINTR;
    if (size == 0) {
        connection.isReading = false;
        // The last line need not have an end.
        if (!connection.received.empty()) connection.received += '\n';
    }
    connection.received.append(piece, static_cast<std::size_t>(size));
    return true;
}

/// False when the client is gone or does not read.
bool ControlSocket::send(Connection& connection) {
    if (connection.unsent.empty()) return true;
    const ssize_t size = ::send(connection.socket.get(), connection.unsent.data(),
                                connection.unsent.size(), MSG_NOSIGNAL);
    if (size < 0 && errno != EAGAIN && errno != EINTR) return false;
    if (size > 0) {
        connection.unsent.erase(0, static_cast<std::size_t>(size));
        connection.since = std::chrono::steady_clock::now();
    }
    return connection.unsent.empty() ||
           std::chrono::steady_clock::now() - connection.since < patience;
}

/// The first of the lines that have come, if no other waits for its answer.
void ControlSocket::passOn(Client client, Connection& connection) {
    if (connection.isAsked || connection.isLeaving) return;
    const std::size_t end = connection.received.find('\n');
    if (end == std::string::npos) {
        if (connection.received.size() <= longestLine) return;
        return refuse(connection,
                      "a line is longer than " + std::to_string(longestLine) + " bytes");
    }
    news.push_back({client, connection.received.substr(0, end)});
    connection.received.erase(0, end + 1);
    connection.isAsked = true;
    wake();
}

void ControlSocket::say(Connection& connection, const std::string& text) {
    connection.unsent += text + "\n";
    connection.since = std::chrono::steady_clock::now();
}

void ControlSocket::refuse(Connection& connection, const std::string& why) {
    say(connection, "error " + why);
    connection.isReading = false;
    connection.isLeaving = true;
    connection.received.clear();
}

void ControlSocket::remove(Client client) {
    connections.erase(client);
    news.push_back({client, std::nullopt});
    wake();
}

}  // namespace common
}  // namespace quarlo
