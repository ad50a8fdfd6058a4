/* Whether the phone's block mode takes effect. */
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceiveBlockStatus(quarlo_CoreInstance* obj, packetBlockStatus* pPacket) {
    if (!accept(obj, pPacket, "ReceiveBlockStatus called with NULL packet.",
                "received packet BlockStatus while in wrong status; ignored")) {
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "received packet BlockStatus");
    notify(obj, obj->blockStatusCallback, pPacket->BlockIsActive);
}
