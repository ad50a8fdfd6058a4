// The plan stands in the constructor. What asks for something is said at least 2.5 s before the
// end. One thread.
#include "Plan.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "Session.h"

namespace quarlo::phone {
namespace {

constexpr UInt16 block = 0x0A1;
const std::string urlPrefix = "quarlo://check/";
constexpr std::array<const char*, 3> appNames{"one", "two", "three"};

PacketBytes stateOf(unsigned type, UInt8 value) {
    return bytesOf<packetServerState>([=](auto& state) {
        state.DataType = static_cast<ServerDataType>(type);
        state.Value = value;
    });
}

PacketBytes withText(std::uint8_t encoding, const std::string& text) {
    constexpr std::size_t head = 3;
    PacketBytes bytes(head + text.size());
    bytes[0] = encoding;
    bytes[1] = static_cast<std::uint8_t>(text.size());
    std::copy(text.begin(), text.end(), bytes.begin() + head);
    return bytes;
}

/// False without memory for them.
template <class R>
bool makeMembers(R& record) {
    wire::Populate populate;
    return wire::Layout<R>::each(record, populate);
}

void describe(qrAppInformation& info, std::size_t index) {
    setText(*info.IdentifierURL, urlPrefix + appNames[index]);
    setText(*info.Name, appNames[index]);
    info.UniqueIconID = static_cast<UInt32>(index + 1);
    info.InstStatus = eAPPINSTALLATIONSTATUS_Executable;
    std::memcpy(info.arrLanguage, "eng", 3);
    setRun(info.Categories->NumberOfCategories, info.Categories->pCategories,
           std::array<UInt32, 1>{1});
}

}  // namespace

UInt32 iconOf(const std::string& url) {
    for (std::size_t i = 0; i < appNames.size(); ++i) {
        if (url == urlPrefix + appNames[i]) return static_cast<UInt32>(i + 1);
    }
    return 0;
}

PacketBytes pingOf(UInt32 counter) {
    return bytesOf<packetPing>([=](auto& ping) { ping.PacketCounter = counter; });
}

Plan::Plan(Pipe& connection, Agenda& times, TimePoint begin)
    : pipe(connection), agenda(times), start(begin) {
    beginPings();
    at(200, [this] { sayStates(); });
    at(200, [this] { sayApps(); });
    at(400, [this] { sayFilter({1, 2, 3}); });
    for (const int time : {600, 2400, 4600, 8000}) at(time, [this] { askAudioType(); });
    at(800, [this] { sayAudio(701, eAUDIOCONTROL_Request, eAUDIOTYPE_Main, 0); });
    at(1200, [this] { sayVoice(eVOICEREQUEST_StartMicAndSpeakers); });
    at(1400, [this] { sayCustomOfEachKind(); });
    at(1600, [this] { storeAndGet(); });
    at(1800, [this] { storeAndGetAgain(); });
    at(2000, [this] { sayVoice(eVOICEREQUEST_EndUserEvent); });
    at(2200, [this] { sayToBeRefused(); });
    at(2600, [this] { sayFilter({2, 4}); });
    at(3000, [this] { sayAudio(702, eAUDIOCONTROL_Request, eAUDIOTYPE_Announcement, 2); });
    at(3200, [this] { sayAudio(701, eAUDIOCONTROL_Release, eAUDIOTYPE_Main, 0); });
    at(3600, [this] { callAndNavigate(); });
    at(4000, [this] {
        pipe.say(bytesOf<packetBlacklistUrgentVehicleData>([](auto& packet) { packet.Key = 4; }));
    });
    at(4400, [this] { sayToBeIgnored(); });
    at(5000, [this] { sayInPieces(); });
    at(6600, [this] { sayFilter({2}); });
}

void Plan::at(int milliseconds, Agenda::Task task) {
    agenda.add(start + std::chrono::milliseconds(milliseconds), std::move(task));
}

/// None while the pings of sayInPieces are under way.
void Plan::beginPings() {
    for (int time = 200; time < duration.count(); time += 500) {
        if (time < 4900 || time > 5600) at(time, [this] { ping(); });
    }
}

void Plan::ping() {
    ++counter;
    pipe.say(pingOf(counter));
}

void Plan::sayStates() {
    pipe.say(stateOf(eSERVERDATATYPE_PTTAvailable, 1));
    pipe.say(stateOf(eSERVERDATATYPE_LauncherAppState, 1));
    pipe.say(bytesOf<packetBlockStatus>([](auto& status) { status.BlockIsActive = eFLAG_FALSE; }));
}

void Plan::sayApps() {
    pipe.say(bytesOf<packetServerAppInfo>([](auto& packet) {
        qrAppInformationList& list = *packet.Info;
        list.paInfo = wire::Heap::make<qrAppInformation*>(appNames.size());
        if (list.paInfo == nullptr) return;
        for (std::size_t i = 0; i < appNames.size(); ++i) {
            auto* info = wire::Heap::make<qrAppInformation>();
            list.paInfo[list.NumberOfApps++] = info;
            if (info != nullptr && makeMembers(*info)) describe(*info, i);
        }
    }));
}

void Plan::sayAudio(UInt32 id, AudioControl command, AudioType type, UInt16 seconds) {
    pipe.say(bytesOf<packetServerAudio>([=](auto& audio) {
        audio.RequestID = id;
        audio.Command = command;
        audio.Type = type;
        audio.MaximumDuration = seconds;
    }));
}

void Plan::sayCustom(CustomDataEvent event, UInt16 type, const PacketBytes& content) {
    pipe.say(bytesOf<packetServerCustomData>([&](auto& packet) {
        packet.Event = event;
        packet.Type = type;
        setRun(packet.Length, packet.pData, content);
    }));
}

void Plan::sayRaw(UInt16 operation, UInt16 number, const std::string& content) {
    sayCustom(eCUSTOMDATAEVENT_Raw, static_cast<UInt16>(operation | number),
              PacketBytes(content.begin(), content.end()));
}

void Plan::sayFilter(const std::vector<UInt32>& keys) {
    pipe.say(bytesOf<packetSetVehicleDataFilter>(
        [&](auto& filter) { setRun(filter.Length, filter.pKeys, keys); }));
}

void Plan::askAudioType() {
    pipe.say(bytesOf<packetRequestAudioType>([](auto&) {}));
}

void Plan::sayVoice(VoiceRequest request) {
    pipe.say(bytesOf<packetServerVoiceSessionRequest>([=](auto& voice) { voice.Type = request; }));
}

void Plan::sayCustomOfEachKind() {
    sayCustom(eCUSTOMDATAEVENT_String, eSERVERCUSTOMDATASTRINGTYPE_BTName,
              withText(eSTRINGENCODING_UTF8, "quarlo check"));
    sayCustom(eCUSTOMDATAEVENT_Int, eSERVERCUSTOMDATAINTTYPE_BatteryLevel, {70, 0, 0, 0});
    sayCustom(eCUSTOMDATAEVENT_Key, eSERVERCUSTOMDATAKEYTYPE_Click,
              {eSERVERCUSTOMDATAKEYCODE_VolumeUp});
    sayCustom(eCUSTOMDATAEVENT_Can, eSERVERCUSTOMDATACANTYPE_Generic, {0x30, 2, 0, 0, 2, 1, 2});
}

void Plan::storeAndGet() {
    sayRaw(eSERVERCUSTOMDATARAWTYPE_StoreInstance, block, "one");
    sayRaw(eSERVERCUSTOMDATARAWTYPE_StoreCore, block, "core");
    sayRaw(eSERVERCUSTOMDATARAWTYPE_GetInstance, block);
    ++blocksAwaited;
}

void Plan::storeAndGetAgain() {
    constexpr UInt16 never = 0x0AF;
    sayRaw(eSERVERCUSTOMDATARAWTYPE_StoreInstance, block, "second");
    sayRaw(eSERVERCUSTOMDATARAWTYPE_GetInstance, block);
    ++blocksAwaited;
    hasStoredAgain = true;
    sayRaw(eSERVERCUSTOMDATARAWTYPE_GetInstance, never);
    at(3800, [this] { getCore(); });
}

void Plan::hear(const Decoded& packet) {
    const auto* data = packet.as<packetClientCustomData>();
    if (data == nullptr || data->Event != eCUSTOMDATAEVENT_Raw || data->Type != block) return;
    --blocksAwaited;
    if (hasStoredAgain && blocksAwaited <= 0) getCore();
}

/// Not before the Get of the instance is answered: both answers name the same block.
void Plan::getCore() {
    if (hasAskedCore) return;
    hasAskedCore = true;
    sayRaw(eSERVERCUSTOMDATARAWTYPE_GetCore, block);
}

void Plan::sayToBeRefused() {
    constexpr UInt16 unknownOperation = 0xB000;
    sayRaw(eSERVERCUSTOMDATARAWTYPE_GetInstance, 0x0A3, "x");
    sayRaw(eSERVERCUSTOMDATARAWTYPE_NoOperation, 0x0A4);
    sayRaw(unknownOperation, 0x0A5);
}

void Plan::callAndNavigate() {
    pipe.say(bytesOf<packetInitiatePhoneCall>([](auto& call) {
        setText(*call.DisplayName, "Ada Lindqvist");
        setText(*call.Number, "+4615550101");
    }));
    pipe.say(bytesOf<packetNavigateTo>([](auto& place) {
        if (!makeMembers(*place.Position) || !makeMembers(*place.Placemark)) return;
        setText(*place.DisplayName, "Home");
        *place.Position->Latitude = {48137154, -6};
        *place.Position->Longitude = {11576124, -6};
        setText(*place.Placemark->Country, "Germany");
        setText(*place.Placemark->City, "München");
        setText(*place.Placemark->Streetname, "Seestraße");
        setText(*place.Placemark->Housenumber, "7");
        place.Type = eNAVIGATETOTYPE_Both;
    }));
}

/// Nothing of this may do anything to the session.
void Plan::sayToBeIgnored() {
    constexpr unsigned unknown = 9;
    pipe.say(stateOf(unknown, 1));
    pipe.say(bytesOf<packetBlockHealth>([](auto& health) { health.AppIsHealthy = eFLAG_FALSE; }));
    sayCustom(static_cast<CustomDataEvent>(unknown), 1, {1});
    sayCustom(eCUSTOMDATAEVENT_Int, eSERVERCUSTOMDATAINTTYPE_BatteryLevel, {1, 2, 3});
    sayCustom(eCUSTOMDATAEVENT_String, 99, withText(eSTRINGENCODING_UTF8, "x"));
    pipe.say(bytesOf<packetServerProtocolAcknowledge>(
        [](auto& answer) { answer.IsAcknowledged = eFLAG_FALSE; }));
    pipe.say(bytesOf<packetServerInitDone>([](auto& done) { done.Successful = eFLAG_FALSE; }));
    pipe.say(bytesOf<packetServerAppStarted>([](auto& started) {
        setText(*started.IdentifierURL, "quarlo://nobody/started");
        started.Status = eAPPSTARTSTATUS_Success;
    }));
    pipe.say(bytesOf<packetServerAppIcon>([](auto& icon) {
        setText(*icon.IdentifierURL, "quarlo://nobody/asked");
        icon.IconCompression = eFRAMECOMPRESSION_Uncompressed;
        setRun(icon.DataLength, icon.pData, PacketBytes(std::size_t{4} * 4 * 4, 0x80));
    }));
    pipe.say(bytesOf<packetFramebufferUpdate>([](auto&) {}));
}

void Plan::sayInPieces() {
    constexpr std::chrono::milliseconds gap{10};
    constexpr std::size_t sizeAt = 5;
    pipe.sayInBytes(pingOf(counter + 1), gap);
    pipe.sayTogether({pingOf(counter + 2), pingOf(counter + 3), pingOf(counter + 4)},
                     Judge::Pace::InPieces);
    counter += 5;
    PacketBytes longer = pingOf(counter);
    longer[sizeAt] += 2;
    longer.insert(longer.end(), 2, 0xA5);
    pipe.say(longer, Judge::Pace::InPieces);
}

}  // namespace quarlo::phone
