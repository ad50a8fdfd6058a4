/*
 * The supervision threads: ping watchdog, initialisation timer and join timer, and the calls that
 * configure them. Each polls its end flag once a second and only reports, but for the join timer,
 * which cancels a receiver that does not end by itself.
 */
#include "QUARLO-ThreadFunctions.h"

namespace quarlo {

const ThreadFields watchdogThread{Role::Watchdog,
                                  &quarlo_WatchdogThread,
                                  &quarlo_CoreInstance::watchdogThreadID,
                                  &quarlo_CoreInstance::watchdogEndFlag,
                                  &quarlo_CoreInstance::watchdogIsRunning,
                                  &quarlo_CoreInstance::needJoinThreadWatchdog};
const ThreadFields initTimerThread{Role::InitTimer,
                                   &quarlo_WaitForInitThread,
                                   &quarlo_CoreInstance::waitForInitThreadID,
                                   &quarlo_CoreInstance::waitForInitEndFlag,
                                   &quarlo_CoreInstance::waitForInitThreadRunning,
                                   &quarlo_CoreInstance::needJoinThreadInit};
const ThreadFields joinTimerThread{Role::JoinTimer,
                                   &quarlo_WaitForJoinThread,
                                   &quarlo_CoreInstance::waitForJoinThreadID,
                                   &quarlo_CoreInstance::waitForJoinEndFlag,
                                   nullptr,
                                   &quarlo_CoreInstance::needJoinThreadJoin};

namespace {

bool isOwnWatchdog(const quarlo_CoreInstance* obj) {
    return thisThread.owner == obj && thisThread.role == Role::Watchdog;
}

void disableWatchdog(quarlo_CoreInstance* obj) {
    trace(obj, eTRACECLASS_INFORMATION, "Enable == FALSE");
    if (obj->watchdogIsRunning == 0) {
        obj->watchdogStartPending = eFLAG_FALSE;
        trace(obj, eTRACECLASS_VERBOSE, "set watchdogStartPending to FALSE");
    } else {
        {
            // Deliberate: the watchdog's switch is guarded by the library's lock.
            const Lock library(nullptr);
            obj->watchdogEndFlag = eFLAG_TRUE;
        }
        // From its own error report the watchdog cannot wait for itself; it is joined later.
        joinThread(obj, watchdogThread);
        if (!isOwnWatchdog(obj)) trace(obj, eTRACECLASS_VERBOSE, "running watchdog stopped.");
    }
    obj->isWatchdogEnabled = eFLAG_FALSE;
}

void startWatchdog(quarlo_CoreInstance* obj) {
    {
        const Lock library(nullptr);
        obj->watchdogEndFlag = eFLAG_TRUE;
    }
    joinThread(obj, watchdogThread);
    const int error = startThread(obj, watchdogThread);
    obj->watchdogStartPending = eFLAG_FALSE;
    if (error != 0) {
        trace(obj, eTRACECLASS_WARNING, "create watchdog thread FAILED.");
        return;
    }
    trace(obj, eTRACECLASS_VERBOSE, "create watchdog thread succeeded.");
    obj->isWatchdogEnabled = eFLAG_TRUE;
    trace(obj, eTRACECLASS_INFORMATION, "watchdog thread handle = 0x%8.8lX",
          obj->watchdogThreadID.get());
}

void enableWatchdog(quarlo_CoreInstance* obj) {
    trace(obj, eTRACECLASS_INFORMATION, "Enable == TRUE");
    if (!inRun(obj)) {
        trace(obj, eTRACECLASS_VERBOSE,
              "set watchdogStartPending to TRUE due to protocol status != RUN");
        obj->watchdogStartPending = eFLAG_TRUE;
        return;
    }
    const bool isPending = obj->watchdogStartPending != 0 && !isOwnWatchdog(obj);
    if (obj->watchdogIsRunning != 0 && !isPending) {
        trace(obj, eTRACECLASS_WARNING, "watchdog is already running.");
        obj->watchdogStartPending = eFLAG_FALSE;
        return;
    }
    startWatchdog(obj);
}

/** A period without a sign of life: answered in the phone's place, or reported once. */
void missLife(quarlo_CoreInstance* obj) {
    trace(obj, eTRACECLASS_WARNING, "watchdog timeout");
    if (obj->sendPingOnWatchdog != 0) {
        send<packetPingAcknowledge>(
            obj, "sendPingOnWatchdog: packet creation failed.",
            [&](packetPingAcknowledge& packet) { packet.PacketCounter = obj->lastPingCount; });
        // Deliberate: the count wraps to 0 below, so the next period counts as alive.
        obj->watchdogCounter = 255;
        return;
    }
    if (obj->mainThreadRunning != 0) {
        trace(obj, eTRACECLASS_ERROR, "watchdog timeout - error call");
        _errorCall(obj, eERRORCODE_CONNECTION_TIMEOUT);
    }
    obj->watchdogEndFlag = eFLAG_TRUE;
}

void watch(quarlo_CoreInstance* obj) {
    unsigned seconds = 0;
    while (obj->watchdogEndFlag == 0) {
        ++seconds;
        sleepOneSecond();
        if (seconds < obj->watchdogTime || obj->watchdogEndFlag != 0) continue;
        seconds = 0;
        if (obj->watchdogCounter != 0) missLife(obj);
        obj->watchdogCounter.add(1);
    }
}

void waitForRun(quarlo_CoreInstance* obj) {
    unsigned seconds = 0;
    while (obj->waitForInitEndFlag == 0) {
        if (inRun(obj)) return raiseFlag(obj, &quarlo_CoreInstance::waitForInitEndFlag);
        ++seconds;
        sleepOneSecond();
        if (seconds < obj->waitForInitTime || obj->waitForInitEndFlag != 0) continue;
        trace(obj, eTRACECLASS_INFORMATION, "WaitForInitThread: wait time is over.");
        if (!inRun(obj)) _errorCall(obj, eERRORCODE_INITIALIZATION_TIMEOUT);
        raiseFlag(obj, &quarlo_CoreInstance::waitForInitEndFlag);
    }
}

void waitForReceiver(quarlo_CoreInstance* obj) {
    unsigned seconds = 0;
    while (obj->mainThreadTerminatedRegular == 0) {
        ++seconds;
        sleepOneSecond();
        if (seconds < obj->waitForJoinTime) continue;
        trace(obj, eTRACECLASS_INFORMATION, "WaitForJoinThread: wait time is over.");
        if (obj->mainThreadTerminatedRegular != 0) return;
        trace(obj, eTRACECLASS_INFORMATION, "WaitForJoinThread: cancel main receiver now.");
        cancelReceiver(obj);
        // From here on whoever waits for the receiver may join it.
        raiseFlag(obj, &quarlo_CoreInstance::waitForJoinEndFlag);
        return joinThread(obj, receiverThread);
    }
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" {

void quarlo_EnablePingWatchdog(void* instanceHandle, Flag isEnable, UInt8 timeoutValue) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "quarlo_EnablePingWatchdog");
        if (timeoutValue == 0) obj->watchdogEndFlag = eFLAG_TRUE;
        obj->watchdogTime = timeoutValue;
        obj->watchdogCounter = 0;
        if (isEnable == eFLAG_TRUE && timeoutValue != 0) {
            enableWatchdog(obj);
        } else {
            disableWatchdog(obj);
        }
    });
}

