/**
 * @file
 * The photograph on the phone's screen: a mountain lake, rendered from a height field so that it
 * has the detail and the noise of a camera picture without a file to ship. The same seed gives the
 * same pixels.
 */
#ifndef QUARLO_PHONE_PHOTOGRAPH_H
#define QUARLO_PHONE_PHOTOGRAPH_H

#include "Picture.h"

namespace quarlo::phone {

/** Renders the photograph; takes a few tenths of a second. */
Picture takePhotograph(int width, int height, std::uint32_t seed);

}  // namespace quarlo::phone

#endif
