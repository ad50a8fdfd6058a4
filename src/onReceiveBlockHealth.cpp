/*
 * Deliberate: the health of the blocked app is accepted in every state and not acted on. It asks
 * for nothing and no callback has a use for it, so a line in the trace is all that it can be.
 */
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceiveBlockHealth(quarlo_CoreInstance* obj, packetBlockHealth* pPacket) {
    trace(obj, eTRACECLASS_WARNING, "%s",
          pPacket == nullptr ? "ReceiveBlockHealth called with NULL packet."
                             : "received packet BlockHealth; not handled");
}
