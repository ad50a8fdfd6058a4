/*
 * The checks that hold for every call that sends, and sweeps over its allocations. For programs
 * linked with quarlo_watch_allocations().
 */
#ifndef QUARLO_TESTS_CALLS_H
#define QUARLO_TESTS_CALLS_H

#include <algorithm>

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

/** One way in which a call ends without memory: all its lines and its result. */
struct Failure {
    Lines lines;
    eReturnCode result = eRETURN_OKAY;
};

/** A call of the host API that sends one packet. */
struct Call {
    const char* name;
    std::function<eReturnCode(void*)> call;
    Lines lines;  // up to the sending
    Bytes sent;
    std::vector<Failure> failures;
    Failure outside;
};

/** A call without a result. */
template <class Function>
std::function<eReturnCode(void*)> plain(Function call) {
    return [call](void* handle) {
        call(handle);
        return eRETURN_OKAY;
    };
}

inline void expectSentInRun(const std::vector<Call>& calls) {
    const Library library;
    Session session;
    for (const Call& c : calls) {
        SCOPED_TRACE(c.name);
        eReturnCode result = eRETURN_NOT_FOUND;
        EXPECT_EQ(session.during([&] { result = c.call(session.handle()); }), c.lines + sendLine);
        EXPECT_EQ(result, eRETURN_OKAY);
        EXPECT_EQ(session.sent(), hexes({c.sent}));
    }
}

inline void expectNothingSentOutsideRun(const std::vector<Call>& calls) {
    const Library library;
    Host host;
    for (const Call& c : calls) {
        SCOPED_TRACE(c.name);
        host.forgetLines();
        EXPECT_EQ(c.call(host.handle()), c.outside.result);
        EXPECT_EQ(host.lines(), c.outside.lines);
    }
    EXPECT_TRUE(host.sent().empty());
}

/** Each refused allocation ends the call in one of its failures, and each failure is seen. */
inline void expectFailuresWithoutMemory(const std::vector<Call>& calls) {
    const Library library;
    Session session;
    for (const Call& c : calls) {
        SCOPED_TRACE(c.name);
        std::vector<bool> isSeen(c.failures.size());
        allocations::sweep([&](long refused) {
            eReturnCode result = eRETURN_NOT_FOUND;
            const Lines lines = session.during([&] { result = c.call(session.handle()); });
            EXPECT_EQ(session.sent().size(), refused == 0 ? 1U : 0U);
            if (refused == 0) return;
            const auto isThis = [&](const Failure& failure) {
                return failure.lines == lines && failure.result == result;
            };
            const auto found = std::find_if(c.failures.begin(), c.failures.end(), isThis);
            if (found != c.failures.end()) {
                isSeen[static_cast<std::size_t>(found - c.failures.begin())] = true;
            } else {
                ADD_FAILURE() << "result " << result << ", " << ::testing::PrintToString(lines);
            }
        });
        EXPECT_EQ(std::count(isSeen.begin(), isSeen.end(), false), 0) << "a failure never seen";
    }
}

}  // namespace quarlo::test

#endif
