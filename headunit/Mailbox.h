/*
 * What the library's threads tell the main thread: a lock guards it, an event wakes the reader. Few
 * updates wait at a time, so that a phone that sends unasked does not fill the memory: then the
 * receiver thread waits.
 */
#ifndef HEADUNIT_MAILBOX_H
#define HEADUNIT_MAILBOX_H

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>

#include "MirroredScreen.h"
#include "common/Descriptor.h"

namespace quarlo::headunit {

/** A callback as it was made: its name and what it said. */
struct Event {
    std::string callback;
    std::string text;

    friend bool operator==(const Event&, const Event&) = default;
};

struct News {
    bool isRunning = false;
    std::deque<Update> updates;
    std::deque<Event> events;
    unsigned acknowledgements = 0;
    std::string failure;  ///< the first; empty while all is well
};

class Mailbox {
  public:
    Mailbox();

    void running();
    void failed(const std::string& why);
    void post(Update update);
    void acknowledged();
    /** Of many that are not taken the latest are kept. */
    void happened(Event what);

    /** Ends a wait without news. */
    void wake() { signal(); }

    /** Lets a waiting post() go; later ones do not wait. */
    void close();
    /** For the next connection: forgets that there was a RUN and a failure. */
    void reopen();

    /**
     * Waits until there is news, the time is over or the other descriptor is readable.
     * @param milliseconds negative for no limit
     */
    void wait(int milliseconds, int otherDescriptor);
    News take();

  private:
    void signal();

    const Descriptor event;
    std::mutex lock;  // guards all that follows
    std::condition_variable room;
    News news;
    bool isClosed = false;
};

}  // namespace quarlo::headunit

#endif
