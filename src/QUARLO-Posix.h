/*
 * The platform layer: every call to the operating system for threads, mutexes, dynamic libraries,
 * memory, time and files. Each forwards to the POSIX or standard function of its name, with the
 * same arguments and result, unless it says otherwise. The layer keeps no state; any thread.
 */
#ifndef QUARLO_POSIX_H
#define QUARLO_POSIX_H

#include <pthread.h>
#include <stdio.h>
#include <time.h>

#include "QUARLO.Connector.IVI-API-Types_C.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef pthread_t quarloThread_t;
typedef pthread_attr_t quarloThread_attr_t;
typedef pthread_mutex_t quarloThread_mutex_t;
typedef pthread_mutexattr_t quarloThread_mutexattr_t;
typedef pthread_cond_t quarloThread_cond_t;
typedef pthread_key_t quarloThread_key_t;
/** A time of the monotonic clock. */
typedef struct timespec quarloTime_t;

/** The value of a static mutex that needs no initialisation. */
#define QUARLOTHREAD_MUTEX_INITIALIZER PTHREAD_MUTEX_INITIALIZER

typedef enum _QUARLOTHREAD_CANCELTYPES {
    QUARLOTHREAD_CANCEL_DEFERRED = 0,
    QUARLOTHREAD_CANCEL_ASYNCHRONOUS = 1
} quarloThreadCancelType;

typedef enum _QUARLOTHREAD_CANCELSTATES {
    QUARLOTHREAD_CANCEL_ENABLE = 0,
    QUARLOTHREAD_CANCEL_DISABLE = 1
} quarloThreadCancelState;

/* Equal to the mode bits of dlopen on Linux; a port maps them. */
typedef enum _QUARLOLIBRARY_MODES {
    QUARLOLIBRARY_RTLD_LAZY = 1,
    QUARLOLIBRARY_RTLD_NOW = 2,
    QUARLOLIBRARY_RTLD_BINDING_MASK = 3,
    QUARLOLIBRARY_RTLD_NOLOAD = 4,
    QUARLOLIBRARY_RTLD_DEEPBIND = 8
} quarloLibraryMode;

/* Process-wide set-up and tear-down of the layer; nothing on Linux. */
void quarlo_InitPosix(void);
void quarlo_ShutdownPosix(void);

int quarloThread_create(quarloThread_t* threadID, const quarloThread_attr_t* attributes,
                        void* (*start)(void*), void* arguments);
int quarloThread_join(quarloThread_t threadID, void** retValue);
int quarloThread_cancel(quarloThread_t threadID);
/** ASYNCHRONOUS, or for every other value DEFERRED. */
int quarloThread_setcanceltype(int type, int* oldType);
/** DISABLE, or for every other value ENABLE. */
int quarloThread_setcancelstate(int state, int* oldState);
/** Names the calling thread, cut to 15 characters; "no name known" for null. Always 0. */
int quarloThread_SetName(const char* name);
/** Marks the identifier as holding no thread. */
void quarlo_ClearThreadID(quarloThread_t* threadIdPtr);

int quarloThread_mutex_init(quarloThread_mutex_t* mutex,
                            const quarloThread_mutexattr_t* attributes);
int quarloThread_mutex_destroy(quarloThread_mutex_t* mutex);
int quarloThread_mutex_lock(quarloThread_mutex_t* mutex);
int quarloThread_mutex_unlock(quarloThread_mutex_t* mutex);

/** A condition whose deadlines are times of the monotonic clock. */
int quarloThread_cond_init(quarloThread_cond_t* condition);
int quarloThread_cond_destroy(quarloThread_cond_t* condition);
int quarloThread_cond_broadcast(quarloThread_cond_t* condition);
int quarloThread_cond_wait(quarloThread_cond_t* condition, quarloThread_mutex_t* mutex);
/** ETIMEDOUT when the deadline has passed. */
int quarloThread_cond_timedwait(quarloThread_cond_t* condition, quarloThread_mutex_t* mutex,
                                const quarloTime_t* deadline);

/** A value of each thread; ended is called with it when the thread ends, however it ends. */
int quarloThread_key_create(quarloThread_key_t* key, void (*ended)(void* value));
int quarloThread_key_delete(quarloThread_key_t key);
/** Sets the calling thread's value. */
int quarloThread_setspecific(quarloThread_key_t key, void* value);

void* quarlo_dlopen(const char* fileName, int mode);
/** userParam is accepted for ports that need it, and ignored. */
void* quarlo_dlsym(void* handle, const char* name, int userParam);
int quarlo_dlclose(void* handle);

/* All memory of the library, packets and buffers included, comes and goes through these two. */
void* quarlo_malloc(size_t amount);
void quarlo_free(void* ptr);

/** Sleeps whole seconds; the unslept rest. */
unsigned int quarloPosix_sleep(unsigned int waitTime);
/** Sleeps milliseconds; less when a signal comes. */
void quarloPosix_pause(unsigned int milliseconds);
/**
 * Writes the local time of day as "14:03:07.042"; nothing for null or a size below 12. A size of 12
 * loses the last digit.
 */
void quarlo_GetTimeOfDayString(char* timestamp, int size);
/** The time of the monotonic clock. */
void quarlo_GetMonotonicTime(quarloTime_t* now);
void quarlo_AddSeconds(quarloTime_t* time, unsigned int seconds);
/** Milliseconds of the monotonic clock; wraps after about 49.7 days. */
UInt32 quarlo_GetTimestamp(void);

FILE* quarlo_fopen(const char* fileName, const char* attributes);

#ifdef __cplusplus
}
#endif

#endif
