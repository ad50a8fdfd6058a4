/**
 * @file
 * Wakes the one thread that waits for it. Rung from any thread and from signal handlers.
 */
#ifndef PHONE_BELL_H
#define PHONE_BELL_H

#include "Feature.h"
#include "common/Descriptor.h"

namespace quarlo::phone {

class Bell {
  public:
    /** Throws std::runtime_error when the system has no more descriptors. */
    Bell();
    void ring() const;
    /** Returns at this time, or at once when the bell was rung since it returned last. */
    void wait(TimePoint until) const;
    /** Readable while the bell rings. */
    int descriptor() const { return event.get(); }

  private:
    Descriptor event;
};

}  // namespace quarlo::phone

#endif
