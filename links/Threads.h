// Which threads must not wait for a session: those that it waits for itself.
#pragma once

#include <pthread.h>

namespace quarlo::links {

/** While it lives, the thread counts as one of the library or of a session. */
class LibraryThread {
  public:
    LibraryThread() { ++depth; }
    ~LibraryThread() { --depth; }
    LibraryThread(const LibraryThread&) = delete;
    LibraryThread& operator=(const LibraryThread&) = delete;

    /** From here on this thread counts as one for good. Allocates nothing. */
    static void mark() { depth |= forGood; }
    /** Whether the calling thread is one, also if it never came by here. */
    static bool isThis();

  private:
    static constexpr unsigned forGood = 1U << 31;
    // In the static block of thread storage: the other kind is allocated when it is first used.
    [[gnu::tls_model("initial-exec")]] static inline thread_local unsigned depth = 0;
};

/** How a thread may be cancelled. */
struct Cancellation {
    int type = 0;
    int state = 0;
};

/**
 * From here to permitCancel the thread cannot be cancelled, also not asynchronously. No guard
 * object: a thread that is cancelled in a destructor ends the process.
 */
Cancellation forbidCancel();
void permitCancel(const Cancellation& before);

}  // namespace quarlo::links
