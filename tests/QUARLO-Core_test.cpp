/* Library and instance lifecycle, capabilities, language, and what holds for every call. */
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "ApiCalls.h"
#include "ExportedNames.h"
#include "Feature.h"

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
    EXPECT_EQ(record.traceClass, eTRACECLASS_WARNING);
    EXPECT_EQ(record.iconConfig.IconProperties.BytesPerPixel, 0);
    EXPECT_EQ(record.iconConfig.IconProperties.Format, ePIXELFORMAT_ARGB8888);
    EXPECT_EQ(static_cast<const void*>(&record.list), handle);
    quarlo_DeleteInstance(handle);
}

TEST(Instance, CountsOnAfterADelete) {
    const Library library;
    const UInt32 before = instanceCount;
    const auto create = [](const char* description, UInt32 number) {
        void* handle = quarlo_CreateInstance(nullptr, description);
        const auto& record = *static_cast<quarlo_CoreInstance*>(handle);
        EXPECT_EQ(record.instanceNumber, number);
        EXPECT_EQ(record.hostDescription, nullptr);
        return handle;
    };
    void* first = create(nullptr, before + 1);
    quarlo_DeleteInstance(create("", before + 2));
    void* third = create(nullptr, before + 3);
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
              (Lines{"INF SetCallbackContext", "INF SetReceiverLink", "INF SetSenderLink",
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
    host.forgetSent();
    code[0] = 'g';
    EXPECT_EQ(quarlo_SetISO639LanguageCode(host.handle(), code), eRETURN_OKAY);
    EXPECT_EQ(host.sent(), std::vector<Bytes>{packet(69, {'g', 'r', 'a'})});
    EXPECT_EQ(quarlo_SetISO639LanguageCode(host.handle(), nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(isLanguageSet, 0);
}

TEST(Library, TellsItsVersion) {
    const Library library;
    const std::string version = quarlo_GetVersion();
    EXPECT_EQ(version.substr(0, 20), "C01.02.03 P01.02.00 ");
    EXPECT_EQ(quarlo_getVersion(), version);
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

/* ---- the table of all calls ---- */

TEST(EveryCall, StandsOnceInTheTable) {
    std::multiset<std::string> names;
    for (const ApiCall& call : apiCalls) names.emplace(call.name);
    EXPECT_EQ(names, exportedNames) << "every exported function has its line in ApiCalls.def";
}

/** A host that has nothing to give. */
class Nothing : public Arguments {
    char* text(const char*) override { return nullptr; }
    void* bytes(const void*, std::size_t) override { return nullptr; }
    KeyValueList* pairs(KeyValueList*) override { return nullptr; }
};

TEST(EveryCall, ToleratesANullHandle) {
    EXPECT_EQ(quarlo_CreateInstance(nullptr, nullptr), nullptr) << "without quarlo_Init";
    for (const ApiCall& call : apiCalls) {
        if (call.name == "quarlo_Init" || call.name == "quarlo_Shutdown") continue;
        SCOPED_TRACE(call.name);
        const Library library;
        Arguments samples;
        Nothing nothing;
        const long result = call.call(nullptr, samples);
        const long without = call.call(nullptr, nothing);
        if (call.about != About::Library && call.about != About::Values) {
            EXPECT_EQ(result, call.whenNull);
        }
        // The language is the library's: it is set without an instance.
        const bool isShared = call.name == "quarlo_SetISO639LanguageCode";
        EXPECT_EQ(without, isShared ? long{eRETURN_NULL_PARAM} : result);
    }
}

TEST(EveryCall, SendsOnePacketInRunWhereTheTableSaysSo) {
    const Library library;
    Host host;
    host.run();
    for (const ApiCall& call : apiCalls) {
        if (call.about != About::Packet) continue;
        host.forgetSent();
        Arguments samples;
        EXPECT_EQ(call.call(host.handle(), samples), 0) << call.name;
        EXPECT_EQ(host.sent().size(), 1U) << call.name;
    }
}

}  // namespace
}  // namespace quarlo::test
