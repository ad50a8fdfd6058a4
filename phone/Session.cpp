// The session's round: read a piece, handle the packets in it, let the features act, write what
// fits. What is queued is bounded: a head unit that does not read is not read from either, and
// given up in the end.
#include "Session.h"

#include <cstring>

#include "PacketLog.h"
#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo::phone {
namespace {

constexpr std::size_t readPiece = std::size_t{64} * 1024;
constexpr std::size_t largestPacketTaken = std::size_t{4} * 1024 * 1024;
constexpr std::size_t mostQueued = std::size_t{256} * 1024;
/// A head unit that reads the end of the handshake together with what follows may not be ready for
/// that yet: what it sends by itself says that it is. One that says nothing gets this time.
constexpr std::chrono::milliseconds settling{3000};

}  // namespace

std::string textOf(const qrString* string) {
    if (string == nullptr || string->pContent == nullptr) return {};
    return {reinterpret_cast<const char*>(string->pContent), string->Length};
}

void setText(qrString& string, const std::string& text) {
    string.Encoding = eSTRINGENCODING_UTF8;
    if (text.empty()) return;
    string.pContent = static_cast<UInt8*>(quarlo_malloc(text.size()));
    if (string.pContent == nullptr) return;
    std::memcpy(string.pContent, text.data(), text.size());
    string.Length = static_cast<UInt16>(text.size());
}

std::string labelOf(int number) {
    return number > 1 ? std::to_string(number) + ": " : "";
}

Session::Session(Stream& stream, Screen& screen, const Options& options, const Log& log, int number)
    : connection(stream),
      shown(screen),
      given(options),
      output(log),
      place(number),
      label(labelOf(number)),
      features(makeFeatures(*this)) {}

Session::~Session() = default;

bool Session::step(TimePoint now) {
    if (roundTime == TimePoint{} && given.handshakeLimit > 0)
        handshakeEnd = now + std::chrono::seconds(given.handshakeLimit);
    roundTime = now;
    if (wantsInput()) receive();
    handlePackets();
    checkHandshake();
    if (hasRun && !isMuted && !isClosing && now >= beginAt) {
        begin();
        grantWishes();
        for (const auto& feature : features) feature->tick(now);
    }
    transmit();
    if (isClosing && !wantsOutput()) isOver = true;
    return !isOver;
}

void Session::checkHandshake() {
    if (hasRun || isMuted || roundTime < handshakeEnd) return;
    end("the handshake was not completed within " + std::to_string(given.handshakeLimit) + " s");
}

void Session::begin() {
    if (hasBegun) return;
    hasBegun = true;
    for (const auto& feature : features) feature->begin(roundTime);
}

void Session::grantWishes() {
    auto wishes = std::move(shown.phone().wishes);
    shown.phone().wishes.clear();
    for (const auto& [wish, which] : wishes) {
        const auto found = wishHandlers.find(wish);
        if (found != wishHandlers.end()) found->second(which);
    }
}

bool Session::hasRoom() const {
    return outgoing.size() - sentUpTo < mostQueued;
}

TimePoint Session::nextWake() const {
    if (isMuted || isClosing) return TimePoint::max();
    if (!hasRun) return handshakeEnd;
    if (!hasBegun) return beginAt;
    TimePoint wake = TimePoint::max();
    for (const auto& feature : features) wake = std::min(wake, feature->nextWake());
    return wake;
}

void Session::receive() {
    const std::size_t held = incoming.size();
    incoming.resize(held + readPiece);
    const long count = connection.read({incoming.data() + held, readPiece});
    incoming.resize(held + static_cast<std::size_t>(std::max(count, 0L)));
    if (count < 0) end(connection.end());
}

void Session::handlePackets() {
    std::size_t at = 0;
    while (!isClosing && incoming.size() - at >= wire::headerSize) {
        void* position = incoming.data() + at + sizeOf_EventType() + sizeOf_UInt32();
        const std::size_t size = wire::headerSize + std::size_t{readFromBuffer_UInt32(&position)};
        if (size > largestPacketTaken) {
            end("the head unit announced a packet of " + std::to_string(size) + " bytes");
            break;
        }
        if (incoming.size() - at < size) break;
        handle({incoming.data() + at, size});
        at += size;
    }
    incoming.erase(incoming.begin(), incoming.begin() + static_cast<std::ptrdiff_t>(at));
}

void Session::handle(Bytes packet) {
    if (output.isVerbose()) output.detail("RECV", label + "<- " + describePacket(packet));
    if (witness.heard) witness.heard(packet);
    for (const std::string& fault : judgement.judge(packet, unit.width, unit.height)) {
        note(fault);
        if (witness.found) witness.found(fault);
    }
    if (isMuted) return;
    if (hasRun) beginAt = std::min(beginAt, roundTime);
    const auto found = handlers.find(static_cast<EventType>(packet[0]));
    if (found == handlers.end()) return;
    for (const auto& handler : found->second) handler(packet);
}

bool Session::sendDirect(const std::function<bool(std::vector<std::uint8_t>&)>& append) {
    if (isMuted || isClosing || isOver) return false;
    const std::size_t from = outgoing.size();
    if (!append(outgoing)) return false;
    if (output.isVerbose())
        output.detail("SEND", label + "-> " + describePacket(Bytes(outgoing).subspan(from)));
    return true;
}

void Session::transmit() {
    while (!isOver && wantsOutput()) {
        const long count = connection.write(Bytes(outgoing).subspan(sentUpTo));
        if (count < 0) return end(connection.end());
        if (count == 0) break;
        sentUpTo += static_cast<std::size_t>(count);
    }
    if (wantsOutput()) return;
    outgoing.clear();
    sentUpTo = 0;
}

bool Session::arriveAt(Stage stage) {
    if (given.dropAt == stage) endAfterSending("dropping the connection as told");
    if (given.stallAt == stage) fallSilent();
    return !isMuted && !isClosing;
}

void Session::fallSilent() {
    if (!isMuted) note("falling silent as told");
    isMuted = true;
}

void Session::run() {
    hasRun = true;
    note("handshake completed with " + printable(unit.name) + ", " + std::to_string(unit.width) +
         "x" + std::to_string(unit.height));
    beginAt = roundTime + settling;
}

void Session::endAfterSending(const std::string& reason) {
    if (!isClosing) note(reason);
    isClosing = true;
}

void Session::end(const std::string& reason) {
    if (!isOver) note(reason);
    isOver = true;
}

}  // namespace quarlo::phone
