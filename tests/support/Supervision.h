/*
 * Short seconds, refused and late threads: in a program linked with quarlo_watch_threads() the
 * library's deadlines come fifty times as soon, and a test can refuse the creation of threads or
 * keep new ones from their first instruction.
 */
#ifndef QUARLO_TESTS_SUPERVISION_H
#define QUARLO_TESTS_SUPERVISION_H

namespace quarlo::test::supervision {

/** Milliseconds that stand for one second. */
constexpr unsigned second = 20;

/** Refuses the n-th thread created from now on with EAGAIN; none for 0. */
void refuseThread(long nth);
/** Threads created while this is set begin only when it is reset. */
void holdThreads(bool isHeld);
/** Threads created and not yet joined. */
long unjoined();
/** Joins of threads that had been joined before or never created, or of the caller itself. */
long wrongJoins();

}  // namespace quarlo::test::supervision

#endif
