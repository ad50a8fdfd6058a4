/*
 * Loading, calling and closing of the plug-ins. The table is process-wide: written by quarlo_Init,
 * quarlo_Shutdown and quarlo_SetSupportedCompressions, read on every receiver thread; pluginLock
 * guards it.
 */
#include "QUARLO-Core-Library.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <shared_mutex>

#include "QUARLO-Core-Utilities.h"
#include "QUARLO.Connector.IVI-API_C.h"

decompressor decompressorList[decompressorCount];
UInt8 decompressorIndexZLIB = 0;
UInt8 decompressorIndexJPEG = 0;
quarlo::Polled<FrameCompression> supportedCompressions;
scaler scaleLib;
Flag isScalingLibAvailable = eFLAG_FALSE;

namespace quarlo {
namespace {

std::shared_mutex pluginLock;

constexpr unsigned pluginNameSize = 31;

void closeLibrary(void*& library) {
    quarlo_dlclose(library);
    library = nullptr;
}

template <class Function>
bool resolve(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(quarlo_dlsym(library, name, 0));
    return function != nullptr;
}

/** Binds an opened library to its entry; false when it is incomplete, refuses or decodes another
 * bit. */
bool bind(decompressor& entry, decompressInitParameter& parameter) {
    if (!resolve(entry.library, "quarloCompression_initialise", entry.init)) return false;
    if (entry.init(&parameter) != 0) return false;
    entry.versionMajor = parameter.versionMajor;
    entry.versionMinor = parameter.versionMinor;
    entry.versionBuild = parameter.versionBuild;
    return parameter.compression == entry.compression &&
           resolve(entry.library, "quarloCompression_decompress", entry.decompress);
}

/** Tries the plug-in of one number; true when its entry is loaded. */
bool openDecompressor(unsigned number, decompressInitParameter& parameter) {
    decompressor& entry = decompressorList[number];
    char name[pluginNameSize];
    std::snprintf(name, sizeof name, "libQUARLO-Decomp%2.2u.so", number);
    entry.library = quarlo_dlopen(name, QUARLOLIBRARY_RTLD_LAZY);
    if (entry.library == nullptr) return false;
    if (bind(entry, parameter)) return true;
    closeLibrary(entry.library);
    return false;
}

bool bindScaler() {
    if (!resolve(scaleLib.library, "quarloScale_initialise", scaleLib.init)) return false;
    scaleInitParameter parameter{0, 0, 0, &quarlo_malloc, &quarlo_free};
    if (scaleLib.init(&parameter) != 0) return false;
    scaleLib.versionMajor = parameter.versionMajor;
    scaleLib.versionMinor = parameter.versionMinor;
    scaleLib.versionBuild = parameter.versionBuild;
    return resolve(scaleLib.library, "quarloScale_scale", scaleLib.scale);
}

bool isLoaded(unsigned number) {
    return number < decompressorCount && decompressorList[number].library != nullptr;
}

/** The caller holds pluginLock. */
unsigned find(FrameCompression compression) {
    const auto serves = [&](unsigned number) {
        return isLoaded(number) && decompressorList[number].compression == compression;
    };
    const auto only = [&](unsigned number) { return serves(number) ? number : noDecompressor; };
    // The indices keep their values when their entries are closed.
    if (compression == eFRAMECOMPRESSION_JPEG) return only(decompressorIndexJPEG);
    if (compression == eFRAMECOMPRESSION_ZLIB) return only(decompressorIndexZLIB);
    unsigned number = 0;
    while (number < decompressorCount && !serves(number)) ++number;
    return number;
}

void removeBuffer(quarlo_CoreInstance* obj, UInt8** buffer, std::size_t* size) {
    if (*buffer != nullptr) {
        trace(obj, eTRACECLASS_VERBOSE, "    remove old buffer");
        quarlo_free(*buffer);
    }
    *buffer = nullptr;
    *size = 0;
}

/** Whether an enlargement stays inside both buffers. */
bool fits(const scaleParameter& p) {
    const auto bytes = [&](UInt16 width, UInt16 height) {
        return std::uint64_t{width} * height * p.imageBpp;
    };
    return p.destinationWidth >= p.sourceWidth && p.destinationHeight >= p.sourceHeight &&
           bytes(p.sourceWidth, p.sourceHeight) <= p.sourceBufferLength &&
           bytes(p.destinationWidth, p.destinationHeight) <= p.destinationBufferLength;
}

bool isEmpty(const scaleParameter& p) {
    return p.sourceBufferLength == 0 || p.sourceHeight == 0 || p.sourceWidth == 0 ||
           p.destinationBufferLength == 0 || p.destinationHeight == 0 || p.destinationWidth == 0;
}

void centre(const scaleParameter& p) {
    std::memset(p.destinationBuffer, 0xFF, p.destinationBufferLength);
    const std::size_t left = std::size_t{p.imageBpp} * ((p.destinationWidth - p.sourceWidth) / 2U);
    const std::size_t top = (p.destinationHeight - p.sourceHeight) / 2U;
    const std::size_t sourceRow = std::size_t{p.imageBpp} * p.sourceWidth;
    const std::size_t destinationRow = std::size_t{p.imageBpp} * p.destinationWidth;
    for (std::size_t row = 0; row < p.sourceHeight; ++row) {
        std::memcpy(p.destinationBuffer + (top + row) * destinationRow + left,
                    p.sourceBuffer + row * sourceRow, sourceRow);
    }
}

}  // namespace

unsigned decompressorOf(FrameCompression compression) {
    const std::shared_lock lock(pluginLock);
    return find(compression);
}

unsigned iconDecompressorOf(FrameCompression compression) {
    const std::shared_lock lock(pluginLock);
    const unsigned found = find(compression);
    const bool isNamed =
        compression == eFRAMECOMPRESSION_JPEG || compression == eFRAMECOMPRESSION_ZLIB;
    if (found != noDecompressor || isNamed) return found;
    return isLoaded(0) ? 0 : noDecompressor;
}

Decompression decompress(unsigned number, decompressParameter& parameter) {
    Decompression made{};
    const std::shared_lock lock(pluginLock);
    made.isMade = isLoaded(number);
    if (made.isMade) {
        made.result = decompressorList[number].decompress(&parameter, &made.detailCode);
    }
    return made;
}

eErrorCode traceFailure(quarlo_CoreInstance* obj, const Decompression& failed) {
    constexpr eTraceClass error = eTRACECLASS_ERROR;
    if (!failed.isMade) {
        trace(obj, error, "compression not supported.");
        return eERRORCODE_NONE;
    }
    switch (failed.result) {
        case eDECOMPRESSERROR_NULL_PARAM:
        case eDECOMPRESSERROR_NULL_PARAM_CONTENT:
            trace(obj, error, "NULL parameter or content detected in decompression function");
            return eERRORCODE_NONE;
        case eDECOMPRESSERROR_ZLIB_ERROR:
            trace(obj, error, "ZLIB error return with code %d", failed.detailCode);
            return eERRORCODE_Z_DATA_ERROR;
        case eDECOMPRESSERROR_ZLIB_SIZE_MISMATCH:
        case eDECOMPRESSERROR_DIMENSION_MISMATCH:
            trace(obj, error, "SIZE or DIMENSION problem detected in decompression function");
            return eERRORCODE_FRAME_SIZE_MISMATCH;
        case eDECOMPRESSERROR_MEM_ALLOC:
            trace(obj, error, "MEMORY allocation failure in decompression function");
            return eERRORCODE_MEM_ALLOC;
        case eDECOMPRESSERROR_JPEG_ERROR:
            trace(obj, error, "JPEG error return with code %d", failed.detailCode);
            return eERRORCODE_JPEG_ERROR;
        default:
            return eERRORCODE_NONE;
    }
}

std::uint64_t pictureLimit(const coreConfiguration& config) {
    constexpr std::uint64_t smallest = std::uint64_t{64} * 1024 * 1024;
    constexpr std::uint64_t largest = std::numeric_limits<UInt32>::max();
    const auto area = std::uint64_t{config.hostWidth} * config.hostHeight;
    if (area > largest) return largest;
    const auto frame = area * config.frameProperties.BytesPerPixel;
    return std::min(largest, std::max(smallest, 4 * frame));
}

eReturnCode allocatePicture(quarlo_CoreInstance* obj, UInt8** buffer, std::size_t* size,
                            std::uint64_t requested, std::uint64_t limit) {
    trace(obj, eTRACECLASS_INFORMATION, "(Re-)Allocate Frame Buffer");
    if (*buffer != nullptr && *size >= requested && requested <= limit) {
        // Deliberate: the recorded size follows the request, although the block is larger. The next
        // larger request replaces the block then, so that a single huge picture does not keep its
        // memory for the whole session.
        *size = static_cast<std::size_t>(requested);
        return eRETURN_OKAY;
    }
    removeBuffer(obj, buffer, size);
    // Zeros, so that a decoder that writes too little never shows what the heap held.
    if (requested <= limit) *buffer = wire::Heap::make<UInt8>(static_cast<std::size_t>(requested));
    if (*buffer == nullptr) return outOfMemory(obj, "    frame buffer allocation failed.");
    *size = static_cast<std::size_t>(requested);
    trace(obj, eTRACECLASS_VERBOSE, "    frame buffer = 0x%8.8X, size = %d",
          static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(*buffer)),
          static_cast<int>(requested));
    return eRETURN_OKAY;
}

