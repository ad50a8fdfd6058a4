/*
 * The end of an instance: its threads are asked to end, and when none is left everything it owns is
 * freed. Runs on the host thread that deletes it, or in quarlo_Shutdown.
 */
#include "QUARLO-Core-Library.h"
#include "QUARLO-Core-Utilities.h"
#include "QUARLO-ThreadFunctions.h"

namespace quarlo {
namespace {

constexpr eTraceClass information = eTRACECLASS_INFORMATION;

void traceThread(quarlo_CoreInstance* obj, bool isRunning, const char* name, const Thread& thread,
                 const char* notRunning) {
    if (isRunning) {
        trace(obj, information, "%s thread handle = 0x%8.8lX.", name, thread.id());
    } else {
        trace(obj, information, "%s", notRunning);
    }
}

void traceThreads(quarlo_CoreInstance* obj) {
    trace(obj, information, "about to delete instance #%d from host '%s'.",
          static_cast<int>(obj->instanceNumber),
          obj->hostDescription != nullptr ? obj->hostDescription : "");
    traceThread(obj, obj->mainThreadRunning != 0, "main", obj->receiverThread,
                "main thread is not running.");
    traceThread(obj, obj->watchdogThread.isServing(), "watchdog", obj->watchdogThread,
                "watchdog thread no (longer) running");
    traceThread(obj, obj->initTimerThread.isServing(), "initialization timeout",
                obj->initTimerThread, "initialization timeout thread no (longer) running");
}

/** False when it was marked before. */
bool markDeleted(quarlo_CoreInstance* obj) {
    // The lock is gone with the first teardown.
    if (obj->isAlreadyDeleted != 0) return false;
    {
        const Lock lock(obj);
        if (obj->isAlreadyDeleted.exchange(eFLAG_TRUE) != 0) return false;
    }
    // A start that has begun in a callback is over soon, and what it started is ended like the
    // rest.
    waitWhile(obj->isStarting);
    return true;
}

void endDump(quarlo_CoreInstance* obj) {
    _quarlo_DisableDump(obj);
    quarloThread_mutex_lock(&obj->dumpLock);
    obj->dumpToStdDevice = eFLAG_TRUE;
    obj->theDumpFile = nullptr;
    quarloThread_mutex_unlock(&obj->dumpLock);
}

void endInitTimer(quarlo_CoreInstance* obj) {
    if (!obj->initTimerThread.isServing()) return;
    trace(obj, information, "DeleteInstance - end init timeout thread");
    waitForEnd(obj->initTimerThread.end());
    trace(obj, information, "DeleteInstance - init timeout thread ended");
}

void endWatchdog(quarlo_CoreInstance* obj) {
    if (!obj->watchdogThread.isServing() || obj->watchdogThread.endFlag != 0) return;
    trace(obj, information, "DeleteInstance - end watchdog thread");
    waitForEnd(obj->watchdogThread.end());
    trace(obj, information, "DeleteInstance - watchdog thread ended");
}

/* ---- the receiver ---- */

void waitForReceiver(quarlo_CoreInstance* obj) {
    waitForEnd(obj->receiverThread.latestRun());
}

/** Gives the receiver so many seconds to end by itself, and cancels it then. */
void limitReceiver(quarlo_CoreInstance* obj, unsigned seconds, const char* cancelText) {
    quarloTime_t deadline{};
    quarlo_GetMonotonicTime(&deadline);
    quarlo_AddSeconds(&deadline, seconds);
    if (waitForEnd(obj->receiverThread.latestRun(), deadline)) return;
    if (obj->mainThreadTerminatedRegular != 0) return;
    if (cancelText != nullptr) trace(obj, information, "%s", cancelText);
    cancelReceiver(obj);
    waitForReceiver(obj);
}

void endReceiverByRequest(quarlo_CoreInstance* obj) {
    trace(obj, information, "DeleteInstance - end receiver request");
    notify(obj, obj->onEndReceiverRequest);
    trace(obj, information, "DeleteInstance - waiting for join: main thread");
    waitForReceiver(obj);
}

void endReceiverWithTimer(quarlo_CoreInstance* obj) {
    trace(obj, information, "DeleteInstance - start join timeout");
    if (obj->joinTimerThread.start(obj->threads, &quarlo_WaitForJoinThread, obj) != 0) {
        trace(obj, eTRACECLASS_ERROR, "Start join timeout thread FAILED.");
        return limitReceiver(obj, obj->waitForJoinTime, nullptr);
    }
    trace(obj, information, "join timeout thread handle = 0x%8.8lX", obj->joinTimerThread.id());
    waitForReceiver(obj);
    if (obj->mainThreadTerminatedRegular != 0) {
        trace(obj, information, "main receiver thread terminated regularly.");
    }
    if (obj->waitForJoinEndFlag != 0) return;
    trace(obj, eTRACECLASS_WARNING, "wait for waitForJoinThread to finish");
    waitForEnd(obj->joinTimerThread.end());
}

void endReceiver(quarlo_CoreInstance* obj) {
    if (obj->receiverThread.endFlag != 0) return;
    trace(obj, information, "DeleteInstance - end main receiver thread");
    if (obj->mainThreadRunning == 0) {
        trace(obj, eTRACECLASS_WARNING, "main receiver thread is not (longer) running.");
        return;
    }
    {
        const Lock lock(obj);
        obj->receiverThread.end();
    }
    trace(obj, information, "DeleteInstance - end flag set");
    if (obj->onEndReceiverRequest != nullptr) return endReceiverByRequest(obj);
    if (obj->waitForJoinTime != 0) return endReceiverWithTimer(obj);
    limitReceiver(obj, 1, "DeleteInstance: cancel main receiver now.");
}

void endThreads(quarlo_CoreInstance* obj) {
    endInitTimer(obj);
    {
        const Lock lock(obj);
        obj->hasBeenRunning = eFLAG_FALSE;
    }
    endWatchdog(obj);
    endReceiver(obj);
    // The join timer was the last to begin. What was switched on in a callback ends, too.
    closeGroup(obj->threads);
    obj->initTimerThread.end();
    obj->watchdogThread.end();
    waitForGroup(obj->threads);
    reapThreads();
}

/* ---- memory ---- */

/** Frees a block and forgets it. */
template <class T>
void drop(T*& block) {
    quarlo_free(block);
    block = nullptr;
}

/** Frees a record with all it holds and forgets it. */
template <class R>
void dropRecord(R*& record) {
    wire::Heap::discard(record);
    record = nullptr;
}

void freeDeclarations(quarlo_CoreInstance* obj) {
    drop(obj->hostDescription);
    dropRecord(obj->applicationName);
    dropRecord(obj->supportedSoftkeys);
    dropRecord(obj->formerSoftkeys);
    dropRecord(obj->operatingSystemName);
    dropRecord(obj->phoneLauncherUUID);
    drop(obj->customKeyList);
    obj->numberOfCustomKeys = 0;
    listClear(&obj->rawDataList);
    releaseVehicleData(obj);
    releaseApps(obj);
    dropRecord(obj->iconConfig.IdentifierURL);
    wire::visitAll(&obj->supportedCustomData, wire::Release{});
}

template <class Size>
void freeBuffer(quarlo_CoreInstance* obj, UInt8*& buffer, Size& size, const char* wasNull) {
    if (buffer == nullptr) trace(obj, information, "%s", wasNull);
    drop(buffer);
    size = 0;
}

void freeBuffers(quarlo_CoreInstance* obj) {
    obj->receiver = nullptr;
    obj->sender = nullptr;
    freeBuffer(obj, obj->receiveBuffer, obj->receiveBufferSize,
               "DeleteInstance: receiveBuffer is NULL");
    freeBuffer(obj, obj->decompressionBuffer, obj->decompressionBufferSize,
               "DeleteInstance: decompression buffer is NULL");
    freeBuffer(obj, obj->scaleBuffer, obj->scaleBufferSize, "DeleteInstance: scale buffer is NULL");
    obj->scratch.release();
    drop(obj->inFlight);
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" eReturnCode listFreeElementDataInstance(genericListElement* instanceHandle) {
    auto* obj = reinterpret_cast<quarlo_CoreInstance*>(instanceHandle);
    if (obj == nullptr) return eRETURN_NULL_HANDLE;
    if (!markDeleted(obj)) {
        trace(obj, eTRACECLASS_WARNING, "This instance has already been deleted.");
        return eRETURN_PARAM_VALUE;
    }
    traceThreads(obj);
    removeAudioSources(obj);
    endDump(obj);
    endThreads(obj);
    // Once more: a callback may have switched it on meanwhile.
    endDump(obj);
    freeDeclarations(obj);
    freeBuffers(obj);
    _quarlo_DestroyCriticalSection(obj);
    quarloThread_mutex_destroy(&obj->dumpLock);
    return eRETURN_OKAY;
}
