/*
 * Decodes rectangles that the library hands on as sent, in raw output mode. Runs on the receiver
 * thread; keeps a buffer for the pixels.
 */
#ifndef HEADUNIT_RAWDECODER_H
#define HEADUNIT_RAWDECODER_H

#include <span>
#include <string>
#include <vector>

#include "Compositor.h"

namespace quarlo::headunit {

struct RawRectangle {
    Area area;
    int horizontalPercentage = 100;  ///< the size it was sent in; 0 stands for 100
    int verticalPercentage = 100;
    PixelLayout layout;
    FrameCompression compression = eFRAMECOMPRESSION_Uncompressed;
    std::span<const UInt8> data;
};

class RawDecoder {
  public:
    /**
     * @param pixels gets what was decoded, valid until the next call and no longer than the
     * rectangle's data
     * @return empty, or what is wrong with the rectangle
     */
    std::string decode(const RawRectangle& rectangle, Pixels& pixels);

  private:
    std::string inflate(const RawRectangle& rectangle, Pixels& pixels);
    std::string decompressJpeg(const RawRectangle& rectangle, Pixels& pixels);
    bool reserve(UInt64 size);

    std::vector<UInt8> buffer;
};

/** Where a rectangle of reduced size belongs on the screen; nothing for what is not an enlargement.
 */
bool enlarge(const RawRectangle& rectangle, Area& area);

}  // namespace quarlo::headunit

#endif
