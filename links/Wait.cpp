#include "Wait.h"

#include <poll.h>
#include <string.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>

namespace quarlo::links {

std::int64_t now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
}

std::int64_t after(std::uint32_t limit) {
    return now() + limit;
}

Descriptor::~Descriptor() {
    if (value >= 0) close(value);
}

int Descriptor::release() {
    const int released = value;
    value = -1;
    return released;
}

int newWake() {
    return eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

void wakeUp(int wake) {
    // Fails only when the counter is full, and then it is raised.
    [[maybe_unused]] const int result = eventfd_write(wake, 1);
}

void drain(int wake) {
    eventfd_t count = 0;
    [[maybe_unused]] const int result = eventfd_read(wake, &count);
}

Waited waitFor(int descriptor, short events, int wake, std::int64_t deadline) {
    pollfd watched[] = {{descriptor, events, 0}, {wake, POLLIN, 0}};
    for (;;) {
        const std::int64_t left = deadline == never ? -1 : deadline - now();
        if (left <= 0 && deadline != never) return Waited::TimedOut;
        const int found = poll(watched, 2, static_cast<int>(std::min<std::int64_t>(left, INT_MAX)));
        if (found < 0 && errno != EINTR && errno != EAGAIN) return Waited::Failed;
        if (found <= 0) continue;
        return watched[1].revents != 0 ? Waited::Woken : Waited::Ready;
    }
}

int errorOf(Waited result) {
    switch (result) {
        case Waited::TimedOut:
            return ETIMEDOUT;
        case Waited::Woken:
            return ECANCELED;
        default:
            return errno;
    }
}

namespace {
// C libraries differ in what strerror_r returns: the words, or whether they are in the storage.
[[maybe_unused]] const char* wordsOf(const char* words, const char*) {
    return words;
}
[[maybe_unused]] const char* wordsOf(int result, const char* storage) {
    return result == 0 ? storage : "unknown error";
}
}  // namespace

const char* wordsFor(int number, char* storage, std::size_t size) {
    return wordsOf(strerror_r(number, storage, size), storage);
}

void describe(quarloLinkFailure* failure, int number, const char* what, const char* subject,
              const char* why) {
    if (failure == nullptr) return;
    char words[96];
    if (why == nullptr) why = wordsFor(number, words, sizeof words);
    failure->number = number;
    // Room for the reason is kept when the subject is long.
    snprintf(failure->text, sizeof failure->text, "%s %.120s: %.80s", what, subject, why);
}

}  // namespace quarlo::links
