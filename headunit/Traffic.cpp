#include "Traffic.h"

namespace quarlo::headunit {
namespace {

constexpr double quietAfterAnswers = 0.1;
// A request for changes of a screen that stands still is not answered at all.
constexpr double quietWithoutAnswer = 0.5;
constexpr double patience = 3;

}  // namespace

Traffic::Line Traffic::look(double now, UInt64 received, bool isDrawing) {
    if (!begin || isDrawing || received != lastReceived) quietSince = now;
    if (!begin) begin = now;
    lastReceived = received;
    const double needed = unanswered == 0 ? quietAfterAnswers : quietWithoutAnswer;
    if (now - quietSince >= needed) return Line::Quiet;
    return now - *begin >= patience ? Line::Overdue : Line::Busy;
}

}  // namespace quarlo::headunit
