/*
 * The life of the library's threads. A run is numbered and recorded before its thread is created,
 * and its end is recorded by the thread as the last it does, however it ends. To wait for a thread
 * is to wait for that record; threads that have recorded their end are joined (reapThreads), which
 * takes no time. One lock guards all records, the thread lock: nothing is called and no other lock
 * is taken while it is held. Any thread may call anything here, but only those may wait that no
 * run can be waiting for.
 */
#ifndef QUARLO_THREAD_H
#define QUARLO_THREAD_H

#include "QUARLO-Polled.h"
#include "QUARLO-Posix.h"

namespace quarlo {

/** Tells the runs of the process apart; 0 for none. */
using RunNumber = UInt32;

/** The threads that use one owner: it may be freed when there are none left. */
struct ThreadGroup {
    Polled<unsigned> count;  // thread lock; runs whose end is not recorded
    bool isClosed = false;   // thread lock; takes no further runs
};

struct CreatedThread {
    int error;  // 0, ECANCELED in a closed group, ENOMEM, or the platform's number
    RunNumber run;
    quarloThread_t id;
};

/** Creates a thread of a group, also under a lock of the caller's. */
CreatedThread createThread(ThreadGroup& group, void* (*body)(void*), void* argument);

/** Gives a run that goes on a new number, so that nobody waits for it who wanted its end. */
RunNumber renumber(RunNumber run);

/** Lets all that wait look again at what they wait for; after a change of it. */
void wakeThreads();

/** Waits until a run has recorded its end. */
void waitForEnd(RunNumber run);
/** The same, at most until a time of the monotonic clock; false when that came first. */
bool waitForEnd(RunNumber run, const quarloTime_t& deadline);
/** From now on no run begins in the group. */
void closeGroup(ThreadGroup& group);
/** Waits until every run of the group has recorded its end. */
void waitForGroup(ThreadGroup& group);

/** Joins every thread that has recorded its end. */
void reapThreads();
/** Gives back what the records need, when there are none left. */
void shutdownThreads();

/** Waits while a flag is set; whoever clears it wakes all. */
void waitWhile(const Polled<Flag>& flag);

/** Sleeps until the time has come or the flag is set; whether it is set. */
bool sleepUntil(const quarloTime_t& deadline, const Polled<Flag>& flag);

struct Run;

/**
 * A place in which one run at a time serves. A run that was asked to end and has not looked yet can
 * be followed by the next one at once: its thread then goes on as that.
 */
class Thread {
  public:
    /** Asks the run to end; a run clears it for none but its successor. */
    Polled<Flag> endFlag;

    /** 0, or what createThread says, or EBUSY when a run serves or follows that is not to end. */
    int start(ThreadGroup& group, void* (*body)(void*), void* argument);
    /** Asks for the end of the run that serves, and of one that was to follow it. */
    RunNumber end();
    /** The run's own end; false when somebody has asked for it before. */
    bool endItself();
    /** The run's last question: true when it is over, false when the thread serves as the next. */
    bool leave();
    /** Cancels the thread if it has not ended. */
    void cancel();

    [[nodiscard]] bool isServing() const { return serves; }
    [[nodiscard]] RunNumber latestRun() const { return run; }
    [[nodiscard]] quarloThread_t id() const { return latestId; }

  private:
    friend struct Run;
    Polled<bool> serves;  // these change under the thread lock
    Polled<RunNumber> run;
    Polled<quarloThread_t> latestId;
    bool isFollowed = false;  // thread lock
};

}  // namespace quarlo

#endif
