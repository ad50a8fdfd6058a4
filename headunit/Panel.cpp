#include "Panel.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include "common/Log.h"

namespace quarlo::headunit {
namespace {

using display::Align;
using display::Box;
using display::Canvas;
using display::Paint;
using display::TextStyle;
using display::Weight;

constexpr double margin = 16;
constexpr double inside = Panel::width - 2 * margin;
constexpr double rowHeight = 18;
constexpr double headingHeight = 28;

constexpr Paint ground{0x151A23, 1};
constexpr Paint rule{0x2B3444, 1};
constexpr Paint bright{0xF2F5FA, 1};
constexpr Paint plain{0xC5CDDA, 1};
constexpr Paint faint{0x8391A7, 1};
constexpr Paint accent{0x4C8DFF, 1};
constexpr Paint good{0x4CD07D, 1};
constexpr Paint bad{0xF0635F, 1};

constexpr std::array keys{
    std::pair{"Home", "Home"},    std::pair{"Esc", "Back"},     std::pair{"M", "Menu"},
    std::pair{"F", "Search"},     std::pair{"N", "Night mode"}, std::pair{"V", "Moving"},
    std::pair{"B", "Block mode"}, std::pair{"Q", "Quit"},       std::pair{"P", "Screenshot"},
};

std::string amount(double bytes) {
    if (bytes < 1000) return format("%.0f B", bytes);
    if (bytes < 1e6) return format("%.1f kB", bytes / 1e3);
    if (bytes < 1e9) return format("%.1f MB", bytes / 1e6);
    return format("%.2f GB", bytes / 1e9);
}

std::string clockText(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm local{};
    localtime_r(&seconds, &local);
    return format("%02d:%02d:%02d", local.tm_hour, local.tm_min, local.tm_sec);
}

const char* textOf(BlockMode mode) {
    if (mode == eBLOCKMODE_DenyAll) return "all blocked";
    return mode == eBLOCKMODE_UseWhitelist ? "some blocked" : "none blocked";
}

// "its name" on "its system", launcher ...
std::string nameOf(std::string phone) {
    phone.erase(std::min(phone.size(), phone.find(", launcher")));
    std::erase(phone, '"');
    return printable(phone);
}

// With the reason for which there is no session.
std::string stateOf(const Status& status) {
    const bool isSaid = status.failure.empty() || status.state == status.failure;
    return printable(isSaid ? status.state : status.failure + ", " + status.state);
}

double keysHeight(const PanelContent& content) {
    const std::size_t count = keys.size() - (content.writesShots ? 0 : 1);
    const std::size_t rows = (count + 1) / 2;
    return headingHeight + static_cast<double>(rows) * rowHeight;
}

}  // namespace

const Picture& Panel::draw(const PanelContent& content, int columns, int rows, double scale) {
    if (picture.width != columns || picture.height != rows) picture = {columns, rows};
    Canvas canvas(picture, scale);
    const double height = rows / scale;
    canvas.fill({0, 0, columns / scale, height}, ground);
    canvas.fill({0, 0, 1, height}, rule);
    y = margin - 4;
    drawState(canvas, content);
    drawNumbers(canvas, content);
    drawModes(canvas, content.modes);
    // In a low window the latest wishes of the phone matter more than the help.
    const double keysTop = height - margin / 2 - keysHeight(content);
    const bool hasRoom = keysTop > y + headingHeight + 2 * rowHeight;
    drawNotes(canvas, content.status, hasRoom ? keysTop : height - margin / 2);
    if (hasRoom) drawKeys(canvas, content, keysTop);
    return picture;
}

void Panel::heading(Canvas& canvas, const std::string& text) {
    canvas.fill({margin, y + 7, inside, 1}, rule);
    canvas.text({margin, y + 10, inside, headingHeight - 10}, text, {11, faint, Weight::Bold});
    y += headingHeight;
}

void Panel::row(Canvas& canvas, const std::string& name, const std::string& value) {
    constexpr double nameWidth = 92;
    canvas.text({margin, y, nameWidth, rowHeight}, name, {12, faint});
    canvas.text({margin + nameWidth, y, inside - nameWidth, rowHeight}, value, {12, bright});
    y += rowHeight;
}

void Panel::drawState(Canvas& canvas, const PanelContent& content) {
    canvas.text({margin, y, inside, 28}, content.headUnit, {16, bright, Weight::Bold});
    y += 30;
    const Status& status = content.status;
    canvas.fillCircle(margin + 6, y + 9, 5, status.isRunning ? good : bad);
    const TextStyle style{.size = 12.5, .paint = bright, .lines = 3};
    const std::string state = stateOf(status);
    const double height = std::max(rowHeight, canvas.textHeight(inside - 20, state, style));
    canvas.text({margin + 20, y, inside - 20, height}, state, style);
    y += height + 2;
    canvas.text({margin + 20, y, inside - 20, rowHeight}, content.endpoint, {12, faint});
    y += rowHeight;
    if (status.phone.empty()) return;
    canvas.text({margin + 20, y, inside - 20, rowHeight}, nameOf(status.phone), {12, faint});
    y += rowHeight;
}

void Panel::drawNumbers(Canvas& canvas, const PanelContent& content) {
    const Status& status = content.status;
    const Rates& rates = content.rates;
    heading(canvas, "MIRRORING");
    row(canvas, "Frame", format("%u x %u", status.frame.width, status.frame.height));
    row(canvas, "Updates", format("%.1f/s, %u in all", rates.updates, status.updates));
    row(canvas, "Received",
        amount(static_cast<double>(status.received)) + ", " + amount(rates.received) + "/s");
    row(canvas, "Sent",
        amount(static_cast<double>(status.sent)) + ", " + amount(rates.sent) + "/s");
    row(canvas, "Sound", status.sound.empty() ? "none" : status.sound);
}

void Panel::chip(Canvas& canvas, const Box& box, const std::string& text, bool isOn) {
    canvas.fillRounded(box, 5, isOn ? accent : rule);
    canvas.text(box, text, {11.5, isOn ? bright : plain, Weight::Normal, Align::Centre});
}

void Panel::drawModes(Canvas& canvas, const Modes& modes) {
    constexpr double gap = 6;
    constexpr double height = 24;
    heading(canvas, "TOLD TO THE PHONE");
    chip(canvas, {margin, y, 60, height}, modes.isNight ? "night" : "day", modes.isNight);
    chip(canvas, {margin + 60 + gap, y, 78, height}, modes.isMoving ? "moving" : "standing",
         modes.isMoving);
    const double left = margin + 138 + 2 * gap;
    chip(canvas, {left, y, margin + inside - left, height}, textOf(modes.block),
         modes.block != eBLOCKMODE_AllowAll);
    y += height + 6;
}

void Panel::drawNotes(Canvas& canvas, const Status& status, double bottom) {
    heading(canvas, "FROM THE PHONE");
    const TextStyle style{.size = 12, .paint = plain, .lines = 2};
    for (const Note& note : status.notes) {
        const std::string text = printable(note.event.text);
        const double height = canvas.textHeight(inside, text, style);
        if (y + rowHeight + height > bottom) return;
        canvas.text({margin, y, inside - 70, rowHeight}, note.event.callback,
                    {12, accent, Weight::Bold});
        canvas.text({margin + inside - 70, y, 70, rowHeight}, clockText(note.time),
                    {11, faint, Weight::Normal, Align::Right});
        y += rowHeight;
        canvas.text({margin, y, inside, height}, text, style);
        y += height + 5;
    }
    if (status.notes.empty()) {
        canvas.text({margin, y, inside, rowHeight}, "nothing yet", {12, faint});
    }
}

void Panel::drawKeys(Canvas& canvas, const PanelContent& content, double top) {
    y = top;
    heading(canvas, "KEYS");
    const std::size_t count = keys.size() - (content.writesShots ? 0 : 1);
    for (std::size_t i = 0; i < count; ++i) {
        const bool isRight = i % 2 != 0;
        const Box cap{margin + (isRight ? inside / 2 : 0), y + 1, 42, rowHeight - 3};
        canvas.fillRounded(cap, 3, rule);
        canvas.text(cap, keys[i].first, {11, bright, Weight::Bold, Align::Centre});
        canvas.text({cap.right() + 7, y, inside / 2 - cap.width - 9, rowHeight}, keys[i].second,
                    {11.5, plain});
        if (isRight) y += rowHeight;
    }
}

}  // namespace quarlo::headunit
