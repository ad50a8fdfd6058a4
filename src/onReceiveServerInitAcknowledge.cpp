/* The phone's answer to the head unit's description; what it may want to know beside it is sent at
 * once. */
#include <cstring>

#include "QUARLO-Core-Utilities.h"

namespace quarlo {
namespace {

void sendVoiceSupport(quarlo_CoreInstance* obj) {
    send<packetClientVoiceSupportInfo>(obj, "creation of ClientVoiceSupportInfo packet failed.",
                                       [&](packetClientVoiceSupportInfo& packet) {
                                           packet.Value = obj->voiceSupportInfo;
                                           packet.Constraint = obj->voiceSupportConstraint;
                                       });
}

void sendLanguage(quarlo_CoreInstance* obj) {
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
    send<packetClientSettings>(
        obj, "creation of ClientSettings packet failed.",
        [&](packetClientSettings& packet) { std::memcpy(packet.arrLanguage, code, sizeof code); });
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
    sendVoiceSupport(obj);
    sendLanguage(obj);
}
