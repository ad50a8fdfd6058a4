/* The phone's end of initialisation. */
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceiveServerInitDone(quarlo_CoreInstance* obj, packetServerInitDone* pPacket) {
    if (!accept(obj, pPacket, "onServerInitDone() called with NULL packet.",
                "ServerInitDone received in wrong state; ignored.", ePROTOCOL_STATE_INIT_DONE,
                eTRACECLASS_ERROR)) {
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "ServerInitDone");
    obj->initDoneReceived = pPacket->Successful;
    if (pPacket->Successful != 0) return;
    trace(obj, eTRACECLASS_ERROR, "server initialisation not successful.");
    obj->currentState = ePROTOCOL_STATE_STOP;
}
