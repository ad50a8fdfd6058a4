/*
 * The host's answers to audio requests. Host threads, receiver and timer threads from inside
 * callbacks; syncLock guards the sources, traces are made after it is released.
 */
#include "QUARLO-Core-Audio.h"
#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo {
namespace {

/** What an answer came to. */
struct Answer {
    UInt32 serial = 0;  // of the source; 0 when there is none
    const char* note = nullptr;
    eTraceClass noteClass = eTRACECLASS_INFORMATION;
    bool needsTimer = false;
    RunNumber endedTimer = 0;
    bool ends = false;
};

void mix(AudioType additional) {
    currentAudioType = mixAudioTypes(currentAudioType, additional);
}

void open(audioSource& source, Answer& answer) {
    if (source.requestPending != 0) answer.note = "pending open request acknowledged";
    source.requestPending = eFLAG_FALSE;
    mix(source.type);
    if (source.duration == 0) return;
    if (source.hasTimer == 0) {
        answer.needsTimer = true;
    } else if (source.requestThreadEnd != 0) {
        // Opened again before the timer has left, perhaps in its own callback: no second one.
        continueAudioTimer(&source);
    } else if (source.status != eAUDIOSTATUS_Suspend) {
        source.timerCount = 0;
    }
}

void close(audioSource& source, Answer& answer) {
    if (source.status != eAUDIOSTATUS_Open && source.status != eAUDIOSTATUS_Suspend) {
        answer.note = "unexpected 'close' status";
        answer.noteClass = eTRACECLASS_WARNING;
        return;
    }
    source.requestThreadEnd = eFLAG_TRUE;
    if (source.hasTimer != 0) answer.endedTimer = source.timerRun;
    mix(eAUDIOTYPE_Silent);
    answer.ends = true;
}

/** Applies the answer to the source; the caller holds syncLock. */
void apply(audioSource& source, AudioStatus status, Answer& answer) {
    switch (status) {
        case eAUDIOSTATUS_Reject:
            if (source.requestPending == 0) answer.note = "There is no pending 'open' request";
            answer.ends = true;
            break;
        case eAUDIOSTATUS_Open:
            open(source, answer);
            break;
        case eAUDIOSTATUS_Suspend:
            if (source.status != eAUDIOSTATUS_Open) {
                answer.note = "transition to 'suspend' requires state 'open'";
                answer.noteClass = eTRACECLASS_WARNING;
            }
            mix(eAUDIOTYPE_Silent);
            break;
        case eAUDIOSTATUS_Close:
            close(source, answer);
            break;
        default:
            break;
    }
    source.status = status;
}

Answer answerSource(UInt32 requestID, AudioStatus status) {
    const Lock library(nullptr);
    Answer answer;
    audioSource* source = findAudioSource(requestID);
    if (source == nullptr) return answer;
    answer.serial = source->serial;
    apply(*source, status, answer);
    return answer;
}

audioSource* findSerial(UInt32 requestID, UInt32 serial) {
    audioSource* source = findAudioSource(requestID);
    return source != nullptr && source->serial == serial ? source : nullptr;
}

void startTimer(quarlo_CoreInstance* obj, UInt32 requestID, UInt32 serial) {
    reapThreads();
    int error = 0;
    quarloThread_t id;
    {
        const Lock library(nullptr);
        audioSource* source = findSerial(requestID, serial);
        if (source == nullptr || source->hasTimer != 0) return;
        error = startAudioTimer(source);
        id = source->timeoutThread;
    }
    if (error != 0) {
        trace(obj, eTRACECLASS_WARNING, "SetAudioStatus - timeout thread create failed.");
    } else {
        trace(obj, eTRACECLASS_INFORMATION, "audio timeout (ID %d) thread handle = 0x%8.8lX",
              static_cast<int>(requestID), id);
    }
}

/** Lets a timer end that was told to; where waiting is not allowed it does so by itself. */
void finishTimer(RunNumber run) {
    if (run == 0) return;
    wakeThreads();
    if (!mayWait()) return;
    waitForEnd(run);
    reapThreads();
}

eReturnCode setStatus(quarlo_CoreInstance* obj, UInt32 requestID, AudioStatus status,
                      AudioRequestResultCode reason) {
    const Answer answer = answerSource(requestID, status);
    if (answer.serial == 0) {
        trace(obj, eTRACECLASS_WARNING,
              "    no audio source for request ID found; status call ignored.");
        return eRETURN_NOT_FOUND;
    }
    if (answer.note != nullptr) trace(obj, answer.noteClass, "%s", answer.note);
    if (answer.needsTimer) startTimer(obj, requestID, answer.serial);
    finishTimer(answer.endedTimer);
    if (!inRun(obj)) return eRETURN_STATE_NOT_RUN;
    send<packetClientAudio>(obj, [&](packetClientAudio& packet) {
        packet.RequestID = requestID;
        packet.Status = status;
        packet.ResultCode = reason;
    });
    if (answer.ends) finishTimer(endAudioSource(answer.serial));
    return eRETURN_OKAY;
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" {

eReturnCode quarlo_SetAudioRequestCallback(void* instanceHandle,
                                           quarloAudioRequestCallback callback) {
    return store(instanceHandle, &quarlo_CoreInstance::onAudioRequestCallback, callback,
                 "SetAudioRequestCallback");
}

eReturnCode quarlo_SetAudioStatus(void* instanceHandle, UInt32 requestID, AudioStatus status,
                                  AudioRequestResultCode reason) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "SetAudioStatus requestID=%d status=%s",
              static_cast<int>(requestID), _quarlo_getAudioStatusName(status));
        if (!hasCapability(obj, eSERVERCAPABILITIES_EnableAudioHandling,
                           "call to Audio handling not supported by handset.")) {
            return eRETURN_NOT_SUPPORTED;
        }
        return setStatus(obj, requestID, status, reason);
    });
}

}  // extern "C"
