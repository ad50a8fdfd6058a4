/*
 * Writes the seeds: `make-seeds FOLDER` makes FOLDER/<target>/seed-*. They come from the samples of
 * the tests, so a new packet brings its own.
 */
#include <turbojpeg.h>
#include <zlib.h>

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

/* ---- pictures ---- */

Bytes gradient(unsigned width, unsigned height, unsigned channels) {
    Bytes pixels;
    for (unsigned i = 0; i < width * height * channels; ++i) {
        pixels.push_back(static_cast<std::uint8_t>(i * 7));
    }
    return pixels;
}

Bytes zlibStream(const Bytes& plain, int level) {
    uLongf size = compressBound(plain.size());
    Bytes stream(size);
    if (compress2(stream.data(), &size, plain.data(), plain.size(), level) != Z_OK) std::exit(1);
    stream.resize(size);
    return stream;
}

Bytes jpeg(unsigned width, unsigned height, int sampling, int flags = 0) {
    const Bytes rgb = gradient(width, height, 3);
    const tjhandle handle = tjInitCompress();
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    const int failed =
        tjCompress2(handle, rgb.data(), static_cast<int>(width), 0, static_cast<int>(height),
                    TJPF_RGB, &bytes, &size, sampling, 60, flags);
    if (failed != 0) std::exit(1);
    Bytes result(bytes, bytes + size);
    tjFree(bytes);
    tjDestroy(handle);
    return result;
}

Bytes rectangle(unsigned width, unsigned height, unsigned compression, unsigned percentage,
                const Bytes& data) {
    return u16(2) + u16(3) + u16(width) + u16(height) + u8(ePIXELFORMAT_ARGB8888) +
           u8(ePIXELENDIANESS_LittleEndian) + u32(compression) + u8(4) + u8(percentage) +
           u8(percentage) + u32(data.size()) + data;
}

Bytes update(const Bytes& rectangle) {
    return packet(26, u8(1) + rectangle);
}

/* ---- what a phone says ---- */

struct Named {
    std::string name;
    Bytes bytes;
};

Bytes app(const std::string& url) {
    return text(url) + text("App") + u32(7) + text("Maker") + text("") + u8(2) + u32(1) + u32(2) +
           u8(3) + u8(1) + Bytes{'e', 'n', 'g'};
}

Bytes custom(unsigned event, unsigned type, const Bytes& data) {
    return packet(68, u8(event) + u16(type) + u16(static_cast<unsigned>(data.size())) + data);
}

const Bytes pixels = gradient(8, 8, 4);
const Bytes apps = packet(70, u32(2) + app("a://1") + app("a://2"));
const Bytes audioRequest = packet(58, u32(1) + u8(eAUDIOCONTROL_Request) + u8(3) + u16(2));

