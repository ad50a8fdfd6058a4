#include "Mailbox.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

namespace quarlo::headunit {
namespace {

constexpr std::size_t maximumWaiting = 2;
constexpr std::size_t maximumEvents = 4096;

}  // namespace

Mailbox::Mailbox(std::function<void()> given)
    : wake(std::move(given)), event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void Mailbox::signal() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(event.get(), &one, sizeof one);
    if (wake) wake();
}

void Mailbox::tell(StateNews what) {
    const std::lock_guard guard(lock);
    news.states.push_back(std::move(what));
    signal();
}

void Mailbox::tell(FrameNews what) {
    const std::lock_guard guard(lock);
    news.changes.push_back(what);
    signal();
}

void Mailbox::failed(const std::string& why) {
    const std::lock_guard guard(lock);
    if (news.failure.empty()) news.failure = why;
    signal();
}

void Mailbox::post(Update update) {
    std::unique_lock guard(lock);
    room.wait(guard, [this] { return isClosed || news.updates.size() < maximumWaiting; });
    news.updates.push_back(std::move(update));
    signal();
}

void Mailbox::happened(Event what) {
    const std::lock_guard guard(lock);
    if (news.events.size() == maximumEvents) news.events.pop_front();
    news.events.push_back(std::move(what));
    signal();
}

void Mailbox::close() {
    const std::lock_guard guard(lock);
    isClosed = true;
    room.notify_all();
}

void Mailbox::wait(int milliseconds, int otherDescriptor) {
    pollfd watched[] = {{event.get(), POLLIN, 0}, {otherDescriptor, POLLIN, 0}};
    poll(watched, 2, milliseconds);
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t size = ::read(event.get(), &count, sizeof count);
}

News Mailbox::take() {
    const std::lock_guard guard(lock);
    room.notify_all();
    return std::exchange(news, {});
}

}  // namespace quarlo::headunit
