/* Every enumerator's value and every printer's texts, against tables that derive from nothing. */
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo::test {
namespace {

struct Name {
    std::uint64_t enumerator;
    std::uint64_t value;
    const char* text;
};

struct Printed {
    const char* type;
    std::size_t width;
    std::string (*print)(std::uint64_t value);
    std::vector<Name> names;
};

#define PRINTED(Type)               \
    {                               \
#Type, sizeof(Type),        \
            [](std::uint64_t value) \
                 -> std::string { return _quarlo_get##Type##Name(static_cast<Type>(value)); },

// clang-format off
const std::vector<Printed> table = {
    PRINTED(Flag){
        {eFLAG_FALSE, 0, "FALSE"}, {eFLAG_TRUE, 1, "TRUE"}}},
    PRINTED(FrameCompression){
        {eFRAMECOMPRESSION_JPEG, 1, "JPEG"}, {eFRAMECOMPRESSION_ZLIB, 2, "ZLIB"},
        {eFRAMECOMPRESSION_Uncompressed, 4, "Uncompressed"}}},
    PRINTED(ServerCapabilities){
        {eSERVERCAPABILITIES_EnableVoiceControlDeprecated, 1, "EnableVoiceControlDeprecated"},
        {eSERVERCAPABILITIES_EnableAudioHandling, 2, "EnableAudioHandling"},
        {eSERVERCAPABILITIES_EnableAppStart, 4, "EnableAppStart"}}},
    PRINTED(AppInstallationStatus){
        {eAPPINSTALLATIONSTATUS_Unknown, 0, "Unknown"},
        {eAPPINSTALLATIONSTATUS_NotInstalled, 1, "NotInstalled"},
        {eAPPINSTALLATIONSTATUS_NotPaired, 2, "NotPaired"},
        {eAPPINSTALLATIONSTATUS_Executable, 3, "Executable"}}},
    PRINTED(StringEncoding){
        {eSTRINGENCODING_UTF8, 1, "UTF8"}, {eSTRINGENCODING_ASCII_LATIN1, 2, "ASCII_LATIN1"}}},
    PRINTED(ClientDataType){
        {eCLIENTDATATYPE_Movement, 1, "Movement"},
        {eCLIENTDATATYPE_DayNightMode, 2, "DayNightMode"},
        {eCLIENTDATATYPE_FrameRequestsSuspended, 3, "FrameRequestsSuspended"}}},
    PRINTED(VoiceSupport){
        {eVOICESUPPORT_NotSupported, 0, "NotSupported"},
        {eVOICESUPPORT_VirtualPhoneCallOnly, 1, "VirtualPhoneCallOnly"},
        {eVOICESUPPORT_FullSCOSupport, 2, "FullSCOSupport"},
        {eVOICESUPPORT_ProtocolTransport, 3, "ProtocolTransport"},
        {eVOICESUPPORT_SecondEndpoint, 4, "SecondEndpoint"}}},
    PRINTED(AudioType){
        {eAUDIOTYPE_Ignore, 1, "Ignore"}, {eAUDIOTYPE_Silent, 2, "Silent"},
        {eAUDIOTYPE_Main, 3, "Main"}, {eAUDIOTYPE_Chime, 4, "Chime"},
        {eAUDIOTYPE_Announcement, 5, "Announcement"},
        {eAUDIOTYPE_CriticalAnnouncement, 6, "CriticalAnnouncement"}}},
    PRINTED(AudioStatus){
        {eAUDIOSTATUS_Reject, 2, "Reject"}, {eAUDIOSTATUS_Open, 3, "Open"},
        {eAUDIOSTATUS_Suspend, 4, "Suspend"}, {eAUDIOSTATUS_Close, 6, "Close"}}},
    PRINTED(PixelFormat){
        {ePIXELFORMAT_RGB888, 1, "RGB888"}, {ePIXELFORMAT_RGB565, 2, "RGB565"},
        {ePIXELFORMAT_ARGB8888, 3, "ARGB8888"}, {ePIXELFORMAT_RGBA8888, 4, "RGBA8888"}}},
    PRINTED(CustomDataEvent){
        {eCUSTOMDATAEVENT_String, 1, "String"}, {eCUSTOMDATAEVENT_Int, 2, "Int"},
        {eCUSTOMDATAEVENT_Raw, 3, "Raw"}, {eCUSTOMDATAEVENT_Can, 4, "Can"},
        {eCUSTOMDATAEVENT_Key, 5, "Key"}}},
    PRINTED(ClientCustomDataStringType){
        {eCLIENTCUSTOMDATASTRINGTYPE_BTMACAddress, 1, "BTMACAddress"},
        {eCLIENTCUSTOMDATASTRINGTYPE_IVIFirmwareVersionA, 2, "IVIFirmwareVersionA"},
        {eCLIENTCUSTOMDATASTRINGTYPE_IVIFirmwareVersionB, 3, "IVIFirmwareVersionB"},
        {eCLIENTCUSTOMDATASTRINGTYPE_IVIFirmwareVersionC, 4, "IVIFirmwareVersionC"},
        {eCLIENTCUSTOMDATASTRINGTYPE_IVIFirmwareVersionD, 5, "IVIFirmwareVersionD"},
        {eCLIENTCUSTOMDATASTRINGTYPE_IVIFirmwareVersionE, 6, "IVIFirmwareVersionE"},
        {eCLIENTCUSTOMDATASTRINGTYPE_IVIFirmwareVersionF, 7, "IVIFirmwareVersionF"},
        {eCLIENTCUSTOMDATASTRINGTYPE_BundleIdiOS, 8, "BundleIdiOS"}}},
    PRINTED(ServerCustomDataStringType){
        {eSERVERCUSTOMDATASTRINGTYPE_BTName, 1, "BTName"},
        {eSERVERCUSTOMDATASTRINGTYPE_BundleIdiOS, 2, "BundleIdiOS"}}},
    PRINTED(ClientCustomDataIntType){
        {eCLIENTCUSTOMDATAINTTYPE_ScreenTest, 0xFF00, "ScreenTest"},
        {eCLIENTCUSTOMDATAINTTYPE_ZelHUTunerClient, 0xFE00, "ZelHUTunerClient"},
        {eCLIENTCUSTOMDATAINTTYPE_GetCanAmbientlight, 0xFF01, "GetCanAmbientlight"}}},
    PRINTED(ServerCustomDataIntType){
        {eSERVERCUSTOMDATAINTTYPE_BatteryLevel, 1, "BatteryLevel"},
        {eSERVERCUSTOMDATAINTTYPE_CarrierSignalLevel, 2, "CarrierSignalLevel"},
        {eSERVERCUSTOMDATAINTTYPE_MobileConnectionLevel, 3, "MobileConnectionLevel"},
        {eSERVERCUSTOMDATAINTTYPE_DateTime, 4, "DateTime"},
        {eSERVERCUSTOMDATAINTTYPE_BatteryStatus, 5, "BatteryStatus"},
        {eSERVERCUSTOMDATAINTTYPE_DateTimeLocal, 6, "DateTimeLocal"},
        {eSERVERCUSTOMDATAINTTYPE_ZelHUTunerServer, 0xFE00, "ZelHUTunerServer"},
        {eSERVERCUSTOMDATAINTTYPE_SetCanAmbientlight, 0xFF01, "SetCanAmbientlight"}}},
    PRINTED(ServerCustomDataRawType){
        {eSERVERCUSTOMDATARAWTYPE_NoOperation, 0, "NoOperation"},
        {eSERVERCUSTOMDATARAWTYPE_StoreInstance, 0x1000, "StoreInstance"},
        {eSERVERCUSTOMDATARAWTYPE_GetInstance, 0x2000, "GetInstance"},
        {eSERVERCUSTOMDATARAWTYPE_StoreCore, 0x3000, "StoreCore"},
        {eSERVERCUSTOMDATARAWTYPE_GetCore, 0x4000, "GetCore"},
        {eSERVERCUSTOMDATARAWTYPE_StorePersistent, 0x5000, "StorePersistent"},
        {eSERVERCUSTOMDATARAWTYPE_GetPersistent, 0x6000, "GetPersistent"},
        {eSERVERCUSTOMDATARAWTYPE_DeletePersistent, 0x7000, "DeletePersistent"},
        {eSERVERCUSTOMDATARAWTYPE_StoreHost, 0x8000, "StoreHost"},
        {eSERVERCUSTOMDATARAWTYPE_GetHost, 0x9000, "GetHost"},
        {eSERVERCUSTOMDATARAWTYPE_DeleteHost, 0xA000, "DeleteHost"}}},
    PRINTED(ClientCustomDataCanType){
        {eCLIENTCUSTOMDATACANTYPE_Generic, 1, "Generic"},
        {eCLIENTCUSTOMDATACANTYPE_CanAmbientlight, 0xFF01, "CanAmbientlight"}}},
    PRINTED(ClientCustomDataKeyType){
        {eCLIENTCUSTOMDATAKEYTYPE_Press, 1, "Press"},
        {eCLIENTCUSTOMDATAKEYTYPE_Release, 2, "Release"},
        {eCLIENTCUSTOMDATAKEYTYPE_LongPress, 3, "LongPress"},
        {eCLIENTCUSTOMDATAKEYTYPE_Click, 4, "Click"},
        {eCLIENTCUSTOMDATAKEYTYPE_DoubleClick, 5, "DoubleClick"},
        {eCLIENTCUSTOMDATAKEYTYPE_Abort, 6, "Abort"}}},
    PRINTED(ClientCustomDataKeyCode){
        {eCLIENTCUSTOMDATAKEYCODE_PushToTalk, 1, "PushToTalk"},
        {eCLIENTCUSTOMDATAKEYCODE_ScrollUp, 2, "ScrollUp"},
        {eCLIENTCUSTOMDATAKEYCODE_ScrollDown, 3, "ScrollDown"},
        {eCLIENTCUSTOMDATAKEYCODE_PageUp, 4, "PageUp"},
        {eCLIENTCUSTOMDATAKEYCODE_PageDown, 5, "PageDown"},
        {eCLIENTCUSTOMDATAKEYCODE_ValueUp, 6, "ValueUp"},
        {eCLIENTCUSTOMDATAKEYCODE_ValueDown, 7, "ValueDown"},
        {eCLIENTCUSTOMDATAKEYCODE_PhoneLiftReceiver, 8, "PhoneLiftReceiver"},
        {eCLIENTCUSTOMDATAKEYCODE_PhoneRingOff, 9, "PhoneRingOff"},
        {eCLIENTCUSTOMDATAKEYCODE_VolumeUp, 10, "VolumeUp"},
        {eCLIENTCUSTOMDATAKEYCODE_VolumeDown, 11, "VolumeDown"},
        {eCLIENTCUSTOMDATAKEYCODE_Ok, 12, "Ok"}, {eCLIENTCUSTOMDATAKEYCODE_Cancel, 13, "Cancel"},
        {eCLIENTCUSTOMDATAKEYCODE_Back, 14, "Back"},
        {eCLIENTCUSTOMDATAKEYCODE_KnobTickCW, 20, "KnobTickCW"},
        {eCLIENTCUSTOMDATAKEYCODE_KnobTickCCW, 21, "KnobTickCCW"},
        {eCLIENTCUSTOMDATAKEYCODE_DPadUp, 30, "DPadUp"},
        {eCLIENTCUSTOMDATAKEYCODE_DPadDown, 31, "DPadDown"},
        {eCLIENTCUSTOMDATAKEYCODE_DPadLeft, 32, "DPadLeft"},
        {eCLIENTCUSTOMDATAKEYCODE_DPadRight, 33, "DPadRight"}}},
    PRINTED(ServerCustomDataKeyType){
        {eSERVERCUSTOMDATAKEYTYPE_Press, 1, "Press"},
        {eSERVERCUSTOMDATAKEYTYPE_Release, 2, "Release"},
        {eSERVERCUSTOMDATAKEYTYPE_LongPress, 3, "LongPress"},
        {eSERVERCUSTOMDATAKEYTYPE_Click, 4, "Click"},
        {eSERVERCUSTOMDATAKEYTYPE_DoubleClick, 5, "DoubleClick"},
        {eSERVERCUSTOMDATAKEYTYPE_Abort, 6, "Abort"}}},
    PRINTED(ServerCustomDataKeyCode){
        {eSERVERCUSTOMDATAKEYCODE_PushToTalk, 1, "PushToTalk"},
        {eSERVERCUSTOMDATAKEYCODE_VolumeUp, 10, "VolumeUp"},
        {eSERVERCUSTOMDATAKEYCODE_VolumeDown, 11, "VolumeDown"}}},
    PRINTED(PixelEndianess){
        {ePIXELENDIANESS_BigEndian, 1, "BigEndian"},
        {ePIXELENDIANESS_LittleEndian, 2, "LittleEndian"}}},
    PRINTED(ClientCapabilities){
        {eCLIENTCAPABILITIES_InitiatePhoneCall, 1, "InitiatePhoneCall"},
        {eCLIENTCAPABILITIES_NavigateTo, 2, "NavigateTo"},
        {eCLIENTCAPABILITIES_ScreenCopy, 4, "ScreenCopy"},
        {eCLIENTCAPABILITIES_PositionInformation, 8, "PositionInformation"},
        {eCLIENTCAPABILITIES_AudioHandling, 16, "AudioHandling"},
        {eCLIENTCAPABILITIES_PacketExtensions, 32, "PacketExtensions"},
        {eCLIENTCAPABILITIES_PartialFrameUpdate, 64, "PartialFrameUpdate"},
        {eCLIENTCAPABILITIES_NoHomeButton, 128, "NoHomeButton"},
        {eCLIENTCAPABILITIES_RequiresFocusControl, 0x100, "RequiresFocusControl"},
        {eCLIENTCAPABILITIES_IsTwoWheeler, 0x200, "IsTwoWheeler"},
        {eCLIENTCAPABILITIES_IsOtherVehicle, 0x400, "IsOtherVehicle"}}},
    PRINTED(AudioControl){
        {eAUDIOCONTROL_Request, 1, "Request"}, {eAUDIOCONTROL_Release, 5, "Release"}}},
    PRINTED(EventType){
        {eEVENTTYPE_ClientProtocolVersion, 1, "ClientProtocolVersion"},
        {eEVENTTYPE_ServerProtocolAcknowledge, 2, "ServerProtocolAcknowledge"},
        {eEVENTTYPE_ClientInit, 11, "ClientInit"},
        {eEVENTTYPE_ServerInitAcknowledge, 12, "ServerInitAcknowledge"},
        {eEVENTTYPE_ServerInit, 14, "ServerInit"},
        {eEVENTTYPE_ClientInitDone, 17, "ClientInitDone"},
        {eEVENTTYPE_ServerInitDone, 18, "ServerInitDone"},
        {eEVENTTYPE_SetPixelFormat, 21, "SetPixelFormat"},
        {eEVENTTYPE_PixelFormatAcknowledge, 22, "PixelFormatAcknowledge"},
        {eEVENTTYPE_OverrideCompression, 23, "OverrideCompression"},
        {eEVENTTYPE_OverrideCompressionAcknowledge, 24, "OverrideCompressionAcknowledge"},
        {eEVENTTYPE_FramebufferUpdateRequest, 25, "FramebufferUpdateRequest"},
        {eEVENTTYPE_FramebufferUpdate, 26, "FramebufferUpdate"},
        {eEVENTTYPE_SetFrameSize, 27, "SetFrameSize"},
        {eEVENTTYPE_FrameSizeAcknowledge, 28, "FrameSizeAcknowledge"},
        {eEVENTTYPE_SoftkeyEvent, 31, "SoftkeyEvent"}, {eEVENTTYPE_TouchEvent, 33, "TouchEvent"},
        {eEVENTTYPE_ClientState, 35, "ClientState"}, {eEVENTTYPE_ServerState, 36, "ServerState"},
        {eEVENTTYPE_PositionInformation, 37, "PositionInformation"},
        {eEVENTTYPE_SetBlockMode, 39, "SetBlockMode"}, {eEVENTTYPE_BlockStatus, 40, "BlockStatus"},
        {eEVENTTYPE_BlockHealth, 42, "BlockHealth"},
        {eEVENTTYPE_InitiatePhoneCall, 50, "InitiatePhoneCall"},
        {eEVENTTYPE_PhoneCallStatusResponse, 51, "PhoneCallStatusResponse"},
        {eEVENTTYPE_NavigateTo, 52, "NavigateTo"},
        {eEVENTTYPE_SetVehicleDataFilter, 54, "SetVehicleDataFilter"},
        {eEVENTTYPE_VehicleData, 55, "VehicleData"},
        {eEVENTTYPE_BlacklistUrgentVehicleData, 56, "BlacklistUrgentVehicleData"},
        {eEVENTTYPE_ServerAudio, 58, "ServerAudio"}, {eEVENTTYPE_ClientAudio, 59, "ClientAudio"},
        {eEVENTTYPE_ClientVoiceSupportInfo, 61, "ClientVoiceSupportInfo"},
        {eEVENTTYPE_ServerVoiceSessionRequest, 62, "ServerVoiceSessionRequest"},
        {eEVENTTYPE_ClientVoiceSessionStatus, 63, "ClientVoiceSessionStatus"},
        {eEVENTTYPE_RequestAudioType, 64, "RequestAudioType"},
        {eEVENTTYPE_AudioTypeResponse, 65, "AudioTypeResponse"},
        {eEVENTTYPE_ClientCustomData, 67, "ClientCustomData"},
        {eEVENTTYPE_ServerCustomData, 68, "ServerCustomData"},
        {eEVENTTYPE_ClientSettings, 69, "ClientSettings"},
        {eEVENTTYPE_ServerAppInfo, 70, "ServerAppInfo"},
        {eEVENTTYPE_ClientRequestAppIcon, 71, "ClientRequestAppIcon"},
        {eEVENTTYPE_ServerAppIcon, 72, "ServerAppIcon"},
        {eEVENTTYPE_ClientStartApp, 73, "ClientStartApp"},
        {eEVENTTYPE_ServerAppStarted, 74, "ServerAppStarted"}, {eEVENTTYPE_Ping, 128, "Ping"},
        {eEVENTTYPE_PingAcknowledge, 129, "PingAcknowledge"}}},
    PRINTED(SoftkeyEventType){
        {eSOFTKEYEVENTTYPE_Press, 1, "Press"}, {eSOFTKEYEVENTTYPE_Release, 2, "Release"}}},
    PRINTED(Softkey){
        {eSOFTKEY_Home, 1, "Home"}, {eSOFTKEY_Back, 2, "Back"}, {eSOFTKEY_Menu, 3, "Menu"},
        {eSOFTKEY_Search, 4, "Search"}}},
    PRINTED(TouchType){
        {eTOUCHTYPE_Down, 1, "Down"}, {eTOUCHTYPE_Up, 2, "Up"}, {eTOUCHTYPE_Moved, 3, "Moved"},
        {eTOUCHTYPE_Cancelled, 4, "Cancelled"}}},
    PRINTED(ServerDataType){
        {eSERVERDATATYPE_PhoneCall, 1, "PhoneCall"}, {eSERVERDATATYPE_Transition, 2, "Transition"},
        {eSERVERDATATYPE_Inactive, 3, "Inactive"},
        {eSERVERDATATYPE_LauncherAppState, 4, "LauncherAppState"},
        {eSERVERDATATYPE_PTTAvailable, 5, "PTTAvailable"}}},
    PRINTED(BlockMode){
        {eBLOCKMODE_AllowAll, 1, "AllowAll"}, {eBLOCKMODE_DenyAll, 2, "DenyAll"},
        {eBLOCKMODE_UseWhitelist, 3, "UseWhitelist"}}},
    PRINTED(PhoneCallStatus){
        {ePHONECALLSTATUS_Received, 1, "Received"}, {ePHONECALLSTATUS_Started, 2, "Started"},
        {ePHONECALLSTATUS_Active, 3, "Active"}, {ePHONECALLSTATUS_Ended, 4, "Ended"},
        {ePHONECALLSTATUS_Waiting, 5, "Waiting"}, {ePHONECALLSTATUS_Rejected, 6, "Rejected"}}},
    PRINTED(VoiceSupportConstraint){
        {eVOICESUPPORTCONSTRAINT_NoConstraint, 0, "NoConstraint"},
        {eVOICESUPPORTCONSTRAINT_MicAndSpeakersTogetherOnly, 1, "MicAndSpeakersTogetherOnly"}}},
    PRINTED(VoiceSessionStatus){
        {eVOICESESSIONSTATUS_Unavailable, 0, "Unavailable"}, {eVOICESESSIONSTATUS_Idle, 1, "Idle"},
        {eVOICESESSIONSTATUS_StartRequested, 2, "StartRequested"},
        {eVOICESESSIONSTATUS_Active, 3, "Active"},
        {eVOICESESSIONSTATUS_EndRequested, 4, "EndRequested"}}},
    PRINTED(VoiceSessionStatusConstraint){
        {eVOICESESSIONSTATUSCONSTRAINT_NoConstraint, 0, "NoConstraint"},
        {eVOICESESSIONSTATUSCONSTRAINT_NoHFPConnection, 1, "NoHFPConnection"},
        {eVOICESESSIONSTATUSCONSTRAINT_VoiceAlreadyActive, 2, "VoiceAlreadyActive"},
        {eVOICESESSIONSTATUSCONSTRAINT_SCOTimeout, 3, "SCOTimeout"}}},
    PRINTED(VoiceRequest){
        {eVOICEREQUEST_StartMicAndSpeakers, 0, "StartMicAndSpeakers"},
        {eVOICEREQUEST_StartMicOnly, 1, "StartMicOnly"}, {eVOICEREQUEST_Active, 2, "Active"},
        {eVOICEREQUEST_EndUserEvent, 3, "EndUserEvent"},
        {eVOICEREQUEST_EndRealCallEvent, 4, "EndRealCallEvent"}}},
    PRINTED(ClientCustomDataRawType){
        {eCLIENTCUSTOMDATARAWTYPE_NoOperation, 0, "NoOperation"}}},
    PRINTED(AudioRequestResultCode){
        {eAUDIOREQUESTRESULTCODE_NoError, 0, "NoError"},
        {eAUDIOREQUESTRESULTCODE_UnknownError, 255, "UnknownError"}}},
    PRINTED(NavigateToType){
        {eNAVIGATETOTYPE_PositionOnly, 1, "PositionOnly"},
        {eNAVIGATETOTYPE_PlacemarkOnly, 2, "PlacemarkOnly"}, {eNAVIGATETOTYPE_Both, 3, "Both"}}},
    PRINTED(LauncherState){
        {eLAUNCHERSTATE_NotVisible, 0, "NotVisible"},
        {eLAUNCHERSTATE_VisibleFirst, 1, "VisibleFirst"},
        {eLAUNCHERSTATE_VisibleOther, 2, "VisibleOther"}}},
    PRINTED(AppStartStatus){
        {eAPPSTARTSTATUS_Unknown, 0, "Unknown"}, {eAPPSTARTSTATUS_InProgress, 1, "InProgress"},
        {eAPPSTARTSTATUS_Success, 2, "Success"}, {eAPPSTARTSTATUS_Failed, 128, "Failed"},
        {eAPPSTARTSTATUS_NotInstalled, 129, "NotInstalled"},
        {eAPPSTARTSTATUS_NotAllowed, 130, "NotAllowed"},
        {eAPPSTARTSTATUS_NotPaired, 131, "NotPaired"}}},
};

