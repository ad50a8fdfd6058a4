// Compares in tiles, joins neighbouring tiles to boxes, and trims the boxes to their differing
// pixels.
#include "Changes.h"

#include <limits>

namespace quarlo::phone {
namespace {

constexpr int tileSize = 16;

bool differs(const Picture& before, const Picture& now, const Area& area) {
    for (int y = area.y; y < area.bottom(); ++y) {
        const std::uint32_t* old = before.row(y) + area.x;
        if (!std::equal(old, old + area.width, now.row(y) + area.x)) return true;
    }
    return false;
}

bool touch(const Area& a, const Area& b) {
    return a.x <= b.right() && b.x <= a.right() && a.y <= b.bottom() && b.y <= a.bottom();
}

/// Takes a box in, together with all it touches; joining may make it touch further ones.
void join(std::vector<Area>& boxes, Area box) {
    for (std::size_t i = 0; i < boxes.size();) {
        if (touch(boxes[i], box)) {
            box = bounds(boxes[i], box);
            boxes[i] = boxes.back();
            boxes.pop_back();
            i = 0;
        } else {
            ++i;
        }
    }
    boxes.push_back(box);
}

/// The differing tiles of one row of tiles, neighbours as one box.
void joinTileRow(const Picture& before, const Picture& now, const Area& row,
                 std::vector<Area>& boxes) {
    Area run;
    for (int x = row.x; x < row.right(); x += tileSize) {
        const Area tile = areaOf(x, row.y, std::min(x + tileSize, row.right()), row.bottom());
        if (differs(before, now, tile)) {
            run = bounds(run, tile);
        } else if (!run.empty()) {
            join(boxes, run);
            run = {};
        }
    }
    if (!run.empty()) join(boxes, run);
}

Area trimmed(const Picture& before, const Picture& now, Area box) {
    const auto same = [&](const Area& strip) { return !differs(before, now, strip); };
    while (!box.empty() && same({box.x, box.y, box.width, 1})) ++box.y, --box.height;
    while (!box.empty() && same({box.x, box.bottom() - 1, box.width, 1})) --box.height;
    while (!box.empty() && same({box.x, box.y, 1, box.height})) ++box.x, --box.width;
    while (!box.empty() && same({box.right() - 1, box.y, 1, box.height})) --box.width;
    return box;
}

long long pixelsOf(const Area& area) {
    return static_cast<long long>(area.width) * area.height;
}

/// Replaces the two boxes whose union wastes the fewest pixels by that union.
void joinCheapestPair(std::vector<Area>& boxes) {
    std::size_t first = 0;
    std::size_t second = 1;
    long long cheapest = std::numeric_limits<long long>::max();
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        for (std::size_t j = i + 1; j < boxes.size(); ++j) {
            const long long waste =
                pixelsOf(bounds(boxes[i], boxes[j])) - pixelsOf(boxes[i]) - pixelsOf(boxes[j]);
            if (waste >= cheapest) continue;
            cheapest = waste;
            first = i;
            second = j;
        }
    }
    const Area both = bounds(boxes[first], boxes[second]);
    boxes.erase(boxes.begin() + static_cast<std::ptrdiff_t>(second));
    boxes.erase(boxes.begin() + static_cast<std::ptrdiff_t>(first));
    join(boxes, both);
}

}  // namespace

std::vector<Area> changedAreas(const Picture& before, const Picture& now, const Area& within,
                               std::size_t limit) {
    const Area region = intersection(within, now.area());
    std::vector<Area> boxes;
    for (int y = region.y; y < region.bottom(); y += tileSize) {
        const int bottom = std::min(y + tileSize, region.bottom());
        joinTileRow(before, now, areaOf(region.x, y, region.right(), bottom), boxes);
    }
    for (Area& box : boxes) box = trimmed(before, now, box);
    while (boxes.size() > std::max<std::size_t>(limit, 1)) joinCheapestPair(boxes);
    std::sort(boxes.begin(), boxes.end(),
              [](const Area& a, const Area& b) { return a.y != b.y ? a.y < b.y : a.x < b.x; });
    return boxes;
}

}  // namespace quarlo::phone
