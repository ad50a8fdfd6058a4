/*
 * The library's threads, played on the fuzzing thread: each has a stack of its own and runs until
 * it sleeps, its link has nothing to read, or it ends. So every interleaving of an input is the
 * same again, no time passes in sleeps, and a join that is forgotten or never returns is a finding.
 */
#ifndef QUARLO_FUZZ_THREADS_H
#define QUARLO_FUZZ_THREADS_H

namespace quarlo::fuzz::threads {

/** On the fuzzing thread: a turn for every other one. On any other: gives way. */
void yield();
/** Refuses the n-th creation from now on; none for 0. */
void refuse(unsigned nth);
/** At the end of an input: all have been joined. */
void requireAllJoined();

}  // namespace quarlo::fuzz::threads

#endif
