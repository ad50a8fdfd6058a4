/*
 * The receive dispatcher of an instance in RUN: the whole input behind its setup is one block of
 * received bytes, with nothing behind its last one.
 */
#include "Platform.h"
#include "QUARLO-Core-Utilities.h"
#include "QUARLO_Receive.h"
#include "Subject.h"
#include "Threads.h"

namespace quarlo::fuzz {
namespace {

/** Its link brings the connection to RUN, and then has nothing until it is told to end. */
class Connected : public Subject {
  public:
    std::size_t read(UInt8* buffer, std::size_t) override {
        const test::Bytes bytes = next();
        std::copy(bytes.begin(), bytes.end(), buffer);
        if (bytes.empty()) threads::yield();
        return mustEnd && bytes.empty() ? static_cast<std::size_t>(-1) : bytes.size();
    }
    void endReading() override { mustEnd = true; }

  private:
    test::Bytes next() {
        switch (step++) {
            case 0:
                return handshakeStart();
            case 1:
                return handshakeEnd();
            default:
                return {};
        }
    }
    unsigned step = 0;
    bool mustEnd = false;
};

void dispatch(quarlo_CoreInstance* obj, Span received) {
    const Exact bytes(received);
    void* advanced = nullptr;
    const ThisThread mine = thisThread;
    thisThread = {obj, Role::Receiver, false, 0};
    QUARLO_Receive(obj, bytes.data(), static_cast<UInt32>(bytes.size()), &advanced);
    quarlo_Protocol(obj);
    thisThread = mine;
    const auto used =
        reinterpret_cast<std::uintptr_t>(advanced) - reinterpret_cast<std::uintptr_t>(bytes.data());
    require(used <= bytes.size() + 1, "the dispatcher advanced far behind the end");
}

}  // namespace

void play(Input& in) {
    const Setup setup(in);
    const Library library(!setup.has(Setup::NoPlugins));
    Connected subject;
    subject.create();
    setup.apply(subject);
    quarlo_StartMainThread(subject.handle);
    threads::yield();
    threads::yield();
    if (subject.record()->currentState == ePROTOCOL_STATE_RUN) {
        refuseAllocation(setup.refused);
        dispatch(subject.record(), in.rest());
        refuseAllocation(0);
        threads::yield();
    }
    subject.endReading();
    subject.remove();
}

}  // namespace quarlo::fuzz
