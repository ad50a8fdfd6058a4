/*
 * The head unit's screen as plain RGB bytes, and how a phone's pixels are laid out. Values without
 * threads: whoever holds one guards it.
 */
#ifndef HEADUNIT_PICTURE_H
#define HEADUNIT_PICTURE_H

#include <cstddef>
#include <vector>

#include "QUARLO.Connector.IVI-API-Types_C.h"

namespace quarlo::headunit {

struct Size {
    unsigned width = 0;
    unsigned height = 0;

    friend bool operator==(const Size&, const Size&) = default;
};

/** One pixel is an integer of bytesPerPixel() bytes, stored in the given order. */
struct PixelLayout {
    PixelFormat format = ePIXELFORMAT_ARGB8888;
    PixelEndianess order = ePIXELENDIANESS_LittleEndian;

    friend bool operator==(const PixelLayout&, const PixelLayout&) = default;
};

/** @return 0 for a format that does not exist */
unsigned bytesPerPixel(PixelFormat format);

/** Rows of width x 3 bytes (red, green, blue) without padding; black at first. */
struct Picture {
    Picture() = default;
    explicit Picture(Size extent)
        : size(extent), rgb(std::size_t{extent.width} * extent.height * 3) {}

    UInt8* pixel(unsigned x, unsigned y) {
        return rgb.data() + (std::size_t{y} * size.width + x) * 3;
    }

    Size size;
    std::vector<UInt8> rgb;
};

}  // namespace quarlo::headunit

#endif
