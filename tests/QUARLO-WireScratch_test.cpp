/* The receiver's memory: what it takes from the allocator, when, and what happens without it. */
#include "QUARLO-WireScratch.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "Calls.h"
#include "QUARLO-WirePackets.h"
#include "Wire.h"

namespace quarlo::test {
namespace {

wire::Bounded over(const Bytes& bytes) {
    return {bytes.data(), bytes.data() + bytes.size()};
}

/** A catalogue of so many empty apps, each 24 bytes on the wire and far more in memory. */
Bytes catalogue(unsigned apps) {
    Bytes payload = u32(apps);
    const Bytes empty =
        golden("01 00 00 01 00 00 00 00 00 00 01 00 00 01 00 00 00 00 00 00 00 00").bytes;
    for (unsigned i = 0; i < apps; ++i) payload.insert(payload.end(), empty.begin(), empty.end());
    return packet(70, payload);
}

TEST(Scratch, TakesNothingInTheSteadyState) {
    wire::Scratch memory;
    memory.prepare();
    allocations::restart();
    for (int round = 0; round < 200; ++round) {
        for (const PacketCase& each : packetCases()) {
            wire::Bounded in = over(each.whole.bytes);
            ASSERT_NE(each.decodeBounded(in, memory), nullptr);
            memory.reset();
        }
    }
    EXPECT_EQ(allocations::made(), 0);
    memory.release();
}

TEST(Scratch, HandsOutZeroedMemoryAgainAndAgain) {
    wire::Scratch memory;
    memory.prepare();
    auto* first = memory.make<UInt8>(100);
    std::fill_n(first, 100, UInt8{0xAA});
    memory.reset();
    const auto* again = memory.make<UInt8>(100);
    EXPECT_EQ(again, first);
    EXPECT_EQ(std::count(again, again + 100, 0), 100);
    memory.make<UInt8>(3);
    const auto* aligned = memory.make<UInt64>();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned) % alignof(UInt64), 0U);
    memory.release();
}

TEST(Scratch, GivesExtraBlocksBackWithThePacket) {
    wire::Scratch memory;
    memory.prepare();
    const Bytes large = catalogue(5000);
    for (int round = 0; round < 2; ++round) {
        allocations::restart();
        wire::Bounded in = over(large);
        auto* packet = wire::decodePacket<packetServerAppInfo>(in, memory);
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(in.at, in.end);
        ASSERT_EQ(packet->Info->NumberOfApps, 5000U);
        for (unsigned i = 0; i < 5000; ++i) ASSERT_NE(packet->Info->paInfo[i], nullptr);
        EXPECT_GT(allocations::live(), 1);
        EXPECT_LT(allocations::made(), 20);  // few large blocks, not one for each record
        memory.reset();
        EXPECT_EQ(allocations::live(), 1);
    }
    memory.release();
    memory.release();
}

TEST(Scratch, RefusesSizesThatOverflow) {
    wire::Scratch memory;
    memory.prepare();
    allocations::restart();
    EXPECT_EQ(memory.make<UInt64>(~std::uint64_t{0}), nullptr);
    EXPECT_EQ(memory.make<UInt64>(~std::uint64_t{0} / sizeof(UInt64)), nullptr);
    EXPECT_EQ(memory.make<UInt8>(~std::uint64_t{0} / 2 + 1), nullptr);
    EXPECT_EQ(allocations::made(), 0);
    EXPECT_NE(memory.make<UInt8>(1), nullptr);
    memory.release();
}

/** Without its ordinary block every packet gets, and gives back, blocks of its own. */
TEST(Scratch, WorksWithoutItsOrdinaryBlock) {
    wire::Scratch memory;
    allocations::restart(1);
    memory.prepare();
    EXPECT_EQ(allocations::live(), 0);
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        allocations::sweep([&](long refused) {
            wire::Bounded in = over(each.whole.bytes);
            void* packet = each.decodeBounded(in, memory);
            EXPECT_EQ(packet == nullptr, refused != 0);
            EXPECT_FALSE(in.wentBeyond);
            if (packet != nullptr) {
                EXPECT_EQ(each.contents(packet).fields, each.fields);
            }
            memory.reset();
        });
    }
    memory.prepare();
    EXPECT_EQ(allocations::live(), 1);
    memory.release();
}

}  // namespace
}  // namespace quarlo::test
