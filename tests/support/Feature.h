/*
 * Scenarios of the features: phone bytes or calls in, lines out. Traces, callbacks, packets sent
 * and results stand in one list in their order.
 */
#ifndef QUARLO_TESTS_FEATURE_H
#define QUARLO_TESTS_FEATURE_H

#include <gtest/gtest.h>

#include <functional>

#include "Host.h"

namespace quarlo::test {

using Lines = std::vector<std::string>;

inline Lines operator+(Lines a, const Lines& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/** Lines of a long scenario: what differs is found among them. */
inline std::string textOf(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + '\n';
    return text;
}

/** A failed allocation's lines: the text, and the report that follows it. */
inline Lines outOfMemoryLines(const std::string& text) {
    return {"ERR " + text, "ERR error callback with code 'MEM_ALLOC'", "error MEM_ALLOC"};
}

inline Lines operator+(Lines lines, const std::string& line) {
    lines.push_back(line);
    return lines;
}

/** Four bytes of a packet, as a number. */
inline UInt32 numberAt(const Bytes& packet, std::size_t at) {
    UInt32 number = 0;
    for (std::size_t i = 4; i-- > 0;) number = number << 8 | packet.at(at + i);
    return number;
}

/** The lines of a packet that is sent. */
inline Lines sending(const Bytes& packet) {
    return {"IFF Send Buffer", "sent " + hex(packet)};
}

/** A host that notes packets and callbacks too, and can react to these. */
class Teller : public Host {
  public:
    using Reaction = std::function<void(const Heard&)>;

    ~Teller() override { remove(); }

    void heard(const Heard& what) override {
        Host::heard(what);
        if (what.callback == Callback::EndReceiverRequest) return;
        note(what.line());
        if (reaction) reaction(what);
    }
    void write(const UInt8* buffer, std::size_t size) override {
        note("sent " + hex(Bytes(buffer, buffer + size)));
        Host::write(buffer, size);
    }

    /** Changed only while nothing is called back. */
    Reaction reaction;
};

/** A host whose phone declares all capabilities; in RUN, or not yet started. */
class Session {
  public:
    explicit Session(bool isInRun = true) {
        if (isInRun) host.run();
        host.forgetLines();
    }

    [[nodiscard]] void* handle() const { return host.handle(); }
    [[nodiscard]] quarlo_CoreInstance* record() const { return host.record(); }
    template <Callback callback, class Setter>
    void listenTo(Setter* set) {
        set(handle(), entryOf<callback>(set, &host));
        host.forgetLines();
    }
    /** What comes of packets. */
    Lines hear(const Bytes& packets) {
        host.forgetLines();
        host.feed(packets);
        host.settle();
        return host.lines();
    }
    /** What comes of all that is done; a result other than okay is the last line. */
    template <class Action>
    Lines during(Action action) {
        host.forgetLines();
        if constexpr (std::is_void_v<decltype(action())>) {
            action();
            return host.lines();
        } else {
            const auto result = action();
            return result == 0 ? host.lines() : host.lines() + lineOf(result);
        }
    }
    /** What comes of a call. */
    template <class Result, class... P>
    Lines call(Result (*function)(void*, P...), std::type_identity_t<P>... arguments) {
        return during([&] { return function(handle(), arguments...); });
    }

  private:
    const Library library;

  public:
    Teller host;

  private:
    static std::string lineOf(eReturnCode code) {
        return std::string("= ") + _quarlo_getReturnCodeName(code);
    }
    template <class Number>
    static std::string lineOf(Number number) {
        return "= " + std::to_string(number);
    }
};

struct Idle : Session {
    Idle() : Session(false) {}
};

/** What a handler says to no packet, and to one outside RUN. */
template <class Packet>
void expectRefusals(Session& idle, void (*receive)(quarlo_CoreInstance*, Packet*),
                    const Lines& toNone, const Lines& outsideRun) {
    Packet packet{};
    EXPECT_EQ(idle.during([&] { receive(idle.record(), nullptr); }), toNone);
    EXPECT_EQ(idle.during([&] { receive(idle.record(), &packet); }), outsideRun);
    receive(nullptr, &packet);
}

}  // namespace quarlo::test

#endif
