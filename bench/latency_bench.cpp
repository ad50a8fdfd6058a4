/*
 * From a touch to what the phone shows for it, over TCP between two processes, beside an echo of
 * the same bytes without a library.
 */
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>

#include "Frames.h"
#include "quarlo-links.h"

namespace quarlo::bench {
namespace {

constexpr int rounds = 2000;
constexpr UInt32 side = 32;
constexpr std::size_t header = 9;
/// One touch, with its time.
constexpr std::size_t touchSize = header + 1 + 9 + 4;

bool readFully(int descriptor, UInt8* into, std::size_t size) {
    while (size > 0) {
        const ssize_t count = read(descriptor, into, size);
        if (count <= 0) return false;
        into += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool writeFully(int descriptor, const Bytes& bytes) {
    return write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
}

void sendAtOnce(int descriptor) {
    const int yes = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

/** The other process: a phone that shows something for each touch, then an echo. */
class Peer {
  public:
    explicit Peer(const Bytes& shown) : update(shown) {
        listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t size = sizeof address;
        const bool isListening =
            bind(listener, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
            listen(listener, 2) == 0 &&
            getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) == 0;
        if (!isListening) return;
        port = ntohs(address.sin_port);
        process = fork();
        if (process != 0) return;
        serve([this](int connection) { actAsPhone(connection); });
        serve([this](int connection) { echo(connection); });
        _exit(0);
    }
    ~Peer() {
        close(listener);
        if (process <= 0) return;
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    UInt16 port = 0;

  private:
    template <class Work>
    void serve(Work work) {
        const int connection = accept(listener, nullptr, nullptr);
        sendAtOnce(connection);
        work(connection);
        close(connection);
    }
    void actAsPhone(int connection) const {
        Bytes packet(header);
        while (readFully(connection, packet.data(), header)) {
            UInt32 size = 0;
            for (unsigned i = 0; i < 4; ++i) size |= UInt32{packet[5 + i]} << (8 * i);
            packet.resize(header + size);
            if (!readFully(connection, packet.data() + header, size)) return;
            if (!writeFully(connection, answerTo(packet[0]))) return;
        }
    }
    [[nodiscard]] Bytes answerTo(UInt8 type) const {
        if (type == eEVENTTYPE_TouchEvent) return update;
        return type == eEVENTTYPE_ClientProtocolVersion ? protocolAccepted
               : type == eEVENTTYPE_ClientInit          ? handshakeDone
                                                        : Bytes{};
    }
    void echo(int connection) const {
        Bytes touch(touchSize);
        while (readFully(connection, touch.data(), touch.size())) {
            if (!writeFully(connection, update)) return;
        }
    }

    const Bytes& update;
    int listener = -1;
    pid_t process = -1;
};

struct Times {
    double median = 0;
    double slow = 0;  // one of a hundred takes longer
};

template <class Round>
Times timesOf(Round round) {
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        const double begin = now();
        round();
        times.push_back(now() - begin);
    }
    std::sort(times.begin(), times.end());
    return {times[rounds / 2], times[rounds * 99 / 100]};
}

/** The head unit: an instance on a TCP link. */
class Unit {
  public:
    explicit Unit(UInt16 port)
        : link(quarloLink_ConnectTcp("127.0.0.1", port, 0, nullptr)),
          instance(quarlo_CreateInstance(link, "bench")) {
        quarlo_SetFrameSize(instance, 320, 240, 100, 60);
        quarlo_SetTraceClass(instance, eTRACECLASS_NONE);
        quarlo_SetProtocolCallback(instance, [](void* context, eProtocolState state) {
            if (state == ePROTOCOL_STATE_RUN) static_cast<Unit*>(context)->come();
        });
        quarlo_SetFrameUpdateCallback(
            instance, [](void* context, UInt8, UInt16, UInt16, UInt16, UInt16, UInt8*, UInt32) {
                static_cast<Unit*>(context)->come();
            });
        quarloLink_Attach(link, instance, this);
        quarlo_StartMainThread(instance);
        isInRun = wait();
    }
    ~Unit() {
        quarlo_DeleteInstance(instance);
        quarloLink_Close(link);
    }
    Unit(const Unit&) = delete;
    Unit& operator=(const Unit&) = delete;

    void touch() {
        TouchEvent moved = {eTOUCHTYPE_Moved, 10, 10, 1};
        quarlo_TouchEventsTimed(instance, &moved, 1, 1);
        wait();
    }

    bool isInRun = false;

  private:
    void come() {
        const std::lock_guard lock(mutex);
        hasCome = true;
        changed.notify_one();
    }
    bool wait() {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(5),
                                [this] { return std::exchange(hasCome, false); });
    }

    std::mutex mutex;
    std::condition_variable changed;
    bool hasCome = false;
    quarloLink* link;
    void* instance;
};

Times echoTimes(UInt16 port, std::size_t updateSize) {
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
    Times times;
    if (connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        sendAtOnce(connection);
        const Bytes touch(touchSize);
        Bytes shown(updateSize);
        times = timesOf([&] {
            writeFully(connection, touch);
            readFully(connection, shown.data(), shown.size());
        });
    }
    close(connection);
    return times;
}

void touchToUpdate(benchmark::State& state) {
    const Bytes pixels(std::size_t{side} * side * 4);
    const Bytes update = updatePacket({{0, 0, side, side, pixels}}, eFRAMECOMPRESSION_Uncompressed);
    for (auto _ : state) {
        const Peer peer(update);
        Times times;
        {
            Unit unit(peer.port);
            if (!unit.isInRun) return state.SkipWithError("no connection");
            times = timesOf([&] { unit.touch(); });
        }
        const Times beside = echoTimes(peer.port, update.size());
        state.SetIterationTime(times.median);
        state.counters["us_p50"] = times.median * 1e6;
        state.counters["us_p99"] = times.slow * 1e6;
        state.counters["x_echo_p50"] = times.median / beside.median;
        state.counters["x_echo_p99"] = times.slow / beside.slow;
    }
}
BENCHMARK(touchToUpdate)->Iterations(1)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace quarlo::bench
