/*
 * Everything at once: eight instances whose phones talk about every feature, host threads that call
 * everything on all of them, and instances that come and go meanwhile.
 */
#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <memory>
#include <numeric>
#include <thread>

#include "CatalogueBytes.h"
#include "QUARLO-Core-Engineering-Types.h"
#include "Radio.h"
#include "Supervision.h"

namespace quarlo::test {
namespace {

constexpr unsigned instances = 8;
constexpr unsigned hostThreads = 3;
constexpr unsigned rounds = 25;

/*
 * The host takes no lock in its callbacks and links, and its counters are relaxed: what it ordered
 * by itself would hide the races of the library from a sanitizer.
 */
constexpr auto relaxed = std::memory_order_relaxed;

/* ---- the host's callbacks: every byte given is read ---- */

std::atomic<unsigned long> readSum{0};

void read(const char* text) {
    while (text != nullptr && *text != '\0') {
        readSum.fetch_add(static_cast<unsigned char>(*text++), relaxed);
    }
}

template <class T>
void read(const T* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) readSum.fetch_add(values[i], relaxed);
}

void readPlace(void*, char* name, NavigateToType, double, double, LocationStrings* place) {
    read(name);
    if (place == nullptr) return;
    for (const char* text : {place->Country, place->StateRegion, place->ZipCode, place->City,
                             place->Street, place->CrossStreet, place->Housenumber}) {
        read(text);
    }
}

void registerReaders(void* h) {
    quarlo_SetVehicleDataRequestCallback(
        h, [](void*, Flag, UInt8 count, UInt32* keys) { read(keys, count); });
    quarlo_SetInitiatePhoneCallCallback(h, [](void*, char* number, char* name) {
        read(number);
        read(name);
    });
    quarlo_SetNavigateToCallback(h, &readPlace);
    quarlo_SetVoiceSessionRequestCallback(h, [](void* context, VoiceRequest) {
        quarlo_VoiceSessionStatus(hostOf(context).handle(), eVOICESESSIONSTATUS_Active,
                                  eVOICESESSIONSTATUSCONSTRAINT_NoConstraint);
    });
    quarlo_SetAppIconResponseCallback(h, [](void*, AppIconResponse* icon) {
        read(icon->IdentifierURL);
        read(icon->uncompressedData, icon->uncompressedDataLength);
    });
    quarlo_SetAppStartedResponseCallback(h,
                                         [](void*, const char* url, AppStartStatus) { read(url); });
    quarlo_SetCustomDataStringCallback(
        h, [](void*, ServerCustomDataStringType, StringEncoding, char* text) { read(text); });
    quarlo_SetCustomDataIntCallback(h, [](void*, ServerCustomDataIntType, UInt16 length,
                                          UInt8* value) { read(value, length); });
    quarlo_SetCustomDataCanCallback(h, [](void*, ServerCustomDataCanType, UInt32, UInt8 length,
                                          UInt8* data) { read(data, length); });
    quarlo_SetCustomDataRawCallback(h, [](void*, ServerCustomDataRawType, UInt16, UInt16 length,
                                          UInt8* data) { read(data, length); });
}

/** Answers some requests inside the callback, on the receiver's or the timer's thread. */
void answerAudio(void* context, AudioControl control, UInt32 id, AudioType) {
    AudioStatus status = eAUDIOSTATUS_Open;
    if (control == eAUDIOCONTROL_Release) {
        status = id % 2 == 0 ? eAUDIOSTATUS_Close : eAUDIOSTATUS_Reject;
    } else if (id % 3 != 0) {
        return;
    }
    quarlo_SetAudioStatus(hostOf(context).handle(), id, status, eAUDIOREQUESTRESULTCODE_NoError);
}

struct Sent {
    std::atomic<unsigned> torn{0};
    std::atomic<unsigned> audioTypes{0};
    std::atomic<unsigned> pings{0};
};

Sent sentPackets;

void countSent(void*, UInt8* buffer, std::size_t size, void*) {
    std::size_t declared = 9;
    for (unsigned i = 0; size >= 9 && i < 4; ++i) declared += std::size_t{buffer[5 + i]} << (8 * i);
    if (declared != size) sentPackets.torn.fetch_add(1, relaxed);
    if (buffer[0] == 65) sentPackets.audioTypes.fetch_add(1, relaxed);
    if (buffer[0] == 129) sentPackets.pings.fetch_add(1, relaxed);
}

/** One head unit with its phone. */
class Unit {
  public:
    Unit() {
        void* const h = radio.handle();
        quarlo_SetTraceClass(h, eTRACECLASS_ERROR);
        quarlo_SetClientCapabilities(h, eCLIENTCAPABILITIES_InitiatePhoneCall, 1);
        quarlo_SetClientCapabilities(h, eCLIENTCAPABILITIES_NavigateTo, 1);
        quarlo_SetSenderLink(h, &countSent);
        quarlo_SetAudioRequestCallback(h, &answerAudio);
        registerReaders(h);
        radio.forget();
    }
    Radio radio;
};

/* ---- the phone ---- */

Bytes customData(unsigned event, unsigned type, const Bytes& payload) {
    return packet(68, u8(event) + u16(type) + u16(static_cast<unsigned>(payload.size())) + payload);
}

Bytes vehiclePackets(unsigned n) {
    Bytes filter = u8(3) + u32(n % 5) + u32(n % 7 + 10) + u32(42);
    return packet(54, n % 9 == 0 ? u8(0) : filter) + packet(56, u32(n + 1000));
}

Bytes audioPackets(unsigned n) {
    const UInt32 id = n % 6;
    return serverAudio(id, eAUDIOCONTROL_Request, n % 4 + 3, n % 3) +
           serverAudio((n + 3) % 6, eAUDIOCONTROL_Release, 3, 0) + packet(64);
}

Bytes servicePackets(unsigned n) {
    Bytes place = text("Home") + Bytes(18);
    for (int i = 0; i < 7; ++i) place = place + text("place");
    return packet(40, u8(n % 2)) + packet(36, u8(n % 5 + 1) + u8(n % 2)) +
           packet(50, text("Anna") + text("123")) + packet(52, place + u8(n % 4)) +
           packet(62, u8(n % 5));
}

Bytes appPackets(unsigned n) {
    return catalogue(numbered(n % 4 + 1)) +
           packet(72, text("app0") + u32(1) + u32(4) + u32(3) + Bytes{1, 2, 3}) +
           packet(74, text("app0") + u8(2));
}

Bytes customPackets(unsigned n) {
    return customData(1, 1, text("text")) + customData(2, 1, {1, 2}) + customData(5, 1, {1}) +
           customData(4, 1, u32(1) + u8(2) + Bytes{1, 2}) +
           customData(3, 0x3000U | (n % 8), Bytes(n % 16 + 1, 7)) +
           customData(3, 0x4000U | (n % 8), {}) + customData(3, 0x1001, {1}) +
           customData(3, 0x2001, {}) + customData(3, 0x5001, {9});
}

void talk(Host& host) {
    for (unsigned n = 0; n < rounds; ++n) {
        host.feed(vehiclePackets(n) + audioPackets(n) + servicePackets(n));
        host.feed(appPackets(n) + customPackets(n) + packet(128, u32(n)));
        if (n % 8 == 7) host.settle();
    }
}

/* ---- the host ---- */

void callInput(void* h, unsigned n) {
    TouchEvent touches[2] = {{eTOUCHTYPE_Down, 1, 2, n}, {eTOUCHTYPE_Moved, 3, 4, n}};
    quarlo_TouchEvents(h, touches, 2);
    quarlo_SoftkeyEvent(h, eSOFTKEY_Home, eSOFTKEYEVENTTYPE_Press);
    char buffer[64];
    quarlo_GetLauncherUUID(h, buffer, sizeof buffer);
    quarlo_GetServerOSName(h, buffer, sizeof buffer);
    quarlo_GetServerAppName(h, buffer, sizeof buffer);
    quarlo_GetServerCapabilities(h);
    UInt8 count = 0;
    Softkey* keys = nullptr;
    quarlo_GetAvailableSoftkeys(h, &count, &keys);
    EXPECT_EQ(count, 2);
    quarlo_SetMovingStatus(h, n % 2);
    quarlo_SetNightMode(h, n % 2);
    quarlo_SetBlockMode(h, eBLOCKMODE_AllowAll);
    quarlo_PositionInformation(h, "$GPGLL");
}

void callVehicle(void* h, unsigned n) {
    quarlo_VehicleData(h, 42, eSTRINGENCODING_UTF8, "{}");
    quarlo_VehicleData(h, n % 5, eSTRINGENCODING_UTF8, "{\"v\":1}");
    UInt32 keys[] = {1, 42, n};
    quarlo_Eng_SetVehicleDataFilter(h, n % 2, 3, keys);
}

void callServices(void* h, unsigned n) {
    constexpr AudioStatus answers[] = {eAUDIOSTATUS_Open, eAUDIOSTATUS_Suspend, eAUDIOSTATUS_Open,
                                       eAUDIOSTATUS_Close, eAUDIOSTATUS_Reject};
    quarlo_SetAudioStatus(h, n % 6, answers[n % 5], eAUDIOREQUESTRESULTCODE_NoError);
    quarlo_PhoneCallStatusResponse(h, ePHONECALLSTATUS_Active);
    quarlo_VoiceSupportInfo(h, eVOICESUPPORT_FullSCOSupport, eVOICESUPPORTCONSTRAINT_NoConstraint);
    quarlo_VoiceSessionStatus(h, eVOICESESSIONSTATUS_Idle,
                              eVOICESESSIONSTATUSCONSTRAINT_NoConstraint);
}

void callApps(void* h, unsigned n) {
    UInt32 count = 0;
    AppInfoList* copy = nullptr;
    if (quarlo_CreateAppInfoList(h, &count, &copy) == eRETURN_OKAY) {
        for (unsigned i = 0; i < copy->NumberOfEntries; ++i) read(copy->Entries[i]->IdentifierURL);
        EXPECT_EQ(quarlo_DeleteAppInfoList(h, copy), eRETURN_OKAY);
    }
    quarlo_RequestAppIcon(h, "app0", 4, 4);
    char key[] = "key";
    KeyValue pair{key, key};
    KeyValueList list{1, &pair};
    quarlo_StartApp(h, "app0", &list, n % 2 == 0 ? &list : nullptr);
}

void callCustomData(void* h, unsigned n) {
    UInt8 bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    quarlo_CustomDataString(h, eCLIENTCUSTOMDATASTRINGTYPE_BTMACAddress, eSTRINGENCODING_UTF8,
                            "text");
    quarlo_CustomDataInt(h, eCLIENTCUSTOMDATAINTTYPE_ScreenTest, 4, bytes);
    quarlo_CustomDataKey(h, eCLIENTCUSTOMDATAKEYTYPE_Click, eCLIENTCUSTOMDATAKEYCODE_Ok);
    quarlo_CustomDataCan(h, eCLIENTCUSTOMDATACANTYPE_Generic, n, 8, bytes);
    quarlo_CustomDataRaw(h, static_cast<UInt16>(n), 8, bytes);
    ClientCustomDataKeyCode code = eCLIENTCUSTOMDATAKEYCODE_Ok;
    EXPECT_EQ(quarlo_SetCustomKeysSupported(h, 1, &code), eRETURN_NOT_ALLOWED);
    ClientCustomDataIntType type = eCLIENTCUSTOMDATAINTTYPE_ScreenTest;
    quarlo_SetSupportedCustomData(h, 1, &type);
}

void callSetters(void* h, unsigned n) {
    const quarloFlagCallback flag = n % 2 == 0 ? [](void*, Flag) {} : quarloFlagCallback{nullptr};
    quarlo_SetBlockStatusCallback(h, flag);
    quarlo_SetPhonecallStatusCallback(h, flag);
    quarlo_SetAppTransitionStatusCallback(h, flag);
    quarlo_SetAppInactiveCallback(h, flag);
    quarlo_SetPTTAvailableCallback(h, flag);
    quarlo_SetLauncherStateCallback(h, nullptr);
    quarlo_SetAppListChangedCallback(h, nullptr);
    quarlo_SetCustomDataKeyCallback(h, nullptr);
    registerReaders(h);
}

using Units = std::vector<std::unique_ptr<Unit>>;

void callEverything(const Units& units, unsigned first) {
    for (unsigned n = 0; n < rounds; ++n) {
        for (unsigned i = 0; i < instances; ++i) {
            void* const h = units[(first + i) % instances]->radio.handle();
            callInput(h, n);
            callVehicle(h, n);
            callServices(h, n + first);
            callApps(h, n);
            callCustomData(h, n);
            callSetters(h, n);
        }
    }
}

/** Instances that come and go with open sources, blocks in the store and values. */
void comeAndGo() {
    for (unsigned n = 0; n < 6; ++n) {
        Unit unit;
        unit.radio.ask(100 + n, eAUDIOTYPE_Main, 1000);
        unit.radio.answer(100 + n, eAUDIOSTATUS_Open);
        unit.radio.host.feed(vehiclePackets(n) + customPackets(n) + appPackets(n));
        if (n % 2 == 0) unit.radio.host.settle();
    }
}

TEST(Features, OfManyInstancesAndThreadsAtOnce) {
    {
        const Library library;
        Units units;
        for (unsigned i = 0; i < instances; ++i) units.push_back(std::make_unique<Unit>());
        // One is traced: its lines are formatted by all threads at once.
        quarlo_SetTraceClass(units[0]->radio.handle(), static_cast<eTraceClass>(63));
        std::vector<std::thread> threads;
        for (const auto& unit : units) {
            threads.emplace_back([&unit] { talk(unit->radio.host); });
        }
        for (unsigned i = 0; i < hostThreads; ++i) {
            threads.emplace_back([&units, i] { callEverything(units, i * 3); });
        }
        threads.emplace_back(&comeAndGo);
        for (std::thread& thread : threads) thread.join();
        for (const auto& unit : units) {
            unit->radio.host.settle();
            EXPECT_EQ(unit->radio.host.linesWith("ERR"), Lines{});
            EXPECT_EQ(unit->radio.host.linesWith("state"), Lines{});
        }
        units.clear();
        EXPECT_EQ(Radio::sources(), Lines{});
    }
    EXPECT_EQ(supervision::unjoined(), 0);
    EXPECT_EQ(supervision::wrongJoins(), 0);
    // Every packet is whole, and what only the phone asks for is answered once.
    EXPECT_EQ(sentPackets.torn, 0U);
    EXPECT_EQ(sentPackets.audioTypes, instances * rounds);
    EXPECT_EQ(sentPackets.pings, instances * rounds);
    EXPECT_GT(readSum, 0U);
}

/* What only one lock orders, without the traffic above, whose locks would order it by chance. */

TEST(Features, OneStoreForManyPhonesAtOnce) {
    const Library library;
    Units units;
    for (unsigned i = 0; i < 4; ++i) units.push_back(std::make_unique<Unit>());
    Bytes blocks;
    for (unsigned n = 0; n < 400; ++n) blocks = blocks + customData(3, 0x3000U | n, {1, 2, 3});
    for (const auto& unit : units) unit->radio.host.feed(blocks);
    for (const auto& unit : units) unit->radio.host.settle();
    EXPECT_EQ(listGetLength(&coreRawDataList), 400);
}

TEST(Features, OfTwoIconRequestsAtOnceOneIsSent) {
    const Library library;
    Unit unit;
    void* const h = unit.radio.handle();
    static std::barrier both(2);
    quarlo_SetTraceClass(h, eTRACECLASS_INFORMATION);
    quarlo_SetTraceOutput(h, [](void*, eTraceClass, char* text) {
        // When this is said, none was pending.
        if (std::string(text) == "RequestAppIcon with IdentifierURL='app0'") both.arrive_and_wait();
    });
    eReturnCode results[2] = {};
    std::thread other([&] { results[0] = quarlo_RequestAppIcon(h, "app0", 4, 4); });
    results[1] = quarlo_RequestAppIcon(h, "app0", 4, 4);
    other.join();
    EXPECT_EQ(std::count(results, results + 2, eRETURN_OKAY), 1);
    EXPECT_EQ(std::count(results, results + 2, eRETURN_NOT_ALLOWED), 1);
}

TEST(Features, ADescriptionIsReadWhileItIsReplaced) {
    const Library library;
    Unit unit;
    Host& host = unit.radio.host;
    std::atomic<bool> isEnough{false};
    std::thread reader([&] {
        while (!isEnough.load(relaxed)) {
            char name[64];
            UInt8 count = 0;
            Softkey* keys = nullptr;
            quarlo_GetServerAppName(host.handle(), name, sizeof name);
            quarlo_GetAvailableSoftkeys(host.handle(), &count, &keys);
            read(name);
        }
    });
    for (unsigned n = 0; n < 100; ++n) {
        host.record()->currentState = ePROTOCOL_STATE_INIT_SERVER;
        host.feed(Host::serverInit("phone " + std::to_string(n)));
        host.waitUntil([&] { return host.record()->currentState != ePROTOCOL_STATE_INIT_SERVER; });
    }
    isEnough.store(true, relaxed);
    reader.join();
    EXPECT_EQ(host.linesWith("error "), Lines{});
}

}  // namespace
}  // namespace quarlo::test
