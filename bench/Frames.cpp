#include "Frames.h"

#include <zlib.h>

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

Bytes picture(UInt32 width, UInt32 height) {
    Bytes pixels(std::size_t{width} * height * 4);
    std::uint32_t noise = 1;
    for (std::size_t i = 0; i < pixels.size(); i += 4) {
        const std::size_t x = i / 4 % width;
        const std::size_t y = i / 4 / width;
        noise = noise * 1664525U + 1013904223U;
        const bool isPhoto = x > width / 2 && y > height / 2;
        const std::size_t grain = isPhoto ? noise >> 29 : 0;
        pixels[i] = static_cast<UInt8>(y / 4 + grain);
        pixels[i + 1] = static_cast<UInt8>(isPhoto ? (x + y) / 8 : 0x40);
        pixels[i + 2] = static_cast<UInt8>(x / 8);
        pixels[i + 3] = 0xFF;
    }
    return pixels;
}

Bytes deflated(const Bytes& data) {
    uLongf size = compressBound(data.size());
    Bytes result(size);
    compress2(result.data(), &size, data.data(), data.size(), 6);
    result.resize(size);
    return result;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace quarlo::bench
