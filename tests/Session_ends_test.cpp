/*
 * A whole session that ends at every byte, and an instance that is deleted at every stage and while
 * the host's code blocks: the end comes, nothing is left behind, and what came before it was
 * delivered.
 */
#include <gtest/gtest.h>

#include <set>

#include "Calls.h"
#include "Deflated.h"
#include "Player.h"
#include "Recording.h"
#include "Supervision.h"

namespace quarlo::test {
namespace {

std::vector<Bytes> sessionPackets() {
    std::vector<Bytes> packets = handshakePackets();
    for (const Bytes& packet : wholeSession()) packets.push_back(packet);
    Bytes pixels(std::size_t{8 * 8 * 4});
    std::iota(pixels.begin(), pixels.end(), std::uint8_t{0});
    packets.push_back(packet(26, u8(3) + rectangle(8, 8, 2, 100, deflated(pixels)) +
                                     rectangle(8, 8, 4, 100, pixels) +
                                     rectangle(4, 4, 2, 50, deflated(Bytes(64, 9)))));
    packets.push_back(packet(128, u32(3)));
    return packets;
}

class Ends : public ::testing::Test {
  protected:
    /** Everything the session makes a host see and send; it is played once. */
    struct Whole {
        Lines lines;
        std::vector<Bytes> sent;
        std::vector<std::size_t> seenAt;
        std::vector<std::size_t> sentAt;
    };
    static const Whole& whole() {
        static const Whole instance = [] {
            const Library library;
            Player player(recording(), {.end = Player::Stall});
            player.play();
            return Whole{player.lines(), player.sent(), player.seenAt(), player.sentAt()};
        }();
        return instance;
    }
    static const Recording& recording() {
        static const Recording instance(sessionPackets());
        return instance;
    }
    static std::size_t handshakeLength() { return recording().ends[handshakePackets().size() - 1]; }

    /** What the host has seen when so many bytes have been played and the link has ended so. */
    static Lines expected(std::size_t length, Player::End end, bool isTimed) {
        const std::size_t whole = recording().wholeIn(length);
        const Lines& all = Ends::whole().lines;
        const std::size_t count = Ends::whole().seenAt[whole];
        Lines lines(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count));
        const bool reachedRun = length >= handshakeLength();
        if (end == Player::Failed) lines.emplace_back("error CONNECTION_EOF_ZERO");
        // RUN counts from the first look at the link in it.
        const bool hasRun = length > handshakeLength();
        if (end != Player::Stall && hasRun) lines.emplace_back("error PROTOCOL_STOP");
        if (end != Player::Stall) lines.emplace_back("state STOP");
        if (isTimed && !reachedRun) lines.emplace_back("error INITIALIZATION_ABORT");
        lines.emplace_back("OnMainThreadEnd");
        return lines;
    }

    /** Plays so much, deletes, and compares what was seen and sent with the whole session. */
    static void expectEnd(std::size_t length, Player::End end, bool isTimed = false) {
        SCOPED_TRACE("end " + std::to_string(end) + " after byte " + std::to_string(length));
        Player player(recording(), {.length = length, .end = end});
        if (isTimed) {
            quarlo_SetInitialisationTimeout(player.handle(), 200);
            quarlo_EnablePingWatchdog(player.handle(), 1, 200);
        }
        player.play();
        player.remove();
        EXPECT_EQ(supervision::unjoined(), 0);
        EXPECT_EQ(player.lines(), expected(length, end, isTimed));
        expectSent(length, end, player.sent());
    }

    /** The announcement of the version goes out with the first look at the link in RUN. */
    static void expectSent(std::size_t length, Player::End end, const std::vector<Bytes>& sent) {
        std::vector<Bytes> all = whole().sent;
        all.resize(whole().sentAt[recording().wholeIn(length)]);
        const std::vector<Bytes> others = withoutAnnouncement(sent);
        EXPECT_EQ(others, withoutAnnouncement(all));
        const bool isAnnounced =
            length > handshakeLength() || (length == handshakeLength() && end == Player::Stall);
        EXPECT_EQ(others.size() + (isAnnounced ? 1 : 0), sent.size());
    }
    static std::vector<Bytes> withoutAnnouncement(std::vector<Bytes> packets) {
        std::erase_if(packets, [](const Bytes& p) { return p[0] == 67 && p[9] == 1; });
        return packets;
    }

