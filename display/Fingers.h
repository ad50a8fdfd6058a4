/*
 * Where a picture is shown in a window, and what the fingers on it do, mouse included. Knows
 * nothing of the library that makes the window. Values and one thread.
 */
#ifndef DISPLAY_FINGERS_H
#define DISPLAY_FINGERS_H

#include <cstdint>
#include <map>
#include <vector>

#include "QUARLO.Connector.IVI-API-Types_C.h"

namespace quarlo::display {

/** A place in the window, in its pixels. */
struct Point {
    double x = 0;
    double y = 0;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    bool holds(Point point) const {
        return point.x >= x && point.y >= y && point.x < x + width && point.y < y + height;
    }
};

/** The largest rectangle with the picture's proportions in the middle of the room. */
Rect fit(double pictureWidth, double pictureHeight, const Rect& room);

/** A place in a picture as parts of its width and height: it holds for every size of the picture.
 */
struct Spot {
    double x = 0;
    double y = 0;
};

/** The spot's pixel in a row or column of that many. */
int pixelAt(double part, int extent);

/** What made a touch: a device and one of its fingers. */
struct Source {
    std::int64_t device = 0;
    std::int64_t finger = 0;

    auto operator<=>(const Source&) const = default;
};
constexpr Source mouse{-1, 0};

/** What happened to a finger; it has the same small number from down to up. */
struct FingerEvent {
    TouchType type;
    Spot at;
    UInt32 finger;
};

class Fingers {
  public:
    static constexpr std::size_t most = 10;

    /** Where things are from now on. Fingers that are down keep their spots until they move. */
    void place(const Rect& windowArea, const Rect& pictureArea);

    /** Counts only on the picture. */
    void down(Source source, Point at);
    /** Goes on along the picture's edge beside it; ends when it leaves the window. */
    void move(Source source, Point at);
    void up(Source source, Point at);
    /** The finger, or every one, goes up where it is. */
    void lift(Source source);
    void liftAll();

    bool areDown() const { return !held.empty(); }
    /** What happened since the last call; of moves that follow one another the last. */
    std::vector<FingerEvent> take();

  private:
    struct Held {
        UInt32 number;
        Spot at;
    };

    Spot spotOf(Point at) const;
    UInt32 freeNumber() const;
    void happened(TouchType type, const Held& finger);

    Rect window;
    Rect picture;
    std::map<Source, Held> held;
    std::vector<FingerEvent> events;
};

}  // namespace quarlo::display

#endif
