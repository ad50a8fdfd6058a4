// Fingers on a picture in a window: whatever they do, each one that goes down on the phone goes up
// again, and what they point at is what is under them.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "display/Fingers.h"

namespace quarlo::display {
namespace {

constexpr Source first{7, 1};
constexpr Source second{7, 2};

// A picture of 200 x 100 pixels in the lower half of a window of 400 x 400.
class FingersTest : public testing::Test {
  protected:
    FingersTest() { fingers.place({0, 0, 400, 400}, {0, 200, 400, 200}); }

    std::string told() {
        std::string text;
        for (const FingerEvent& event : fingers.take()) {
            constexpr const char* names[] = {"?", "down", "up", "move", "cancel"};
            char line[64];
            std::snprintf(line, sizeof line, "%s%s %u,%u #%u", text.empty() ? "" : " ",
                          names[event.type], pixelAt(event.at.x, 200), pixelAt(event.at.y, 100),
                          event.finger);
            text += line;
        }
        return text;
    }

    Fingers fingers;
};

TEST(FitTest, KeepsTheProportionsInTheMiddle) {
    const struct {
        double width, height;
        Rect room, expected;
    } cases[] = {
        {200, 100, {0, 0, 400, 200}, {0, 0, 400, 200}},
        {200, 100, {0, 0, 400, 400}, {0, 100, 400, 200}},
        {100, 200, {10, 20, 400, 400}, {110, 20, 200, 400}},
        {0, 0, {0, 0, 400, 400}, {0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        const Rect result = fit(c.width, c.height, c.room);
        EXPECT_DOUBLE_EQ(result.x, c.expected.x);
        EXPECT_DOUBLE_EQ(result.y, c.expected.y);
        EXPECT_DOUBLE_EQ(result.width, c.expected.width);
        EXPECT_DOUBLE_EQ(result.height, c.expected.height);
    }
}

TEST(PixelTest, EveryPartIsAPixelOfThePicture) {
    EXPECT_EQ(pixelAt(0, 480), 0);
    EXPECT_EQ(pixelAt(0.5, 480), 240);
    EXPECT_EQ(pixelAt(1, 480), 479);
    EXPECT_EQ(pixelAt(-3, 480), 0);
    EXPECT_EQ(pixelAt(3, 480), 479);
    EXPECT_EQ(pixelAt(0.5, 0), 0);
}

TEST_F(FingersTest, PointAtWhatIsUnderThemAtEverySize) {
    fingers.down(mouse, {100, 300});
    EXPECT_EQ(told(), "down 50,50 #1");
    fingers.place({0, 0, 800, 400}, {0, 0, 800, 400});
    fingers.move(mouse, {100, 300});
    EXPECT_EQ(told(), "move 25,75 #1");
    fingers.up(mouse, {799, 399});
    EXPECT_EQ(told(), "up 199,99 #1");
    fingers.place({0, 0, 400, 400}, fit(0, 0, {0, 0, 400, 400}));
    fingers.down(mouse, {0, 0});
    EXPECT_EQ(told(), "");
}

TEST_F(FingersTest, BeginOnThePictureSlideAlongItsEdgeAndEndOutsideOfTheWindow) {
    fingers.down(mouse, {100, 199});
    fingers.move(mouse, {100, 300});
    fingers.up(mouse, {100, 300});
    EXPECT_EQ(told(), "");
    fingers.down(mouse, {100, 300});
    fingers.move(mouse, {100, 10});
    EXPECT_EQ(told(), "down 50,50 #1 move 50,0 #1");
    fingers.move(mouse, {-1, 300});
    fingers.move(mouse, {100, 300});
    fingers.up(mouse, {100, 300});
    EXPECT_EQ(told(), "up 0,50 #1");
}

TEST_F(FingersTest, KeepTheirNumbersUntilTheyGoUpAndTellTheirLatestMove) {
    fingers.down(first, {0, 200});
    fingers.down(second, {200, 300});
    fingers.down(second, {0, 200});
    EXPECT_EQ(told(), "down 0,0 #1 down 100,50 #2");
    for (int i = 1; i <= 10; ++i) {
        fingers.move(first, {2.0 * i, 200});
        fingers.move(second, {200.0 + i, 300});
    }
    fingers.up(second, {200, 300});
    fingers.move(first, {2, 200});
    EXPECT_EQ(told(), "move 10,0 #1 move 105,50 #2 up 100,50 #2 move 1,0 #1");
    fingers.down(mouse, {4, 204});
    EXPECT_EQ(told(), "down 2,2 #2");
    fingers.liftAll();
    fingers.liftAll();
    EXPECT_EQ(told(), "up 2,2 #2 up 1,0 #1");
    EXPECT_FALSE(fingers.areDown());
}

TEST_F(FingersTest, AreNoMoreThanTen) {
    for (int i = 0; i < 12; ++i) fingers.down({1, i}, {100, 300});
    EXPECT_EQ(fingers.take().size(), Fingers::most);
    for (int i = 0; i < 12; ++i) fingers.up({1, i}, {100, 300});
    EXPECT_EQ(fingers.take().size(), Fingers::most);
}

}  // namespace
}  // namespace quarlo::display
