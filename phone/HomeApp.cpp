// Draws the home screen. Card positions follow from the box alone, so that any size of screen,
// lying or standing, gets a picture; the moving parts are small, so that incremental updates are
// too.
#include "HomeApp.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <optional>

#include "Apps.h"
#include "Hash.h"
#include "Photographs.h"

namespace quarlo::phone {
namespace {

constexpr Paint white{0xFFFFFF, 1};
constexpr Paint soft{0xFFFFFF, 0.72};
constexpr Paint faint{0xFFFFFF, 0.16};
constexpr Paint accent{0xFFB454, 1};
constexpr Paint glass{0x101A30, 0.86};
constexpr int equaliserBars = 14;
constexpr int steamPuffs = 8;
constexpr double songLength = 214;

struct Layout {
    double unit;  ///< margin between cards
    Box photo;
    Box music;
    Box route;
    Box dock;
};

Layout layoutOf(const Box& box) {
    const double unit = std::min(box.width, box.height) * 0.035;
    const Box room = box.inner(unit);
    const double dockHeight = std::min(room.height * 0.17, room.width * 0.16);
    const Box dock{room.x, room.bottom() - dockHeight, room.width, dockHeight};
    const double cards = room.height - dockHeight - unit;
    if (box.width >= box.height) {
        const double left = room.width * 0.60;
        const double half = (cards - unit) / 2;
        const Box right{room.x + left + unit, room.y, room.width - left - unit, half};
        return {unit,
                {room.x, room.y, left, cards},
                right,
                {right.x, right.bottom() + unit, right.width, half},
                dock};
    }
    const double photo = cards * 0.44;
    const double card = (cards - photo) / 2 - unit;
    const Box music{room.x, room.y + photo + unit, room.width, card};
    return {unit,
            {room.x, room.y, room.width, photo},
            music,
            {room.x, music.bottom() + unit, room.width, card},
            dock};
}

/// Where the parts of the music card lie.
struct MusicLayout {
    Box cover;
    Box title;
    Box artist;
    Box bars;
    Box track;
    double text;
};

MusicLayout musicLayout(const Box& card) {
    const double pad = std::min(card.height * 0.11, card.width * 0.06);
    const Box room = card.inner(pad);
    const double side = std::min(room.height * 0.62, room.width * 0.36);
    const Box cover{room.x, room.y, side, side};
    const double text = side * 0.20;
    const double left = cover.right() + pad;
    const double width = room.right() - left;
    return {cover,
            {left, room.y, width, text * 1.5},
            {left, room.y + text * 1.55, width, text * 1.3},
            {left, room.y + side - text * 1.75, width * 0.86, text * 1.75},
            {room.x, room.bottom() - room.height * 0.16, room.width, room.height * 0.06},
            text};
}

struct RouteLayout {
    Box map;
    Box turn;
    Box street;
    Box arrival;
    double text;
};

RouteLayout routeLayout(const Box& card) {
    const double text = std::min(card.height * 0.105, card.width * 0.047);
    const Box map{card.x, card.y, card.width * 0.56, card.height};
    const Box side{map.right() + text, card.y + text, card.right() - map.right() - 2 * text,
                   card.height - 2 * text};
    return {map,
            {side.x, side.y, side.width, side.height * 0.42},
            {side.x, side.y + side.height * 0.46, side.width, text * 1.4},
            {side.x, side.y + side.height * 0.46 + text * 1.9, side.width, text * 1.3},
            text};
}

/// The route on the map: a smooth curve from the lower left to the upper right.
struct Point {
    double x;
    double y;
};
Point routePoint(const Box& map, double t) {
    return {map.x + map.width * (0.14 + 0.70 * t + 0.07 * std::sin(t * 7)),
            map.bottom() - map.height * (0.14 + 0.70 * t - 0.10 * std::sin(t * 6.3))};
}

class HomeApp : public App {
  public:
    HomeApp(const std::string& title, std::uint32_t seed)
        : name(title), chance(seed), coffee(photograph(0)) {}

    std::string title() const override { return name; }
    void drawBackdrop(Canvas& canvas, const Box& box) override;
    void draw(Canvas& canvas, const Box& box, const Moment& moment) override;
    void touch(const Touch& touch, const Box& box) override;

  private:
    void backdropPhoto(Canvas& canvas, const Box& card, double unit);
    void backdropMusic(Canvas& canvas, const Box& card, double unit);
    void backdropRoute(Canvas& canvas, const Box& card, double unit);
    void backdropDock(Canvas& canvas, const Box& dock, double unit) const;
    void drawMusic(Canvas& canvas, const Box& card, const Moment& moment) const;
    void drawRoute(Canvas& canvas, const Box& card, const Moment& moment) const;
    void drawSteam(Canvas& canvas, const Box& photo, const Moment& moment) const;

