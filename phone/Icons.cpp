#include "Icons.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "Apps.h"
#include "common/PixelLayout.h"

namespace quarlo::phone {
namespace {

constexpr UInt32 longestSide = 1024;

/// The size that a PNG file says it has, before anybody makes room for it.
std::optional<Size> sizeOf(const std::filesystem::path& file) {
    constexpr unsigned char begin[] = {0x89, 'P', 'N', 'G', 13, 10, 26, 10};
    unsigned char head[24] = {};
    std::ifstream input(file, std::ios::binary);
    if (!input.read(reinterpret_cast<char*>(head), sizeof head)) return {};
    if (std::memcmp(head, begin, sizeof begin) != 0) return {};
    const auto number = [&head](int at) {
        return UInt32{head[at]} << 24 | UInt32{head[at + 1]} << 16 | UInt32{head[at + 2]} << 8 |
               head[at + 3];
    };
    const UInt32 width = number(16);
    const UInt32 height = number(20);
    if (width == 0 || height == 0 || width > longestSide || height > longestSide) return {};
    return Size{static_cast<int>(width), static_cast<int>(height)};
}

std::optional<Picture> readPng(const std::filesystem::path& file) {
    const auto size = sizeOf(file);
    if (!size) return {};
    const Surface source(cairo_image_surface_create_from_png(file.c_str()), cairo_surface_destroy);
    if (cairo_surface_status(source.get()) != CAIRO_STATUS_SUCCESS) return {};
    Picture picture(*size);
    const Surface target = display::surfaceOf(picture);
    const std::unique_ptr<cairo_t, decltype(&cairo_destroy)> draw(cairo_create(target.get()),
                                                                  cairo_destroy);
    cairo_set_source_surface(draw.get(), source.get(), 0, 0);
    cairo_paint(draw.get());
    return picture;
}

}  // namespace

std::string readIcons(const std::string& directory, Icons& icons) {
    std::error_code failure;
    const std::filesystem::directory_iterator files(directory, failure);
    if (failure) return "a directory that can be read";
    for (const auto& entry : files) {
        const std::filesystem::path& file = entry.path();
        if (file.extension() != ".png") continue;
        const int app = findApp(file.stem().string());
        if (app < 0) return "NAME.png for NAME of " + appNames() + ", not " + file.string();
        auto picture = readPng(file);
        if (!picture) {
            return "PNG pictures of up to " + std::to_string(longestSide) +
                   " pixels wide and high, not " + file.string();
        }
        icons[app] = std::move(*picture);
    }
    return icons.empty() ? "a directory with NAME.png for NAME of " + appNames() : std::string();
}

}  // namespace quarlo::phone
