// Framing of streams, and what the observer of a session is told.
#include <gtest/gtest.h>

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

TEST(Observer, OfASessionSeesAllItsConnections) {
    const Library library;
    Reports reports;
    quarloObserver observer = {};
    observer.size = sizeof observer;
    observer.context = &reports;
    observer.closed = [](void* context, const quarloLink*) {
        static_cast<Reports*>(context)->note("closed");
    };
    Phone phone([](quarloLink* link, int connection) {
        if (connection > 0) stay(link);
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
    EXPECT_EQ(reports.notes(), (std::vector<std::string>{"closed", "closed"}));
}

}  // namespace
}  // namespace quarlo::test
