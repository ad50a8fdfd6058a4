/*
 * Pixels in memory and rectangles of them. Values without threads: whoever holds one guards it.
 */
#ifndef COMMON_PICTURE_H
#define COMMON_PICTURE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace quarlo {
inline namespace common {

struct Size {
    int width = 0;
    int height = 0;

    bool empty() const { return width <= 0 || height <= 0; }
    /** How many pixels that is. */
    std::size_t count() const {
        return empty() ? 0 : static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
    bool operator==(const Size&) const = default;
};

/** A rectangle of pixels; empty when it has no width or no height. */
struct Area {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    int right() const { return x + width; }
    int bottom() const { return y + height; }
    Size size() const { return {width, height}; }
    bool empty() const { return size().empty(); }
    bool operator==(const Area&) const = default;
};

inline Area areaOf(int left, int top, int right, int bottom) {
    return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

inline Area intersection(const Area& a, const Area& b) {
    return areaOf(std::max(a.x, b.x), std::max(a.y, b.y), std::min(a.right(), b.right()),
                  std::min(a.bottom(), b.bottom()));
}

/** The smallest area that holds both; an empty one counts for nothing. */
inline Area bounds(const Area& a, const Area& b) {
    if (a.empty()) return b;
    if (b.empty()) return a;
    return areaOf(std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.right(), b.right()),
                  std::max(a.bottom(), b.bottom()));
}

/** Rows of 0xAARRGGBB pixels without padding; opaque pixels have A = 255. */
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;

    Picture() = default;
    Picture(int w, int h, std::uint32_t fill = 0)
        : width(w), height(h), pixels(Size{w, h}.count(), fill) {}

    explicit Picture(Size size) : Picture(size.width, size.height) {}

    Size size() const { return {width, height}; }
    Area area() const { return {0, 0, width, height}; }
    std::uint32_t* row(int y) {
        return pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
    }
    const std::uint32_t* row(int y) const {
        return pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
    }
};

}  // namespace common
}  // namespace quarlo

#endif
