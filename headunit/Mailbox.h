/*
 * What the library's threads tell the main thread: a lock guards it, an event wakes the reader. Few
 * updates wait at a time, so that a phone that sends unasked does not fill the memory: then the
 * receiver thread waits.
 */
#ifndef HEADUNIT_MAILBOX_H
#define HEADUNIT_MAILBOX_H

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>

#include "MirroredScreen.h"
#include "Script.h"
#include "Values.h"
#include "common/Descriptor.h"
#include "quarlo-links.h"

namespace quarlo::headunit {

/** What a session does now; see quarloSessionInfo. */
struct StateNews {
    quarloSessionState state;
    std::string reason;
    UInt32 remaining;
};

/** Where a change of frames stands, and what they look like. */
struct FrameNews {
    quarloChangePhase phase;
    quarloChangeResult result;
    Frame frame;
};

struct News {
    std::deque<Update> updates;
    std::deque<FrameNews> changes;
    std::deque<Event> events;
    std::deque<StateNews> states;
    std::string failure;  ///< no session can be had; empty while all is well
};

class Mailbox {
  public:
    /** @param wake is called with news, on any thread; it must not call the mailbox */
    explicit Mailbox(std::function<void()> wake = {});

    void tell(StateNews what);
    void tell(FrameNews what);
    void failed(const std::string& why);
    void post(Update update);
    /** Of many that are not taken the latest are kept. */
    void happened(Event what);

    /** Ends a wait; without news, too. */
    void signal();

    /** Lets a waiting post() go; later ones do not wait. */
    void close();

    /**
     * Waits until there is news, the time is over or the other descriptor is readable.
     * @param milliseconds negative for no limit
     */
    void wait(int milliseconds, int otherDescriptor);
    News take();

  private:
    const std::function<void()> wake;
    const Descriptor event;
    std::mutex lock;  // guards all that follows
    std::condition_variable room;
    News news;
    bool isClosed = false;
};

}  // namespace quarlo::headunit

#endif
