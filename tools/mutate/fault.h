/*
 * One fault at a time, chosen when a program starts: tools/mutate/faults.py writes quarloFault(N)
 * into a copy of the sources wherever fault N is seeded, and this header is included before all of
 * them.
 *
 *   QUARLO_FAULT=N       fault N is there, all others are not
 *   QUARLO_REACHED=FILE  byte N of FILE becomes 1 when the place of fault N is run
 */
#ifndef QUARLO_FAULT_H
#define QUARLO_FAULT_H

/* What a compiler warns of in faults is of no interest. */
#pragma GCC diagnostic ignored "-Waddress"
#pragma GCC diagnostic ignored "-Warray-bounds"
#pragma GCC diagnostic ignored "-Wbool-compare"
#pragma GCC diagnostic ignored "-Wbool-operation"
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wenum-compare"
#pragma GCC diagnostic ignored "-Wenum-conversion"
#pragma GCC diagnostic ignored "-Wextra"
#pragma GCC diagnostic ignored "-Wformat"
#pragma GCC diagnostic ignored "-Wformat-extra-args"
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-zero-length"
#pragma GCC diagnostic ignored "-Wimplicit-fallthrough"
#pragma GCC diagnostic ignored "-Wint-in-bool-context"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wmisleading-indentation"
#pragma GCC diagnostic ignored "-Wnarrowing"
#pragma GCC diagnostic ignored "-Wnonnull-compare"
#pragma GCC diagnostic ignored "-Woverflow"
#pragma GCC diagnostic ignored "-Wparentheses"
#pragma GCC diagnostic ignored "-Wreturn-type"
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wsign-compare"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#pragma GCC diagnostic ignored "-Wswitch"
#pragma GCC diagnostic ignored "-Wtautological-compare"
#pragma GCC diagnostic ignored "-Wtype-limits"
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wunused-value"
#pragma GCC diagnostic ignored "-Wunused-variable"

#ifdef __cplusplus
extern "C" {
#endif

/* Under names of its own: a header that is included before all others must not declare theirs. */
char* quarloFault_getenv(const char* name) __asm__("getenv");
int quarloFault_atoi(const char* text) __asm__("atoi");
int quarloFault_open(const char* path, int flags, ...) __asm__("open");
int quarloFault_close(int file) __asm__("close");
void* quarloFault_mmap(void* at, unsigned long size, int protection, int flags, int file,
                       long from) __asm__("mmap");

enum { quarloFaultsMost = 1 << 16 };

/* One set for each program and each shared object. */
__attribute__((weak, visibility("hidden"))) unsigned quarloFaultChosen;
__attribute__((weak, visibility("hidden"))) unsigned char quarloFaultsUnwatched[quarloFaultsMost];
__attribute__((weak, visibility("hidden"))) unsigned char* quarloFaultsReached;

__attribute__((constructor(101), weak, visibility("hidden"))) void quarloFault_init(void) {
    const char* chosen = quarloFault_getenv("QUARLO_FAULT");
    const char* reached = quarloFault_getenv("QUARLO_REACHED");
    if (quarloFaultsReached) {
        return;
    }
    quarloFaultsReached = quarloFaultsUnwatched;
    quarloFaultChosen = chosen ? (unsigned)quarloFault_atoi(chosen) : 0;
    if (reached) {
        const int forReadingAndWriting = 2, shared = 1, bothWays = 3;
        const int file = quarloFault_open(reached, forReadingAndWriting);
        if (file >= 0) {
            void* bytes = quarloFault_mmap(0, quarloFaultsMost, bothWays, shared, file, 0);
            if (bytes != (void*)-1) {
                quarloFaultsReached = (unsigned char*)bytes;
            }
            quarloFault_close(file);
        }
    }
}

static inline int quarloFault_isSeeded(unsigned number) {
    __atomic_store_n(&quarloFaultsReached[number], (unsigned char)1, __ATOMIC_RELAXED);
    return quarloFaultChosen == number;
}

#ifdef __cplusplus
}

/* A constant expression has no faults. */
#define quarloFault(number) (__builtin_is_constant_evaluated() ? 0 : quarloFault_isSeeded(number))

#include <optional>

/* A lock that is held unless it is dropped. */
template <typename LOCK>
class QuarloFaultLock {
  public:
    template <typename... MUTEX>
    explicit QuarloFaultLock(int dropped, MUTEX&&... mutex) {
        if (!dropped) {
            held.emplace(static_cast<MUTEX&&>(mutex)...);
        }
    }

  private:
    std::optional<LOCK> held;
};
#else
#define quarloFault(number) quarloFault_isSeeded(number)
#endif

#endif
