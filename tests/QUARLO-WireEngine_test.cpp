/*
 * Decoding of bytes that nobody vouches for, and the receiver's memory for what is decoded: what it
 * takes from the allocator, when, and what happens without it. Everything is decoded in front of a
 * page that may not be touched, so that one byte too many ends the test with or without a
 * sanitizer.
 */
#include "QUARLO-WireEngine.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

#include "Calls.h"
#include "QUARLO-WirePackets.h"
#include "Wire.h"

namespace quarlo::test {
namespace {

/** Room of one mebibyte whose end is followed by a forbidden page. */
class Brink {
  public:
    Brink() {
        void* area =
            mmap(nullptr, room + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (area == MAP_FAILED) std::abort();
        start = static_cast<UInt8*>(area);
        if (mprotect(start + room, page, PROT_NONE) != 0) std::abort();
    }
    ~Brink() { munmap(start, room + page); }
    Brink(const Brink&) = delete;
    Brink& operator=(const Brink&) = delete;

    /** The first count bytes, ending at the brink. */
    wire::Bounded put(const Bytes& bytes, std::size_t count) {
        UInt8* at = start + room - count;
        std::copy_n(bytes.begin(), count, at);
        return {at, start + room};
    }
    wire::Bounded put(const Bytes& bytes) { return put(bytes, bytes.size()); }

  private:
    static constexpr std::size_t room = 1024 * 1024;
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    UInt8* start = nullptr;
};

class Scratch : public testing::Test {
  protected:
    Scratch() { memory.prepare(); }
    ~Scratch() override { memory.release(); }

    Brink brink;
    wire::Scratch memory;
};

class BoundedDecoding : public Scratch {
  protected:
    /** Expects that the bytes are too few, however the decoder notices. */
    void expectBeyond(const PacketCase& each, wire::Bounded in) {
        const UInt8* end = in.end;
        EXPECT_EQ(each.decodeBounded(in, memory), nullptr);
        EXPECT_TRUE(in.wentBeyond);
        EXPECT_LE(in.at, end);
        memory.reset();
    }
};

TEST_F(BoundedDecoding, ReadsWholePacketsAndLeavesTheirBytesInPlace) {
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        wire::Bounded in = brink.put(each.whole.bytes);
        const UInt8* start = in.at;
        void* packet = each.decodeBounded(in, memory);
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(in.at, in.end);
        EXPECT_FALSE(in.wentBeyond);
        const Contents contents = each.contents(packet);
        EXPECT_EQ(contents.fields, each.fields);
        for (const Contents::Run& run : contents.byteRuns) {
            EXPECT_GE(run.at, start);
            EXPECT_LE(run.at + run.size, in.end);
        }
        memory.reset();
        Bytes another = each.whole.bytes;
        another[0] ^= 0x40;
        in = brink.put(another);
        EXPECT_EQ(each.decodeBounded(in, memory), nullptr);
        EXPECT_FALSE(in.wentBeyond);
        EXPECT_EQ(in.at, start + 9);
        memory.reset();
    }
}

TEST_F(BoundedDecoding, StopsWhereverThePacketIsCut) {
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        for (std::size_t length = 0; length < each.whole.bytes.size(); ++length) {
            SCOPED_TRACE("cut to " + std::to_string(length));
            expectBeyond(each, brink.put(each.whole.bytes, length));
        }
    }
}

/** No count makes the decoder reserve memory for what has not been received. */
TEST_F(BoundedDecoding, StopsAtCountsThatPromiseMoreThanThereIs) {
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        for (const CountField& count : each.whole.counts) {
            SCOPED_TRACE("count at " + std::to_string(count.offset));
            for (const unsigned top : {0xFFU, 0x7FU, 0x80U}) {
                Bytes bytes = each.whole.bytes;
                std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(count.offset), count.width,
                            std::uint8_t{0xFF});
                bytes[count.offset + count.width - 1] = static_cast<std::uint8_t>(top);
                // A one-byte count below the bytes that follow it would be an honest one.
                const bool mayFit = count.width == 1 && top < bytes.size() - count.offset;
                if (mayFit) continue;
                allocations::restart();
                expectBeyond(each, brink.put(bytes));
                EXPECT_EQ(allocations::made(), 0);
            }
        }
    }
}

/** Arrays of wider values are copied, so that they are aligned and in the host's order. */
TEST_F(BoundedDecoding, AlignsValuesThatStandAtOddAddresses) {
    const Bytes bytes = packet(54, u8(2) + u32(0x11223344) + u32(0xDEADBEEF));
    for (std::size_t shift = 0; shift < 4; ++shift) {
        wire::Bounded in = brink.put(Bytes(shift) + bytes);
        in.at += shift;
        auto* filter = wire::decodePacket<packetSetVehicleDataFilter>(in, memory);
        ASSERT_NE(filter, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(filter->pKeys) % alignof(UInt32), 0U);
        EXPECT_EQ(filter->pKeys[0], 0x11223344U);
        EXPECT_EQ(filter->pKeys[1], 0xDEADBEEFU);
    }
}

