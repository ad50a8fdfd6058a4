// When the head unit tries again, and when it may change what frames look like.
#include <gtest/gtest.h>

#include "Retry.h"
#include "Traffic.h"

namespace quarlo::headunit {
namespace {

using Line = Traffic::Line;

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

TEST(Traffic, IsQuietWhenNothingComesAnyMore) {
    struct Case {
        const char* what;
        int requests;
        int answers;
        double quietAt;
    };
    const Case cases[] = {{"nothing requested", 0, 0, 0.1},
                          {"all answered", 2, 2, 0.1},
                          {"more updates than requests", 1, 3, 0.1},
                          {"no answer, as nothing changes", 2, 1, 0.5}};
    for (const Case& one : cases) {
        Traffic traffic;
        for (int i = 0; i < one.requests; ++i) traffic.requested();
        for (int i = 0; i < one.answers; ++i) traffic.answered();
        EXPECT_EQ(traffic.look(7, 100, false), Line::Busy) << one.what;
        EXPECT_EQ(traffic.look(7 + one.quietAt - 0.01, 100, false), Line::Busy) << one.what;
        EXPECT_EQ(traffic.look(7 + one.quietAt + 0.01, 100, false), Line::Quiet) << one.what;
    }
}

TEST(Traffic, BytesAndDrawingAreActivityButNotForEver) {
    Traffic traffic;
    EXPECT_EQ(traffic.look(0, 100, false), Line::Busy);
    EXPECT_EQ(traffic.look(0.2, 200, false), Line::Busy) << "bytes came";
    EXPECT_EQ(traffic.look(0.4, 200, true), Line::Busy) << "an update is being decoded";
    EXPECT_EQ(traffic.look(0.45, 200, false), Line::Busy);
    EXPECT_EQ(traffic.look(0.51, 200, false), Line::Quiet);
    UInt64 received = 200;
    for (double now = 0.6; now < 2.9; now += 0.05) {
        EXPECT_EQ(traffic.look(now, ++received, false), Line::Busy);
    }
    EXPECT_EQ(traffic.look(3.1, ++received, false), Line::Overdue);
    traffic.forget();
    EXPECT_EQ(traffic.look(4, received, false), Line::Busy) << "a new wait has its own time";
    EXPECT_EQ(traffic.look(4.2, received, false), Line::Quiet);
}

}  // namespace
}  // namespace quarlo::headunit
