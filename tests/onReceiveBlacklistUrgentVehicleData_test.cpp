/* The vehicle values that the phone never wants, and the elements that hold the values. */
#include <gtest/gtest.h>

#include "Vehicle.h"

namespace quarlo::test {
namespace {

Bytes blacklisted(UInt32 key) {
    return packet(56, u32(key));
}

Keys blacklist() {
    return {vehicleDataBlackList, vehicleDataBlackList + vehicleDataBlackListLength};
}

TEST(VehicleBlacklist, HoldsForAllInstances) {
    const Library library;
    Vehicle one;
    Vehicle other;
    other.want({5, 6});
    EXPECT_EQ(one.hear(blacklisted(5)),
              (Lines{"INF Blacklist Urgent VehicleData:", "INF     [  0] 5"}));
    EXPECT_EQ(one.hear(blacklisted(0xFFFFFFFF)),
              (Lines{"INF Blacklist Urgent VehicleData:", "INF     [  0] 5",
                     "INF     [  1] 4294967295"}));
    EXPECT_EQ(one.hear(blacklisted(5)).size(), 3U);
    EXPECT_EQ(blacklist(), (Keys{5, 0xFFFFFFFF}));
    EXPECT_EQ(other.giveLines(5, "stored", eRETURN_OKAY),
              Lines{"WRN quarlo_VehicleData: key 5 is on the blacklist; not sent to handset."});
    EXPECT_TRUE(other.sent().empty());
    EXPECT_EQ(other.items(), (Lines{"5=stored", "6"}));
    EXPECT_EQ(other.give(6, "sent"), eRETURN_OKAY);
    EXPECT_EQ(other.sent().size(), 1U);
    EXPECT_EQ(_quarlo_ProcessVehicleDataBlackList(nullptr, 1), eRETURN_NULL_HANDLE);
}

TEST(VehicleBlacklist, EndsWithTheLibrary) {
    {
        const Library library;
        Vehicle vehicle;
        vehicle.hear(blacklisted(5));
    }
    EXPECT_EQ(vehicleDataBlackList, nullptr);
    EXPECT_EQ(vehicleDataBlackListLength, 0);
}

TEST(VehicleBlacklist, StartsAfreshAfter256Keys) {
    const Library library;
    Vehicle vehicle;
    Bytes packets;
    for (const UInt32 key : range(1, 255)) packets = packets + blacklisted(key);
    vehicle.hear(packets);
    EXPECT_EQ(blacklist(), range(1, 255));
    EXPECT_EQ(vehicle.hear(blacklisted(255)).size(), 256U);
    EXPECT_EQ(vehicle.hear(blacklisted(256)), Lines{"INF Blacklist Urgent VehicleData:"});
    EXPECT_EQ(blacklist(), Keys{});
    vehicle.want({1});
    EXPECT_EQ(vehicle.give(1, "sent again"), eRETURN_OKAY);
    EXPECT_EQ(vehicle.sent().size(), 1U);
    EXPECT_EQ(vehicle.hear(blacklisted(1)),
              (Lines{"WRN non-empty vehicle data blacklist found for length=0",
                     "INF Blacklist Urgent VehicleData:", "INF     [  0] 1"}));
    EXPECT_EQ(blacklist(), Keys{1});
}

TEST(VehicleBlacklist, WithoutMemoryKeepsWhatItHas) {
    const Library library;
    Vehicle vehicle;
    allocations::restart(1);
    EXPECT_EQ(vehicle.hear(blacklisted(5)),
              outOfMemoryLines("cannot allocate vehicle data blacklist"));
    EXPECT_EQ(blacklist(), Keys{});
    vehicle.hear(blacklisted(5));
    allocations::restart(1);
    EXPECT_EQ(
        vehicle.hear(blacklisted(6)),
        outOfMemoryLines("cannot allocate new vehicle data blacklist; additional key ignored."));
    EXPECT_EQ(blacklist(), Keys{5});
    allocations::restart();
}

/* ---- the element operations ---- */

TEST(VehicleItems, ArePrintedAndCompared) {
    const Library library;
    Vehicle vehicle;
    vehicle.want({7, 8});
    EXPECT_EQ(vehicle.give(8, "eight"), eRETURN_OKAY);
    genericList& list = vehicle.host.record()->vehicleDataList;
    genericListElement* first = listGetFirstElement(&list);
    genericListElement* second = listGetNextElement(&list);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(listPrintElementVehicleData(first), eRETURN_OKAY);
    EXPECT_EQ(listPrintElementVehicleData(second), eRETURN_OKAY);
    std::fflush(stdout);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "      key        7\n      key        8\n      value      eight\n");
    EXPECT_EQ(listIsEqualVehicleDataKey(first, second), 0);
    EXPECT_EQ(listIsEqualVehicleDataKey(second, second), 1);
    EXPECT_EQ(listIsEqualVehicleDataKey(nullptr, second), 0);
    EXPECT_EQ(listIsEqualVehicleDataKey(first, nullptr), 0);
    EXPECT_EQ(listFindElementVehicleDataKey(&list, second), second);
    EXPECT_EQ(listFindElementVehicleDataKey(nullptr, second), nullptr);
    EXPECT_EQ(listFindElementVehicleDataKey(&list, nullptr), nullptr);
    EXPECT_EQ(listFreeElementDataVehicleData(second), eRETURN_OKAY);
    EXPECT_EQ(vehicle.items(), (Lines{"7", "8"}));
    EXPECT_EQ(listFreeElementDataVehicleData(nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(listPrintElementVehicleData(nullptr), eRETURN_NULL_PARAM);
    _clearVehicleDataList(nullptr);
}

}  // namespace
}  // namespace quarlo::test
