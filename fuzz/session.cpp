/*
 * Whole sessions of an instance on its receiver thread. Behind the setup the input is a row of
 * answers of the receiver link, each with a byte that says its kind: nothing now, a chunk of bytes,
 * the end, a failure, or more than there was room for. What is left when a connection has ended is
 * the next one's.
 */
#include "Platform.h"
#include "Subject.h"
#include "Threads.h"

namespace quarlo::fuzz {
namespace {

constexpr unsigned mostConnections = 3;

class Talkative : public Subject {
  public:
    explicit Talkative(Input& input) : in(input) {}

    std::size_t read(UInt8* buffer, std::size_t size) override {
        threads::yield();
        if (in.isEmpty()) return static_cast<std::size_t>(-1);
        const unsigned kind = in.u8();
        switch (kind) {
            case 255:
                return static_cast<std::size_t>(-1);
            case 254:
                return size + 1 + in.u8();
            case 253:
                return static_cast<std::size_t>(-2 - Int32{in.u16()});
            case 252:
                return give(in.u16(), buffer, size);
            default:
                return give(kind, buffer, size);
        }
    }

  private:
    std::size_t give(std::size_t count, UInt8* buffer, std::size_t size) {
        const Span chunk = in.take(std::min(count, size));
        std::copy(chunk.begin(), chunk.end(), buffer);
        return chunk.size();
    }
    Input& in;
};

}  // namespace

void play(Input& in) {
    const Setup setup(in);
    const Library library(!setup.has(Setup::NoPlugins));
    Talkative subject(in);
    subject.create();
    setup.apply(subject);
    refuseAllocation(setup.refused);
    for (unsigned connection = 0; connection < mostConnections; ++connection) {
        quarlo_StartMainThread(subject.handle);
        while (subject.record()->mainThreadRunning != 0) threads::yield();
        if (!setup.has(Setup::Restart) || in.isEmpty()) break;
    }
    subject.remove();
}

}  // namespace quarlo::fuzz
