// The five channels of data of one's own in both directions, and bytes parked at the head unit.
// Session thread.
#include <algorithm>
#include <cstring>

#include "PacketLog.h"
#include "QUARLO.Connector.IVI-API_C.h"
#include "ServiceData.h"
#include "Session.h"

namespace quarlo::phone {
namespace {

constexpr UInt16 parkingPlace = 0x0042;
constexpr std::size_t shownBytes = 8;

std::string hexOf(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), shownBytes))) {
        char digits[4];
        std::snprintf(digits, sizeof digits, " %02X", byte);
        text += digits;
    }
    return text + (bytes.size() > shownBytes ? " …" : "");
}

class CustomData : public Feature {
  public:
    explicit CustomData(Session& owner) : session(owner) {
        session.onWish(Wish::Custom, [this](int which) { send(which); });
        session.on<packetClientCustomData>([this](const auto& packet) { onData(packet); });
    }

  private:
    using Bytes = std::vector<std::uint8_t>;

    void say(const std::string& text) { session.phone().status["link"] = text; }

    void send(int which) {
        const Shipment& shipment = shipments.at(static_cast<std::size_t>(which));
        const bool isRaw = shipment.event == eCUSTOMDATAEVENT_Raw;
        const auto type = static_cast<UInt16>(shipment.type | (isRaw ? parkingPlace : 0));
        send(shipment.event, type, contentOf(shipment));
    }

    Bytes contentOf(const Shipment& shipment) const {
        switch (shipment.event) {
            case eCUSTOMDATAEVENT_String:
                return shipment.type == eSERVERCUSTOMDATASTRINGTYPE_BTName
                           ? textBytes(session.options().appName.substr(0, 255))
                           : textBytes("net.quarlo.phone");
            case eCUSTOMDATAEVENT_Int:
                return {70, 0, 0, 0};
            case eCUSTOMDATAEVENT_Key:
                return {eSERVERCUSTOMDATAKEYCODE_VolumeUp};
            case eCUSTOMDATAEVENT_Can:
                return {0x30, 2, 0, 0, 3, 0xFF, 0x80, 0x20};  // bus identifier, length, colour
            default:
                return isStored(shipment.type) ? Bytes{'q', 'u', 'a', 'r', 'l', 'o'} : Bytes{};
        }
    }

    static bool isStored(UInt16 operation) {
        return operation == eSERVERCUSTOMDATARAWTYPE_StoreInstance ||
               operation == eSERVERCUSTOMDATARAWTYPE_StoreCore ||
               operation == eSERVERCUSTOMDATARAWTYPE_StorePersistent ||
               operation == eSERVERCUSTOMDATARAWTYPE_StoreHost;
    }

    static Bytes textBytes(const std::string& text) {
        Bytes bytes(3 + text.size());
        bytes[0] = eSTRINGENCODING_UTF8;
        bytes[1] = static_cast<std::uint8_t>(text.size());
        std::copy(text.begin(), text.end(), bytes.begin() + 3);
        return bytes;
    }

    void send(CustomDataEvent event, UInt16 type, const Bytes& bytes) {
        session.send<packetServerCustomData>([&](auto& packet) {
            packet.Event = event;
            packet.Type = type;
            if (bytes.empty()) return;
            packet.pData = wire::Heap::make<UInt8>(bytes.size());
            if (packet.pData == nullptr) return;
            std::memcpy(packet.pData, bytes.data(), bytes.size());
            packet.Length = static_cast<UInt16>(bytes.size());
        });
        say("Sent " + std::to_string(bytes.size()) + " bytes");
    }

    void onData(const packetClientCustomData& packet) {
        if (!session.isRunning()) return;
        const std::size_t size = packet.pData == nullptr ? 0 : packet.Length;
        const std::span<const std::uint8_t> bytes(packet.pData, size);
        const auto text = textFor(packet.Event, packet.Type, bytes);
        if (!text) return session.note("ignored malformed custom data");
        say(*text);
    }

    /// What the head unit sent, in words; nothing if it is not well-formed.
    std::optional<std::string> textFor(CustomDataEvent event, UInt16 type,
                                       std::span<const std::uint8_t> bytes) {
        const std::size_t size = bytes.size();
        switch (event) {
            case eCUSTOMDATAEVENT_String:
                if (size < 3 || std::size_t{wire::load<UInt16>(&bytes[1])} != size - 3) break;
                return "Text: " + printable({reinterpret_cast<const char*>(bytes.data()) + 3,
                                             std::min<std::size_t>(size - 3, 200)});
            case eCUSTOMDATAEVENT_Int:
                if (size != 1 && size != 2 && size != 4 && size != 8) break;
                return "Number " + std::to_string(type) + ":" + hexOf(bytes);
            case eCUSTOMDATAEVENT_Key:
                return size == 5 ? onKey(type, bytes[0]) : std::nullopt;
            case eCUSTOMDATAEVENT_Can:
                if (size < 5 || size != std::size_t{5} + bytes[4]) break;
                return "Bus " + std::to_string(wire::load<UInt32>(bytes.data())) + ":" +
                       hexOf(bytes.subspan(5));
            case eCUSTOMDATAEVENT_Raw:
                return "Fetched " + std::to_string(type) + ":" + hexOf(bytes);
            default:
                break;
        }
        return std::nullopt;
    }

    /// Keys beside the screen: those that mean something to the phone are obeyed when released.
    std::optional<std::string> onKey(UInt16 type, std::uint8_t code) {
        if (type < eCLIENTCUSTOMDATAKEYTYPE_Press || type > eCLIENTCUSTOMDATAKEYTYPE_Abort)
            return std::nullopt;
        const bool isDone =
            type == eCLIENTCUSTOMDATAKEYTYPE_Release || type == eCLIENTCUSTOMDATAKEYTYPE_Click;
        if (isDone && code == eCLIENTCUSTOMDATAKEYCODE_Back)
            session.screen().release(eSOFTKEY_Back);
        if (isDone && code == eCLIENTCUSTOMDATAKEYCODE_PushToTalk)
            session.phone().ask(Wish::Voice, eVOICEREQUEST_StartMicAndSpeakers);
        return std::string("Key: ") +
               _quarlo_getClientCustomDataKeyCodeName(static_cast<ClientCustomDataKeyCode>(code)) +
               " " +
               _quarlo_getClientCustomDataKeyTypeName(static_cast<ClientCustomDataKeyType>(type));
    }

    Session& session;
};

}  // namespace

std::unique_ptr<Feature> makeCustomData(Session& session) {
    return std::make_unique<CustomData>(session);
}

}  // namespace quarlo::phone
