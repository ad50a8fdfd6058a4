/*
 * The end of an instance: its threads are ended and joined, then everything it owns is freed. Runs
 * on the host thread that deletes it, or in quarlo_Shutdown.
 */
#include "QUARLO-Core-Library.h"
#include "QUARLO-Core-Utilities.h"
#include "QUARLO-ThreadFunctions.h"

namespace quarlo {
namespace {

constexpr eTraceClass information = eTRACECLASS_INFORMATION;

void traceThread(quarlo_CoreInstance* obj, bool isRunning, const char* name,
                 const Polled<quarloThread_t>& id, const char* notRunning) {
    if (isRunning) {
        trace(obj, information, "%s thread handle = 0x%8.8lX.", name, id.get());
    } else {
        trace(obj, information, "%s", notRunning);
    }
}

void traceThreads(quarlo_CoreInstance* obj) {
    trace(obj, information, "about to delete instance #%d from host '%s'.",
          static_cast<int>(obj->instanceNumber),
          obj->hostDescription != nullptr ? obj->hostDescription : "");
    traceThread(obj, obj->mainThreadRunning != 0, "main", obj->threadID,
                "main thread is not running.");
    traceThread(obj, obj->watchdogIsRunning != 0, "watchdog", obj->watchdogThreadID,
                "watchdog thread no (longer) running");
    traceThread(obj, obj->waitForInitThreadRunning != 0, "initialization timeout",
                obj->waitForInitThreadID, "initialization timeout thread no (longer) running");
}

void endDump(quarlo_CoreInstance* obj) {
    _quarlo_DisableDump(obj);
    quarloThread_mutex_lock(&obj->dumpLock);
    obj->dumpToStdDevice = eFLAG_TRUE;
    obj->theDumpFile = nullptr;
    quarloThread_mutex_unlock(&obj->dumpLock);
}

void endInitTimer(quarlo_CoreInstance* obj) {
    if (obj->waitForInitThreadRunning == 0) return;
    trace(obj, information, "DeleteInstance - end init timeout thread");
    finishThread(obj, initTimerThread);
    trace(obj, information, "DeleteInstance - init timeout thread ended");
}

void endWatchdog(quarlo_CoreInstance* obj) {
    if (obj->watchdogIsRunning == 0 || obj->watchdogEndFlag != 0) return;
    trace(obj, information, "DeleteInstance - end watchdog thread");
    finishThread(obj, watchdogThread);
    trace(obj, information, "DeleteInstance - watchdog thread ended");
}

/* ---- the receiver ---- */

void endReceiverByRequest(quarlo_CoreInstance* obj) {
    trace(obj, information, "DeleteInstance - end receiver request");
    notify(obj, obj->onEndReceiverRequest);
    trace(obj, information, "DeleteInstance - waiting for join: main thread");
    joinThread(obj, receiverThread);
}

/** Waits until the receiver has left its loop or the condition holds. */
template <class Condition>
void waitForReceiverOr(quarlo_CoreInstance* obj, Condition condition) {
    constexpr unsigned pollInterval = 1;
    while (obj->mainThreadTerminatedRegular == 0 && !condition()) quarloPosix_pause(pollInterval);
}

/** Stands in for a join timer that could not be created: waits, cancels and joins here. */
void endReceiverWithoutTimer(quarlo_CoreInstance* obj) {
    const UInt32 start = quarlo_GetTimestamp();
    const UInt32 limit = UInt32{obj->waitForJoinTime} * 1000;
    waitForReceiverOr(obj, [&] { return quarlo_GetTimestamp() - start >= limit; });
    cancelReceiver(obj);
    joinThread(obj, receiverThread);
}

void endReceiverWithTimer(quarlo_CoreInstance* obj) {
    trace(obj, information, "DeleteInstance - start join timeout");
    if (startThread(obj, joinTimerThread) != 0) {
        trace(obj, eTRACECLASS_ERROR, "Start join timeout thread FAILED.");
        return endReceiverWithoutTimer(obj);
    }
    trace(obj, information, "join timeout thread handle = 0x%8.8lX",
          obj->waitForJoinThreadID.get());
    // Joining only what has ended or was cancelled keeps the timer from cancelling a joined thread.
    waitForReceiverOr(obj, [&] { return obj->waitForJoinEndFlag != 0; });
    joinThread(obj, receiverThread);
    if (obj->mainThreadTerminatedRegular != 0) {
        trace(obj, information, "main receiver thread terminated regularly.");
    }
    if (obj->waitForJoinEndFlag != 0) return;
    trace(obj, eTRACECLASS_WARNING, "wait for waitForJoinThread to finish");
    joinThread(obj, joinTimerThread);
}

void endReceiverByCancelling(quarlo_CoreInstance* obj) {
    quarloPosix_sleep(1);
    if (obj->mainThreadTerminatedRegular != 0) return;
    trace(obj, information, "DeleteInstance: cancel main receiver now.");
    cancelReceiver(obj);
    joinThread(obj, receiverThread);
}

void endReceiver(quarlo_CoreInstance* obj) {
    if (obj->endFlag != 0) return;
    trace(obj, information, "DeleteInstance - end main receiver thread");
    if (obj->mainThreadRunning == 0) {
        trace(obj, eTRACECLASS_WARNING, "main receiver thread is not (longer) running.");
        return;
    }
    raiseFlag(obj, &quarlo_CoreInstance::endFlag);
    trace(obj, information, "DeleteInstance - end flag set");
    if (obj->onEndReceiverRequest != nullptr) return endReceiverByRequest(obj);
    if (obj->waitForJoinTime != 0) return endReceiverWithTimer(obj);
    endReceiverByCancelling(obj);
}

void endThreads(quarlo_CoreInstance* obj) {
    endInitTimer(obj);
    {
        const Lock lock(obj);
        obj->hasBeenRunning = eFLAG_FALSE;
    }
    endWatchdog(obj);
    endReceiver(obj);
    // Whoever ended by itself, or was told to, is still to be joined.
    finishThread(obj, initTimerThread);
    joinThread(obj, joinTimerThread);
    joinThread(obj, receiverThread);
    finishThread(obj, watchdogThread);
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
    if (obj->isAlreadyDeleted.exchange(eFLAG_TRUE) != 0) {
        trace(obj, eTRACECLASS_WARNING, "This instance has already been deleted.");
        return eRETURN_PARAM_VALUE;
    }
    traceThreads(obj);
    removeAudioSources(obj);
    endDump(obj);
    endThreads(obj);
    freeDeclarations(obj);
    freeBuffers(obj);
    _quarlo_DestroyCriticalSection(obj);
    quarloThread_mutex_destroy(&obj->dumpLock);
    return eRETURN_OKAY;
}
