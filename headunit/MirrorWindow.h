/*
 * The window: the phone's screen with the panel beside it. Mouse, fingers and keys become what a
 * head unit tells its phone. The main thread's; the session is reached through the board only.
 */
#ifndef HEADUNIT_MIRRORWINDOW_H
#define HEADUNIT_MIRRORWINDOW_H

#include <chrono>
#include <memory>
#include <optional>

#include "Board.h"
#include "Options.h"
#include "Panel.h"
#include "common/Log.h"
#include "display/SdlWindow.h"

namespace quarlo::headunit {

class MirrorWindow {
  public:
    /** @return nothing and why */
    static std::unique_ptr<MirrorWindow> open(const Options& options, Log& log, Board& board,
                                              std::string& problem);

    /** Ends the wait of a turn; for any thread. */
    static void wake();
    /**
     * Waits for something to do, at most for that time, and does it.
     * @return false when the user has closed the window
     */
    bool turn(int milliseconds);

    /** No frame will be larger. */
    Size largest() const;

  private:
    using Clock = std::chrono::steady_clock;

    MirrorWindow(const Options& options, Log& log, Board& board,
                 std::unique_ptr<display::SdlWindow> opened);

    void handle(const SDL_Event& event);
    void onKey(const SDL_KeyboardEvent& event);
    void onMode(SDL_Keycode key);
    void tellModes(const std::optional<Modes>& known);
    void sendTouches();
    bool touch(const std::vector<display::FingerEvent>& events);
    void resizeFrame();
    void resize(Size size);
    void greet();

    void refresh();
    void measure();
    void draw();
    void renew();
    void drawPanel(const display::Rect& where);
    void writeShot();
    display::Rect room() const;
    display::Rect pictureArea() const;
    Size frameOf(const display::Rect& where) const;
    void place();

    const Options& options;
    Log& log;
    Board& board;
    std::unique_ptr<display::SdlWindow> window;
    display::Texture screen;
    display::Texture side;
    display::Fingers fingers;
    std::vector<display::FingerEvent> owed;  // that no session could be told
    Panel panel;
    PanelContent content;
    bool isClosed = false;
    bool isDirty = true;
    bool isPanelDirty = true;
    bool wantsShot = false;
    unsigned greeted = 0;         // the session that was told the modes
    std::optional<Size> wanted;   // the frame that the user has made room for
    Clock::time_point resizedAt;  // only when that is not changing any more
    bool isResizing = false;
    Clock::time_point measuredAt = Clock::now();
    Status measured;
};

}  // namespace quarlo::headunit

#endif