eReturnCode quarlo_SendPingAckOnWatchdog(void* instanceHandle, Flag enable) {
    return store(instanceHandle, &quarlo_CoreInstance::sendPingOnWatchdog, enable, nullptr);
}

void quarlo_ResetWatchdog(quarlo_CoreInstance* handle) {
    if (handle != nullptr) handle->watchdogCounter = 0;
}

void quarlo_SetWaitForJoinTimeout(void* instanceHandle, UInt8 timeoutValue) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "SetWaitForJoinTimeout");
        trace(obj, eTRACECLASS_VERBOSE, "    join timeout is %d seconds", timeoutValue);
        obj->waitForJoinTime = timeoutValue;
    });
}

void quarlo_SetInitialisationTimeout(void* instanceHandle, UInt8 value) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        switch (obj->currentState) {
            case ePROTOCOL_STATE_NONE:
            case ePROTOCOL_STATE_STOP:
                trace(obj, eTRACECLASS_INFORMATION, "InitialisationTimeout");
                trace(obj, eTRACECLASS_VERBOSE, "    init timeout is %d seconds", value);
                obj->waitForInitTime = value;
                return;
            case ePROTOCOL_STATE_HANDSHAKE:
            case ePROTOCOL_STATE_INIT_CLIENT:
            case ePROTOCOL_STATE_INIT_SERVER:
            case ePROTOCOL_STATE_INIT_DONE:
            case ePROTOCOL_STATE_RUN:
                trace(obj, eTRACECLASS_INFORMATION,
                      "InitialisationTimeout not set due to state != NONE or STOP");
                return;
        }
        trace(obj, eTRACECLASS_WARNING,
              "InitialisationTimeout not set due to unknown protocol state");
    });
}

void* quarlo_WatchdogThread(void* args) {
    auto* obj = static_cast<quarlo_CoreInstance*>(args);
    if (obj == nullptr) return nullptr;
    becomeThread(obj, Role::Watchdog, "quarlo PING WD");
    trace(obj, eTRACECLASS_INFORMATION, "watchdog thread started.");
    obj->watchdogCounter = 1;
    watch(obj);
    trace(obj, eTRACECLASS_INFORMATION, "watchdog thread ends now.");
    obj->isWatchdogEnabled = eFLAG_FALSE;
    obj->watchdogCounter = 0;
    obj->watchdogIsRunning = eFLAG_FALSE;
    return nullptr;
}

void* quarlo_WaitForInitThread(void* args) {
    auto* obj = static_cast<quarlo_CoreInstance*>(args);
    if (obj == nullptr) return nullptr;
    becomeThread(obj, Role::InitTimer, "quarlo WAITINIT");
    if (obj->waitForInitTime == 0) {
        trace(obj, eTRACECLASS_INFORMATION,
              "WaitForInitThread: should run with wait time 0; denied.");
    } else {
        trace(obj, eTRACECLASS_INFORMATION, "WaitForInitThread: started; going to sleep now.");
        waitForRun(obj);
    }
    trace(obj, eTRACECLASS_INFORMATION, "WaitForInitThread: ends now.");
    obj->waitForInitThreadRunning = eFLAG_FALSE;
    return nullptr;
}

void* quarlo_WaitForJoinThread(void* args) {
    auto* obj = static_cast<quarlo_CoreInstance*>(args);
    if (obj == nullptr) return nullptr;
    becomeThread(obj, Role::JoinTimer, "quarlo WAITJOIN");
    if (obj->waitForJoinTime == 0) {
        trace(obj, eTRACECLASS_INFORMATION,
              "WaitForJoinThread: should run with wait time 0; denied.");
    } else {
        trace(obj, eTRACECLASS_INFORMATION, "WaitForJoinThread: started; going to sleep now.");
        waitForReceiver(obj);
    }
    trace(obj, eTRACECLASS_INFORMATION, "WaitForJoinThread: ends now.");
    return nullptr;
}

}  // extern "C"
