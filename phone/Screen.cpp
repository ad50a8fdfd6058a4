// Composes the screen: the backdrop is drawn once per size, the moving parts on a copy of it for
// every frame. One thread, no locks.
#include "Screen.h"

#include <cstdio>
#include <ctime>

#include "Apps.h"

namespace quarlo::phone {
namespace {

constexpr Paint white{0xFFFFFF, 1};
constexpr Paint dim{0xFFFFFF, 0.55};

std::string clockText(const Moment& moment) {
    const unsigned seconds = static_cast<unsigned>(moment.milliseconds / 1000 % 86400);
    char text[16];
    std::snprintf(text, sizeof text, "%02u:%02u:%02u", seconds / 3600, seconds / 60 % 60,
                  seconds % 60);
    return text;
}

void drawSignal(Canvas& canvas, const Box& box, int bars) {
    const double step = box.width / 4;
    for (int i = 0; i < 4; ++i) {
        const double height = box.height * (0.4 + 0.2 * i);
        canvas.fillRounded({box.x + i * step, box.bottom() - height, step * 0.66, height},
                           step * 0.15, i < bars ? white : Paint{0xFFFFFF, 0.3});
    }
}

void drawBattery(Canvas& canvas, const Box& box, double level) {
    const double nub = box.height * 0.14;
    const Box body{box.x, box.y, box.width - nub * 1.4, box.height};
    canvas.fillRounded(body, box.height * 0.3, {0xFFFFFF, 0.35});
    canvas.fillRounded({body.right() + nub * 0.4, box.y + box.height * 0.3, nub, box.height * 0.4},
                       nub / 2, {0xFFFFFF, 0.5});
    const Box room = body.inner(box.height * 0.14);
    canvas.fillRounded({room.x, room.y, room.width * level, room.height}, box.height * 0.2,
                       level > 0.2 ? Paint{0x5BE07F, 1} : Paint{0xFF5F57, 1});
}

}  // namespace

Moment presentMoment() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    const int seconds = (local.tm_hour * 60 + local.tm_min) * 60 + local.tm_sec;
    return {static_cast<std::uint64_t>(seconds) * 1000 +
            static_cast<std::uint64_t>(now.tv_nsec) / 1000000};
}

void Screen::resize(Size size, int percent) {
    extent = size;
    scale = percent / 100.0;
    const auto scaled = [&](int length) { return std::max(1, length * percent / 100); };
    drawn = Picture(scaled(extent.width), scaled(extent.height));
    drawBackdrop();
}

Screen::Screen(std::unique_ptr<App> home) : homeScreen(std::move(home)) {
    homeScreen->attach(known);
}

void Screen::open(int app) {
    inFront = app >= 0 && app < appCount ? app : -1;
    opened = inFront < 0 ? nullptr : apps[static_cast<std::size_t>(inFront)].make();
    if (opened != nullptr) opened->attach(known);
    isStale = true;
}

bool Screen::isBlocked() const {
    if (known.block == eBLOCKMODE_UseWhitelist)
        return inFront >= 0 && !apps[static_cast<std::size_t>(inFront)].isForDriving;
    return known.block == eBLOCKMODE_DenyAll;
}

int Screen::softkeyAt(double x, double y) const {
    for (int key = eSOFTKEY_Home; key <= eSOFTKEY_Search; ++key) {
        if (contains(softkeyBox(key), x, y)) return key;
    }
    return 0;
}

void Screen::touch(const Touch& touch) {
    constexpr std::size_t mostFingers = 10;
    const bool isGone = touch.type == eTOUCHTYPE_Up || touch.type == eTOUCHTYPE_Cancelled;
    const auto held = keyFingers.find(touch.finger);
    if (held != keyFingers.end()) {
        if (!isGone) return;
        if (touch.type == eTOUCHTYPE_Up) release(static_cast<Softkey>(held->second));
        pressed = 0;
        keyFingers.erase(touch.finger);
        return;
    }
    const int key = softkeyAt(touch.x, touch.y);
    if (touch.type == eTOUCHTYPE_Down && key != 0) {
        if (keyFingers.size() >= mostFingers) return;
        keyFingers[touch.finger] = key;
        press(static_cast<Softkey>(key));
    } else if (!isBlocked()) {
        app().touch(touch, appBox());
    }
}

void Screen::press(Softkey key) {
    pressed = key;
}

void Screen::release(Softkey key) {
    pressed = 0;
    if (key == eSOFTKEY_Home || key == eSOFTKEY_Back) open(-1);
    if (key == eSOFTKEY_Menu && inFront >= 0) open((inFront + 1) % appCount);
    if (key == eSOFTKEY_Search && !isBlocked()) app().key(key);
}

Box Screen::statusBox() const {
    const double shorter = std::min(extent.width, extent.height);
    return {0, 0, static_cast<double>(extent.width), shorter * 0.068};
}

