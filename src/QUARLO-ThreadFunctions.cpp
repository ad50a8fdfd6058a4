/*
 * The receiver thread: reads through the host's link, hands the bytes to the dispatcher, keeps the
 * tail of a packet that has not arrived whole, and runs one protocol step after every attempt.
 */
#include "QUARLO-ThreadFunctions.h"

#include <cstring>

#include "QUARLO_Receive.h"

namespace quarlo {

void cancelReceiver(quarlo_CoreInstance* obj) {
    const Lock lock(obj);
    if (obj->mainThreadTerminatedRegular == 0) obj->receiverThread.cancel();
}

namespace {

/** What a full buffer waits between polls, so that a packet that never fits does not spin. */
constexpr unsigned fullBufferPause = 5;

constexpr Int32 endOfConnection = -1;
constexpr Int32 failure = -2;

void endLoop(quarlo_CoreInstance* obj) {
    const Lock lock(obj);
    obj->receiverThread.end();
}

/** Ends the loop in STOP. */
void stopService(quarlo_CoreInstance* obj) {
    obj->currentState = ePROTOCOL_STATE_STOP;
    endLoop(obj);
}

/** Calls the receiver link: a count within the room, 0, or a negative number. */
Int32 readLink(quarlo_CoreInstance* obj, quarloReceiverLink receiver, UInt32 held) {
    const UInt32 room = obj->receiveBufferSize - held;
    enterHost();
    const size_t result =
        receiver(obj->callbackContext, obj->receiveBuffer + held, room, obj->connectionInfo);
    leaveHost();
    const auto count = static_cast<Int32>(result);
    if (count == 0 && room == 0) quarloPosix_pause(fullBufferPause);
    // More than there was room for cannot be true.
    return count > 0 && static_cast<UInt32>(count) > room ? failure : count;
}

void endOfReading(quarlo_CoreInstance* obj, Int32 count) {
    // Deliberate: only a failed read is reported. The end of the connection is how a session ends,
    // and the state STOP tells of it.
    if (count == endOfConnection) {
        trace(obj, eTRACECLASS_ERROR, "Unexpected EOF on connection detected [1]. Stop service.");
    } else {
        trace(obj, eTRACECLASS_ERROR, "Reader returned negative number. Stop service.");
        _errorCall(obj, eERRORCODE_CONNECTION_EOF_ZERO);
    }
    stopService(obj);
}

void refuseOverrun(quarlo_CoreInstance* obj, UInt32 held, const void* advanced,
                   std::size_t consumed) {
    trace(obj, eTRACECLASS_ERROR,
          "Unexpected size values on receive: protocol used more than available [3]. Stop "
          "service.");
    trace(obj, eTRACECLASS_ERROR, "receiveSize = %d; pbOld = %p; pbNew = %p, diffSize = %zd",
          static_cast<int>(held), static_cast<void*>(obj->receiveBuffer), advanced,
          static_cast<ssize_t>(consumed));
    trace(obj, eTRACECLASS_ERROR, "currentSize = %d; receiveBufferSize = %d", 0,
          static_cast<int>(obj->receiveBufferSize));
    stopService(obj);
}

/** Dispatches the bytes held; how many are left at the start of the buffer. */
UInt32 consume(quarlo_CoreInstance* obj, UInt32 held) {
    UInt8* base = obj->receiveBuffer;
    void* advanced = base;
    const ReceiveError error = QUARLO_Receive(obj, base, held, &advanced);
    if (error != eRECEIVE_NO_ERROR) {
        trace(obj, eTRACECLASS_ERROR, "QUARLO_Receive() returned error code %d.", error);
        _errorCall(obj, eERRORCODE_MESSAGE_PROCESSING_FAILED);
        stopService(obj);
        return 0;
    }
    const auto consumed = static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(advanced) -
                                                   reinterpret_cast<std::uintptr_t>(base));
    if (consumed > held) {
        refuseOverrun(obj, held, advanced, consumed);
        return 0;
    }
    if (consumed == 0) return held;
    quarlo_ResetWatchdog(obj);
    const auto left = static_cast<UInt32>(held - consumed);
    if (left != 0) std::memmove(base, base + consumed, left);
    return left;
}

/** The receive loop; it ends with the end flag set, by itself or from outside. */
void receive(quarlo_CoreInstance* obj) {
    UInt32 held = 0;
    while (obj->receiverThread.endFlag == 0) {
        quarloReceiverLink receiver = obj->receiver;
        if (receiver == nullptr) return;
        if (obj->shutdownAnnounced != 0) return endLoop(obj);
        const Int32 count = readLink(obj, receiver, held);
        if (count < 0) return endOfReading(obj, count);
        if (count > 0) {
            if (obj->dumpEnabled != 0) {
                _quarlo_DumpBuffer(obj, obj->receiveBuffer + held, static_cast<std::size_t>(count),
                                   eFLAG_FALSE);
            }
            held = consume(obj, held + static_cast<UInt32>(count));
        }
        if (obj->receiverThread.endFlag == 0) quarlo_Protocol(obj);
    }
}

void endRegularly(quarlo_CoreInstance* obj) {
    {
        const Lock lock(obj);
        obj->mainThreadTerminatedRegular = eFLAG_TRUE;
        obj->mainThreadRunning = eFLAG_FALSE;
    }
    // The join timer has nothing left to wait for.
    obj->joinTimerThread.end();
}

/** A connection that ended before RUN, with the initialisation timer waiting for it. */
void abortInitialisation(quarlo_CoreInstance* obj) {
    const bool isTimed = obj->initThreadCreated != 0 || obj->initTimerThread.isServing();
    if (!isTimed || obj->runReached != 0) return;
    trace(obj, eTRACECLASS_ERROR, "Init timeout thread created and/or running");
    obj->initTimerThread.end();
    _errorCall(obj, eERRORCODE_INITIALIZATION_ABORT);
}

void begin(quarlo_CoreInstance* obj) {
    becomeThread(obj, Role::Receiver, "quarlo RECEIVER");
    trace(obj, eTRACECLASS_INFORMATION, "QUARLO: Receive data thread started.");
    obj->currentState = ePROTOCOL_STATE_NONE;
    quarlo_Protocol(obj);
    notify(obj, obj->onMainThreadStartCallback);
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" void* quarlo_MainInstanceThread(void* args) {
    auto* obj = static_cast<quarlo_CoreInstance*>(args);
    if (obj == nullptr) return nullptr;
    begin(obj);
    receive(obj);
    quarlo_Protocol(obj);
    endRegularly(obj);
    trace(obj, eTRACECLASS_INFORMATION, "Receive data thread ends now.");
    abortInitialisation(obj);
    notify(obj, obj->onMainThreadEndCallback);
    obj->receiverThread.leave();
    return nullptr;
}
