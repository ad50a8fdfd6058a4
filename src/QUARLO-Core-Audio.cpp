/* Audio sources, their timer threads and their ends; see the header. */
#include "QUARLO-Core-Audio.h"

#include <algorithm>
#include <utility>

#include "QUARLO.Connector.IVI-API_C.h"

genericList audioSourceList;
AudioType currentAudioType = eAUDIOTYPE_Ignore;

namespace quarlo {

namespace {

/** The last source's; syncLock. */
UInt32 lastSerial = 0;

/** After a source has ended: a plain numeric maximum, and not the mixing rule. */
void recomputeType() {
    currentAudioType = eAUDIOTYPE_Silent;
    for (auto* at = listGetFirstElement(&audioSourceList); at != nullptr;
         at = listGetNextElement(&audioSourceList)) {
        currentAudioType = std::max(currentAudioType, audioSourceOf(at)->type);
    }
}

/** Frees a source that neither the list nor a timer uses; the caller holds syncLock. */
void release(audioSource* source) {
    if (source->isListed == 0 && source->hasTimer == 0) quarlo_free(source);
}

/** Takes a source off the list; its timer, if it has one, ends. The caller holds syncLock. */
void unlist(audioSource* source) {
    source->requestThreadEnd = eFLAG_TRUE;
    listRemoveElement(&audioSourceList, &source->list);
    source->isListed = eFLAG_FALSE;
    release(source);
}

/** Ends the sources that the caller chooses. */
template <class Wanted>
void endSources(Wanted isWanted) {
    {
        const Lock library(nullptr);
        bool isAny = false;
        for (auto* at = listGetFirstElement(&audioSourceList); at != nullptr;) {
            audioSource* source = audioSourceOf(at);
            at = at->next == &audioSourceList.tail ? nullptr : at->next;
            if (!isWanted(*source)) continue;
            unlist(source);
            isAny = true;
        }
        if (isAny) recomputeType();
    }
    wakeThreads();
}

/* ---- the timer ---- */

/** What a second of the timer came to. */
enum class Second { Goes, Fires, Ends };

void countSecond(audioSource* source) {
    const Lock library(nullptr);
    // Only seconds spent open count; a suspended source does not age.
    if (source->status == eAUDIOSTATUS_Open) ++source->timerCount;
}

Second judgeSecond(audioSource* source) {
    const Lock library(nullptr);
    if (source->requestThreadEnd != 0) return Second::Ends;
    if (source->duration == 0 || source->timerCount < source->duration) return Second::Goes;
    source->timerCount = 0;
    if (source->handle == nullptr) return Second::Goes;
    source->requestThreadEnd = eFLAG_TRUE;
    source->timeoutRunning = eFLAG_FALSE;
    return Second::Fires;
}

/** Tells the host as if the phone had released; the host may end or re-open the source meanwhile.
 */
void fire(audioSource* source) {
    quarlo_CoreInstance* obj = source->handle;
    trace(obj, eTRACECLASS_WARNING, "audio timeout");
    if (obj->onAudioRequestCallback == nullptr) return;
    bool isFirst = false;
    {
        const Lock library(nullptr);
        isFirst = std::exchange(source->releasePending, eFLAG_TRUE) == 0;
    }
    if (isFirst) {
        notify(obj, obj->onAudioRequestCallback, eAUDIOCONTROL_Release, source->requestID,
               source->type);
    }
}

void runTimer(audioSource* source) {
    quarloTime_t next{};
    quarlo_GetMonotonicTime(&next);
    while (source->requestThreadEnd == 0) {
        countSecond(source);
        quarlo_AddSeconds(&next, 1);
        sleepUntil(next, source->requestThreadEnd);
        if (judgeSecond(source) == Second::Fires) fire(source);
    }
}

/** The timer's last question: false when the source was opened again meanwhile. */
bool leave(audioSource* source) {
    const Lock library(nullptr);
    if (source->requestThreadEnd == 0) return false;
    source->timeoutRunning = eFLAG_FALSE;
    source->hasTimer = eFLAG_FALSE;
    release(source);
    return true;
}

}  // namespace

audioSource* findAudioSource(UInt32 requestID) {
    audioSource probe{};
    probe.requestID = requestID;
    return audioSourceOf(audioSourceList.findElement(&audioSourceList, &probe.list));
}

void listAudioSource(audioSource* source) {
    if (++lastSerial == 0) ++lastSerial;
    source->serial = lastSerial;
    source->isListed = eFLAG_TRUE;
    listAppendFresh(&audioSourceList, &source->list);
}

int startAudioTimer(audioSource* source) {
    source->requestThreadEnd = eFLAG_FALSE;
    source->timerCount = 0;
    const CreatedThread created =
        createThread(source->handle->threads, &quarlo_AudioTimeoutThread, source);
    source->timeoutThread = created.id;
    source->timerRun = created.run;
    const Flag hasTimer = created.error == 0 ? eFLAG_TRUE : eFLAG_FALSE;
    source->hasTimer = hasTimer;
    source->timeoutRunning = hasTimer;
    if (created.error != 0) source->requestThreadEnd = eFLAG_TRUE;
    return created.error;
}

void continueAudioTimer(audioSource* source) {
    source->timerRun = renumber(source->timerRun);
    source->timeoutRunning = eFLAG_TRUE;
    source->requestThreadEnd = eFLAG_FALSE;
    source->timerCount = 0;
}

RunNumber endAudioSource(UInt32 serial) {
    const Lock library(nullptr);
    auto* at = listGetFirstElement(&audioSourceList);
    while (at != nullptr && audioSourceOf(at)->serial != serial) {
        at = listGetNextElement(&audioSourceList);
    }
    if (at == nullptr) return 0;
    const RunNumber run = audioSourceOf(at)->timerRun;
    unlist(audioSourceOf(at));
    recomputeType();
    return run;
}

void initAudio() {
    listInitialize(&audioSourceList);
    audioSourceList.findElement = &listFindElementAudioRequestID;
    audioSourceList.isEqual = &listIsEqualAudioRequestID;
    audioSourceList.freeElementData = &listFreeElementDataAudio;
    audioSourceList.printElement = &listPrintElementAudio;
    currentAudioType = eAUDIOTYPE_Ignore;
}

void shutdownAudio() {
    listClear(&audioSourceList);
}

void removeAudioSources(quarlo_CoreInstance* obj) {
    endSources([&](const audioSource& source) { return source.handle == obj; });
}

}  // namespace quarlo

