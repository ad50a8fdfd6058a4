#include "RawDecoder.h"

#include <turbojpeg.h>
#include <zlib.h>

#include <memory>

#include "Values.h"

namespace quarlo::headunit {
namespace {

// No screen of a head unit is larger; a phone that says so is not believed.
constexpr UInt64 maximumBytes = UInt64{maximumExtent} * maximumExtent * 4;

}  // namespace

std::string RawDecoder::decode(const RawRectangle& rectangle, Pixels& pixels) {
    pixels = {{rectangle.area.width, rectangle.area.height}, rectangle.layout, rectangle.data};
    switch (rectangle.compression) {
        case eFRAMECOMPRESSION_Uncompressed:
            return {};
        case eFRAMECOMPRESSION_ZLIB:
            return inflate(rectangle, pixels);
        case eFRAMECOMPRESSION_JPEG:
            return decompressJpeg(rectangle, pixels);
        default:
            return "has an unknown compression";
    }
}

bool RawDecoder::reserve(UInt64 size) {
    if (size > maximumBytes) return false;
    if (buffer.size() < size) buffer.resize(size);
    return true;
}

std::string RawDecoder::inflate(const RawRectangle& rectangle, Pixels& pixels) {
    const UInt64 needed = rectangle.area.size().count() * rectangle.layout.bytesPerPixel();
    if (needed == 0) return {};
    if (!reserve(needed)) return "is too large";
    uLongf length = needed;
    const int result =
        uncompress(buffer.data(), &length, rectangle.data.data(), rectangle.data.size());
    if (result == Z_BUF_ERROR) return "does not decompress to its size";
    if (result != Z_OK) return "has broken zlib data";
    // A shorter result is found by the length when it is drawn.
    pixels.data = {buffer.data(), length};
    return {};
}

// A JPEG picture has no byte order of its own: it is decoded to what can be drawn directly.
std::string RawDecoder::decompressJpeg(const RawRectangle& rectangle, Pixels& pixels) {
    const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
    int width = 0;
    int height = 0;
    int sampling = 0;
    int colours = 0;
    if (decoder == nullptr ||
        tjDecompressHeader3(decoder.get(), rectangle.data.data(), rectangle.data.size(), &width,
                            &height, &sampling, &colours) != 0) {
        return "has broken JPEG data";
    }
    if (Size{width, height} != pixels.size) {
        return "holds a JPEG picture of another size";
    }
    const UInt64 needed = pixels.size.count() * 3;
    if (!reserve(needed)) return "is too large";
    if (tjDecompress2(decoder.get(), rectangle.data.data(), rectangle.data.size(), buffer.data(),
                      width, 0, height, TJPF_RGB, 0) != 0) {
        return "has broken JPEG data";
    }
    pixels.layout = {ePIXELFORMAT_RGB888, ePIXELENDIANESS_BigEndian};
    pixels.data = {buffer.data(), needed};
    return {};
}

bool enlarge(const RawRectangle& rectangle, Area& area) {
    area = rectangle.area;
    const int horizontal = rectangle.horizontalPercentage;
    const int vertical = rectangle.verticalPercentage;
    if (horizontal == 0 && vertical == 0) return true;
    if (horizontal == 0 || vertical == 0 || horizontal > 100 || vertical > 100) return false;
    area = {area.x * 100 / horizontal, area.y * 100 / vertical, area.width * 100 / horizontal,
            area.height * 100 / vertical};
    return true;
}

}  // namespace quarlo::headunit
