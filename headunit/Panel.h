/*
 * The panel beside the phone's screen: draws in words and numbers how the session is. One thread.
 */
#ifndef HEADUNIT_PANEL_H
#define HEADUNIT_PANEL_H

#include "Board.h"
#include "display/Canvas.h"

namespace quarlo::headunit {

/** What the user has set for the phone. */
struct Modes {
    bool isNight = true;
    bool isMoving = false;
    BlockMode block = eBLOCKMODE_AllowAll;

    friend bool operator==(const Modes&, const Modes&) = default;
};

/** In each second. */
struct Rates {
    double updates = 0;
    double received = 0;
    double sent = 0;
};

struct PanelContent {
    std::string headUnit;
    std::string endpoint;
    Status status;
    Rates rates;
    Modes modes;
    bool writesShots = false;
};

class Panel {
  public:
    /** In the window's coordinates. */
    static constexpr int width = 300;

    /** @param scale pixels of each of the window's coordinates */
    const Picture& draw(const PanelContent& content, int columns, int rows, double scale);

  private:
    void drawState(display::Canvas& canvas, const PanelContent& content);
    void drawNumbers(display::Canvas& canvas, const PanelContent& content);
    void drawModes(display::Canvas& canvas, const Modes& modes);
    void drawNotes(display::Canvas& canvas, const Status& status, double bottom);
    void drawKeys(display::Canvas& canvas, const PanelContent& content, double top);

    void heading(display::Canvas& canvas, const std::string& text);
    void row(display::Canvas& canvas, const std::string& name, const std::string& value);
    void chip(display::Canvas& canvas, const display::Box& box, const std::string& text, bool isOn);

    Picture picture;
    double y = 0;  // where the next row begins
};

}  // namespace quarlo::headunit

#endif
