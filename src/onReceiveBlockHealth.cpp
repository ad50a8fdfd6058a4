/* Deliberate: the health of the blocked app is accepted in every state and not acted on. */
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceiveBlockHealth(quarlo_CoreInstance* obj, packetBlockHealth* pPacket) {
    trace(obj, eTRACECLASS_WARNING, "%s",
          pPacket == nullptr ? "ReceiveBlockHealth called with NULL packet."
                             : "received packet BlockHealth; not handled");
}
