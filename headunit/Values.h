/*
 * The words of the command line and what they stand for, in both directions. Pure functions.
 */
#ifndef HEADUNIT_VALUES_H
#define HEADUNIT_VALUES_H

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Picture.h"
#include "QUARLO-Core-Types.h"

namespace quarlo::headunit {

/** Where the phone is: a TCP host and port, the path of a Unix socket, or a serial device. */
struct Endpoint {
    std::string host;
    UInt16 port = 0;
    std::string path;
    std::string device;
    UInt32 baudRate = 0;

    std::string text() const;
};

struct SetFormat {
    PixelFormat format;
};
struct SetOrder {
    PixelEndianess order;
};
struct SetSize {
    Size size;
};
struct SetCompression {
    FrameCompression compression;
};
struct SetSuspended {
    bool isSuspended;
};
/** Nothing is to be different, but what is shown next is to be newer than this. */
struct Refresh {};
using Change = std::variant<SetFormat, SetOrder, SetSize, SetCompression, SetSuspended, Refresh>;

/** A change of the running session, made after the update of that number; 0: when RUN is reached.
 */
struct Command {
    unsigned update = 0;
    Change change;
    std::string text;
};

/** Larger screens would need a receive buffer beyond what is reasonable. */
constexpr unsigned maximumExtent = 8192;

extern const char* const formatWords;
extern const char* const orderWords;
extern const char* const compressionWords;
extern const char* const supportedWords;
extern const char* const sizeWords;
extern const char* const traceWords;
extern const char* const languageWords;
extern const char* const endpointWords;
extern const char* const commandWords;

/* Each gives nothing for a text that is not allowed; the words above say what is. */
std::optional<unsigned> parseNumber(std::string_view text, unsigned maximum);
std::optional<PixelFormat> parseFormat(std::string_view text);
std::optional<PixelEndianess> parseOrder(std::string_view text);
std::optional<FrameCompression> parseCompression(std::string_view text);
std::optional<FrameCompression> parseSupported(std::string_view text);
std::optional<Size> parseSize(std::string_view text);
std::optional<eTraceClass> parseTrace(std::string_view text);
std::optional<std::string> parseLanguage(std::string_view text);
std::optional<Endpoint> parseEndpoint(std::string_view text);
std::optional<Command> parseCommand(std::string_view text);

const char* nameOf(PixelFormat format);
const char* nameOf(PixelEndianess order);
const char* nameOf(eProtocolState state);
const char* nameOf(eErrorCode code);
const char* nameOf(eReturnCode code);
/** A combination reads "zlib,raw". */
std::string nameOfCompressions(FrameCompression compressions);

}  // namespace quarlo::headunit

#endif
