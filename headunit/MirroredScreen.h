/*
 * The mirrored screen: gathers the rectangles of an update into the picture. The receiver thread
 * draws, the main thread reshapes; a lock keeps them apart.
 */
#ifndef HEADUNIT_MIRROREDSCREEN_H
#define HEADUNIT_MIRROREDSCREEN_H

#include <mutex>
#include <optional>
#include <string>

#include "RawDecoder.h"

namespace quarlo::headunit {

/** An update as it was composed. */
struct Update {
    unsigned number = 0;  ///< from 1
    unsigned announced = 0;
    unsigned arrived = 0;
    UInt64 bytes = 0;
    UInt64 pixels = 0;               ///< of the screen that were drawn, some perhaps twice
    std::string problem;             ///< empty when all of it is on the screen
    std::optional<Picture> picture;  ///< a copy of the screen, if it is to be written
};

class MirroredScreen {
  public:
    /** @param every which updates come with a picture: each n-th, or none for 0 */
    MirroredScreen(Size size, PixelLayout layout, unsigned every);

    /** What follows has this size and layout; the picture begins black if the size is another. */
    void reshape(Size size, PixelLayout layout);

    void begin(unsigned rectangles);
    /** A rectangle in the screen's layout. @return what to say about it, empty for nothing */
    std::string drawDecoded(unsigned index, const Area& area, std::span<const UInt8> data);
    /** A rectangle as sent. @return what to say about it, empty for nothing */
    std::string drawRaw(unsigned index, const RawRectangle& rectangle);
    Update end();
    /** What is on the screen now. */
    Picture copy();

  private:
    std::string place(unsigned index, const Area& area, const Pixels& pixels);
    std::string refuse(unsigned index, const std::string& why);

    std::mutex lock;  // guards all that follows
    Picture picture;
    PixelLayout layout;
    const unsigned every;
    RawDecoder decoder;
    unsigned updates = 0;
    Update current;
};

}  // namespace quarlo::headunit

#endif
