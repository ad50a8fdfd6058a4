/* The phone asks for a voice session; the library keeps no state of it. */
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceiveServerVoiceSessionRequest(quarlo_CoreInstance* obj,
                                                   packetServerVoiceSessionRequest* pPacket) {
    if (!accept(obj, pPacket, "ReceiveServerVoiceSessionRequest called with NULL packet.",
                "ServerVoiceSessionRequest received in wrong state; ignored.")) {
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "ServerVoiceSessionRequest");
    notify(obj, obj->onVoiceSessionRequestCallback, pPacket->Type);
}
