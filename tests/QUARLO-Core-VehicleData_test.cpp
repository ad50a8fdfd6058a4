/* The vehicle data filter, and the values that the host delivers. */
#include <gtest/gtest.h>

#include "Vehicle.h"

namespace quarlo::test {
namespace {

/* ---- the filter ---- */

const std::string cleared = "INF vehicle data key list update: completely clear all";

TEST(VehicleFilter, ReportsWhatChanges) {
    const struct {
        Keys before;
        Keys wanted;
        Lines lines;
        Keys filter;
    } changes[] = {
        {{5}, {5}, {}, {5}},
        {{1, 2, 3}, {9, 3, 8, 1}, {told(false, {2}), told(true, {9, 8})}, {1, 3, 9, 8}},
        {{0, 0xFFFFFFFF}, {7}, {told(false, {0, 0xFFFFFFFF}), told(true, {7})}, {7}},
        // A key twice is added and removed twice.
        {{1}, {1, 2, 2}, {told(true, {2, 2})}, {1, 2, 2}},
        {{2, 2, 1}, {1, 1}, {told(false, {2, 2})}, {1}},
        {{3, 4}, {}, {cleared, told(false, {3, 4})}, {}},
        {{}, {}, {cleared}, {}},
        {range(1, 255),
         range(300, 554),
         {told(false, range(1, 255)), told(true, range(300, 554))},
         range(300, 554)},
    };
    Vehicle vehicle;
    for (const auto& c : changes) {
        EXPECT_EQ(vehicle.set(false, {}), Lines{cleared});
        vehicle.set(false, c.before);
        EXPECT_EQ(vehicle.want(c.wanted), c.lines);
        EXPECT_EQ(vehicle.filter(), c.filter);
        Lines items;
        for (const UInt32 key : c.filter) items.push_back(std::to_string(key));
        EXPECT_EQ(vehicle.items(), items);
    }
}

TEST(VehicleFilter, OfTheHostIsToldOnRequest) {
    Vehicle vehicle;
    EXPECT_EQ(vehicle.set(false, {1}), Lines{});
    EXPECT_EQ(vehicle.set(true, {2}), (Lines{told(false, {1}), told(true, {2})}));
    EXPECT_EQ(vehicle.call(quarlo_Eng_SetVehicleDataFilter, 1, 1, nullptr), Lines{"= NULL_PARAM"});
    EXPECT_EQ(vehicle.filter(), Keys{2});
    EXPECT_EQ(_quarlo_ProcessSetVehicleDataFilter(nullptr, 0, nullptr), eRETURN_NULL_HANDLE);
    Idle idle;
    expectRefusals(idle, onReceiveSetVehicleDataFilter,
                   {"WRN SetVehicleDataFilter called with NULL packet."}, {});
    expectRefusals(idle, onReceiveBlacklistUrgentVehicleData,
                   {"WRN BlacklistUrgentVehicleData called with NULL packet."}, {});
}

TEST(VehicleFilter, IsClearedAfterTheHostWasTold) {
    Vehicle vehicle;
    vehicle.want({3, 4});
    vehicle.host.reaction = [&](const Heard&) {
        vehicle.host.note("filter of " + std::to_string(vehicle.filter().size()));
        EXPECT_EQ(quarlo_VehicleData(vehicle.handle(), 4, {}, "last"), eRETURN_OKAY);
    };
    EXPECT_EQ(vehicle.want({}), Lines({cleared, told(false, {3, 4}), "filter of 2",
                                       "VER vehicle data: key='4' value='last'"}) +
                                    sending(packet(55, u32(4) + text("last"))));
    EXPECT_EQ(vehicle.filter(), Keys{});
    EXPECT_EQ(vehicle.items(), Lines{});
}

// The listener reads the keys once more when it has reacted.
TEST(VehicleFilter, MayBeChangedFromTheCallback) {
    Vehicle vehicle;
    vehicle.host.reaction = [&](const Heard& what) {
        quarlo_Eng_SetVehicleDataFilter(vehicle.handle(), 0, 0, nullptr);
        vehicle.host.note(what.line());
    };
    EXPECT_EQ(vehicle.want({4, 5}), (Lines{told(true, {4, 5}), cleared, told(true, {4, 5})}));
    EXPECT_EQ(vehicle.filter(), Keys{});
}

TEST(VehicleFilter, ValuesOfKeptKeysSurvive) {
    Vehicle vehicle;
    vehicle.want({1, 2, 3});
    vehicle.give(1, "one");
    vehicle.give(2, "two");
    vehicle.want({2, 4});
    EXPECT_EQ(vehicle.items(), (Lines{"2=two", "4"}));
    vehicle.want({1, 2});
    EXPECT_EQ(vehicle.items(), (Lines{"2=two", "1"}));
}

const std::string noList = "ProcessSetVehicleDataFilter: error allocating vehicleDataKeyList";

TEST(VehicleFilter, MoreKeysThanCanBeCountedAreAFailedAllocation) {
    // 255 kept copies of one key and 254 new ones would make 509.
    Vehicle vehicle;
    vehicle.want(Keys(255, 1));
    EXPECT_EQ(vehicle.filter().size(), 255U);
    EXPECT_EQ(vehicle.want(range(1, 255)), outOfMemoryLines(noList));
    EXPECT_EQ(vehicle.record()->vehicleDataKeyList, nullptr);
    EXPECT_EQ(vehicle.filter(), Keys{});
    EXPECT_EQ(vehicle.items(), Lines{});
    EXPECT_EQ(vehicle.want({1, 6}), Lines{told(true, {1, 6})});
}

TEST(VehicleFilter, KeysWithoutAnItemMayBeRemoved) {
    Vehicle vehicle;
    vehicle.want({1, 2});
    _clearVehicleDataList(vehicle.record());
    _clearVehicleDataList(nullptr);
    EXPECT_EQ(vehicle.want({2, 3}), (Lines{told(false, {1}), told(true, {3})}));
    EXPECT_EQ(vehicle.items(), Lines{"3"});
}

TEST(VehicleFilter, IsEmptyWithoutMemory) {
    Vehicle vehicle;
    const auto want = [&] {
        const Lines lines = vehicle.want({2, 3, 4});
        const bool isGone = vehicle.record()->vehicleDataKeyList == nullptr;
        return isGone ? lines + "none" + vehicle.items() : lines + vehicle.items();
    };
    const Lines list = outOfMemoryLines(noList) + "none";
    const Lines item =
        outOfMemoryLines("ProcessSetVehicleDataFilter: error allocating vehicleDataItem") + "none";
    const auto setUp = [&] {
        vehicle.set(false, {1, 2});
        vehicle.give(2, "two");
    };
    expectOutcomes({{told(false, {1}), told(true, {3, 4}), "2=two", "3", "4"}, list, item, item},
                   setUp, want, [&] { vehicle.set(false, {}); });
}

/* ---- values ---- */

Lines shown(const std::string& key, const std::string& value) {
    return {"VER vehicle data: key='" + key + "' value='" + value + "'"};
}

Lines sent(UInt32 key, const std::string& value) {
    return sending(packet(55, u32(key) + text(value)));
}

TEST(VehicleValues, AreStoredAndSent) {
    Vehicle vehicle;
    vehicle.want({7, 0xFFFFFFFE});
    // The encoding given is not used.
    EXPECT_EQ(vehicle.give(7, "{\"v\":1}"), shown("7", "{\"v\":1}") + sent(7, "{\"v\":1}"));
    EXPECT_EQ(vehicle.give(0xFFFFFFFE, "%s"), shown("4294967294", "%s") + sent(0xFFFFFFFE, "%s"));
    EXPECT_EQ(vehicle.give(7, ""), shown("7", "") + sent(7, ""));
    EXPECT_EQ(vehicle.items(), (Lines{"7=", "4294967294=%s"}));
    EXPECT_EQ(vehicle.give(8, "x"),
              (Lines{"WRN quarlo_VehicleData: key 8 not found in filter list; data ignored.",
                     "= PARAM_VALUE"}));
    EXPECT_EQ(vehicle.call(quarlo_VehicleData, 7, eSTRINGENCODING_UTF8, nullptr),
              Lines{"= NULL_PARAM"});
    // What is too long is shown shortened, and empty when it does not fit.
    const std::string most(79, 'x');
    const std::string longest(65535, 'x');
    EXPECT_EQ(vehicle.give(7, most), shown("7", most) + sent(7, most));
    EXPECT_EQ(vehicle.give(7, longest), shown("7", most + "...") + sent(7, longest));
    EXPECT_EQ(vehicle.items()[0], "7=" + longest);
    EXPECT_EQ(vehicle.give(7, longest + "x"), shown("7", most + "...") + sent(7, ""));
    EXPECT_EQ(vehicle.items()[0], "7=");
    // Prepared under one class, shown under the other.
    for (const eTraceClass alone : {eTRACECLASS_INFORMATION, eTRACECLASS_VERBOSE}) {
        quarlo_SetTraceClass(vehicle.handle(), alone);
        EXPECT_EQ(vehicle.give(7, "z"), Lines{sent(7, "z")[1]});
    }
    quarlo_SetTraceClass(vehicle.handle(), eTRACECLASS_INFORMATION | eTRACECLASS_VERBOSE);
    EXPECT_EQ(vehicle.give(7, "z"), shown("7", "z") + sent(7, "z")[1]);
}

TEST(VehicleValues, BeforeRunAreStoredOnly) {
    Vehicle idle(false);
    idle.set(true, {7});
    EXPECT_EQ(idle.give(7, "kept"),
              (Lines{"WRN quarlo_VehicleData() called in wrong state; not sent to handset.",
                     "= STATE_NOT_RUN"}));
    EXPECT_EQ(idle.items(), Lines{"7=kept"});
}

TEST(VehicleValues, NeedMemoryOnlyToGrow) {
    Vehicle vehicle;
    vehicle.want({7});
    const std::pair<const char*, long> values[] = {{"", 1}, {"four", 2}, {"less", 0},  {"two", 0},
                                                   {"", 0}, {"four", 0}, {"longer", 2}};
    for (const auto& [value, blocks] : values) {
        allocations::restart();
        EXPECT_EQ(vehicle.give(7, value), shown("7", value) + sent(7, value));
        EXPECT_EQ(allocations::made(), blocks) << value;
        EXPECT_EQ(vehicle.items(), Lines{std::string("7=") + value});
    }
    vehicle.set(false, {});
    const std::string longest(65535, 'a');
    const Lines traced = shown("7", longest.substr(0, 79) + "...");
    const Lines failed =
        outOfMemoryLines("quarlo_VehicleData: error allocating value object") + "= MEM_ALLOC";
    expectOutcomes(
        {traced + sent(7, longest), failed, failed,
         traced + "WRN creation of VehicleData packet failed." + "= PACKET_MEMORY"},
        [&] { vehicle.set(false, {7}); }, [&] { return vehicle.give(7, longest); },
        [&] { vehicle.set(false, {}); });
}

}  // namespace
}  // namespace quarlo::test
