/*
 * The words that begin a script's line and what follows them. Pure functions over constants.
 */
#ifndef HEADUNIT_SCRIPTSTEPS_H
#define HEADUNIT_SCRIPTSTEPS_H

#include "Script.h"
#include "common/Words.h"

namespace quarlo::headunit {

using What = decltype(Step::what);

/** Reads a line that is not empty. @return empty, or what is allowed instead */
std::string readStep(Words words, What& what);

}  // namespace quarlo::headunit

#endif
