/*
 * What the suites of the features share: a host in RUN, and the checks that hold for every call
 * that sends. The suites are linked with quarlo_watch_allocations().
 */
#ifndef QUARLO_TESTS_FEATURE_H
#define QUARLO_TESTS_FEATURE_H

#include <gtest/gtest.h>

#include "Host.h"

namespace quarlo::test {

using Lines = std::vector<std::string>;

inline Lines operator+(Lines a, const Lines& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/** A failed allocation's lines: the text, and the report that follows it. */
inline Lines outOfMemoryLines(const std::string& text) {
    return {"ERR " + text, "ERR error callback with code 'MEM_ALLOC'", "error MEM_ALLOC"};
}

inline const Lines sendLine{"IFF Send Buffer"};

inline Host& hostOf(void* context) {
    return *static_cast<Host*>(context);
}

/** A host in RUN whose phone declares all capabilities. */
class Session {
  public:
    Session() {
        host.run();
        forget();
    }

    [[nodiscard]] void* handle() const { return host.handle(); }
    void forget() {
        host.forgetLines();
        host.forgetSent();
    }
    /** What the host sees of packets. */
    Lines hear(const Bytes& packets) {
        forget();
        host.feed(packets);
        host.settle();
        return host.lines();
    }
    /** What the host sees of a call. */
    template <class Call>
    Lines during(Call call) {
        forget();
        call();
        return host.lines();
    }
    /** What has been sent since, as hexadecimal packets. */
    [[nodiscard]] Lines sent() const {
        Lines packets;
        for (const Bytes& bytes : host.sent()) packets.push_back(hex(bytes));
        return packets;
    }

    Host host;
};

inline Lines hexes(const std::vector<Bytes>& packets) {
    Lines result;
    for (const Bytes& bytes : packets) result.push_back(hex(bytes));
    return result;
}

}  // namespace quarlo::test

#endif
