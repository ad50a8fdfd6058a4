/* The phone's status reports, each handed to its own callback. */
#include "QUARLO-Core-Utilities.h"
#include "QUARLO.Connector.IVI-API_C.h"

using namespace quarlo;

extern "C" void onReceiveServerState(quarlo_CoreInstance* obj, packetServerState* pPacket) {
    if (!accept(obj, pPacket, "ReceiveServerState called with NULL packet.",
                "ServerState received in wrong state; ignored.")) {
        return;
    }
    constexpr eTraceClass information = eTRACECLASS_INFORMATION;
    const Flag isOn = pPacket->Value != 0;
    const auto launcherState = static_cast<LauncherState>(pPacket->Value);
    trace(obj, information, "ServerState");
    switch (pPacket->DataType) {
        case eSERVERDATATYPE_PhoneCall:
            trace(obj, information, "    _PhoneCall %s", isOn ? "STARTS" : "ENDS");
            notify(obj, obj->phonecallStatusCallback, isOn);
            break;
        case eSERVERDATATYPE_Transition:
            trace(obj, information, "    _AppTransition %s", isOn ? "STARTS" : "ENDS");
            notify(obj, obj->appTransitionStatusCallback, isOn);
            break;
        case eSERVERDATATYPE_Inactive:
            trace(obj, information, "    _Inactive %s", isOn ? "INACTIVE" : "ACTIVE");
            notify(obj, obj->appInactiveCallback, isOn);
            break;
        case eSERVERDATATYPE_LauncherAppState:
            trace(obj, information, "    _LauncherAppState %s",
                  _quarlo_getLauncherStateName(launcherState));
            notify(obj, obj->launcherStateCallback, launcherState);
            break;
        case eSERVERDATATYPE_PTTAvailable:
            trace(obj, information, "    _PTTAvailable %s", isOn ? "AVAILABLE" : "NOT AVAILABLE");
            notify(obj, obj->pttAvailableCallback, isOn);
            break;
        default:
            break;
    }
}
