/*
 * Scaling plug-in 00: enlarges pictures. The phone sends parts of its screen, each scaled by
 * itself, so every pixel gets the colours of the area that it covers and of nothing beyond: parts
 * whose corners fall on whole pixels are exactly those of the whole, at their edges too. A call
 * works in one block of the host's heap and keeps nothing; any number of threads may call.
 */
#include <cstring>

#include "Pixels.h"
#include "Plugin.h"
#include "QUARLO-LibScale.h"
#include "ScaleRows.h"

namespace quarlo::plugin {
namespace {

/** Hands out the pieces of one block; without a block it only adds up what they need. */
class Pieces {
  public:
    explicit Pieces(UInt8* start) : block(start), used(0) {
        if (block != nullptr) used = -reinterpret_cast<uintptr_t>(block) & (alignment - 1);
    }

    template <class Element>
    Element* take(size_t count) {
        static_assert(alignof(Element) <= alignment);
        Element* piece = block == nullptr ? nullptr : reinterpret_cast<Element*>(block + used);
        used += (count * sizeof(Element) + alignment - 1) & ~(alignment - 1);
        return piece;
    }
    /** Also when the block itself begins at any address. */
    size_t needed() const { return used + alignment; }

  private:
    static constexpr size_t alignment = 16;
    UInt8* block;
    size_t used;
};

/** What a call works with besides both pictures. */
struct Scratch {
    Scratch(Pieces pieces, const scaleParameter& p)
        : columns{pieces.take<UInt16>(p.destinationWidth),
                  pieces.take<ChannelPair>(p.destinationWidth)},
          unpacked(pieces.take<WidePixel>(size_t{p.sourceWidth} + 1)),
          rows{pieces.take<WidePixel>(p.destinationWidth + pixelsAtOnce),
               pieces.take<WidePixel>(p.destinationWidth + pixelsAtOnce)},
          narrow(pieces.take<UInt8>(channelsPerPixel * p.destinationWidth)),
          needed(pieces.needed()) {}

    Columns columns;
    WidePixel* unpacked;
    WidePixel*
        rows[2]; /**< stretched rows of the source, one with an even number, one with an odd */
    UInt8* narrow;
    size_t needed;
};

/** Shares of 16 bits in all: every product's upper half then fits 16 bits, which vectorises best.
 */
RowWeights rowWeights(UInt32 weight) {
    const UInt16 lower = static_cast<UInt16>(weight);
    return {static_cast<UInt16>(placeScale - 1 - lower), lower};
}

class Enlargement {
  public:
    Enlargement(const scaleParameter& parameter, const Scratch& memory)
        : p(parameter), scratch(memory), rowSize(size_t{p.destinationWidth} * p.imageBpp) {
        for (UInt32 x = 0; x < p.destinationWidth; ++x) {
            setColumn(scratch.columns, x, placeOf(x, p.sourceWidth, p.destinationWidth));
        }
    }

    void run() {
        UInt8* row = p.destinationBuffer;
        Place before{none, 0};
        for (UInt32 y = 0; y < p.destinationHeight; ++y, row += rowSize) {
            const Place place = placeOf(y, p.sourceHeight, p.destinationHeight);
            if (place == before) {
                std::memcpy(row, row - rowSize, rowSize);
            } else {
                write(place, row);
            }
            before = place;
        }
    }

  private:
    static constexpr UInt32 none = ~UInt32{0};

    const WidePixel* stretched(UInt32 row) {
        WidePixel* to = scratch.rows[row % 2];
        if (held[row % 2] == row) return to;
        held[row % 2] = row;
        const size_t sourceSize = size_t{p.sourceWidth} * p.imageBpp;
        unpackRow(p.sourceBuffer + row * sourceSize, scratch.unpacked, p.sourceWidth, layout());
        stretchRow(scratch.unpacked, to, scratch.columns, p.destinationWidth);
        return to;
    }

    void write(const Place& place, UInt8* row) {
        const bool isPacked = p.imageBpp != channelsPerPixel;
        UInt8* bytes = isPacked ? scratch.narrow : row;
        if (place.weight == 0) {
            narrowRow(stretched(place.first), bytes, p.destinationWidth);
        } else {
            blendRows(stretched(place.first), stretched(place.first + 1), rowWeights(place.weight),
                      bytes, p.destinationWidth);
        }
        if (isPacked) packRow(bytes, row, p.destinationWidth, layout());
    }

    PixelLayout layout() const { return {p.format, p.endian}; }

    const scaleParameter& p;
    Scratch scratch;
    size_t rowSize;
    UInt32 held[2] = {none, none}; /**< which rows of the source the scratch holds */
};

bool isEmpty(const scaleParameter& p) {
    return p.sourceWidth == 0 || p.sourceHeight == 0 || p.destinationWidth == 0 ||
           p.destinationHeight == 0;
}

bool fits(UInt16 width, UInt16 height, UInt8 bytes, UInt32 length) {
    return UInt64{width} * height * bytes <= length;
}

bool isEnlargement(const scaleParameter& p) {
    return p.sourceWidth <= p.destinationWidth && p.sourceHeight <= p.destinationHeight;
}

eSCALEERROR check(const scaleParameter& p) {
    if (p.sourceBuffer == nullptr || p.destinationBuffer == nullptr) {
        return eSCALEERROR_NULL_PARAM_CONTENT;
    }
    const UInt8 bytes = bytesPerPixel(p.format);
    const bool accepted =
        bytes != 0 && bytes == p.imageBpp && isByteOrder(p.endian) && isEnlargement(p) &&
        fits(p.sourceWidth, p.sourceHeight, bytes, p.sourceBufferLength) &&
        fits(p.destinationWidth, p.destinationHeight, bytes, p.destinationBufferLength) &&
        allocate.load() != nullptr;
    return accepted ? eSCALEERROR_NONE : eSCALEERROR_PARAM_VALUE;
}

eSCALEERROR scale(const scaleParameter& p) {
    if (isEmpty(p)) return eSCALEERROR_NONE;
    const eSCALEERROR checked = check(p);
    if (checked != eSCALEERROR_NONE) return checked;
    const HostBlock block(Scratch(Pieces(nullptr), p).needed);
    if (!block) return eSCALEERROR_MEM_ALLOC;
    Enlargement(p, Scratch(Pieces(block.bytes()), p)).run();
    return eSCALEERROR_NONE;
}

}  // namespace
}  // namespace quarlo::plugin

QUARLO_PLUGIN_EXPORT Int32 quarloScale_initialise(scaleInitParameter* parameter) {
    return quarlo::plugin::initialise(parameter);
}

QUARLO_PLUGIN_EXPORT Int32 quarloScale_scale(scaleParameter* parameter, Int32* detailCode) {
    if (detailCode != nullptr) *detailCode = 0;
    if (parameter == nullptr || detailCode == nullptr) return eSCALEERROR_NULL_PARAM;
    return quarlo::plugin::scale(*parameter);
}
