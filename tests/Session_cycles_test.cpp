/* Instances that come and go by the thousand, QUARLO_CYCLES of them if that is set: the process
 * stays as large as it was. */
#include <gtest/gtest.h>

#include <cstdlib>

#include "Levels.h"
#include "Player.h"
#include "Recording.h"
#include "Supervision.h"

namespace quarlo::test {
namespace {

using soak::Levels;
using soak::levels;

constexpr int warmUp = 200;
// A sanitizer makes threads slow, and counts no memory here.
int cycles() {
    const char* const given = std::getenv("QUARLO_CYCLES");
    if (given != nullptr) return std::atoi(given);
    return soak::memoryIsMeasurable() ? 2000 : 400;
}

const Recording& handshakeAndMore() {
    static const Recording recording([] {
        std::vector<Bytes> packets = handshakePackets();
        const std::vector<Bytes> features = phonePackets();
        packets.insert(packets.end(), features.begin(), features.end());
        return packets;
    }());
    return recording;
}

/** Create, start, handshake, every packet, perhaps start again, delete; the ways to end take turns.
 */
void cycle(int number) {
    constexpr Player::End ends[] = {Player::Stall, Player::Closed, Player::Failed};
    Player player(handshakeAndMore(), {.end = ends[number % 3]});
    quarlo_SetInitialisationTimeout(player.handle(), 100);
    quarlo_EnablePingWatchdog(player.handle(), 1, 100);
    if (number % 10 == 1) quarlo_AnnounceShutdown(player.handle());
    player.play();
    EXPECT_TRUE(number % 10 == 1 || player.has("state RUN"));
    // Deleted at once, the second run may have any of its beginning behind it.
    if (number % 2 == 0) quarlo_StartMainThread(player.handle());
}

/** The levels when no thread is on its way out any more: one that was joined may be listed still.
 */
Levels settledLevels() {
    Levels now = levels();
    for (int i = 0; i < 500 && now.threads > 1; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        now = levels();
    }
    return now;
}

/** The library itself goes and comes too, now and then. */
void run(int count) {
    constexpr int together = 50;
    for (int done = 0; done < count; done += together) {
        const Library library;
        for (int i = 0; i < together; ++i) cycle(done + i);
    }
}

TEST(Cycles, OfInstancesLeaveNothingBehind) {
    constexpr std::size_t kibi = 1024;
    run(warmUp);
    const Levels before = settledLevels();
    run(cycles());
    const Levels after = settledLevels();
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(supervision::unjoined(), 0);
    EXPECT_EQ(supervision::wrongJoins(), 0);
    if (!soak::memoryIsMeasurable()) return;
    EXPECT_LT(after.allocated, before.allocated + 64 * kibi);
    if (!soak::residentIsMeasurable()) return;
    EXPECT_LT(after.resident, before.resident + 8 * kibi * kibi);
}

}  // namespace
}  // namespace quarlo::test
