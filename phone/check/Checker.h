/**
 * @file
 * A check from the first connection to the verdicts: one session, then connections that are
 * refused. Knows streams and the time that it is told, nothing else. One thread.
 */
#ifndef PHONE_CHECK_CHECKER_H
#define PHONE_CHECK_CHECKER_H

#include <memory>

#include "Conversation.h"

namespace quarlo::phone {

class Checker {
  public:
    Checker(const Log& log, TimePoint now);

    /** Nobody is connected, and somebody may come. */
    bool isFree() const { return conversation == nullptr; }
    /** The next connection; the stream is used until `isFree`. */
    void connect(Stream& stream);
    /** One round. False when the check is over. */
    bool step(TimePoint now);
    /** When `step` has something to do if nothing happens until then. */
    TimePoint nextWake() const;

    /** Whether a head unit came and completed the handshake of its first connection. */
    bool hasRun() const { return wasRunning; }
    Verdicts verdicts() const { return judge.verdicts(); }

  private:
    const Log& output;
    Judge judge;
    std::unique_ptr<Conversation> conversation;
    int connections = 0;
    bool wasRunning = false;
    TimePoint lastStep;
    /** The check's own time, which stands still while it is not given the processor: that is not
     * held against the head unit. */
    TimePoint clock;
    TimePoint idleEnd = TimePoint::max();
};

}  // namespace quarlo::phone

#endif
