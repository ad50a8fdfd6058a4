// The sessions of one pair. Its own thread is the phone's; the head unit's are in HeadUnit.cpp.
#include "Pair.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>

#include "Tally.h"

namespace quarlo::soak {
namespace {

using std::chrono::milliseconds;

constexpr auto noLimit = static_cast<std::size_t>(-1);
/** A session that needs longer for its handshake, or for what is under way at its end, hangs. */
constexpr std::chrono::seconds patience{60};

bool makeSocketPair(int (&ends)[2]) {
    return socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0;
}

/** The phone's end of a TCP connection to the listener, and the head unit's. */
bool connectTcp(quarloLink*& link, int& socket) {
    quarloListener* listener = quarloListener_OpenTcp(nullptr, 0, nullptr);
    if (listener == nullptr) return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(quarloListener_GetPort(listener));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto* where = reinterpret_cast<const sockaddr*>(&address);
    const bool isConnected = connect(socket, where, sizeof address) == 0;
    if (isConnected) link = quarloListener_Accept(listener, 5000, nullptr);
    quarloListener_Close(listener);
    return link != nullptr;
}

/** Small buffers make senders block, and packets come in pieces. */
void shrinkBuffers(int socket) {
    const int size = 4096;
    setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
}

/** What has not arrived, when everything should have; empty when nothing is missing. */
std::string missing(const Exchange& e) {
    std::string text;
    const auto add = [&](const char* name, const Channel& channel) {
        if (!channel.isComplete()) text += std::string("; ") + name + ": " + channel.text();
    };
    add("messages of the phone", e.fromPhone);
    add("messages of the host", e.fromHost);
    add("messages of the host's callbacks", e.fromCallbacks);
    add("calls of the host", e.calls);
    add("pings", e.pings);
    add("audio requests", e.audio);
    if (e.undrawn() != 0) text += "; rectangles: " + std::to_string(e.undrawn()) + " not drawn";
    return text;
}

}  // namespace

/* ---- rounds ---- */

void Rounds::play(Clock::time_point end) {
    const std::lock_guard lock(mutex);
    until = end;
    resting = 0;
    ++round;
    changed.notify_all();
}

bool Rounds::waitForRest() {
    std::unique_lock lock(mutex);
    // The time of the round itself, and what its last sessions may take to end.
    return changed.wait_until(lock, until + 3 * patience, [&] { return resting == pairs; });
}

void Rounds::finish() {
    const std::lock_guard lock(mutex);
    isFinished = true;
    changed.notify_all();
}

bool Rounds::rest() {
    std::unique_lock lock(mutex);
    const unsigned last = round;
    ++resting;
    changed.notify_all();
    changed.wait(lock, [&] { return isFinished || round != last; });
    return !isFinished;
}

Clock::time_point Rounds::end() const {
    const std::lock_guard lock(mutex);
    return until;
}

/* ---- a pair ---- */

Pair::Pair(Rounds& all, unsigned number, std::uint64_t seed)
    : rounds(all), index(number), random(seed + number * 1000003ULL), thread([this] { run(); }) {}

Pair::~Pair() {
    thread.join();
}

void Pair::run() {
    while (rounds.rest()) {
        while (!tally.isOver && Clock::now() < rounds.end()) session();
        current = "rest";
    }
}

Setting Pair::chooseSetting() {
    Setting setting;
    ++sessions;
    setting.number = (index & 0x3FU) << 10 | (sessions & 0x3FFU);
    setting.name =
        "instance " + std::to_string(index + 1) + ", session " + std::to_string(sessions);
    setting.width = static_cast<int>(random.between(40, 480));
    setting.height = static_cast<int>(random.between(20, 272));
    setting.layout.format =
        random.of<PixelFormat>({ePIXELFORMAT_ARGB8888, ePIXELFORMAT_RGB888, ePIXELFORMAT_RGB565});
    setting.layout.order =
        random.oneIn(4) ? ePIXELENDIANESS_BigEndian : ePIXELENDIANESS_LittleEndian;
    setting.hasWatchdog = random.oneIn(4);
    setting.hasInitTimer = random.oneIn(8);
    setting.pause = random.of<unsigned>({50, 500, 5000});
    return setting;
}

bool Pair::connect(quarloLink*& link, int& socket) {
    if (random.oneIn(2)) {
        if (!connectTcp(link, socket)) return false;
    } else {
        int ends[2] = {-1, -1};
        if (!makeSocketPair(ends)) return false;
        socket = ends[0];
        if (random.oneIn(2)) shrinkBuffers(ends[0]);
        if (random.oneIn(2)) shrinkBuffers(ends[1]);
        link = quarloLink_FromDescriptors(ends[1], ends[1], nullptr);
    }
    return link != nullptr && fcntl(socket, F_SETFL, O_NONBLOCK) == 0;
}

/** Talks; now and then slowly, or not at all for a while. */
void Pair::play(Peer& peer, Exchange& exchange, Clock::time_point until) {
    while (!tally.isOver && Clock::now() < until) {
        if (random.oneIn(2000)) {
            // Nobody reads or writes; the host goes on, until the buffers are full.
            std::this_thread::sleep_for(milliseconds(random.between(1, 300)));
        }
        const std::size_t most = random.oneIn(20) ? random.between(1, 40) : noLimit;
        if (!peer.step(static_cast<int>(random.between(0, 3)), most)) return;
        if (exchange.isStopped) return;
        peer.act();
    }
}

void Pair::shakeHands(Peer& peer, Exchange& exchange) {
    const Clock::time_point limit = Clock::now() + patience;
    while (!exchange.isRunning) {
        if (tally.isOver) return;
        if (!peer.step(5, noLimit) || exchange.isStopped || Clock::now() > limit) {
            return tally.fail("instance " + std::to_string(index + 1) + ", session " +
                              std::to_string(sessions) + ": the handshake does not end in RUN");
        }
    }
}

/** Lets everything that is under way arrive; false when something does not. */
bool Pair::flush(Peer& peer, Exchange& exchange, HeadUnit& unit) {
    const Clock::time_point limit = Clock::now() + patience;
    unit.quieten();
    const auto isDone = [&] {
        return unit.isQuiet() && !peer.hasUnsent() && missing(exchange).empty();
    };
    while (!isDone() && Clock::now() < limit && !tally.isOver) {
        if (!peer.step(5, noLimit)) break;
    }
    return tally.isOver || isDone();
}

void Pair::session() {
    current = "connecting";
    const Setting setting = chooseSetting();
    quarloLink* link = nullptr;
    int socket = -1;
    if (!connect(link, socket)) return tally.fail(setting.name + ": cannot connect");
    Exchange exchange;
    // The phone goes first or last: the head unit ends with or without it.
    std::optional<Peer> peer(std::in_place, exchange, setting, socket, random.between(0, ~0U));
    std::optional<HeadUnit> unit(std::in_place, exchange, setting, link, random.between(0, ~0U));
    ++tally.sessions;
    const auto longest = rounds.end();
    const unsigned length =
        random.oneIn(30) ? 600000 : random.of<unsigned>({20, 20, 200, 200, 1000, 3000});
    const auto until = std::min(longest, Clock::now() + milliseconds(random.between(1, length)));
    if (random.oneIn(10)) {
        current = "a handshake that fails";
        const unsigned packet = random.between(1, 3);
        random.oneIn(2) ? peer->refuseAt(packet) : peer->fallSilentAt(packet);
        const auto end = std::min(until, Clock::now() + milliseconds(100));
        while (Clock::now() < end && peer->step(5, noLimit)) continue;
    } else {
        current = "the handshake";
        shakeHands(*peer, exchange);
        current = "playing";
        play(*peer, exchange, until);
        current = "waiting for what is under way";
        const bool isOrderly = random.oneIn(2) && !exchange.isStopped;
        if (isOrderly && !flush(*peer, exchange, *unit)) {
            tally.fail(setting.name + ": something is lost" + missing(exchange));
        }
    }
    makeGrowth();
    current = "deleting";
    if (random.oneIn(2)) peer.reset();
    unit.reset();
}

/** Leaves behind what it is told to. */
void Pair::makeGrowth() {
    switch (tally.fault) {
        case Fault::Memory: {
            constexpr std::size_t size = std::size_t{2} << 20;
            static std::atomic<void*> kept{nullptr};
            kept = quarlo_malloc(size);
            if (kept != nullptr) std::fill_n(static_cast<char*>(kept.load()), size, 'x');
            return;
        }
        case Fault::Descriptor:
            static_cast<void>(open("/dev/null", O_RDONLY | O_CLOEXEC));
            return;
        case Fault::Thread:
            std::thread([] { std::this_thread::sleep_for(std::chrono::hours(1)); }).detach();
            return;
        default:
            return;
    }
}

}  // namespace quarlo::soak
