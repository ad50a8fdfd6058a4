/* Library and instance lifecycle, capabilities, language, and null handles for everything exported.
 */
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <thread>

#include "ExportedNames.h"
#include "Host.h"

namespace quarlo::test {
namespace {

TEST(Instance, BeginsWithTheDocumentedDefaults) {
    const Library library;
    int connection = 0;
    void* handle = quarlo_CreateInstance(&connection, "unit");
    const auto& record = *static_cast<quarlo_CoreInstance*>(handle);
    EXPECT_STREQ(record.hostDescription, "unit");
    EXPECT_EQ(record.connectionInfo, &connection);
    EXPECT_EQ(quarlo_GetConnectionInfo(handle), &connection);
    EXPECT_EQ(record.callbackContext.get(), handle);
    EXPECT_EQ(record.currentState, ePROTOCOL_STATE_STOP);
    EXPECT_EQ(record.lastState, ePROTOCOL_STATE_NONE);
    EXPECT_EQ(record.waitForJoinTime, 2);
    EXPECT_EQ(record.waitForInitTime, 60);
    EXPECT_EQ(record.hostServices, 36U);
    EXPECT_EQ(record.traceClass, eTRACECLASS_WARNING);
    EXPECT_EQ(record.config.hostWidth, 1280U);
    EXPECT_EQ(record.config.hostHeight, 1024U);
    EXPECT_EQ(record.config.hostPhysicalWidth, 134U);
    EXPECT_EQ(record.config.hostPhysicalHeight, 108U);
    EXPECT_EQ(record.config.frameProperties.BytesPerPixel, 4);
    EXPECT_EQ(record.iconConfig.IconProperties.BytesPerPixel, 0);
    EXPECT_EQ(record.iconConfig.IconProperties.Format, ePIXELFORMAT_ARGB8888);
    EXPECT_EQ(static_cast<const void*>(&record.list), handle);
    quarlo_DeleteInstance(handle);
}

TEST(Instance, CountsOnAfterADelete) {
    const Library library;
    const UInt32 before = instanceCount;
    auto number = [](void* handle) {
        return static_cast<quarlo_CoreInstance*>(handle)->instanceNumber;
    };
    void* first = quarlo_CreateInstance(nullptr, nullptr);
    void* second = quarlo_CreateInstance(nullptr, "");
    EXPECT_EQ(number(first), before + 1);
    EXPECT_EQ(number(second), before + 2);
    EXPECT_EQ(static_cast<quarlo_CoreInstance*>(first)->hostDescription, nullptr);
    EXPECT_EQ(static_cast<quarlo_CoreInstance*>(second)->hostDescription, nullptr);
    quarlo_DeleteInstance(second);
    void* third = quarlo_CreateInstance(nullptr, nullptr);
    EXPECT_EQ(number(third), before + 3);
    EXPECT_EQ(listGetLength(&instanceList), 2);
    quarlo_DeleteInstance(first);
    quarlo_DeleteInstance(third);
    EXPECT_NE(listIsEmpty(&instanceList), 0);
}

TEST(Instance, SettersTraceTheirNames) {
    const Library library;
    Host host;
    quarlo_SetCallbackContext(host.handle(), &host);
    quarlo_SetReceiverLink(host.handle(), nullptr);
    quarlo_SetSenderLink(host.handle(), nullptr);
    quarlo_SetEndReceiverRequestCallback(host.handle(), nullptr);
    quarlo_SetProtocolCallback(host.handle(), nullptr);
    quarlo_SetOnMainThreadStartCallback(host.handle(), nullptr);
    quarlo_SetOnMainThreadEndCallback(host.handle(), nullptr);
    quarlo_SetErrorCallback(host.handle(), nullptr);
    quarlo_GetConnectionInfo(host.handle());
    quarlo_SetSupportedCustomData(host.handle(), 0, nullptr);
    quarlo_SetWaitForJoinTimeout(host.handle(), 4);
    EXPECT_EQ(host.lines(),
              (std::vector<std::string>{
                  "INF SetCallbackContext", "INF SetReceiverLink", "INF SetSenderLink",
                  "INF SetEndReceiverRequestCallback", "INF SetProtocolCallback",
                  "INF SetOnMainThreadStartCallback", "INF SetOnMainThreadEndCallback",
                  "INF SetErrorCallback", "INF GetConnectionInfo", "INF Supported Custom Data",
                  "INF SetWaitForJoinTimeout", "VER     join timeout is 4 seconds"}));
    EXPECT_EQ(host.record()->waitForJoinTime, 4);
}

TEST(Instance, ChangesCapabilitiesButTheCoresOwn) {
    struct Change {
        ClientCapabilities item;
        Flag isAvailable;
        ClientCapabilities after;
        const char* trace;
    };
    const char* internal = "WRN Core internal capabilities may not be altered.";
    const char* cleared = "WRN all capabilities cleared except the core internal ones.";
    const Change changes[] = {
        {eCLIENTCAPABILITIES_NavigateTo, 1, 38,
         "INF Client Capability NavigateTo (0x00000002) enabled"},
        {eCLIENTCAPABILITIES_IsTwoWheeler, 1, 550,
         "INF Client Capability IsTwoWheeler (0x00000200) enabled"},
        {eCLIENTCAPABILITIES_NavigateTo, 2, 548,
         "INF Client Capability NavigateTo (0x00000002) disabled"},
        {eCLIENTCAPABILITIES_ScreenCopy, 0, 548, internal},
        {eCLIENTCAPABILITIES_PacketExtensions, 1, 548, internal},
        {eCLIENTCAPABILITIES_All, 0, 36, cleared},
        {eCLIENTCAPABILITIES_All, 2, 2047, "INF Client Capability unknown (0x000007FF) disabled"},
        {2047 - 1, 0, 37, "INF Client Capability unknown (0x000007FE) disabled"},
        {eCLIENTCAPABILITIES_None, 1, 36, cleared}};
    const Library library;
    Host host;
    for (const Change& change : changes) {
        host.forgetLines();
        quarlo_SetClientCapabilities(host.handle(), change.item, change.isAvailable);
        EXPECT_EQ(host.record()->hostServices, change.after) << change.item;
        EXPECT_TRUE(host.has(change.trace)) << change.trace;
    }
}

TEST(Instance, SharesOneLanguage) {
    const Library library;
    Host host;
    UInt8 code[] = {'f', 'r', 'a'};
    EXPECT_EQ(quarlo_SetISO639LanguageCode(nullptr, code), eRETURN_OKAY);
    EXPECT_EQ(isLanguageSet, 1);
    host.run();
    EXPECT_EQ(hex(host.sent()[3]), hex(packet(69, {'f', 'r', 'a'})));
    host.forgetSent();
    code[0] = 'g';
    EXPECT_EQ(quarlo_SetISO639LanguageCode(host.handle(), code), eRETURN_OKAY);
    ASSERT_EQ(host.sent().size(), 1U);
    EXPECT_EQ(hex(host.sent()[0]), hex(packet(69, {'g', 'r', 'a'})));
    EXPECT_EQ(quarlo_SetISO639LanguageCode(host.handle(), nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(isLanguageSet, 0);
}

TEST(Library, TellsItsVersion) {
    const Library library;
    const std::string version = quarlo_GetVersion();
    EXPECT_EQ(version.substr(0, 20), "C01.02.03 P01.02.00 ");
    EXPECT_EQ(quarlo_getVersion(), quarlo_GetVersion());
    EXPECT_STREQ(quarlo_GetSystemIdentification(), "Linux KTX2.1 ARM11");
    EXPECT_EQ(quarlo_GetSystemIdentification(), theCoreVersion);
}

TEST(Library, KnowsItsFeatures) {
    for (const FeatureSetMask feature : {0U, 0x4000U, 0x7FFFU, 0x80000000U}) {
        EXPECT_EQ(quarlo_Eng_HasFeature(nullptr, feature), 0) << feature;
    }
    for (UInt32 bit = 1; bit <= 0x2000; bit <<= 1)
        EXPECT_EQ(quarlo_Eng_HasFeature(nullptr, bit), 1);
    EXPECT_EQ(quarlo_Eng_HasFeature(nullptr, 0x3FFF), 1);
}

TEST(Callbacks, ReachTheHostInsideTheReceiverThread) {
    const Library library;
    Host host;
    quarlo_SetOnMainThreadStartCallback(host.handle(), [](void* context) {
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof name);
        static_cast<Host*>(context)->note(std::string("start on ") + name);
    });
    quarlo_SetOnMainThreadEndCallback(host.handle(), [](void* context) {
        auto* self = static_cast<Host*>(context);
        // An instance cannot delete or start itself; the rest of the API is open to callbacks.
        quarlo_DeleteInstance(self->handle());
        Int32 error = 0;
        self->note("restart " + std::to_string(quarlo_StartMainThreadEx(self->handle(), &error)));
    });
    host.run();
    EXPECT_TRUE(host.has("start on quarlo RECEIVER"));
    host.endLink();
    EXPECT_TRUE(host.waitFor("restart 0"));
    EXPECT_TRUE(host.has("WRN DeleteInstance - not allowed in a callback; ignored."));
}

/* ---- null handles ---- */

using Call = void (*)();
constexpr auto none = nullptr;

/** A call with a null handle for every exported name; those with a result check it. */
const std::map<std::string, Call>& nullCalls();

template <class Result>
void expectNullHandle(Result result) {
    EXPECT_EQ(static_cast<int>(result), static_cast<int>(eRETURN_NULL_HANDLE));
}

#define VOID_CALL(name, ...)                                 \
    {                                                        \
#name, [] { name(none __VA_OPT__(, ) __VA_ARGS__); } \
    }
#define CODE_CALL(name, ...)                                                   \
    {                                                                          \
#name, [] { expectNullHandle(name(none __VA_OPT__(, ) __VA_ARGS__)); } \
    }
#define ZERO_CALL(name, ...)                                               \
    {                                                                      \
#name, [] { EXPECT_EQ(name(none __VA_OPT__(, ) __VA_ARGS__), 0); } \
    }
#define NO_HANDLE(name, ...)                   \
    {                                          \
#name, [] { (void)name(__VA_ARGS__); } \
    }

const std::map<std::string, Call>& nullCalls() {
    static UInt8 bytes[8] = {};
    static UInt32 keys[1] = {1};
    static UInt32 count = 0;
    static AppInfoList* list = nullptr;
    static char text[4] = {};
    static TouchEvent touch{};
    static ClientCustomDataIntType types[1] = {eCLIENTCUSTOMDATAINTTYPE_ScreenTest};
    static ClientCustomDataKeyCode codes[1] = {eCLIENTCUSTOMDATAKEYCODE_Ok};
    static const std::map<std::string, Call> calls = {
        {"quarlo_Init", [] {}},      // called around every call
        {"quarlo_Shutdown", [] {}},  // likewise
        {"quarlo_CreateInstance", [] { quarlo_DeleteInstance(quarlo_CreateInstance(none, none)); }},
        NO_HANDLE(quarlo_GetVersion),
        NO_HANDLE(quarlo_getVersion),
        NO_HANDLE(quarlo_GetSystemIdentification),
        NO_HANDLE(quarlo_Eng_GetSupportedCompressions),
        NO_HANDLE(quarlo_getTraceClassPrefix, eTRACECLASS_ERROR),
        NO_HANDLE(quarlo_IsClientCustomDataKeyCodeValid, eCLIENTCUSTOMDATAKEYCODE_Ok),
        {"quarlo_Eng_HasFeature", [] { EXPECT_EQ(quarlo_Eng_HasFeature(none, 1), 1); }},
        {"quarlo_SetISO639LanguageCode",
         [] { EXPECT_EQ(quarlo_SetISO639LanguageCode(none, bytes), eRETURN_OKAY); }},
        VOID_CALL(quarlo_StartMainThread),
        ZERO_CALL(quarlo_StartMainThreadEx, none),
        VOID_CALL(quarlo_AnnounceShutdown),
        VOID_CALL(quarlo_DeleteInstance),
        VOID_CALL(quarlo_SetCallbackContext, none),
        VOID_CALL(quarlo_SetReceiverLink, none),
        VOID_CALL(quarlo_SetSenderLink, none),
        CODE_CALL(quarlo_SetEndReceiverRequestCallback, none),
        VOID_CALL(quarlo_SetProtocolCallback, none),
        VOID_CALL(quarlo_SetOnMainThreadStartCallback, none),
        VOID_CALL(quarlo_SetOnMainThreadEndCallback, none),
        VOID_CALL(quarlo_SetErrorCallback, none),
        {"quarlo_GetConnectionInfo", [] { EXPECT_EQ(quarlo_GetConnectionInfo(none), nullptr); }},
        VOID_CALL(quarlo_SetClientCapabilities, 1, 1),
        VOID_CALL(quarlo_SetInitialisationTimeout, 1),
        VOID_CALL(quarlo_SetWaitForJoinTimeout, 1),
        VOID_CALL(quarlo_EnablePingWatchdog, 1, 1),
        CODE_CALL(quarlo_SendPingAckOnWatchdog, 1),
        VOID_CALL(quarlo_SetTraceOutput, none),
        VOID_CALL(quarlo_SetTraceClass, eTRACECLASS_ERROR),
        VOID_CALL(quarlo_Trace, eTRACECLASS_ERROR, text),
        VOID_CALL(quarlo_SetDumpProperties, 1, 1, 1, none),
        VOID_CALL(quarlo_SetFrameUpdateStartCallback, none),
        VOID_CALL(quarlo_SetFrameUpdateCallback, none),
        VOID_CALL(quarlo_SetFrameUpdateRawCallback, none),
        VOID_CALL(quarlo_SetFrameUpdateEndCallback, none),
        VOID_CALL(quarlo_SetPixelFormat, ePIXELFORMAT_RGB565, 2, ePIXELENDIANESS_BigEndian),
        CODE_CALL(quarlo_SetPixelFormatEx, eGRAPHICTYPE_Frame, ePIXELFORMAT_RGB565, 2,
                  ePIXELENDIANESS_BigEndian),
        VOID_CALL(quarlo_SetFrameSize, 1, 1, 1, 1),
        VOID_CALL(quarlo_OverrideCompressionFormat, 1),
        VOID_CALL(quarlo_SetCompressionFormat, 1),
        CODE_CALL(quarlo_SetSupportedCompressions, 1),
        VOID_CALL(quarlo_SetFrameOutputType, 1),
        VOID_CALL(quarlo_FramebufferUpdateRequest, 0, 0, 1, 1, 0),
        VOID_CALL(quarlo_FrambufferUpdateRequest, 0, 0, 1, 1, 0),
        CODE_CALL(quarlo_FrameRequestStatus, 1),
        ZERO_CALL(quarlo_GetLauncherUUID, text, sizeof text),
        ZERO_CALL(quarlo_GetServerOSName, text, sizeof text),
        ZERO_CALL(quarlo_GetServerAppName, text, sizeof text),
        ZERO_CALL(quarlo_GetServerCapabilities),
        VOID_CALL(quarlo_GetAvailableSoftkeys, none, none),
        VOID_CALL(quarlo_SoftkeyEvent, eSOFTKEY_Home, eSOFTKEYEVENTTYPE_Press),
        VOID_CALL(quarlo_TouchEvents, &touch, 1),
        VOID_CALL(quarlo_TouchEventsTimed, &touch, 1, 1),
        VOID_CALL(quarlo_SetMovingStatus, 1),
        VOID_CALL(quarlo_SetNightMode, 1),
        VOID_CALL(quarlo_SetBlockMode, eBLOCKMODE_AllowAll),
        VOID_CALL(quarlo_PositionInformation, text),
        VOID_CALL(quarlo_SetBlockStatusCallback, none),
        CODE_CALL(quarlo_SetVehicleDataRequestCallback, none),
        CODE_CALL(quarlo_VehicleData, 1, eSTRINGENCODING_UTF8, text),
        CODE_CALL(quarlo_Eng_SetVehicleDataFilter, 1, 1, keys),
        CODE_CALL(quarlo_SetAudioRequestCallback, none),
        CODE_CALL(quarlo_SetAudioStatus, 1, eAUDIOSTATUS_Open, eAUDIOREQUESTRESULTCODE_NoError),
        VOID_CALL(quarlo_SetPhonecallStatusCallback, none),
        VOID_CALL(quarlo_SetAppTransitionStatusCallback, none),
        VOID_CALL(quarlo_SetAppInactiveCallback, none),
        VOID_CALL(quarlo_SetLauncherStateCallback, none),
        CODE_CALL(quarlo_SetPTTAvailableCallback, none),
        VOID_CALL(quarlo_SetInitiatePhoneCallCallback, none),
        VOID_CALL(quarlo_SetNavigateToCallback, none),
        VOID_CALL(quarlo_SetVoiceSessionRequestCallback, none),
        VOID_CALL(quarlo_PhoneCallStatusResponse, ePHONECALLSTATUS_Active),
        VOID_CALL(quarlo_VoiceSessionStatus, eVOICESESSIONSTATUS_Idle,
                  eVOICESESSIONSTATUSCONSTRAINT_NoConstraint),
        VOID_CALL(quarlo_VoiceSupportInfo, eVOICESUPPORT_NotSupported,
                  eVOICESUPPORTCONSTRAINT_NoConstraint),
        CODE_CALL(quarlo_SetAppListChangedCallback, none),
        CODE_CALL(quarlo_SetAppIconResponseCallback, none),
        CODE_CALL(quarlo_SetAppStartedResponseCallback, none),
        CODE_CALL(quarlo_CreateAppInfoList, &count, &list),
        CODE_CALL(quarlo_DeleteAppInfoList, list),
        CODE_CALL(quarlo_RequestAppIcon, text, 1, 1),
        CODE_CALL(quarlo_StartApp, text, none, none),
        VOID_CALL(onlyTestSimulateCorruptAppInformation, 1),
        VOID_CALL(quarlo_SetSupportedCustomData, 1, types),
        CODE_CALL(quarlo_CustomDataString, eCLIENTCUSTOMDATASTRINGTYPE_BTMACAddress,
                  eSTRINGENCODING_UTF8, text),
        CODE_CALL(quarlo_CustomDataInt, eCLIENTCUSTOMDATAINTTYPE_ScreenTest, 1, bytes),
        CODE_CALL(quarlo_CustomDataKey, eCLIENTCUSTOMDATAKEYTYPE_Press,
                  eCLIENTCUSTOMDATAKEYCODE_Ok),
        CODE_CALL(quarlo_CustomDataKeyTimed, eCLIENTCUSTOMDATAKEYTYPE_Press,
                  eCLIENTCUSTOMDATAKEYCODE_Ok, 1),
        CODE_CALL(quarlo_CustomDataCan, eCLIENTCUSTOMDATACANTYPE_Generic, 1, 1, bytes),
        CODE_CALL(quarlo_CustomDataRaw, 1, 1, bytes),
        CODE_CALL(quarlo_SetCustomKeysSupported, 1, codes),
        CODE_CALL(quarlo_SetCustomDataStringCallback, none),
        CODE_CALL(quarlo_SetCustomDataIntCallback, none),
        CODE_CALL(quarlo_SetCustomDataKeyCallback, none),
        CODE_CALL(quarlo_SetCustomDataCanCallback, none),
        CODE_CALL(quarlo_SetCustomDataRawCallback, none)};
    return calls;
}

TEST(NullHandle, IsToleratedByEverythingExported) {
    for (const auto& [name, call] : nullCalls()) {
        SCOPED_TRACE(name);
        const Library library;
        call();
    }
    std::set<std::string> called;
    for (const auto& [name, call] : nullCalls()) called.insert(name);
    EXPECT_EQ(called, exportedNames) << "every exported function has its line here";
    EXPECT_EQ(quarlo_CreateInstance(none, none), nullptr) << "without quarlo_Init";
}

}  // namespace
}  // namespace quarlo::test
