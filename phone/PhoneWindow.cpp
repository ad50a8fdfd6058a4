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

bool PhoneWindow::turn(ServedUnit* unit) {
    follow(unit);
    SDL_Event event;
    fingers.place(window->area(), pictureArea());
    while (SDL_PollEvent(&event) != 0) handle(event);
    touch(unit);
    openApps();
    const Clock::time_point now = Clock::now();
    if (now >= drawAt) {
        drawAt = now + frameTime;
        draw();
    }
    return !isClosed;
}

void PhoneWindow::handle(const SDL_Event& event) {
    if (!window->feed(event, fingers) && event.type == SDL_QUIT) isClosed = true;
}

/// Until a head unit was sent a picture the phone's own screen stays.
void PhoneWindow::follow(ServedUnit* unit) {
    if (unit != followed) {
        followed = unit;
        mirrored = Picture();
        drawing = 0;
    }
    if (unit != nullptr) unit->copyPicture(mirrored, drawing);
}

Size PhoneWindow::size() const {
    if (isMirrored()) return {mirrored.width, mirrored.height};
    return {phoneScreen.width(), phoneScreen.height()};
}

void PhoneWindow::touch(ServedUnit* unit) {
    for (const display::FingerEvent& event : fingers.take()) {
        const auto press = [event](Screen& screen) {
            screen.touch({event.type, event.at.x * screen.width(), event.at.y * screen.height(),
                          firstFinger + event.finger});
        };
        if (unit != nullptr && isMirrored()) {
            unit->post([press](Session& session) { press(session.screen()); });
        } else {
            press(phoneScreen);
        }
    }
}

/// The other wishes need a head unit.
void PhoneWindow::openApps() {
    auto wishes = std::move(phoneScreen.phone().wishes);
    phoneScreen.phone().wishes.clear();
    for (const auto& [wish, which] : wishes) {
        if (wish == Wish::Open) phoneScreen.open(which);
    }
}

display::Rect PhoneWindow::pictureArea() const {
    return display::fit(size().width, size().height, window->area());
}

void PhoneWindow::draw() {
    const Picture& picture = isMirrored() ? mirrored : phoneScreen.draw(presentMoment());
    texture.load(window->graphics(), picture);
    window->clear(0, 0, 0);
    window->draw(texture, pictureArea());
    window->present();
}

}  // namespace quarlo::phone
