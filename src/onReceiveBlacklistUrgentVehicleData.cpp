/* The phone says which vehicle value it never wants. */
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceiveBlacklistUrgentVehicleData(quarlo_CoreInstance* obj,
                                                    packetBlacklistUrgentVehicleData* pPacket) {
    if (!accept(obj, pPacket, "BlacklistUrgentVehicleData called with NULL packet.", nullptr)) {
        return;
    }
    _quarlo_ProcessVehicleDataBlackList(obj, pPacket->Key);
}
