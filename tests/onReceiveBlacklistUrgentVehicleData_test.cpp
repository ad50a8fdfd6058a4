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

const Lines head{"INF Blacklist Urgent VehicleData:"};

TEST(VehicleBlacklist, HoldsForAllInstancesUntilTheLibraryEnds) {
    {
        Vehicle one;
        Vehicle other;
        other.want({5, 6});
        EXPECT_EQ(hearWithoutMemory(one, blacklisted(5)),
                  outOfMemoryLines("cannot allocate vehicle data blacklist"));
        EXPECT_EQ(one.hear(blacklisted(5)), head + "INF     [  0] 5");
        EXPECT_EQ(hearWithoutMemory(one, blacklisted(6)),
                  outOfMemoryLines(
                      "cannot allocate new vehicle data blacklist; additional key ignored."));
        const Lines both = head + "INF     [  0] 5" + "INF     [  1] 4294967295";
        EXPECT_EQ(one.hear(blacklisted(0xFFFFFFFF)), both);
        EXPECT_EQ(one.hear(blacklisted(5)), both);
        EXPECT_EQ(blacklist(), (Keys{5, 0xFFFFFFFF}));
        EXPECT_EQ(other.give(5, "stored"),
                  Lines{"WRN quarlo_VehicleData: key 5 is on the blacklist; not sent to handset."});
        EXPECT_EQ(other.give(6, "sent").back(), "sent " + hex(packet(55, u32(6) + text("sent"))));
        EXPECT_EQ(other.items(), (Lines{"5=stored", "6=sent"}));
    }
    EXPECT_EQ(_quarlo_ProcessVehicleDataBlackList(nullptr, 1), eRETURN_NULL_HANDLE);
    EXPECT_EQ(vehicleDataBlackList, nullptr);
    EXPECT_EQ(vehicleDataBlackListLength, 0);
}

TEST(VehicleBlacklist, StartsAfreshAfter256Keys) {
    Vehicle vehicle;
    vehicle.want({1});
    Bytes packets;
    for (const UInt32 key : range(1, 255)) packets = packets + blacklisted(key);
    vehicle.hear(packets);
    EXPECT_EQ(blacklist(), range(1, 255));
    EXPECT_EQ(vehicle.hear(blacklisted(255)).size(), 256U);
    EXPECT_EQ(vehicle.hear(blacklisted(256)), head);
    EXPECT_EQ(blacklist(), Keys{});
    EXPECT_EQ(vehicle.give(1, "again").back(), "sent " + hex(packet(55, u32(1) + text("again"))));
    EXPECT_EQ(vehicle.hear(blacklisted(1)),
              Lines{"WRN non-empty vehicle data blacklist found for length=0"} + head +
                  "INF     [  0] 1");
    EXPECT_EQ(blacklist(), Keys{1});
}

TEST(VehicleItems, ArePrintedAndCompared) {
    Vehicle vehicle;
    vehicle.want({7, 8});
    vehicle.give(8, "eight");
    genericList& list = vehicle.record()->vehicleDataList;
    expectOperations(list, "      key        7\n      key        8\n      value      eight\n");
    EXPECT_EQ(list.freeElementData(list.tail.prev), eRETURN_OKAY);
    EXPECT_EQ(vehicle.items(), (Lines{"7", "8"}));
}

}  // namespace
}  // namespace quarlo::test
