#include "MirroredScreen.h"

#include <utility>

#include "common/Log.h"

namespace quarlo::headunit {

MirroredScreen::MirroredScreen(Size size, PixelLayout pixelLayout, unsigned eachOf)
    : picture(size), layout(pixelLayout), every(eachOf) {}

void MirroredScreen::reshape(Size size, PixelLayout pixelLayout) {
    const std::lock_guard guard(lock);
    layout = pixelLayout;
    if (size != picture.size()) picture = Picture(size);
}

void MirroredScreen::begin(unsigned rectangles) {
    const std::lock_guard guard(lock);
    current = {};
    current.announced = rectangles;
}

std::string MirroredScreen::drawDecoded(unsigned index, const Area& area,
                                        std::span<const UInt8> data) {
    const std::lock_guard guard(lock);
    return place(index, area, {{area.width, area.height}, layout, data});
}

std::string MirroredScreen::drawRaw(unsigned index, const RawRectangle& rectangle) {
    const std::lock_guard guard(lock);
    Area area;
    Pixels pixels;
    std::string problem = decoder.decode(rectangle, pixels);
    if (problem.empty() && !enlarge(rectangle, area)) problem = "is to be made smaller";
    if (problem.empty()) return place(index, area, pixels);
    current.bytes += rectangle.data.size();
    return refuse(index, problem);
}

std::string MirroredScreen::place(unsigned index, const Area& area, const Pixels& pixels) {
    current.bytes += pixels.data.size();
    const DrawResult result = draw(picture, area, pixels);
    if (!isDrawn(result)) return refuse(index, describe(result));
    ++current.arrived;
    current.pixels += area.size().count();
    return result == DrawResult::Drawn ? std::string() : describe(result);
}

std::string MirroredScreen::refuse(unsigned index, const std::string& why) {
    ++current.arrived;
    if (current.problem.empty()) current.problem = format("rectangle %u ", index) + why;
    return why;
}

Update MirroredScreen::end() {
    const std::lock_guard guard(lock);
    current.number = ++updates;
    if (current.problem.empty() && current.arrived != current.announced) {
        current.problem = format("%u of %u rectangles arrived", current.arrived, current.announced);
    }
    if (every != 0 && updates % every == 0) current.picture = picture;
    return std::exchange(current, {});
}

Picture MirroredScreen::copy() {
    const std::lock_guard guard(lock);
    return picture;
}

}  // namespace quarlo::headunit
