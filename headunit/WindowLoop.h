/*
 * Runs sessions beside a window: the window keeps the main thread, as its system wants it, and the
 * sessions get a thread of their own.
 */
#ifndef HEADUNIT_WINDOWLOOP_H
#define HEADUNIT_WINDOWLOOP_H

#include <functional>

#include "Board.h"
#include "Options.h"
#include "common/Log.h"

namespace quarlo::headunit {

/** Runs sessions until they end or the interrupts say so. @return the program's exit status */
using Sessions = std::function<int(const Options&, Board&)>;

/**
 * @param interrupts readable when the user wants the end; closing the window makes it so
 * @param problem why there is no window; then nothing was run
 */
int runInWindow(Options options, Log& log, int interrupts, const Sessions& sessions,
                std::string& problem);

}  // namespace quarlo::headunit

#endif
