/*
 * Tells when none of the requested updates is under way any more. A phone may answer several
 * requests with one update, or one request with several, so a line that is quiet counts more than
 * numbers. Whoever holds it tells it the time, in seconds.
 */
#ifndef HEADUNIT_TRAFFIC_H
#define HEADUNIT_TRAFFIC_H

#include <optional>

#include "Picture.h"

namespace quarlo::headunit {

class Traffic {
  public:
    enum class Line { Busy, Quiet, Overdue };

    void requested() { ++unanswered; }
    void answered() {
        if (unanswered > 0) --unanswered;
    }
    /** A new connection, or a new start after a wait. */
    void forget() {
        unanswered = 0;
        begin.reset();
    }

    /**
     * Whether all has arrived; to be called until it is not Busy, without requests between.
     * @param received bytes so far; while they grow, something is under way
     * @param isDrawing an update has begun and not ended
     */
    Line look(double now, UInt64 received, bool isDrawing);

  private:
    unsigned unanswered = 0;
    std::optional<double> begin;
    double quietSince = 0;
    UInt64 lastReceived = 0;
};

}  // namespace quarlo::headunit

#endif
