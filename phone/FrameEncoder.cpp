// Writes FramebufferUpdate packets: the head first, each rectangle behind it, sizes filled in when
// they are known, so that pixels are converted or compressed once and not copied again. One thread.
#include "FrameEncoder.h"

#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo::phone {
namespace {

std::size_t updateHeadSize() {
    return sizeOf_PacketHeader() + sizeOf_UInt8();
}

std::size_t rectangleHeadSize() {
    return sizeOf_Rectangle() + sizeOf_FrameProperties() + 2 * sizeOf_UInt8() + sizeOf_UInt32();
}

std::size_t rawSize(const FrameStyle& style, const Area& area) {
    return static_cast<std::size_t>(area.width) * static_cast<std::size_t>(area.height) *
           style.layout.bytesPerPixel();
}

/// Larger than any encoding of the area in use becomes: data that do not shrink grow by a fraction.
std::size_t largestSize(const FrameStyle& style, const Area& area) {
    const std::size_t raw = rawSize(style, area);
    if (style.compression == eFRAMECOMPRESSION_Uncompressed) return rectangleHeadSize() + raw;
    return rectangleHeadSize() + raw + raw / 1024 + 1024;
}

void writeRectangleHead(const FrameStyle& style, const Area& area, FrameCompression compression,
                        std::size_t dataLength, std::uint8_t* at) {
    const qrRectangle rectangle{static_cast<UInt16>(area.x), static_cast<UInt16>(area.y),
                                static_cast<UInt16>(area.width), static_cast<UInt16>(area.height)};
    const qrFrameProperties properties{style.layout.format, style.layout.order, compression,
                                       style.layout.bytesPerPixel()};
    void* next = writeToBuffer_Rectangle(at, &rectangle);
    next = writeToBuffer_FrameProperties(next, &properties);
    next = writeToBuffer_UInt8(next, style.percent);
    next = writeToBuffer_UInt8(next, style.percent);
    writeToBuffer_UInt32(next, static_cast<UInt32>(dataLength));
}

void writeUpdateHead(std::size_t payload, std::size_t count, std::uint8_t* at) {
    const qrPacketHeader header{eEVENTTYPE_FramebufferUpdate, 0, static_cast<UInt32>(payload)};
    void* next = writeToBuffer_PacketHeader(at, &header);
    writeToBuffer_UInt8(next, static_cast<UInt8>(count));
}

void copyArea(const Picture& from, const Area& area, Picture& to) {
    for (int y = area.y; y < area.bottom(); ++y)
        std::copy_n(from.row(y) + area.x, area.width, to.row(y) + area.x);
}

/// Takes the first area, or as many of its rows as fit into the room; empty if not even one does.
Area takeFront(const FrameStyle& style, std::deque<Area>& areas, std::size_t room, bool mayCut) {
    Area& front = areas.front();
    Area piece = front;
    while (mayCut && piece.height > 1 && largestSize(style, piece) > room)
        piece.height = (piece.height + 1) / 2;
    if (largestSize(style, piece) > room && !(mayCut && piece.height == 1)) return {};
    front.y += piece.height;
    front.height -= piece.height;
    if (front.empty()) areas.pop_front();
    return piece;
}

}  // namespace

bool FrameEncoder::appendUpdate(const FrameStyle& style, const Picture& picture,
                                std::deque<Area>& areas, std::vector<std::uint8_t>& out,
                                Picture& view) {
    const std::size_t start = out.size();
    out.resize(start + updateHeadSize());
    std::size_t count = 0;
    while (!areas.empty() && count < mostRectangles) {
        const std::size_t used = out.size() - start;
        const std::size_t room = style.largestPacket - std::min(style.largestPacket, used);
        const Area piece = takeFront(style, areas, room, count == 0);
        if (piece.empty()) break;
        if (!appendRectangle(style, picture, piece, out, view)) {
            out.resize(start);
            return false;
        }
        ++count;
    }
    writeUpdateHead(out.size() - start - sizeOf_PacketHeader(), count, out.data() + start);
    return true;
}

bool FrameEncoder::appendRectangle(const FrameStyle& style, const Picture& picture,
                                   const Area& area, std::vector<std::uint8_t>& out,
                                   Picture& view) {
    const std::size_t head = out.size();
    const std::size_t data = head + rectangleHeadSize();
    out.resize(data);
    const FrameCompression used = appendData(style, picture, area, out);
    if (used == eFRAMECOMPRESSION_None) return false;
    writeRectangleHead(style, area, used, out.size() - data, out.data() + head);
    copyArea(picture, area, view);
    if (used == eFRAMECOMPRESSION_JPEG)
        showDecoded(style, out.data() + data, out.size() - data, area, view);
    return true;
}

FrameCompression FrameEncoder::appendData(const FrameStyle& style, const Picture& picture,
                                          const Area& area, std::vector<std::uint8_t>& out) {
    const std::size_t start = out.size();
    const std::size_t raw = rawSize(style, area);
    if (style.compression == eFRAMECOMPRESSION_ZLIB) {
        pixels.resize(raw);
        packPixels(picture, area, style.layout, pixels.data());
        if (!zlib.append(pixels, out)) return eFRAMECOMPRESSION_None;
    } else if (style.compression == eFRAMECOMPRESSION_JPEG) {
        if (!jpeg.append(picture, area, out)) return eFRAMECOMPRESSION_None;
    }
    const bool isPacked = style.compression != eFRAMECOMPRESSION_Uncompressed;
    if (isPacked && (!style.mayFallBack || out.size() - start < raw)) return style.compression;
    out.resize(start + raw);
    packPixels(picture, area, style.layout, out.data() + start);
    return eFRAMECOMPRESSION_Uncompressed;
}

/// JPEG loses detail: what the receiver sees is what decoding gives, put through its pixel format.
void FrameEncoder::showDecoded(const FrameStyle& style, const std::uint8_t* data, std::size_t size,
                               const Area& area, Picture& view) {
    Picture lossy(area.width, area.height);
    if (!jpeg.decode(data, size, lossy, lossy.area())) return;
    quantise(lossy, style.layout.format, decoded);
    for (int y = 0; y < area.height; ++y)
        std::copy_n(decoded.row(y), area.width, view.row(area.y + y) + area.x);
}

}  // namespace quarlo::phone
