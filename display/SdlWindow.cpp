#include "SdlWindow.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace quarlo::display {
namespace {

// A pixel of ours, without its opacity.
constexpr Uint32 pixelFormat = SDL_PIXELFORMAT_RGB888;

// Without the first two every touch arrives a second time as the other device. Signals are the
// program's own affair, and a press outside of the window is none.
void setHints() {
    SDL_SetHint(SDL_HINT_TOUCH_MOUSE_EVENTS, "0");
    SDL_SetHint(SDL_HINT_MOUSE_TOUCH_EVENTS, "0");
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetHint(SDL_HINT_MOUSE_AUTO_CAPTURE, "0");
    SDL_SetHint(SDL_HINT_MOUSE_FOCUS_CLICKTHROUGH, "1");
    SDL_SetHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1");
    SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
    SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
}

// SDL would go on to a driver whose windows nobody sees; somebody may want that, or the console.
bool mayHaveDisplay() {
    constexpr const char* names[] = {"SDL_VIDEODRIVER", "DISPLAY", "WAYLAND_DISPLAY"};
    return std::any_of(std::begin(names), std::end(names), [](const char* name) {
        const char* const value = std::getenv(name);
        return value != nullptr && *value != 0;
    });
}

SDL_Window* createWindow(const std::string& title, int width, int height) {
    SDL_Rect usable{0, 0, width, height};
    SDL_GetDisplayUsableBounds(0, &usable);
    return SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                            std::min(width, usable.w), std::min(height, usable.h),
                            SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI);
}

// What comes after these is told to another window, or to nobody.
void liftFor(const SDL_WindowEvent& event, Fingers& fingers) {
    switch (event.event) {
        case SDL_WINDOWEVENT_LEAVE:
            return fingers.lift(mouse);
        case SDL_WINDOWEVENT_FOCUS_LOST:
        case SDL_WINDOWEVENT_HIDDEN:
        case SDL_WINDOWEVENT_MINIMIZED:
        case SDL_WINDOWEVENT_CLOSE:
            return fingers.liftAll();
        default:
            return;
    }
}

}  // namespace

void Texture::load(SDL_Renderer* renderer, const Picture& picture) {
    if (texture == nullptr || picture.size() != size) {
        size = picture.size();
        texture.reset(SDL_CreateTexture(renderer, pixelFormat, SDL_TEXTUREACCESS_STREAMING,
                                        size.width, size.height));
    }
    if (texture == nullptr) return;
    SDL_UpdateTexture(texture.get(), nullptr, picture.pixels.data(), size.width * 4);
}

std::unique_ptr<SdlWindow> SdlWindow::open(const std::string& title, int width, int height,
                                           std::string& problem) {
    setHints();
    if (!mayHaveDisplay()) {
        problem = "no display to open a window on: neither DISPLAY nor WAYLAND_DISPLAY is set";
        return nullptr;
    }
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
        problem = std::string("no display to open a window on: ") + SDL_GetError();
        return nullptr;
    }
    SDL_Window* const window = createWindow(title, width, height);
    SDL_Renderer* const renderer = window == nullptr ? nullptr : SDL_CreateRenderer(window, -1, 0);
    if (renderer == nullptr) {
        problem = std::string("the window cannot be opened: ") + SDL_GetError();
        SDL_DestroyWindow(window);
        SDL_Quit();
        return nullptr;
    }
    return std::unique_ptr<SdlWindow>(new SdlWindow(window, renderer));
}

SdlWindow::~SdlWindow() {
    renderer.reset();
    window.reset();
    SDL_Quit();
}

Rect SdlWindow::area() const {
    int width = 0;
    int height = 0;
    SDL_GetRendererOutputSize(renderer.get(), &width, &height);
    return {0, 0, static_cast<double>(width), static_cast<double>(height)};
}

double SdlWindow::scale() const {
    int width = 0;
    SDL_GetWindowSize(window.get(), &width, nullptr);
    return width <= 0 ? 1 : area().width / width;
}

Point SdlWindow::largest() const {
    Point size{area().width, area().height};
    for (int i = 0; i < SDL_GetNumVideoDisplays(); ++i) {
        SDL_Rect bounds{0, 0, 0, 0};
        if (SDL_GetDisplayBounds(i, &bounds) != 0) continue;
        size = {std::max(size.x, bounds.w * scale()), std::max(size.y, bounds.h * scale())};
    }
    return size;
}

bool SdlWindow::feed(const SDL_Event& event, Fingers& fingers) const {
    const Rect whole = area();
    const SDL_TouchFingerEvent& touch = event.tfinger;
    const Source source{touch.touchId, touch.fingerId};
    const Point at{static_cast<double>(touch.x) * whole.width,
                   static_cast<double>(touch.y) * whole.height};
    switch (event.type) {
        case SDL_FINGERDOWN:
            fingers.down(source, at);
            return true;
        case SDL_FINGERMOTION:
            fingers.move(source, at);
            return true;
        case SDL_FINGERUP:
            fingers.up(source, at);
            return true;
        case SDL_MOUSEBUTTONDOWN:
            if (event.button.button == SDL_BUTTON_LEFT && isOwn(event.button.windowID))
                fingers.down(mouse, pointOf(event.button.x, event.button.y));
            return true;
        case SDL_MOUSEBUTTONUP:
            if (event.button.button == SDL_BUTTON_LEFT)
                fingers.up(mouse, pointOf(event.button.x, event.button.y));
            return true;
        case SDL_MOUSEMOTION:
            fingers.move(mouse, pointOf(event.motion.x, event.motion.y));
            return true;
        case SDL_WINDOWEVENT:
            liftFor(event.window, fingers);
            return false;
        default:
            return false;
    }
}

void SdlWindow::clear(Uint8 red, Uint8 green, Uint8 blue) {
    SDL_SetRenderDrawColor(renderer.get(), red, green, blue, 255);
    SDL_RenderClear(renderer.get());
}

void SdlWindow::draw(const Texture& texture, const Rect& where) {
    if (!texture.isLoaded()) return;
    const SDL_FRect target{static_cast<float>(where.x), static_cast<float>(where.y),
                           static_cast<float>(where.width), static_cast<float>(where.height)};
    SDL_RenderCopyF(renderer.get(), texture.get(), nullptr, &target);
}

Picture SdlWindow::shot() const {
    Size size;
    SDL_GetRendererOutputSize(renderer.get(), &size.width, &size.height);
    Picture taken(size);
    SDL_RenderReadPixels(renderer.get(), nullptr, pixelFormat, taken.pixels.data(),
                         taken.width * 4);
    return taken;
}

}  // namespace quarlo::display
