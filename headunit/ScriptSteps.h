/*
 * The table of what a head unit's script can do. A constant.
 */
#ifndef HEADUNIT_SCRIPTSTEPS_H
#define HEADUNIT_SCRIPTSTEPS_H

#include "Script.h"

namespace quarlo::headunit {

const Steps<What>& scriptSteps();

}  // namespace quarlo::headunit

#endif
