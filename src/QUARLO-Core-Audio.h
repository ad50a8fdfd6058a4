/*
 * The audio sources: one record for each request of a phone that the host has not closed. All of
 * them, of all instances, and the resulting audio type are guarded by syncLock. A source is freed
 * only after its timer thread was joined; a source that ends on its own timer thread is kept aside
 * until another thread joins it.
 */
#ifndef QUARLO_CORE_AUDIO_H
#define QUARLO_CORE_AUDIO_H

#include "QUARLO-Core-Utilities.h"

typedef struct _AUDIO_SOURCE_STRUCT {
    genericListElement list;
    AudioType type;
    AudioStatus status;  // 0 until the host has answered
    UInt32 requestID;
    UInt32 duration;  // seconds; 0 without a limit
    Flag requestPending;
    Flag releasePending;
    quarloThread_t timeoutThread;
    UInt32 timerCount;
    Flag timeoutRunning;
    Flag requestThreadEnd;
    quarlo_CoreInstance* handle;
    Flag isJoining;   // a thread is waiting for the timer
    Flag isOrphaned;  // that thread frees the source
    Flag isAtEnd;     // the timer has left the host's code for good
} audioSource;

namespace quarlo {

inline audioSource* audioSourceOf(genericListElement* element) {
    return reinterpret_cast<audioSource*>(element);
}

/** The source of a request; the caller holds syncLock. */
audioSource* findAudioSource(UInt32 requestID);

/** The source whose timer the calling thread is; null on every other thread. */
extern constinit thread_local const audioSource* ownSource;

/** Whether the calling thread is the source's timer. */
bool isOwnTimer(const audioSource* source);

/** Creates the source's timer thread; the caller holds syncLock. 0 or the platform's error number.
 */
int startAudioTimer(audioSource* source);

/** Waits for the timer of a request if it was told to end; never for the calling thread. */
void joinAudioTimer(UInt32 requestID);

/** Unlinks the source and frees it, now or when its timer has been joined. */
void endAudioSource(UInt32 requestID);

/** Joins the timers that ended their own sources, as far as that takes no waiting for the host. */
void reapAudioSources();

}  // namespace quarlo

#endif
