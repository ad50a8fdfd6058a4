/**
 * @file
 * Interface of a decompression plug-in.
 *
 * A plug-in is a shared library named libQUARLO-Decomp00.so to libQUARLO-Decomp31.so; number i
 * decodes the compression bit 2 to the power i (00 JPEG, 01 zlib; 02 is never loaded). It exports
 * the two functions below under their plain names. quarlo_Init opens it by bare file name through
 * the dynamic loader's ordinary search path, calls initialise once, and binds it when the reported
 * compression equals the bit of its number. decompress is called from the receiver threads of
 * several instances at once and must therefore be reentrant; it keeps no state between calls.
 */
#ifndef QUARLO_LIBDECOMPRESS_H
#define QUARLO_LIBDECOMPRESS_H

#include "QUARLO.Connector.IVI-API-Types_C.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The library's allocator, handed to plug-ins so that the host sees one heap. From any thread.
 * @param amount bytes
 * @return the block, the plug-in's until it gives it to hostFree; null without memory
 */
typedef void* (*hostMalloc)(size_t amount);
/**
 * The matching release. From any thread.
 * @param block of hostMalloc, or null
 */
typedef void (*hostFree)(void* block);

/** Filled by both sides of "quarloCompression_initialise". */
typedef struct decompressInitParamsStruct {
    UInt16 versionMajor;          /**< out: version of the plug-in */
    UInt16 versionMinor;          /**< out: its second number */
    UInt16 versionBuild;          /**< out: its third */
    FrameCompression compression; /**< out: the one bit that the plug-in decodes */
    hostMalloc mallocFunction;    /**< in: allocator to use, also after initialise has returned */
    hostFree freeFunction;        /**< in: release for it */
} decompressInitParameter;

/** One rectangle to decode; everything is filled by the caller and owned by it. */
typedef struct decompressParamsStruct {
    UInt16 width;                 /**< of the rectangle, in pixels */
    UInt16 height;                /**< of the rectangle, in pixels */
    UInt8 bpp;                    /**< bytes per pixel of the rectangle */
    PixelFormat format;           /**< pixel format of the rectangle */
    PixelEndianess endian;        /**< byte order of its pixels */
    FrameCompression compression; /**< its compression */
    UInt8* compressedData;        /**< the received bytes; null when there are none */
    UInt32 compressedDataLength;  /**< their count */
    UInt8* frameData;             /**< output: height rows of width x bpp bytes, without padding;
                                       may be null when frameDataLength is 0 */
    UInt32 frameDataLength; /**< usable length of frameData and exactly the size to be written; it
                                 follows the host's configured bytes per pixel and may differ from
                                 width x height x bpp: never write more */
} decompressParameter;

/** Result of decompress. */
typedef enum _DECOMPRESSION_ERROR_T {
    eDECOMPRESSERROR_NONE = 0,               /**< decoded */
    eDECOMPRESSERROR_NULL_PARAM = 1,         /**< a null argument */
    eDECOMPRESSERROR_NULL_PARAM_CONTENT = 2, /**< a null pointer in the parameter record */
    eDECOMPRESSERROR_PARAM_CONTENT = 3,      /**< a value in the parameter record is not accepted */
    eDECOMPRESSERROR_ZLIB_ERROR = 4,         /**< broken data; the detail code is the zlib result */
    eDECOMPRESSERROR_ZLIB_SIZE_MISMATCH = 5, /**< the data decode to another size */
    eDECOMPRESSERROR_DIMENSION_MISMATCH = 6, /**< the picture has other dimensions, or the rectangle
                                                  a size or layout that cannot be met */
    eDECOMPRESSERROR_MEM_ALLOC = 7,          /**< an allocation failed */
    eDECOMPRESSERROR_JPEG_ERROR = 8          /**< broken data; the detail code is the decoder's */
} eDECOMPRESSERROR;

/**
 * "quarloCompression_initialise". Called once by quarlo_Init, on its thread, before any decompress.
 * @param parameter the in fields are filled, the out fields are the plug-in's to fill; valid during
 * the call
 * @return 0 for success; any other value makes the library close the plug-in and go on without it
 */
typedef Int32 (*decompressInitialiseFunction)(decompressInitParameter* parameter);
/**
 * "quarloCompression_decompress". Called on receiver threads, on several at once.
 * @param parameter the rectangle; it and its buffers are valid during the call
 * @param detailCode out: the decoder's own number of a failure, for traces; 0 without one
 * @return an eDECOMPRESSERROR value
 */
typedef Int32 (*decompressionFunction)(decompressParameter* parameter, Int32* detailCode);

#ifdef __cplusplus
}
#endif

#endif
