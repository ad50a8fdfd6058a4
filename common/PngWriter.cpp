#include "PngWriter.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Text.h"

namespace quarlo {
inline namespace common {

std::string writePng(const Picture& picture, const std::string& path, Effort effort) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = PNG_FORMAT_RGB;
    // The other side waits for nobody who compresses better.
    image.flags = effort == Effort::Fast ? PNG_IMAGE_FLAG_FAST : 0;

    std::vector<png_byte> rgb;
    rgb.reserve(picture.pixels.size() * 3);
    for (const std::uint32_t pixel : picture.pixels) {
        for (const int shift : {16, 8, 0}) rgb.push_back(static_cast<png_byte>(pixel >> shift));
    }
    const std::string part = path + ".part";
    if (png_image_write_to_file(&image, part.c_str(), 0, rgb.data(), 0, nullptr) == 0) {
        return path + ": " + image.message;
    }
    if (std::rename(part.c_str(), path.c_str()) != 0) {
        return path + ": " + std::strerror(errno);
    }
    return {};
}

std::string pictureName(const char* kind, unsigned number) {
    return format("%s-%04u.png", kind, number);
}

}  // namespace common
}  // namespace quarlo
