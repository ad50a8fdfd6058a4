/*
 * The memory layout of what hosts and plug-ins exchange with the library: a change here breaks
 * programs that are not compiled anew. Checked where pointers have 64 bits, as on the targets that
 * ship.
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

static_assert(sizeof(void*) == 8, "the offsets below are those of 64-bit targets");

SIZE(TouchEvent, 12);
AT(TouchEvent, event, 0);
AT(TouchEvent, xPosition, 2);
AT(TouchEvent, yPosition, 4);
AT(TouchEvent, fingerId, 8);

SIZE(LocationStrings, 64);
AT(LocationStrings, validMask, 0);
AT(LocationStrings, Country, 8);
AT(LocationStrings, StateRegion, 16);
AT(LocationStrings, ZipCode, 24);
AT(LocationStrings, City, 32);
AT(LocationStrings, Street, 40);
AT(LocationStrings, CrossStreet, 48);
AT(LocationStrings, Housenumber, 56);

SIZE(CategoryList, 16);
AT(CategoryList, Categories, 8);

SIZE(AppInfo, 56);
AT(AppInfo, IdentifierURL, 0);
AT(AppInfo, Name, 8);
AT(AppInfo, UniqueIconID, 16);
AT(AppInfo, Manufacturer, 24);
AT(AppInfo, Description, 32);
AT(AppInfo, Categories, 40);
AT(AppInfo, InstStatus, 48);
AT(AppInfo, IsAbleToLaunchApps, 49);
AT(AppInfo, arrLanguage, 50);

SIZE(AppInfoList, 16);
AT(AppInfoList, Entries, 8);

SIZE(AppIconResponse, 24);
AT(AppIconResponse, UniqueIconID, 8);
AT(AppIconResponse, uncompressedDataLength, 12);
AT(AppIconResponse, uncompressedData, 16);

SIZE(KeyValue, 16);
AT(KeyValue, value, 8);
SIZE(KeyValueList, 16);
AT(KeyValueList, Entries, 8);

SIZE(decompressInitParameter, 32);
AT(decompressInitParameter, versionMinor, 2);
AT(decompressInitParameter, versionBuild, 4);
AT(decompressInitParameter, compression, 8);
AT(decompressInitParameter, mallocFunction, 16);
AT(decompressInitParameter, freeFunction, 24);

SIZE(decompressParameter, 48);
AT(decompressParameter, height, 2);
AT(decompressParameter, bpp, 4);
AT(decompressParameter, format, 5);
AT(decompressParameter, endian, 6);
AT(decompressParameter, compression, 8);
AT(decompressParameter, compressedData, 16);
AT(decompressParameter, compressedDataLength, 24);
AT(decompressParameter, frameData, 32);
AT(decompressParameter, frameDataLength, 40);

SIZE(scaleInitParameter, 24);
AT(scaleInitParameter, mallocFunction, 8);
AT(scaleInitParameter, freeFunction, 16);

SIZE(scaleParameter, 40);
AT(scaleParameter, sourceHeight, 2);
AT(scaleParameter, sourceBufferLength, 4);
AT(scaleParameter, sourceBuffer, 8);
AT(scaleParameter, destinationWidth, 16);
AT(scaleParameter, destinationHeight, 18);
AT(scaleParameter, destinationBufferLength, 20);
AT(scaleParameter, destinationBuffer, 24);
AT(scaleParameter, format, 32);
AT(scaleParameter, endian, 33);
AT(scaleParameter, imageBpp, 34);

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
