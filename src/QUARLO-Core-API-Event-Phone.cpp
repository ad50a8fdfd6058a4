/* Phone calls, voice sessions and the callbacks for what the phone asks and reports. Host threads.
 */
#include "QUARLO-Core-Announcements.h"
#include "QUARLO.Connector.IVI-API_C.h"

using namespace quarlo;

extern "C" {

void quarlo_SetPhonecallStatusCallback(void* instanceHandle, quarloFlagCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::phonecallStatusCallback, callback,
          "Set Phonecall Status Callback");
}

void quarlo_SetAppTransitionStatusCallback(void* instanceHandle, quarloFlagCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::appTransitionStatusCallback, callback,
          "Set Application Transition Callback");
}

void quarlo_SetAppInactiveCallback(void* instanceHandle, quarloFlagCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::appInactiveCallback, callback,
          "Set Application Inactive Callback");
}

void quarlo_SetLauncherStateCallback(void* instanceHandle, quarloLauncherStateCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::launcherStateCallback, callback,
          "Set Launcher State Callback");
}

eReturnCode quarlo_SetPTTAvailableCallback(void* instanceHandle, quarloFlagCallback callback) {
    return store(instanceHandle, &quarlo_CoreInstance::pttAvailableCallback, callback,
                 "Set PTT Available Callback");
}

void quarlo_SetInitiatePhoneCallCallback(void* instanceHandle,
                                         quarloInitiatePhoneCallCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::initiatePhoneCallCallback, callback,
          "Set Initiate PhoneCall Callback");
}

void quarlo_SetNavigateToCallback(void* instanceHandle, quarloNavigateToCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::navigateToCallback, callback,
          "Set NavigateTo Callback");
}

void quarlo_SetVoiceSessionRequestCallback(void* instanceHandle,
                                           quarloVoiceSessionRequestCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::onVoiceSessionRequestCallback, callback, nullptr);
}

void quarlo_PhoneCallStatusResponse(void* instanceHandle, PhoneCallStatus statusValue) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "PhoneCall Status Response");
        if (!inRun(obj)) return;
        send<packetPhoneCallStatusResponse>(
            obj, [&](packetPhoneCallStatusResponse& packet) { packet.Status = statusValue; });
    });
}

void quarlo_VoiceSessionStatus(void* instanceHandle, VoiceSessionStatus statusValue,
                               VoiceSessionStatusConstraint statusConstraint) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "VoiceSessionStatus");
        if (!inRun(obj)) return;
        send<packetClientVoiceSessionStatus>(obj, [&](packetClientVoiceSessionStatus& packet) {
            packet.Value = statusValue;
            packet.Constraint = statusConstraint;
        });
    });
}

void quarlo_VoiceSupportInfo(void* instanceHandle, VoiceSupport supportValue,
                             VoiceSupportConstraint supportConstraint) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "VoiceSupportInfo");
        obj->voiceSupportInfo = supportValue;
        obj->voiceSupportConstraint = supportConstraint;
        if (supportValue <= eVOICESUPPORT_SecondEndpoint) {
            trace(obj, eTRACECLASS_INFORMATION, "    [%s]",
                  _quarlo_getVoiceSupportName(supportValue));
        } else {
            trace(obj, eTRACECLASS_WARNING, "unknown value '%d' for VoiceSupportInfo.",
                  supportValue);
        }
        if (inRun(obj)) sendVoiceSupport(obj, supportValue, supportConstraint);
    });
}

}  // extern "C"
