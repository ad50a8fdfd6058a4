// The phone's screen in a window. What the session's head unit is shown is not drawn a second time:
// a clock that advances with each frame would run faster.
#include "Window.h"

#include <stdexcept>

namespace quarlo::phone {
namespace {

constexpr std::chrono::milliseconds frameTime{33};
/// Above the numbers that head units give their fingers.
constexpr UInt32 firstFinger = 0x10000;

}  // namespace

Window::Window(const std::string& title, Screen& screen) : screen_(screen) {
    std::string problem;
    window_ = display::SdlWindow::open(title, screen.width(), screen.height(), problem);
    if (window_ == nullptr) throw std::runtime_error(problem);
}

bool Window::turn(bool isMirrored) {
    SDL_Event event;
    fingers_.place(window_->area(), pictureArea());
    while (SDL_PollEvent(&event) != 0) handle(event);
    touch();
    if (!isMirrored) openApps();
    const Clock::time_point now = Clock::now();
    if (now >= drawAt_) {
        drawAt_ = now + frameTime;
        draw(isMirrored);
    }
    return !isClosed_;
}

void Window::handle(const SDL_Event& event) {
    if (!window_->feed(event, fingers_) && event.type == SDL_QUIT) isClosed_ = true;
}

void Window::touch() {
    for (const display::FingerEvent& event : fingers_.take()) {
        screen_.touch({event.type, event.at.x * screen_.width(), event.at.y * screen_.height(),
                       firstFinger + event.finger});
    }
}

/// A session does this while there is one; the other wishes need one.
void Window::openApps() {
    auto wishes = std::move(screen_.phone().wishes);
    screen_.phone().wishes.clear();
    for (const auto& [wish, which] : wishes) {
        if (wish == Wish::Open) screen_.open(which);
    }
}

display::Rect Window::pictureArea() const {
    return display::fit(screen_.width(), screen_.height(), window_->area());
}

void Window::draw(bool isMirrored) {
    const Picture& picture = isMirrored ? screen_.picture() : screen_.draw(presentMoment());
    texture_.load(window_->graphics(), picture);
    window_->clear(0, 0, 0);
    window_->draw(texture_, pictureArea());
    window_->present();
}

}  // namespace quarlo::phone
