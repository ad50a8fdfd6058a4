/*
 * quarlo-contact-sheet OUT.png PICTURE.png...: many pictures on one page, each with its name below.
 */
#include <cairo.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
using Context = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;

constexpr int columns = 4;
constexpr int cellWidth = 400;
constexpr int cellHeight = 225;
constexpr int captionHeight = 30;
constexpr int gap = 16;

struct Entry {
    std::string name;
    Surface picture;
};

int fail(const std::string& file, cairo_status_t status) {
    std::fprintf(stderr, "quarlo-contact-sheet: %s: %s\n", file.c_str(),
                 cairo_status_to_string(status));
    return 2;
}

/* As large as the cell allows, in its middle. */
void drawPicture(cairo_t* cr, cairo_surface_t* picture, double x, double y) {
    const double width = std::max(1, cairo_image_surface_get_width(picture));
    const double height = std::max(1, cairo_image_surface_get_height(picture));
    const double scale = std::min(cellWidth / width, cellHeight / height);
    cairo_save(cr);
    cairo_translate(cr, x + (cellWidth - width * scale) / 2, y + (cellHeight - height * scale) / 2);
    cairo_scale(cr, scale, scale);
    cairo_set_source_surface(cr, picture, 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
    cairo_paint(cr);
    cairo_restore(cr);
}

void drawCaption(cairo_t* cr, const std::string& text, double x, double y) {
    cairo_select_font_face(cr, "DejaVu Sans", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, 14);
    cairo_text_extents_t extents;
    cairo_text_extents(cr, text.c_str(), &extents);
    cairo_set_source_rgb(cr, 0.15, 0.18, 0.24);
    cairo_move_to(cr, x + (cellWidth - extents.x_advance) / 2, y + cellHeight + 20);
    cairo_show_text(cr, text.c_str());
}

Surface drawSheet(const std::vector<Entry>& entries) {
    const int count = static_cast<int>(entries.size());
    const int rows = (count + columns - 1) / columns;
    const int wide = std::min(count, columns);
    Surface sheet(cairo_image_surface_create(CAIRO_FORMAT_RGB24, wide * (cellWidth + gap) + gap,
                                             rows * (cellHeight + captionHeight + gap) + gap),
                  cairo_surface_destroy);
    const Context cr(cairo_create(sheet.get()), cairo_destroy);
    cairo_set_source_rgb(cr.get(), 0.93, 0.94, 0.96);
    cairo_paint(cr.get());
    for (int i = 0; i < count; ++i) {
        const Entry& entry = entries[static_cast<std::size_t>(i)];
        const int column = i % columns;
        const int row = i / columns;
        const double x = gap + column * (cellWidth + gap);
        const double y = gap + row * (cellHeight + captionHeight + gap);
        drawPicture(cr.get(), entry.picture.get(), x, y);
        drawCaption(cr.get(), entry.name, x, y);
    }
    return sheet;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fputs("usage: quarlo-contact-sheet OUT.png PICTURE.png...\n", stderr);
        return 2;
    }
    std::vector<Entry> entries;
    for (int i = 2; i < argc; ++i) {
        entries.push_back({std::filesystem::path(argv[i]).stem().string(),
                           {cairo_image_surface_create_from_png(argv[i]), cairo_surface_destroy}});
        const cairo_status_t status = cairo_surface_status(entries.back().picture.get());
        if (status != CAIRO_STATUS_SUCCESS) return fail(argv[i], status);
    }
    const Surface sheet = drawSheet(entries);
    const cairo_status_t status = cairo_surface_write_to_png(sheet.get(), argv[1]);
    return status == CAIRO_STATUS_SUCCESS ? 0 : fail(argv[1], status);
}
