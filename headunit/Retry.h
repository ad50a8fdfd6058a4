/*
 * When to try again after a phone was not there or went away: pauses that double from half a second
 * to ten. Whoever holds it tells it the time, in seconds, so that it never waits itself.
 */
#ifndef HEADUNIT_RETRY_H
#define HEADUNIT_RETRY_H

#include <optional>

namespace quarlo::headunit {

class Retry {
  public:
    /** @param giveUpAfter seconds since RUN was left, 0 for never; nothing: does not try again */
    explicit Retry(std::optional<double> giveUpAfter) : limit(giveUpAfter) {}

    /** An attempt failed, or a connection was lost. @return whether to try again */
    bool failed(double now);
    /** RUN was reached: what fails from now on begins with the shortest pause. */
    void succeeded() { tryingSince.reset(); }
    /** Until the next attempt; 0 when it is due. */
    double secondsLeft(double now) const;

  private:
    const std::optional<double> limit;
    std::optional<double> tryingSince;
    double pause = 0;
    double due = 0;
};

}  // namespace quarlo::headunit

#endif
