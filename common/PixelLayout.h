/*
 * How a head unit wants its pixels: one is an integer stored in the named byte order; rows follow
 * each other without padding. Pure functions.
 */
#ifndef COMMON_PIXELLAYOUT_H
#define COMMON_PIXELLAYOUT_H

#include <optional>

#include "QUARLO.Connector.IVI-API-Types_C.h"

namespace quarlo {
inline namespace common {

/** @return 0 for a format that does not exist */
UInt8 bytesPerPixel(PixelFormat format);

struct PixelLayout {
    PixelFormat format = ePIXELFORMAT_ARGB8888;
    PixelEndianess order = ePIXELENDIANESS_LittleEndian;

    UInt8 bytesPerPixel() const { return common::bytesPerPixel(format); }
    /** Whether there are such a format and order. */
    bool exists() const;
    bool operator==(const PixelLayout&) const = default;
};

/** The layout if the three values name one and agree with each other. */
std::optional<PixelLayout> pixelLayoutOf(PixelFormat format, PixelEndianess order,
                                         UInt8 bytesPerPixel);

}  // namespace common
}  // namespace quarlo

#endif
