#include "Bell.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

namespace quarlo::phone {

Bell::Bell() : event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!event.isOpen()) throw std::runtime_error("no descriptor is left for an event");
}

void Bell::ring() const {
    const int kept = errno;
    // Fails only when the counter is full, and then it rings.
    [[maybe_unused]] const int result = eventfd_write(event.get(), 1);
    errno = kept;
}

void Bell::wait(TimePoint until) const {
    constexpr std::chrono::hours longest{1};
    const TimePoint now = std::chrono::steady_clock::now();
    const TimePoint end = std::clamp(until, now, now + longest);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now).count();
    pollfd entry{event.get(), POLLIN, 0};
    poll(&entry, 1, static_cast<int>(left));
    eventfd_t count = 0;
    [[maybe_unused]] const int result = eventfd_read(event.get(), &count);
}

}  // namespace quarlo::phone
