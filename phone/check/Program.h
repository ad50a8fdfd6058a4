/**
 * @file
 * The phone as a program that grades a head unit: lets it in, has the checker speak with it, prints
 * the verdicts. The main thread.
 */
#ifndef PHONE_CHECK_PROGRAM_H
#define PHONE_CHECK_PROGRAM_H

#include <functional>

#include "Bell.h"
#include "Options.h"

namespace quarlo::phone {

/** What a check ends with; wrong usage has 2, as everywhere. */
enum CheckStatus { hasNoFail = 0, hasFail = 1, isWrongUsage = 2, hasNoSession = 3 };

/**
 * Checks one head unit. Says on stderr why it cannot begin.
 * @param bell is rung when there is a reason to look at `isStopRequested`
 * @return the exit status
 */
int runCheck(const Options& options, const Bell& bell,
             const std::function<bool()>& isStopRequested);

}  // namespace quarlo::phone

#endif
