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
constexpr std::chrono::seconds patience{10};
/// A head unit that reads the end of the handshake together with what follows may not be ready for
/// that yet.
constexpr std::chrono::milliseconds settling{100};

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

Session::Session(Stream& stream, Screen& screen, const Options& options, const Log& log)
    : stream_(stream),
      screen_(screen),
      options_(options),
      log_(log),
      features_(makeFeatures(*this)) {
    // What another head unit said about its car does not hold for this one.
    screen_.phone() = Phone{};
}

Session::~Session() = default;

bool Session::step(TimePoint now) {
    now_ = now;
    if (!wantsOutput()) lastProgress_ = now;
    if (wantsInput()) receive();
    handlePackets();
    if (isRunning_ && !isMuted_ && !isClosing_ && now >= beginAt_) {
        begin();
        grantWishes();
        for (const auto& feature : features_) feature->tick(now);
    }
    transmit();
    if (isClosing_ && !wantsOutput()) isOver_ = true;
    return !isOver_;
}

void Session::begin() {
    if (hasBegun_) return;
    hasBegun_ = true;
    for (const auto& feature : features_) feature->begin(now_);
}

void Session::grantWishes() {
    auto wishes = std::move(screen_.phone().wishes);
    screen_.phone().wishes.clear();
    for (const auto& [wish, which] : wishes) {
        const auto found = wishHandlers_.find(wish);
        if (found != wishHandlers_.end()) found->second(which);
    }
}

bool Session::hasRoom() const {
    return out_.size() - sentUpTo_ < mostQueued;
}

TimePoint Session::nextWake() const {
    TimePoint wake = wantsOutput() ? lastProgress_ + patience : TimePoint::max();
    if (!isRunning_ || isMuted_) return wake;
    if (!hasBegun_) return std::min(wake, beginAt_);
    for (const auto& feature : features_) wake = std::min(wake, feature->nextWake());
    return wake;
}

void Session::receive() {
    const std::size_t held = in_.size();
    in_.resize(held + readPiece);
    const long count = stream_.read({in_.data() + held, readPiece});
    in_.resize(held + static_cast<std::size_t>(std::max(count, 0L)));
    if (count < 0) end("the head unit closed the connection");
}

void Session::handlePackets() {
    std::size_t at = 0;
    while (!isClosing_ && in_.size() - at >= wire::headerSize) {
        void* position = in_.data() + at + sizeOf_EventType() + sizeOf_UInt32();
        const std::size_t size = wire::headerSize + std::size_t{readFromBuffer_UInt32(&position)};
        if (size > largestPacketTaken) {
            end("the head unit announced a packet of " + std::to_string(size) + " bytes");
            break;
        }
        if (in_.size() - at < size) break;
        handle({in_.data() + at, size});
        at += size;
    }
    in_.erase(in_.begin(), in_.begin() + static_cast<std::ptrdiff_t>(at));
}

void Session::handle(Bytes packet) {
    if (log_.isVerbose()) log_.detail("RECV", "<- " + describePacket(packet));
    if (isMuted_) return;
    const auto found = handlers_.find(static_cast<EventType>(packet[0]));
    if (found == handlers_.end()) return;
    for (const auto& handler : found->second) {
        if (!handler(packet)) note("ignored a malformed packet: " + describePacket(packet));
    }
}

bool Session::sendDirect(const std::function<bool(std::vector<std::uint8_t>&)>& append) {
    if (isMuted_ || isClosing_ || isOver_) return false;
    const std::size_t from = out_.size();
    if (!append(out_)) return false;
    if (log_.isVerbose()) log_.detail("SEND", "-> " + describePacket(Bytes(out_).subspan(from)));
    return true;
}

void Session::transmit() {
    while (!isOver_ && wantsOutput()) {
        const long count = stream_.write(Bytes(out_).subspan(sentUpTo_));
        if (count < 0) return end("the head unit vanished");
        if (count == 0) break;
        sentUpTo_ += static_cast<std::size_t>(count);
        lastProgress_ = now_;
    }
    if (!wantsOutput()) {
        out_.clear();
        sentUpTo_ = 0;
    } else if (now_ - lastProgress_ >= patience) {
        end("the head unit has stopped reading");
    }
}

bool Session::arriveAt(Stage stage) {
    if (options_.dropAt == stage) endAfterSending("dropping the connection as told");
    if (options_.stallAt == stage && !isMuted_) {
        note("falling silent as told");
        isMuted_ = true;
    }
    return !isMuted_ && !isClosing_;
}

void Session::run() {
    isRunning_ = true;
    note("handshake completed with " + printable(headUnit_.name) + ", " +
         std::to_string(headUnit_.width) + "x" + std::to_string(headUnit_.height));
    beginAt_ = now_ + settling;
}

void Session::endAfterSending(const std::string& reason) {
    if (!isClosing_) note(reason);
    isClosing_ = true;
}

void Session::end(const std::string& reason) {
    if (!isOver_) note(reason);
    isOver_ = true;
}

}  // namespace quarlo::phone