    std::string name;
    std::uint32_t chance;
    Picture coffee;
    std::optional<UInt32> finger;  ///< went down on the dock
};

void HomeApp::drawBackdrop(Canvas& canvas, const Box& box) {
    const Layout layout = layoutOf(box);
    backdropPhoto(canvas, layout.photo, layout.unit);
    backdropMusic(canvas, layout.music, layout.unit);
    backdropRoute(canvas, layout.route, layout.unit);
    backdropDock(canvas, layout.dock, layout.unit);
}

void HomeApp::backdropPhoto(Canvas& canvas, const Box& card, double unit) {
    canvas.photo(card, unit * 0.8, coffee);
    const double shade = card.height * 0.45;
    canvas.fillGradient({card.x, card.bottom() - shade, card.width, shade}, unit * 0.8,
                        {0x000000, 0}, {0x050A14, 0.82});
    const double size = std::min(card.height * 0.085, card.width * 0.056);
    const Box texts = card.inner(unit);
    const double top = card.bottom() - unit * 0.9 - size * 3.1;
    canvas.text({texts.x, top, texts.width, size * 0.8},
                inLanguage(phone(), "WEEKEND", "WOCHENENDE", "WEEK-END"),
                {size * 0.46, accent, Weight::Bold});
    canvas.text({texts.x, top + size * 0.75, texts.width, size * 1.4},
                inLanguage(phone(), "A first coffee by the lake", "Ein erster Kaffee am See",
                           "Un premier café au bord du lac"),
                {size, white, Weight::Bold});
    canvas.text({texts.x, top + size * 2.15, texts.width, size},
                inLanguage(phone(), "Clear until noon · 14° · light wind",
                           "Klar bis Mittag · 14° · leichter Wind",
                           "Clair jusqu'à midi · 14° · vent faible"),
                {size * 0.54, soft});
}

void HomeApp::backdropMusic(Canvas& canvas, const Box& card, double unit) {
    canvas.fillRounded(card, unit * 0.8, glass);
    const MusicLayout at = musicLayout(card);
    canvas.fillGradient(at.cover, at.cover.width * 0.12, {0xFF9A5A, 1}, {0x8E2A6B, 1});
    for (int ring = 4; ring > 0; --ring) {
        canvas.fillCircle(at.cover.centreX(), at.cover.centreY(), at.cover.width * 0.095 * ring,
                          {ring % 2 != 0 ? 0xFFE3B3u : 0x5B1D58u, 0.55});
    }
    canvas.text(at.title, "Northern Lights", {at.text, white, Weight::Bold});
    canvas.text(at.artist, "The Paper Lanterns", {at.text * 0.78, soft});
}

void HomeApp::backdropRoute(Canvas& canvas, const Box& card, double unit) {
    canvas.fillRounded(card, unit * 0.8, glass);
    const RouteLayout at = routeLayout(card);
    cairo_t* cr = canvas.cairo();
    cairo_save(cr);
    canvas.fillGradient(at.map, unit * 0.8, {0x24405A, 1}, {0x1B2F45, 1});
    canvas.clipRounded(at.map, unit * 0.8);
    const double wide = at.map.height * 0.035;
    for (int i = 0; i < 9; ++i) {
        const double from = hashedUnit(i, 1, chance) * 1.1 - 0.05;
        const double to = from + (hashedUnit(i, 2, chance) - 0.5) * 0.7;
        const double breadth = wide * (0.4 + 0.6 * hashedUnit(i, 3, chance));
        const Paint street{0x6F8AA3, 0.45};
        if (i % 2 == 0) {
            canvas.line(at.map.x, at.map.y + at.map.height * from, at.map.right(),
                        at.map.y + at.map.height * to, breadth, street);
        } else {
            canvas.line(at.map.x + at.map.width * from, at.map.y, at.map.x + at.map.width * to,
                        at.map.bottom(), breadth, street);
        }
    }
    canvas.use({0x4BA3FF, 1});
    cairo_set_line_width(cr, wide * 1.2);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    for (int i = 0; i <= 60; ++i) {
        const Point point = routePoint(at.map, i / 60.0);
        cairo_line_to(cr, point.x, point.y);
    }
    cairo_stroke(cr);
    const Point goal = routePoint(at.map, 1);
    canvas.fillCircle(goal.x, goal.y, wide * 1.7, white);
    canvas.fillCircle(goal.x, goal.y, wide * 1.1, {0xFF5F57, 1});
    cairo_restore(cr);
    canvas.text(at.street, inLanguage(phone(), "Lake Road", "Seestraße", "Route du lac"),
                {at.text, white, Weight::Bold});
}

void HomeApp::backdropDock(Canvas& canvas, const Box& dock, double unit) const {
    canvas.fillRounded(dock, unit * 0.8, themeOf(phone()).card);
    const double slot = dock.width / appCount;
    const double side = std::min(dock.height * 0.58, slot * 0.7);
    for (int i = 0; i < appCount; ++i) {
        const AppEntry& entry = apps[static_cast<std::size_t>(i)];
        const Box place{dock.x + slot * i, dock.y, slot, dock.height};
        const Box icon{place.centreX() - side / 2, dock.y + dock.height * 0.11, side, side};
        drawIcon(canvas, icon, entry);
        const double under = icon.bottom() + dock.height * 0.03;
        canvas.text({place.x, under, place.width, dock.bottom() - under - dock.height * 0.04},
                    entry.label(phone()),
                    {dock.height * 0.145, themeOf(phone()).text, Weight::Normal, Align::Centre});
    }
}

void HomeApp::touch(const Touch& touch, const Box& box) {
    const Box dock = layoutOf(box).dock;
    const bool isOnDock = dock.width > 0 && contains(dock, touch.x, touch.y);
    if (touch.type == eTOUCHTYPE_Down && isOnDock) finger = touch.finger;
    if (finger != touch.finger || touch.type == eTOUCHTYPE_Moved) return;
    if (touch.type == eTOUCHTYPE_Down) return;
    finger.reset();
    if (touch.type == eTOUCHTYPE_Up && isOnDock)
        phone().ask(Wish::Open, static_cast<int>((touch.x - dock.x) / dock.width * appCount));
}

void HomeApp::draw(Canvas& canvas, const Box& box, const Moment& moment) {
    const Layout layout = layoutOf(box);
    drawSteam(canvas, layout.photo, moment);
    drawMusic(canvas, layout.music, moment);
    drawRoute(canvas, layout.route, moment);
}

void HomeApp::drawSteam(Canvas& canvas, const Box& photo, const Moment& moment) const {
    const double unit = std::min(photo.width, photo.height);
    for (int i = 0; i < steamPuffs; ++i) {
        const double age = std::fmod(moment.seconds() / 4 + i / double{steamPuffs}, 1);
        const double sway = std::sin(moment.seconds() + 4 * age);
        canvas.fillCircle(photo.centreX() + unit * 0.04 * sway,
                          photo.y + photo.height * (0.4 - 0.32 * age), unit * 0.05 * age,
                          {0xFFFFFF, 0.3 * (1 - age)});
    }
}

std::string minutes(double seconds) {
    char text[16];
    std::snprintf(text, sizeof text, "%d:%02d", static_cast<int>(seconds) / 60,
                  static_cast<int>(seconds) % 60);
    return text;
}

void HomeApp::drawMusic(Canvas& canvas, const Box& card, const Moment& moment) const {
    const MusicLayout at = musicLayout(card);
    const double slot = at.bars.width / equaliserBars;
    for (int i = 0; i < equaliserBars; ++i) {
        const double beat = moment.seconds() * (2 + 3 * hashedUnit(i, 0, chance + 200));
        const double loudness = std::sin(beat) * std::sin(0.37 * beat + i);
        const double height = at.bars.height * (0.55 + 0.45 * loudness);
        canvas.fillGradient({at.bars.x + i * slot, at.bars.bottom() - height, slot * 0.6, height},
                            slot * 0.2, {0xFFD08A, 1}, {0xFF7A59, 1});
    }
    const double played = std::fmod(moment.seconds(), songLength);
    const double done = at.track.width * played / songLength;
    canvas.fillRounded(at.track, at.track.height / 2, faint);
    canvas.fillRounded({at.track.x, at.track.y, std::max(done, at.track.height), at.track.height},
                       at.track.height / 2, accent);
    canvas.fillCircle(at.track.x + done, at.track.centreY(), at.track.height * 1.1, white);
    const Box times{at.track.x, at.track.bottom(), at.track.width,
                    card.bottom() - at.track.bottom()};
    canvas.text(times, minutes(played), {at.text * 0.62, soft});
    canvas.text(times, "-" + minutes(songLength - played),
                {at.text * 0.62, soft, Weight::Normal, Align::Right});
}

void HomeApp::drawRoute(Canvas& canvas, const Box& card, const Moment& moment) const {
    const RouteLayout at = routeLayout(card);
    const double t = std::fmod(moment.seconds(), 90) / 90;
    const Point here = routePoint(at.map, t);
    const double radius = at.map.height * 0.05;
    const double pulse = std::fmod(moment.seconds(), 1.5) / 1.5;
    canvas.fillCircle(here.x, here.y, radius * (1 + pulse), {0x4BA3FF, 0.4 * (1 - pulse)});
    canvas.fillCircle(here.x, here.y, radius, white);
    canvas.fillCircle(here.x, here.y, radius * 0.72, {0x1E7BFF, 1});
    char text[32];
    // Short enough for the card at any distance.
    const double metres = (1 - t) * 1800;
    if (metres >= 1000) {
        std::snprintf(text, sizeof text, "%.1f km", metres / 1000);
    } else {
        std::snprintf(text, sizeof text, "%d m", static_cast<int>(metres / 10) * 10);
    }
    canvas.text(at.turn, text, {at.text * 1.9, white, Weight::Bold});
    std::snprintf(text, sizeof text, "%d min · %.1f km", 2 + static_cast<int>((1 - t) * 9),
                  1.8 + (1 - t) * 7);
    canvas.text(at.arrival, text, {at.text * 0.82, soft});
}

}  // namespace

std::unique_ptr<App> makeHomeApp(const std::string& title, std::uint32_t seed) {
    return std::make_unique<HomeApp>(title, seed);
}

}  // namespace quarlo::phone
