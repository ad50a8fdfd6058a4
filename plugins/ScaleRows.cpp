#include "ScaleRows.h"

#include <cstring>

#include "Pixels.h"

// The loops are written for what compilers make of them with the vector units of every processor of
// an architecture: no branches, no overlap, memcpy for access of any alignment.

namespace quarlo::plugin {
namespace {

WidePixel widePixel(UInt16 a, UInt16 b, UInt16 c) {
    if constexpr (littleEndian) return WidePixel{c} << 32 | WidePixel{b} << 16 | a;
    return WidePixel{a} << 48 | WidePixel{b} << 32 | WidePixel{c} << 16;
}

template <bool foreign>
void unpack565(const UInt8* from, WidePixel* to, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        UInt16 pixel;
        std::memcpy(&pixel, from + 2 * i, sizeof pixel);
        if constexpr (foreign) pixel = swapped(pixel);
        to[i] = widePixel(static_cast<UInt16>(pixel >> 11), pixel >> 5 & 0x3F, pixel & 0x1F);
    }
}

void unpack888(const UInt8* from, WidePixel* to, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i, from += 3) to[i] = widePixel(from[0], from[1], from[2]);
}

void unpack8888(const UInt8* __restrict from, WidePixel* __restrict to, size_t pixels) {
    UInt8* out = reinterpret_cast<UInt8*>(to);
    for (size_t i = 0; i < channelsPerPixel * pixels; ++i) {
        const UInt16 channel = from[i];
        std::memcpy(out + 2 * i, &channel, sizeof channel);
    }
}

template <bool foreign>
void pack565(const UInt8* __restrict from, UInt8* __restrict to, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        UInt32 bytes;
        std::memcpy(&bytes, from + 4 * i, sizeof bytes);
        UInt16 pixel =
            static_cast<UInt16>(byteOf(bytes, 0) << 11 | byteOf(bytes, 1) << 5 | byteOf(bytes, 2));
        if constexpr (foreign) pixel = swapped(pixel);
        std::memcpy(to + 2 * i, &pixel, sizeof pixel);
    }
}

/** Copies four bytes for each pixel but the last: the next one covers the fourth. */
void pack888(const UInt8* __restrict from, UInt8* __restrict to, size_t pixels) {
    for (size_t i = 0; i + 1 < pixels; ++i) std::memcpy(to + 3 * i, from + 4 * i, 4);
    std::memcpy(to + 3 * (pixels - 1), from + 4 * (pixels - 1), 3);
}

void unpackPixels(const UInt8* from, WidePixel* to, size_t pixels, PixelLayout layout) {
    switch (layout.format) {
        case ePIXELFORMAT_RGB565:
            return isForeign(layout.endian) ? unpack565<true>(from, to, pixels)
                                     : unpack565<false>(from, to, pixels);
        case ePIXELFORMAT_RGB888:
            return unpack888(from, to, pixels);
        case ePIXELFORMAT_ARGB8888:
        case ePIXELFORMAT_RGBA8888:
            return unpack8888(from, to, pixels);
    }
}

}  // namespace

Place placeOf(UInt32 destination, UInt32 sourceSize, UInt32 destinationSize) {
    const Int64 centre = (Int64{2} * destination + 1) * sourceSize - destinationSize;
    if (centre <= 0) return {0, 0};
    const Int64 place = (centre * placeScale + destinationSize) / (Int64{2} * destinationSize);
    const UInt32 first = static_cast<UInt32>(place / placeScale);
    if (first + 1 >= sourceSize) return {sourceSize - 1, 0};
    return {first, static_cast<UInt32>(place % placeScale)};
}

void unpackRow(const UInt8* from, WidePixel* to, size_t pixels, PixelLayout layout) {
    unpackPixels(from, to, pixels, layout);
    to[pixels] = to[pixels - 1];
}

void setColumn(const Columns& columns, size_t index, Place place) {
    const UInt16 right = static_cast<UInt16>((place.weight + 128) >> 8);
    const UInt16 left = static_cast<UInt16>(256 - right);
    columns.first[index] = place.first;
    columns.weights[index] = ChannelPair{left, left, left, left, right, right, right, right};
}

void stretchRow(const WidePixel* from, WidePixel* to, const Columns& columns, size_t pixels) {
    const UInt32* __restrict first = columns.first;
    const ChannelPair* __restrict weights = columns.weights;
    for (size_t i = 0; i < pixels; ++i) {
        ChannelPair pair;
        std::memcpy(&pair, from + first[i], sizeof pair);
        const ChannelPair weighted = pair * weights[i];
        WidePixel halves[2];
        std::memcpy(halves, &weighted, sizeof halves);
        // No channel runs over into the next: 255 x 256 fits, and two weights are 256 together.
        to[i] = halves[0] + halves[1];
    }
}

void blendRows(const WidePixel* __restrict upper, const WidePixel* __restrict lower,
               RowWeights weights, UInt8* __restrict to, size_t pixels) {
    const UInt8* upperBytes = reinterpret_cast<const UInt8*>(upper);
    const UInt8* lowerBytes = reinterpret_cast<const UInt8*>(lower);
    for (size_t i = 0; i < channelsPerPixel * pixels; ++i) {
        UInt16 above;
        UInt16 below;
        std::memcpy(&above, upperBytes + 2 * i, sizeof above);
        std::memcpy(&below, lowerBytes + 2 * i, sizeof below);
        above = static_cast<UInt16>(UInt32{above} * weights.upper >> 16);
        below = static_cast<UInt16>(UInt32{below} * weights.lower >> 16);
        // Half a level, and the two units that the products lose on average.
        to[i] = static_cast<UInt8>(static_cast<UInt16>(above + below + 130) >> 8);
    }
}

void packRow(const UInt8* from, UInt8* to, size_t pixels, PixelLayout layout) {
    if (layout.format == ePIXELFORMAT_RGB888) return pack888(from, to, pixels);
    return isForeign(layout.endian) ? pack565<true>(from, to, pixels) : pack565<false>(from, to, pixels);
}

}  // namespace quarlo::plugin
