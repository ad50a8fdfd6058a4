/*
 * A whole session, played again and again with one allocation of the library refused, and with all
 * from one on: no leak, no crash, nothing left waiting, and every refusal told to the host or
 * harmless.
 */
#include <gtest/gtest.h>

#include <algorithm>

#include "Allocations.h"
#include "ApiCalls.h"
#include "Host.h"
#include "Recording.h"
#include "Supervision.h"

namespace quarlo::test {
namespace {

const std::string longText(4000, 't');

/** A host of which everything is called, before the start and in RUN. */
class Caller : public Host {
  public:
    Caller() {
        if (handle() == nullptr) return;
        listen(handle(), *this);
        callFeatures();
        quarlo_SetTraceClass(handle(), static_cast<eTraceClass>(63));
        quarlo_SetFrameOutputType(handle(), 0);
        quarlo_SetInitialisationTimeout(handle(), 0);
    }
    ~Caller() override { remove(); }
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    void heard(const Heard& what) override {
        Host::heard(what);
        if (what.callback != Callback::Error) return;
        const auto code = static_cast<eErrorCode>(what.numbers[0]);
        note(std::string("error ") + _quarlo_getErrorName(code));
    }
    /** What does not fit the stack. */
    void callWhatNeedsTheHeap() {
        const char* const text = longText.c_str();
        Bytes block(4000);
        tell("icon", quarlo_RequestAppIcon(handle(), text, 8, 8));
        tell("app", quarlo_StartApp(handle(), text, nullptr, nullptr));
        quarlo_VehicleData(handle(), 6, eSTRINGENCODING_UTF8, text);
        quarlo_CustomDataString(handle(), eCLIENTCUSTOMDATASTRINGTYPE_BTMACAddress,
                                eSTRINGENCODING_UTF8, text);
        quarlo_CustomDataRaw(handle(), 1, 4000, block.data());
    }
    void callFeatures() {
        Arguments samples;
        for (const ApiCall& call : apiCalls) {
            if (call.about != About::Feature && call.about != About::Packet) continue;
            const long result = call.call(handle(), samples);
            tell(call.name, result);
        }
    }

  private:
    /** A result is told like a report. */
    void tell(std::string_view call, long result) {
        if (result < 0) note("error " + std::string(call) + std::to_string(result));
    }
};

struct Outcome {
    bool isCreated = false;
    bool reachedRun = false;
    std::size_t sent = 0;
    long requests = 0;
    std::vector<std::string> told;  // warnings, errors and reports
};

Outcome play() {
    quarlo_Init();
    Outcome outcome;
    {
        Caller host;
        outcome.isCreated = host.handle() != nullptr;
        if (outcome.isCreated) {
            host.start();
            host.settle();
            for (const Bytes& answer :
                 {packet(2, u8(1)), packet(12, u8(1)) + Host::serverInit(), packet(18, u8(1))}) {
                host.feed(answer);
                host.settle();
            }
            outcome.reachedRun = host.record()->runReached != 0;
            for (const Bytes& bytes : phonePackets()) {
                host.feed(bytes);
                host.settle();
            }
            host.callWhatNeedsTheHeap();
            host.callFeatures();
            quarlo_VehicleData(host.handle(), 6, eSTRINGENCODING_UTF8, "{\"v\":2}");
            quarlo_SetAudioStatus(host.handle(), sample::request, eAUDIOSTATUS_Close,
                                  eAUDIOREQUESTRESULTCODE_NoError);
            host.feed(packet(72, text(longText) + u32(7) + u32(4) + u32(4) + Bytes(4)) +
                      packet(74, text("a://1") + u8(2)));
            host.settle();
            outcome.sent = host.sent().size();
            for (const char* prefix : {"WRN ", "ERR ", "error "}) {
                for (const std::string& line : host.linesWith(prefix)) outcome.told.push_back(line);
            }
        }
    }
    quarlo_Shutdown();
    return outcome;
}

/** A session without the n-th request, onwards also without all after it. */
Outcome playWithout(long refused, bool onwards) {
    const long before = allocations::live();
    allocations::restart(refused, onwards);
    Outcome outcome = play();
    outcome.requests = allocations::made();
    allocations::restart();
    EXPECT_EQ(allocations::live(), before) << "leaked without request " << refused;
    EXPECT_EQ(supervision::unjoined(), 0);
    EXPECT_EQ(supervision::wrongJoins(), 0);
    return outcome;
}

TEST(SessionSweep, SurvivesEveryRefusedAllocation) {
    const Outcome whole = playWithout(0, false);
    ASSERT_TRUE(whole.reachedRun);
    ASSERT_GT(whole.requests, 40);
    long silent = 0;
    for (long refused = 1; refused <= whole.requests; ++refused) {
        const Outcome outcome = playWithout(refused, false);
        const bool isTold = !outcome.isCreated || outcome.told != whole.told;
        if (!isTold) ++silent;
        // A session that got through the handshake goes on, unless the version could not be
        // announced.
        const bool hasStopped =
            std::count(outcome.told.begin(), outcome.told.end(), "error PROTOCOL_STOP") != 0;
        if (outcome.reachedRun && !hasStopped) {
            EXPECT_GE(outcome.sent + 2, whole.sent);
        }
    }
    // Left out without a word: the host's name (twice) and types (three times), scratch memory, two
    // raw blocks, and a value that nobody wants (twice).
    EXPECT_LE(silent, 10);
}

TEST(SessionSweep, SurvivesAnExhaustedHeap) {
    const long requests = playWithout(0, false).requests;
    for (long first = 1; first <= requests; ++first) playWithout(first, true);
}

}  // namespace
}  // namespace quarlo::test
