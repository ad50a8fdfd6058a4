#include "PixelLayout.h"

namespace quarlo {
inline namespace common {

UInt8 bytesPerPixel(PixelFormat format) {
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

bool PixelLayout::exists() const {
    const bool isOrder =
        order == ePIXELENDIANESS_BigEndian || order == ePIXELENDIANESS_LittleEndian;
    return isOrder && bytesPerPixel() != 0;
}

std::optional<PixelLayout> pixelLayoutOf(PixelFormat format, PixelEndianess order,
                                         UInt8 bytesPerPixel) {
    const PixelLayout layout{format, order};
    if (!layout.exists() || layout.bytesPerPixel() != bytesPerPixel) return {};
    return layout;
}

}  // namespace common
}  // namespace quarlo
