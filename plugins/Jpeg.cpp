/*
 * Decompression plug-in 00: JPEG. The header is read first, so that nothing is decoded or allocated
 * for a picture of other dimensions than its rectangle's. Every call owns its decoder, so any
 * number of threads may call; TurboJPEG offers no way to give it the host's heap.
 */
#include <turbojpeg.h>

#include "Plugin.h"

namespace quarlo::plugin {
namespace {

class Decoder {
  public:
    explicit Decoder(const decompressParameter& p) : rectangle(p), handle(tjInitDecompress()) {}
    ~Decoder() {
        if (handle != nullptr) tjDestroy(handle);
    }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    eDECOMPRESSERROR run() {
        if (handle == nullptr) return eDECOMPRESSERROR_MEM_ALLOC;
        const eDECOMPRESSERROR header = checkHeader();
        if (header != eDECOMPRESSERROR_NONE) return header;
        if (rectangle.format == ePIXELFORMAT_RGB565) return decode565();
        return decode(rectangle.frameData, layout());
    }

    /** The decoder's own code for the error: warning or fatal. */
    Int32 code() const { return tjGetErrorCode(handle); }

  private:
    eDECOMPRESSERROR checkHeader() {
        int width = 0;
        int height = 0;
        int subsampling = -1;
        int colourSpace = -1;
        // Its result also fails unusual samplings, which decode well: what it has read decides.
        tjDecompressHeader3(handle, rectangle.compressedData, rectangle.compressedDataLength,
                            &width, &height, &subsampling, &colourSpace);
        if (width <= 0 || height <= 0 || colourSpace < 0) return eDECOMPRESSERROR_JPEG_ERROR;
        if (width != rectangle.width || height != rectangle.height) {
            return eDECOMPRESSERROR_DIMENSION_MISMATCH;
        }
        const bool isPrintColour = colourSpace == TJCS_CMYK || colourSpace == TJCS_YCCK;
        return isPrintColour ? eDECOMPRESSERROR_JPEG_ERROR : eDECOMPRESSERROR_NONE;
    }

    /** The decoder's name for the bytes of a 24 or 32 bit pixel. */
    TJPF layout() const {
        const bool little = rectangle.endian == ePIXELENDIANESS_LittleEndian;
        switch (rectangle.format) {
            case ePIXELFORMAT_RGB888:
                return little ? TJPF_BGR : TJPF_RGB;
            case ePIXELFORMAT_ARGB8888:
                return little ? TJPF_BGRA : TJPF_ARGB;
            case ePIXELFORMAT_RGBA8888:
                return little ? TJPF_ABGR : TJPF_RGBA;
            case ePIXELFORMAT_RGB565:
                break;
        }
        return TJPF_BGRX;
    }

    eDECOMPRESSERROR decode(UInt8* pixels, TJPF pixelLayout) {
        // A warning means a damaged picture, and a picture of countless scans is an attack.
        constexpr int flags = TJFLAG_STOPONWARNING | TJFLAG_LIMITSCANS;
        const int result =
            tjDecompress2(handle, rectangle.compressedData, rectangle.compressedDataLength, pixels,
                          rectangle.width, 0, rectangle.height, pixelLayout, flags);
        return result == 0 ? eDECOMPRESSERROR_NONE : eDECOMPRESSERROR_JPEG_ERROR;
    }

    eDECOMPRESSERROR decode565() {
        const size_t pixels = size_t{rectangle.width} * rectangle.height;
        const HostBlock wide(pixels * 4);
        if (!wide) return eDECOMPRESSERROR_MEM_ALLOC;
        const eDECOMPRESSERROR result = decode(wide.bytes(), TJPF_BGRX);
        if (result == eDECOMPRESSERROR_NONE) {
            const unsigned low = rectangle.endian == ePIXELENDIANESS_LittleEndian ? 0 : 1;
            pack565(wide.bytes(), pixels, low);
        }
        return result;
    }

    /** low is the place of the low byte in a pixel. */
    void pack565(const UInt8* bgrx, size_t pixels, unsigned low) {
        UInt8* out = rectangle.frameData;
        for (size_t i = 0; i < pixels; ++i, bgrx += 4, out += 2) {
            const unsigned pixel = (bgrx[2] & 0xF8U) << 8 | (bgrx[1] & 0xFCU) << 3 | bgrx[0] >> 3;
            out[low] = static_cast<UInt8>(pixel);
            out[low ^ 1U] = static_cast<UInt8>(pixel >> 8);
        }
    }

    const decompressParameter& rectangle;
    tjhandle handle;
};

eDECOMPRESSERROR checkFrame(const decompressParameter& p) {
    const UInt8 bytes = bytesPerPixel(p.format);
    // No bytes per pixel: the phone left them to its format.
    if (bytes == 0 || !isByteOrder(p.endian) || (p.bpp != 0 && p.bpp != bytes)) {
        return eDECOMPRESSERROR_PARAM_CONTENT;
    }
    if (UInt64{p.width} * p.height * bytes != p.frameDataLength) {
        return eDECOMPRESSERROR_DIMENSION_MISMATCH;
    }
    return eDECOMPRESSERROR_NONE;
}

}  // namespace
}  // namespace quarlo::plugin

using namespace quarlo::plugin;

QUARLO_PLUGIN_EXPORT Int32 quarloCompression_initialise(decompressInitParameter* parameter) {
    return initialiseDecompressor(parameter, eFRAMECOMPRESSION_JPEG);
}

QUARLO_PLUGIN_EXPORT Int32 quarloCompression_decompress(decompressParameter* parameter,
                                                        Int32* detailCode) {
    eDECOMPRESSERROR result = checkDecompression(parameter, detailCode, eFRAMECOMPRESSION_JPEG);
    if (detailCode != nullptr) *detailCode = 0;
    if (result == eDECOMPRESSERROR_NONE) result = checkFrame(*parameter);
    if (result != eDECOMPRESSERROR_NONE) return result;
    Decoder decoder(*parameter);
    result = decoder.run();
    if (result == eDECOMPRESSERROR_JPEG_ERROR) *detailCode = decoder.code();
    return result;
}
