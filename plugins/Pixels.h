/*
 * Pixels as bytes: what the plug-ins' formats look like in memory, on machines of both byte orders.
 */
#ifndef QUARLO_PLUGINS_PIXELS_H
#define QUARLO_PLUGINS_PIXELS_H

#include <bit>

#include "QUARLO-LibDecompress.h"

namespace quarlo::plugin {

constexpr bool littleEndian = std::endian::native == std::endian::little;

/** Bytes of one pixel; 0 for a format that does not exist. */
inline UInt8 bytesPerPixel(PixelFormat format) {
    switch (format) {
        case ePIXELFORMAT_RGB888:
            return 3;
        case ePIXELFORMAT_RGB565:
            return 2;
        case ePIXELFORMAT_ARGB8888:
        case ePIXELFORMAT_RGBA8888:
            return 4;
    }
    return 0;
}

inline bool isByteOrder(PixelEndianess endian) {
    return endian == ePIXELENDIANESS_BigEndian || endian == ePIXELENDIANESS_LittleEndian;
}

/** Access at any address. The builtin, since clang vectorises no loop with a fortified memcpy. */
template <class Value>
Value load(const void* from) {
    Value value;
    __builtin_memcpy(&value, from, sizeof value);
    return value;
}

template <class Value>
void store(void* to, const Value& value) {
    __builtin_memcpy(to, &value, sizeof value);
}

/** Whether numbers are in the other byte order than this machine's. */
inline bool isForeign(PixelEndianess endian) {
    return (endian == ePIXELENDIANESS_LittleEndian) != littleEndian;
}

inline UInt16 swapped(UInt16 value) {
    return static_cast<UInt16>(value << 8 | value >> 8);
}

/** Byte i of a pixel of four bytes that was read as a number. */
constexpr unsigned byteOf(UInt32 pixel, unsigned i) {
    return pixel >> 8 * (littleEndian ? i : 3 - i) & 0xFF;
}

}  // namespace quarlo::plugin

#endif
