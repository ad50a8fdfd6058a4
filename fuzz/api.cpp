/*
 * Calls of the host API in any order, on two instances, with any arguments that a host may give,
 * between packets and threads that take turns; also from inside callbacks. Each step of the input
 * is a byte, whose highest bit is the instance, and its arguments.
 */
#include <deque>

#include "ApiSteps.h"
#include "Arguments.h"
#include "Platform.h"
#include "Subject.h"
#include "Threads.h"

namespace quarlo::fuzz {
namespace {

constexpr unsigned mostSteps = 400;

/** A host with a phone that says what the input says. */
class Connection : public Subject {
  public:
    std::size_t read(UInt8* buffer, std::size_t size) override;
    void react() override;
    void sending() override;
    void endReading() override { mustReturn = true; }

    void open();
    void close();
    void hear(Span bytes) { incoming.insert(incoming.end(), bytes.begin(), bytes.end()); }
    void connect();
    void changeLink(unsigned how, Input& in);
    /** A call with arguments of the input. */
    void call(unsigned number, Input& in);

    std::deque<std::uint8_t> incoming;
    std::size_t endResult = 0;
    bool isPolling = false;
    bool mustReturn = false;
    bool isClosing = false;
    bool isReacting = false;
    AppInfoList* apps = nullptr;
};

class Play {
  public:
    explicit Play(Input& input) : in(input) {}

    void run();
    [[nodiscard]] bool mayReact(const Connection& own);
    void takeTime(const Connection& own);
    void reaction(Connection& own);

    Input& in;
    Connection connections[2];
    unsigned reactions = 0;

  private:
    void next();
    void lifecycle(unsigned what, Connection& own);
};

Play* playing = nullptr;

std::size_t Connection::read(UInt8* buffer, std::size_t size) {
    do {
        if (incoming.empty() && endResult != 0) return endResult;
        if (incoming.empty()) threads::yield();
    } while (incoming.empty() && !isPolling && !mustReturn);
    const std::size_t count = mustReturn ? 0 : std::min(incoming.size(), size);
    const auto end = incoming.begin() + static_cast<std::ptrdiff_t>(count);
    std::copy(incoming.begin(), end, buffer);
    incoming.erase(incoming.begin(), end);
    return count;
}

void Connection::react() {
    if (playing->mayReact(*this)) playing->reaction(*this);
}

/** A slow link, in which the thread may be cancelled too. */
void Connection::sending() {
    if (playing->mayReact(*this)) playing->takeTime(*this);
}

void Connection::open() {
    if (handle != nullptr) return;
    create();
    // The buffer of the default size is beyond what the heap gives.
    quarlo_SetFrameSize(handle, 64, 48, 10, 10);
}

void Connection::close() {
    isClosing = true;
    remove();
    incoming.clear();
    endResult = 0;
    mustReturn = isClosing = isReacting = false;
    apps = nullptr;
}

/** Everything that leads to RUN, except that the phone's packets may be the input's. */
void Connection::connect() {
    open();
    quarlo_StartMainThread(handle);
    threads::yield();
    hear(handshakeStart());
    threads::yield();
    hear(handshakeEnd());
    threads::yield();
}

/** Whether it has ended, and whether it waits for bytes or says that there are none. */
void Connection::changeLink(unsigned how, Input& in) {
    endResult = (how & 1) == 0 ? 0 : ~static_cast<std::size_t>(in.u8());
    isPolling = (how & 2) != 0;
}

void Connection::call(unsigned number, Input& in) {
    Arguments arguments(in, *this, apps);
    step::call(number % step::calls).call(handle, arguments);
}

void Play::lifecycle(unsigned what, Connection& own) {
    switch (what) {
        case step::Open:
            return own.open();
        case step::Start: {
            Int32 error = 0;
            quarlo_StartMainThreadEx(own.handle, in.u8() % 4 == 0 ? nullptr : &error);
            return;
        }
        case step::Close:
            return own.close();
        case step::Connect:
            return own.connect();
        case step::Turn:
            return threads::yield();
        case step::Turns:
            for (unsigned turns = in.u8(); turns > 0; --turns) threads::yield();
            return;
        case step::EndLink:
            return own.changeLink(in.u8(), in);
        case step::Callbacks:
            return own.registerCallbacks(in.number<std::uint64_t>());
        case step::AnnounceShutdown:
            return quarlo_AnnounceShutdown(own.handle);
        case step::RefuseAllocation:
            return refuseAllocation(in.u8());
        case step::RefuseThread:
            return threads::refuse(in.u8());
        case step::React:
            reactions = in.u8();
            return;
        case step::HearMany:
            own.hear(in.take(in.u16()));
            return threads::yield();
        default:
            own.hear(in.take(in.u8()));
            return threads::yield();
    }
}

void Play::next() {
    const unsigned what = in.u8();
    Connection& own = connections[what >> 7];
    const unsigned number = what & 0x7F;
    if (number < step::lifecycleSteps) return lifecycle(number, own);
    own.call(number - step::lifecycleSteps, in);
}

bool Play::mayReact(const Connection& own) {
    if (reactions == 0 || own.isReacting || own.isClosing || in.isEmpty()) return false;
    --reactions;
    return true;
}

/** Turns for the others, in which a thread that nobody asks to end may be cancelled. */
void Play::takeTime(const Connection& own) {
    for (unsigned turns = in.u8() % 32; turns > 0 && !own.mustReturn; --turns) threads::yield();
}

/** A call from inside a callback, or time for the others; a thread may be cancelled in it. */
void Play::reaction(Connection& own) {
    const unsigned what = in.u8();
    if ((what & step::takeTime) != 0) takeTime(own);
    if (own.isClosing) return;
    own.isReacting = true;
    own.call(what & 0x7F, in);
    own.isReacting = false;
}

void Play::run() {
    playing = this;
    const Library library(in.u8() % 4 != 0);
    for (unsigned steps = 0; steps < mostSteps && !in.isEmpty(); ++steps) next();
    // The library deletes the instances that are left.
    for (Connection& own : connections) {
        own.isClosing = true;
        own.incoming.clear();
        if (own.endResult == 0) own.endResult = static_cast<std::size_t>(-1);
    }
}

}  // namespace

void play(Input& in) {
    Play(in).run();
}

}  // namespace quarlo::fuzz
