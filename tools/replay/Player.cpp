#include "Player.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

#include "QUARLO-WirePackets.h"
#include "common/Names.h"

// A timer of the library would fire by the clock, and not by what was captured: none ever does.
extern "C" {
void __real_quarlo_AddSeconds(quarloTime_t* time, unsigned int seconds);
void __wrap_quarlo_AddSeconds(quarloTime_t* time, unsigned int seconds);
void __wrap_quarlo_AddSeconds(quarloTime_t* time, unsigned int /*seconds*/) {
    constexpr unsigned years = 1000000000;
    __real_quarlo_AddSeconds(time, years);
}
}

namespace quarlo::replay {
namespace {

template <class P>
using Owned = std::unique_ptr<P, void (*)(P*)>;

// Nothing for another packet, or one that cannot be read.
template <class P>
Owned<P> decode(const std::vector<std::uint8_t>& bytes) {
    if (bytes[0] != wire::Layout<P>::event) return {nullptr, wire::deletePacket<P>};
    std::vector<UInt8> copy(bytes.begin(), bytes.end());
    wire::Bounded input{copy.data(), copy.data() + copy.size()};
    wire::Heap heap;
    return {wire::decodePacket<P>(input, heap), wire::deletePacket<P>};
}

std::string textOf(const qrString* text) {
    if (text == nullptr || text->pContent == nullptr) return {};
    return {text->pContent, text->pContent + text->Length};
}

char* asArgument(const std::string& text) {
    return const_cast<char*>(text.c_str());
}

std::string nameOfType(unsigned type) {
    return wireName(static_cast<EventType>(type));
}

constexpr std::size_t rawHeader = QUARLO_PACKET_HEADER + 5;  // event, type, length

bool isRaw(const UInt8* bytes, std::size_t size, unsigned type) {
    return size >= rawHeader && bytes[0] == type &&
           bytes[QUARLO_PACKET_HEADER] == eCUSTOMDATAEVENT_Raw;
}

unsigned rawTypeOf(const UInt8* bytes) {
    const unsigned low = bytes[QUARLO_PACKET_HEADER + 1];
    const unsigned high = bytes[QUARLO_PACKET_HEADER + 2];
    return high << 8 | low;
}

}  // namespace

Player::Player(const Connection& captured, unsigned index, const Settings& wanted)
    : connection(captured), number(index), settings(wanted) {
    readPackets();
}

void Player::readPackets() {
    quarloFraming framings[2] = {QUARLO_FRAMING_BEGIN, QUARLO_FRAMING_BEGIN};
    std::vector<std::uint8_t> packets[2];
    for (std::size_t i = 0; i < connection.pieces.size(); ++i) {
        const Piece& piece = connection.pieces[i];
        const int side = piece.isFromPhone ? 0 : 1;
        if (side == 0) phoneBytes += piece.bytes.size();
        if (side == 0 && firstType < 0) {
            firstType = piece.bytes[0];
            firstFrame = piece.frame;
        }
        for (std::size_t done = 0; done < piece.bytes.size();) {
            const std::uint8_t* bytes = piece.bytes.data() + done;
            const std::size_t taken =
                quarloFraming_Take(&framings[side], bytes, piece.bytes.size() - done);
            packets[side].insert(packets[side].end(), bytes, bytes + taken);
            done += taken;
            if (framings[side].isWhole == 0) continue;
            if (side == 0) ++phonePackets;
            expectAnswer({i, packets[side]});
            if (side == 1) toPhone.push_back({i, packets[side]});
            packets[side].clear();
        }
    }
    if (!packets[0].empty()) missing = quarloFraming_Missing(&framings[0]);
}

// Blocks that the phone has asked for come back by themselves; others the host may have sent.
void Player::expectAnswer(const Packet& packet) {
    const UInt8* bytes = packet.bytes.data();
    const std::size_t size = packet.bytes.size();
    if (isRaw(bytes, size, eEVENTTYPE_ServerCustomData)) {
        const unsigned operation = rawTypeOf(bytes) & 0xF000U;
        const bool isAsked = operation == eSERVERCUSTOMDATARAWTYPE_GetInstance ||
                             operation == eSERVERCUSTOMDATARAWTYPE_GetCore;
        if (isAsked) ++askedBlocks[rawTypeOf(bytes) & 0x0FFFU];
    } else if (connection.pieces[packet.piece].isFromPhone) {
        return;
    } else if (isRaw(bytes, size, eEVENTTYPE_ClientCustomData)) {
        unsigned& asked = askedBlocks[rawTypeOf(bytes)];
        if (asked > 0) expected.push_back(packet.bytes);
        if (asked > 0) --asked;
    } else if (isAnswer(bytes, size)) {
        expected.push_back(packet.bytes);
    }
}

bool Player::isAnswer(const UInt8* bytes, std::size_t size) const {
    switch (bytes[0]) {
        case eEVENTTYPE_ClientProtocolVersion:
        case eEVENTTYPE_ClientInit:
        case eEVENTTYPE_ClientInitDone:
        case eEVENTTYPE_PingAcknowledge:
        case eEVENTTYPE_AudioTypeResponse:
            return true;
        default:
            return isRaw(bytes, size, eEVENTTYPE_ClientCustomData);
    }
}

template <class P, class Use>
void Player::useFirst(Use use) const {
    for (const Packet& each : toPhone) {
        const Owned<P> packet = decode<P>(each.bytes);
        if (packet != nullptr) return use(*packet);
    }
}

void Player::configure() {
    const auto length = [](int value) { return static_cast<UInt32>(value); };
    quarlo_SetFrameSize(instance, length(settings.size.width), length(settings.size.height),
                        length(settings.physicalSize.width), length(settings.physicalSize.height));
    quarlo_SetPixelFormat(instance, settings.layout.format, bytesPerPixel(settings.layout.format),
                          settings.layout.order);
    quarlo_OverrideCompressionFormat(instance, settings.compression);
    quarlo_SetClientCapabilities(instance, eCLIENTCAPABILITIES_All, eFLAG_TRUE);
    if (!settings.language.empty()) {
        quarlo_SetISO639LanguageCode(instance,
                                     reinterpret_cast<UInt8*>(asArgument(settings.language)));
    }
    quarlo_SetFrameOutputType(instance, settings.rawOutput ? 1 : 0);
    useFirst<packetClientInit>([this](const packetClientInit& init) {
        const qrFrameProperties& frames = *init.FrameProperties;
        quarlo_SetFrameSize(instance, init.ScreenWidth, init.ScreenHeight, init.PhysicalScreenWidth,
                            init.PhysicalScreenHeight);
        quarlo_SetPixelFormat(instance, frames.Format, frames.BytesPerPixel, frames.Endianess);
        quarlo_OverrideCompressionFormat(instance, frames.Compression);
        quarlo_SetClientCapabilities(instance, eCLIENTCAPABILITIES_All, eFLAG_FALSE);
        quarlo_SetClientCapabilities(instance, init.Capabilities, eFLAG_TRUE);
        if (!settings.rawOutput &&
            quarlo_SetSupportedCompressions(instance, init.SupportedCompressions) != eRETURN_OKAY) {
            std::fprintf(stderr, "quarlo-replay: no plug-in decodes all of %s\n",
                         nameOfCompressions(init.SupportedCompressions).c_str());
        }
        quarlo_SetSupportedCustomData(instance, init.SupportedCustomData->Length,
                                      init.SupportedCustomData->pSupported);
        quarlo_SetCustomKeysSupported(instance, init.NonTouchConfig->NumberOfKeysSupported,
                                      init.NonTouchConfig->pSupportedKeyCodes);
    });
    useFirst<packetClientSettings>([this](packetClientSettings& packet) {
        quarlo_SetISO639LanguageCode(instance, packet.arrLanguage);
    });
    useFirst<packetClientVoiceSupportInfo>([this](const packetClientVoiceSupportInfo& packet) {
        quarlo_VoiceSupportInfo(instance, packet.Value, packet.Constraint);
    });
    useFirst<packetClientRequestAppIcon>([this](const packetClientRequestAppIcon& packet) {
        quarlo_SetPixelFormatEx(instance, eGRAPHICTYPE_Icon, packet.IconProperties->Format,
                                packet.IconProperties->BytesPerPixel,
                                packet.IconProperties->Endianess);
    });
}

Status Player::play(std::string& problem) {
    const std::string named = "connection " + std::to_string(number);
    if (firstType < 0) {
        problem = named + " has nothing of the phone's to play";
        return unplayable;
    }
    if (firstType != eEVENTTYPE_ServerProtocolAcknowledge) {
        problem = named + " begins inside a session: frame " + std::to_string(firstFrame) +
                  " has a packet " + nameOfType(static_cast<unsigned>(firstType));
        return unplayable;
    }
    quarlo_Init();
    std::string name = settings.name;
    useFirst<packetClientInit>([&](const packetClientInit& init) { name = textOf(init.Name); });
    instance = quarlo_CreateInstance(this, name.c_str());
    quarlo_SetTraceOutput(instance, [](void*, eTraceClass, char*) {});
    quarlo_SetInitialisationTimeout(instance, 0);
    quarlo_SetReceiverLink(instance, receive);
    quarlo_SetSenderLink(instance, send);
    quarlo_SetEndReceiverRequestCallback(instance, endRequested);
    quarlo_SetOnMainThreadEndCallback(instance, threadEnded);
    setCallbacks(instance, *this);
    configure();
    Int32 error = 0;
    const bool isStarted = quarlo_StartMainThreadEx(instance, &error) == 1;
    if (isStarted) {
        std::unique_lock<std::mutex> guard(lock);
        changed.wait(guard, [this] { return isDone; });
    }
    quarlo_DeleteInstance(instance);
    quarlo_Shutdown();
    if (isStarted) return conclude(problem);
    problem = named + ": the library does not start";
    return unplayable;
}

// ---- on the receiver thread

size_t Player::receive(void* /*context*/, UInt8* buffer, size_t size, void* player) {
    return static_cast<Player*>(player)->next(buffer, size);
}

void Player::send(void* /*context*/, UInt8* buffer, size_t size, void* player) {
    static_cast<Player*>(player)->sent(buffer, size);
}

void Player::threadEnded(void* player) {
    auto& self = *static_cast<Player*>(static_cast<Listener*>(player));
    const std::lock_guard<std::mutex> guard(self.lock);
    self.isDone = true;
    self.changed.notify_all();
}

void Player::endRequested(void* player) {
    auto& self = *static_cast<Player*>(static_cast<Listener*>(player));
    const std::lock_guard<std::mutex> guard(self.lock);
    self.isEnding = true;
    self.changed.notify_all();
}

// A library that has no room left waits for the rest of a packet for ever.
size_t Player::next(UInt8* buffer, size_t size) {
    if (size == 0) isStopped = true;
    if (isStopped) return finish();
    if (present == nullptr || offset == present->bytes.size()) {
        while (at < connection.pieces.size() && !connection.pieces[at].isFromPhone) ++at;
        for (; nextCall < toPhone.size() && toPhone[nextCall].piece < at; ++nextCall) {
            repeat(toPhone[nextCall].bytes);
        }
        if (at == connection.pieces.size()) return finish();
        pause(connection.pieces[at]);
        present = &connection.pieces[at++];
        offset = 0;
    }
    const std::size_t count = std::min(size, present->bytes.size() - offset);
    std::copy_n(present->bytes.data() + offset, count, buffer);
    offset += count;
    return count;
}

void Player::repeat(const Answer& packet) {
    if (const auto format = decode<packetSetPixelFormat>(packet)) {
        quarlo_SetPixelFormat(instance, format->Format, format->BytesPerPixel, format->Endianess);
    } else if (const auto size = decode<packetSetFrameSize>(packet)) {
        quarlo_SetFrameSize(instance, size->ScreenWidth, size->ScreenHeight,
                            size->PhysicalScreenWidth, size->PhysicalScreenHeight);
    } else if (const auto compression = decode<packetOverrideCompression>(packet)) {
        quarlo_OverrideCompressionFormat(instance, compression->Compression);
    } else if (const auto icon = decode<packetClientRequestAppIcon>(packet)) {
        quarlo_RequestAppIcon(instance, textOf(icon->IdentifierURL).c_str(), icon->Width,
                              icon->Height);
    } else if (const auto audio = decode<packetClientAudio>(packet)) {
        quarlo_SetAudioStatus(instance, audio->RequestID, audio->Status, audio->ResultCode);
    } else if (const auto voice = decode<packetClientVoiceSessionStatus>(packet)) {
        quarlo_VoiceSessionStatus(instance, voice->Value, voice->Constraint);
    }
}

void Player::pause(const Piece& piece) const {
    if (settings.pace == 0 || present == nullptr) return;
    const double seconds = static_cast<double>(piece.time - present->time) / 1e9 / settings.pace;
    constexpr double longest = 10;
    std::this_thread::sleep_for(std::chrono::duration<double>(std::clamp(seconds, 0.0, longest)));
}

// The end of a capture is no end of the connection, unless the phone has ended it.
size_t Player::finish() {
    constexpr auto ended = static_cast<size_t>(-1);
    const bool isPhones = connection.isEndedByPhone && connection.hole == 0 && !isStopped;
    if (isPhones) {
        hasEnded = true;
        return ended;
    }
    isMuted = true;
    std::unique_lock<std::mutex> guard(lock);
    isDone = true;
    changed.notify_all();
    changed.wait(guard, [this] { return isEnding; });
    return ended;
}

void Player::sent(const UInt8* bytes, std::size_t size) {
    if (isMuted) return;
    if (isAnswer(bytes, size)) given.emplace_back(bytes, bytes + size);
    if (!settings.isSentShown) return;
    Line line;
    line.add("type", jsonOfName(nameOfType(bytes[0])));
    line.add("crc32", crcOf(bytes, size));
    print("Sent", line);
}

void Player::heard(const std::string& event, const Line& arguments) {
    if (isMuted) return;
    print(event, arguments);
    const std::string state = event == "Protocol" ? arguments.whole() : "";
    if (state.find("STOP") != std::string::npos) isStopped = !hasEnded;
    // A catalogue that came before RUN is there without a callback.
    const bool mayHaveApps = event == "AppListChanged" || state.find("RUN") != std::string::npos;
    const std::string apps = mayHaveApps ? appsOf(instance) : "";
    if (apps.empty()) return;
    Line line;
    line.add("apps", apps);
    print("AppList", line);
}

// ---- the result

void Player::print(const std::string& event, const Line& arguments) const {
    if (settings.isCompared && event != "End" && event != "Difference") return;
    char time[32];
    std::snprintf(time, sizeof time, "%.6f",
                  present != nullptr ? static_cast<double>(present->time / 1000) / 1e6 : 0);
    Line line;
    line.add("connection", std::to_string(number));
    line.add("packet", std::to_string(present != nullptr ? present->frame : 0));
    line.add("time", time);
    line.add("event", jsonOfName(event));
    std::string text = line.whole();
    const std::string more = arguments.whole();
    if (more != "{}") text = text.substr(0, text.size() - 1) + ", " + more.substr(1);
    std::puts(text.c_str());
}

// Answers to the last packets may have come too late for the capture.
bool Player::findDifference() {
    const auto [wanted, got] =
        std::mismatch(expected.begin(), expected.end(), given.begin(), given.end());
    if (wanted == expected.end()) return false;
    const auto describe = [](auto each, auto end) {
        if (each == end) return std::string("null");
        Line line;
        line.add("type", jsonOfName(nameOfType((*each)[0])));
        line.add("crc32", crcOf(each->data(), each->size()));
        return line.whole();
    };
    Line line;
    line.add("answer", std::to_string(wanted - expected.begin()));
    line.add("captured", describe(wanted, expected.end()));
    line.add("given", describe(got, given.end()));
    print("Difference", line);
    return true;
}

Status Player::conclude(std::string& problem) {
    Line line;
    Status status = played;
    if (isStopped) {
        line.add("reason", jsonOfName("library stopped"));
    } else if (connection.hole > 0) {
        line.add("reason", jsonOfName("hole"));
        line.add("hole", std::to_string(connection.hole));
        problem = "the capture lacks " + std::to_string(connection.hole) + " bytes";
    } else if (missing > 0) {
        line.add("reason", jsonOfName("capture ends inside a packet"));
        line.add("missing", std::to_string(missing));
        problem = "the capture ends inside a packet, of which " + std::to_string(missing) +
                  " bytes are missing";
    } else {
        line.add("reason", jsonOfName("capture ended"));
    }
    if (!problem.empty()) {
        problem = "connection " + std::to_string(number) + ": " + problem;
        status = incomplete;
    }
    line.add("packets", std::to_string(phonePackets));
    line.add("bytes", std::to_string(phoneBytes));
    if (settings.isCompared && findDifference()) {
        problem = "connection " + std::to_string(number) + ": the library answers otherwise";
        status = incomplete;
    }
    print("End", line);
    return status;
}

}  // namespace quarlo::replay
