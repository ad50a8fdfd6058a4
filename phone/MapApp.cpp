// The map sketch: streets on a grid that one finger moves and two fingers enlarge, and the car
// where the head unit says that it is. Session thread.
#include <cmath>
#include <map>
#include <numbers>

#include "Apps.h"
#include "Hash.h"
#include "common/Text.h"

namespace quarlo::phone {
namespace {

constexpr double leastZoom = 0.4;
constexpr double mostZoom = 8;
constexpr int streets = 24;
constexpr std::size_t fingersFollowed = 2;

struct Point {
    double x;
    double y;
};

/// Where the car is and where it is heading, or why that is not known.
std::string placeText(const Phone& phone) {
    const auto say = [&](const char* english, const char* german, const char* french) {
        return std::string(inLanguage(phone, english, german, french));
    };
    if (!phone.sentence) return say("No position yet", "Noch keine Position", "Pas de position");
    switch (*phone.sentence) {
        case SentenceState::NoFix:
            return say("No satellites", "Keine Satelliten", "Pas de satellites");
        case SentenceState::WrongChecksum:
            return say("Position with a wrong checksum", "Position mit falscher Prüfsumme",
                       "Position avec une somme fausse");
        case SentenceState::OtherKind:
        case SentenceState::Unreadable:
            return say("Unreadable position", "Unlesbare Position", "Position illisible");
        case SentenceState::Place:
            break;
    }
    const Coordinates at = phone.position.value_or(Coordinates{});
    std::string place =
        format("%.4f° %c  %.4f° %c", std::abs(at.latitude), at.latitude < 0 ? 'S' : 'N',
               std::abs(at.longitude), at.longitude < 0 ? 'W' : 'E');
    if (!phone.heading) return place;
    return place + ", " + say("heading", "Kurs", "cap") + format(" %.0f°", *phone.heading);
}

class MapApp : public App {
  public:
    std::string title() const override { return titleOf("maps", phone()); }
    void drawBackdrop(Canvas& canvas, const Box& box) override {
        canvas.fill(box, {phone().isNight ? 0x1C2C40u : 0xE9E4D6u, 1});
    }
    void draw(Canvas& canvas, const Box& box, const Moment&) override;
    void touch(const Touch& touch, const Box& box) override;
    void key(Softkey key) override {
        if (key != eSOFTKEY_Search) return;
        zoom = 1;
        centre = {0, 0};
    }

  private:
    Point onScreen(const Box& box, double x, double y) const {
        const double side = std::min(box.width, box.height) * zoom;
        return {box.centreX() + (x - centre.x) * side, box.centreY() + (y - centre.y) * side};
    }
    void drawStreets(Canvas& canvas, const Box& box) const;
    void drawCar(Canvas& canvas, const Box& box, double size) const;
    void follow(const std::map<UInt32, Point>& before, const Box& box);

