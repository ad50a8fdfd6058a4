/**
 * @file
 * A window with the phone's own screen, which takes the mouse and fingers as the phone's own
 * touches. Lives on the main thread; while a head unit is connected it shows that one's screen, a
 * copy of it, and posts the touches to its session.
 */
#ifndef PHONE_PHONEWINDOW_H
#define PHONE_PHONEWINDOW_H

#include <chrono>
#include <cstdint>
#include <memory>

#include "Server.h"
#include "display/SdlWindow.h"

namespace quarlo::phone {

class PhoneWindow : public Display {
  public:
    /** Throws std::runtime_error with a text for the user if there cannot be a window. */
    PhoneWindow(const std::string& title, Screen& screen);

    /** Does what the user did, and shows the screen; to be called every few hundredths of a second.
     */
    bool turn(ServedUnit* unit) override;

  private:
    using Clock = std::chrono::steady_clock;

    void handle(const SDL_Event& event);
    void follow(ServedUnit* unit);
    void touch(ServedUnit* unit);
    void openApps();
    bool isMirrored() const { return !mirrored.pixels.empty(); }
    Size size() const;
    display::Rect pictureArea() const;
    void draw();

    Screen& phoneScreen;
    std::unique_ptr<display::SdlWindow> window;
    display::Texture texture;
    display::Fingers fingers;
    const ServedUnit* followed = nullptr;  ///< only compared: it may be gone
    Picture mirrored;                      ///< the screen that its head unit is shown
    unsigned drawing = 0;                  ///< which one of it
    bool isClosed = false;
    Clock::time_point drawAt{};
};

}  // namespace quarlo::phone

#endif
