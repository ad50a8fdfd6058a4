/* The records of the library's threads; see the header. */
#include "QUARLO-Thread.h"

#include <cerrno>
#include <memory>

namespace quarlo {

/* What a thread changes when it records its end is atomic besides: it may have been cancelled
 * anywhere in the host's code, and what checks the use of memory does not see such a thread lock.
 */
struct Run {
    Run(RunNumber itsNumber, ThreadGroup& itsGroup, Thread* itsPlace, void* (*itsBody)(void*),
        void* itsArgument)
        : number(itsNumber),
          group(&itsGroup),
          place(itsPlace),
          body(itsBody),
          argument(itsArgument) {}

    Polled<Run*> next;
    Polled<RunNumber> number;
    quarloThread_t id{};
    ThreadGroup* group;
    Thread* place;  // null for a run without one
    void* (*body)(void*);
    void* argument;

    /** A thread that the host's code has ended, or that was cancelled, serves no more. */
    void vacate() const {
        if (place != nullptr && place->run == number) place->serves = false;
    }
};

namespace {

quarloThread_mutex_t threadLock = QUARLOTHREAD_MUTEX_INITIALIZER;

/* All guarded by the thread lock. */
quarloThread_cond_t changed;
quarloThread_key_t runKey;
bool isPrepared = false;
RunNumber lastNumber = 0;
Polled<Run*> running;
Polled<Run*> ended;

class ThreadLock {
  public:
    ThreadLock() { quarloThread_mutex_lock(&threadLock); }
    ~ThreadLock() { quarloThread_mutex_unlock(&threadLock); }
    ThreadLock(const ThreadLock&) = delete;
    ThreadLock& operator=(const ThreadLock&) = delete;
};

/* What follows is called under the thread lock. */

void broadcast() {
    if (isPrepared) quarloThread_cond_broadcast(&changed);
}

RunNumber nextNumber() {
    if (++lastNumber == 0) ++lastNumber;
    return lastNumber;
}

Run* findRun(RunNumber number) {
    Run* at = running;
    while (at != nullptr && at->number != number) at = at->next;
    return at;
}

void unlink(const Run* run) {
    Polled<Run*>* at = &running;
    while (at->get() != run) at = &at->get()->next;
    *at = run->next.get();
}

void recordEnd(void* value) {
    auto* run = static_cast<Run*>(value);
    const ThreadLock lock;
    unlink(run);
    run->vacate();
    run->next = ended.get();
    ended = run;
    broadcast();
    // The owner of the group may be gone as soon as it counts none.
    run->group->count.add(static_cast<unsigned>(-1));
}

/** The first thread's creation makes what all records need. */
int prepare() {
    if (isPrepared) return 0;
    const int error = quarloThread_cond_init(&changed);
    if (error != 0) return error;
    const int keyError = quarloThread_key_create(&runKey, &recordEnd);
    if (keyError != 0) {
        quarloThread_cond_destroy(&changed);
        return keyError;
    }
    isPrepared = true;
    return 0;
}

void* serve(void* value) {
    auto* run = static_cast<Run*>(value);
    // The end is recorded after the destructors of the host's thread-local objects, too.
    const bool isKept = quarloThread_setspecific(runKey, run) == 0;
    run->body(run->argument);
    if (!isKept) recordEnd(run);
    return nullptr;
}

CreatedThread create(ThreadGroup& group, Thread* place, void* (*body)(void*), void* argument) {
    CreatedThread result{group.isClosed ? ECANCELED : prepare(), 0, {}};
    quarlo_ClearThreadID(&result.id);
    if (result.error != 0) return result;
    auto* run = static_cast<Run*>(quarlo_malloc(sizeof(Run)));
    if (run == nullptr) {
        result.error = ENOMEM;
        return result;
    }
    std::construct_at(run, nextNumber(), group, place, body, argument);
    run->next = running.get();
    result.error = quarloThread_create(&run->id, nullptr, &serve, run);
    if (result.error != 0) {
        quarlo_free(run);
        return result;
    }
    running = run;
    group.count.add(1);
    result.run = run->number;
    result.id = run->id;
    return result;
}

}  // namespace

CreatedThread createThread(ThreadGroup& group, void* (*body)(void*), void* argument) {
    const ThreadLock lock;
    return create(group, nullptr, body, argument);
}

RunNumber renumber(RunNumber run) {
    const ThreadLock lock;
    Run* found = findRun(run);
    if (found == nullptr) return 0;
    found->number = nextNumber();
    broadcast();
    return found->number;
}

void wakeThreads() {
    const ThreadLock lock;
    broadcast();
}

void waitForEnd(RunNumber run) {
    const ThreadLock lock;
    while (findRun(run) != nullptr) quarloThread_cond_wait(&changed, &threadLock);
}

bool waitForEnd(RunNumber run, const quarloTime_t& deadline) {
    const ThreadLock lock;
    while (findRun(run) != nullptr) {
        const int error = quarloThread_cond_timedwait(&changed, &threadLock, &deadline);
        if (error == ETIMEDOUT) return findRun(run) == nullptr;
    }
    return true;
}

void closeGroup(ThreadGroup& group) {
    const ThreadLock lock;
    group.isClosed = true;
}

void waitForGroup(ThreadGroup& group) {
    const ThreadLock lock;
    while (group.count != 0) quarloThread_cond_wait(&changed, &threadLock);
}

void reapThreads() {
    Run* at = nullptr;
    {
        const ThreadLock lock;
        at = ended.exchange(nullptr);
    }
    while (at != nullptr) {
        Run* next = at->next;
        quarloThread_join(at->id, nullptr);
        quarlo_free(at);
        at = next;
    }
}

void shutdownThreads() {
    reapThreads();
    const ThreadLock lock;
    if (!isPrepared || running != nullptr) return;
    quarloThread_key_delete(runKey);
    quarloThread_cond_destroy(&changed);
    isPrepared = false;
}

void waitWhile(const Polled<Flag>& flag) {
    const ThreadLock lock;
    while (flag != 0) quarloThread_cond_wait(&changed, &threadLock);
}

bool sleepUntil(const quarloTime_t& deadline, const Polled<Flag>& flag) {
    const ThreadLock lock;
    while (flag == 0) {
        if (quarloThread_cond_timedwait(&changed, &threadLock, &deadline) == ETIMEDOUT) break;
    }
    return flag != 0;
}

int Thread::start(ThreadGroup& group, void* (*body)(void*), void* argument) {
    const ThreadLock lock;
    if (serves) {
        if (endFlag == 0 || isFollowed) return EBUSY;
        if (group.isClosed) return ECANCELED;
        isFollowed = true;
        return 0;
    }
    const Flag former = endFlag;
    endFlag = eFLAG_FALSE;
    const CreatedThread created = create(group, this, body, argument);
    if (created.error != 0) {
        endFlag = former;
        return created.error;
    }
    serves = true;
    run = created.run;
    latestId = created.id;
    return 0;
}

RunNumber Thread::end() {
    const ThreadLock lock;
    endFlag = eFLAG_TRUE;
    isFollowed = false;
    broadcast();
    return run;
}

bool Thread::endItself() {
    const ThreadLock lock;
    if (endFlag != 0) return false;
    endFlag = eFLAG_TRUE;
    return true;
}

bool Thread::leave() {
    const ThreadLock lock;
    serves = isFollowed;
    if (!isFollowed) return true;
    isFollowed = false;
    endFlag = eFLAG_FALSE;
    Run* found = findRun(run);
    if (found != nullptr) run = found->number = nextNumber();
    broadcast();
    return false;
}

void Thread::cancel() {
    const ThreadLock lock;
    const Run* found = findRun(run);
    if (found != nullptr) quarloThread_cancel(found->id);
}

}  // namespace quarlo
