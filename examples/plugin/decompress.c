/*
 * A decompression plug-in of one's own: libQUARLO-Decomp01.so, zlib, in place of the one that comes
 * with the library. A product would call its processor's decoder here. Its file name says which
 * compression it is: 2 to the power of 01.
 */
#include <QUARLO-LibDecompress.h>
#include <zlib.h>

#define EXPORTED __attribute__((visibility("default")))

EXPORTED Int32 quarloCompression_initialise(decompressInitParameter* parameter);
EXPORTED Int32 quarloCompression_decompress(decompressParameter* parameter, Int32* detailCode);

/* Written once, before anybody decodes: a plug-in keeps no other state. */
static hostMalloc allocate;
static hostFree release;

static voidpf zlibAllocate(voidpf unused, uInt count, uInt size) {
    (void)unused;
    return allocate((size_t)count * size);
}

static void zlibRelease(voidpf unused, voidpf block) {
    (void)unused;
    release(block);
}

/* guide: initialise */
/* On the thread of quarlo_Init. Any result but 0 makes the library go on without the plug-in. */
Int32 quarloCompression_initialise(decompressInitParameter* parameter) {
    if (parameter == NULL || parameter->mallocFunction == NULL || parameter->freeFunction == NULL) {
        return eDECOMPRESSERROR_NULL_PARAM;
    }
    allocate = parameter->mallocFunction;
    release = parameter->freeFunction;
    parameter->versionMajor = 7; /* the plug-in's own; quarlo-info shows it */
    parameter->versionMinor = 0;
    parameter->versionBuild = 1;
    parameter->compression = eFRAMECOMPRESSION_ZLIB;
    return eDECOMPRESSERROR_NONE;
}
/* guide end */

/* guide: decompress */
/* Receiver threads of several instances, at the same time. The bytes come from a phone: anything.
 */
Int32 quarloCompression_decompress(decompressParameter* parameter, Int32* detailCode) {
    z_stream stream = {.zalloc = zlibAllocate, .zfree = zlibRelease};
    int result;
    if (parameter == NULL || detailCode == NULL) return eDECOMPRESSERROR_NULL_PARAM;
    *detailCode = 0;
    if (parameter->frameDataLength == 0) return eDECOMPRESSERROR_NONE; /* an empty rectangle */
    if (parameter->frameData == NULL || parameter->compressedData == NULL) {
        return eDECOMPRESSERROR_NULL_PARAM_CONTENT;
    }
    if (parameter->compression != eFRAMECOMPRESSION_ZLIB) return eDECOMPRESSERROR_PARAM_CONTENT;

    stream.next_in = parameter->compressedData;
    stream.avail_in = parameter->compressedDataLength;
    stream.next_out = parameter->frameData; /* exactly frameDataLength bytes, never more */
    stream.avail_out = parameter->frameDataLength;
    if (inflateInit(&stream) != Z_OK) return eDECOMPRESSERROR_MEM_ALLOC;
    result = inflate(&stream, Z_FINISH);
    inflateEnd(&stream);

    if (result == Z_STREAM_END && stream.avail_out == 0) return eDECOMPRESSERROR_NONE;
    if (result == Z_MEM_ERROR) return eDECOMPRESSERROR_MEM_ALLOC;
    /* A stream that ends early, or has more than there is room for. */
    if (result == Z_STREAM_END || result == Z_OK || result == Z_BUF_ERROR) {
        return eDECOMPRESSERROR_ZLIB_SIZE_MISMATCH;
    }
    *detailCode = result;
    return eDECOMPRESSERROR_ZLIB_ERROR;
}
/* guide end */
