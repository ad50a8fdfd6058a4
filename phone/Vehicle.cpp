// Follows the car: movement, day and night, what may be shown, where it is, its language and its
// values. The dashboard asks for these while it is in front. Session thread.
#include <charconv>
#include <cmath>

#include "PacketLog.h"
#include "Session.h"
#include "VehicleApp.h"

namespace quarlo::phone {
namespace {

constexpr UInt32 unwantedKey = 9;
constexpr std::size_t longestValue = 256;

std::vector<std::string> fieldsOf(const std::string& sentence) {
    std::vector<std::string> fields(1);
    for (const char c : sentence.substr(0, sentence.find('*'))) {
        if (c == ',') {
            fields.emplace_back();
        } else {
            fields.back() += c;
        }
    }
    return fields;
}

/// Degrees and minutes (4807.038) with a hemisphere as degrees; nothing if it is none.
std::optional<double> degreesOf(const std::string& text, const std::string& side, double most) {
    double value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    const bool isNumber = result.ec == std::errc() && result.ptr == end && !text.empty();
    if (!isNumber || value < 0 || value > 18000 || side.size() != 1) return std::nullopt;
    const double whole = std::floor(value / 100);
    const double degrees = whole + (value - whole * 100) / 60;
    if (value - whole * 100 >= 60 || degrees > most) return std::nullopt;
    if (side == "N" || side == "E") return degrees;
    return side == "S" || side == "W" ? std::optional(-degrees) : std::nullopt;
}

/// Where a GGA or RMC sentence says the car is.
std::optional<Coordinates> positionOf(const std::string& sentence) {
    const auto fields = fieldsOf(sentence);
    if (fields[0].size() != 6 || fields[0][0] != '$') return std::nullopt;
    const std::string kind = fields[0].substr(3);
    const std::size_t first = kind == "GGA" ? 2 : kind == "RMC" ? 3 : 0;
    if (first == 0 || fields.size() < first + 4) return std::nullopt;
    const auto latitude = degreesOf(fields[first], fields[first + 1], 90);
    const auto longitude = degreesOf(fields[first + 2], fields[first + 3], 180);
    if (!latitude || !longitude) return std::nullopt;
    return Coordinates{*latitude, *longitude};
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
        const std::string sentence = textOf(packet.NMEA);
        session.phone().sentence = printable(sentence.substr(0, longestValue));
        if (const auto position = positionOf(sentence)) session.phone().position = position;
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
