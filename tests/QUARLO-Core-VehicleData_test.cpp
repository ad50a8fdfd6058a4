/* The vehicle data filter, and the values that the host delivers. */
#include <gtest/gtest.h>

#include "Vehicle.h"

namespace quarlo::test {
namespace {

/* ---- the filter ---- */

struct Change {
    const char* name;
    Keys before;
    Keys after;
    Lines told;
    Keys filter;
};

TEST(VehicleFilter, ReportsWhatChanges) {
    const Change changes[] = {
        {"kept, removed and added",
         {1, 2, 3},
         {2, 4},
         {lineOf(false, {1, 3}), lineOf(true, {4})},
         {2, 4}},
        {"the same", {5}, {5}, {}, {5}},
        {"kept in the old order, added in the new",
         {1, 2, 3},
         {9, 3, 8, 1},
         {lineOf(false, {2}), lineOf(true, {9, 8})},
         {1, 3, 9, 8}},
        {"all others",
         {0, 0xFFFFFFFF},
         {7},
         {lineOf(false, {0, 0xFFFFFFFF}), lineOf(true, {7})},
         {7}},
        {"a key twice is added twice", {1}, {1, 2, 2}, {lineOf(true, {2, 2})}, {1, 2, 2}},
        {"a key twice is removed twice", {2, 2, 1}, {1, 1}, {lineOf(false, {2, 2})}, {1}},
        {"cleared", {3, 4}, {}, {lineOf(false, {3, 4})}, {}},
        {"cleared when empty", {}, {}, {}, {}},
        {"the most", {}, range(1, 255), {lineOf(true, range(1, 255))}, range(1, 255)},
        {"all others of the most",
         range(1, 255),
         range(300, 554),
         {lineOf(false, range(1, 255)), lineOf(true, range(300, 554))},
         range(300, 554)},
    };
    const Library library;
    Vehicle vehicle;
    for (const Change& c : changes) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(vehicle.set(false, {}), eRETURN_OKAY);
        EXPECT_EQ(vehicle.set(false, c.before), eRETURN_OKAY);
        EXPECT_EQ(vehicle.want(c.after), c.told);
        EXPECT_EQ(vehicle.filter(), c.filter);
        Lines items;
        for (const UInt32 key : c.filter) items.push_back(std::to_string(key));
        EXPECT_EQ(vehicle.items(), items);
    }
}

TEST(VehicleFilter, IsClearedAfterTheHostWasTold) {
    const Library library;
    Vehicle vehicle;
    const Lines traced{"INF SetVehicleDataFilter requests data for 0 keys",
                       "INF vehicle data key list update: completely clear all"};
    EXPECT_EQ(vehicle.hear(wanted({})), traced);
    vehicle.want({3, 4});
    quarlo_SetVehicleDataRequestCallback(vehicle.handle(), [](void* context, Flag, UInt8, UInt32*) {
        Host& host = hostOf(context);
        host.note("filter of " + std::to_string(host.record()->vehicleDataKeyListLength));
        EXPECT_EQ(quarlo_VehicleData(host.handle(), 4, {}, "last"), eRETURN_OKAY);
    });
    const Lines heard = vehicle.hear(wanted({}));
    EXPECT_EQ(Lines(heard.begin(), heard.begin() + 3), traced + Lines{"filter of 2"});
    EXPECT_EQ(vehicle.filter(), Keys{});
    EXPECT_EQ(vehicle.items(), Lines{});
}

TEST(VehicleFilter, ValuesOfKeptKeysSurvive) {
    const Library library;
    Vehicle vehicle;
    vehicle.want({1, 2, 3});
    EXPECT_EQ(vehicle.give(1, "one"), eRETURN_OKAY);
    EXPECT_EQ(vehicle.give(2, "two"), eRETURN_OKAY);
    vehicle.want({2, 4});
    EXPECT_EQ(vehicle.items(), (Lines{"2=two", "4"}));
    vehicle.want({1, 2});
    EXPECT_EQ(vehicle.items(), (Lines{"2=two", "1"}));
}

TEST(VehicleFilter, MoreKeysThanCanBeCountedAreAFailedAllocation) {
    // 255 kept copies of one key and 254 new ones would make 509.
    const Library library;
    Vehicle vehicle;
    vehicle.want(Keys(255, 1));
    EXPECT_EQ(vehicle.filter().size(), 255U);
    EXPECT_EQ(
        vehicle.hear(wanted(range(1, 255))),
        (Lines{"INF SetVehicleDataFilter requests data for 255 keys"} +
         outOfMemoryLines("ProcessSetVehicleDataFilter: error allocating vehicleDataKeyList")));
    EXPECT_EQ(vehicle.host.record()->vehicleDataKeyList, nullptr);
    EXPECT_EQ(vehicle.filter(), Keys{});
    EXPECT_EQ(vehicle.items(), Lines{});
    EXPECT_EQ(vehicle.want({1, 6}), Lines{lineOf(true, {1, 6})});
    EXPECT_EQ(vehicle.items(), (Lines{"1", "6"}));
}

TEST(VehicleFilter, KeysWithoutAnItemMayBeRemoved) {
    const Library library;
    Vehicle vehicle;
    vehicle.want({1, 2});
    _clearVehicleDataList(vehicle.host.record());
    EXPECT_EQ(vehicle.want({2, 3}), (Lines{lineOf(false, {1}), lineOf(true, {3})}));
    EXPECT_EQ(vehicle.filter(), (Keys{2, 3}));
    EXPECT_EQ(vehicle.items(), Lines{"3"});
}

TEST(VehicleFilter, IsEmptyWithoutMemory) {
    const Library library;
    Vehicle vehicle;
    const Lines head{"INF SetVehicleDataFilter requests data for 3 keys"};
    std::size_t reports = 0;
    const auto setUp = [&] {
        vehicle.set(false, {1, 2});
        vehicle.give(2, "two");
    };
    const auto action = [&](long refused) {
        const Lines lines = vehicle.hear(wanted({2, 3, 4}));
        if (refused == 0) {
            EXPECT_EQ(lines.back(), lineOf(true, {3, 4}));
            return;
        }
        const char* const what = refused == 1 ? "vehicleDataKeyList" : "vehicleDataItem";
        EXPECT_EQ(lines,
                  head + outOfMemoryLines(
                             std::string("ProcessSetVehicleDataFilter: error allocating ") + what));
        EXPECT_EQ(vehicle.host.record()->vehicleDataKeyList, nullptr);
        EXPECT_EQ(vehicle.filter(), Keys{});
        EXPECT_EQ(vehicle.items(), Lines{});
        ++reports;
    };
    sweepBetween(setUp, action, [&] { vehicle.set(false, {}); });
    EXPECT_EQ(reports, 3U);
}

TEST(VehicleFilter, OfTheHostIsToldOnRequest) {
    const Library library;
    Vehicle vehicle;
    EXPECT_EQ(vehicle.during([&] { EXPECT_EQ(vehicle.set(false, {1}), eRETURN_OKAY); }), Lines{});
    EXPECT_EQ(vehicle.during([&] { EXPECT_EQ(vehicle.set(true, {2}), eRETURN_OKAY); }),
              (Lines{lineOf(false, {1}), lineOf(true, {2})}));
    EXPECT_EQ(vehicle.want({3}), (Lines{lineOf(false, {2}), lineOf(true, {3})}));
    EXPECT_EQ(quarlo_Eng_SetVehicleDataFilter(vehicle.handle(), 1, 1, nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(vehicle.filter(), Keys{3});
    EXPECT_EQ(_quarlo_ProcessSetVehicleDataFilter(nullptr, 0, nullptr), eRETURN_NULL_HANDLE);
}

TEST(VehicleFilter, OfThePhoneNeedsRun) {
    const Library library;
    Host idle;
    UInt32 key = 1;
    packetSetVehicleDataFilter filter{nullptr, 1, &key};
    packetBlacklistUrgentVehicleData black{nullptr, 1};
    onReceiveSetVehicleDataFilter(idle.record(), &filter);
    onReceiveBlacklistUrgentVehicleData(idle.record(), &black);
    EXPECT_EQ(idle.lines(), Lines{});
    EXPECT_EQ(idle.record()->vehicleDataKeyListLength, 0);
    EXPECT_EQ(vehicleDataBlackListLength, 0);
    onReceiveSetVehicleDataFilter(idle.record(), nullptr);
    onReceiveBlacklistUrgentVehicleData(idle.record(), nullptr);
    EXPECT_EQ(idle.lines(), (Lines{"WRN SetVehicleDataFilter called with NULL packet.",
                                   "WRN BlacklistUrgentVehicleData called with NULL packet."}));
    onReceiveSetVehicleDataFilter(nullptr, &filter);
    onReceiveBlacklistUrgentVehicleData(nullptr, &black);
}

TEST(VehicleFilter, MayBeChangedFromTheCallback) {
    const Library library;
    Vehicle vehicle;
    quarlo_SetVehicleDataRequestCallback(
        vehicle.handle(), [](void* context, Flag isOn, UInt8 count, UInt32* keys) {
            Host& host = hostOf(context);
            const Keys told(keys, keys + count);
            // The keys stay valid when the filter they came from is gone.
            quarlo_Eng_SetVehicleDataFilter(host.handle(), 0, 0, nullptr);
            EXPECT_EQ(Keys(keys, keys + count), told);
            host.note(lineOf(isOn != 0, told));
        });
    EXPECT_EQ(vehicle.want({4, 5}), Lines{lineOf(true, {4, 5})});
    EXPECT_EQ(vehicle.filter(), Keys{});
}

/* ---- values ---- */

TEST(VehicleValues, AreStoredAndSent) {
    const Library library;
    Vehicle vehicle;
    vehicle.want({7, 0xFFFFFFFE});
    EXPECT_EQ(vehicle.giveLines(7, "{\"v\":1}", eRETURN_OKAY),
              (Lines{"VER vehicle data: key='7' value='{\"v\":1}'"} + sendLine));
    // The encoding given is not used.
    EXPECT_EQ(vehicle.sent(), hexes({packet(55, u32(7) + text("{\"v\":1}"))}));
    EXPECT_EQ(vehicle.giveLines(0xFFFFFFFE, "%s", eRETURN_OKAY),
              (Lines{"VER vehicle data: key='4294967294' value='%s'"} + sendLine));
    EXPECT_EQ(vehicle.giveLines(7, "", eRETURN_OKAY),
              (Lines{"VER vehicle data: key='7' value=''"} + sendLine));
    EXPECT_EQ(vehicle.sent(), hexes({packet(55, u32(7) + text(""))}));
    EXPECT_EQ(vehicle.items(), (Lines{"7=", "4294967294=%s"}));
}

TEST(VehicleValues, AreTracedShortened) {
    const Library library;
    Vehicle vehicle;
    vehicle.want({7});
    const std::string most(79, 'x');
    EXPECT_EQ(vehicle.giveLines(7, most, eRETURN_OKAY),
              (Lines{"VER vehicle data: key='7' value='" + most + "'"} + sendLine));
    EXPECT_EQ(vehicle.giveLines(7, most + "y", eRETURN_OKAY),
              (Lines{"VER vehicle data: key='7' value='" + most + "...'"} + sendLine));
    // Prepared under one class, shown under the other.
    for (const eTraceClass alone : {eTRACECLASS_INFORMATION, eTRACECLASS_VERBOSE}) {
        quarlo_SetTraceClass(vehicle.handle(), alone);
        EXPECT_EQ(vehicle.giveLines(7, "z", eRETURN_OKAY), Lines{});
    }
    quarlo_SetTraceClass(vehicle.handle(), eTRACECLASS_INFORMATION | eTRACECLASS_VERBOSE);
    EXPECT_EQ(vehicle.giveLines(7, "z", eRETURN_OKAY),
              Lines{"VER vehicle data: key='7' value='z'"});
}

TEST(VehicleValues, TooLongAreEmpty) {
    const Library library;
    Vehicle vehicle;
    vehicle.want({7});
    const std::string longest(65535, 'a');
    EXPECT_EQ(vehicle.give(7, longest), eRETURN_OKAY);
    EXPECT_EQ(vehicle.items(), Lines{"7=" + longest});
    vehicle.forget();
    EXPECT_EQ(vehicle.give(7, longest + "a"), eRETURN_OKAY);
    EXPECT_EQ(vehicle.sent(), hexes({packet(55, u32(7) + text(""))}));
    EXPECT_EQ(vehicle.items(), Lines{"7="});
}

TEST(VehicleValues, NeedMemoryOnlyToGrow) {
    const Library library;
    Vehicle vehicle;
    vehicle.want({7});
    const std::pair<const char*, long> values[] = {{"", 1}, {"four", 2}, {"less", 0},  {"two", 0},
                                                   {"", 0}, {"four", 0}, {"longer", 2}};
    for (const auto& [value, blocks] : values) {
        allocations::restart();
        EXPECT_EQ(vehicle.give(7, value), eRETURN_OKAY);
        EXPECT_EQ(allocations::made(), blocks) << value;
        EXPECT_EQ(vehicle.items(), Lines{std::string("7=") + value});
    }
}

TEST(VehicleValues, AreRefused) {
    const Library library;
    Vehicle vehicle;
    vehicle.want({7});
    EXPECT_EQ(vehicle.giveLines(8, "x", eRETURN_PARAM_VALUE),
              Lines{"WRN quarlo_VehicleData: key 8 not found in filter list; data ignored."});
    EXPECT_EQ(quarlo_VehicleData(vehicle.handle(), 7, eSTRINGENCODING_UTF8, nullptr),
              eRETURN_NULL_PARAM);
    EXPECT_TRUE(vehicle.sent().empty());
}

TEST(VehicleValues, BeforeRunAreStoredOnly) {
    const Library library;
    Host idle;
    UInt32 key = 7;
    quarlo_Eng_SetVehicleDataFilter(idle.handle(), 1, 1, &key);
    EXPECT_EQ(quarlo_VehicleData(idle.handle(), 7, eSTRINGENCODING_UTF8, "kept"),
              eRETURN_STATE_NOT_RUN);
    EXPECT_EQ(idle.lines(),
              Lines{"WRN quarlo_VehicleData() called in wrong state; not sent to handset."});
    auto* first = listGetFirstElement(&idle.record()->vehicleDataList);
    ASSERT_NE(first, nullptr);
    const qrString* value = reinterpret_cast<vehicleDataItem*>(first)->value;
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(std::string(value->pContent, value->pContent + value->Length), "kept");
}

TEST(VehicleValues, WithoutMemoryAreReported) {
    const Library library;
    Vehicle vehicle;
    const std::string longest(65535, 'a');
    const Lines value = outOfMemoryLines("quarlo_VehicleData: error allocating value object");
    const Lines shown{"VER vehicle data: key='7' value='" + longest.substr(0, 79) + "...'"};
    const Lines created{"WRN creation of VehicleData packet failed."};
    const Failure outcomes[] = {{shown + sendLine, eRETURN_OKAY},
                                {value, eRETURN_MEM_ALLOC},
                                {value, eRETURN_MEM_ALLOC},
                                {shown + created, eRETURN_PACKET_MEMORY}};
    const auto action = [&](long refused) {
        const Failure& expected = outcomes[static_cast<std::size_t>(refused)];
        EXPECT_EQ(vehicle.giveLines(7, longest, expected.result), expected.lines);
    };
    sweepBetween([&] { vehicle.set(false, {7}); }, action, [&] { vehicle.set(false, {}); });
}

}  // namespace
}  // namespace quarlo::test
