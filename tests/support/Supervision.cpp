#include "Supervision.h"

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <latch>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

#include "QUARLO-Posix.h"

namespace {

std::atomic<long> refused{0};
std::atomic<long> mistakes{0};
std::mutex mutex;
std::multiset<pthread_t> threads;
std::condition_variable released;
bool areHeld = false;
bool isNextFinished = false;

/** A thread that waits before it begins, or is waited for. */
struct Staged {
    void* (*start)(void*);
    void* arguments;
    std::latch* ended;
};

void* runStaged(void* arguments) {
    const std::unique_ptr<Staged> staged(static_cast<Staged*>(arguments));
    {
        std::unique_lock lock(mutex);
        released.wait(lock, [] { return !areHeld; });
    }
    void* const result = staged->start(staged->arguments);
    if (staged->ended != nullptr) staged->ended->count_down();
    return result;
}

}  // namespace

extern "C" {
int __real_quarloThread_create(pthread_t* id, const pthread_attr_t* attributes,
                               void* (*start)(void*), void* arguments);
int __real_quarloThread_join(pthread_t id, void** result);
int __wrap_quarloThread_create(pthread_t* id, const pthread_attr_t* attributes,
                               void* (*start)(void*), void* arguments);
int __wrap_quarloThread_join(pthread_t id, void** result);
unsigned int __wrap_quarloPosix_sleep(unsigned int seconds);

int __wrap_quarloThread_create(pthread_t* id, const pthread_attr_t* attributes,
                               void* (*start)(void*), void* arguments) {
    if (refused > 0 && --refused == 0) return EAGAIN;
    std::latch ended(1);
    std::unique_lock lock(mutex);
    const bool isFinished = std::exchange(isNextFinished, false);
    if (areHeld || isFinished) {
        arguments = new Staged{start, arguments, isFinished ? &ended : nullptr};
        start = &runStaged;
    }
    const int error = __real_quarloThread_create(id, attributes, start, arguments);
    if (error == 0) threads.insert(*id);
    lock.unlock();
    if (isFinished && error == 0) ended.wait();
    return error;
}

int __wrap_quarloThread_join(pthread_t id, void** result) {
    if (pthread_equal(id, pthread_self()) != 0) {
        ++mistakes;
        return EDEADLK;
    }
    {
        const std::lock_guard lock(mutex);
        const auto found = threads.find(id);
        if (found == threads.end()) {
            ++mistakes;
            return ESRCH;
        }
        threads.erase(found);
    }
    return __real_quarloThread_join(id, result);
}

unsigned int __wrap_quarloPosix_sleep(unsigned int seconds) {
    quarloPosix_pause(seconds * quarlo::test::supervision::second);
    return 0;
}
}

namespace quarlo::test::supervision {

void refuseThread(long nth) {
    refused = nth;
}

void holdThreads(bool isHeld) {
    const std::lock_guard lock(mutex);
    areHeld = isHeld;
    released.notify_all();
}

void finishNextThread() {
    const std::lock_guard lock(mutex);
    isNextFinished = true;
}

long unjoined() {
    const std::lock_guard lock(mutex);
    return static_cast<long>(threads.size());
}

long wrongJoins() {
    return mistakes;
}

}  // namespace quarlo::test::supervision