/** Every packet of the phone's as in the samples, and those whose content decides what they do. */
std::vector<Named> phonePackets() {
    std::vector<Named> all;
    for (const PacketCase& each : packetCases()) {
        if (isFromPhone(each.whole.bytes[0])) all.push_back({each.name, each.whole.bytes});
    }
    const std::vector<Named> more = {
        {"frame-plain", update(rectangle(8, 8, eFRAMECOMPRESSION_Uncompressed, 100, pixels))},
        {"frame-scaled", update(rectangle(8, 8, eFRAMECOMPRESSION_Uncompressed, 50, pixels))},
        {"frame-zlib", update(rectangle(8, 8, eFRAMECOMPRESSION_ZLIB, 100, zlibStream(pixels, 6)))},
        {"frame-zlib-scaled",
         update(rectangle(8, 8, eFRAMECOMPRESSION_ZLIB, 50, zlibStream(pixels, 0)))},
        {"frame-jpeg",
         update(rectangle(8, 8, eFRAMECOMPRESSION_JPEG, 100, jpeg(8, 8, TJSAMP_420)))},
        {"frame-short", update(rectangle(99, 99, eFRAMECOMPRESSION_Uncompressed, 10, pixels))},
        {"frame-none", update(rectangle(8, 8, eFRAMECOMPRESSION_None, 100, pixels))},
        {"apps", apps},
        {"audio", audioRequest + packet(58, u32(1) + u8(eAUDIOCONTROL_Release) + u8(3) + u16(0))},
        {"vehicle", packet(54, u8(2) + u32(5) + u32(6)) + packet(56, u32(6)) + packet(54, u8(0))},
        {"text", custom(eCUSTOMDATAEVENT_String, 1, text("phone"))},
        {"text-short", custom(eCUSTOMDATAEVENT_String, 1, {1, 9, 0})},
        {"int", custom(eCUSTOMDATAEVENT_Int, 4, u32(9))},
        {"key", custom(eCUSTOMDATAEVENT_Key, 1, {10})},
        {"can", custom(eCUSTOMDATAEVENT_Can, 1, u32(3) + u8(2) + u16(7))},
        {"raw-store", custom(eCUSTOMDATAEVENT_Raw, 0x1001, {1, 2, 3}) +
                          custom(eCUSTOMDATAEVENT_Raw, 0x1001, {4, 5}) +
                          custom(eCUSTOMDATAEVENT_Raw, 0x2001, {})},
        {"raw-shared", custom(eCUSTOMDATAEVENT_Raw, 0x3001, {1, 2, 3}) +
                           custom(eCUSTOMDATAEVENT_Raw, 0x4001, {})},
        {"pings", packet(128, u32(1)) + packet(128, u32(3)) + packet(128, u32(2))},
        {"refused", packet(22, u8(0)) + packet(24, u8(0)) + packet(28, u8(0))},
        {"states", packet(36, u8(0) + u8(1)) + packet(36, u8(1) + u8(1)) +
                       packet(36, u8(2) + u8(1)) + packet(36, u8(3) + u8(1)) +
                       packet(36, u8(4) + u8(1)) + packet(36, u8(5) + u8(1))},
        {"unknown", packet(255)},
        {"incomplete", u8(26) + u32(0) + u32(100) + u8(1)},
        {"beyond", packet(54, u8(255) + u32(1))},
    };
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

/* ---- targets ---- */

constexpr unsigned ordinaryOptions = 64 + 4;  // all capabilities, end request

Bytes setup(unsigned options = ordinaryOptions, unsigned size = 0x12, unsigned refused = 0) {
    return u8(options) + u8(size) + u16(refused);
}

void makeDispatch() {
    for (const Named& each : phonePackets()) keep("dispatch", each.name, setup() + each.bytes);
    Bytes all;
    for (const Named& each : phonePackets()) {
        if (each.name != "unknown" && each.name != "incomplete" && each.name != "beyond") {
            all = all + each.bytes;
        }
    }
    keep("dispatch", "all", setup() + all);
    keep("dispatch", "all-raw", setup(ordinaryOptions | 1) + all);
    keep("dispatch", "all-without-plugins", setup(ordinaryOptions | 2) + all);
    for (unsigned refused = 1; refused <= 12; ++refused) {
        keep("dispatch", "all-refused-" + std::to_string(refused),
             setup(ordinaryOptions, 0x12, refused * 3) + all);
    }
}

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

Bytes inPieces(const Bytes& bytes, std::size_t size) {
    Bytes result;
    for (std::size_t at = 0; at < bytes.size(); at += size) {
        const std::size_t count = std::min(size, bytes.size() - at);
        const auto start = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        result = result + u8(static_cast<unsigned>(count)) +
                 Bytes(start, start + static_cast<std::ptrdiff_t>(count)) + u8(0);
    }
    return result;
}

const Bytes answer = packet(2, u8(1));
const Bytes description = packet(12, u8(1)) +
                          packet(14, text("phone") + u8(1) + u8(2) + u8(1) + u8(2) + u32(7) +
                                         text("PhoneOS 4") + text("uuid")) +
                          packet(18, u8(1));
const Bytes handshake = chunk(answer) + chunk(description);

void makeSession() {
    Bytes all;
    for (const Named& each : phonePackets()) {
        keep("session", each.name, setup() + handshake + chunk(each.bytes));
        if (each.name != "unknown" && each.name != "incomplete") all = all + each.bytes;
    }
    const Bytes pieces = inPieces(answer, 1) + inPieces(description, 5) + inPieces(all, 90);
    keep("session", "pieces", setup() + pieces);
    keep("session", "pieces-dumped", setup(8) + pieces);
    keep("session", "default-trace", setup(8, 0x93) + pieces);
    keep("session", "twice",
         setup(ordinaryOptions | 128) + handshake + u8(255) + handshake + chunk(audioRequest) +
             u8(253) + u16(1));
    keep("session", "supervised",
         setup(ordinaryOptions | 16 | 32) + handshake + u8(0) + u8(0) + u8(0) + u8(0) + u8(0) +
             u8(0));
    keep("session", "silent", setup(ordinaryOptions | 16 | 32) + Bytes(40, 0));
    keep("session", "overlong", setup() + handshake + u8(254) + u8(0));
    keep("session", "full-buffer",
         setup(4, 0) + handshake + chunk(u8(26) + u32(0) + u32(1U << 30)) + u8(252) + u16(0xFFFF));
    keep("session", "refused-version", setup() + chunk(packet(2, u8(0))));
    keep("session", "refused-init", setup() + chunk(answer) + chunk(packet(12, u8(0))));
}

Bytes picture(unsigned choice, unsigned format, unsigned endian, unsigned bytes, unsigned width,
              unsigned height) {
    return u8(choice) + u8(format) + u8(endian) + u8(bytes) + u16(width) + u16(height) + u8(0);
}

void makePlugins() {
    struct Layout {
        unsigned format;
        unsigned bytes;
    };
    for (const Layout& layout :
         {Layout{ePIXELFORMAT_RGB565, 2}, Layout{ePIXELFORMAT_RGB888, 3},
          Layout{ePIXELFORMAT_ARGB8888, 4}, Layout{ePIXELFORMAT_RGBA8888, 4}}) {
        for (const unsigned endian : {1U, 2U}) {
            const std::string name =
                "-" + std::to_string(layout.format) + "-" + std::to_string(endian);
            const auto begin = [&](unsigned choice, unsigned width, unsigned height) {
                return picture(choice, layout.format, endian, layout.bytes, width, height);
            };
            keep("plugins", "jpeg" + name, begin(0, 17, 9) + jpeg(17, 9, TJSAMP_444));
            keep("plugins", "zlib" + name,
                 begin(1, 9, 5) + zlibStream(gradient(9, 5, layout.bytes), 9));
            keep("plugins", "scale" + name,
                 begin(2, 11, 7) + u16(4) + u16(3) + gradient(4, 3, layout.bytes));
        }
    }
    const Bytes argb = picture(0, ePIXELFORMAT_ARGB8888, 1, 4, 33, 20);
    keep("plugins", "jpeg-420", argb + jpeg(33, 20, TJSAMP_420));
    keep("plugins", "jpeg-422", argb + jpeg(33, 20, TJSAMP_422));
    keep("plugins", "jpeg-440", argb + jpeg(33, 20, TJSAMP_440));
    keep("plugins", "jpeg-411", argb + jpeg(33, 20, TJSAMP_411));
    keep("plugins", "jpeg-gray", argb + jpeg(33, 20, TJSAMP_GRAY));
    keep("plugins", "jpeg-progressive", argb + jpeg(33, 20, TJSAMP_420, TJFLAG_PROGRESSIVE));
    const Bytes small = picture(1, ePIXELFORMAT_ARGB8888, 1, 4, 8, 8);
    keep("plugins", "zlib-stored", small + zlibStream(pixels, 0));
    keep("plugins", "zlib-more", small + zlibStream(gradient(9, 9, 4), 6));
    keep("plugins", "zlib-less", small + zlibStream(gradient(2, 2, 4), 6));
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
    const Bytes icon = u8(step::of("quarlo_RequestAppIcon")) + u16(8) + u16(8) + zeroText("a://1");
    const auto iconAnswer = [](unsigned compression, const Bytes& data) {
        return packet(72, text("a://1") + u32(9) + u32(compression) + u32(data.size()) + data);
    };
    keep("api", "icon-jpeg",
         connected + hear(apps) + icon +
             hear(iconAnswer(eFRAMECOMPRESSION_JPEG, jpeg(8, 8, TJSAMP_444))));
    keep("api", "icon-zlib",
         connected + icon + hear(iconAnswer(eFRAMECOMPRESSION_ZLIB, zlibStream(pixels, 6))));
    keep("api", "icon-plain",
         connected + icon + hear(iconAnswer(eFRAMECOMPRESSION_Uncompressed, pixels)) + icon);
    const Bytes format = u8(step::of("quarlo_SetPixelFormatEx")) + u32(eGRAPHICTYPE_Icon) +
                         u8(ePIXELFORMAT_RGBA8888) + u32(4) + u8(ePIXELENDIANESS_BigEndian);
    keep("api", "icon-format",
         u8(1) + u8(step::Open) + format + u8(setCapabilities) + u32(eCLIENTCAPABILITIES_All) +
             u8(1) + u8(step::Connect) + icon +
             hear(iconAnswer(eFRAMECOMPRESSION_Uncompressed, pixels)));
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
    quarlo::fuzz::makeDispatch();
    quarlo::fuzz::makePacket();
    quarlo::fuzz::makeSession();
    quarlo::fuzz::makePlugins();
    quarlo::fuzz::makeApi();
    quarlo::fuzz::makeDictionary();
    return 0;
}
