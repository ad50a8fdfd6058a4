// Follows the car: movement, day and night, what may be shown, where it is, its language and its
// values. The dashboard asks for these while it is in front. Session thread.
#include <algorithm>

#include "Session.h"
#include "VehicleApp.h"

namespace quarlo::phone {
namespace {

constexpr UInt32 unwantedKey = 9;
constexpr std::size_t longestValue = 256;

/// What is said in the log about a sentence; nothing about one that is as it should be.
const char* problemOf(SentenceState state) {
    switch (state) {
        case SentenceState::WrongChecksum:
            return "a position with a wrong checksum";
        case SentenceState::OtherKind:
            return "a sentence that is neither GGA nor RMC";
        case SentenceState::Unreadable:
            return "a position that cannot be read";
        default:
            return nullptr;
    }
}

class Vehicle : public Feature {
  public:
    explicit Vehicle(Session& owner) : session(owner) {
        session.on<packetClientState>([this](const auto& packet) { onState(packet); });
        session.on<packetPositionInformation>([this](const auto& packet) { onPosition(packet); });
        session.on<packetSetBlockMode>([this](const auto& packet) { onBlockMode(packet); });
        session.on<packetClientSettings>([this](const auto& packet) { onSettings(packet); });
        session.on<packetVehicleData>([this](const auto& packet) { onValue(packet); });
    }

    void tick(TimePoint) override {
        if (session.screen().isBlocked() != wasBlocked) reportBlock();
        const bool isOpen = session.screen().front() == findApp("vehicle");
        if (isOpen != isFiltering) filter(isOpen);
    }

  private:
    void onState(const packetClientState& packet) {
        if (!session.isRunning()) return;
        if (packet.DataType == eCLIENTDATATYPE_Movement)
            session.phone().isMoving = packet.Value == eFLAG_TRUE;
        if (packet.DataType == eCLIENTDATATYPE_DayNightMode)
            session.phone().isNight = packet.Value == eFLAG_TRUE;
    }

    void onPosition(const packetPositionInformation& packet) {
        if (!session.isRunning()) return;
        const std::string text = textOf(packet.NMEA);
        const Sentence sentence = readSentence(text);
        Phone& phone = session.phone();
        phone.sentence = sentence.state;
        if (sentence.state == SentenceState::Place) phone.position = sentence.place;
        if (sentence.heading) phone.heading = sentence.heading;
        if (const char* problem = problemOf(sentence.state))
            session.note("ignored " + std::string(problem) + ": " + printable(text, longestValue));
    }

    void onSettings(const packetClientSettings& packet) {
        std::string code;
        for (const UInt8 letter : packet.arrLanguage) {
            if (letter == 0 || letter == ' ') break;
            if ((letter | 0x20) < 'a' || (letter | 0x20) > 'z')
                return session.note("ignored a language that is none");
            code += static_cast<char>(letter | 0x20);
        }
        if (code.size() >= 2) session.phone().language = code;
    }

    void onBlockMode(const packetSetBlockMode& packet) {
        if (!session.isRunning()) return;
        if (packet.ModeToSet < eBLOCKMODE_AllowAll || packet.ModeToSet > eBLOCKMODE_UseWhitelist)
            return session.note("ignored an unknown block mode");
        session.phone().block = packet.ModeToSet;
        reportBlock();
        session.send<packetBlockHealth>([](auto& health) { health.AppIsHealthy = eFLAG_TRUE; });
    }

    void reportBlock() {
        wasBlocked = session.screen().isBlocked();
        session.send<packetBlockStatus>(
            [&](auto& status) { status.BlockIsActive = wasBlocked ? eFLAG_TRUE : eFLAG_FALSE; });
    }

    void filter(bool isOn) {
        isFiltering = isOn;
        session.phone().vehicle.clear();
        session.send<packetSetVehicleDataFilter>([&](auto& filter) {
            if (!isOn) return;
            filter.pKeys = wire::Heap::make<UInt32>(vehicleKeys.size());
            if (filter.pKeys == nullptr) return;
            for (const VehicleKey& key : vehicleKeys) filter.pKeys[filter.Length++] = key.key;
        });
        if (!isOn || isBlacklistSent) return;
        isBlacklistSent = true;
        session.send<packetBlacklistUrgentVehicleData>(
            [](auto& blacklist) { blacklist.Key = unwantedKey; });
    }

    void onValue(const packetVehicleData& packet) {
        const auto isKey = [&](const VehicleKey& key) { return key.key == packet.Key; };
        const bool isWanted = std::any_of(vehicleKeys.begin(), vehicleKeys.end(), isKey);
        if (!isFiltering || !isWanted)
            return session.note("ignored a vehicle value that was not asked for");
        session.phone().vehicle[packet.Key] =
            printable(textOf(packet.JSONValue).substr(0, longestValue));
    }

    Session& session;
    bool wasBlocked = false;
    bool isFiltering = false;
    bool isBlacklistSent = false;
};

}  // namespace

std::unique_ptr<Feature> makeVehicle(Session& session) {
    return std::make_unique<Vehicle>(session);
}

}  // namespace quarlo::phone
