/*
 * Critical sections, buffers and the send path of an instance, and the steps shared by all calls.
 * The send path runs on whichever thread sends, without a lock.
 */
#include "QUARLO-Core-Utilities.h"

#include <cstdarg>
#include <cstring>

quarloThread_mutex_t syncLock;

namespace quarlo {

thread_local ThisThread thisThread{};

bool inRun(quarlo_CoreInstance* obj, const char* warning) {
    if (obj->currentState == ePROTOCOL_STATE_RUN) return true;
    if (warning != nullptr) trace(obj, eTRACECLASS_WARNING, "%s", warning);
    return false;
}

bool hasCapability(quarlo_CoreInstance* obj, ServerCapabilities capability, const char* warning) {
    if ((obj->serverCapabilities & capability) != 0) return true;
    trace(obj, eTRACECLASS_WARNING, "%s", warning);
    return false;
}

bool accept(quarlo_CoreInstance* obj, const void* packet, const char* nullText,
            const char* wrongStateText, eProtocolState state, eTraceClass nullClass) {
    if (obj == nullptr) return false;
    if (packet == nullptr) {
        trace(obj, nullClass, "%s", nullText);
        return false;
    }
    if (obj->currentState == state) return true;
    if (wrongStateText != nullptr) trace(obj, eTRACECLASS_WARNING, "%s", wrongStateText);
    return false;
}

eReturnCode outOfMemory(quarlo_CoreInstance* obj, const char* text) {
    trace(obj, eTRACECLASS_ERROR, "%s", text);
    _errorCall(obj, eERRORCODE_MEM_ALLOC);
    return eRETURN_MEM_ALLOC;
}

void becomeThread(quarlo_CoreInstance* obj, Role role, const char* name) {
    thisThread = {obj, role, false, 0};
    quarloThread_SetName(name);
    quarloThread_setcancelstate(QUARLOTHREAD_CANCEL_DISABLE, nullptr);
    quarloThread_setcanceltype(QUARLOTHREAD_CANCEL_DEFERRED, nullptr);
}

void raiseFlag(quarlo_CoreInstance* obj, Polled<Flag> quarlo_CoreInstance::*flag) {
    const Lock lock(obj);
    obj->*flag = eFLAG_TRUE;
}

void enterHostAsReceiver() {
    thisThread.isInHost = true;
    quarloThread_setcanceltype(QUARLOTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    quarloThread_setcancelstate(QUARLOTHREAD_CANCEL_ENABLE, nullptr);
}

void leaveHostAsReceiver() {
    quarloThread_setcancelstate(QUARLOTHREAD_CANCEL_DISABLE, nullptr);
    quarloThread_setcanceltype(QUARLOTHREAD_CANCEL_DEFERRED, nullptr);
    thisThread.isInHost = false;
}

namespace {

quarloThread_mutex_t* lockOf(quarlo_CoreInstance* handle) {
    return handle == nullptr ? &syncLock : &handle->internalLock;
}

/** Lends the bytes to the sender link, and remembers the block that they stand in while the thread
 * may be cancelled there. */
void lend(quarlo_CoreInstance* obj, UInt8* bytes, UInt32 size, UInt8* block) {
    quarloSenderLink sender = obj->sender;
    if (obj->shutdownAnnounced || sender == nullptr) return;
    if (obj->dumpEnabled) _quarlo_DumpBuffer(obj, bytes, size, eFLAG_TRUE);
    const bool isAtRisk = block != nullptr && thisThread.role == Role::Receiver;
    void** inFlight = isAtRisk ? &thisThread.owner->inFlight : nullptr;
    void* outer = isAtRisk ? std::exchange(*inFlight, block) : nullptr;
    enterHost();
    sender(obj->callbackContext, bytes, size, obj->connectionInfo);
    leaveHost();
    if (isAtRisk) *inFlight = outer;
}

}  // namespace

eReturnCode reportUnbuilt(quarlo_CoreInstance* obj, const Built& built, const char* creationFailed,
                          eTraceClass failureClass) {
    if (built.failure != nullptr) return outOfMemory(obj, built.failure);
    if (built.result == eRETURN_PACKET_MEMORY) trace(obj, failureClass, "%s", creationFailed);
    return built.result;
}

void transmit(quarlo_CoreInstance* obj, UInt8* bytes, UInt32 size, UInt8* block) {
    // Tested here, because this runs for every packet and a call with nothing to do still costs
    // one.
    if (traces(obj, eTRACECLASS_INF_FRAME)) trace(obj, eTRACECLASS_INF_FRAME, "Send Buffer");
    if (bytes == nullptr || size == 0) {
        trace(obj, eTRACECLASS_WARNING,
              "Do not call _SendBuffer() with NULL or zero-sized buffer.");
        return;
    }
    lend(obj, bytes, size, block);
    if (block != nullptr) quarlo_free(block);
}

}  // namespace quarlo

using namespace quarlo;

extern "C" {

void _quarlo_InitCriticalSection(quarlo_CoreInstance* handle) {
    quarloThread_mutex_init(lockOf(handle), nullptr);
}
void _quarlo_EnterCriticalSection(quarlo_CoreInstance* handle) {
    quarloThread_mutex_lock(lockOf(handle));
}
void _quarlo_LeaveCriticalSection(quarlo_CoreInstance* handle) {
    quarloThread_mutex_unlock(lockOf(handle));
}
void _quarlo_DestroyCriticalSection(quarlo_CoreInstance* handle) {
    quarloThread_mutex_destroy(lockOf(handle));
}

void _quarlo_SendBuffer(void* instance, UInt8* buffer, UInt32 size) {
    auto* obj = static_cast<quarlo_CoreInstance*>(instance);
    if (obj == nullptr) {
        quarlo_free(buffer);
        return;
    }
    transmit(obj, buffer, size, buffer);
}

UInt32 _quarlo_AllocateReceiveBuffer(quarlo_CoreInstance* handle) {
    if (handle == nullptr) return 0;
    trace(handle, eTRACECLASS_INFORMATION, "Allocate Receive Buffer");
    if (handle->receiveBuffer != nullptr) {
        trace(handle, eTRACECLASS_VERBOSE, "    remove old buffer");
        quarlo_free(handle->receiveBuffer);
        handle->receiveBuffer = nullptr;
    }
    constexpr std::uint64_t room = 65536;
    constexpr std::uint64_t largest = std::numeric_limits<UInt32>::max();
    std::uint64_t size = 0;
    {
        const Lock lock(handle);
        const coreConfiguration& config = handle->config;
        const auto area = std::uint64_t{config.hostWidth} * config.hostHeight;
        const auto bytesPerPixel = config.frameProperties.BytesPerPixel;
        size = area > largest ? largest + 1 : area * bytesPerPixel + room;
    }
    // A size that the 32-bit field cannot carry is an allocation that fails.
    if (size <= largest) {
        handle->receiveBuffer = static_cast<UInt8*>(quarlo_malloc(static_cast<std::size_t>(size)));
    }
    if (handle->receiveBuffer == nullptr) {
        size = 0;
        outOfMemory(handle, "receive buffer allocation failed.");
    } else {
        handle->scratch.prepare();
    }
    handle->receiveBufferSize = static_cast<UInt32>(size);
    trace(handle, eTRACECLASS_VERBOSE, "    buffer size = %d", static_cast<int>(size));
    return handle->receiveBufferSize;
}

}  // extern "C"
