/*
 * The arithmetic of the scaling plug-in: rows of pixels are unpacked to four channels of 16 bits
 * each, stretched sideways, blended pairwise and packed again. No state; any thread.
 */
#ifndef QUARLO_PLUGINS_SCALEROWS_H
#define QUARLO_PLUGINS_SCALEROWS_H

#include "QUARLO-LibScale.h"

namespace quarlo::plugin {

constexpr size_t channelsPerPixel = 4;
/** So many pixels are read at once: stretched rows are longer by what may be missing. */
constexpr size_t pixelsAtOnce = 4;

/** The four channels of a pixel, 16 bits each, in the order of their bytes in memory. */
using WidePixel = UInt64;

/** The channels of two neighbours, or their weights. */
typedef UInt16 ChannelPair __attribute__((vector_size(16)));

/** Which pixels of a row or column of the source a pixel of the destination covers. */
struct Place {
    UInt32 first; /**< the one that it begins in */
    UInt32
        weight; /**< share of the one after that, below placeScale; 0 when it covers none of it */

    bool operator==(const Place&) const = default;
};

constexpr UInt32 placeScale = 65536;

/** For a source that is not larger. The place depends on the ratio of the sizes alone. */
Place placeOf(UInt32 destination, UInt32 sourceSize, UInt32 destinationSize);

struct PixelLayout {
    PixelFormat format;
    PixelEndianess endian;
};

/** Unpacks a row and repeats its last pixel, so that every pixel has a neighbour. */
void unpackRow(const UInt8* from, WidePixel* to, size_t pixels, PixelLayout layout);

/** For each pixel of a stretched row: the first of its two source pixels, and their weights. */
struct Columns {
    UInt16* first;
    ChannelPair* weights;
};

void setColumn(const Columns& columns, size_t index, Place place);

/** Stretches an unpacked row; its channels get 8 more bits. */
void stretchRow(const WidePixel* from, WidePixel* to, const Columns& columns, size_t pixels);

/** Shares of two stretched rows, together at most 65535. */
struct RowWeights {
    UInt16 upper;
    UInt16 lower;
};

/** Makes pixels of four bytes of a stretched row. */
void narrowRow(const WidePixel* from, UInt8* to, size_t pixels);

/** Blends two stretched rows into pixels of four bytes. */
void blendRows(const WidePixel* upper, const WidePixel* lower, RowWeights weights, UInt8* to,
               size_t pixels);

/** Packs a row of four bytes per pixel into a layout that has fewer. */
void packRow(const UInt8* from, UInt8* to, size_t pixels, PixelLayout layout);

}  // namespace quarlo::plugin

#endif
