/*
 * What scenarios come to without memory, and the checks that hold for every call that sends and for
 * every list. For programs linked with quarlo_watch_allocations().
 */
#ifndef QUARLO_TESTS_CALLS_H
#define QUARLO_TESTS_CALLS_H

#include <set>

#include "Allocations.h"
#include "Feature.h"

namespace quarlo::test {

/** Every test of these programs gives back all that the library took. */
class LeakCheck : public ::testing::EmptyTestEventListener {
  public:
    void OnTestStart(const ::testing::TestInfo&) override { before = allocations::live(); }
    void OnTestEnd(const ::testing::TestInfo&) override {
        EXPECT_EQ(allocations::live(), before) << "leaked";
    }

  private:
    long before = 0;
};

inline const bool leaksAreFound = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new LeakCheck);
    return true;
}();

/** A sweep over the requests of the action alone; what is torn down is all that was taken. */
template <class SetUp, class Action, class TearDown>
void sweepBetween(SetUp setUp, Action action, TearDown tearDown) {
    long total = 0;
    for (long refused = 0; refused <= total; ++refused) {
        SCOPED_TRACE("refused request " + std::to_string(refused));
        const long before = allocations::live();
        setUp();
        allocations::restart(refused);
        action(refused);
        if (refused == 0) total = allocations::made();
        allocations::restart();
        tearDown();
        EXPECT_EQ(allocations::live(), before) << "leaked";
    }
    EXPECT_GT(total, 0) << "nothing to refuse";
}

/** What comes of an action while this request for memory is refused. */
template <class Action>
Lines withoutMemory(long refused, Action action) {
    allocations::restart(refused);
    const Lines lines = action();
    allocations::restart();
    return lines;
}

inline Lines hearWithoutMemory(Session& session, const Bytes& packets, long refused = 1) {
    return withoutMemory(refused, [&] { return session.hear(packets); });
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
    Session session;
    for (const Sending& s : sendings) {
        SCOPED_TRACE(hex(s.sent).substr(0, 80));
        EXPECT_EQ(idle.during([&] { return s.call(idle.handle()); }), s.outside);
        std::set<Lines> failures;
        allocations::sweep([&](long refused) {
            const Lines lines = session.during([&] { return s.call(session.handle()); });
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
