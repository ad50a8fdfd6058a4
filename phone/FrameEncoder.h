/**
 * @file
 * Builds FramebufferUpdate packets straight into the bytes to be sent. Used by the session's thread
 * only.
 */
#ifndef PHONE_FRAMEENCODER_H
#define PHONE_FRAMEENCODER_H

#include <cstdint>
#include <deque>
#include <vector>

#include "Compression.h"
#include "PixelFormat.h"
#include "common/Picture.h"

namespace quarlo::phone {

/** How rectangles are to be sent. */
struct FrameStyle {
    PixelLayout layout;
    FrameCompression compression = eFRAMECOMPRESSION_Uncompressed;
    /** Send a rectangle uncompressed where compressing it would not make it smaller. */
    bool mayFallBack = false;
    /** The percentages written into every rectangle. */
    std::uint8_t percent = 100;
    /** No packet grows larger than this: the head unit's receive buffer does not grow either. */
    std::size_t largestPacket = SIZE_MAX;
};

class FrameEncoder {
  public:
    /** A rectangle list holds no more. */
    static constexpr std::size_t mostRectangles = 255;

    /**
     * Takes from the front of `areas` as many as fit one packet, cutting the first where it alone
     * is too large, and appends that packet to `out`. `view` gets the pixels as the receiver will
     * see them. False if a rectangle cannot be encoded; `out` is then as before.
     */
    bool appendUpdate(const FrameStyle& style, const Picture& picture, std::deque<Area>& areas,
                      std::vector<std::uint8_t>& out, Picture& view);

  private:
    bool appendRectangle(const FrameStyle& style, const Picture& picture, const Area& area,
                         std::vector<std::uint8_t>& out, Picture& view);
    FrameCompression appendData(const FrameStyle& style, const Picture& picture, const Area& area,
                                std::vector<std::uint8_t>& out);
    void showDecoded(const FrameStyle& style, const std::uint8_t* data, std::size_t size,
                     const Area& area, Picture& view);

    ZlibCodec zlib;
    JpegCodec jpeg;
    std::vector<std::uint8_t> pixels;
    Picture decoded;
};

}  // namespace quarlo::phone

#endif
