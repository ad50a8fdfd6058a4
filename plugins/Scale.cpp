/*
 * Scaling plug-in 00: enlarges pictures with a separable bilinear kernel. The phone sends parts of
 * its screen, each scaled by itself, so the kernel places centres on centres: parts then fit
 * together. A call works in one block of the host's heap and keeps nothing; any number of threads
 * may call.
 */
#include <utility>

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
        : columns{pieces.take<UInt32>(p.destinationWidth),
                  pieces.take<ChannelPair>(p.destinationWidth)},
          unpacked(pieces.take<WidePixel>(size_t{p.sourceWidth} + 1)),
          upper(pieces.take<WidePixel>(p.destinationWidth)),
          lower(pieces.take<WidePixel>(p.destinationWidth)),
          blended(pieces.take<UInt8>(channelsPerPixel * p.destinationWidth)),
          needed(pieces.needed()) {}

    Columns columns;
    WidePixel* unpacked;
    WidePixel* upper; /**< the stretched source row at or above the row to be written */
    WidePixel* lower; /**< the one below */
    UInt8* blended;
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
        : p(parameter), scratch(memory) {
        for (UInt32 x = 0; x < p.destinationWidth; ++x) {
            setColumn(scratch.columns, x, placeOf(x, p.sourceWidth, p.destinationWidth));
        }
    }

    void run() {
        stretch(0, scratch.upper);
        stretch(below(0), scratch.lower);
        for (UInt32 y = 0; y < p.destinationHeight; ++y) {
            const Place place = placeOf(y, p.sourceHeight, p.destinationHeight);
            // An enlargement never goes down by more than one row of the source at a time.
            if (place.first != top) advance();
            write(y, rowWeights(place.weight));
        }
    }

  private:
    UInt32 below(UInt32 row) const { return row + 1 < p.sourceHeight ? row + 1 : row; }

    void advance() {
        ++top;
        std::swap(scratch.upper, scratch.lower);
        stretch(below(top), scratch.lower);
    }

    void stretch(UInt32 row, WidePixel* to) {
        const size_t rowBytes = size_t{p.sourceWidth} * p.imageBpp;
        unpackRow(p.sourceBuffer + row * rowBytes, scratch.unpacked, p.sourceWidth, layout());
        stretchRow(scratch.unpacked, to, scratch.columns, p.destinationWidth);
    }

    void write(UInt32 y, RowWeights weights) {
        const size_t rowBytes = size_t{p.destinationWidth} * p.imageBpp;
        UInt8* row = p.destinationBuffer + y * rowBytes;
        UInt8* bytes = p.imageBpp == channelsPerPixel ? row : scratch.blended;
        blendRows(scratch.upper, scratch.lower, weights, bytes, p.destinationWidth);
        if (bytes != row) packRow(bytes, row, p.destinationWidth, layout());
    }

    PixelLayout layout() const { return {p.format, p.endian}; }

    const scaleParameter& p;
    Scratch scratch;
    UInt32 top = 0; /**< the source row in scratch.upper */
};

bool isEmpty(const scaleParameter& p) {
    return p.sourceWidth == 0 || p.sourceHeight == 0 || p.sourceBufferLength == 0 ||
           p.destinationWidth == 0 || p.destinationHeight == 0 || p.destinationBufferLength == 0;
}

bool fits(UInt16 width, UInt16 height, UInt8 bytes, UInt32 length) {
    return UInt64{width} * height * bytes <= length;
}

bool isEnlargement(const scaleParameter& p) {
    return p.sourceWidth <= p.destinationWidth && p.sourceHeight <= p.destinationHeight;
}

eSCALEERROR check(const scaleParameter& p) {
    if (isEmpty(p)) return eSCALEERROR_PARAM_VALUE;
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
