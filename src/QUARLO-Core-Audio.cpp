/* Audio sources, their timer threads and their ends; see the header. */
#include "QUARLO-Core-Audio.h"

#include <algorithm>
#include <utility>

#include "QUARLO.Connector.IVI-API_C.h"

genericList audioSourceList;
AudioType currentAudioType = eAUDIOTYPE_Ignore;

namespace quarlo {

constinit thread_local const audioSource* ownSource = nullptr;

namespace {

/** Sources that ended on their own timer threads, waiting for their joins; syncLock. */
genericList endedSources;

/** Reserves the join of a timer that was told to end; the caller holds syncLock. */
bool claimTimer(audioSource* source) {
    const bool isToJoin = source->timeoutThread != 0 && source->requestThreadEnd != 0 &&
                          source->isJoining == 0 && ownSource != source;
    if (isToJoin) source->isJoining = eFLAG_TRUE;
    return isToJoin;
}

/** Joins a claimed timer; frees the source if it has ended meanwhile. */
void joinClaimed(audioSource* source) {
    quarloThread_join(source->timeoutThread, nullptr);
    bool isOrphaned = false;
    {
        const Lock library(nullptr);
        quarlo_ClearThreadID(&source->timeoutThread);
        source->isJoining = eFLAG_FALSE;
        isOrphaned = source->isOrphaned != 0;
    }
    if (isOrphaned) quarlo_free(source);
}

/** After a source has ended: a plain numeric maximum, and not the mixing rule. */
void recomputeType() {
    currentAudioType = eAUDIOTYPE_Silent;
    for (auto* at = listGetFirstElement(&audioSourceList); at != nullptr;
         at = listGetNextElement(&audioSourceList)) {
        currentAudioType = std::max(currentAudioType, audioSourceOf(at)->type);
    }
}

/** Moves the sources of an instance, or all, from one list to another. */
template <class Wanted>
bool moveSources(genericList& from, genericList& to, Wanted isWanted) {
    bool isMoved = false;
    for (auto* at = listGetFirstElement(&from); at != nullptr;) {
        audioSource* source = audioSourceOf(at);
        at = at->next == &from.tail ? nullptr : at->next;
        if (!isWanted(*source)) continue;
        source->requestThreadEnd = eFLAG_TRUE;
        listRemoveElement(&from, &source->list);
        listAppendFresh(&to, &source->list);
        isMoved = true;
    }
    return isMoved;
}

/** Takes the first source off the list; null when it is empty. */
audioSource* takeFirst(genericList& sources) {
    const Lock library(nullptr);
    auto* first = listGetFirstElement(&sources);
    if (first != nullptr) listRemoveElement(&sources, first);
    return audioSourceOf(first);
}

/**
 * Takes a source whose timer is at its end off the list; null when there is none. A timer that is
 * still in the callback is left alone: it may wait for a lock that the caller holds.
 */
audioSource* takeEnded() {
    const Lock library(nullptr);
    auto* at = listGetFirstElement(&endedSources);
    while (at != nullptr && audioSourceOf(at)->isAtEnd == 0) at = listGetNextElement(&endedSources);
    if (at != nullptr) listRemoveElement(&endedSources, at);
    return audioSourceOf(at);
}

/** Waits for the timer of a source that is in no list, and frees it; or leaves that to who waits
 * already. */
void finish(audioSource* source) {
    bool hasTimer = false;
    {
        const Lock library(nullptr);
        source->isOrphaned = eFLAG_TRUE;
        if (source->isJoining != 0) return;
        hasTimer = claimTimer(source);
    }
    if (hasTimer) {
        joinClaimed(source);
    } else {
        quarlo_free(source);
    }
}

/** All end flags are set before the first join, so that the timers end at the same time. */
template <class Wanted>
void endSources(Wanted isWanted) {
    genericList ending;
    listInitialize(&ending);
    {
        const Lock library(nullptr);
        if (moveSources(audioSourceList, ending, isWanted)) recomputeType();
        moveSources(endedSources, ending, isWanted);
    }
    while (audioSource* source = takeFirst(ending)) finish(source);
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
        source->timeoutRunning = eFLAG_FALSE;
        isFirst = std::exchange(source->releasePending, eFLAG_TRUE) == 0;
    }
    if (isFirst) {
        notify(obj, obj->onAudioRequestCallback, eAUDIOCONTROL_Release, source->requestID,
               source->type);
    }
}

bool hasEnded(audioSource* source) {
    const Lock library(nullptr);
    return source->requestThreadEnd != 0;
}

void runTimer(audioSource* source) {
    while (!hasEnded(source)) {
        countSecond(source);
        sleepOneSecond();
        if (judgeSecond(source) == Second::Fires) fire(source);
    }
}

}  // namespace

