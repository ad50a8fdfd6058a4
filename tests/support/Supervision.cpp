#include "Supervision.h"

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <set>

#include "QUARLO-Posix.h"

namespace {

std::atomic<long> refused{0};
std::atomic<long> mistakes{0};
std::mutex mutex;
std::multiset<pthread_t> threads;
std::condition_variable released;
bool areHeld = false;

/** A thread that waits before it begins. */
struct Staged {
    void* (*start)(void*);
    void* arguments;
};

void* runStaged(void* arguments) {
    const std::unique_ptr<Staged> staged(static_cast<Staged*>(arguments));
    {
        std::unique_lock lock(mutex);
        released.wait(lock, [] { return !areHeld; });
    }
    return staged->start(staged->arguments);
}

}  // namespace

extern "C" {
int __real_quarloThread_create(pthread_t* id, const pthread_attr_t* attributes,
                               void* (*start)(void*), void* arguments);
int __real_quarloThread_join(pthread_t id, void** result);
int __wrap_quarloThread_create(pthread_t* id, const pthread_attr_t* attributes,
                               void* (*start)(void*), void* arguments);
int __wrap_quarloThread_join(pthread_t id, void** result);
void __wrap_quarlo_AddSeconds(quarloTime_t* time, unsigned int seconds);

int __wrap_quarloThread_create(pthread_t* id, const pthread_attr_t* attributes,
                               void* (*start)(void*), void* arguments) {
    if (refused > 0 && --refused == 0) return EAGAIN;
    const std::lock_guard lock(mutex);
    if (areHeld) {
        arguments = new Staged{start, arguments};
        start = &runStaged;
    }
    const int error = __real_quarloThread_create(id, attributes, start, arguments);
    if (error == 0) threads.insert(*id);
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

void __wrap_quarlo_AddSeconds(quarloTime_t* time, unsigned int seconds) {
    time->tv_nsec += static_cast<long>(seconds) * quarlo::test::supervision::second * 1000000L;
    time->tv_sec += time->tv_nsec / 1000000000L;
    time->tv_nsec %= 1000000000L;
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

long unjoined() {
    const std::lock_guard lock(mutex);
    return static_cast<long>(threads.size());
}

long wrongJoins() {
    return mistakes;
}

}  // namespace quarlo::test::supervision
