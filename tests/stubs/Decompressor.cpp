/*
 * A decompression plug-in whose compressed data say what it does; see Stubs.h. Built once for each
 * number and each fault: STUB_NUMBER is that of its file, STUB_COMPRESSION the bit that it reports,
 * STUB_INITIALISE_RESULT what initialise returns, STUB_WITHOUT_... leaves an export out.
 */
#include <cstring>

#include "QUARLO-LibDecompress.h"
#include "Stubs.h"

#ifndef STUB_INITIALISE_RESULT
#define STUB_INITIALISE_RESULT 0
#endif

extern "C" {

#ifndef STUB_WITHOUT_INITIALISE
Int32 quarloCompression_initialise(decompressInitParameter* parameter);
Int32 quarloCompression_initialise(decompressInitParameter* parameter) {
    void* block = parameter->mallocFunction(64);
    if (block == nullptr) return -1;
    std::memset(block, 1, 64);
    parameter->freeFunction(block);
    parameter->versionMajor = STUB_NUMBER + 1;
    parameter->versionMinor = STUB_NUMBER + 2;
    parameter->versionBuild = 300 + STUB_NUMBER;
    parameter->compression = STUB_COMPRESSION;
    return STUB_INITIALISE_RESULT;
}
#endif

#ifndef STUB_WITHOUT_DECOMPRESS
Int32 quarloCompression_decompress(decompressParameter* parameter, Int32* detailCode);
Int32 quarloCompression_decompress(decompressParameter* parameter, Int32* detailCode) {
    const decompressParameter& p = *parameter;
    quarlo::test::StubOrder order{};
    if (p.compressedData == nullptr) return eDECOMPRESSERROR_NULL_PARAM_CONTENT;
    if (p.compressedDataLength < sizeof order) return eDECOMPRESSERROR_PARAM_CONTENT;
    std::memcpy(&order, p.compressedData, sizeof order);
    // Every byte of both buffers is touched, for the sanitizers.
    UInt32 sum = 0;
    for (UInt32 i = 0; i < p.compressedDataLength; ++i) sum += p.compressedData[i];
    if (p.frameDataLength > 0) std::memset(p.frameData, order.fill, p.frameDataLength);
    const quarlo::test::StubReport report{
        STUB_NUMBER, p.width,          p.height,      p.bpp,
        p.format,    p.endian,         p.compression, p.compressedDataLength,
        sum,         p.frameDataLength};
    if (order.mustReport != 0 && p.frameDataLength >= sizeof report) {
        std::memcpy(p.frameData, &report, sizeof report);
    }
    *detailCode = order.detailCode;
    return order.result;
}
#endif

}  // extern "C"
