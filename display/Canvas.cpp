// Drawing words on top of cairo and pango; no state beyond the canvas itself, one thread.
#include "Canvas.h"

#include <cmath>
#include <numbers>

#if defined(__SANITIZE_ADDRESS__)
#define DISPLAY_HAS_LEAK_CHECK
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define DISPLAY_HAS_LEAK_CHECK
#endif
#endif
#ifdef DISPLAY_HAS_LEAK_CHECK
// The font libraries keep their caches for the life of the process, and a thread of pango's may
// still be using them when it ends, so they are not given back: leak checks overlook them instead.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\nleak:libpango\nleak:libcairo\n";
}
#endif

namespace quarlo::display {
namespace {

double channel(std::uint32_t rgb, int shift) {
    return ((rgb >> shift) & 0xFF) / 255.0;
}

}  // namespace

Surface surfaceOf(Picture& picture) {
    return {cairo_image_surface_create_for_data(
                reinterpret_cast<unsigned char*>(picture.pixels.data()), CAIRO_FORMAT_RGB24,
                picture.width, picture.height, picture.width * 4),
            cairo_surface_destroy};
}

Canvas::Canvas(Picture& picture, double scale)
    : surface_(surfaceOf(picture)),
      cairo_(cairo_create(surface_.get()), cairo_destroy),
      layout_(pango_cairo_create_layout(cairo_.get()), g_object_unref) {
    cairo_scale(cairo_.get(), scale, scale);
    // Text must not depend on the desktop's font settings: pictures are compared pixel by pixel.
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(pango_layout_get_context(layout_.get()), options);
    cairo_font_options_destroy(options);
}

Canvas::~Canvas() = default;

void Canvas::use(const Paint& paint) {
    cairo_set_source_rgba(cairo_.get(), channel(paint.rgb, 16), channel(paint.rgb, 8),
                          channel(paint.rgb, 0), paint.alpha);
}

void Canvas::fill(const Box& box, const Paint& paint) {
    use(paint);
    cairo_rectangle(cairo_.get(), box.x, box.y, box.width, box.height);
    cairo_fill(cairo_.get());
}

void Canvas::roundedPath(const Box& box, double radius) {
    constexpr double quarter = std::numbers::pi / 2;
    const double r = std::min({radius, box.width / 2, box.height / 2});
    cairo_new_path(cairo_.get());
    cairo_arc(cairo_.get(), box.right() - r, box.y + r, r, -quarter, 0);
    cairo_arc(cairo_.get(), box.right() - r, box.bottom() - r, r, 0, quarter);
    cairo_arc(cairo_.get(), box.x + r, box.bottom() - r, r, quarter, 2 * quarter);
    cairo_arc(cairo_.get(), box.x + r, box.y + r, r, 2 * quarter, 3 * quarter);
    cairo_close_path(cairo_.get());
}

void Canvas::fillRounded(const Box& box, double radius, const Paint& paint) {
    use(paint);
    roundedPath(box, radius);
    cairo_fill(cairo_.get());
}

void Canvas::fillCircle(double x, double y, double radius, const Paint& paint) {
    use(paint);
    cairo_new_path(cairo_.get());
    cairo_arc(cairo_.get(), x, y, radius, 0, 2 * std::numbers::pi);
    cairo_fill(cairo_.get());
}

void Canvas::fillGradient(const Box& box, double radius, const Paint& top, const Paint& bottom) {
    cairo_pattern_t* pattern = cairo_pattern_create_linear(0, box.y, 0, box.bottom());
    for (const auto& [offset, paint] : {std::pair{0.0, top}, std::pair{1.0, bottom}}) {
        cairo_pattern_add_color_stop_rgba(pattern, offset, channel(paint.rgb, 16),
                                          channel(paint.rgb, 8), channel(paint.rgb, 0),
                                          paint.alpha);
    }
    cairo_set_source(cairo_.get(), pattern);
    cairo_pattern_destroy(pattern);
    roundedPath(box, radius);
    cairo_fill(cairo_.get());
}

void Canvas::line(double fromX, double fromY, double toX, double toY, double width,
                  const Paint& paint) {
    use(paint);
    cairo_set_line_width(cairo_.get(), width);
    cairo_set_line_cap(cairo_.get(), CAIRO_LINE_CAP_ROUND);
    cairo_move_to(cairo_.get(), fromX, fromY);
    cairo_line_to(cairo_.get(), toX, toY);
    cairo_stroke(cairo_.get());
}

void Canvas::clipRounded(const Box& box, double radius) {
    roundedPath(box, radius);
    cairo_clip(cairo_.get());
}

void Canvas::photo(const Box& box, double radius, Picture& picture) {
    if (picture.width == 0 || picture.height == 0 || box.width <= 0 || box.height <= 0) return;
    const Surface surface = surfaceOf(picture);
    const double factor = std::max(box.width / picture.width, box.height / picture.height);
    cairo_save(cairo_.get());
    clipRounded(box, radius);
    cairo_translate(cairo_.get(), box.centreX(), box.centreY());
    cairo_scale(cairo_.get(), factor, factor);
    cairo_set_source_surface(cairo_.get(), surface.get(), -picture.width / 2.0,
                             -picture.height / 2.0);
    cairo_pattern_set_filter(cairo_get_source(cairo_.get()), CAIRO_FILTER_GOOD);
    cairo_pattern_set_extend(cairo_get_source(cairo_.get()), CAIRO_EXTEND_PAD);
    cairo_paint(cairo_.get());
    cairo_restore(cairo_.get());
}

void Canvas::layOut(double width, const std::string& text, const TextStyle& style) {
    PangoFontDescription* font = pango_font_description_from_string("DejaVu Sans");
    pango_font_description_set_absolute_size(font, style.size * PANGO_SCALE);
    pango_font_description_set_weight(
        font, style.weight == Weight::Bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_layout_set_font_description(layout_.get(), font);
    pango_font_description_free(font);
    // What the head unit sent need not be UTF-8, which is all that pango takes.
    const std::unique_ptr<gchar, decltype(&g_free)> valid(
        g_utf8_make_valid(text.c_str(), static_cast<gssize>(text.size())), g_free);
    pango_layout_set_text(layout_.get(), valid.get(), -1);
    pango_layout_set_width(layout_.get(), static_cast<int>(width * PANGO_SCALE));
    pango_layout_set_height(layout_.get(), -style.lines);
    pango_layout_set_wrap(layout_.get(), PANGO_WRAP_WORD_CHAR);
    pango_layout_set_ellipsize(layout_.get(), PANGO_ELLIPSIZE_END);
    pango_layout_set_alignment(layout_.get(), style.align == Align::Left     ? PANGO_ALIGN_LEFT
                                              : style.align == Align::Centre ? PANGO_ALIGN_CENTER
                                                                             : PANGO_ALIGN_RIGHT);
    pango_cairo_update_layout(cairo_.get(), layout_.get());
}

double Canvas::textHeight(double width, const std::string& text, const TextStyle& style) {
    if (width < 1 || style.size < 1) return 0;
    layOut(width, text, style);
    int height = 0;
    pango_layout_get_size(layout_.get(), nullptr, &height);
    return static_cast<double>(height) / PANGO_SCALE;
}

void Canvas::text(const Box& box, const std::string& text, const TextStyle& style) {
    if (box.width < 1 || style.size < 1) return;
    layOut(box.width, text, style);
    int height = 0;
    pango_layout_get_size(layout_.get(), nullptr, &height);
    use(style.paint);
    cairo_move_to(cairo_.get(), box.x, box.centreY() - height / 2.0 / PANGO_SCALE);
    pango_cairo_show_layout(cairo_.get(), layout_.get());
}

}  // namespace quarlo::display
