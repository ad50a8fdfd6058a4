/*
 * What apps draw with: cairo and pango behind a few words, in the logical pixels of the head unit's
 * screen. A canvas belongs to the one thread that draws the screen.
 */
#ifndef DISPLAY_CANVAS_H
#define DISPLAY_CANVAS_H

#include <cairo.h>
#include <pango/pangocairo.h>

#include <cstdint>
#include <memory>
#include <string>

#include "common/Picture.h"

namespace quarlo::display {

struct Box {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double right() const { return x + width; }
    double bottom() const { return y + height; }
    double centreX() const { return x + width / 2; }
    double centreY() const { return y + height / 2; }
    /** Shrunk by the same margin on every side. */
    Box inner(double margin) const {
        return {x + margin, y + margin, std::max(0.0, width - 2 * margin),
                std::max(0.0, height - 2 * margin)};
    }
};

/** 0xRRGGBB and its opacity. */
struct Paint {
    std::uint32_t rgb = 0;
    double alpha = 1;
};

enum class Align { Left, Centre, Right };
enum class Weight { Normal, Bold };

struct TextStyle {
    double size = 12;
    Paint paint = {0xFFFFFF, 1};
    Weight weight = Weight::Normal;
    Align align = Align::Left;
    int lines = 1;
};

/** A picture as a cairo surface that shares its pixels; the picture outlives the surface. */
using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
Surface surfaceOf(Picture& picture);

class Canvas {
  public:
    /** Draws into `picture`, of which each pixel is 1 / `scale` logical pixels wide and high. */
    explicit Canvas(Picture& picture, double scale = 1);
    ~Canvas();
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    void fill(const Box& box, const Paint& paint);
    void fillRounded(const Box& box, double radius, const Paint& paint);
    void fillCircle(double x, double y, double radius, const Paint& paint);
    void fillGradient(const Box& box, double radius, const Paint& top, const Paint& bottom);
    void line(double fromX, double fromY, double toX, double toY, double width, const Paint& paint);
    /** The middle of the picture, enlarged or reduced so that it covers the box. */
    void photo(const Box& box, double radius, Picture& picture);
    /** As many lines of text as the style allows, vertically centred in the box, ended with an
     * ellipsis if it is too long. */
    void text(const Box& box, const std::string& text, const TextStyle& style);
    /** How high that would be. */
    double textHeight(double width, const std::string& text, const TextStyle& style);
    /** Limits what is drawn until the next cairo_restore. */
    void clipRounded(const Box& box, double radius);
    /** For shapes that have no word of their own. */
    cairo_t* cairo() { return cairo_.get(); }
    void use(const Paint& paint);

  private:
    void roundedPath(const Box& box, double radius);
    void layOut(double width, const std::string& text, const TextStyle& style);

    Surface surface_;
    std::unique_ptr<cairo_t, decltype(&cairo_destroy)> cairo_;
    std::unique_ptr<PangoLayout, decltype(&g_object_unref)> layout_;
};

}  // namespace quarlo::display

#endif
