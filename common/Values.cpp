#include "Values.h"

#include <algorithm>
#include <charconv>

#include "WordTable.h"

namespace quarlo {
inline namespace common {
namespace {

constexpr Word<PixelFormat> formats[] = {
    {"rgb888", ePIXELFORMAT_RGB888},
    {"rgb565", ePIXELFORMAT_RGB565},
    {"argb8888", ePIXELFORMAT_ARGB8888},
    {"rgba8888", ePIXELFORMAT_RGBA8888},
};
constexpr Word<PixelEndianess> orders[] = {
    {"little", ePIXELENDIANESS_LittleEndian},
    {"big", ePIXELENDIANESS_BigEndian},
};
constexpr Word<FrameCompression> compressions[] = {
    {"none", eFRAMECOMPRESSION_None},
    {"jpeg", eFRAMECOMPRESSION_JPEG},
    {"zlib", eFRAMECOMPRESSION_ZLIB},
    {"raw", eFRAMECOMPRESSION_Uncompressed},
};

std::optional<Endpoint> parseTcp(std::string_view text, unsigned lowestPort) {
    const auto parts = splitAt(text, text.rfind(':'));
    if (!parts) return {};
    std::string_view host = parts->before;
    if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
    const auto port = parseNumber(parts->after, 65535);
    if (host.empty() || !port || *port < lowestPort) return {};
    return Endpoint::tcp(host, static_cast<UInt16>(*port));
}

std::optional<Endpoint> parseLine(std::string_view text) {
    constexpr unsigned fastest = 100'000'000;
    const auto parts = splitAt(text, text.rfind('@'));
    if (!parts) return {};
    const auto rate = parseNumber(parts->after, fastest);
    if (parts->before.empty() || !rate || *rate == 0) return {};
    Endpoint endpoint;
    endpoint.device = parts->before;
    endpoint.baudRate = *rate;
    return endpoint;
}

}  // namespace

const char* const formatWords = "rgb888, rgb565, argb8888, rgba8888";
const char* const orderWords = "little, big";
const char* const compressionWords = "none, zlib, jpeg, raw";
const char* const sizeWords = "WIDTHxHEIGHT with 1 to 8192 each";
const char* const languageWords = "three small letters of ISO 639-2, e.g. eng";
const char* const endpointWords =
    "HOST:PORT or [HOST]:PORT with a port of 1 to 65535, unix:PATH, or a serial line as "
    "/dev/NAME@BAUD or serial:PATH@BAUD";
const char* const listenWords = "HOST:PORT or [HOST]:PORT with a port from 0 to 65535";

Endpoint Endpoint::tcp(std::string_view host, UInt16 port) {
    Endpoint endpoint;
    endpoint.host = host;
    endpoint.port = port;
    return endpoint;
}

std::string Endpoint::text() const {
    if (!path.empty()) return path;
    if (!device.empty()) return device + " at " + std::to_string(baudRate) + " baud";
    const bool isNumeric6 = host.find(':') != std::string::npos;
    return (isNumeric6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::optional<unsigned> parseNumber(std::string_view text, unsigned maximum) {
    unsigned number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number > maximum) return {};
    return number;
}

std::optional<PixelFormat> parseFormat(std::string_view text) {
    return valueOf(formats, text);
}
std::optional<PixelEndianess> parseOrder(std::string_view text) {
    return valueOf(orders, text);
}
std::optional<FrameCompression> parseCompression(std::string_view text) {
    return valueOf(compressions, text);
}

std::optional<Size> parseSize(std::string_view text) {
    const auto parts = splitAt(text, text.find('x'));
    if (!parts) return {};
    const auto width = parseNumber(parts->before, maximumExtent);
    const auto height = parseNumber(parts->after, maximumExtent);
    if (!width || !height || *width == 0 || *height == 0) return {};
    return Size{static_cast<int>(*width), static_cast<int>(*height)};
}

std::optional<std::string> parseLanguage(std::string_view text) {
    const auto isLetter = [](char c) { return c >= 'a' && c <= 'z'; };
    if (text.size() != 3 || !std::all_of(text.begin(), text.end(), isLetter)) return {};
    return std::string(text);
}

std::optional<Endpoint> parseEndpoint(std::string_view text) {
    constexpr std::string_view socketPrefix = "unix:";
    constexpr std::string_view linePrefix = "serial:";
    if (text.starts_with(linePrefix)) return parseLine(text.substr(linePrefix.size()));
    if (text.starts_with('/')) return parseLine(text);
    if (!text.starts_with(socketPrefix)) return parseTcp(text, 1);
    Endpoint endpoint;
    endpoint.path = text.substr(socketPrefix.size());
    if (endpoint.path.empty()) return {};
    return endpoint;
}

std::optional<Endpoint> parseListen(std::string_view text) {
    return parseTcp(text, 0);
}

std::string textOf(const Size& size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}
const char* nameOf(PixelFormat format) {
    return wordOf(formats, format);
}
const char* nameOf(PixelEndianess order) {
    return wordOf(orders, order);
}

std::string nameOfCompressions(FrameCompression mask) {
    if (mask == eFRAMECOMPRESSION_None) return "none";
    std::string names;
    for (const auto& entry : compressions) {
        if ((mask & entry.value) == 0) continue;
        names += (names.empty() ? "" : ",") + std::string(entry.word);
    }
    return names.empty() ? "unknown" : names;
}

}  // namespace common
}  // namespace quarlo