using namespace quarlo;

extern "C" {

void* quarlo_AudioTimeoutThread(void* args) {
    auto* source = static_cast<audioSource*>(args);
    if (source == nullptr) return nullptr;
    quarlo_CoreInstance* obj = source->handle;
    becomeThread(obj, Role::AudioTimer, "quarlo AUDIOTIM");
    do {
        trace(obj, eTRACECLASS_INFORMATION, "audio timeout thread started.");
        runTimer(source);
        trace(obj, eTRACECLASS_INFORMATION, "audio timeout thread ends now.");
    } while (!leave(source));
    return nullptr;
}

AudioType mixAudioTypes(AudioType current, AudioType additional) {
    // Deliberate: Main outranks everything, also a critical announcement: it is what goes on when
    // the others are over, so the channel stays set up for it while they are mixed in.
    constexpr UInt8 ranks[] = {0, 1, 2, 6, 3, 4, 5};
    const bool isCurrentKnown =
        current >= eAUDIOTYPE_Ignore && current <= eAUDIOTYPE_CriticalAnnouncement;
    switch (additional) {
        case eAUDIOTYPE_Ignore:
            return current;
        case eAUDIOTYPE_Silent:
            return current == eAUDIOTYPE_Ignore ? eAUDIOTYPE_Silent : current;
        case eAUDIOTYPE_Main:
            return eAUDIOTYPE_Main;
        case eAUDIOTYPE_Chime:
        case eAUDIOTYPE_Announcement:
        case eAUDIOTYPE_CriticalAnnouncement:
            if (!isCurrentKnown) return eAUDIOTYPE_Ignore;
            return ranks[current] < ranks[additional] ? additional : current;
        default:
            return eAUDIOTYPE_Ignore;
    }
}

genericListElement* listFindElementAudioRequestID(genericList* list, genericListElement* probe) {
    if (list == nullptr || probe == nullptr) return nullptr;
    auto* at = listGetFirstElement(list);
    while (at != nullptr && audioSourceOf(at)->requestID != audioSourceOf(probe)->requestID) {
        at = listGetNextElement(list);
    }
    return at;
}

Flag listIsEqualAudioRequestID(genericListElement* a, genericListElement* b) {
    return a != nullptr && b != nullptr &&
           audioSourceOf(a)->requestID == audioSourceOf(b)->requestID;
}

eReturnCode listFreeElementDataAudio(genericListElement* element) {
    if (element == nullptr) return eRETURN_NULL_PARAM;
    audioSource* source = audioSourceOf(element);
    RunNumber run = 0;
    {
        const Lock library(nullptr);
        if (source->duration == 0 && source->hasTimer == 0) return eRETURN_OKAY;
        source->requestThreadEnd = eFLAG_TRUE;
        run = source->timerRun;
    }
    wakeThreads();
    // Whoever frees the element next finds no timer that uses it.
    waitForEnd(run);
    reapThreads();
    return eRETURN_OKAY;
}

eReturnCode listPrintElementAudio(genericListElement* element) {
    if (element == nullptr) return eRETURN_NULL_PARAM;
    const audioSource& source = *audioSourceOf(element);
    std::printf("      type       %s\n", _quarlo_getAudioTypeName(source.type));
    std::printf("      status     %s\n", _quarlo_getAudioStatusName(source.status));
    std::printf("      requestID  %d\n", static_cast<int>(source.requestID));
    std::printf("      duration   %d\n", static_cast<int>(source.duration));
    std::printf("      request    %s\n", source.requestPending != 0 ? "pending" : "-");
    std::printf("      release    %s\n", source.releasePending != 0 ? "pending" : "-");
    return eRETURN_OKAY;
}

}  // extern "C"
