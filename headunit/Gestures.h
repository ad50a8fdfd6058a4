/*
 * What fingers do, as the touches that tell a phone of it. Pure functions.
 */
#ifndef HEADUNIT_GESTURES_H
#define HEADUNIT_GESTURES_H

#include "Script.h"

namespace quarlo::headunit {

struct Point {
    int x;
    int y;
};

Act touchOnce(TouchType type, Point at, UInt32 finger);
Act tap(Point at);
Act swipe(Point from, Point to, unsigned milliseconds);
/** Two fingers side by side around the middle change their distance. */
Act pinch(Point middle, int from, int to, unsigned milliseconds);

}  // namespace quarlo::headunit

#endif
