/*
 * The protocol's state machine: what the client sends in each state. Runs on the receiver thread
 * after every receive attempt; internalLock orders its state changes against the threads that read
 * the state.
 */
#include <cstring>

#include "QUARLO-Core-Strings.h"
#include "QUARLO-Core-Utilities.h"

namespace quarlo {
namespace {

void setState(quarlo_CoreInstance* obj, eProtocolState state) {
    const Lock lock(obj);
    obj->currentState = state;
}

/** A description that could not be built ends the connection. */
void giveUp(quarlo_CoreInstance* obj) {
    _errorCall(obj, eERRORCODE_MEM_ALLOC);
    _errorCall(obj, eERRORCODE_PROTOCOL_STOP);
    setState(obj, ePROTOCOL_STATE_STOP);
}

void sendVersion(quarlo_CoreInstance* obj) {
    send<packetClientProtocolVersion>(
        obj, [](packetClientProtocolVersion& packet) { *packet.Version = protocolVersion; });
    setState(obj, ePROTOCOL_STATE_HANDSHAKE);
}

qrString nameOf(const quarlo_CoreInstance* obj) {
    const char* name = obj->hostDescription == nullptr ? "" : obj->hostDescription;
    return borrowBytes(name, static_cast<UInt16>(std::strlen(name)));
}

void fillScreen(const coreConfiguration& config, packetClientInit& packet) {
    *packet.FrameProperties = config.frameProperties;
    packet.SupportedCompressions = supportedCompressions;
    packet.ScreenWidth = static_cast<UInt16>(config.hostWidth);
    packet.ScreenHeight = static_cast<UInt16>(config.hostHeight);
    packet.PhysicalScreenWidth = static_cast<UInt16>(config.hostPhysicalWidth);
    packet.PhysicalScreenHeight = static_cast<UInt16>(config.hostPhysicalHeight);
}

/** Under the lock, because the packet leads to the instance's own lists. */
Built buildDescription(quarlo_CoreInstance* obj, wire::Outgoing<packetClientInit>& outgoing) {
    const Lock lock(obj);
    return build(outgoing, [&](packetClientInit& packet) {
        fillScreen(obj->config, packet);
        *packet.Name = nameOf(obj);
        packet.Capabilities = obj->hostServices;
        *packet.SupportedCustomData = obj->supportedCustomData;
        *packet.NonTouchConfig = {obj->numberOfCustomKeys, obj->customKeyList};
    });
}

void sendDescription(quarlo_CoreInstance* obj) {
    wire::Outgoing<packetClientInit> outgoing;
    const Built built = buildDescription(obj, outgoing);
    const eReturnCode sent =
        conclude(obj, outgoing, built, "creation of ClientInit packet failed.", eTRACECLASS_ERROR);
    if (sent == eRETURN_OKAY) return setState(obj, ePROTOCOL_STATE_INIT_SERVER);
    giveUp(obj);
}

void sendDone(quarlo_CoreInstance* obj) {
    send<packetClientInitDone>(
        obj, [](packetClientInitDone& packet) { packet.Successful = eFLAG_TRUE; });
    trace(obj, eTRACECLASS_INFORMATION, "ClientInitDone sent");
    obj->initDoneSent = eFLAG_TRUE;
}

void finishInitialisation(quarlo_CoreInstance* obj) {
    if (obj->initDoneSent == 0) sendDone(obj);
    if (obj->initDoneSent != eFLAG_TRUE || obj->initDoneReceived != eFLAG_TRUE) return;
    obj->runReached = eFLAG_TRUE;
    setState(obj, ePROTOCOL_STATE_RUN);
    trace(obj, eTRACECLASS_INFORMATION,
          "found ClientInitDone sent and ServerInitDone received --> RUN state");
}

/** Announces the version text; false when that failed. */
bool announceVersion(quarlo_CoreInstance* obj) {
    char version[coreVersionSize];
    {
        const Lock library(nullptr);
        std::memcpy(version, theCoreVersion, sizeof version);
    }
    const eReturnCode sent = quarlo_CustomDataString(
        obj, eCLIENTCUSTOMDATASTRINGTYPE_IVIFirmwareVersionF, eSTRINGENCODING_UTF8, version);
    if (sent == eRETURN_OKAY) return true;
    trace(obj, eTRACECLASS_ERROR, "sending version information failed.");
    _errorCall(obj, eERRORCODE_PROTOCOL_STOP);
    setState(obj, ePROTOCOL_STATE_STOP);
    return false;
}

void run(quarlo_CoreInstance* obj) {
    const bool isFirst = obj->hasBeenRunning == 0;
    // The teardown clears hasBeenRunning, but only after it has marked the instance: looked at in
    // this order, what it ends is not begun again.
    if (obj->receiverThread.endFlag != 0 || obj->isAlreadyDeleted != 0) return;
    // A failed announcement has made its report; RUN has not been handled, so STOP makes no second
    // one.
    if (isFirst && !announceVersion(obj)) return;
    if (obj->watchdogStartPending == eFLAG_TRUE) {
        trace(obj, eTRACECLASS_VERBOSE, "protocol handler: watchdog pending true; starting now.");
        quarlo_EnablePingWatchdog(obj, eFLAG_TRUE, obj->watchdogTime);
    }
    if (!isFirst) return;
    const Lock lock(obj);
    obj->hasBeenRunning = eFLAG_TRUE;
}

void stop(quarlo_CoreInstance* obj) {
    bool wasRunning = false;
    {
        const Lock lock(obj);
        wasRunning = obj->hasBeenRunning.exchange(eFLAG_FALSE) != 0;
    }
    if (!wasRunning) return;
    _errorCall(obj, eERRORCODE_PROTOCOL_STOP);
    obj->watchdogThread.end();
    obj->initTimerThread.end();
}

void act(quarlo_CoreInstance* obj, eProtocolState state) {
    switch (state) {
        case ePROTOCOL_STATE_NONE:
            return sendVersion(obj);
        case ePROTOCOL_STATE_HANDSHAKE:
        case ePROTOCOL_STATE_INIT_SERVER:
            return;
        case ePROTOCOL_STATE_INIT_CLIENT:
            return sendDescription(obj);
        case ePROTOCOL_STATE_INIT_DONE:
            return finishInitialisation(obj);
        case ePROTOCOL_STATE_RUN:
            return run(obj);
        case ePROTOCOL_STATE_STOP:
            return stop(obj);
    }
    trace(obj, eTRACECLASS_WARNING, "unknown protocol state; ignored (but saved).");
    obj->lastState = state;
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" void quarlo_Protocol(void* instanceHandle) {
    auto* obj = static_cast<quarlo_CoreInstance*>(instanceHandle);
    if (obj == nullptr) return;
    if (obj->currentState != obj->lastState) {
        trace(obj, eTRACECLASS_VERBOSE, "protocol state changed to %s",
              _quarlo_getStateName(obj->currentState));
    }
    act(obj, obj->currentState);
    const eProtocolState state = obj->currentState;
    const bool isForHost = state == ePROTOCOL_STATE_RUN || state == ePROTOCOL_STATE_STOP;
    if (state != obj->lastState && isForHost && obj->shutdownAnnounced == 0) {
        notify(obj, obj->protocolCallback, state);
    }
    obj->lastState = state;
}
