/*
 * Puts the rectangles of an update onto the screen's picture. The pixels come from the phone:
 * nothing is read behind the data's end or written outside the picture.
 */
#ifndef HEADUNIT_COMPOSITOR_H
#define HEADUNIT_COMPOSITOR_H

#include <span>

#include "common/Picture.h"
#include "common/PixelLayout.h"

namespace quarlo::headunit {

/** A rectangle's pixels as they were delivered. */
struct Pixels {
    Size size;
    PixelLayout layout;
    std::span<const UInt8> data;
};

enum class DrawResult {
    Drawn,
    Clipped,       ///< drawn as far as it lies in the picture
    Outside,       ///< no pixel of it lies in the picture
    Empty,         ///< without width or height
    WrongLength,   ///< more or fewer bytes than its size needs
    UnknownFormat  ///< no such pixel format or byte order
};

/** Whether the rectangle was put onto the picture, at least in part. */
bool isDrawn(DrawResult result);
/** A few words for the log. */
const char* describe(DrawResult result);

/** Draws the pixels over the area, repeating or skipping pixels where their sizes differ. */
DrawResult draw(Picture& picture, const Area& area, const Pixels& pixels);

}  // namespace quarlo::headunit

#endif
