/* Where the library's threads may be cancelled: inside the host's code and nowhere else. */
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <map>
#include <mutex>
#include <set>

#include "Host.h"

namespace quarlo::test {
namespace {

std::mutex mutex;
std::map<std::string, std::set<std::string>> seen;
std::atomic<bool> isHeard{false};

/** Notes how the calling thread could be cancelled at this place. */
void look(const std::string& place) {
    int state = 0;
    int type = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &type);
    {
        const std::lock_guard lock(mutex);
        seen[place].insert(std::string(state == PTHREAD_CANCEL_ENABLE ? "enabled" : "disabled") +
                           (type == PTHREAD_CANCEL_ASYNCHRONOUS ? ", at once" : ", deferred"));
    }
    pthread_setcanceltype(type, nullptr);
    pthread_setcancelstate(state, nullptr);
}

void observe(void* handle) {
    quarlo_SetTraceOutput(handle, [](void*, eTraceClass, char*) {
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof name);
        const std::string thread(name);
        if (thread.rfind("quarlo ", 0) == 0) look("library on " + thread);
    });
    quarlo_SetSenderLink(handle, [](void*, UInt8*, std::size_t, void*) { look("sender link"); });
    quarlo_SetBlockStatusCallback(handle, [](void* context, Flag) {
        look("callback");
        // Its trace is the library's code again, and behind it comes the host's.
        quarlo_GetServerCapabilities(static_cast<Host*>(context)->handle());
        look("callback");
        isHeard = true;
    });
}

TEST(Cancellation, IsPossibleOnlyInTheHostsCode) {
    const Library library;
    Host host;
    host.run();
    observe(host.handle());
    quarlo_EnablePingWatchdog(host.handle(), 1, 60);
    // The link hands over to one that looks around.
    quarlo_SetReceiverLink(host.handle(), [](void*, UInt8*, std::size_t, void*) {
        look("receiver link");
        quarloPosix_pause(1);
        return std::size_t{0};
    });
    host.feed(packet(128, u32(2)) + packet(40, u8(1)));
    EXPECT_TRUE(host.waitUntil([] { return isHeard.load(); }));
    EXPECT_TRUE(host.waitUntil([] {
        const std::lock_guard lock(mutex);
        return seen.count("receiver link") != 0 && seen.count("library on quarlo PING WD") != 0;
    }));
    host.remove();
    const std::set<std::string> always{"enabled, at once"};
    const std::set<std::string> never{"disabled, deferred"};
    const std::map<std::string, std::set<std::string>> expected{
        {"callback", always},
        {"library on quarlo PING WD", never},
        {"library on quarlo RECEIVER", never},
        {"receiver link", always},
        {"sender link", always}};
    EXPECT_EQ(seen, expected);
}

}  // namespace
}  // namespace quarlo::test