Int32 scale(scaleParameter& parameter, Int32& detailCode) {
    const std::shared_lock lock(pluginLock);
    if (isScalingLibAvailable != eFLAG_TRUE) return _quarlo_ScaleImage(&parameter, &detailCode);
    if (isEmpty(parameter) || !fits(parameter)) return eSCALEERROR_PARAM_VALUE;
    return scaleLib.scale(&parameter, &detailCode);
}

void closeDecompressorsExcept(quarlo_CoreInstance* obj, FrameCompression kept) {
    for (unsigned i = 0; i < decompressorCount; ++i) {
        const FrameCompression bit = FrameCompression{1} << i;
        if ((kept & bit) != 0 || bit == eFRAMECOMPRESSION_Uncompressed) continue;
        {
            const std::unique_lock lock(pluginLock);
            decompressor& entry = decompressorList[i];
            if (entry.library == nullptr) continue;
            closeLibrary(entry.library);
            entry.init = nullptr;
            entry.decompress = nullptr;
        }
        trace(obj, eTRACECLASS_INFORMATION,
              "SetSupportedCompressions() close decompression library %s",
              _quarlo_getFrameCompressionName(bit));
    }
}

void tracePlugins(quarlo_CoreInstance* obj) {
    scaler scaling;
    decompressor loaded[decompressorCount];
    bool canScale = false;
    {
        const std::shared_lock lock(pluginLock);
        scaling = scaleLib;
        canScale = isScalingLibAvailable == eFLAG_TRUE;
        std::memcpy(loaded, decompressorList, sizeof loaded);
    }
    constexpr eTraceClass information = eTRACECLASS_INFORMATION;
    if (canScale) {
        trace(obj, information, "    scale...........: %d.%d.%d", scaling.versionMajor,
              scaling.versionMinor, scaling.versionBuild);
    } else {
        trace(obj, information, "    scale...........: (not found)");
    }
    for (unsigned i = 0; i < decompressorCount; ++i) {
        if (loaded[i].library == nullptr) continue;
        trace(obj, information, "    decompression %2.2d: %d.%d.%d (%s)", static_cast<int>(i),
              loaded[i].versionMajor, loaded[i].versionMinor, loaded[i].versionBuild,
              _quarlo_getFrameCompressionName(FrameCompression{1} << i));
    }
}

}  // namespace quarlo

