/*
 * What every plug-in does when it is initialised: it keeps the host's allocator and tells its
 * version. The allocator is the only state of a plug-in that outlives a call; initialise writes it
 * before any other call is made, on any thread.
 */
#ifndef QUARLO_PLUGINS_PLUGIN_H
#define QUARLO_PLUGINS_PLUGIN_H

#include <atomic>

#include "QUARLO-LibDecompress.h"

#define QUARLO_PLUGIN_EXPORT extern "C" __attribute__((visibility("default")))

namespace quarlo::plugin {

inline std::atomic<hostMalloc> allocate{nullptr};
inline std::atomic<hostFree> release{nullptr};

/** A block of the host's heap, released at the end of its scope; null when there was no memory. */
class HostBlock {
  public:
    explicit HostBlock(size_t size) : block(allocate.load()(size)) {}
    ~HostBlock() {
        if (block != nullptr) release.load()(block);
    }
    HostBlock(const HostBlock&) = delete;
    HostBlock& operator=(const HostBlock&) = delete;

    explicit operator bool() const { return block != nullptr; }
    UInt8* bytes() const { return static_cast<UInt8*>(block); }

  private:
    void* block;
};

/** The common part of both initialise functions; 0, or 1 when the host hands no allocator in. */
template <class Parameter>
Int32 initialise(Parameter* parameter) {
    if (parameter == nullptr) return 1;
    if (parameter->mallocFunction == nullptr || parameter->freeFunction == nullptr) return 1;
    allocate = parameter->mallocFunction;
    release = parameter->freeFunction;
    parameter->versionMajor = QUARLO_PLUGIN_MAJOR;
    parameter->versionMinor = QUARLO_PLUGIN_MINOR;
    parameter->versionBuild = QUARLO_PLUGIN_BUILD;
    return 0;
}

inline Int32 initialiseDecompressor(decompressInitParameter* parameter, FrameCompression bit) {
    const Int32 result = initialise(parameter);
    if (result == 0) parameter->compression = bit;
    return result;
}

/** Whether pixels of so many bytes fill exactly the frame. */
inline bool fills(const decompressParameter& p, UInt8 bytes) {
    return UInt64{p.width} * p.height * bytes == p.frameDataLength;
}

/**
 * What all decompressors do before they look at the data. A rectangle without pixels is done at
 * once; one that cannot be met is the phone's fault, which its host must hear of.
 */
inline Int32 checkAndDecompress(const decompressParameter* p, Int32* detailCode,
                                FrameCompression bit,
                                eDECOMPRESSERROR (*decompress)(const decompressParameter&,
                                                               Int32&)) {
    if (detailCode != nullptr) *detailCode = 0;
    if (p == nullptr || detailCode == nullptr) return eDECOMPRESSERROR_NULL_PARAM;
    if (p->width == 0 || p->height == 0) return eDECOMPRESSERROR_NONE;
    if (p->compressedData == nullptr || p->frameData == nullptr) {
        return eDECOMPRESSERROR_NULL_PARAM_CONTENT;
    }
    if (p->compression != bit || allocate.load() == nullptr) return eDECOMPRESSERROR_PARAM_CONTENT;
    if (p->frameDataLength == 0 || (p->bpp != 0 && !fills(*p, p->bpp))) {
        return eDECOMPRESSERROR_DIMENSION_MISMATCH;
    }
    return decompress(*p, *detailCode);
}

}  // namespace quarlo::plugin

#endif
