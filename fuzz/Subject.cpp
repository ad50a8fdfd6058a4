/* What the library says and sends is looked at; see the header. */
#include "Subject.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ApiCalls.h"

namespace quarlo::fuzz {
namespace {

using test::operator+;
using test::packet;
using test::text;
using test::u32;
using test::u8;

bool goesToPhone(UInt8 type) {
    switch (type) {
#define QUARLO_SENT_ToPhone(Event) case Event:
#define QUARLO_SENT_FromPhone(Event)
#define QUARLO_PACKET(Event, Direction, ...) QUARLO_SENT_##Direction(Event)
#define QUARLO_EMPTY_PACKET(Event, Direction, ...) QUARLO_SENT_##Direction(Event)
#include "QUARLO.Connector.IVI-API-Catalogue.def"
        return true;
        default:
            return false;
    }
}

void lookAtPacket(const UInt8* buffer, std::size_t size) {
    look(buffer, size);
    require(size >= wire::headerSize && goesToPhone(buffer[0]), "no packet was sent");
    const UInt32 payload = Input(buffer + 5, 4).u32();
    require(size == wire::headerSize + payload, "a packet of another size was sent");
}

/** Gives whoever listens to the setters whose turn is a bit that is set. */
class Chosen : public test::Arguments {
  public:
    Chosen(test::Listener& whole, std::uint64_t bits) : who(whole), which(bits) {}
    test::Listener* listener() override { return (which & 1) == 0 ? nullptr : &who; }
    void next() { which >>= 1; }

  private:
    test::Listener& who;
    std::uint64_t which;
};

}  // namespace

test::Bytes handshakeStart() {
    return packet(2, u8(1));
}

test::Bytes handshakeEnd() {
    return packet(12, u8(1)) +
           packet(14, text("phone") + u8(1) + u8(2) + u8(1) + u8(2) + u32(7) + text("PhoneOS 4") +
                          text("uuid")) +
           packet(18, u8(1));
}

void Subject::create() {
    handle = quarlo_CreateInstance(static_cast<test::Listener*>(this), "fuzzed");
    if (handle == nullptr) return;
    test::attach(handle, *this);
    test::listen(handle, *this);
    quarlo_SetTraceClass(handle, static_cast<eTraceClass>(63));
}

void Subject::remove() {
    quarlo_DeleteInstance(handle);
    handle = nullptr;
}

void Subject::registerCallbacks(std::uint64_t which) {
    Chosen arguments(*this, which);
    test::apiCall("quarlo_SetEndReceiverRequestCallback").call(handle, arguments);
    for (const test::ApiCall& call : test::apiCalls) {
        if (call.about != test::About::Callback) continue;
        arguments.next();
        call.call(handle, arguments);
    }
}

void Subject::heard(const test::Heard& what) {
    if (what.callback == test::Callback::EndReceiverRequest) return endReading();
    react();
}

void Subject::write(const UInt8* buffer, std::size_t size) {
    lookAtPacket(buffer, size);
    sending();
    lookAtPacket(buffer, size);
}

void Subject::traced(eTraceClass, const char* line) {
    static const bool isShown = std::getenv("QUARLO_FUZZ_TRACE") != nullptr;
    test::lookAtText(line);
    if (isShown) std::fprintf(stderr, "%s\n", line);
}

Setup::Setup(Input& in) : options(in.u8()), size(in.u8()), refused(in.u16()) {}

void Setup::apply(Subject& subject) const {
    void* handle = subject.handle;
    quarlo_SetFrameOutputType(handle, has(Raw) ? 1 : 0);
    if (!has(EndRequest)) quarlo_SetEndReceiverRequestCallback(handle, nullptr);
    if (has(Dump)) quarlo_SetDumpProperties(handle, 1, size & 1, 1, nullptr);
    if (has(Watchdog)) quarlo_EnablePingWatchdog(handle, 1, 2);
    quarlo_SetInitialisationTimeout(handle, has(InitTimer) ? 3 : 0);
    if (has(AllCapabilities)) quarlo_SetClientCapabilities(handle, eCLIENTCAPABILITIES_All, 1);
    quarlo_SetFrameSize(handle, 8U << (size & 7), 8U << (size >> 3 & 7), 100, 100);
    if ((size & 128) != 0) quarlo_SetTraceOutput(handle, &_quarlo_traceOutCore);
    if ((size & 64) != 0) {
        quarlo_SetPixelFormat(handle, ePIXELFORMAT_RGB565, 2, ePIXELENDIANESS_BigEndian);
    }
}

}  // namespace quarlo::fuzz
