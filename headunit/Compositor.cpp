#include "Compositor.h"

#include <algorithm>
#include <optional>

namespace quarlo::headunit {
namespace {

// Where the three colours stand among the bytes of a pixel.
struct ByteLayout {
    unsigned stride;
    unsigned red;
    unsigned green;
    unsigned blue;

    void convert(const UInt8* from, UInt8* to) const {
        to[0] = from[red];
        to[1] = from[green];
        to[2] = from[blue];
    }
};

// Two bytes; the colours' highest bits fill up their lowest, so that full stays full.
struct Packed565 {
    unsigned stride;
    unsigned high;

    void convert(const UInt8* from, UInt8* to) const {
        const unsigned value = unsigned{from[high]} << 8 | from[1 - high];
        const unsigned red = value >> 11;
        const unsigned green = value >> 5 & 0x3F;
        const unsigned blue = value & 0x1F;
        to[0] = static_cast<UInt8>(red << 3 | red >> 2);
        to[1] = static_cast<UInt8>(green << 2 | green >> 4);
        to[2] = static_cast<UInt8>(blue << 3 | blue >> 2);
    }
};

// The part of an area that lies in the picture; its corner is the area's own.
Size visible(const Picture& picture, const Area& area) {
    if (area.x >= picture.size.width || area.y >= picture.size.height) return {};
    return {std::min(area.width, picture.size.width - area.x),
            std::min(area.height, picture.size.height - area.y)};
}

unsigned sourceOf(unsigned position, unsigned extent, unsigned sourceExtent) {
    return static_cast<unsigned>(UInt64{position} * sourceExtent / extent);
}

template <typename Layout>
void convertRows(Picture& picture, const Area& area, const Pixels& pixels, Layout layout) {
    const Size shown = visible(picture, area);
    const std::size_t rowBytes = std::size_t{pixels.size.width} * layout.stride;
    for (unsigned y = 0; y < shown.height; ++y) {
        const UInt8* row =
            pixels.data.data() + sourceOf(y, area.height, pixels.size.height) * rowBytes;
        UInt8* to = picture.pixel(area.x, area.y + y);
        const bool sameWidth = area.width == pixels.size.width;
        for (unsigned x = 0; x < shown.width; ++x, to += 3) {
            const unsigned from = sameWidth ? x : sourceOf(x, area.width, pixels.size.width);
            layout.convert(row + std::size_t{from} * layout.stride, to);
        }
    }
}

ByteLayout byteLayout(PixelLayout layout) {
    const bool big = layout.order == ePIXELENDIANESS_BigEndian;
    switch (layout.format) {
        case ePIXELFORMAT_RGB888:
            return big ? ByteLayout{3, 0, 1, 2} : ByteLayout{3, 2, 1, 0};
        case ePIXELFORMAT_RGBA8888:
            return big ? ByteLayout{4, 0, 1, 2} : ByteLayout{4, 3, 2, 1};
        default:
            return big ? ByteLayout{4, 1, 2, 3} : ByteLayout{4, 2, 1, 0};
    }
}

std::optional<DrawResult> fault(const Picture& picture, const Area& area, const Pixels& pixels) {
    const unsigned bytes = bytesPerPixel(pixels.layout.format);
    const PixelEndianess order = pixels.layout.order;
    if (bytes == 0 ||
        (order != ePIXELENDIANESS_BigEndian && order != ePIXELENDIANESS_LittleEndian)) {
        return DrawResult::UnknownFormat;
    }
    const UInt64 count = UInt64{pixels.size.width} * pixels.size.height;
    if (count == 0 || area.width == 0 || area.height == 0) return DrawResult::Empty;
    // Divided, not multiplied: the sizes may be anything.
    if (pixels.data.size() % bytes != 0 || pixels.data.size() / bytes != count) {
        return DrawResult::WrongLength;
    }
    const Size shown = visible(picture, area);
    if (shown.width == 0 || shown.height == 0) return DrawResult::Outside;
    return {};
}

}  // namespace

unsigned bytesPerPixel(PixelFormat format) {
    switch (format) {
        case ePIXELFORMAT_RGB565:
            return 2;
        case ePIXELFORMAT_RGB888:
            return 3;
        case ePIXELFORMAT_ARGB8888:
        case ePIXELFORMAT_RGBA8888:
            return 4;
        default:
            return 0;
    }
}

bool isDrawn(DrawResult result) {
    return result == DrawResult::Drawn || result == DrawResult::Clipped;
}

const char* describe(DrawResult result) {
    switch (result) {
        case DrawResult::Drawn:
            return "drawn";
        case DrawResult::Clipped:
            return "reaches beyond the screen";
        case DrawResult::Outside:
            return "lies outside the screen";
        case DrawResult::Empty:
            return "has no width or height";
        case DrawResult::WrongLength:
            return "has a length that does not fit its size";
        case DrawResult::UnknownFormat:
            return "has an unknown pixel format or byte order";
    }
    return "";
}

DrawResult draw(Picture& picture, const Area& area, const Pixels& pixels) {
    if (const auto problem = fault(picture, area, pixels)) return *problem;
    if (pixels.layout.format == ePIXELFORMAT_RGB565) {
        const unsigned high = pixels.layout.order == ePIXELENDIANESS_BigEndian ? 0 : 1;
        convertRows(picture, area, pixels, Packed565{2, high});
    } else {
        convertRows(picture, area, pixels, byteLayout(pixels.layout));
    }
    const Size shown = visible(picture, area);
    return shown == Size{area.width, area.height} ? DrawResult::Drawn : DrawResult::Clipped;
}

}  // namespace quarlo::headunit
