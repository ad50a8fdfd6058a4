#include "PngWriter.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace quarlo::headunit {

std::string writePng(const Picture& picture, const std::string& path, Effort effort) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.size.width;
    image.height = picture.size.height;
    image.format = PNG_FORMAT_RGB;
    // The phone waits for nobody who compresses better.
    image.flags = effort == Effort::Fast ? PNG_IMAGE_FLAG_FAST : 0;

    const std::string part = path + ".part";
    if (png_image_write_to_file(&image, part.c_str(), 0, picture.rgb.data(), 0, nullptr) == 0) {
        return path + ": " + image.message;
    }
    if (std::rename(part.c_str(), path.c_str()) != 0) {
        return path + ": " + std::strerror(errno);
    }
    return {};
}

std::string frameName(unsigned update) {
    char name[32];
    std::snprintf(name, sizeof name, "frame-%04u.png", update);
    return name;
}

}  // namespace quarlo::headunit
