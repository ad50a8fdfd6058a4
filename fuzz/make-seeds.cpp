/*
 * Writes the seeds: `make-seeds FOLDER` makes FOLDER/<target>/seed-*. They come from the samples of
 * the tests, so a new packet brings its own.
 */
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "ApiSteps.h"
#include "QUARLO-Core-Types.h"
#include "Wire.h"

namespace quarlo::fuzz {
namespace {

namespace fs = std::filesystem;
using namespace test;

fs::path folder;

void keep(const char* target, const std::string& name, const Bytes& bytes) {
    fs::create_directories(folder / target);
    std::ofstream file(folder / target / ("seed-" + name), std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    if (!file.good()) std::exit(1);
}

bool isFromPhone(unsigned type) {
    switch (type) {
#define QUARLO_TAKEN_FromPhone(Event) case Event:
#define QUARLO_TAKEN_ToPhone(Event)
#define QUARLO_PACKET(Event, Direction, ...) QUARLO_TAKEN_##Direction(Event)
#define QUARLO_EMPTY_PACKET(Event, Direction, ...) QUARLO_TAKEN_##Direction(Event)
#include "QUARLO.Connector.IVI-API-Catalogue.def"
        return true;
        default:
            return false;
    }
}

/* ---- what a phone says ---- */

Bytes app(const std::string& url) {
    return text(url) + text("App") + u32(7) + text("Maker") + text("") + u8(2) + u32(1) + u32(2) +
           u8(3) + u8(1) + Bytes{'e', 'n', 'g'};
}

const Bytes apps = packet(70, u32(2) + app("a://1") + app("a://2"));
const Bytes audioRequest = packet(58, u32(1) + u8(eAUDIOCONTROL_Request) + u8(3) + u16(2));

/* ---- targets ---- */

constexpr unsigned ordinaryOptions = 64 + 4;  // all capabilities, end request

const Bytes setup = u8(ordinaryOptions) + u8(0x12) + u16(0);

/** The type in front of the payload. */
void makePacket() {
    for (const PacketCase& each : packetCases()) {
        const Bytes& whole = each.whole.bytes;
        keep("packet", each.name, Bytes{whole[0]} + Bytes(whole.begin() + 9, whole.end()));
    }
}

Bytes chunk(const Bytes& bytes) {
    return u8(252) + u16(static_cast<unsigned>(bytes.size())) + bytes;
}

const Bytes answer = packet(2, u8(1));
const Bytes description = packet(12, u8(1)) +
                          packet(14, text("phone") + u8(1) + u8(2) + u8(1) + u8(2) + u32(7) +
                                         text("PhoneOS 4") + text("uuid")) +
                          packet(18, u8(1));
const Bytes handshake = chunk(answer) + chunk(description);

/** Every packet of the phone's, to an instance in RUN, and behind a handshake. */
void makePhone() {
    for (const PacketCase& each : packetCases()) {
        if (!isFromPhone(each.whole.bytes[0])) continue;
        keep("dispatch", each.name, setup + each.whole.bytes);
        keep("session", each.name, setup + handshake + chunk(each.whole.bytes));
    }
}

Bytes hear(const Bytes& bytes) {
    return u8(step::HearMany) + u16(static_cast<unsigned>(bytes.size())) + bytes;
}

Bytes zeroText(const std::string& content) {
    return u8(static_cast<unsigned>(content.size() + 1)) + Bytes(content.begin(), content.end());
}

void makeApi() {
    constexpr unsigned setCapabilities = step::of("quarlo_SetClientCapabilities");
    const Bytes connected = u8(1) + u8(step::Open) + u8(setCapabilities) +
                            u32(eCLIENTCAPABILITIES_All) + u8(1) + u8(step::Connect);
    Bytes arguments;
    for (unsigned i = 1; i < 40; ++i) arguments.push_back(static_cast<std::uint8_t>(i));
    Bytes nulls = u8(1);
    for (unsigned call = 0; call < step::calls; ++call) {
        const Bytes bytes = u8(step::lifecycleSteps + call) + arguments;
        keep("api", "call-" + std::string(step::call(call).name), connected + bytes);
        nulls = nulls + bytes;
    }
    keep("api", "null-handle", nulls);
    const Bytes two = connected + u8(step::Connect | step::secondInstance);
    keep("api", "two", two + hear(apps) + u8(step::Close) + u8(step::Connect) + hear(apps));
    keep("api", "apps",
         connected + hear(apps) + u8(step::of("quarlo_CreateAppInfoList")) + u8(0) + hear(apps) +
             u8(step::of("quarlo_DeleteAppInfoList")) + u8(2) +
             u8(step::of("quarlo_CreateAppInfoList")) + u8(0));
    const auto audio = [](unsigned status) {
        return u8(step::of("quarlo_SetAudioStatus")) + u32(1) + u8(status) + u8(0);
    };
    keep("api", "audio",
         connected + hear(audioRequest) + audio(eAUDIOSTATUS_Open) + u8(step::Turns) + u8(4) +
             audio(eAUDIOSTATUS_Close));
    // A reaction counts its call from the first of the table.
    const auto inside = [](const Bytes& call, unsigned flags = 0) {
        return u8((call[0] - step::lifecycleSteps) | flags) + Bytes(call.begin() + 1, call.end());
    };
    const Bytes cancellable = u8(step::Callbacks) + u32(~1U) + u32(~0U);
    keep("api", "audio-inside",
         connected + u8(step::React) + u8(1) + hear(audioRequest) +
             inside(audio(eAUDIOSTATUS_Open)) + u8(step::Turns) + u8(4));
    keep("api", "closed-in-callback",
         connected + cancellable + u8(step::React) + u8(1) + hear(audioRequest) +
             u8(step::takeTime) + u8(31) + u8(step::Close));
    keep("api", "closed-in-sender",
         connected + cancellable + u8(step::React) + u8(1) + hear(packet(128, u32(1))) + u8(31) +
             u8(step::Close));
    const auto filter = [](unsigned key) { return packet(54, u8(1) + u32(key)); };
    keep("api", "keys-inside",
         connected + hear(filter(5)) + u8(step::React) + u8(4) + hear(filter(6)) +
             inside(u8(step::of("quarlo_VehicleData"))) + u32(6) + u8(1) + zeroText("{}"));
    keep("api", "vehicle",
         connected + hear(packet(54, u8(1) + u32(5))) + u8(step::of("quarlo_VehicleData")) +
             u32(5) + u8(1) + zeroText("{}"));
    keep("api", "watchdog",
         connected + u8(step::of("quarlo_EnablePingWatchdog")) + u8(1) + u8(2) + u8(step::Turns) +
             u8(6) + u8(step::of("quarlo_EnablePingWatchdog")) + u16(0));
    keep("api", "restart",
         connected + u8(step::EndLink) + u8(1) + u8(0) + u8(step::Turns) + u8(2) +
             u8(step::EndLink) + u8(0) + u8(step::Connect) + u8(step::AnnounceShutdown) +
             u8(step::Turn) + u8(step::Close));
    keep("api", "cancelled",
         connected + u8(step::Callbacks) + u32(~1U) + u32(~0U) + u8(step::Close) + u8(step::Open));
}

/** The beginnings of the phone's packets, for the engine: a type and no flags. */
void makeDictionary() {
    std::ofstream file(folder / "packets.dict");
    for (const PacketCase& each : packetCases()) {
        const unsigned type = each.whole.bytes[0];
        if (!isFromPhone(type)) continue;
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\x%02X", type);
        file << each.name << "=\"" << escaped << "\\x00\\x00\\x00\\x00\"\n";
    }
}

}  // namespace
}  // namespace quarlo::fuzz

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    quarlo::fuzz::folder = argv[1];
    quarlo::fuzz::makePhone();
    quarlo::fuzz::makePacket();
    quarlo::fuzz::makeApi();
    quarlo::fuzz::makeDictionary();
    return 0;
}
