/* Liveness: a ping in RUN is counted and answered; before it, it only primes the count. */
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceivePing(quarlo_CoreInstance* obj, packetPing* pPacket) {
    if (obj == nullptr) return;
    if (pPacket == nullptr) {
        trace(obj, eTRACECLASS_WARNING, "ReceivePing called with NULL packet.");
        return;
    }
    const UInt32 counter = pPacket->PacketCounter;
    const UInt32 expected = obj->lastPingCount + 1;
    obj->lastPingCount = counter;
    if (!inRun(obj)) return;
    quarlo_ResetWatchdog(obj);
    if (counter != expected) {
        traceShort(obj, eTRACECLASS_WARNING, "ping count mismatch. Expected: %d, received: %d.",
                   static_cast<int>(expected), static_cast<int>(counter));
    } else if (traces(obj, eTRACECLASS_VERBOSE)) {
        traceShort(obj, eTRACECLASS_VERBOSE, "ping %d", static_cast<int>(counter));
    }
    send<packetPingAcknowledge>(
        obj, [&](packetPingAcknowledge& answer) { answer.PacketCounter = counter; });
}
