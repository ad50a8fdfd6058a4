/* The phone says which vehicle values it wants. */
#include "QUARLO-Core-Utilities.h"

using namespace quarlo;

extern "C" void onReceiveSetVehicleDataFilter(quarlo_CoreInstance* obj,
                                              packetSetVehicleDataFilter* pPacket) {
    if (!accept(obj, pPacket, "SetVehicleDataFilter called with NULL packet.", nullptr)) return;
    trace(obj, eTRACECLASS_INFORMATION, "SetVehicleDataFilter requests data for %d keys",
          pPacket->Length);
    _quarlo_ProcessSetVehicleDataFilter(obj, pPacket->Length, pPacket->pKeys);
}