audioSource* findAudioSource(UInt32 requestID) {
    audioSource probe{};
    probe.requestID = requestID;
    return audioSourceOf(audioSourceList.findElement(&audioSourceList, &probe.list));
}

bool isOwnTimer(const audioSource* source) {
    return ownSource == source;
}

int startAudioTimer(audioSource* source) {
    source->requestThreadEnd = eFLAG_FALSE;
    source->timeoutRunning = eFLAG_TRUE;
    source->isAtEnd = eFLAG_FALSE;
    source->timerCount = 0;
    const int error =
        quarloThread_create(&source->timeoutThread, nullptr, &quarlo_AudioTimeoutThread, source);
    if (error != 0) {
        source->requestThreadEnd = eFLAG_TRUE;
        source->timeoutRunning = eFLAG_FALSE;
        quarlo_ClearThreadID(&source->timeoutThread);
    }
    return error;
}

void joinAudioTimer(UInt32 requestID) {
    audioSource* source = nullptr;
    {
        const Lock library(nullptr);
        source = findAudioSource(requestID);
        if (source == nullptr || !claimTimer(source)) return;
    }
    joinClaimed(source);
}

void endAudioSource(UInt32 requestID) {
    audioSource* source = nullptr;
    {
        const Lock library(nullptr);
        source = findAudioSource(requestID);
        if (source == nullptr) return;
        source->requestThreadEnd = eFLAG_TRUE;
        listRemoveElement(&audioSourceList, &source->list);
        recomputeType();
        if (isOwnTimer(source)) {
            listAppendFresh(&endedSources, &source->list);
            return;
        }
    }
    finish(source);
}

void reapAudioSources() {
    if (ownSource != nullptr) return;
    while (audioSource* source = takeEnded()) finish(source);
}

void initAudio() {
    listInitialize(&audioSourceList);
    audioSourceList.findElement = &listFindElementAudioRequestID;
    audioSourceList.isEqual = &listIsEqualAudioRequestID;
    audioSourceList.freeElementData = &listFreeElementDataAudio;
    audioSourceList.printElement = &listPrintElementAudio;
    listInitialize(&endedSources);
    currentAudioType = eAUDIOTYPE_Ignore;
}

void shutdownAudio() {
    endSources([](const audioSource&) { return true; });
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
    ownSource = source;
    becomeThread(obj, Role::AudioTimer, "quarlo AUDIOTIM");
    trace(obj, eTRACECLASS_INFORMATION, "audio timeout thread started.");
    runTimer(source);
    trace(obj, eTRACECLASS_INFORMATION, "audio timeout thread ends now.");
    const Lock library(nullptr);
    source->timeoutRunning = eFLAG_FALSE;
    source->isAtEnd = eFLAG_TRUE;
    return nullptr;
}

AudioType mixAudioTypes(AudioType current, AudioType additional) {
    // Deliberate: Main outranks everything, also a critical announcement.
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
    {
        const Lock library(nullptr);
        if (source->duration == 0 && source->timeoutRunning == 0) return eRETURN_OKAY;
        source->requestThreadEnd = eFLAG_TRUE;
        if (!claimTimer(source)) return eRETURN_OKAY;
    }
    joinClaimed(source);
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
