// Draws and moves lists. While the car moves nothing scrolls, so that nobody reads on at the wheel.
#include "ScrollList.h"

#include <cmath>

namespace quarlo::phone {
namespace {

/// A finger that strays no further than this part of a row still taps.
constexpr double tapSlack = 0.25;

Phrase headline(int number) {
    const std::string which = std::to_string(number);
    return {"Headline " + which, "Meldung " + which, "Nouvelle " + which};
}

Phrase topicOf(int number) {
    static const Phrase topics[] = {{"Weather", "Wetter", "Météo"},
                                    {"Traffic", "Verkehr", "Circulation"},
                                    {"Sports", "Sport", "Sport"},
                                    {"Science", "Wissenschaft", "Sciences"},
                                    {"Culture", "Kultur", "Culture"}};
    const Phrase& topic = topics[number % 5];
    const std::string minutes = std::to_string(number * 3) + " min";
    return {topic.english + " · " + minutes + " ago", topic.german + " · vor " + minutes,
            topic.french + " · il y a " + minutes};
}

}  // namespace

std::string ScrollList::title() const {
    return titleOf(name, phone());
}

double ScrollList::rowHeight(const Box& box) const {
    return std::max(8.0, std::min(box.width, box.height) * 0.15);
}

Box ScrollList::listBox(const Box& box) const {
    const double header = rowHeight(box) * 0.9;
    return {box.x, box.y + header, box.width, box.height - header};
}

void ScrollList::drawBackdrop(Canvas& canvas, const Box& box) {
    const double height = rowHeight(box);
    canvas.fillRounded(
        {box.x + height * 0.2, box.y + height * 0.12, box.width - height * 0.4, height * 0.72},
        height * 0.15, themeOf(phone()).card);
}

void ScrollList::draw(Canvas& canvas, const Box& box, const Moment&) {
    const Theme theme = themeOf(phone());
    const double height = rowHeight(box);
    const auto status = phone().status.find(name);
    const std::string line =
        status != phone().status.end() ? status->second
        : phone().isMoving
            ? inLanguage(phone(), "Does not scroll while driving",
                         "Kein Blättern während der Fahrt", "Pas de défilement en roulant")
            : "–";
    canvas.text(
        {box.x + height * 0.45, box.y + height * 0.12, box.width - height * 0.9, height * 0.72},
        line, {height * 0.3, theme.text, Weight::Bold});
    const Box list = listBox(box);
    cairo_save(canvas.cairo());
    canvas.clipRounded(list, 0);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Box row{list.x + height * 0.2, list.y + height * static_cast<double>(i) - scrolled,
                      list.width - height * 0.4, height * 0.92};
        if (row.bottom() < list.y || row.y > list.bottom()) continue;
        canvas.fillRounded(row, height * 0.12, theme.card);
        const double left = row.x + height * 0.3;
        const double width = row.width - height * 0.6;
        canvas.text({left, row.y + height * 0.1, width, height * 0.42},
                    entries[i].title.in(phone()), {height * 0.3, theme.text, Weight::Bold});
        canvas.text({left, row.y + height * 0.5, width, height * 0.34},
                    entries[i].detail.in(phone()), {height * 0.22, theme.soft});
    }
    cairo_restore(canvas.cairo());
}

void ScrollList::scrollTo(double offset, const Box& box) {
    const double most = rowHeight(box) * static_cast<double>(entries.size()) - listBox(box).height;
    scrolled = std::clamp(offset, 0.0, std::max(0.0, most));
}

void ScrollList::tap(double y, const Box& box) {
    const double place = (y - listBox(box).y + scrolled) / rowHeight(box);
    if (y < listBox(box).y || place < 0 || place >= static_cast<double>(entries.size())) return;
    const Row& row = entries[static_cast<std::size_t>(place)];
    if (row.wish) phone().ask(*row.wish, row.which);
}

void ScrollList::touch(const Touch& touch, const Box& box) {
    if (touch.type == eTOUCHTYPE_Down && !finger) {
        finger = touch.finger;
        startY = touch.y;
        startOffset = scrolled;
        hasScrolled = false;
    }
    if (finger != touch.finger) return;
    const double moved = startY - touch.y;
    hasScrolled = hasScrolled || std::abs(moved) > rowHeight(box) * tapSlack;
    if (hasScrolled && !phone().isMoving) scrollTo(startOffset + moved, box);
    if (touch.type == eTOUCHTYPE_Up && !hasScrolled) tap(touch.y, box);
    if (touch.type == eTOUCHTYPE_Up || touch.type == eTOUCHTYPE_Cancelled) finger.reset();
}

void ScrollList::key(Softkey key) {
    if (key == eSOFTKEY_Search) scrolled = 0;
}

std::unique_ptr<App> makeListApp() {
    std::vector<Row> rows;
    for (int i = 1; i <= 40; ++i) rows.push_back({headline(i), topicOf(i), std::nullopt, 0});
    return std::make_unique<ScrollList>("news", std::move(rows));
}

}  // namespace quarlo::phone