const std::vector<std::pair<std::uint64_t, std::uint64_t>> unprinted = {
        {eFRAMECOMPRESSION_None, 0}, {eFRAMECOMPRESSION_All, 7}, {eSERVERCAPABILITIES_None, 0},
        {eSERVERCAPABILITIES_All, 7}, {eCLIENTCAPABILITIES_None, 0},
        {eCLIENTCAPABILITIES_All, 0x7FF}, {eSERVERCUSTOMDATACANTYPE_Generic, 1},
        {eSERVERCUSTOMDATACANTYPE_CanAmbientlight, 0xFF01}, {eFeature_None, 0},
        {eFeature_VehicleData, 1}, {eFeature_VoiceControl, 2}, {eFeature_AudioManagement, 4},
        {eFeature_NavigateTo, 8}, {eFeature_CustomDataInt, 16}, {eFeature_CustomDataString, 32},
        {eFeature_CustomDataKey, 64}, {eFeature_CustomDataRaw, 128},
        {eFeature_CustomDataCan, 0x100}, {eFeature_ClientSettings, 0x200},
        {eFeature_GetLauncherUUID, 0x400}, {eFeature_LauncherState, 0x800},
        {eFeature_AppListIconStart, 0x1000}, {eFeature_TimedTouchKeys, 0x2000}
};
// clang-format on

