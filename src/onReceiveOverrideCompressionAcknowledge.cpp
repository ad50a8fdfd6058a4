/* The phone's answer to a compression set in RUN; a refusal is only reported. */
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceiveOverrideCompressionAcknowledge(
    quarlo_CoreInstance* obj, packetOverrideCompressionAcknowledge* pPacket) {
    if (!accept(obj, pPacket, "OverrideCompressionAcknowledge called with NULL packet.",
                "OverrideCompressionAcknowledge received in wrong state; ignored.")) {
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "OverrideCompressionAcknowledge\n");
    if (pPacket->IsAcknowledged == eFLAG_TRUE) return;
    trace(obj, eTRACECLASS_WARNING,
          "override of frame compression format not acknowledged by server.");
}
