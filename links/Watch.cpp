#include "Watch.h"

#include <time.h>

#include <algorithm>
#include <new>

namespace quarlo::links {
namespace {

// In the static block of thread storage, which is not allocated at its first use.
[[gnu::tls_model("initial-exec")]] thread_local bool isSessionsOwn = false;

std::uint64_t nanoseconds(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<std::uint64_t>(time.tv_sec) * 1000000000U +
           static_cast<std::uint64_t>(time.tv_nsec);
}

int indexOf(quarloDirection direction) {
    return direction == eDIRECTION_ToPhone ? 1 : 0;
}

// The setting that a packet of this type sets, or answers; settingCount for none.
int settingOf(UInt8 type) {
    switch (type) {
        case eEVENTTYPE_SetPixelFormat:
        case eEVENTTYPE_PixelFormatAcknowledge:
            return static_cast<int>(Setting::PixelFormat);
        case eEVENTTYPE_OverrideCompression:
        case eEVENTTYPE_OverrideCompressionAcknowledge:
            return static_cast<int>(Setting::Compression);
        case eEVENTTYPE_SetFrameSize:
        case eEVENTTYPE_FrameSizeAcknowledge:
            return static_cast<int>(Setting::Size);
        default:
            return settingCount;
    }
}

// Packets whose first byte says yes (1) or no, and whose no ends the connection.
bool isVerdict(UInt8 type) {
    return type == eEVENTTYPE_ServerProtocolAcknowledge ||
           type == eEVENTTYPE_ServerInitAcknowledge || type == eEVENTTYPE_ServerInitDone ||
           type == eEVENTTYPE_PixelFormatAcknowledge || type == eEVENTTYPE_FrameSizeAcknowledge;
}

// The compression that a ClientInit asks for stands behind the name (encoding, length, bytes), four
// sizes, the capabilities, format and byte order.
std::uint32_t compressionOf(const UInt8* init, std::size_t size) {
    constexpr std::size_t name = QUARLO_PACKET_HEADER + 3;
    constexpr std::size_t behindName = 4 * 2 + 4 + 1 + 1;
    if (size < name) return 0;
    const std::size_t length = init[name - 2] | std::size_t{init[name - 1]} << 8;
    const std::size_t at = name + length + behindName;
    return at + 4 <= size ? quarloFraming_Number(init + at) : 0;
}

}  // namespace

eReturnCode readCount(const PacketCounts& counts, quarloDirection direction, std::uint32_t type,
                      std::uint64_t* packets, std::uint64_t* bytes) {
    const bool isKnown = direction == eDIRECTION_FromPhone || direction == eDIRECTION_ToPhone;
    if (!isKnown || type > UINT8_MAX) return eRETURN_PARAM_VALUE;
    const PacketCount& count = counts[indexOf(direction)][type];
    if (packets != nullptr) *packets = count.packets.load(std::memory_order_relaxed);
    if (bytes != nullptr) *bytes = count.bytes.load(std::memory_order_relaxed);
    return eRETURN_OKAY;
}

Watch::~Watch() {
    while (observers != nullptr) {
        Entry* next = observers->next;
        delete observers;
        observers = next;
    }
}

bool Watch::add(const quarloObserver& observer) {
    auto* entry = new (std::nothrow) Entry{observer, nullptr};
    if (entry == nullptr) return false;
    Entry** end = &observers;
    while (*end != nullptr) end = &(*end)->next;
    *end = entry;
    return true;
}

void Watch::close(const quarloLink& link) {
    for (const Entry* each = observers; each != nullptr; each = each->next) {
        if (each->observer.closed != nullptr) each->observer.closed(each->observer.context, &link);
    }
}

void Watch::carried(quarloDirection direction, const UInt8* bytes, std::size_t count) {
    Stream& stream = streams[indexOf(direction)];
    const quarloPiece piece = {sizeof piece,
                               nanoseconds(CLOCK_REALTIME),
                               nanoseconds(CLOCK_MONOTONIC),
                               stream.position,
                               bytes,
                               count,
                               direction,
                               0};
    for (const Entry* each = observers; each != nullptr; each = each->next) {
        if (each->observer.piece != nullptr) each->observer.piece(each->observer.context, &piece);
    }
    stream.position += count;
    for (std::size_t at = 0; at < count;) {
        const quarloFraming& framing = stream.framing;
        const std::uint64_t before = framing.isWhole ? 0 : framing.taken;
        const std::size_t taken = quarloFraming_Take(&stream.framing, bytes + at, count - at);
        took(stream, piece, bytes + at, before);
        at += taken;
    }
}

void Watch::took(Stream& stream, const quarloPiece& piece, const UInt8* bytes,
                 std::uint64_t before) {
    const quarloFraming& framing = stream.framing;
    if (before == 0) stream.steadyBegin = piece.steadyTime;
    if (before <= QUARLO_PACKET_HEADER && framing.taken > QUARLO_PACKET_HEADER) {
        stream.first = bytes[QUARLO_PACKET_HEADER - before];
    }
    if (framing.isWhole) complete(stream, piece);
}

void Watch::complete(const Stream& stream, const quarloPiece& piece) {
    const quarloFraming& framing = stream.framing;
    for (PacketCounts* each : {&numbers, totals}) {
        if (each == nullptr) continue;
        PacketCount& count = (*each)[indexOf(piece.direction)][framing.type];
        count.packets.fetch_add(1, std::memory_order_relaxed);
        count.bytes.fetch_add(framing.taken, std::memory_order_relaxed);
    }
    if (piece.direction == eDIRECTION_FromPhone && framing.payloadSize > 0) understand(stream);
    const quarloPacket packet = {
        sizeof packet, piece.wallTime, piece.steadyTime, stream.steadyBegin, framing.begin,
        framing.taken, framing.flags,  piece.direction,  framing.type,       0};
    for (const Entry* each = observers; each != nullptr; each = each->next) {
        if (each->observer.packet != nullptr) {
            each->observer.packet(each->observer.context, &packet);
        }
    }
}

void Watch::understand(const Stream& stream) {
    const UInt8 type = stream.framing.type;
    const bool isRefusal = stream.first != eFLAG_TRUE;
    if (isRefusal && isVerdict(type)) refusedBy.store(type);
    const int setting = settingOf(type);
    if (setting == settingCount) return;
    asked[setting].isRefused.store(isRefusal);
    ++asked[setting].arrived;
    hasNews = true;
}

bool Watch::handled() {
    if (!hasNews) return false;
    hasNews = false;
    for (Asked& each : asked) each.handled.store(each.arrived);
    return true;
}

void Watch::sending(const UInt8* packet, std::size_t size) {
    if (size <= QUARLO_PACKET_HEADER) return;
    const UInt8* payload = packet + QUARLO_PACKET_HEADER;
    const std::size_t payloadSize = size - QUARLO_PACKET_HEADER;
    const int setting = settingOf(packet[0]);
    if (setting < settingCount) asked[setting].sent.fetch_add(1);
    if (packet[0] == eEVENTTYPE_ClientInit) compressionTold.store(compressionOf(packet, size));
    if (packet[0] == eEVENTTYPE_OverrideCompression && payloadSize >= 4) {
        compressionTold.store(quarloFraming_Number(payload));
    }
    if (packet[0] == eEVENTTYPE_ClientState && payloadSize >= 2 && !isSessionsOwn &&
        payload[0] == eCLIENTDATATYPE_FrameRequestsSuspended) {
        isSuspendedByHost.store(payload[1] == eFLAG_TRUE);
    }
}

void Watch::setOwn(bool isOwn) {
    isSessionsOwn = isOwn;
}

}  // namespace quarlo::links
