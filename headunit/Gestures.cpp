#include "Gestures.h"

#include <algorithm>

namespace quarlo::headunit {
namespace {

constexpr unsigned sampleMilliseconds = 20;
constexpr unsigned tapMilliseconds = 60;

TouchEvent touchAt(TouchType type, Point at, UInt32 finger) {
    const auto cut = [](int value) { return static_cast<UInt16>(std::clamp(value, 0, 65535)); };
    return {type, cut(at.x), cut(at.y), finger};
}

Act::Call sample(unsigned afterMilliseconds, std::vector<TouchEvent> touches) {
    return {afterMilliseconds,
            [touches = std::move(touches)](HeadUnit& unit) { return unit.touch(touches); }};
}

int between(int from, int to, unsigned part, unsigned parts) {
    return from + static_cast<int>(static_cast<long long>(to - from) * part / parts);
}

// Down, evenly spaced moves and up: touchesAt(type, part, parts) gives the fingers of a sample.
template <typename TouchesAt>
Act glide(unsigned milliseconds, const TouchesAt& touchesAt) {
    const unsigned parts = std::max(1U, milliseconds / sampleMilliseconds);
    Act act;
    act.calls.push_back(sample(0, touchesAt(eTOUCHTYPE_Down, 0U, parts)));
    for (unsigned part = 1; part <= parts; ++part) {
        const unsigned pause = milliseconds * part / parts - milliseconds * (part - 1) / parts;
        act.calls.push_back(sample(pause, touchesAt(eTOUCHTYPE_Moved, part, parts)));
    }
    act.calls.push_back(sample(0, touchesAt(eTOUCHTYPE_Up, parts, parts)));
    return act;
}

}  // namespace

Act touchOnce(TouchType type, Point at, UInt32 finger) {
    return {{sample(0, {touchAt(type, at, finger)})}};
}

Act tap(Point at) {
    return {{sample(0, {touchAt(eTOUCHTYPE_Down, at, 1)}),
             sample(tapMilliseconds, {touchAt(eTOUCHTYPE_Up, at, 1)})}};
}

Act swipe(Point from, Point to, unsigned milliseconds) {
    return glide(milliseconds, [=](TouchType type, unsigned part, unsigned parts) {
        const Point at{between(from.x, to.x, part, parts), between(from.y, to.y, part, parts)};
        return std::vector<TouchEvent>{touchAt(type, at, 1)};
    });
}

Act pinch(Point middle, int from, int to, unsigned milliseconds) {
    return glide(milliseconds, [=](TouchType type, unsigned part, unsigned parts) {
        const int half = between(from, to, part, parts) / 2;
        return std::vector<TouchEvent>{touchAt(type, {middle.x - half, middle.y}, 1),
                                       touchAt(type, {middle.x + half, middle.y}, 2)};
    });
}

}  // namespace quarlo::headunit
