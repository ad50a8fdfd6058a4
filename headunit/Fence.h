/*
 * Tells when nothing is under way any more that the phone sent before a certain moment. Requests
 * for frames cannot be counted: a phone answers several with one update, one with several, and none
 * while its screen stands still. But it keeps the order: once it has acknowledged something sent
 * last, all before it has arrived. Whoever holds it tells it the time, in seconds.
 */
#ifndef HEADUNIT_FENCE_H
#define HEADUNIT_FENCE_H

#include <optional>

namespace quarlo::headunit {

class Fence {
  public:
    enum class Line { Busy, Quiet, Overdue };

    /** Something was sent that the phone acknowledges. */
    void sent() { ++sentCount; }
    /** One that comes after it was given up counts for nothing. */
    void acknowledged() {
        if (acknowledgedCount < sentCount) ++acknowledgedCount;
    }

    bool isUp() const { return begin.has_value(); }
    /** What was sent last is what is waited for. */
    void raise(double now) { begin = now; }
    void lower() { begin.reset(); }
    /** A new connection. */
    void forget() {
        lower();
        sentCount = acknowledgedCount = 0;
    }

    /** To be asked while it is up, until it is not Busy. */
    Line look(double now) {
        if (acknowledgedCount >= sentCount) return Line::Quiet;
        if (now - *begin < patience) return Line::Busy;
        // Of a phone that does not answer no answer is owed to the next.
        acknowledgedCount = sentCount;
        return Line::Overdue;
    }

  private:
    static constexpr double patience = 3;
    unsigned sentCount = 0;
    unsigned acknowledgedCount = 0;
    std::optional<double> begin;
};

}  // namespace quarlo::headunit

#endif
