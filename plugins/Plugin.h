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

/** Bytes of one pixel; 0 for a format that does not exist. */
inline UInt8 bytesPerPixel(PixelFormat format) {
    switch (format) {
        case ePIXELFORMAT_RGB888:
            return 3;
        case ePIXELFORMAT_RGB565:
            return 2;
        case ePIXELFORMAT_ARGB8888:
        case ePIXELFORMAT_RGBA8888:
            return 4;
    }
    return 0;
}

inline bool isByteOrder(PixelEndianess endian) {
    return endian == ePIXELENDIANESS_BigEndian || endian == ePIXELENDIANESS_LittleEndian;
}

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

/** The checks that all decompressors make before they look at the data. */
inline eDECOMPRESSERROR checkDecompression(const decompressParameter* parameter,
                                           const Int32* detailCode, FrameCompression bit) {
    if (parameter == nullptr || detailCode == nullptr) return eDECOMPRESSERROR_NULL_PARAM;
    if (parameter->compressedData == nullptr || parameter->frameData == nullptr) {
        return eDECOMPRESSERROR_NULL_PARAM_CONTENT;
    }
    if (parameter->compression != bit || parameter->frameDataLength == 0 || parameter->width == 0 ||
        parameter->height == 0 || allocate.load() == nullptr) {
        return eDECOMPRESSERROR_PARAM_CONTENT;
    }
    return eDECOMPRESSERROR_NONE;
}

}  // namespace quarlo::plugin

#endif
