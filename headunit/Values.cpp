#include "Values.h"

#include "common/WordTable.h"

namespace quarlo::headunit {
namespace {

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

}  // namespace

const char* const supportedWords = "zlib, jpeg and raw, with commas between them, or all or none";
const char* const traceWords = "none, error, warning, info, verbose, all or a number up to 63";
const char* const commandWords =
    "UPDATE:CHANGE with format=..., endian=..., size=WxH, compression=..., suspend or resume";

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

std::optional<eTraceClass> parseTrace(std::string_view text) {
    if (const auto mask = valueOf(traces, text)) return static_cast<eTraceClass>(*mask);
    const auto mask = parseNumber(text, everyTraceClass);
    if (!mask) return {};
    return static_cast<eTraceClass>(*mask);
}

std::optional<Command> parseCommand(std::string_view text) {
    const auto parts = splitAt(text, text.find(':'));
    if (!parts) return {};
    const auto update = parseNumber(parts->before, 1'000'000'000);
    const auto change = parseChange(parts->after);
    if (!update || !change) return {};
    return Command{*update, *change, std::string(parts->after)};
}

Frame with(const Change& change, Frame frame) {
    if (const auto* size = std::get_if<SetSize>(&change)) frame.size = size->size;
    if (const auto* format = std::get_if<SetFormat>(&change)) frame.layout.format = format->format;
    if (const auto* order = std::get_if<SetOrder>(&change)) frame.layout.order = order->order;
    if (const auto* other = std::get_if<SetCompression>(&change)) {
        frame.compression = other->compression;
    }
    return frame;
}

}  // namespace quarlo::headunit
