// The phone's screen in a window. What the session's head unit is shown is not drawn a second time:
// a clock that advances with each frame would run faster.
#include "PhoneWindow.h"

#include <stdexcept>

namespace quarlo::phone {
namespace {

constexpr std::chrono::milliseconds frameTime{33};
/// Above the numbers that head units give their fingers.
constexpr UInt32 firstFinger = 0x10000;

}  // namespace

PhoneWindow::PhoneWindow(const std::string& title, Screen& screen) : phoneScreen(screen) {
    std::string problem;
    window = display::SdlWindow::open(title, screen.width(), screen.height(), problem);
    if (window == nullptr) throw std::runtime_error(problem);
}

bool PhoneWindow::turn(bool isMirrored) {
    SDL_Event event;
    fingers.place(window->area(), pictureArea());
    while (SDL_PollEvent(&event) != 0) handle(event);
    touch();
    if (!isMirrored) openApps();
    const Clock::time_point now = Clock::now();
    if (now >= drawAt) {
        drawAt = now + frameTime;
        draw(isMirrored);
    }
    return !isClosed;
}

void PhoneWindow::handle(const SDL_Event& event) {
    if (!window->feed(event, fingers) && event.type == SDL_QUIT) isClosed = true;
}

void PhoneWindow::touch() {
    for (const display::FingerEvent& event : fingers.take()) {
        phoneScreen.touch({event.type, event.at.x * phoneScreen.width(),
                           event.at.y * phoneScreen.height(), firstFinger + event.finger});
    }
}

/// A session does this while there is one; the other wishes need one.
void PhoneWindow::openApps() {
    auto wishes = std::move(phoneScreen.phone().wishes);
    phoneScreen.phone().wishes.clear();
    for (const auto& [wish, which] : wishes) {
        if (wish == Wish::Open) phoneScreen.open(which);
    }
}

display::Rect PhoneWindow::pictureArea() const {
    return display::fit(phoneScreen.width(), phoneScreen.height(), window->area());
}

void PhoneWindow::draw(bool isMirrored) {
    const Picture& picture = isMirrored ? phoneScreen.picture() : phoneScreen.draw(presentMoment());
    texture.load(window->graphics(), picture);
    window->clear(0, 0, 0);
    window->draw(texture, pictureArea());
    window->present();
}

}  // namespace quarlo::phone
