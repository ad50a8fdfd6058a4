#include "Fingers.h"

#include <algorithm>
#include <utility>

namespace quarlo::display {

Rect fit(double pictureWidth, double pictureHeight, const Rect& room) {
    if (pictureWidth <= 0 || pictureHeight <= 0) return {room.x, room.y, 0, 0};
    const double scale = std::min(room.width / pictureWidth, room.height / pictureHeight);
    const double width = pictureWidth * scale;
    const double height = pictureHeight * scale;
    return {room.x + (room.width - width) / 2, room.y + (room.height - height) / 2, width, height};
}

int pixelAt(double part, int extent) {
    if (extent <= 0) return 0;
    const double pixel = std::clamp(part, 0.0, 1.0) * extent;
    return std::min(static_cast<int>(pixel), extent - 1);
}

void Fingers::place(const Rect& windowArea, const Rect& pictureArea) {
    window = windowArea;
    picture = pictureArea;
}

Spot Fingers::spotOf(Point at) const {
    if (picture.width <= 0 || picture.height <= 0) return {};
    return {std::clamp((at.x - picture.x) / picture.width, 0.0, 1.0),
            std::clamp((at.y - picture.y) / picture.height, 0.0, 1.0)};
}

UInt32 Fingers::freeNumber() const {
    UInt32 number = 1;
    const auto isHeld = [&](const auto& finger) { return finger.second.number == number; };
    while (std::any_of(held.begin(), held.end(), isHeld)) ++number;
    return number;
}

void Fingers::happened(TouchType type, const Held& finger) {
    const bool isMove = type == eTOUCHTYPE_Moved;
    for (auto last = events.rbegin(); isMove && last != events.rend(); ++last) {
        if (last->type != eTOUCHTYPE_Moved) break;
        if (last->finger != finger.number) continue;
        last->at = finger.at;
        return;
    }
    events.push_back({type, finger.at, finger.number});
}

void Fingers::down(Source source, Point at) {
    if (!picture.holds(at) || held.size() == most || held.contains(source)) return;
    const Held finger{freeNumber(), spotOf(at)};
    happened(eTOUCHTYPE_Down, held[source] = finger);
}

void Fingers::move(Source source, Point at) {
    const auto found = held.find(source);
    if (found == held.end()) return;
    found->second.at = spotOf(at);
    if (!window.holds(at)) return lift(source);
    happened(eTOUCHTYPE_Moved, found->second);
}

void Fingers::up(Source source, Point at) {
    const auto found = held.find(source);
    if (found == held.end()) return;
    found->second.at = spotOf(at);
    lift(source);
}

void Fingers::lift(Source source) {
    const auto found = held.find(source);
    if (found == held.end()) return;
    happened(eTOUCHTYPE_Up, found->second);
    held.erase(found);
}

void Fingers::liftAll() {
    for (const auto& [source, finger] : std::exchange(held, {})) happened(eTOUCHTYPE_Up, finger);
}

std::vector<FingerEvent> Fingers::take() {
    return std::exchange(events, {});
}

}  // namespace quarlo::display
