#include "Frames.h"

#include <algorithm>

namespace quarlo::bench {
namespace {

void put(Bytes& bytes, std::uint64_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i) bytes.push_back(static_cast<UInt8>(value >> (8 * i)));
}

}  // namespace

const Bytes protocolAccepted = {2, 0, 0, 0, 0, 1, 0, 0, 0, 1};
const Bytes handshakeDone = {12, 0, 0, 0, 0, 1, 0, 0, 0, 1, 14, 0, 0,  0, 0, 15, 0, 0, 0, 1, 0, 0,
                             1,  0, 7, 0, 0, 0, 1, 0, 0, 1, 0,  0, 18, 0, 0, 0,  0, 1, 0, 0, 0, 1};

Bytes updatePacket(const std::vector<Part>& parts, FrameCompression compression) {
    Bytes payload;
    put(payload, parts.size(), 1);
    for (const Part& part : parts) {
        for (const UInt32 each : {part.x, part.y, part.width, part.height}) put(payload, each, 2);
        put(payload, ePIXELFORMAT_ARGB8888, 1);
        put(payload, ePIXELENDIANESS_LittleEndian, 1);
        put(payload, compression, 4);
        put(payload, 4, 1);
        put(payload, 100, 1);
        put(payload, 100, 1);
        put(payload, part.data.size(), 4);
        payload.insert(payload.end(), part.data.begin(), part.data.end());
    }
    Bytes packet{eEVENTTYPE_FramebufferUpdate, 0, 0, 0, 0};
    put(packet, payload.size(), 4);
    packet.insert(packet.end(), payload.begin(), payload.end());
    return packet;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace quarlo::bench
