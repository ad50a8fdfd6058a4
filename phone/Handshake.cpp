// The phone's side of the handshake: acknowledges the protocol version and the head unit's
// description, describes the phone and completes the initialisation. Session thread.
#include <algorithm>

#include "Session.h"

namespace quarlo::phone {
namespace {

constexpr UInt16 protocolMajor = 1;
constexpr int longestSide = 8192;
constexpr long long mostPixels = 16LL * 1024 * 1024;
constexpr std::size_t receiveBufferSlack = std::size_t{64} * 1024;
constexpr const char* operatingSystem = "Linux";
constexpr const char* launcherUuid = "6f1c7a52-3d0e-4b8e-9a54-0c2b7de1f3a8";

class Handshake : public Feature {
  public:
    explicit Handshake(Session& owner) : session(owner) {
        session.on<packetClientProtocolVersion>([this](const auto& packet) { onVersion(packet); });
        session.on<packetClientInit>([this](const auto& packet) { onInit(packet); });
        session.on<packetClientInitDone>([this](const auto& packet) { onInitDone(packet); });
    }

  private:
    enum class Awaiting { Version, Init, InitDone, Nothing };

    bool isAwaited(Awaiting what, const char* name) {
        if (awaiting == what) return true;
        session.note(std::string("ignored ") + name + ": not expected now");
        return false;
    }

    void onVersion(const packetClientProtocolVersion& packet) {
        if (!isAwaited(Awaiting::Version, "ClientProtocolVersion")) return;
        if (!session.arriveAt(Stage::Protocol)) return;
        const bool accepted =
            packet.Version->Major == protocolMajor && !session.refuses(Refusal::Protocol);
        session.send<packetServerProtocolAcknowledge>(
            [&](auto& answer) { answer.IsAcknowledged = accepted ? eFLAG_TRUE : eFLAG_FALSE; });
        awaiting = accepted ? Awaiting::Init : Awaiting::Nothing;
    }

    void onInit(const packetClientInit& packet) {
        if (!isAwaited(Awaiting::Init, "ClientInit")) return;
        if (!session.arriveAt(Stage::Init)) return;
        const bool accepted = takeDescription(packet) && !session.refuses(Refusal::Init);
        session.send<packetServerInitAcknowledge>(
            [&](auto& answer) { answer.IsAcknowledged = accepted ? eFLAG_TRUE : eFLAG_FALSE; });
        awaiting = accepted ? Awaiting::InitDone : Awaiting::Nothing;
        if (!accepted || !session.arriveAt(Stage::ServerInit)) return;
        session.send<packetServerInit>([&](auto& answer) { describePhone(answer); });
    }

    bool takeDescription(const packetClientInit& packet) {
        const qrFrameProperties& frame = *packet.FrameProperties;
        const auto layout = pixelLayoutOf(frame.Format, frame.Endianess, frame.BytesPerPixel);
        if (!layout || !isDrawable(packet.ScreenWidth, packet.ScreenHeight)) {
            session.note("refused the head unit's frame size or pixel format");
            return false;
        }
        HeadUnit& unit = session.headUnit();
        unit.name = textOf(packet.Name);
        unit.width = packet.ScreenWidth;
        unit.height = packet.ScreenHeight;
        unit.layout = *layout;
        unit.supported = packet.SupportedCompressions;
        unit.wanted = frame.Compression;
        unit.largestPacket =
            std::size_t{packet.ScreenWidth} * packet.ScreenHeight * frame.BytesPerPixel +
            receiveBufferSlack;
        return true;
    }

    void describePhone(packetServerInit& answer) {
        const Options& options = session.options();
        setText(*answer.Name, options.appName);
        setText(*answer.ServerOSName, operatingSystem);
        setText(*answer.PhoneLauncherUUID, launcherUuid);
        answer.IsAllowedWhileMoving = eFLAG_TRUE;
        answer.Capabilities = options.capabilities.value_or(session.capabilities());
        const std::vector<Softkey>& keys = options.softkeys;
        if (keys.empty()) return;
        answer.SupportedSoftkeys->pSoftkeys = wire::Heap::make<Softkey>(keys.size());
        if (answer.SupportedSoftkeys->pSoftkeys == nullptr) return;
        answer.SupportedSoftkeys->Length = static_cast<UInt8>(keys.size());
        std::copy(keys.begin(), keys.end(), answer.SupportedSoftkeys->pSoftkeys);
    }

    void onInitDone(const packetClientInitDone& packet) {
        if (!isAwaited(Awaiting::InitDone, "ClientInitDone")) return;
        if (!session.arriveAt(Stage::Done)) return;
        const bool successful = packet.Successful == eFLAG_TRUE && !session.refuses(Refusal::Done);
        session.send<packetServerInitDone>(
            [&](auto& answer) { answer.Successful = successful ? eFLAG_TRUE : eFLAG_FALSE; });
        awaiting = Awaiting::Nothing;
        if (successful) session.run();
    }

    Session& session;
    Awaiting awaiting = Awaiting::Version;
};

}  // namespace

bool isDrawable(int width, int height) {
    return width >= 1 && height >= 1 && width <= longestSide && height <= longestSide &&
           static_cast<long long>(width) * height <= mostPixels;
}

std::unique_ptr<Feature> makeHandshake(Session& session) {
    return std::make_unique<Handshake>(session);
}

}  // namespace quarlo::phone
