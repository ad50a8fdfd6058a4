/* The phone's answer to an app start. */
#include "QUARLO-Core-Texts.h"
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceiveServerAppStarted(quarlo_CoreInstance* obj,
                                          packetServerAppStarted* pPacket) {
    if (obj == nullptr) return;
    trace(obj, eTRACECLASS_INFORMATION, "Received ServerAppStartedResponse");
    if (pPacket == nullptr) {
        trace(obj, eTRACECLASS_WARNING, "onReceiveServerAppStarted called with NULL packet.");
        return;
    }
    if (obj->onAppStartedResponseCallback == nullptr) {
        // Deliberate: the text names the icon's callback. Programs that read traces know a line by
        // its text, which is a part of the interface.
        trace(obj, eTRACECLASS_WARNING,
              "AppStartedResponse received, but onAppIconResponseCallback not set.");
        return;
    }
    if (!inRun(obj, "AppStartedResponse received in wrong state; ignored.")) return;
    const char* url = textOf(obj, pPacket->IdentifierURL);
    if (url == nullptr) {
        trace(obj, eTRACECLASS_WARNING, "allocation for IdentifierURL failed.");
        return;
    }
    notify(obj, obj->onAppStartedResponseCallback, url, pPacket->Status);
}
