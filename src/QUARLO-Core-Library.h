/*
 * Use of the plug-in table. A plug-in is called under a shared lock and closed under an exclusive
 * one, so that no instance loses a library while its receiver is inside it.
 */
#ifndef QUARLO_CORE_LIBRARY_H
#define QUARLO_CORE_LIBRARY_H

#include "QUARLO-Internal.h"

namespace quarlo {

/** The result of a decompression that found no library to call; no plug-in returns it. */
constexpr Int32 decompressorMissing = std::numeric_limits<Int32>::min();

/** Whether a loaded entry decodes exactly this compression. */
bool hasDecompressor(FrameCompression compression);

/** Calls the loaded entry for the parameter's compression: its result, or decompressorMissing. */
Int32 decompress(decompressParameter& parameter, Int32& detailCode);

/** The same, but an unknown compression goes to the first entry, if that is loaded. */
Int32 decompressOrFirst(decompressParameter& parameter, Int32& detailCode);

/** Traces a decompression that failed. */
void traceDecompression(quarlo_CoreInstance* obj, Int32 result, Int32 detailCode);

/** A larger picture than the head unit could have asked for is one that cannot be allocated. */
std::uint64_t pictureLimit(const coreConfiguration& config);

/** Calls the scaling plug-in, or the built-in enlargement; refuses what does not fit its buffers.
 */
Int32 scale(scaleParameter& parameter, Int32& detailCode);

/** Closes the loaded plug-ins of the bits outside the mask; traces each. */
void closeDecompressorsExcept(quarlo_CoreInstance* obj, FrameCompression kept);

/** The version block of the start: one line for each loaded plug-in. */
void tracePlugins(quarlo_CoreInstance* obj);

}  // namespace quarlo

#endif
