/**
 * @file
 * The photographs on the phone, which are part of the program. Any thread.
 */
#ifndef PHONE_PHOTOGRAPHS_H
#define PHONE_PHOTOGRAPHS_H

#include "common/Picture.h"

namespace quarlo::phone {

constexpr int photographCount = 2;

/** Decodes the photograph of that number, from 0; an empty picture if that fails. */
Picture photograph(int number);

}  // namespace quarlo::phone

#endif
