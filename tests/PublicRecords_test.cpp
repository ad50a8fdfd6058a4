/*
 * The memory layout of what plug-ins exchange with the library: a change here breaks plug-ins that
 * are not compiled anew. Offsets count in pointers, of 32 or 64 bits. What hosts exchange with it
 * is described in abi/.
 */
#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

#include "QUARLO-Core-Types.h"
#include "QUARLO-LibScale.h"

namespace {

#define AT(Record, Field, Offset) static_assert(offsetof(Record, Field) == (Offset))
#define SIZE(Record, Size) \
    static_assert(sizeof(Record) == (Size) && std::is_standard_layout_v<Record>)

constexpr std::size_t P = sizeof(void*);

/** Where a pointer can stand, from here on. */
constexpr std::size_t aligned(std::size_t offset) {
    return (offset + P - 1) / P * P;
}

SIZE(decompressInitParameter, aligned(12) + 2 * P);
AT(decompressInitParameter, versionMinor, 2);
AT(decompressInitParameter, versionBuild, 4);
AT(decompressInitParameter, compression, 8);
AT(decompressInitParameter, mallocFunction, aligned(12));
AT(decompressInitParameter, freeFunction, aligned(12) + P);

SIZE(decompressParameter, aligned(12) + 4 * P);
AT(decompressParameter, height, 2);
AT(decompressParameter, bpp, 4);
AT(decompressParameter, format, 5);
AT(decompressParameter, endian, 6);
AT(decompressParameter, compression, 8);
AT(decompressParameter, compressedData, aligned(12));
AT(decompressParameter, compressedDataLength, aligned(12) + P);
AT(decompressParameter, frameData, aligned(12) + 2 * P);
AT(decompressParameter, frameDataLength, aligned(12) + 3 * P);

SIZE(scaleInitParameter, 8 + 2 * P);
AT(scaleInitParameter, mallocFunction, 8);
AT(scaleInitParameter, freeFunction, 8 + P);

SIZE(scaleParameter, aligned(19 + 2 * P));
AT(scaleParameter, sourceHeight, 2);
AT(scaleParameter, sourceBufferLength, 4);
AT(scaleParameter, sourceBuffer, 8);
AT(scaleParameter, destinationWidth, 8 + P);
AT(scaleParameter, destinationHeight, 10 + P);
AT(scaleParameter, destinationBufferLength, 12 + P);
AT(scaleParameter, destinationBuffer, 16 + P);
AT(scaleParameter, format, 16 + 2 * P);
AT(scaleParameter, endian, 17 + 2 * P);
AT(scaleParameter, imageBpp, 18 + 2 * P);

static_assert(sizeof(eReturnCode) == 4 && sizeof(eTraceClass) == 4 && sizeof(Flag) == 1);

// Enumerations have the width that they have on the wire; masks combine without casts.
#define QUARLO_ENUM_BEGIN(Type, Wire, Printer) static_assert(sizeof(Type) == sizeof(Wire));
#define QUARLO_MASK_BEGIN(Type, Wire, Printer) static_assert(std::is_same_v<Type, Wire>);
#include "QUARLO.Connector.IVI-API-Enumerations.def"

TEST(PublicRecords, CombineTheirMasksWithoutCasts) {
    const FrameCompression compressions = eFRAMECOMPRESSION_JPEG | eFRAMECOMPRESSION_ZLIB;
    const eTraceClass classes = eTRACECLASS_ERROR | eTRACECLASS_WARNING;
    EXPECT_EQ(compressions, 3U);
    EXPECT_EQ(static_cast<int>(classes), 3);
    EXPECT_EQ(static_cast<int>(classes & ~eTRACECLASS_ERROR), 2);
}

}  // namespace