using namespace quarlo;

extern "C" {

void _quarlo_OpenDecompressionLibs(void) {
    const std::unique_lock lock(pluginLock);
    decompressInitParameter parameter{0, 0, 0, 0, &quarlo_malloc, &quarlo_free};
    FrameCompression supported = eFRAMECOMPRESSION_None;
    for (unsigned i = 0; i < decompressorCount; ++i) {
        const FrameCompression bit = FrameCompression{1} << i;
        decompressorList[i] = {bit, nullptr, nullptr, nullptr, 0, 0, 0};
        if (bit != eFRAMECOMPRESSION_Uncompressed && !openDecompressor(i, parameter)) continue;
        supported |= bit;
        if (bit == eFRAMECOMPRESSION_ZLIB) decompressorIndexZLIB = static_cast<UInt8>(i);
        if (bit == eFRAMECOMPRESSION_JPEG) decompressorIndexJPEG = static_cast<UInt8>(i);
    }
    supportedCompressions = supported;
}

void _quarlo_CloseDecompressionLibs(void) {
    const std::unique_lock lock(pluginLock);
    for (decompressor& entry : decompressorList) {
        if (entry.library != nullptr) quarlo_dlclose(entry.library);
    }
}

void _quarlo_OpenScalingLib(void) {
    const std::unique_lock lock(pluginLock);
    isScalingLibAvailable = eFLAG_FALSE;
    scaleLib = {};
    scaleLib.library = quarlo_dlopen("libQUARLO-Scale00.so", QUARLOLIBRARY_RTLD_LAZY);
    if (scaleLib.library == nullptr) return;
    if (bindScaler()) {
        isScalingLibAvailable = eFLAG_TRUE;
    } else {
        closeLibrary(scaleLib.library);
    }
}

void _quarlo_CloseScalingLib(void) {
    const std::unique_lock lock(pluginLock);
    if (scaleLib.library != nullptr) closeLibrary(scaleLib.library);
    isScalingLibAvailable = eFLAG_FALSE;
}

eReturnCode _quarlo_AllocateFrameBuffer(quarlo_CoreInstance* handle, UInt8** pBuffer,
                                        size_t* pBufferSizeValue, size_t requestedSize) {
    if (handle == nullptr) return eRETURN_NULL_HANDLE;
    if (pBuffer == nullptr || pBufferSizeValue == nullptr) return eRETURN_NULL_PARAM;
    return allocatePicture(handle, pBuffer, pBufferSizeValue, requestedSize, requestedSize);
}

Int32 _quarlo_ScaleImage(scaleParameter* scalePara, Int32* scaleErrorCode) {
    if (scalePara == nullptr || scaleErrorCode == nullptr) return eSCALEERROR_NULL_PARAM;
    if (isEmpty(*scalePara)) return eSCALEERROR_PARAM_VALUE;
    if (scalePara->sourceBuffer == nullptr || scalePara->destinationBuffer == nullptr) {
        return eSCALEERROR_NULL_PARAM_CONTENT;
    }
    if (!fits(*scalePara)) return eSCALEERROR_PARAM_VALUE;
    centre(*scalePara);
    *scaleErrorCode = 0;
    return eSCALEERROR_NONE;
}

UInt32 quarlo_Eng_GetSupportedCompressions(void) {
    return supportedCompressions;
}

Flag quarlo_Eng_HasFeature(void*, FeatureSetMask feature) {
    constexpr FeatureSetMask defined = 0x3FFF;
    return feature != eFeature_None && (feature & ~defined) == 0;
}

}  // extern "C"
