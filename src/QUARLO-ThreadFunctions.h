/*
 * What the receiver, the supervision threads and the lifecycle share. The life of the threads
 * themselves is in QUARLO-Thread.h.
 */
#ifndef QUARLO_THREADFUNCTIONS_H
#define QUARLO_THREADFUNCTIONS_H

#include "QUARLO-Core-Utilities.h"

namespace quarlo {

/** Cancels the receiver unless it has left its loop by itself. */
void cancelReceiver(quarlo_CoreInstance* obj);

}  // namespace quarlo

#endif
