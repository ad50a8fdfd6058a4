/*
 * The values that programs are given on their command lines and in scripts, and what they are
 * called. Pure functions.
 */
#ifndef COMMON_VALUES_H
#define COMMON_VALUES_H

#include <optional>
#include <string>
#include <string_view>

#include "Picture.h"
#include "PixelLayout.h"

namespace quarlo {
inline namespace common {

/** Where the other side is: a TCP host and port, the path of a Unix socket, or a serial device. */
struct Endpoint {
    std::string host;
    UInt16 port = 0;
    std::string path;
    std::string device;
    UInt32 baudRate = 0;

    static Endpoint tcp(std::string_view host, UInt16 port);
    std::string text() const;
};

/** Larger screens would need a receive buffer beyond what is reasonable. */
constexpr int maximumExtent = 8192;

extern const char* const formatWords;
extern const char* const orderWords;
extern const char* const compressionWords;
extern const char* const sizeWords;
extern const char* const languageWords;
extern const char* const endpointWords;
extern const char* const listenWords;

/* Each gives nothing for a text that is not allowed; the words above say what is. */
std::optional<unsigned> parseNumber(std::string_view text, unsigned maximum);
std::optional<PixelFormat> parseFormat(std::string_view text);
std::optional<PixelEndianess> parseOrder(std::string_view text);
std::optional<FrameCompression> parseCompression(std::string_view text);
std::optional<Size> parseSize(std::string_view text);
std::optional<std::string> parseLanguage(std::string_view text);
std::optional<Endpoint> parseEndpoint(std::string_view text);
/** Where to listen: a TCP address, whose port may be 0 for any free one. */
std::optional<Endpoint> parseListen(std::string_view text);

std::string textOf(const Size& size);
const char* nameOf(PixelFormat format);
const char* nameOf(PixelEndianess order);
/** A combination reads "zlib,raw". */
std::string nameOfCompressions(FrameCompression compressions);

}  // namespace common
}  // namespace quarlo

#endif
