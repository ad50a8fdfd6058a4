#include "Retry.h"

#include <algorithm>

namespace quarlo::headunit {
namespace {

// As those of a quarloSession.
constexpr double firstPause = 0.5;
constexpr double longestPause = 10;

}  // namespace

bool Retry::failed(double now) {
    if (!limit) return false;
    pause = tryingSince ? std::min(2 * pause, longestPause) : firstPause;
    if (!tryingSince) tryingSince = now;
    due = now + pause;
    if (*limit == 0) return true;
    const double end = *tryingSince + *limit;
    due = std::min(due, end);
    return now < end;
}

double Retry::secondsLeft(double now) const {
    return std::max(0.0, due - now);
}

}  // namespace quarlo::headunit