    double zoom = 1;
    Point centre{0, 0};
    std::map<UInt32, Point> fingers;
};

void MapApp::drawStreets(Canvas& canvas, const Box& box) const {
    const double unit = std::min(box.width, box.height) * zoom;
    const Paint street{phone().isNight ? 0x4F6A85u : 0xFFFFFFu, 1};
    for (int i = 0; i < streets; ++i) {
        const double at = (i - streets / 2.0 + hashedUnit(i, 1, 5) * 0.6) * 0.25;
        const double lean = (hashedUnit(i, 2, 5) - 0.5) * 0.5;
        const double width = unit * (i % 5 == 0 ? 0.022 : 0.009);
        const Point left = onScreen(box, -4, at);
        const Point right = onScreen(box, 4, at + lean);
        const Point top = onScreen(box, at + lean, -4);
        const Point bottom = onScreen(box, at, 4);
        canvas.line(left.x, left.y, right.x, right.y, width, street);
        canvas.line(top.x, top.y, bottom.x, bottom.y, width, street);
    }
    const Point lake = onScreen(box, 0.45, -0.3);
    canvas.fillCircle(lake.x, lake.y, unit * 0.17, {phone().isNight ? 0x2B5C8Cu : 0x8EC3EEu, 1});
    const Point park = onScreen(box, -0.4, 0.25);
    canvas.fillCircle(park.x, park.y, unit * 0.13, {phone().isNight ? 0x2F5C42u : 0xB5DBA5u, 1});
}

void MapApp::drawCar(Canvas& canvas, const Box& box, double size) const {
    // The sketch repeats itself every hundredth of a degree: there is always a map under the car.
    const Coordinates at = phone().position.value_or(Coordinates{});
    const auto folded = [](double degrees) { return std::remainder(degrees, 0.01) * 80; };
    const Point car = onScreen(box, folded(at.longitude), -folded(at.latitude));
    const Paint paint{phone().position ? 0x1E7BFFu : 0x8A93A3u, 1};
    if (phone().heading) {
        const double angle = *phone().heading * std::numbers::pi / 180;
        canvas.line(car.x, car.y, car.x + std::sin(angle) * size * 2,
                    car.y - std::cos(angle) * size * 2, size * 0.6, paint);
    }
    canvas.fillCircle(car.x, car.y, size, {0xFFFFFF, 1});
    canvas.fillCircle(car.x, car.y, size * 0.72, paint);
}

void MapApp::draw(Canvas& canvas, const Box& box, const Moment&) {
    const double size = std::min(box.width, box.height) * 0.035;
    cairo_save(canvas.cairo());
    canvas.clipRounded(box, 0);
    drawStreets(canvas, box);
    drawCar(canvas, box, size);
    cairo_restore(canvas.cairo());
    const Box card{box.x + size, box.bottom() - size * 3, box.width - size * 2, size * 2.4};
    canvas.fillRounded(card, size * 0.5, {0x101A30, 0.86});
    canvas.text(card.inner(size * 0.4), placeText(phone()), {size * 0.9, {0xFFFFFF, 0.9}});
}

void MapApp::follow(const std::map<UInt32, Point>& before, const Box& box) {
    const double side = std::min(box.width, box.height);
    Point was{0, 0};
    Point is{0, 0};
    const double count = static_cast<double>(fingers.size());
    for (const auto& [finger, place] : fingers) {
        was = {was.x + before.at(finger).x / count, was.y + before.at(finger).y / count};
        is = {is.x + place.x / count, is.y + place.y / count};
    }
    // What lay under the fingers' middle stays there while the map grows.
    const Point held{centre.x + (was.x - box.centreX()) / (side * zoom),
                     centre.y + (was.y - box.centreY()) / (side * zoom)};
    if (fingers.size() == fingersFollowed) {
        const auto distance = [](const std::map<UInt32, Point>& at) {
            const Point a = at.begin()->second;
            const Point b = at.rbegin()->second;
            return std::max(1.0, std::hypot(a.x - b.x, a.y - b.y));
        };
        zoom = std::clamp(zoom * distance(fingers) / distance(before), leastZoom, mostZoom);
    }
    const auto kept = [](double value) { return std::clamp(value, -3.0, 3.0); };
    centre = {kept(held.x - (is.x - box.centreX()) / (side * zoom)),
              kept(held.y - (is.y - box.centreY()) / (side * zoom))};
}

void MapApp::touch(const Touch& touch, const Box& box) {
    if (std::min(box.width, box.height) < 1) return;
    if (touch.type == eTOUCHTYPE_Down && fingers.size() < fingersFollowed)
        fingers[touch.finger] = {touch.x, touch.y};
    const auto found = fingers.find(touch.finger);
    if (found == fingers.end()) return;
    const std::map<UInt32, Point> before = fingers;
    found->second = {touch.x, touch.y};
    follow(before, box);
    if (touch.type == eTOUCHTYPE_Up || touch.type == eTOUCHTYPE_Cancelled) fingers.erase(found);
}

}  // namespace

std::unique_ptr<App> makeMapApp() {
    return std::make_unique<MapApp>();
}

}  // namespace quarlo::phone
