/*
 * What stands around the library while it is fuzzed: a bounded heap that is counted and can refuse,
 * plug-ins that stay loaded, and no output.
 */
#ifndef QUARLO_FUZZ_PLATFORM_H
#define QUARLO_FUZZ_PLATFORM_H

#include <cstddef>

namespace quarlo::fuzz {

/** Refuses the n-th request from now on; none for 0. */
void refuseAllocation(unsigned nth);
/** Whether the library finds its plug-ins. */
void offerPlugins(bool areThere);
/** The handle of a plug-in, which stays loaded: an unloaded one would take its coverage along. */
void* pluginHandle(const char* file);

/** One input's use of the library, from quarlo_Init to quarlo_Shutdown; everything is given back.
 */
class Library {
  public:
    explicit Library(bool hasPlugins = true);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

}  // namespace quarlo::fuzz

#endif
