/* The phone's answer to the head unit's description; what it may want to know beside it is sent at
 * once. */
#include "QUARLO-Core-Announcements.h"

namespace quarlo {
namespace {

void sendLanguageIfSet(quarlo_CoreInstance* obj) {
    UInt8 code[sizeof ISO639LanguageCode];
    bool isSet = false;
    {
        const Lock library(nullptr);
        isSet = isLanguageSet != 0;
        std::memcpy(code, ISO639LanguageCode, sizeof code);
    }
    if (!isSet) {
        trace(obj, eTRACECLASS_INFORMATION, "Language not yet set.");
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "ClientSettings sent");
    sendLanguage(obj, code);
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" void onReceiveServerInitAcknowledge(quarlo_CoreInstance* obj,
                                               packetServerInitAcknowledge* pPacket) {
    if (!accept(obj, pPacket, "ServerInitAcknowledge called with NULL packet.",
                "ServerInitAcknowledge received in wrong state; ignored.",
                ePROTOCOL_STATE_INIT_SERVER, eTRACECLASS_ERROR)) {
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "ServerInitAcknowledge");
    if (pPacket->IsAcknowledged != eFLAG_TRUE) {
        trace(obj, eTRACECLASS_ERROR, "client init not acknowledged by server.");
        obj->currentState = ePROTOCOL_STATE_STOP;
        return;
    }
    sendVoiceSupport(obj, obj->voiceSupportInfo, obj->voiceSupportConstraint);
    sendLanguageIfSet(obj);
}
