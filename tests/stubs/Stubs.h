/* What a test tells the stub plug-ins through a rectangle's data, and what they report back. */
#ifndef QUARLO_TESTS_STUBS_H
#define QUARLO_TESTS_STUBS_H

#include "QUARLO.Connector.IVI-API-Types_C.h"

namespace quarlo::test {

/** The compressed data of a rectangle, without padding; more bytes may follow. */
struct StubOrder {
    Int32 result;  // of decompress
    Int32 detailCode;
    UInt16 fill;        // every byte of the frame
    UInt16 mustReport;  // the frame begins with a StubReport, if it is long enough
};

/** What the decompressor was given. */
struct StubReport {
    UInt32 number;
    UInt32 width;
    UInt32 height;
    UInt32 bpp;
    UInt32 format;
    UInt32 endian;
    UInt32 compression;
    UInt32 compressedDataLength;
    UInt32 compressedSum;
    UInt32 frameDataLength;
    bool operator==(const StubReport&) const = default;
};

/** A source picture that begins with this byte makes the stub scaler fail. */
constexpr UInt8 unscalable = 0xEE;

}  // namespace quarlo::test

#endif
