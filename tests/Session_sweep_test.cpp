/*
 * A whole session, played again and again with one allocation of the library refused, and with all
 * from one on: no leak, no crash, nothing left waiting, and every refusal told to the host or
 * harmless.
 */
#include <gtest/gtest.h>

#include <algorithm>

#include "Allocations.h"
#include "Host.h"
#include "Recording.h"
#include "Supervision.h"

namespace quarlo::test {
namespace {

void configure(void* handle) {
    quarlo_SetClientCapabilities(handle, eCLIENTCAPABILITIES_All, 1);
    quarlo_SetFrameSize(handle, 32, 16, 10, 5);
    ClientCustomDataIntType types[] = {eCLIENTCUSTOMDATAINTTYPE_ScreenTest};
    quarlo_SetSupportedCustomData(handle, 1, types);
    ClientCustomDataKeyCode keys[] = {eCLIENTCUSTOMDATAKEYCODE_Ok, eCLIENTCUSTOMDATAKEYCODE_Back};
    quarlo_SetCustomKeysSupported(handle, 2, keys);
    UInt8 language[] = {'e', 'n', 'g'};
    quarlo_SetISO639LanguageCode(handle, language);
    quarlo_SetInitiatePhoneCallCallback(handle, [](void*, char*, char*) {});
    quarlo_SetNavigateToCallback(
        handle, [](void*, char*, NavigateToType, double, double, LocationStrings*) {});
    quarlo_SetCustomDataStringCallback(
        handle, [](void*, ServerCustomDataStringType, StringEncoding, char*) {});
    quarlo_SetCustomDataCanCallback(handle,
                                    [](void*, ServerCustomDataCanType, UInt32, UInt8, UInt8*) {});
    quarlo_SetAppIconResponseCallback(handle, [](void*, AppIconResponse*) {});
    quarlo_SetAppStartedResponseCallback(handle, [](void*, const char*, AppStartStatus) {});
}

/** Every call that sends or copies; a result is told like a report. */
void callEverything(Host& host) {
    void* handle = host.handle();
    const auto tell = [&](eReturnCode result) {
        if (result != eRETURN_OKAY)
            host.note(std::string("error ") + _quarlo_getReturnCodeName(result));
    };
    quarlo_SetPixelFormat(handle, ePIXELFORMAT_ARGB8888, 4, ePIXELENDIANESS_LittleEndian);
    quarlo_SetFrameSize(handle, 32, 16, 10, 5);
    quarlo_OverrideCompressionFormat(handle, eFRAMECOMPRESSION_ZLIB);
    quarlo_FramebufferUpdateRequest(handle, 0, 0, 32, 16, 0);
    quarlo_FrameRequestStatus(handle, 0);
    UInt8 language[] = {'d', 'e', 'u'};
    quarlo_SetISO639LanguageCode(handle, language);
    quarlo_SoftkeyEvent(handle, eSOFTKEY_Home, eSOFTKEYEVENTTYPE_Press);
    TouchEvent touches[] = {{eTOUCHTYPE_Down, 1, 2, 1}, {eTOUCHTYPE_Down, 3, 4, 2}};
    quarlo_TouchEvents(handle, touches, 2);
    quarlo_SetMovingStatus(handle, 1);
    quarlo_SetNightMode(handle, 1);
    quarlo_SetBlockMode(handle, eBLOCKMODE_UseWhitelist);
    quarlo_PositionInformation(handle, "$GPGGA,1");
    quarlo_VehicleData(handle, 5, eSTRINGENCODING_UTF8, "{\"v\":1}");
    quarlo_VehicleData(handle, 6, eSTRINGENCODING_UTF8, "{\"v\":2}");
    quarlo_SetAudioStatus(handle, 1, eAUDIOSTATUS_Open, eAUDIOREQUESTRESULTCODE_NoError);
    quarlo_SetAudioStatus(handle, 1, eAUDIOSTATUS_Close, eAUDIOREQUESTRESULTCODE_NoError);
    quarlo_PhoneCallStatusResponse(handle, ePHONECALLSTATUS_Active);
    quarlo_VoiceSessionStatus(handle, eVOICESESSIONSTATUS_Idle,
                              eVOICESESSIONSTATUSCONSTRAINT_NoConstraint);
    quarlo_VoiceSupportInfo(handle, eVOICESUPPORT_FullSCOSupport,
                            eVOICESUPPORTCONSTRAINT_NoConstraint);
    UInt32 count = 0;
    AppInfoList* list = nullptr;
    quarlo_CreateAppInfoList(handle, &count, &list);
    quarlo_DeleteAppInfoList(handle, list);
        char key[] = "k";
    char value[] = "v";
    KeyValue entry{key, value};
    KeyValueList entries{1, &entry};
    tell(quarlo_StartApp(handle, "a://1", &entries, &entries));
    quarlo_CustomDataString(handle, eCLIENTCUSTOMDATASTRINGTYPE_BTMACAddress, eSTRINGENCODING_UTF8,
                            "00:11");
    UInt8 bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    quarlo_CustomDataInt(handle, eCLIENTCUSTOMDATAINTTYPE_ScreenTest, 4, bytes);
    quarlo_CustomDataKey(handle, eCLIENTCUSTOMDATAKEYTYPE_Press, eCLIENTCUSTOMDATAKEYCODE_Ok);
    quarlo_CustomDataCan(handle, eCLIENTCUSTOMDATACANTYPE_Generic, 1, 8, bytes);
    quarlo_CustomDataRaw(handle, 1, 8, bytes);
    // What does not fit the stack.
    const std::string text(4000, 't');
    tell(quarlo_RequestAppIcon(handle, text.c_str(), 8, 8));
    tell(quarlo_StartApp(handle, text.c_str(), nullptr, nullptr));
    quarlo_VehicleData(handle, 6, eSTRINGENCODING_UTF8, text.c_str());
    quarlo_CustomDataString(handle, eCLIENTCUSTOMDATASTRINGTYPE_BTMACAddress, eSTRINGENCODING_UTF8,
                            text.c_str());
    Bytes block(4000);
    quarlo_CustomDataRaw(handle, 1, 4000, block.data());
    quarlo_Eng_SetVehicleDataFilter(handle, 1, 0, nullptr);
}

struct Outcome {
    bool isCreated = false;
    bool reachedRun = false;
    std::size_t sent = 0;
    std::vector<std::string> told;  // warnings, errors and reports
};

Outcome play() {
    quarlo_Init();
    Outcome outcome;
    {
        Host host;
        outcome.isCreated = host.handle() != nullptr;
        if (outcome.isCreated) {
            configure(host.handle());
            host.start();
            host.settle();
            for (const Bytes& answer :
                 {packet(2, u8(1)), packet(12, u8(1)) + Host::serverInit(), packet(18, u8(1))}) {
                host.feed(answer);
                host.settle();
            }
            outcome.reachedRun = host.has("state RUN");
            for (const Bytes& bytes : phonePackets()) {
                host.feed(bytes);
                host.settle();
            }
            callEverything(host);
            host.feed(packet(72, text(std::string(4000, 't')) + u32(7) + u32(4) + u32(4) + Bytes(4)) +
                      packet(74, text("a://1") + u8(2)));
            host.settle();
            outcome.sent = host.sent().size();
            for (const char* prefix : {"WRN ", "ERR ", "error "}) {
                for (const std::string& line : host.linesWith(prefix)) outcome.told.push_back(line);
            }
        }
    }
    quarlo_Shutdown();
    return outcome;
}

TEST(SessionSweep, SurvivesEveryRefusedAllocation) {
    const long before = allocations::live();
    allocations::restart();
    const Outcome whole = play();
    const long total = allocations::made();
    ASSERT_TRUE(whole.reachedRun);
    ASSERT_GT(total, 40);
    long silent = 0;
    for (long refused = 1; refused <= total; ++refused) {
        SCOPED_TRACE("refused request " + std::to_string(refused));
        allocations::restart(refused);
        const Outcome outcome = play();
        allocations::restart();
        EXPECT_EQ(allocations::live(), before) << "leaked";
        EXPECT_EQ(supervision::unjoined(), 0);
        const bool isTold = !outcome.isCreated || outcome.told != whole.told;
        if (!isTold) ++silent;
        // A session that got through the handshake goes on, unless the version could not be
        // announced.
        const bool hasStopped =
            std::count(outcome.told.begin(), outcome.told.end(), "error PROTOCOL_STOP") != 0;
        if (outcome.reachedRun && !hasStopped) {
            EXPECT_GE(outcome.sent + 2, whole.sent);
        }
    }
    // Left out without a word: the host's name and types, scratch memory, two raw blocks.
    // blocks.
    EXPECT_LE(silent, 5);
    EXPECT_EQ(supervision::wrongJoins(), 0);
}

TEST(SessionSweep, SurvivesAnExhaustedHeap) {
    const long before = allocations::live();
    allocations::restart();
    play();
    const long total = allocations::made();
    for (long first = 1; first <= total; ++first) {
        SCOPED_TRACE("refused from request " + std::to_string(first));
        allocations::restart(first, true);
        play();
        allocations::restart();
        EXPECT_EQ(allocations::live(), before) << "leaked";
        EXPECT_EQ(supervision::unjoined(), 0);
    }
}

}  // namespace
}  // namespace quarlo::test