Box Screen::appBox() const {
    const double top = statusBox().bottom();
    return {0, top, static_cast<double>(extent.width), extent.height - 2 * top};
}

Box Screen::softkeyBox(int key) const {
    const double height = statusBox().height;
    const double width = extent.width / 4.0;
    return {width * (key - eSOFTKEY_Home), extent.height - height, width, height};
}

void Screen::drawBackdrop() {
    backdrop = Picture(drawn.width, drawn.height);
    Canvas canvas(backdrop, scale);
    const Box whole{0, 0, static_cast<double>(extent.width), static_cast<double>(extent.height)};
    const Theme theme = themeOf(known);
    canvas.fillGradient(whole, 0, theme.top, theme.bottom);
    app().drawBackdrop(canvas, appBox());
    const Paint bar = known.isNight ? Paint{0x000000, 0.25} : Paint{0x2A3B57, 1};
    canvas.fill(statusBox(), bar);
    canvas.fill({0, softkeyBox(eSOFTKEY_Home).y, whole.width, statusBox().height}, bar);
    isNightDrawn = known.isNight;
    languageDrawn = known.language;
    isStale = false;
}

const Picture& Screen::draw(const Moment& moment) {
    if (isStale || isNightDrawn != known.isNight || languageDrawn != known.language) drawBackdrop();
    std::copy(backdrop.pixels.begin(), backdrop.pixels.end(), drawn.pixels.begin());
    Canvas canvas(drawn, scale);
    if (isBlocked()) {
        drawBlock(canvas);
    } else {
        app().draw(canvas, appBox(), moment);
    }
    drawStatus(canvas, moment);
    drawSoftkeys(canvas);
    ++drawCount;
    return drawn;
}

void Screen::drawSoftkeys(Canvas& canvas) const {
    const char* const labels[] = {inLanguage(known, "Home", "Start", "Accueil"),
                                  inLanguage(known, "Back", "Zurück", "Retour"),
                                  inLanguage(known, "Menu", "Menü", "Menu"),
                                  inLanguage(known, "Search", "Suche", "Chercher")};
    for (int key = eSOFTKEY_Home; key <= eSOFTKEY_Search; ++key) {
        const Box box = softkeyBox(key);
        if (key == pressed) canvas.fill(box, {0xFFFFFF, 0.35});
        canvas.text(box, labels[key - eSOFTKEY_Home],
                    {box.height * 0.5, white, Weight::Normal, Align::Centre});
    }
}

void Screen::drawBlock(Canvas& canvas) const {
    const Box box = appBox();
    const double size = std::min(box.width * 0.045, box.height * 0.09);
    canvas.fill(box, {0x10151F, 1});
    canvas.fillCircle(box.centreX(), box.centreY() - size * 2.2, size * 1.5, {0xE0525F, 1});
    canvas.fillRounded({box.centreX() - size, box.centreY() - size * 2.45, size * 2, size * 0.5},
                       size * 0.1, white);
    canvas.text({box.x, box.centreY(), box.width, size * 1.6},
                inLanguage(known, "Not available now", "Jetzt nicht verfügbar",
                           "Pas disponible maintenant"),
                {size, white, Weight::Bold, Align::Centre});
}

void Screen::drawStatus(Canvas& canvas, const Moment& moment) const {
    const Box bar = statusBox();
    const double unit = bar.height;
    const double size = unit * 0.52;
    const Box content{bar.x + unit * 0.6, bar.y, bar.width - unit * 1.2, bar.height};
    canvas.text({content.x, bar.y, unit * 4, unit}, clockText(moment), {size, white, Weight::Bold});
    // A battery that runs down one percent in 36 minutes, and a signal that wanders.
    const int percent = 86 - static_cast<int>(moment.milliseconds % 86400000 / 2160000);
    const int bars = 3 + static_cast<int>(moment.milliseconds / 7000 % 2);
    const Box battery{content.right() - unit * 1.05, bar.y + unit * 0.28, unit * 1.05, unit * 0.46};
    drawBattery(canvas, battery, percent / 100.0);
    canvas.text({battery.x - unit * 2.2, bar.y, unit * 2.0, unit}, std::to_string(percent) + "%",
                {size * 0.9, white, Weight::Normal, Align::Right});
    const Box signal{battery.x - unit * 3.1, bar.y + unit * 0.26, unit * 0.85, unit * 0.48};
    drawSignal(canvas, signal, bars);
    canvas.text({signal.x - unit * 1.7, bar.y, unit * 1.5, unit}, "LTE",
                {size * 0.8, dim, Weight::Bold, Align::Right});
    const double half =
        std::min(bar.centreX() - content.x - unit * 4, signal.x - unit * 1.7 - bar.centreX());
    canvas.text({bar.centreX() - half, bar.y, 2 * half, unit},
                (known.isMoving ? "▶ " : "") + app().title(),
                {size, dim, Weight::Normal, Align::Centre});
}

}  // namespace quarlo::phone
