/*
 * Scenarios of the features: phone bytes or calls in, lines out. Traces, callbacks, packets sent
 * and results stand in one list in their order. For programs linked with
 * quarlo_watch_allocations().
 */
#ifndef QUARLO_TESTS_STORY_H
#define QUARLO_TESTS_STORY_H

#include <set>

#include "Calls.h"

namespace quarlo::test {

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
class Story {
  public:
    explicit Story(bool isInRun = true) {
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
    /** What comes of it when this request for memory is refused. */
    template <class Action>
    Lines withoutMemory(long refused, Action action) {
        allocations::restart(refused);
        const Lines lines = action();
        allocations::restart();
        return lines;
    }
    Lines hearWithoutMemory(const Bytes& packets, long refused = 1) {
        return withoutMemory(refused, [&] { return hear(packets); });
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

struct Idle : Story {
    Idle() : Story(false) {}
};

/** What a handler says to no packet, and to one outside RUN. */
template <class Packet>
void expectRefusals(Story& idle, void (*receive)(quarlo_CoreInstance*, Packet*),
                    const Lines& toNone, const Lines& outsideRun) {
    Packet packet{};
    EXPECT_EQ(idle.during([&] { receive(idle.record(), nullptr); }), toNone);
    EXPECT_EQ(idle.during([&] { receive(idle.record(), &packet); }), outsideRun);
    receive(nullptr, &packet);
}

/** The outcomes of an action by the number of the request that is refused, none for the first. */
template <class SetUp, class Action, class TearDown>
void expectOutcomes(const std::vector<Lines>& outcomes, SetUp setUp, Action action,
                    TearDown tearDown) {
    std::vector<Lines> seen;
    sweepBetween(
        setUp, [&](long) { seen.push_back(action()); }, tearDown);
    EXPECT_EQ(seen, outcomes);
}

/* ---- calls that send one packet ---- */

struct Sending {
    std::function<eReturnCode(void*)> call;
    Lines lines;  // in RUN, up to the sending
    Bytes sent;
    Lines outside;
    std::set<Lines> failures = {};  // of each refused request
};

/** A call with its arguments. */
template <class Result, class... P>
std::function<eReturnCode(void*)> bound(Result (*function)(void*, P...),
                                        std::type_identity_t<P>... arguments) {
    return [=](void* handle) {
        if constexpr (std::is_void_v<Result>) {
            function(handle, arguments...);
            return eRETURN_OKAY;
        } else {
            return function(handle, arguments...);
        }
    };
}

inline void expectSendings(const std::vector<Sending>& sendings) {
    Idle idle;
    Story story;
    for (const Sending& s : sendings) {
        SCOPED_TRACE(hex(s.sent).substr(0, 80));
        EXPECT_EQ(idle.during([&] { return s.call(idle.handle()); }), s.outside);
        std::set<Lines> failures;
        allocations::sweep([&](long refused) {
            const Lines lines = story.during([&] { return s.call(story.handle()); });
            if (refused != 0) {
                failures.insert(lines);
            } else {
                EXPECT_EQ(lines, s.lines + sending(s.sent));
            }
        });
        EXPECT_EQ(failures, s.failures);
    }
}

/* ---- lists ---- */

/** What the element operation writes. */
template <class Print>
std::string printed(Print print) {
    ::testing::internal::CaptureStdout();
    print();
    std::fflush(stdout);
    return ::testing::internal::GetCapturedStdout();
}

/** The operations of a list with two unlike elements at least, and what it prints. */
inline void expectOperations(genericList& list, const std::string& text) {
    EXPECT_EQ(printed([&] {
                  for (auto* at = list.head.next; at != &list.tail; at = at->next) {
                      EXPECT_EQ(list.printElement(at), eRETURN_OKAY);
                  }
              }),
              text);
    genericListElement* const first = listGetFirstElement(&list);
    genericListElement* const second = first->next;
    EXPECT_EQ(list.isEqual(first, first), 1);
    EXPECT_EQ(list.isEqual(first, second), 0);
    EXPECT_EQ(list.isEqual(nullptr, second), 0);
    EXPECT_EQ(list.isEqual(first, nullptr), 0);
    EXPECT_EQ(list.findElement(&list, second), second);
    EXPECT_EQ(list.findElement(nullptr, second), nullptr);
    EXPECT_EQ(list.findElement(&list, nullptr), nullptr);
    EXPECT_EQ(list.printElement(nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(list.freeElementData(nullptr), eRETURN_NULL_PARAM);
}

}  // namespace quarlo::test

#endif
