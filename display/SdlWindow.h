/*
 * A window of SDL: pictures as textures, its pixels beside its own coordinates, and what the user
 * does with mouse and fingers as fingers. Everything on the thread that opened it.
 */
#ifndef DISPLAY_SDLWINDOW_H
#define DISPLAY_SDLWINDOW_H

#include <SDL.h>

#include <memory>
#include <string>

#include "Fingers.h"
#include "common/Picture.h"

namespace quarlo::display {

/** A picture on the graphics side; it follows the size of what it is given. */
class Texture {
  public:
    void load(SDL_Renderer* renderer, const Picture& picture);
    bool isLoaded() const { return texture != nullptr; }
    int width() const { return size.width; }
    int height() const { return size.height; }
    SDL_Texture* get() const { return texture.get(); }

  private:
    Size size;
    std::unique_ptr<SDL_Texture, decltype(&SDL_DestroyTexture)> texture{nullptr,
                                                                        SDL_DestroyTexture};
};

class SdlWindow {
  public:
    /**
     * Sizes are in the window's own coordinates; it is not made larger than the desktop.
     * @return nothing and why
     */
    static std::unique_ptr<SdlWindow> open(const std::string& title, int width, int height,
                                           std::string& problem);
    ~SdlWindow();
    SdlWindow(const SdlWindow&) = delete;
    SdlWindow& operator=(const SdlWindow&) = delete;

    /** The whole window in its pixels, of which there are scale() to a coordinate. */
    Rect area() const;
    double scale() const;
    /** The pixels of the largest display. */
    Point largest() const;
    /** A mouse position in pixels. */
    Point pointOf(Sint32 x, Sint32 y) const { return {x * scale(), y * scale()}; }

    /** Lets the fingers know of the event. @return whether it was about them */
    bool feed(const SDL_Event& event, Fingers& fingers) const;

    void clear(Uint8 red, Uint8 green, Uint8 blue);
    void draw(const Texture& texture, const Rect& where);
    void present() { SDL_RenderPresent(renderer.get()); }
    /** What was drawn; to be called before present(). */
    Picture shot() const;
    SDL_Renderer* graphics() const { return renderer.get(); }
    SDL_Window* handle() const { return window.get(); }

  private:
    SdlWindow(SDL_Window* opened, SDL_Renderer* drawer)
        : window(opened, SDL_DestroyWindow), renderer(drawer, SDL_DestroyRenderer) {}
    bool isOwn(Uint32 identifier) const { return identifier == SDL_GetWindowID(window.get()); }

    std::unique_ptr<SDL_Window, decltype(&SDL_DestroyWindow)> window;
    std::unique_ptr<SDL_Renderer, decltype(&SDL_DestroyRenderer)> renderer;
};

}  // namespace quarlo::display

#endif
