// The window with a driver that has no screen: the events of mouse, fingers and keys are pushed,
// and what the head unit would do is looked at.
#include <gtest/gtest.h>

#include <cstdlib>

#include "FakeUnit.h"
#include "MirrorWindow.h"

namespace quarlo::headunit {
namespace {

using Lines = std::vector<std::string>;

class WindowTest : public testing::Test {
  protected:
    static constexpr Size frame{640, 400};

    WindowTest() {
        setenv("SDL_VIDEODRIVER", "dummy", 1);
        options.size = frame;
        std::string problem;
        window = MirrorWindow::open(options, log, board, problem);
        if (window == nullptr) std::abort();
        board.operate(unit);
        begin();
        board.show(Picture(frame));
        EXPECT_EQ(told(), (Lines{"night 1", "moving 0", "block AllowAll"}));
    }

    void begin() {
        board.opened();
        board.began();
    }

    Lines told(Size extent = frame) {
        board.resized(extent);
        window->turn(0);
        return std::exchange(unit.lines, {});
    }

    static void finger(Uint32 type, SDL_FingerID identifier, float x, float y) {
        SDL_Event event{};
        event.type = type;
        event.tfinger.touchId = 5;
        event.tfinger.fingerId = identifier;
        event.tfinger.x = x;
        event.tfinger.y = y;
        SDL_PushEvent(&event);
    }
    static void button(Uint32 type, int x, int y) {
        SDL_Event event{};
        event.type = type;
        event.button.windowID = 1;
        event.button.button = SDL_BUTTON_LEFT;
        event.button.x = x;
        event.button.y = y;
        SDL_PushEvent(&event);
    }
    static void press(SDL_Keycode code) {
        for (const Uint32 type : {SDL_KEYDOWN, SDL_KEYUP}) {
            SDL_Event event{};
            event.type = type;
            event.key.keysym.sym = code;
            SDL_PushEvent(&event);
        }
    }
    static void happen(SDL_WindowEventID what) {
        SDL_Event event{};
        event.type = SDL_WINDOWEVENT;
        event.window.windowID = 1;
        event.window.event = static_cast<Uint8>(what);
        SDL_PushEvent(&event);
    }

    Options options;
    Log log{LogLevel::Quiet};
    FakeUnit unit;
    Board board;
    std::unique_ptr<MirrorWindow> window;
};

// The window is 940 wide: the panel takes 300.
TEST_F(WindowTest, FingersAreTouchesInTheFramesPixels) {
    finger(SDL_FINGERDOWN, 40, 0.0F, 0.0F);
    finger(SDL_FINGERDOWN, 41, 320.5F / 940, 0.5F);
    EXPECT_EQ(told(), Lines{"touch Down 0,0 #1 Down 320,200 #2"});
    finger(SDL_FINGERMOTION, 40, 64.5F / 940, 0.1001F);
    finger(SDL_FINGERMOTION, 41, 160.5F / 940, 0.25F);
    EXPECT_EQ(told({1280, 800}), Lines{"touch Moved 129,80 #1 Moved 321,200 #2"});
    finger(SDL_FINGERUP, 40, 64.5F / 940, 0.1001F);
    finger(SDL_FINGERUP, 41, 1.0F, 1.0F);
    EXPECT_EQ(told(), Lines{"touch Up 64,40 #1 Up 639,399 #2"});
    finger(SDL_FINGERDOWN, 42, 0.9F, 0.5F);
    EXPECT_EQ(told(), Lines{});
}

TEST_F(WindowTest, NoFingerStaysDown) {
    for (const SDL_WindowEventID end : {SDL_WINDOWEVENT_LEAVE, SDL_WINDOWEVENT_FOCUS_LOST,
                                        SDL_WINDOWEVENT_MINIMIZED, SDL_WINDOWEVENT_HIDDEN}) {
        button(SDL_MOUSEBUTTONDOWN, 10, 20);
        happen(end);
        EXPECT_EQ(told(), Lines{"touch Down 10,20 #1 Up 10,20 #1"}) << int{end};
        button(SDL_MOUSEBUTTONUP, 10, 20);
        EXPECT_EQ(told(), Lines{});
    }
}

TEST_F(WindowTest, ANewSessionIsToldTheModesAndOfFingersThatWereLeft) {
    button(SDL_MOUSEBUTTONDOWN, 10, 20);
    finger(SDL_FINGERDOWN, 40, 0.0F, 0.0F);
    press(SDLK_n);
    EXPECT_EQ(told(), (Lines{"night 0", "touch Down 10,20 #1 Down 0,0 #2"}));
    board.closed("lost");
    finger(SDL_FINGERUP, 40, 0.0F, 0.0F);
    press(SDLK_b);
    EXPECT_EQ(told(), Lines{});
    begin();
    EXPECT_EQ(told(), (Lines{"night 0", "moving 0", "block UseWhitelist", "touch Up 0,0 #2",
                             "touch Up 10,20 #1"}));
}

TEST_F(WindowTest, KeysAreSoftkeysAndModes) {
    const std::pair<SDL_Keycode, Lines> keys[] = {
        {SDLK_HOME, {"key Home Press", "key Home Release"}},
        {SDLK_ESCAPE, {"key Back Press", "key Back Release"}},
        {SDLK_m, {"key Menu Press", "key Menu Release"}},
        {SDLK_f, {"key Search Press", "key Search Release"}},
        {SDLK_n, {"night 0"}},
        {SDLK_n, {"night 1"}},
        {SDLK_v, {"moving 1"}},
        {SDLK_v, {"moving 0"}},
        {SDLK_b, {"block UseWhitelist"}},
        {SDLK_b, {"block DenyAll"}},
        {SDLK_b, {"block AllowAll"}},
    };
    for (const auto& [code, lines] : keys) {
        press(code);
        EXPECT_EQ(told(), lines);
    }
    press(SDLK_q);
    EXPECT_FALSE(window->turn(0));
}

}  // namespace
}  // namespace quarlo::headunit
