/* The phone's answer to the protocol version. */
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceiveServerProtocolAcknowledge(quarlo_CoreInstance* obj,
                                                   packetServerProtocolAcknowledge* pPacket) {
    if (!accept(obj, pPacket, "ServerProtocolAcknowledge called with NULL packet.",
                "ServerProtocolAcknowledge received in wrong state; ignored.",
                ePROTOCOL_STATE_HANDSHAKE, eTRACECLASS_ERROR)) {
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "ServerProtocolAcknowledge");
    if (pPacket->IsAcknowledged == eFLAG_TRUE) {
        obj->currentState = ePROTOCOL_STATE_INIT_CLIENT;
        return;
    }
    trace(obj, eTRACECLASS_ERROR, "protocol not acknowledged by server.");
    obj->currentState = ePROTOCOL_STATE_STOP;
}
