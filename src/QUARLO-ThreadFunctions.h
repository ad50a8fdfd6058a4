/*
 * Starting and joining the threads of an instance. A thread's running and need-join flags are set
 * by its creator before it can act, and its join is claimed under internalLock, so that it is
 * joined exactly once.
 */
#ifndef QUARLO_THREADFUNCTIONS_H
#define QUARLO_THREADFUNCTIONS_H

#include "QUARLO-Core-Utilities.h"

namespace quarlo {

/** Which fields of the record belong to a thread. */
struct ThreadFields {
    Role role;
    void* (*body)(void*);
    Polled<quarloThread_t> quarlo_CoreInstance::*id;
    Polled<Flag> quarlo_CoreInstance::*endFlag;
    Polled<Flag> quarlo_CoreInstance::*running;  // null for the join timer
    Polled<Flag> quarlo_CoreInstance::*needJoin;
};

extern const ThreadFields receiverThread;
extern const ThreadFields watchdogThread;
extern const ThreadFields initTimerThread;
extern const ThreadFields joinTimerThread;

/**
 * Creates the thread with its end flag cleared: 0, the platform's error number, or EBUSY
 * when there is one that nobody has joined.
 */
int startThread(quarlo_CoreInstance* obj, const ThreadFields& thread);

/** Joins the thread if nobody has claimed that yet; never joins the calling thread. */
void joinThread(quarlo_CoreInstance* obj, const ThreadFields& thread);

/** Ends and joins a thread left over from an earlier start. */
void finishThread(quarlo_CoreInstance* obj, const ThreadFields& thread);

/** Sets a flag under the instance's lock. */
void raiseFlag(quarlo_CoreInstance* obj, Polled<Flag> quarlo_CoreInstance::*flag);

/** Cancels the receiver unless it has left its loop; under the lock, so that its id is still its
 * own. */
void cancelReceiver(quarlo_CoreInstance* obj);

}  // namespace quarlo

#endif
