// When the head unit tries again, and when it may change what frames look like.
#include <gtest/gtest.h>

#include "Fence.h"
#include "Retry.h"

namespace quarlo::headunit {
namespace {

using Line = Fence::Line;

TEST(Retry, PausesDoubleUntilRunIsReached) {
    Retry retry(0);
    EXPECT_EQ(retry.secondsLeft(5), 0) << "the first attempt is due at once";
    double now = 5;
    for (const double pause : {0.5, 1.0, 2.0, 4.0, 8.0, 10.0, 10.0}) {
        EXPECT_TRUE(retry.failed(now));
        EXPECT_DOUBLE_EQ(retry.secondsLeft(now), pause);
        now += pause;
        EXPECT_DOUBLE_EQ(retry.secondsLeft(now + 0.1), 0);
    }
    retry.succeeded();
    EXPECT_TRUE(retry.failed(now));
    EXPECT_DOUBLE_EQ(retry.secondsLeft(now), 0.5);
}

TEST(Retry, GivesUpAfterItsTime) {
    EXPECT_FALSE(Retry(std::nullopt).failed(1));
    Retry retry(3);
    EXPECT_TRUE(retry.failed(10));
    EXPECT_TRUE(retry.failed(10.5));
    EXPECT_TRUE(retry.failed(11.5));
    EXPECT_DOUBLE_EQ(retry.secondsLeft(11.5), 1.5) << "one last attempt when the time is over";
    EXPECT_FALSE(retry.failed(13));
    // Counted from the loss, however long the session was before.
    retry.succeeded();
    EXPECT_TRUE(retry.failed(500));
}

TEST(Fence, WaitsForWhatWasSentLast) {
    Fence fence;
    fence.sent();  // a change by itself, acknowledged while the fence is up
    fence.sent();
    fence.raise(7);
    EXPECT_EQ(fence.look(7), Line::Busy);
    fence.acknowledged();
    EXPECT_EQ(fence.look(9.9), Line::Busy) << "an older one";
    fence.acknowledged();
    EXPECT_EQ(fence.look(9.9), Line::Quiet);
    fence.lower();
    EXPECT_FALSE(fence.isUp());
}

TEST(Fence, APhoneThatAcknowledgesNothingIsNotWaitedForForEver) {
    Fence fence;
    fence.sent();
    fence.raise(0);
    EXPECT_EQ(fence.look(2.9), Line::Busy);
    EXPECT_EQ(fence.look(3.1), Line::Overdue);
    fence.lower();
    fence.acknowledged();  // at last
    fence.sent();
    fence.raise(10);
    EXPECT_EQ(fence.look(10), Line::Busy) << "a new wait has its own time";
    fence.acknowledged();
    EXPECT_EQ(fence.look(10.1), Line::Quiet) << "and is not owed the answers of the last";
    fence.sent();
    fence.forget();
    fence.raise(20);
    EXPECT_EQ(fence.look(20), Line::Quiet) << "another connection";
}

}  // namespace
}  // namespace quarlo::headunit
