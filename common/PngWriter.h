/*
 * Writes the colours of pictures as PNG files. A file appears under its name only when it is
 * complete.
 */
#ifndef COMMON_PNGWRITER_H
#define COMMON_PNGWRITER_H

#include <string>

#include "Picture.h"

namespace quarlo {
inline namespace common {

enum class Effort { Fast, Small };

/** @return empty, or why the file could not be written */
std::string writePng(const Picture& picture, const std::string& path, Effort effort = Effort::Fast);

/** The name of one of many: frame-0001.png. */
std::string pictureName(const char* kind, unsigned number);

}  // namespace common
}  // namespace quarlo

#endif
