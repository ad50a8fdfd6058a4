/* The platform layer for Linux; see the header. */
#include "QUARLO-Posix.h"

#include <dlfcn.h>
#include <sys/prctl.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

extern "C" {

void quarlo_InitPosix(void) {}
void quarlo_ShutdownPosix(void) {}

int quarloThread_create(quarloThread_t* threadID, const quarloThread_attr_t* attributes,
                        void* (*start)(void*), void* arguments) {
    return pthread_create(threadID, attributes, start, arguments);
}

int quarloThread_join(quarloThread_t threadID, void** retValue) {
    return pthread_join(threadID, retValue);
}

int quarloThread_cancel(quarloThread_t threadID) {
    return pthread_cancel(threadID);
}

int quarloThread_setcanceltype(int type, int* oldType) {
    const int wanted = type == QUARLOTHREAD_CANCEL_ASYNCHRONOUS ? PTHREAD_CANCEL_ASYNCHRONOUS
                                                                : PTHREAD_CANCEL_DEFERRED;
    return pthread_setcanceltype(wanted, oldType);
}

int quarloThread_setcancelstate(int state, int* oldState) {
    const int wanted =
        state == QUARLOTHREAD_CANCEL_DISABLE ? PTHREAD_CANCEL_DISABLE : PTHREAD_CANCEL_ENABLE;
    return pthread_setcancelstate(wanted, oldState);
}

int quarloThread_SetName(const char* name) {
    char cut[16] = {};
    std::strncpy(cut, name == nullptr ? "no name known" : name, sizeof cut - 1);
    prctl(PR_SET_NAME, cut, 0, 0, 0);
    return 0;
}

void quarlo_ClearThreadID(quarloThread_t* threadIdPtr) {
    if (threadIdPtr != nullptr) *threadIdPtr = 0;
}

int quarloThread_mutex_init(quarloThread_mutex_t* mutex,
                            const quarloThread_mutexattr_t* attributes) {
    return pthread_mutex_init(mutex, attributes);
}
int quarloThread_mutex_destroy(quarloThread_mutex_t* mutex) {
    return pthread_mutex_destroy(mutex);
}
int quarloThread_mutex_lock(quarloThread_mutex_t* mutex) {
    return pthread_mutex_lock(mutex);
}
int quarloThread_mutex_unlock(quarloThread_mutex_t* mutex) {
    return pthread_mutex_unlock(mutex);
}

int quarloThread_cond_init(quarloThread_cond_t* condition) {
    pthread_condattr_t attributes;
    int error = pthread_condattr_init(&attributes);
    if (error != 0) return error;
    error = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    if (error == 0) error = pthread_cond_init(condition, &attributes);
    pthread_condattr_destroy(&attributes);
    return error;
}
int quarloThread_cond_destroy(quarloThread_cond_t* condition) {
    return pthread_cond_destroy(condition);
}
int quarloThread_cond_broadcast(quarloThread_cond_t* condition) {
    return pthread_cond_broadcast(condition);
}
int quarloThread_cond_wait(quarloThread_cond_t* condition, quarloThread_mutex_t* mutex) {
    return pthread_cond_wait(condition, mutex);
}
int quarloThread_cond_timedwait(quarloThread_cond_t* condition, quarloThread_mutex_t* mutex,
                                const quarloTime_t* deadline) {
    return pthread_cond_timedwait(condition, mutex, deadline);
}

int quarloThread_key_create(quarloThread_key_t* key, void (*ended)(void* value)) {
    return pthread_key_create(key, ended);
}
int quarloThread_key_delete(quarloThread_key_t key) {
    return pthread_key_delete(key);
}
int quarloThread_setspecific(quarloThread_key_t key, void* value) {
    return pthread_setspecific(key, value);
}

void* quarlo_dlopen(const char* fileName, int mode) {
    return dlopen(fileName, mode);
}
void* quarlo_dlsym(void* handle, const char* name, int) {
    return dlsym(handle, name);
}
int quarlo_dlclose(void* handle) {
    return dlclose(handle);
}

void* quarlo_malloc(size_t amount) {
    return std::malloc(amount);
}
void quarlo_free(void* ptr) {
    std::free(ptr);
}

unsigned int quarloPosix_sleep(unsigned int waitTime) {
    return sleep(waitTime);
}

void quarloPosix_pause(unsigned int milliseconds) {
    const timespec time{static_cast<time_t>(milliseconds / 1000),
                        static_cast<long>(milliseconds % 1000) * 1000000L};
    nanosleep(&time, nullptr);
}

void quarlo_GetTimeOfDayString(char* timestamp, int size) {
    // Deliberate: 12 is accepted although the whole text needs 13, since the time without its last
    // digit still serves the caller better than none.
    if (timestamp == nullptr || size < 12) return;
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char time[16];
    std::strftime(time, sizeof time, "%H:%M:%S", &local);
    std::snprintf(timestamp, static_cast<std::size_t>(size), "%s.%3.3ld", time,
                  static_cast<long>(now.tv_usec / 1000));
}

void quarlo_GetMonotonicTime(quarloTime_t* now) {
    clock_gettime(CLOCK_MONOTONIC, now);
}

void quarlo_AddSeconds(quarloTime_t* time, unsigned int seconds) {
    time->tv_sec += static_cast<time_t>(seconds);
}

UInt32 quarlo_GetTimestamp(void) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<UInt32>(static_cast<UInt64>(now.tv_sec) * 1000U +
                               static_cast<UInt64>(now.tv_nsec) / 1000000U);
}

FILE* quarlo_fopen(const char* fileName, const char* attributes) {
    return std::fopen(fileName, attributes);
}

}  // extern "C"
