/**
 * @file
 * A window with the phone's own screen, which takes the mouse and fingers as the phone's own
 * touches. Lives on the session's thread.
 */
#ifndef PHONE_PHONEWINDOW_H
#define PHONE_PHONEWINDOW_H

#include <chrono>
#include <cstdint>
#include <memory>

#include "Screen.h"
#include "display/SdlWindow.h"

namespace quarlo::phone {

class PhoneWindow {
  public:
    /** Throws std::runtime_error with a text for the user if there cannot be a window. */
    PhoneWindow(const std::string& title, Screen& screen);

    /**
     * Does what the user did, and shows the screen; to be called every few hundredths of a second.
     * @param isMirrored a head unit is shown the screen: what was drawn for it is shown here
     * @return false when the user has closed the window
     */
    bool turn(bool isMirrored);

  private:
    using Clock = std::chrono::steady_clock;

    void handle(const SDL_Event& event);
    void touch();
    void openApps();
    display::Rect pictureArea() const;
    void draw(bool isMirrored);

    Screen& phoneScreen;
    std::unique_ptr<display::SdlWindow> window;
    display::Texture texture;
    display::Fingers fingers;
    bool isClosed = false;
    Clock::time_point drawAt{};
};

}  // namespace quarlo::phone

#endif
