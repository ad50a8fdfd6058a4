// A name may have addresses that nobody answers on: they are tried side by side, each a moment
// after the one before, and the first that answers wins. Everything belongs to the calling thread.
#include "Connect.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>

#include "Link.h"
#include "Lookup.h"
#include "Wait.h"

namespace quarlo::links {
namespace {

// Who controls a name controls how many addresses it has.
constexpr int mostAddresses = 16;
constexpr std::uint32_t headStart = 250;

int resultOfConnect(int socket) {
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) < 0 ? errno : error;
}

class Race {
  public:
    explicit Race(const addrinfo* addresses);
    ~Race();
    Race(const Race&) = delete;
    Race& operator=(const Race&) = delete;

    /** @return the first connected socket, or -1 */
    int run(int wake, std::int64_t deadline);
    int error = EHOSTUNREACH;

  private:
    bool isOver() const { return next == count && running == 0; }
    bool begin();
    bool await(int wake, std::int64_t deadline);
    bool judge();
    void drop(int number, int reason);
    int takeWinner();

    const addrinfo* entrants[mostAddresses] = {};
    pollfd sockets[mostAddresses + 1] = {};  // negative: not begun, or over; the last one is wake
    int count = 0;
    int next = 0;
    int running = 0;
    int winner = -1;
    std::int64_t nextBegin = 0;
};

// In the system's order, but the families in turn.
Race::Race(const addrinfo* addresses) {
    const addrinfo* of[2] = {addresses, addresses};
    const int family = addresses->ai_family;
    const auto isNext = [family](const addrinfo* at, int turn) {
        return (at->ai_family == family) == (turn == 0);
    };
    for (int turn = 0; count < mostAddresses && (of[0] != nullptr || of[1] != nullptr);
         turn = 1 - turn) {
        const addrinfo*& at = of[turn];
        while (at != nullptr && !isNext(at, turn)) at = at->ai_next;
        if (at == nullptr) continue;
        entrants[count++] = at;
        at = at->ai_next;
    }
    for (pollfd& each : sockets) each = {-1, POLLOUT, 0};
}

Race::~Race() {
    for (int i = 0; i < count; ++i) {
        if (sockets[i].fd >= 0) close(sockets[i].fd);
    }
}

void Race::drop(int number, int reason) {
    error = reason;
    if (sockets[number].fd >= 0) {
        close(sockets[number].fd);
        --running;
    }
    sockets[number].fd = -1;
    nextBegin = 0;  // nothing is lost by beginning at once
}

// True when it has won already.
bool Race::begin() {
    const int number = next++;
    const addrinfo& address = *entrants[number];
    nextBegin = after(headStart);
    const int own =
        socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, address.ai_protocol);
    if (own < 0) {
        drop(number, errno);
        return false;
    }
    sockets[number].fd = own;
    ++running;
    if (connect(own, address.ai_addr, address.ai_addrlen) == 0) {
        winner = number;
        return true;
    }
    if (errno != EINPROGRESS && errno != EINTR) drop(number, errno);
    return false;
}

// False when it is interrupted or too late.
bool Race::await(int wake, std::int64_t deadline) {
    sockets[mostAddresses] = {wake, POLLIN, 0};
    const std::int64_t until = next < count ? std::min(deadline, nextBegin) : deadline;
    const std::int64_t left =
        until == never ? -1 : std::clamp<std::int64_t>(until - now(), 0, INT_MAX);
    const int found = poll(sockets, mostAddresses + 1, static_cast<int>(left));
    if (found < 0 && errno != EINTR && errno != EAGAIN) {
        error = errno;
        return false;
    }
    if (found < 0) {
        for (pollfd& each : sockets) each.revents = 0;
    }
    if (sockets[mostAddresses].revents != 0) error = ECANCELED;
    if (now() >= deadline) error = ETIMEDOUT;
    return sockets[mostAddresses].revents == 0 && now() < deadline;
}

bool Race::judge() {
    for (int i = 0; i < next; ++i) {
        if (sockets[i].fd < 0 || sockets[i].revents == 0) continue;
        const int reason = resultOfConnect(sockets[i].fd);
        if (reason == 0) {
            winner = i;
            return true;
        }
        drop(i, reason);
    }
    return false;
}

int Race::run(int wake, std::int64_t deadline) {
    while (!isOver()) {
        const bool isDue = next < count && (running == 0 || now() >= nextBegin);
        if (isDue && begin()) return takeWinner();
        if (isDue || isOver()) continue;
        if (!await(wake, deadline)) return -1;
        if (judge()) return takeWinner();
    }
    return -1;
}

int Race::takeWinner() {
    const int won = sockets[winner].fd;
    sockets[winner].fd = -1;
    return won;
}

}  // namespace

int connectToAny(const addrinfo* addresses, int wake, std::int64_t deadline, int& error) {
    Race race(addresses);
    const int won = race.run(wake, deadline);
    error = race.error;
    return won;
}

quarloLink* connectTcp(const char* host, UInt16 port, int wake, std::int64_t deadline,
                       quarloLinkFailure* failure) {
    const char* what = "cannot connect to";
    char name[140];
    snprintf(name, sizeof name, "%.100s port %u", host, unsigned{port});
    AddressList addresses;
    if (!addresses.find(host, port, wake, deadline, failure, what, name)) return nullptr;
    int error = 0;
    Descriptor socket(connectToAny(addresses.first, wake, deadline, error));
    if (socket.get() >= 0) return linkOf(socket, failure);
    describe(failure, error, what, name);
    return nullptr;
}

}  // namespace quarlo::links

using namespace quarlo::links;

quarloLink* quarloLink_ConnectTcp(const char* host, UInt16 port, UInt32 timeLimit,
                                  quarloLinkFailure* failure) {
    return quarloLink_ConnectTcpInterruptibly(host, port, timeLimit, -1, failure);
}

quarloLink* quarloLink_ConnectTcpInterruptibly(const char* host, UInt16 port, UInt32 timeLimit,
                                               int interrupt, quarloLinkFailure* failure) {
    if (host == nullptr) {
        describe(failure, EINVAL, "cannot connect to", "(null)");
        return nullptr;
    }
    const UInt32 limit = timeLimit != 0 ? timeLimit : defaultConnectLimit;
    return connectTcp(host, port, interrupt, after(limit), failure);
}
