/*
 * A scaling plug-in that fills its picture with the first byte of the source. Built once for each
 * fault: STUB_INITIALISE_RESULT is what initialise returns, STUB_WITHOUT_... leaves an export out.
 */
#include <cstring>

#include "QUARLO-LibScale.h"
#include "Stubs.h"

#ifndef STUB_INITIALISE_RESULT
#define STUB_INITIALISE_RESULT 0
#endif

extern "C" {

#ifndef STUB_WITHOUT_INITIALISE
Int32 quarloScale_initialise(scaleInitParameter* parameter);
Int32 quarloScale_initialise(scaleInitParameter* parameter) {
    void* block = parameter->mallocFunction(64);
    if (block == nullptr) return -1;
    std::memset(block, 1, 64);
    parameter->freeFunction(block);
    parameter->versionMajor = 7;
    parameter->versionMinor = 8;
    parameter->versionBuild = 900;
    return STUB_INITIALISE_RESULT;
}
#endif

#ifndef STUB_WITHOUT_SCALE
Int32 quarloScale_scale(scaleParameter* parameter, Int32* detailCode);
Int32 quarloScale_scale(scaleParameter* parameter, Int32* detailCode) {
    const scaleParameter& p = *parameter;
    const auto bytes = [&](UInt16 width, UInt16 height) {
        return static_cast<size_t>(width) * height * p.imageBpp;
    };
    UInt8 differing = 0;
    const size_t sourceSize = bytes(p.sourceWidth, p.sourceHeight);
    for (size_t i = 0; i < sourceSize; ++i) differing |= p.sourceBuffer[i] ^ p.sourceBuffer[0];
    std::memset(p.destinationBuffer, p.sourceBuffer[0],
                bytes(p.destinationWidth, p.destinationHeight));
    *detailCode = differing;
    return p.sourceBuffer[0] == quarlo::test::unscalable ? eSCALEERROR_MEM_ALLOC : eSCALEERROR_NONE;
}
#endif

}  // extern "C"
