/**
 * @file
 * Finds where two pictures differ. Pure functions.
 */
#ifndef PHONE_CHANGES_H
#define PHONE_CHANGES_H

#include <vector>

#include "common/Picture.h"

namespace quarlo::phone {

/**
 * Rectangles inside `within` that together hold every pixel in which the pictures, of equal size,
 * differ. They do not overlap, are as tight as their pixels allow, and are at most `limit` (at
 * least 1).
 */
std::vector<Area> changedAreas(const Picture& before, const Picture& now, const Area& within,
                               std::size_t limit);

}  // namespace quarlo::phone

#endif
