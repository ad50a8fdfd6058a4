#include "Threads.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace quarlo::links {

// Timers of the library call the host without coming by a link. They are known by their names.
bool LibraryThread::isThis() {
    if (depth != 0) return true;
    constexpr std::string_view names[] = {"quarlo RECEIVER", "quarlo PING WD", "quarlo WAITINIT",
                                          "quarlo WAITJOIN", "quarlo AUDIOTIM"};
    char name[16] = "";
    pthread_getname_np(pthread_self(), name, sizeof name);
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// The type first and back last: what is asynchronous is never enabled in between.
Cancellation forbidCancel() {
    Cancellation before;
    pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &before.type);
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before.state);
    return before;
}

void permitCancel(const Cancellation& before) {
    pthread_setcancelstate(before.state, nullptr);
    pthread_setcanceltype(before.type, nullptr);
}

}  // namespace quarlo::links
