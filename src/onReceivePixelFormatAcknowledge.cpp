/* The phone's answer to a pixel format set in RUN; a refusal ends the session. */
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceivePixelFormatAcknowledge(quarlo_CoreInstance* obj,
                                                packetPixelFormatAcknowledge* pPacket) {
    if (!accept(obj, pPacket, "ReceivePixelFormatAcknowledge called with NULL packet.",
                "PixelFormatAcknowledge received in wrong state; ignored")) {
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "PixelFormatAcknowledge");
    if (pPacket->IsAcknowledged == eFLAG_TRUE) return;
    trace(obj, eTRACECLASS_ERROR, "pixel format not acknowledged by server.");
    obj->currentState = ePROTOCOL_STATE_STOP;
}