    // Outside of the tests: it has a library of its own.
    static void SetUpTestSuite() { whole(); }
    void TearDown() override { EXPECT_EQ(supervision::wrongJoins(), 0); }
};

/* ---- ends at every byte ---- */

class EveryByte : public Ends, public ::testing::WithParamInterface<Player::End> {};

TEST_P(EveryByte, MayBeTheLast) {
    std::size_t length = 0;
    for (const std::size_t packetEnd : recording().ends) {
        // Leaks are looked for when the library's own tables are gone.
        const long before = allocations::live();
        {
            const Library library;
            for (; length < packetEnd; ++length) expectEnd(length, GetParam());
            expectEnd(length, GetParam());
        }
        EXPECT_EQ(allocations::live(), before) << "leaked before byte " << length;
    }
}

// The last: the phone falls silent, and the host deletes.
INSTANTIATE_TEST_SUITE_P(Ends, EveryByte,
                         ::testing::Values(Player::Closed, Player::Failed, Player::Stall));

TEST_F(Ends, WithSupervisionInTheMiddleOfEveryPacket) {
    const Library library;
    std::size_t start = 0;
    for (const std::size_t end : recording().ends) {
        const std::size_t middle = std::midpoint(start, end);
        for (const auto how : {Player::Closed, Player::Stall}) expectEnd(middle, how, true);
        start = end;
    }
}

TEST_F(Ends, AfterASlowPhoneNothingIsMissing) {
    const std::size_t length = recording().size();
    for (const std::size_t piece : {1U, 2U, 7U}) {
        SCOPED_TRACE("pieces of " + std::to_string(piece));
        const Library library;
        Player player(recording(), {.piece = piece, .keepsPackets = false});
        player.play();
        player.remove();
        EXPECT_EQ(player.lines(), expected(length, Player::Closed, false));
        EXPECT_EQ(withoutAnnouncement(player.sent()), withoutAnnouncement(whole().sent));
    }
}

/* ---- deletes while the host's code blocks ---- */

/** Plays until the host's code stays somewhere for ever, and deletes without asking it to return.
 */
void expectCancelled(
    const Recording& recording, const Player::Plan& plan,
    const std::function<void()>& whenStuck = [] {}) {
    for (const UInt8 joinTime : {UInt8{0}, UInt8{1}}) {
        const long before = allocations::live();
        {
            const Library library;
            Player player(recording, plan);
            quarlo_SetEndReceiverRequestCallback(player.handle(), nullptr);
            quarlo_SetWaitForJoinTimeout(player.handle(), joinTime);
            player.play();
            whenStuck();
            player.remove();
            EXPECT_EQ(supervision::unjoined(), 0);
        }
        EXPECT_EQ(allocations::live(), before) << "leaked";
    }
}

TEST_F(Ends, InsideEveryCallbackThatNeverReturns) {
    const std::set<std::string> callbacks(whole().lines.begin(), whole().lines.end());
    EXPECT_EQ(callbacks.size(), 24U);
    for (const std::string& name : callbacks) {
        SCOPED_TRACE(name);
        expectCancelled(recording(), {.stuckIn = name});
    }
}

TEST_F(Ends, InsideEverySendThatNeverReturns) {
    for (std::size_t packet = 1; packet <= whole().sent.size(); ++packet) {
        SCOPED_TRACE("packet " + std::to_string(packet));
        expectCancelled(recording(), {.stuckSend = packet});
    }
}

TEST_F(Ends, InsideEveryReportOfAFailedAllocation) {
    long made = 0;
    for (long refused = 0; refused <= made; ++refused) {
        SCOPED_TRACE("refused request " + std::to_string(refused));
        const auto refuse = [refused] { allocations::restart(refused); };
        const auto look = [&] { made = std::max(made, allocations::made()); };
        expectCancelled(recording(), {.stuckIn = "error MEM_ALLOC", .atStart = refuse}, look);
    }
    EXPECT_GT(made, 20);
}

TEST_F(Ends, WaitForACallbackThatReturns) {
    for (const char* name : {"OnMainThreadStart", "state RUN", "FrameUpdate", "AppListChanged",
                             "error PROTOCOL_STOP", "state STOP", "OnMainThreadEnd"}) {
        SCOPED_TRACE(name);
        const Library library;
        Player player(recording(), {.stuckIn = name});
        player.play();
        std::atomic<bool> isDeleted{false};
        std::thread host([&] {
            player.remove();
            isDeleted = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_FALSE(isDeleted);
        player.release();
        host.join();
        EXPECT_EQ(player.lines().back(), "OnMainThreadEnd");
    }
}

}  // namespace
}  // namespace quarlo::test
