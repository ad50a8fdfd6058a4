#include "MirrorWindow.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "common/PngWriter.h"

namespace quarlo::headunit {
namespace {

using display::FingerEvent;
using display::Rect;

constexpr auto settlingTime = std::chrono::milliseconds(200);
constexpr auto measuringTime = std::chrono::milliseconds(500);
constexpr int smallestFrame = 64;
constexpr int smallestWidth = Panel::width + 320;
constexpr int smallestHeight = 320;

std::optional<Softkey> softkeyOf(SDL_Keycode key) {
    switch (key) {
        case SDLK_HOME:
            return eSOFTKEY_Home;
        case SDLK_ESCAPE:
            return eSOFTKEY_Back;
        case SDLK_m:
            return eSOFTKEY_Menu;
        case SDLK_f:
            return eSOFTKEY_Search;
        default:
            return {};
    }
}

BlockMode after(BlockMode mode) {
    if (mode == eBLOCKMODE_AllowAll) return eBLOCKMODE_UseWhitelist;
    return mode == eBLOCKMODE_UseWhitelist ? eBLOCKMODE_DenyAll : eBLOCKMODE_AllowAll;
}

double perSecond(double now, double before, double seconds) {
    return now < before || seconds <= 0 ? 0 : (now - before) / seconds;
}

}  // namespace

std::unique_ptr<MirrorWindow> MirrorWindow::open(const Options& options, Log& log, Board& board,
                                                 std::string& problem) {
    auto opened = display::SdlWindow::open(options.name, options.size.width + Panel::width,
                                           std::max(options.size.height, smallestHeight), problem);
    if (opened == nullptr) return nullptr;
    SDL_SetWindowMinimumSize(opened->handle(), smallestWidth, smallestHeight);
    return std::unique_ptr<MirrorWindow>(new MirrorWindow(options, log, board, std::move(opened)));
}

MirrorWindow::MirrorWindow(const Options& given, Log& output, Board& shared,
                           std::unique_ptr<display::SdlWindow> opened)
    : options(given), log(output), board(shared), window(std::move(opened)) {
    content.headUnit = options.name;
    content.endpoint = options.endpoint.text();
    content.writesShots = !options.windowScreenshot.empty();
    place();
}

void MirrorWindow::wake() {
    SDL_Event event{};
    event.type = SDL_USEREVENT;
    SDL_PushEvent(&event);
}

Size MirrorWindow::largest() const {
    const display::Point most = window->largest();
    const auto extent = [](double pixels) {
        return static_cast<int>(std::clamp(pixels, 1.0, double{maximumExtent}));
    };
    return {extent(most.x), extent(most.y)};
}

bool MirrorWindow::turn(int milliseconds) {
    SDL_Event event;
    if (SDL_WaitEventTimeout(&event, milliseconds) != 0) {
        do {
            handle(event);
        } while (SDL_PollEvent(&event) != 0);
    }
    refresh();
    sendTouches();
    if (isResizing && Clock::now() >= resizedAt + settlingTime) resizeFrame();
    measure();
    if (isDirty) draw();
    return !isClosed;
}

void MirrorWindow::handle(const SDL_Event& event) {
    if (window->feed(event, fingers)) return;
    switch (event.type) {
        case SDL_QUIT:
            isClosed = true;
            break;
        case SDL_KEYDOWN:
        case SDL_KEYUP:
            onKey(event.key);
            break;
        case SDL_WINDOWEVENT:
            renew();
            place();
            if (event.window.event != SDL_WINDOWEVENT_RESIZED) break;
            isResizing = true;
            resizedAt = Clock::now();
            break;
        default:
            break;
    }
}

void MirrorWindow::onKey(const SDL_KeyboardEvent& event) {
    const bool isDown = event.type == SDL_KEYDOWN;
    if (event.repeat != 0) return;
    if (const auto key = softkeyOf(event.keysym.sym)) {
        const SoftkeyEventType type = isDown ? eSOFTKEYEVENTTYPE_Press : eSOFTKEYEVENTTYPE_Release;
        if (HeadUnit* unit = board.driven()) unit->key(*key, type);
    } else if (isDown) {
        onMode(event.keysym.sym);
    }
}

void MirrorWindow::onMode(SDL_Keycode key) {
    const Modes before = content.modes;
    if (key == SDLK_n) content.modes.isNight = !before.isNight;
    if (key == SDLK_v) content.modes.isMoving = !before.isMoving;
    if (key == SDLK_b) content.modes.block = after(before.block);
    if (key == SDLK_q) isClosed = true;
    if (key == SDLK_p) isDirty = wantsShot = content.writesShots;
    if (content.modes == before) return;
    renew();
    tellModes(before);
}

// @param known what the phone has been told; without it everything
void MirrorWindow::tellModes(const std::optional<Modes>& known) {
    HeadUnit* unit = board.driven();
    if (unit == nullptr) return;
    const Modes& now = content.modes;
    if (!known || known->isNight != now.isNight) unit->night(now.isNight);
    if (!known || known->isMoving != now.isMoving) unit->moving(now.isMoving);
    if (!known || known->block != now.block) unit->block(now.block);
}

void MirrorWindow::sendTouches() {
    std::vector<FingerEvent> events = fingers.take();
    if (events.empty() || touch(events)) return;
    std::erase_if(events, [](const FingerEvent& event) { return event.type != eTOUCHTYPE_Up; });
    owed = std::move(events);
}

bool MirrorWindow::touch(const std::vector<FingerEvent>& events) {
    HeadUnit* unit = board.driven();
    if (unit == nullptr) return false;
    const Size frame = board.status().frame;
    std::vector<TouchEvent> touches;
    touches.reserve(events.size());
    for (const FingerEvent& event : events) {
        touches.push_back(
            {event.type, static_cast<UInt16>(display::pixelAt(event.at.x, frame.width)),
             static_cast<UInt16>(display::pixelAt(event.at.y, frame.height)), event.finger});
    }
    unit->touch(touches);
    return true;
}

void MirrorWindow::resizeFrame() {
    isResizing = false;
    const Size size = frameOf(room());
    if (size == wanted.value_or(options.size)) return;
    wanted = size;
    resize(size);
}

void MirrorWindow::resize(Size size) {
    HeadUnit* unit = board.driven();
    if (unit != nullptr && size != board.status().frame) unit->change(SetSize{size});
}

// What a session that has just begun cannot know.
void MirrorWindow::greet() {
    greeted = content.status.sessions;
    if (wanted) resize(*wanted);
    tellModes({});
    if (!owed.empty()) touch(std::exchange(owed, {}));
    fingers.liftAll();
}

void MirrorWindow::refresh() {
    const bool wasRunning = content.status.isRunning;
    content.status = board.status();
    if (content.status.isRunning && greeted != content.status.sessions) greet();
    if (wasRunning != content.status.isRunning) renew();
    const std::optional<Picture> picture = board.takePicture();
    if (!picture) return;
    screen.load(window->graphics(), *picture);
    isDirty = true;
    place();
}

void MirrorWindow::measure() {
    const Clock::time_point now = Clock::now();
    if (now - measuredAt < measuringTime) return;
    const double seconds = std::chrono::duration<double>(now - measuredAt).count();
    const Status& status = content.status;
    content.rates = {
        perSecond(status.updates, measured.updates, seconds),
        perSecond(static_cast<double>(status.received), static_cast<double>(measured.received),
                  seconds),
        perSecond(static_cast<double>(status.sent), static_cast<double>(measured.sent), seconds)};
    measured = status;
    measuredAt = now;
    renew();
}

Rect MirrorWindow::room() const {
    Rect area = window->area();
    area.width = std::max(1.0, area.width - std::round(Panel::width * window->scale()));
    return area;
}

Rect MirrorWindow::pictureArea() const {
    return display::fit(screen.width(), screen.height(), room());
}

Size MirrorWindow::frameOf(const Rect& where) const {
    const Size most = largest();
    const auto extent = [](double pixels, int limit) {
        return std::clamp(static_cast<int>(pixels), smallestFrame, std::max(smallestFrame, limit));
    };
    return {extent(where.width, most.width), extent(where.height, most.height)};
}

void MirrorWindow::place() {
    fingers.place(window->area(), pictureArea());
}

void MirrorWindow::renew() {
    isDirty = isPanelDirty = true;
}

void MirrorWindow::draw() {
    isDirty = false;
    window->clear(0, 0, 0);
    if (screen.isLoaded()) {
        // A picture that nobody renews looks like it.
        const Uint8 light = content.status.isRunning ? 255 : 90;
        SDL_SetTextureColorMod(screen.get(), light, light, light);
        window->draw(screen, pictureArea());
    }
    const Rect left = room();
    const Rect whole = window->area();
    drawPanel({left.width, 0, whole.width - left.width, whole.height});
    if (wantsShot) writeShot();
    window->present();
}

void MirrorWindow::drawPanel(const Rect& where) {
    if (where.width < 1 || where.height < 1) return;
    // Text is much slower than a picture of the phone: it is drawn when it changes.
    if (std::exchange(isPanelDirty, false)) {
        side.load(window->graphics(), panel.draw(content, static_cast<int>(where.width),
                                                 static_cast<int>(where.height), window->scale()));
    }
    window->draw(side, where);
}

void MirrorWindow::writeShot() {
    wantsShot = false;
    const std::string problem = writePng(window->shot(), options.windowScreenshot, Effort::Small);
    log.line("WIND", problem.empty() ? "written to " + options.windowScreenshot
                                     : "cannot write " + problem);
}

}  // namespace quarlo::headunit
