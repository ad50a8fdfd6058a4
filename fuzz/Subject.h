/*
 * A host with one instance: all callbacks read every byte that they are given, and what is sent is
 * checked to be a packet. A target says what the link reads and what the host does in callbacks.
 */
#ifndef QUARLO_FUZZ_SUBJECT_H
#define QUARLO_FUZZ_SUBJECT_H

#include "Bytes.h"
#include "Input.h"
#include "Listener.h"
#include "QUARLO-Core.h"
#include "QUARLO-Internal.h"

namespace quarlo::fuzz {

/** What a phone says until RUN: the answer to the version, and the rest. */
test::Bytes handshakeStart();
test::Bytes handshakeEnd();

class Subject : public test::Listener {
  public:
    Subject() = default;
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;

    void create();
    void remove();
    [[nodiscard]] quarlo_CoreInstance* record() const {
        return static_cast<quarlo_CoreInstance*>(handle);
    }
    /** Registers the callbacks whose bits are set and switches the others off. */
    void registerCallbacks(std::uint64_t which);

    void heard(const test::Heard& what) override;
    void write(const UInt8* buffer, std::size_t size) override;
    void traced(eTraceClass traceClass, const char* line) override;
    /** What the host does inside a callback. */
    virtual void react() {}
    /** What the sender link does besides looking at the packet. */
    virtual void sending() {}
    /** The end-receiver request. */
    virtual void endReading() {}

    void* handle = nullptr;
};

/** The first bytes of an input that uses a connection. */
struct Setup {
    enum Option : std::uint8_t {
        Raw = 1,
        NoPlugins = 2,
        EndRequest = 4,
        Dump = 8,
        Watchdog = 16,
        InitTimer = 32,
        AllCapabilities = 64,
        Restart = 128
    };
    explicit Setup(Input& in);
    [[nodiscard]] bool has(Option option) const { return (options & option) != 0; }
    void apply(Subject& subject) const;

    std::uint8_t options;
    std::uint8_t size;
    std::uint16_t refused;  // the allocation that fails
};

}  // namespace quarlo::fuzz

#endif
