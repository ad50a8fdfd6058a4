/**
 * @file
 * What an app on the phone is to the screen: something that draws itself into a box and follows
 * fingers in it. Everything runs on the session's thread.
 */
#ifndef PHONE_APP_H
#define PHONE_APP_H

#include <cstdint>
#include <string>

#include "Phone.h"
#include "display/Canvas.h"

namespace quarlo::phone {

using display::Align;
using display::Box;
using display::Canvas;
using display::Paint;
using display::Surface;
using display::TextStyle;
using display::Weight;

/** The moment at which the screen is drawn. */
struct Moment {
    std::uint64_t milliseconds = 0; /**< since midnight */
    double seconds() const { return static_cast<double>(milliseconds) / 1000; }
};

/** One finger at one time, in the head unit's pixels. */
struct Touch {
    TouchType type = eTOUCHTYPE_Down;
    double x = 0;
    double y = 0;
    UInt32 finger = 0;
};

/** The colours of the day or of the night. */
struct Theme {
    Paint top;
    Paint bottom;
    Paint card;
    Paint text;
    Paint soft;
};
inline Theme themeOf(const Phone& phone) {
    if (phone.isNight)
        return {{0x1B2A4A}, {0x0A0E1C}, {0xFFFFFF, 0.09}, {0xFFFFFF}, {0xFFFFFF, 0.66}};
    return {{0xF3F6FB}, {0xC9D6EA}, {0xFFFFFF, 0.85}, {0x16233B}, {0x16233B, 0.66}};
}

inline bool contains(const Box& box, double x, double y) {
    return x >= box.x && x < box.right() && y >= box.y && y < box.bottom();
}

class App {
  public:
    virtual ~App() = default;
    virtual std::string title() const = 0;
    /** What stays as it is until the size or the colours of the screen change; drawn once, kept and
     * drawn upon. */
    virtual void drawBackdrop(Canvas& canvas, const Box& box) = 0;
    /** What moves; drawn on a fresh copy of the backdrop. */
    virtual void draw(Canvas& canvas, const Box& box, const Moment& moment) = 0;
    /** A finger that went down in the app's box, until it is gone. */
    virtual void touch(const Touch&, const Box&) {}
    /** A key that is not about going elsewhere. */
    virtual void key(Softkey) {}

    /** Called by the screen before anything else; the phone outlives the app. */
    void attach(Phone& phone) { owner = &phone; }

  protected:
    Phone& phone() const { return *owner; }

  private:
    Phone* owner = nullptr;
};

}  // namespace quarlo::phone

#endif
