// Framing of streams, and what observers of a link are told: every byte and every packet, in true
// order, with counts that agree.
#include <gtest/gtest.h>

#include <map>

#include "Host.h"
#include "QUARLO.Connector.IVI-API_C.h"
#include "Rig.h"

namespace quarlo::test {
namespace {

struct Seen {
    std::uint64_t begin;
    unsigned type;
    std::uint64_t size;
    friend bool operator==(const Seen&, const Seen&) = default;
};

TEST(Framing, FindsPacketsHoweverTheStreamIsCut) {
    static_assert(QUARLO_PACKET_HEADER == 9);
    EXPECT_EQ(sizeOf_PacketHeader(), static_cast<UInt32>(QUARLO_PACKET_HEADER));
    Bytes stream = packet(1, {}) + packet(255, Bytes(300, 7)) + packet(0, {1}) + packet(26, {});
    stream[1] = 0x78;
    stream[4] = 0x12;
    stream.resize(stream.size() - 1);
    const std::vector<Seen> expected = {{0, 1, 9}, {9, 255, 309}, {318, 0, 10}};
    for (std::size_t piece = 1; piece <= stream.size(); ++piece) {
        quarloFraming framing = QUARLO_FRAMING_BEGIN;
        std::vector<Seen> seen;
        for (std::size_t at = 0, taken = 0; at < stream.size(); at += taken) {
            const std::size_t offered = std::min(piece - at % piece, stream.size() - at);
            taken = quarloFraming_Take(&framing, stream.data() + at, offered);
            ASSERT_TRUE(taken >= 1 && taken <= offered);
            if (!framing.isWhole) continue;
            seen.push_back({framing.begin, framing.type, framing.taken});
            EXPECT_EQ(framing.flags, seen.size() == 1 ? 0x12000078U : 0U);
        }
        ASSERT_EQ(seen, expected) << piece;
        EXPECT_EQ(framing.begin, 328U);
        EXPECT_EQ(quarloFraming_Missing(&framing), 1U);
        EXPECT_EQ(quarloFraming_Take(&framing, nullptr, 0), 0U);
    }
    // The longest packet that a header can announce.
    quarloFraming framing = QUARLO_FRAMING_BEGIN;
    const Bytes longest = {5, 0, 0, 0, 0, 255, 255, 255, 255, 1};
    EXPECT_EQ(quarloFraming_Take(&framing, longest.data(), longest.size()), longest.size());
    EXPECT_EQ(quarloFraming_Missing(&framing), 0xFFFFFFFEU);
}

struct Told {
    std::mutex lock;
    Bytes bytes[2];
    std::vector<Seen> packets[2];
    std::vector<std::pair<int, unsigned>> order;  // direction and number of each packet
    std::uint64_t lastSteady = 0;
    std::atomic<int> inside{0};
    int faults = 0;
    int closed = 0;