TEST_F(BoundedDecoding, OnceBeyondStaysBeyond) {
    const Bytes bytes{1, 2, 3};
    wire::Bounded in = brink.put(bytes);
    const UInt8* start = in.at;
    EXPECT_EQ(in.take(4), nullptr);
    EXPECT_EQ(in.take(1), nullptr);
    EXPECT_FALSE(in.fits(0));
    EXPECT_EQ(in.at, start);
    wire::Bounded exact = brink.put(bytes);
    EXPECT_NE(exact.take(3), nullptr);
    EXPECT_TRUE(exact.fits(0));
    EXPECT_FALSE(exact.fits(std::numeric_limits<std::uint64_t>::max()));
    EXPECT_TRUE(exact.isBeyond());
}

/* ---- the memory ---- */

TEST_F(Scratch, TakesNothingInTheSteadyState) {
    allocations::restart();
    for (int round = 0; round < 200; ++round) {
        for (const PacketCase& each : packetCases()) {
            wire::Bounded in = brink.put(each.whole.bytes);
            ASSERT_NE(each.decodeBounded(in, memory), nullptr);
            memory.reset();
        }
    }
    EXPECT_EQ(allocations::made(), 0);
}

TEST_F(Scratch, HandsOutZeroedMemoryAgainAndAgain) {
    auto* first = memory.make<UInt8>(100);
    std::fill_n(first, 100, UInt8{0xAA});
    memory.reset();
    const auto* again = memory.make<UInt8>(100);
    EXPECT_EQ(again, first);
    EXPECT_EQ(std::count(again, again + 100, 0), 100);
    memory.make<UInt8>(3);
    const auto* aligned = memory.make<UInt64>();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aligned) % alignof(UInt64), 0U);
}

/** For a catalogue of empty apps, each 22 bytes on the wire and far more in memory. */
TEST_F(Scratch, GivesExtraBlocksBackWithThePacket) {
    constexpr unsigned apps = 5000;
    const Bytes empty =
        golden("01 00 00 01 00 00 00 00 00 00 01 00 00 01 00 00 00 00 00 00 00 00").bytes;
    Bytes payload = u32(apps);
    for (unsigned i = 0; i < apps; ++i) payload.insert(payload.end(), empty.begin(), empty.end());
    const Bytes large = packet(70, payload);
    for (int round = 0; round < 2; ++round) {
        const long before = allocations::live();
        allocations::restart();
        wire::Bounded in = brink.put(large);
        auto* packet = wire::decodePacket<packetServerAppInfo>(in, memory);
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(in.at, in.end);
        ASSERT_EQ(packet->Info->NumberOfApps, apps);
        for (unsigned i = 0; i < apps; ++i) ASSERT_NE(packet->Info->paInfo[i], nullptr);
        EXPECT_GT(allocations::live(), before);
        EXPECT_LT(allocations::made(), 20);  // few large blocks, not one for each record
        memory.reset();
        EXPECT_EQ(allocations::live(), before);
    }
}

TEST_F(Scratch, RefusesSizesThatOverflow) {
    allocations::restart();
    EXPECT_EQ(memory.make<UInt64>(~std::uint64_t{0}), nullptr);
    EXPECT_EQ(memory.make<UInt64>(~std::uint64_t{0} / sizeof(UInt64)), nullptr);
    EXPECT_EQ(memory.make<UInt8>(~std::uint64_t{0} / 2 + 1), nullptr);
    EXPECT_EQ(allocations::made(), 0);
    EXPECT_NE(memory.make<UInt8>(1), nullptr);
}

/** Without its ordinary block every packet gets, and gives back, blocks of its own. */
TEST_F(Scratch, WorksWithoutItsOrdinaryBlock) {
    memory.release();
    allocations::restart(1);
    memory.prepare();
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        allocations::sweep([&](long refused) {
            wire::Bounded in = brink.put(each.whole.bytes);
            void* packet = each.decodeBounded(in, memory);
            EXPECT_EQ(packet == nullptr, refused != 0);
            EXPECT_FALSE(in.wentBeyond);
            if (packet != nullptr) {
                EXPECT_EQ(each.contents(packet).fields, each.fields);
            }
            memory.reset();
        });
    }
    const long before = allocations::live();
    memory.prepare();
    EXPECT_EQ(allocations::live(), before + 1);
}

}  // namespace
}  // namespace quarlo::test
