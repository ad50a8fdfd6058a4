/**
 * @file
 * The codecs with which rectangles are packed. A codec keeps its working memory, so each session
 * owns one.
 */
#ifndef PHONE_COMPRESSION_H
#define PHONE_COMPRESSION_H

#include <cstdint>
#include <memory>
#include <vector>

#include "QUARLO.Connector.IVI-API-Types_C.h"
#include "common/Picture.h"

namespace quarlo::phone {

class ZlibCodec {
  public:
    ZlibCodec();
    ~ZlibCodec();
    ZlibCodec(const ZlibCodec&) = delete;
    ZlibCodec& operator=(const ZlibCodec&) = delete;

    /** Appends a zlib stream of the bytes to `out`; false (and `out` as before) if that fails. */
    bool append(const std::vector<std::uint8_t>& bytes, std::vector<std::uint8_t>& out);

  private:
    struct Compressor;
    std::unique_ptr<Compressor> state;
};

class JpegCodec {
  public:
    JpegCodec();
    ~JpegCodec();
    JpegCodec(const JpegCodec&) = delete;
    JpegCodec& operator=(const JpegCodec&) = delete;

    /** Appends a JPEG picture of the area to `out`; false (and `out` as before) if that fails. */
    bool append(const Picture& picture, const Area& area, std::vector<std::uint8_t>& out);
    /** Decodes the picture that `append` made, as whoever receives it will, into the area. */
    bool decode(const std::uint8_t* data, std::size_t size, Picture& picture, const Area& area);

  private:
    struct Handles;
    std::unique_ptr<Handles> handles;
};

}  // namespace quarlo::phone

#endif
