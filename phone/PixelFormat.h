/**
 * @file
 * The pixel formats a head unit may ask for. A pixel is one integer stored in the named byte order;
 * rows follow each other without padding. Pure functions.
 */
#ifndef QUARLO_PHONE_PIXELFORMAT_H
#define QUARLO_PHONE_PIXELFORMAT_H

#include <optional>

#include "Picture.h"
#include "QUARLO.Connector.IVI-API-Types_C.h"

namespace quarlo::phone {

struct PixelLayout {
    PixelFormat format = ePIXELFORMAT_ARGB8888;
    PixelEndianess order = ePIXELENDIANESS_LittleEndian;

    std::uint8_t bytesPerPixel() const;
    bool operator==(const PixelLayout&) const = default;
};

/** The layout if the three values name one and agree with each other. */
std::optional<PixelLayout> pixelLayoutOf(PixelFormat format, PixelEndianess order,
                                         std::uint8_t bytesPerPixel);

/** The opaque picture as it looks after its colours went through the format. */
void quantise(const Picture& from, PixelFormat format, Picture& to);

/** Writes the area's pixels; `out` has room for its width x height x bytesPerPixel bytes. */
void packPixels(const Picture& picture, const Area& area, const PixelLayout& layout,
                std::uint8_t* out);

}  // namespace quarlo::phone

#endif
