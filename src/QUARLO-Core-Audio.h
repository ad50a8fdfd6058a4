/*
 * The audio sources: one record for each request of a phone that the host has not closed. All of
 * them, of all instances, and the resulting audio type are guarded by syncLock. A source belongs to
 * the list and to its timer thread, if it has one: whoever lets go last frees it.
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
    Flag timeoutRunning;  // the timer has not fired
    quarlo::Polled<Flag> requestThreadEnd;
    quarlo_CoreInstance* handle;
    UInt32 serial;  // tells a source from a later one of the same requestID
    Flag isListed;  // belongs to the list
    Flag hasTimer;  // belongs to its timer, which may still go on
    quarlo::RunNumber timerRun;
} audioSource;

namespace quarlo {

inline audioSource* audioSourceOf(genericListElement* element) {
    return reinterpret_cast<audioSource*>(element);
}

/** The source of a request; the caller holds syncLock. */
audioSource* findAudioSource(UInt32 requestID);

/** Links a filled source; the caller holds syncLock. */
void listAudioSource(audioSource* source);

/** Creates the source's timer thread; the caller holds syncLock. 0 or the error's number. */
int startAudioTimer(audioSource* source);

/** Lets a timer go on that was told to end and has not left; the caller holds syncLock. */
void continueAudioTimer(audioSource* source);

/** Unlinks a source that is still listed and tells its timer to end: the timer's run, or 0. */
RunNumber endAudioSource(UInt32 serial);

}  // namespace quarlo

#endif
