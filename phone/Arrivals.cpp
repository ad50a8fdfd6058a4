#include "Arrivals.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace quarlo::phone {
namespace {

constexpr std::chrono::seconds pause{1};
constexpr UInt32 connectLimit = 5000;

TimePoint now() {
    return std::chrono::steady_clock::now();
}

Link openLine(const Endpoint& place, quarloLinkFailure& failure) {
    return Link(quarloLink_OpenSerial(place.device.c_str(), place.baudRate, 0, &failure));
}

/// The link gives a head unit that takes nothing up as late as the session one that answers
/// nothing.
void setLimits(quarloLink& link, unsigned seconds) {
    constexpr unsigned most = 3600;
    const UInt32 limit = (seconds != 0 ? std::max(seconds, 2U) : most) * 1000;
    quarloLink_SetSendLimit(&link, limit);
    quarloLink_SetSilenceLimit(&link, limit);
}

quarloListener* listenOn(const Endpoint& place, quarloLinkFailure& failure) {
    return place.path.empty() ? quarloListener_OpenTcp(place.host.c_str(), place.port, &failure)
                              : quarloListener_OpenUnix(place.path.c_str(), &failure);
}

}  // namespace

Arrivals::Arrivals(const Options& options, const Log& log, Taker taker)
    : given(options), output(log), take(std::move(taker)) {
    open();
    thread = std::thread([this] { run(); });
}

Arrivals::~Arrivals() {
    isStopped.store(true);
    quarloListener_Stop(listener.get());
    bell.ring();
    thread.join();
}

void Arrivals::open() {
    quarloLinkFailure failure{};
    if (!given.place.device.empty()) {
        line = openLine(given.place, failure);
    } else if (!given.connects) {
        listener.reset(listenOn(given.place, failure));
    }
    if (failure.number != 0) throw std::runtime_error(failure.text);
}

std::string Arrivals::describe() const {
    if (!given.place.device.empty()) return "waiting on serial line " + given.place.text();
    if (given.connects) return "connecting to " + given.place.text();
    Endpoint actual = given.place;
    if (actual.path.empty()) actual.port = static_cast<UInt16>(port());
    return "listening on " + actual.text();
}

void Arrivals::expectNext() {
    isWanted.store(true);
    bell.ring();
}

void Arrivals::run() {
    TimePoint notBefore{};
    while (!isStopped.load()) {
        if (!isWanted.load() || now() < notBefore) {
            bell.wait(isWanted.load() ? notBefore : TimePoint::max());
            continue;
        }
        Link link = next();
        // A head unit that is not there, or leaves at once, may be ready a little later.
        if (link == nullptr || !isListening()) notBefore = now() + pause;
        if (link == nullptr) continue;
        lastProblem.clear();
        setLimits(*link, given.pingLimit);
        isWanted.store(isListening());
        take(std::move(link));
    }
}

Link Arrivals::next() {
    if (line != nullptr) return std::move(line);
    quarloLinkFailure failure{};
    Link link = connect(failure);
    if (link == nullptr && failure.number != ECANCELED && lastProblem != failure.text) {
        lastProblem = failure.text;
        output.line("UNIT", lastProblem + "; trying again");
    }
    return link;
}

Link Arrivals::connect(quarloLinkFailure& failure) const {
    const Endpoint& place = given.place;
    if (isListening()) return Link(quarloListener_Accept(listener.get(), 0, &failure));
    if (!place.device.empty()) return openLine(place, failure);
    if (!place.path.empty()) return Link(quarloLink_ConnectUnix(place.path.c_str(), &failure));
    return Link(quarloLink_ConnectTcpInterruptibly(place.host.c_str(), place.port, connectLimit,
                                                   bell.descriptor(), &failure));
}

void writePortFile(const std::string& path, unsigned port) {
    const std::string draft = path + ".new";
    std::ofstream file(draft);
    file << port << "\n";
    file.close();
    std::error_code failure;
    if (file) std::filesystem::rename(draft, path, failure);
    if (!file || failure) throw std::runtime_error("cannot write " + path);
}

}  // namespace quarlo::phone
