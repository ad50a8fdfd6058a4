/* The phone asks the head unit to dial. The texts live in the scratch memory during the callback.
 */
#include "QUARLO-Core-Texts.h"
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceiveInitiatePhoneCall(quarlo_CoreInstance* obj,
                                           packetInitiatePhoneCall* pPacket) {
    if (!accept(obj, pPacket, "ReceiveInitiatePhoneCall called with NULL packet.",
                "InitiatePhoneCall received in wrong state; ignored.")) {
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "InitiatePhoneCall");
    if ((obj->hostServices & eCLIENTCAPABILITIES_InitiatePhoneCall) == 0) {
        trace(obj, eTRACECLASS_WARNING,
              "InitiatePhoneCall received and init phone not active; ignored.");
        return;
    }
    if (obj->initiatePhoneCallCallback == nullptr) return;
    char* number = textOf(obj, pPacket->Number);
    char* displayName = textOf(obj, pPacket->DisplayName);
    if (number == nullptr) {
        trace(obj, eTRACECLASS_WARNING, "InitiatePhoneCall without number; ignored.");
        return;
    }
    notify(obj, obj->initiatePhoneCallCallback, number, displayName);
}
