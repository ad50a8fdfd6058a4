/*
 * The supervision threads: ping watchdog, initialisation timer and join timer, and the calls that
 * configure them. Each counts seconds until it is asked to end and only reports, but for the join
 * timer, which cancels a receiver that does not end by itself.
 */
#include "QUARLO-ThreadFunctions.h"

namespace quarlo {
namespace {

void disableWatchdog(quarlo_CoreInstance* obj) {
    trace(obj, eTRACECLASS_INFORMATION, "Enable == FALSE");
    if (!obj->watchdogThread.isServing()) {
        obj->watchdogStartPending = eFLAG_FALSE;
        trace(obj, eTRACECLASS_VERBOSE, "set watchdogStartPending to FALSE");
        return;
    }
    RunNumber run = 0;
    {
        // Deliberate: the library's lock, and not the instance's, which the receiver takes at every
        // step: the switch is rare and may make it wait for a creation.
        const Lock library(nullptr);
        run = obj->watchdogThread.end();
    }
    // Where waiting is not allowed it is over when it next looks: no report begins any more.
    if (!mayWait()) return;
    waitForEnd(run);
    reapThreads();
    trace(obj, eTRACECLASS_VERBOSE, "running watchdog stopped.");
}

void startWatchdog(quarlo_CoreInstance* obj) {
    reapThreads();
    int error = 0;
    {
        const Lock library(nullptr);
        // One that was left over from the connection before makes way.
        if (obj->watchdogStartPending != 0) obj->watchdogThread.end();
        obj->watchdogStartPending = eFLAG_FALSE;
        error = obj->watchdogThread.start(obj->threads, &quarlo_WatchdogThread, obj);
    }
    if (error != 0) {
        trace(obj, eTRACECLASS_WARNING, "create watchdog thread FAILED.");
        return;
    }
    trace(obj, eTRACECLASS_VERBOSE, "create watchdog thread succeeded.");
    trace(obj, eTRACECLASS_INFORMATION, "watchdog thread handle = 0x%8.8lX",
          obj->watchdogThread.id());
}

void enableWatchdog(quarlo_CoreInstance* obj) {
    trace(obj, eTRACECLASS_INFORMATION, "Enable == TRUE");
    if (!inRun(obj)) {
        trace(obj, eTRACECLASS_VERBOSE,
              "set watchdogStartPending to TRUE due to protocol status != RUN");
        obj->watchdogStartPending = eFLAG_TRUE;
        return;
    }
    const bool isRunning = obj->watchdogThread.isServing() && obj->watchdogThread.endFlag == 0;
    if (isRunning && obj->watchdogStartPending == 0) {
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
            obj, [&](packetPingAcknowledge& packet) { packet.PacketCounter = obj->lastPingCount; });
        // Deliberate: the count wraps to 0 below, so the next period counts as alive, which gives
        // the phone that long to answer.
        obj->watchdogCounter = 255;
        return;
    }
    // Before the report, in which the host may switch the watchdog on again.
    if (!obj->watchdogThread.endItself() || obj->mainThreadRunning == 0) return;
    trace(obj, eTRACECLASS_ERROR, "watchdog timeout - error call");
    _errorCall(obj, eERRORCODE_CONNECTION_TIMEOUT);
}

/** The seconds of a supervision thread, counted from its first. */
class Seconds {
  public:
    explicit Seconds(const Thread& counting) : thread(counting) { quarlo_GetMonotonicTime(&next); }
    /** Lets a second pass; false when the thread was asked to end meanwhile. */
    bool pass() {
        quarlo_AddSeconds(&next, 1);
        ++passed;
        return !sleepUntil(next, thread.endFlag);
    }
    /** Whether so many have passed; they are counted anew then. */
    bool reach(unsigned count) {
        if (passed < count) return false;
        passed = 0;
        return true;
    }

  private:
    const Thread& thread;
    quarloTime_t next{};
    unsigned passed = 0;
};

void watch(quarlo_CoreInstance* obj) {
    Seconds seconds(obj->watchdogThread);
    while (obj->watchdogThread.endFlag == 0 && seconds.pass()) {
        if (!seconds.reach(obj->watchdogTime)) continue;
        if (obj->watchdogCounter != 0) missLife(obj);
        obj->watchdogCounter.add(1);
    }
}

void waitForRun(quarlo_CoreInstance* obj) {
    Seconds seconds(obj->initTimerThread);
    while (obj->initTimerThread.endFlag == 0 && !inRun(obj) && seconds.pass()) {
        if (!seconds.reach(obj->waitForInitTime)) continue;
        trace(obj, eTRACECLASS_INFORMATION, "WaitForInitThread: wait time is over.");
        // Before the report, in which the host may start the instance again.
        if (obj->initTimerThread.endItself() && !inRun(obj)) {
            _errorCall(obj, eERRORCODE_INITIALIZATION_TIMEOUT);
        }
        return;
    }
}

void waitForReceiver(quarlo_CoreInstance* obj) {
    Seconds seconds(obj->joinTimerThread);
    while (obj->mainThreadTerminatedRegular == 0 && seconds.pass()) {
        if (!seconds.reach(obj->waitForJoinTime)) continue;
        trace(obj, eTRACECLASS_INFORMATION, "WaitForJoinThread: wait time is over.");
        if (obj->mainThreadTerminatedRegular != 0) return;
        raiseFlag(obj, &quarlo_CoreInstance::waitForJoinEndFlag);
        trace(obj, eTRACECLASS_INFORMATION, "WaitForJoinThread: cancel main receiver now.");
        return cancelReceiver(obj);
    }
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" {

void quarlo_EnablePingWatchdog(void* instanceHandle, Flag isEnable, UInt8 timeoutValue) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "quarlo_EnablePingWatchdog");
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
    do {
        trace(obj, eTRACECLASS_INFORMATION, "watchdog thread started.");
        obj->watchdogCounter = 1;
        watch(obj);
        trace(obj, eTRACECLASS_INFORMATION, "watchdog thread ends now.");
        obj->watchdogCounter = 0;
    } while (!obj->watchdogThread.leave());
    return nullptr;
}

void* quarlo_WaitForInitThread(void* args) {
    auto* obj = static_cast<quarlo_CoreInstance*>(args);
    if (obj == nullptr) return nullptr;
    becomeThread(obj, Role::InitTimer, "quarlo WAITINIT");
    do {
        if (obj->waitForInitTime == 0) {
            trace(obj, eTRACECLASS_INFORMATION,
                  "WaitForInitThread: should run with wait time 0; denied.");
        } else {
            trace(obj, eTRACECLASS_INFORMATION, "WaitForInitThread: started; going to sleep now.");
            waitForRun(obj);
        }
        trace(obj, eTRACECLASS_INFORMATION, "WaitForInitThread: ends now.");
    } while (!obj->initTimerThread.leave());
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
    obj->joinTimerThread.leave();
    return nullptr;
}

}  // extern "C"