TEST(Enumerations, HaveTheirValues) {
    std::size_t enumerators = unprinted.size();
    for (const Printed& each : table) {
        for (const Name& name : each.names) EXPECT_EQ(name.enumerator, name.value) << name.text;
        enumerators += each.names.size();
    }
    for (const auto& [enumerator, value] : unprinted) EXPECT_EQ(enumerator, value);
    EXPECT_EQ(enumerators, 250U);
    EXPECT_EQ(table.size(), 40U);
}

/** Masks name single flags only, so "None", "All" and combinations are among the unknown. */
TEST(Enumerations, PrintTheirNamesAndNothingElse) {
    for (const Printed& each : table) {
        SCOPED_TRACE(each.type);
        std::map<std::uint64_t, std::string> names;
        for (const Name& name : each.names) names[name.value] = name.text;
        EXPECT_EQ(names.size(), each.names.size());
        const std::uint64_t end = each.width == 1 ? 0x100 : 0x10000;
        for (std::uint64_t value = 0; value < end; ++value) {
            const auto known = names.find(value);
            ASSERT_EQ(each.print(value), known == names.end() ? "unknown" : known->second) << value;
        }
        if (each.width == 4) {
            EXPECT_EQ(each.print(0x80000001), "unknown");
        }
    }
}

TEST(Enumerations, MasksCombineWithoutCasts) {
    const FrameCompression compressions = eFRAMECOMPRESSION_JPEG | eFRAMECOMPRESSION_ZLIB;
    const ClientCapabilities capabilities =
        eCLIENTCAPABILITIES_All & ~eCLIENTCAPABILITIES_NoHomeButton;
    EXPECT_EQ(compressions, 3U);
    EXPECT_EQ(capabilities, 0x77FU);
    FeatureSetMask features = eFeature_None;
    features |= eFeature_TimedTouchKeys;
    EXPECT_EQ(features, 0x2000U);
}

/** The texts are constants: asking twice gives the same one. */
TEST(Enumerations, PrintersReturnConstants) {
    EXPECT_EQ(_quarlo_getEventTypeName(eEVENTTYPE_Ping), _quarlo_getEventTypeName(eEVENTTYPE_Ping));
    EXPECT_EQ(_quarlo_getFlagName(2), _quarlo_getFlagName(3));
}

}  // namespace
}  // namespace quarlo::test
