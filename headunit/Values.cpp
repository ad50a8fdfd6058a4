#include "Values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <span>

namespace quarlo::headunit {
namespace {

template <typename Value>
struct Word {
    const char* word;
    Value value;
};

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
constexpr int everyTraceClass = 63;
constexpr Word<int> traces[] = {
    {"none", eTRACECLASS_NONE},
    {"error", eTRACECLASS_ERROR},
    {"warning", eTRACECLASS_ERROR | eTRACECLASS_WARNING},
    {"info", eTRACECLASS_ERROR | eTRACECLASS_WARNING | eTRACECLASS_INFORMATION},
    {"verbose",
     eTRACECLASS_ERROR | eTRACECLASS_WARNING | eTRACECLASS_INFORMATION | eTRACECLASS_VERBOSE},
    {"all", everyTraceClass},
};
constexpr Word<eProtocolState> states[] = {
    {"NONE", ePROTOCOL_STATE_NONE},
    {"HANDSHAKE", ePROTOCOL_STATE_HANDSHAKE},
    {"INIT_CLIENT", ePROTOCOL_STATE_INIT_CLIENT},
    {"INIT_SERVER", ePROTOCOL_STATE_INIT_SERVER},
    {"INIT_DONE", ePROTOCOL_STATE_INIT_DONE},
    {"RUN", ePROTOCOL_STATE_RUN},
    {"STOP", ePROTOCOL_STATE_STOP},
};
constexpr Word<eErrorCode> errors[] = {
    {"NONE", eERRORCODE_NONE},
    {"CONNECTION_TIMEOUT", eERRORCODE_CONNECTION_TIMEOUT},
    {"CONNECTION_EOF_ZERO", eERRORCODE_CONNECTION_EOF_ZERO},
    {"PROTOCOL_STOP", eERRORCODE_PROTOCOL_STOP},
    {"Z_DATA_ERROR", eERRORCODE_Z_DATA_ERROR},
    {"MEM_ALLOC", eERRORCODE_MEM_ALLOC},
    {"FRAME_SIZE_MISMATCH", eERRORCODE_FRAME_SIZE_MISMATCH},
    {"INITIALIZATION_TIMEOUT", eERRORCODE_INITIALIZATION_TIMEOUT},
    {"RECEIVER_START_FAILED", eERRORCODE_RECEIVER_START_FAILED},
    {"MESSAGE_PROCESSING_FAILED", eERRORCODE_MESSAGE_PROCESSING_FAILED},
    {"JPEG_ERROR", eERRORCODE_JPEG_ERROR},
    {"INITIALIZATION_ABORT", eERRORCODE_INITIALIZATION_ABORT},
};

constexpr Word<eReturnCode> results[] = {
    {"OKAY", eRETURN_OKAY},
    {"NULL_PARAM", eRETURN_NULL_PARAM},
    {"PACKET_MEMORY", eRETURN_PACKET_MEMORY},
    {"STATE_NOT_RUN", eRETURN_STATE_NOT_RUN},
    {"NULL_HANDLE", eRETURN_NULL_HANDLE},
    {"PARAM_VALUE", eRETURN_PARAM_VALUE},
    {"NOT_FOUND", eRETURN_NOT_FOUND},
    {"MEM_ALLOC", eRETURN_MEM_ALLOC},
    {"NOT_SUPPORTED", eRETURN_NOT_SUPPORTED},
    {"ALREADY_IN_LIST", eRETURN_ALREADY_IN_LIST},
    {"NOT_ALLOWED", eRETURN_NOT_ALLOWED},
};

template <typename Value, std::size_t N>
std::optional<Value> find(const Word<Value> (&words)[N], std::string_view text) {
    for (const auto& entry : words) {
        if (text == entry.word) return entry.value;
    }
    return {};
}

template <typename Value, std::size_t N>
const char* nameIn(const Word<Value> (&words)[N], Value value) {
    for (const auto& entry : words) {
        if (entry.value == value) return entry.word;
    }
    return "unknown";
}

struct Split {
    std::string_view before;
    std::string_view after;
};

std::optional<Split> splitAt(std::string_view text, std::size_t position) {
    if (position == std::string_view::npos) return {};
    return Split{text.substr(0, position), text.substr(position + 1)};
}

template <typename Type, typename Value>
std::optional<Change> asChange(std::optional<Value> value) {
    if (!value) return {};
    return Type{*value};
}

std::optional<Change> parseChange(std::string_view text) {
    if (text == "suspend") return SetSuspended{true};
    if (text == "resume") return SetSuspended{false};
    const auto parts = splitAt(text, text.find('='));
    if (!parts) return {};
    if (parts->before == "format") return asChange<SetFormat>(parseFormat(parts->after));
    if (parts->before == "endian") return asChange<SetOrder>(parseOrder(parts->after));
    if (parts->before == "size") return asChange<SetSize>(parseSize(parts->after));
    if (parts->before == "compression") {
        return asChange<SetCompression>(parseCompression(parts->after));
    }
    return {};
}

std::optional<Endpoint> parseTcp(std::string_view text) {
    const auto parts = splitAt(text, text.rfind(':'));
    if (!parts) return {};
    std::string_view host = parts->before;
    if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
    const auto port = parseNumber(parts->after, 65535);
    if (host.empty() || !port || *port == 0) return {};
    Endpoint endpoint;
    endpoint.host = host;
    endpoint.port = static_cast<UInt16>(*port);
    return endpoint;
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
const char* const supportedWords = "zlib, jpeg and raw, with commas between them, or all or none";
const char* const sizeWords = "WIDTHxHEIGHT with 1 to 8192 each";
const char* const traceWords = "none, error, warning, info, verbose, all or a number up to 63";
const char* const languageWords = "three small letters of ISO 639-2, e.g. eng";
const char* const endpointWords =
    "HOST:PORT or [HOST]:PORT with a port of 1 to 65535, unix:PATH, or a serial line as "
    "/dev/NAME@BAUD or serial:PATH@BAUD";
const char* const commandWords =
    "UPDATE:CHANGE with format=..., endian=..., size=WxH, compression=..., suspend or resume";

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
    return find(formats, text);
}
std::optional<PixelEndianess> parseOrder(std::string_view text) {
    return find(orders, text);
}
std::optional<FrameCompression> parseCompression(std::string_view text) {
    return find(compressions, text);
}

std::optional<FrameCompression> parseSupported(std::string_view text) {
    if (text == "all") return FrameCompression{eFRAMECOMPRESSION_All};
    if (text == "none") return FrameCompression{eFRAMECOMPRESSION_None};
    FrameCompression mask = 0;
    for (bool isLast = false; !isLast;) {
        const auto parts = splitAt(text, text.find(','));
        isLast = !parts;
        const auto bit = parseCompression(parts ? parts->before : text);
        if (!bit || *bit == eFRAMECOMPRESSION_None) return {};
        mask |= *bit;
        if (parts) text = parts->after;
    }
    return mask;
}

std::optional<Size> parseSize(std::string_view text) {
    const auto parts = splitAt(text, text.find('x'));
    if (!parts) return {};
    const auto width = parseNumber(parts->before, maximumExtent);
    const auto height = parseNumber(parts->after, maximumExtent);
    if (!width || !height || *width == 0 || *height == 0) return {};
    return Size{*width, *height};
}

std::optional<eTraceClass> parseTrace(std::string_view text) {
    if (const auto mask = find(traces, text)) return static_cast<eTraceClass>(*mask);
    const auto mask = parseNumber(text, everyTraceClass);
    if (!mask) return {};
    return static_cast<eTraceClass>(*mask);
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
    if (!text.starts_with(socketPrefix)) return parseTcp(text);
    Endpoint endpoint;
    endpoint.path = text.substr(socketPrefix.size());
    if (endpoint.path.empty()) return {};
    return endpoint;
}

std::optional<Command> parseCommand(std::string_view text) {
    const auto parts = splitAt(text, text.find(':'));
    if (!parts) return {};
    const auto update = parseNumber(parts->before, 1'000'000'000);
    const auto change = parseChange(parts->after);
    if (!update || !change) return {};
    return Command{*update, *change, std::string(parts->after)};
}

const char* nameOf(PixelFormat format) {
    return nameIn(formats, format);
}
const char* nameOf(PixelEndianess order) {
    return nameIn(orders, order);
}
const char* nameOf(eProtocolState state) {
    return nameIn(states, state);
}
const char* nameOf(eErrorCode code) {
    return nameIn(errors, code);
}
const char* nameOf(eReturnCode code) {
    return nameIn(results, code);
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

}  // namespace quarlo::headunit
