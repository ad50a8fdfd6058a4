/*
 * Writes pictures as PNG files. A file appears under its name only when it is complete.
 */
#ifndef HEADUNIT_PNGWRITER_H
#define HEADUNIT_PNGWRITER_H

#include <string>

#include "Picture.h"

namespace quarlo::headunit {

enum class Effort { Fast, Small };

/** @return empty, or why the file could not be written */
std::string writePng(const Picture& picture, const std::string& path, Effort effort = Effort::Fast);

/** The name of the picture of an update: frame-0001.png for 1. */
std::string frameName(unsigned update);

}  // namespace quarlo::headunit

#endif
