/**
 * @file
 * Pictures in the pixel formats a head unit may ask for. Pure functions.
 */
#ifndef PHONE_PIXELFORMAT_H
#define PHONE_PIXELFORMAT_H

#include "common/Picture.h"
#include "common/PixelLayout.h"

namespace quarlo::phone {

/** The opaque picture as it looks after its colours went through the format. */
void quantise(const Picture& from, PixelFormat format, Picture& to);

/** Writes the area's pixels; `out` has room for its width x height x bytesPerPixel bytes. */
void packPixels(const Picture& picture, const Area& area, const PixelLayout& layout,
                std::uint8_t* out);

}  // namespace quarlo::phone

#endif
