/* The receive dispatcher; see the header. Its table derives from the catalogue. */
#include "QUARLO_Receive.h"

#include <algorithm>
#include <array>

#include "QUARLO-Core-Utilities.h"

namespace quarlo {
namespace {

using wire::Bounded;
using Dispatch = void (*)(quarlo_CoreInstance*, qrPacketHeader&, Bounded&);

/** A packet that cannot be had disappears; a decoded one lives in the scratch memory until it is
 * handled. */
template <class P, void (*handler)(quarlo_CoreInstance*, P*)>
void decodeAndHandle(quarlo_CoreInstance* obj, qrPacketHeader& header, Bounded& in) {
    P* packet = wire::decodeFields<P>(&header, in, obj->scratch);
    if (packet != nullptr) handler(obj, packet);
    obj->scratch.reset();
}

constexpr std::array<Dispatch, 256> makeTable() {
    std::array<Dispatch, 256> table{};
#define QUARLO_ACCEPT_ToPhone(Name)
#define QUARLO_ACCEPT_FromPhone(Name) \
    table[eEVENTTYPE_##Name] = &decodeAndHandle<packet##Name, &onReceive##Name>;
#define QUARLO_PACKET(Event, Direction, Name, ...) QUARLO_ACCEPT_##Direction(Name)
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) QUARLO_ACCEPT_##Direction(Name)
#include "QUARLO.Connector.IVI-API-Catalogue.def"
    return table;
}

constexpr std::array<Dispatch, 256> accepted = makeTable();

constexpr std::uint64_t incomplete = 0;
constexpr std::uint64_t beyond = std::numeric_limits<std::uint64_t>::max();

/** Handles the packet at the start of the bytes: how many it used, incomplete, or beyond the end.
 */
std::uint64_t handleOne(quarlo_CoreInstance* obj, const UInt8* at, const UInt8* end) {
    qrPacketHeader header{};
    wire::Heap none;
    Bounded in{at, end};
    wire::Reader<Bounded, wire::Heap> reader{in, none};
    wire::Layout<qrPacketHeader>::each(header, reader);
    const auto received = static_cast<std::uint64_t>(end - at);
    const std::uint64_t declared = std::uint64_t{wire::headerSize} + header.PayloadSize;
    if (declared > received) return incomplete;
    accepted[header.PacketType](obj, header, in);
    if (in.isBeyond()) return beyond;
    // Payload that the decoder did not read is skipped; one that reads on within the bytes is
    // trusted.
    return std::max(declared, static_cast<std::uint64_t>(in.at - at));
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" {

ReceiveError QUARLO_Receive(quarlo_CoreInstance* obj, void* bufferPointer, UInt32 maxLength,
                            void** advancedBuffer) {
    if (obj == nullptr || bufferPointer == nullptr || advancedBuffer == nullptr) {
        return eRECEIVE_ERROR_NULL_POINTER;
    }
    auto* at = static_cast<UInt8*>(bufferPointer);
    const UInt8* end = at + maxLength;
    while (true) {
        *advancedBuffer = at;
        if (end - at < static_cast<std::ptrdiff_t>(wire::headerSize)) return eRECEIVE_NO_ERROR;
        if (accepted[*at] == nullptr) {
            onReceiveUnknown(obj, at);
            return eRECEIVE_ERROR_UNKNOWN_EVENT;
        }
        const std::uint64_t used = handleOne(obj, at, end);
        if (used == incomplete) return eRECEIVE_NO_ERROR;
        if (used == beyond) {
            // NOLINTNEXTLINE(performance-no-int-to-ptr): a mark behind the buffer, never followed
            *advancedBuffer = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(end) + 1);
            return eRECEIVE_NO_ERROR;
        }
        at += used;
    }
}

void onReceiveUnknown(quarlo_CoreInstance* obj, void* bufferPointer) {
    trace(obj, eTRACECLASS_WARNING, "onReceiveUnknown");
    if (bufferPointer == nullptr) {
        trace(obj, eTRACECLASS_WARNING, "...called with NULL bufferPointer.");
        return;
    }
    const auto* b = static_cast<const UInt8*>(bufferPointer);
    trace(obj, eTRACECLASS_WARNING,
          "   type: %2.2X, flags: %2.2X %2.2X %2.2X %2.2X, length: %2.2X %2.2X %2.2X %2.2X", b[0],
          b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8]);
}

}  // extern "C"
