#include "ScaleRows.h"

#include <cstring>

#include "Pixels.h"

// The loops are written for what compilers make of them with the vector units of every processor of
// an architecture: no branches, no overlap.

namespace quarlo::plugin {
namespace {

/** The upper halves of the products; this form is one instruction where there is one. */
ChannelPair upperHalves(ChannelPair values, UInt16 factor) {
    UInt16 each[2 * channelsPerPixel];
    __builtin_memcpy(each, &values, sizeof each);
    for (UInt16& value : each) value = static_cast<UInt16>(UInt32{value} * factor >> 16);
    return load<ChannelPair>(each);
}

typedef UInt8 Bytes __attribute__((vector_size(16)));

Bytes lowerHalves(ChannelPair a, ChannelPair b) {
    const Bytes x = load<Bytes>(&a);
    const Bytes y = load<Bytes>(&b);
    if constexpr (littleEndian) {
        return __builtin_shufflevector(x, y, 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28,
                                       30);
    }
    return __builtin_shufflevector(x, y, 1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
}

WidePixel widePixel(UInt16 a, UInt16 b, UInt16 c) {
    if constexpr (littleEndian) return WidePixel{c} << 32 | WidePixel{b} << 16 | a;
    return WidePixel{a} << 48 | WidePixel{b} << 32 | WidePixel{c} << 16;
}

template <bool foreign>
void unpack565(const UInt8* from, WidePixel* to, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        UInt16 pixel = load<UInt16>(from + 2 * i);
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
        store(out + 2 * i, UInt16{from[i]});
    }
}

template <bool foreign>
void pack565(const UInt8* __restrict from, UInt8* __restrict to, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        const UInt32 bytes = load<UInt32>(from + 4 * i);
        UInt16 pixel =
            static_cast<UInt16>(byteOf(bytes, 0) << 11 | byteOf(bytes, 1) << 5 | byteOf(bytes, 2));
        if constexpr (foreign) pixel = swapped(pixel);
        store(to + 2 * i, pixel);
    }
}

/** Copies four bytes for each pixel but the last: the next one covers the fourth. */
void pack888(const UInt8* __restrict from, UInt8* __restrict to, size_t pixels) {
    for (size_t i = 0; i + 1 < pixels; ++i) store(to + 3 * i, load<UInt32>(from + 4 * i));
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
    // In units of which a source pixel has destinationSize, and one of the destination sourceSize.
    const UInt64 begin = UInt64{destination} * sourceSize;
    const UInt32 first = static_cast<UInt32>(begin / destinationSize);
    const UInt64 next = (UInt64{first} + 1) * destinationSize;
    if (begin + sourceSize <= next) return {first, 0};
    const UInt64 beyond = begin + sourceSize - next;
    const UInt64 size = sourceSize;
    return {first, static_cast<UInt32>((2 * beyond * placeScale + size) / (2 * size))};
}

void unpackRow(const UInt8* from, WidePixel* to, size_t pixels, PixelLayout layout) {
    unpackPixels(from, to, pixels, layout);
    to[pixels] = to[pixels - 1];
}

void setColumn(const Columns& columns, size_t index, Place place) {
    const UInt16 right = static_cast<UInt16>((place.weight + 128) >> 8);
    const UInt16 left = static_cast<UInt16>(256 - right);
    columns.first[index] = static_cast<UInt16>(place.first);
    columns.weights[index] = ChannelPair{left, left, left, left, right, right, right, right};
}

void stretchRow(const WidePixel* from, WidePixel* to, const Columns& columns, size_t pixels) {
    const UInt16* __restrict first = columns.first;
    const ChannelPair* __restrict weights = columns.weights;
    // No channel runs over: 255 x 256 fits, and two weights are 256 together.
    size_t i = 0;
    for (; i + 2 <= pixels; i += 2) {
        const ChannelPair a = load<ChannelPair>(from + first[i]) * weights[i];
        const ChannelPair b = load<ChannelPair>(from + first[i + 1]) * weights[i + 1];
        const ChannelPair sums = __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11) +
                                 __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15);
        store(to + i, sums);
    }
    if (i == pixels) return;
    const ChannelPair last = load<ChannelPair>(from + first[i]) * weights[i];
    const ChannelPair sums = last + __builtin_shufflevector(last, last, 4, 5, 6, 7, 0, 1, 2, 3);
    store(to + i, load<WidePixel>(&sums));
}

void narrowRow(const WidePixel* __restrict from, UInt8* __restrict to, size_t pixels) {
    const UInt8* bytes = reinterpret_cast<const UInt8*>(from);
    for (size_t i = 0; i < channelsPerPixel * pixels; ++i) {
        const UInt16 channel = load<UInt16>(bytes + 2 * i);
        to[i] = static_cast<UInt8>(static_cast<UInt16>(channel + 128) >> 8);
    }
}

void blendRows(const WidePixel* __restrict upper, const WidePixel* __restrict lower,
               RowWeights weights, UInt8* __restrict to, size_t pixels) {
    const auto pair = [&](size_t i) -> ChannelPair {
        // Half a level, and the two units that the products lose on average.
        return (upperHalves(load<ChannelPair>(upper + i), weights.upper) +
                upperHalves(load<ChannelPair>(lower + i), weights.lower) + UInt16{130}) >>
               8;
    };
    size_t i = 0;
    for (; i + pixelsAtOnce <= pixels; i += pixelsAtOnce) {
        store(to + channelsPerPixel * i, lowerHalves(pair(i), pair(i + 2)));
    }
    if (i == pixels) return;
    const Bytes last = lowerHalves(pair(i), pair(i + 2));
    std::memcpy(to + channelsPerPixel * i, &last, channelsPerPixel * (pixels - i));
}

void packRow(const UInt8* from, UInt8* to, size_t pixels, PixelLayout layout) {
    if (layout.format == ePIXELFORMAT_RGB888) return pack888(from, to, pixels);
    return isForeign(layout.endian) ? pack565<true>(from, to, pixels)
                                    : pack565<false>(from, to, pixels);
}

}  // namespace quarlo::plugin
