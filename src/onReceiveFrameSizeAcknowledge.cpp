/* The phone's answer to a frame size set in RUN; a refusal ends the session. */
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceiveFrameSizeAcknowledge(quarlo_CoreInstance* obj,
                                              packetFrameSizeAcknowledge* pPacket) {
    if (!accept(obj, pPacket, "ReceiveFrameSizeAcknowledge called with NULL packet.",
                "FrameSizeAcknowledge received in wrong state; ignored.")) {
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "FrameSizeAcknowledge\n");
    if (pPacket->IsAcknowledged == eFLAG_TRUE) return;
    trace(obj, eTRACECLASS_ERROR, "frame size not acknowledged by server.");
    obj->currentState = ePROTOCOL_STATE_STOP;
}
