/*
 * A head unit with its phone, for tests of threads: it takes no lock in its links and callbacks,
 * and its counters are relaxed, for what the test orders by itself would hide the races of the
 * library from a sanitizer. The phone lives in the links: it answers the handshake, and then says
 * what a test wants.
 */
#ifndef QUARLO_TESTS_UNIT_H
#define QUARLO_TESTS_UNIT_H

#include <atomic>
#include <chrono>
#include <thread>

#include "ApiCalls.h"
#include "Host.h"

namespace quarlo::test {

constexpr auto relaxed = std::memory_order_relaxed;

/** The length of the payload that a header tells. */
inline std::size_t payloadOf(const UInt8* packet) {
    std::size_t length = 0;
    for (unsigned i = 0; i < 4; ++i) length |= std::size_t{packet[5 + i]} << (8 * i);
    return length;
}

class Unit : public Listener {
  public:
    Unit() = default;
    Unit(const Unit&) = delete;
    Unit& operator=(const Unit&) = delete;

    /** A new instance, configured and listened to. */
    void open() {
        isAsked.store(false, relaxed);
        isRunning.store(false, relaxed);
        end.store(0, relaxed);
        handle = quarlo_CreateInstance(static_cast<Listener*>(this), "unit");
        attach(handle, *this);
        listen(handle, *this);
        quarlo_SetTraceClass(handle, static_cast<eTraceClass>(0));
        quarlo_SetClientCapabilities(handle, eCLIENTCAPABILITIES_All, 1);
        quarlo_SetFrameSize(handle, 32, 16, 10, 5);
        quarlo_SetInitialisationTimeout(handle, 0);
    }
    void start() const { quarlo_StartMainThread(handle); }
    void close() {
        quarlo_DeleteInstance(handle);
        handle = nullptr;
    }
    /** What the link returns from now on, once nothing is left to say. */
    void endLink(int result) { end.store(result, relaxed); }
    [[nodiscard]] bool isInRun() const { return isRunning.load(relaxed); }
    [[nodiscard]] unsigned sentOf(unsigned type) const { return sent[type].load(relaxed); }

    void heard(const Heard& what) override {
        if (what.callback == Callback::EndReceiverRequest) isAsked.store(true, relaxed);
        if (what.callback == Callback::Protocol) {
            isRunning.store(what.numbers[0] == ePROTOCOL_STATE_RUN, relaxed);
        }
    }
    std::size_t read(UInt8* buffer, std::size_t size) override {
        if (said == pending.size()) {
            said = 0;
            pending = answer.empty() && isInRun() ? speak() : std::exchange(answer, {});
        }
        const std::size_t count = std::min(size, pending.size() - said);
        if (count == 0 || isAsked.load(relaxed)) return nothing();
        std::copy_n(pending.begin() + static_cast<std::ptrdiff_t>(said), count, buffer);
        said += count;
        return count;
    }
    void write(const UInt8* buffer, std::size_t size) override {
        look(buffer, size);
        require(size >= 9, "less than a packet was sent");
        require(size == 9 + payloadOf(buffer), "a torn packet was sent");
        sent[buffer[0]].fetch_add(1, relaxed);
        shakeHands(buffer[0]);
    }
    void traced(eTraceClass, const char* line) override { lookAtText(line); }

    void* handle = nullptr;

  protected:
    /** What the phone says next in RUN, on the receiver thread; nothing, if it is silent. */
    virtual Bytes speak() { return {}; }

  private:
    /** The library sends these on the receiver thread, whose the phone's words are too. */
    void shakeHands(unsigned type) {
        if (type == eEVENTTYPE_ClientProtocolVersion) {
            pending.clear();
            said = 0;
            endLink(0);
            answer = packet(2, u8(1));
        } else if (type == eEVENTTYPE_ClientInit) {
            answer = packet(12, u8(1)) + Host::serverInit() + packet(18, u8(1));
        }
    }
    [[nodiscard]] std::size_t nothing() const {
        std::this_thread::sleep_for(std::chrono::microseconds(500));
        return static_cast<std::size_t>(std::ptrdiff_t{end.load(relaxed)});
    }

    Bytes pending;
    Bytes answer;
    std::size_t said = 0;
    std::atomic<bool> isAsked{false};
    std::atomic<bool> isRunning{false};
    std::atomic<int> end{0};
    std::array<std::atomic<unsigned>, 256> sent{};
};

/** False when it takes too long. */
template <class Condition>
bool waitFor(Condition condition) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(50);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > until) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/** Where so many meet who are in callbacks at the same time. */
class Meeting {
  public:
    explicit Meeting(unsigned members) : expected(members) {}
    /** Waits for the others, at most so long. */
    void meet(std::chrono::milliseconds patience) {
        const auto until = std::chrono::steady_clock::now() + patience;
        const unsigned all = ++arrived;
        const unsigned round = (all + expected - 1) / expected * expected;
        while (arrived < round && std::chrono::steady_clock::now() < until) {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
    }

  private:
    const unsigned expected;
    std::atomic<unsigned> arrived{0};
};

}  // namespace quarlo::test

#endif
