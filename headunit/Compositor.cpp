#include "Compositor.h"

#include <algorithm>
#include <optional>

namespace quarlo::headunit {
namespace {

constexpr std::uint32_t opaque(unsigned red, unsigned green, unsigned blue) {
    return 0xFF000000u | red << 16 | green << 8 | blue;
}

// Where the three colours stand among the bytes of a pixel.
struct ByteLayout {
    unsigned stride;
    unsigned red;
    unsigned green;
    unsigned blue;

    std::uint32_t colour(const UInt8* from) const {
        return opaque(from[red], from[green], from[blue]);
    }
};

// Two bytes; the colours' highest bits fill up their lowest, so that full stays full.
struct Packed565 {
    unsigned stride;
    unsigned high;

    std::uint32_t colour(const UInt8* from) const {
        const unsigned value = unsigned{from[high]} << 8 | from[1 - high];
        const unsigned red = value >> 11;
        const unsigned green = value >> 5 & 0x3F;
        const unsigned blue = value & 0x1F;
        return opaque(red << 3 | red >> 2, green << 2 | green >> 4, blue << 3 | blue >> 2);
    }
};

std::size_t sourceOf(int position, int extent, int sourceExtent) {
    return static_cast<std::size_t>(Int64{position} * sourceExtent / extent);
}

template <typename Layout>
void convertRows(Picture& picture, const Area& area, const Pixels& pixels, Layout layout) {
    const Area shown = intersection(area, picture.area());
    const std::size_t rowBytes = static_cast<std::size_t>(pixels.size.width) * layout.stride;
    for (int y = 0; y < shown.height; ++y) {
        const UInt8* row =
            pixels.data.data() + sourceOf(y, area.height, pixels.size.height) * rowBytes;
        std::uint32_t* to = picture.row(area.y + y) + area.x;
        const bool sameWidth = area.width == pixels.size.width;
        for (int x = 0; x < shown.width; ++x) {
            const std::size_t from = sameWidth ? static_cast<std::size_t>(x)
                                               : sourceOf(x, area.width, pixels.size.width);
            to[x] = layout.colour(row + from * layout.stride);
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
    if (!pixels.layout.exists()) return DrawResult::UnknownFormat;
    if (area.empty() || pixels.size.empty()) return DrawResult::Empty;
    // Divided, not multiplied: the sizes may be anything.
    const std::size_t bytes = pixels.layout.bytesPerPixel();
    if (pixels.data.size() % bytes != 0 || pixels.data.size() / bytes != pixels.size.count()) {
        return DrawResult::WrongLength;
    }
    const bool isBefore = area.x < 0 || area.y < 0;
    if (isBefore || intersection(area, picture.area()).empty()) return DrawResult::Outside;
    return {};
}

}  // namespace

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
    return intersection(area, picture.area()) == area ? DrawResult::Drawn : DrawResult::Clipped;
}

}  // namespace quarlo::headunit
