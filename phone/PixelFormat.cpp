// Pixel conversion: one loop per format, chosen once per rectangle. Pure functions.
#include "PixelFormat.h"

namespace quarlo::phone {
namespace {

using Pixel = std::uint32_t;

constexpr Pixel red(Pixel p) {
    return p >> 16 & 0xFF;
}
constexpr Pixel green(Pixel p) {
    return p >> 8 & 0xFF;
}
constexpr Pixel blue(Pixel p) {
    return p & 0xFF;
}

constexpr Pixel as565(Pixel p) {
    return red(p) >> 3 << 11 | green(p) >> 2 << 5 | blue(p) >> 3;
}

/// A pixel's colours after a trip through 16 bits, expanded by repeating their upper bits.
constexpr Pixel through565(Pixel p) {
    const Pixel r = red(p) >> 3;
    const Pixel g = green(p) >> 2;
    const Pixel b = blue(p) >> 3;
    return 0xFF000000u | (r << 3 | r >> 2) << 16 | (g << 2 | g >> 4) << 8 | (b << 3 | b >> 2);
}

template <unsigned Bytes, class Value>
void packWith(const Picture& picture, const Area& area, PixelEndianess order, std::uint8_t* out,
              Value value) {
    const bool littleFirst = order == ePIXELENDIANESS_LittleEndian;
    for (int y = area.y; y < area.bottom(); ++y) {
        const Pixel* from = picture.row(y) + area.x;
        for (int x = 0; x < area.width; ++x) {
            const Pixel stored = value(from[x]);
            for (unsigned i = 0; i < Bytes; ++i) {
                const unsigned shift = 8 * (littleFirst ? i : Bytes - 1 - i);
                *out++ = static_cast<std::uint8_t>(stored >> shift);
            }
        }
    }
}

}  // namespace

void quantise(const Picture& from, PixelFormat format, Picture& to) {
    to.width = from.width;
    to.height = from.height;
    to.pixels.resize(from.pixels.size());
    const auto opaque = [](Pixel p) { return p | 0xFF000000u; };
    if (format == ePIXELFORMAT_RGB565) {
        std::transform(from.pixels.begin(), from.pixels.end(), to.pixels.begin(), through565);
    } else {
        std::transform(from.pixels.begin(), from.pixels.end(), to.pixels.begin(), opaque);
    }
}

void packPixels(const Picture& picture, const Area& area, const PixelLayout& layout,
                std::uint8_t* out) {
    switch (layout.format) {
        case ePIXELFORMAT_RGB565:
            return packWith<2>(picture, area, layout.order, out, as565);
        case ePIXELFORMAT_RGB888:
            return packWith<3>(picture, area, layout.order, out, [](Pixel p) { return p; });
        case ePIXELFORMAT_RGBA8888:
            return packWith<4>(picture, area, layout.order, out,
                               [](Pixel p) { return p << 8 | 0xFF; });
        default:
            return packWith<4>(picture, area, layout.order, out,
                               [](Pixel p) { return p | 0xFF000000u; });
    }
}

}  // namespace quarlo::phone
