/* Where the library's threads may be cancelled: inside the host's code and nowhere else. */
#include <gtest/gtest.h>
#include <pthread.h>

#include <map>
#include <mutex>
#include <set>

#include "Host.h"

namespace quarlo::test {
namespace {

std::mutex mutex;
std::map<std::string, std::set<std::string>> seen;

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

TEST(Cancellation, IsPossibleOnlyInTheHostsCode) {
    const Library library;
    Host host;
    host.run();
    void* const h = host.handle();
    quarlo_SetTraceOutput(h, [](void*, eTraceClass, char*) {
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof name);
        if (std::string_view(name).starts_with("quarlo ")) look(name);
    });
    quarlo_SetSenderLink(h, [](void*, UInt8*, std::size_t, void*) { look("sender link"); });
    quarlo_SetBlockStatusCallback(h, [](void* context, Flag) {
        look("callback");
        // Its trace is the library's code again, and behind it comes the host's.
        quarlo_GetServerCapabilities(static_cast<Host*>(context)->handle());
        look("callback");
    });
    quarlo_EnablePingWatchdog(h, 1, 60);
    // The link hands over to one that looks around.
    quarlo_SetReceiverLink(h, [](void*, UInt8*, std::size_t, void*) {
        look("receiver link");
        quarloPosix_pause(1);
        return std::size_t{0};
    });
    host.feed(packet(128, u32(2)) + packet(40, u8(1)));
    const std::set<std::string> always{"enabled, at once"};
    const std::set<std::string> never{"disabled, deferred"};
    const std::map<std::string, std::set<std::string>> expected{{"callback", always},
                                                                {"quarlo PING WD", never},
                                                                {"quarlo RECEIVER", never},
                                                                {"receiver link", always},
                                                                {"sender link", always}};
    EXPECT_TRUE(host.waitUntil([&] {
        const std::lock_guard lock(mutex);
        return seen.size() == expected.size();
    }));
    host.remove();
    EXPECT_EQ(seen, expected);
}

}  // namespace
}  // namespace quarlo::test
