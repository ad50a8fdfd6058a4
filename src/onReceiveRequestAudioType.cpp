/* The phone asks for the resulting audio type of all sources. */
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceiveRequestAudioType(quarlo_CoreInstance* obj,
                                          packetRequestAudioType* pPacket) {
    if (!accept(obj, pPacket, "RequestAudioType called with NULL packet.",
                "RequestAudioType received in wrong state; ignored.")) {
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "RequestAudioType");
    AudioType type = eAUDIOTYPE_Ignore;
    if ((obj->hostServices & eCLIENTCAPABILITIES_AudioHandling) != 0) {
        const Lock library(nullptr);
        type = currentAudioType;
    } else {
        trace(obj, eTRACECLASS_WARNING, "    audio handling not supported.");
    }
    send<packetAudioTypeResponse>(
        obj, [&](packetAudioTypeResponse& answer) { answer.CurrentAudioType = type; });
}
