// Waiting for a descriptor, a wake-up or a deadline, and the report of a failed attempt. Nothing
// here has state; any thread may call it.
#pragma once

#include <cstdint>

#include "quarlo-links.h"

namespace quarlo::links {

constexpr std::int64_t never = INT64_MAX;

/** Milliseconds of the monotonic clock. */
std::int64_t now();
/** The deadline that is limit milliseconds away. */
std::int64_t after(std::uint32_t limit);

/** An owned descriptor. */
class Descriptor {
  public:
    explicit Descriptor(int descriptor = -1) : value(descriptor) {}
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return value; }
    int release();

  private:
    int value;
};

int newWake();
void wakeUp(int wake);
void drain(int wake);

enum class Waited { Ready, Woken, TimedOut, Failed };

/** Waits for events of a descriptor (-1: none); a deadline that has passed wins over readiness. */
Waited waitFor(int descriptor, short events, int wake, std::int64_t deadline);
/** The errno value that tells how a wait went wrong. */
int errorOf(Waited result);

/** Writes "what subject: why" into a failure, which may be null. */
void describe(quarloLinkFailure* failure, int number, const char* what, const char* subject,
              const char* why = nullptr);
/** The system's words for an errno value, in storage of the caller. */
const char* wordsFor(int number, char* storage, std::size_t size);

}  // namespace quarlo::links
