/**
 * @file
 * Icons from a folder of PNG files, each named after its app. Pure functions.
 */
#ifndef PHONE_ICONS_H
#define PHONE_ICONS_H

#include "Options.h"

namespace quarlo::phone {

/** @return empty, or what is allowed instead */
std::string readIcons(const std::string& directory, Icons& icons);

}  // namespace quarlo::phone

#endif
