/*
 * Use of the plug-in table. A plug-in is called under a shared lock and closed under an exclusive
 * one, so that no instance loses a library while its receiver is inside it.
 */
#ifndef QUARLO_CORE_LIBRARY_H
#define QUARLO_CORE_LIBRARY_H

#include "QUARLO-Internal.h"

namespace quarlo {

/** The number of no entry. */
constexpr unsigned noDecompressor = decompressorCount;

/** The number of the loaded entry that decodes exactly this compression, or noDecompressor. */
unsigned decompressorOf(FrameCompression compression);

/** The same, but a compression that is neither JPEG nor zlib may also go to the first entry. */
unsigned iconDecompressorOf(FrameCompression compression);

struct Decompression {
    bool isMade; /**< false when the entry has been closed since it was chosen */
    Int32 result;
    Int32 detailCode;

    [[nodiscard]] bool isDone() const { return isMade && result == eDECOMPRESSERROR_NONE; }
};

Decompression decompress(unsigned number, decompressParameter& parameter);

/** Traces why there is no picture; what a host is told of it, NONE where the trace is enough. */
eErrorCode traceFailure(quarlo_CoreInstance* obj, const Decompression& failed);

/** A larger picture than the head unit could have asked for is one that cannot be allocated. */
std::uint64_t pictureLimit(const coreConfiguration& config);

/** _quarlo_AllocateFrameBuffer for a picture whose size the phone has chosen. */
eReturnCode allocatePicture(quarlo_CoreInstance* obj, UInt8** buffer, std::size_t* size,
                            std::uint64_t requested, std::uint64_t limit);

/** Calls the scaling plug-in, or the built-in enlargement; refuses what does not fit its buffers.
 */
Int32 scale(scaleParameter& parameter, Int32& detailCode);

/** Closes the loaded plug-ins of the bits outside the mask; traces each. */
void closeDecompressorsExcept(quarlo_CoreInstance* obj, FrameCompression kept);

/** The version block of the start: one line for each loaded plug-in. */
void tracePlugins(quarlo_CoreInstance* obj);

}  // namespace quarlo

#endif
