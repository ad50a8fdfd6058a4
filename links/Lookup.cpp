// A lookup is shared by the thread that does it and the one that waits for it; whoever lets go last
// frees it. The number of threads that hang in lookups is bounded.
#include "Lookup.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "Wait.h"

namespace quarlo::links {
namespace {

constexpr int mostLookups = 8;
std::atomic<int> lookups{0};

struct Lookup {
    std::atomic<int> holders{2};
    Descriptor done{newWake()};
    char host[NI_MAXHOST] = "";
    UInt16 port = 0;
    AddressList found;
    int result = 0;
    int error = 0;
    std::atomic<bool> isOver{false};  // what stands above was written before it
};

int lookUp(const char* host, UInt16 port, int flags, addrinfo** found) {
    char service[8];
    snprintf(service, sizeof service, "%u", unsigned{port});
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags | AI_NUMERICSERV;
    return getaddrinfo(host, service, &hints, found);
}

void letGo(Lookup* lookup) {
    if (lookup->holders.fetch_sub(1) == 1) delete lookup;
}

void* lookupBody(void* argument) {
    auto* lookup = static_cast<Lookup*>(argument);
    pthread_setname_np(pthread_self(), "quarlo LOOKUP");
    lookup->result = lookUp(lookup->host, lookup->port, 0, &lookup->found.first);
    lookup->error = errno;
    lookup->isOver.store(true);
    lookups.fetch_sub(1);
    wakeUp(lookup->done.get());
    letGo(lookup);
    return nullptr;
}

// Detached, and with all signals blocked: it may outlive everybody who could answer for it.
int startThread(Lookup* lookup) {
    sigset_t all;
    sigset_t before;
    pthread_t thread{};
    pthread_attr_t attributes;
    if (const int error = pthread_attr_init(&attributes); error != 0) return error;
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int error = pthread_create(&thread, &attributes, lookupBody, lookup);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return error;
}

Lookup* start(const char* host, UInt16 port, int& error) {
    auto* lookup = new (std::nothrow) Lookup;
    error = ENOMEM;
    if (lookup == nullptr) return nullptr;
    lookup->port = port;
    memcpy(lookup->host, host, strlen(host) + 1);
    error = EAGAIN;
    const bool isOneMore = lookups.fetch_add(1) < mostLookups;
    if (isOneMore) error = lookup->done.get() < 0 ? EMFILE : startThread(lookup);
    if (error == 0) return lookup;
    lookups.fetch_sub(1);
    delete lookup;
    return nullptr;
}

}  // namespace

AddressList::~AddressList() {
    if (first != nullptr) freeaddrinfo(first);
}

int AddressList::read(const char* host, UInt16 port, int flags) {
    return lookUp(host, port, flags | AI_NUMERICHOST, &first);
}

bool AddressList::find(const char* host, UInt16 port, int wake, std::int64_t deadline,
                       quarloLinkFailure* failure, const char* what, const char* name) {
    if (read(host, port, 0) == 0) return true;
    if (strlen(host) >= NI_MAXHOST) {
        describe(failure, EINVAL, what, name, "the name is too long");
        return false;
    }
    int error = 0;
    Lookup* lookup = start(host, port, error);
    if (lookup == nullptr) {
        describe(failure, error, what, name,
                 error == EAGAIN ? "too many name lookups hang" : nullptr);
        return false;
    }
    const Waited waited = waitFor(lookup->done.get(), POLLIN, wake, deadline);
    if (waited != Waited::Ready || !lookup->isOver.load()) {
        error = errorOf(waited);
        describe(failure, error, what, name,
                 error == ETIMEDOUT ? "the name lookup hangs" : nullptr);
    } else if (lookup->result != 0) {
        describeLookup(failure, lookup->result, lookup->error, what, name);
    } else {
        first = lookup->found.first;
        lookup->found.first = nullptr;
    }
    letGo(lookup);
    return first != nullptr;
}

void describeLookup(quarloLinkFailure* failure, int result, int error, const char* what,
                    const char* name) {
    const bool isSystem = result == EAI_SYSTEM;
    describe(failure, isSystem ? error : EHOSTUNREACH, what, name,
             isSystem ? nullptr : gai_strerror(result));
}

}  // namespace quarlo::links