    quarloObserver observer() {
        quarloObserver told = {};
        told.size = sizeof told;
        told.context = this;
        told.piece = [](void* context, const quarloPiece* piece) {
            static_cast<Told*>(context)->take(*piece);
        };
        told.packet = [](void* context, const quarloPacket* packet) {
            static_cast<Told*>(context)->take(*packet);
        };
        told.closed = [](void* context, const quarloLink*) {
            ++static_cast<Told*>(context)->closed;
        };
        return told;
    }
    void take(const quarloPiece& piece) {
        if (inside++ != 0) ++faults;
        Bytes& into = bytes[piece.direction - 1];
        if (piece.begin != into.size() || piece.steadyTime < lastSteady) ++faults;
        lastSteady = piece.steadyTime;
        // Time for the far end to answer what is told of too late.
        std::this_thread::sleep_for(std::chrono::microseconds(20));
        into.insert(into.end(), piece.bytes, piece.bytes + piece.count);
        leave();
    }
    void take(const quarloPacket& packet) {
        if (inside++ != 0) ++faults;
        if (packet.steadyBegin > packet.steadyTime) ++faults;
        packets[packet.direction - 1].push_back({packet.begin, packet.type, packet.packetSize});
        // In the tests that look at the order each begins with its number.
        const std::uint64_t number = packet.begin + QUARLO_PACKET_HEADER;
        const Bytes& from = bytes[packet.direction - 1];
        if (packet.packetSize < QUARLO_PACKET_HEADER + 2 || from.size() < number + 2)
            return leave();
        order.emplace_back(packet.direction, from[number] | from[number + 1] << 8);
        leave();
    }
    void leave() { --inside; }
};

TEST(Observer, IsToldOfEveryPacketBeforeItsAnswer) {
    Wire wire(Kind::Tcp);
    Told told;
    Told second;
    const quarloObserver first = told.observer();
    quarloObserver pieces = second.observer();
    pieces.packet = nullptr;
    quarloObserver tooOld = first;
    tooOld.size = sizeof(size_t);
    EXPECT_EQ(quarloLink_GetPacketCount(wire.link, eDIRECTION_ToPhone, 1, nullptr, nullptr),
              eRETURN_NOT_SUPPORTED);
    EXPECT_EQ(quarloLink_AddObserver(wire.link, &tooOld), eRETURN_PARAM_VALUE);
    EXPECT_EQ(quarloLink_AddObserver(wire.link, &first), eRETURN_OKAY);
    EXPECT_EQ(quarloLink_AddObserver(wire.link, &pieces), eRETURN_OKAY);
    constexpr unsigned count = 2000;
    // Two bytes of number, and so much more that some are sent in several pieces.
    std::thread far([&] {
        for (unsigned i = 0; i < count; ++i)
            writeFully(wire.farOutput, Phone::nextPacket(wire.farInput));
    });
    std::atomic<unsigned> next{0};
    std::vector<std::thread> senders;
    for (int i = 0; i < 2; ++i) {
        senders.emplace_back([&] {
            for (unsigned number = next++; number < count; number = next++) {
                send(wire.link, packet(33 + number % 2, u16(number) + Bytes(number % 3000, 1)));
            }
        });
    }
    std::uint64_t size = 0;
    for (unsigned number = 0; number < count; ++number) size += 9 + 2 + number % 3000;
    EXPECT_EQ(receiveAll(wire.link, size).size(), size);
    for (std::thread& sender : senders) sender.join();
    far.join();

    EXPECT_EQ(told.faults, 0);
    EXPECT_EQ(told.bytes[0], told.bytes[1]) << "echoed";
    EXPECT_EQ(second.bytes[0], told.bytes[0]);
    EXPECT_TRUE(second.packets[0].empty());
    ASSERT_EQ(told.order.size(), 2 * count);
    std::map<unsigned, bool> isSent;
    int early = 0;
    for (const auto& [direction, number] : told.order) {
        if (direction == eDIRECTION_ToPhone) isSent[number] = true;
        if (direction == eDIRECTION_FromPhone && !isSent[number]) ++early;
    }
    EXPECT_EQ(early, 0);
    for (const quarloDirection direction : {eDIRECTION_FromPhone, eDIRECTION_ToPhone}) {
        UInt64 packets[2] = {};
        UInt64 bytes[2] = {};
        for (const unsigned type : {33U, 34U}) {
            EXPECT_EQ(quarloLink_GetPacketCount(wire.link, direction, type, &packets[type - 33],
                                                &bytes[type - 33]),
                      eRETURN_OKAY);
        }
        EXPECT_EQ(packets[0], count / 2);
        EXPECT_EQ(packets[1], count / 2);
        EXPECT_EQ(bytes[0] + bytes[1], size);
    }
    EXPECT_EQ(quarloLink_GetPacketCount(wire.link, eDIRECTION_ToPhone, 256, nullptr, nullptr),
              eRETURN_PARAM_VALUE);
    wire.closeLink();
    EXPECT_EQ(told.closed + second.closed, 2);
}

TEST(Observer, OfASessionSeesAllItsConnections) {
    const Library library;
    Reports reports;
    Told told;
    const quarloObserver observer = told.observer();
    Phone phone([](int descriptor, int connection) {
        if (connection > 0) stay(descriptor, connection);
    });
    SessionSetup setup = configOf(reports, phone.port());
    setup.observer = &observer;
    Session session = startSession(setup);
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running, 2));
    UInt64 packets = 0;
    UInt64 bytes = 0;
    EXPECT_EQ(quarloSession_GetPacketCount(session.get(), eDIRECTION_ToPhone, 1, &packets, &bytes),
              eRETURN_OKAY);
    EXPECT_EQ(packets, 2U);
    EXPECT_EQ(bytes, 2U * (9 + 6));
    session.reset();
    EXPECT_EQ(told.closed, 2);
}

}  // namespace
}  // namespace quarlo::test
