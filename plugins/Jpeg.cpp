/*
 * Decompression plug-in 00: JPEG. The header is read first, so that nothing is decoded for a
 * picture of other dimensions than its rectangle's. What a picture lacks is told by the decoder's
 * warnings: some are of no account, the others end it. Every call owns its decoder, which allocates
 * for itself and offers no way to give it the host's heap; any number of threads may call.
 */
#include <algorithm>
#include <csetjmp>
#include <cstdio>

// jpeglib.h needs what stands above.
#include <jerror.h>
#include <jpeglib.h>

#include "Pixels.h"
#include "Plugin.h"

namespace quarlo::plugin {
namespace {

/** Rows that are decoded together; those of a wide screen, unpacked, stay in the cache. */
constexpr unsigned rowsAtOnce = 4;
/** A picture of countless scans is an attack. */
constexpr int mostScans = 500;

template <bool foreign>
void pack565(const UInt8* __restrict bgrx, UInt8* __restrict to, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i) {
        const UInt32 bytes = load<UInt32>(bgrx + 4 * i);
        UInt16 pixel = static_cast<UInt16>((byteOf(bytes, 2) & 0xF8) << 8 |
                                           (byteOf(bytes, 1) & 0xFC) << 3 | byteOf(bytes, 0) >> 3);
        if constexpr (foreign) pixel = swapped(pixel);
        store(to + 2 * i, pixel);
    }
}

class Decoder {
  public:
    explicit Decoder(const decompressParameter& p) : rectangle(p) {
        info.err = jpeg_std_error(&faults);
        info.client_data = this;
        faults.error_exit = [](j_common_ptr common) { of(common).giveUp(); };
        faults.emit_message = [](j_common_ptr common, int level) {
            // Other levels are notes on what is decoded.
            if (level < 0) of(common).warn();
        };
        progress.progress_monitor = [](j_common_ptr common) { of(common).limitScans(); };
    }
    ~Decoder() { jpeg_destroy_decompress(&info); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    eDECOMPRESSERROR run(Int32& detailCode) {
        // No frame between this one and the decoder's calls back has anything to destroy.
        if (setjmp(start) == 0) return decode();
        if (faults.msg_code == JERR_OUT_OF_MEMORY) return eDECOMPRESSERROR_MEM_ALLOC;
        detailCode = faults.msg_code;
        return eDECOMPRESSERROR_JPEG_ERROR;
    }

  private:
    static Decoder& of(j_common_ptr common) { return *static_cast<Decoder*>(common->client_data); }

    [[noreturn]] void giveUp() { std::longjmp(start, 1); }

    [[noreturn]] void giveUp(int code) {
        faults.msg_code = code;
        giveUp();
    }

    void warn() {
        switch (faults.msg_code) {
            case JWRN_EXTRANEOUS_DATA:
            case JWRN_JFIF_MAJOR:
                return;
            case JWRN_JPEG_EOF:
                // The end marker alone may be missing; what else is, shows later.
                isWithoutEnd = true;
                return;
            default:
                giveUp();
        }
    }

    void limitScans() {
        if (info.input_scan_number > mostScans) giveUp(JERR_BAD_PROGRESSION);
    }

    eDECOMPRESSERROR decode() {
        jpeg_create_decompress(&info);
        info.progress = &progress;
        jpeg_mem_src(&info, rectangle.compressedData, rectangle.compressedDataLength);
        jpeg_read_header(&info, TRUE);
        if (info.image_width != rectangle.width || info.image_height != rectangle.height) {
            return eDECOMPRESSERROR_DIMENSION_MISMATCH;
        }
        info.out_color_space = layout();
        jpeg_start_decompress(&info);
        if (rectangle.format == ePIXELFORMAT_RGB565) {
            decode565();
        } else {
            decodeRows();
        }
        checkScans();
        jpeg_finish_decompress(&info);
        // Arithmetic coding leaves zeros at the end out, so that whole data look like cut ones.
        if (isWithoutEnd && info.arith_code) giveUp(JWRN_JPEG_EOF);
        return eDECOMPRESSERROR_NONE;
    }

    /** The decoder's name for the bytes of a pixel; 16 bits are packed from 32. */
    J_COLOR_SPACE layout() const {
        const bool little = rectangle.endian == ePIXELENDIANESS_LittleEndian;
        switch (rectangle.format) {
            case ePIXELFORMAT_RGB888:
                return little ? JCS_EXT_BGR : JCS_EXT_RGB;
            case ePIXELFORMAT_ARGB8888:
                return little ? JCS_EXT_BGRA : JCS_EXT_ARGB;
            case ePIXELFORMAT_RGBA8888:
                return little ? JCS_EXT_ABGR : JCS_EXT_RGBA;
            case ePIXELFORMAT_RGB565:
                break;
        }
        return JCS_EXT_BGRX;
    }

    void decodeRows() {
        const size_t rowSize = size_t{rectangle.width} * bytesPerPixel(rectangle.format);
        while (info.output_scanline < info.output_height) {
            JSAMPROW rows[rowsAtOnce];
            const unsigned count = std::min(rowsAtOnce, info.output_height - info.output_scanline);
            for (unsigned i = 0; i < count; ++i) {
                rows[i] = rectangle.frameData + (info.output_scanline + i) * rowSize;
            }
            jpeg_read_scanlines(&info, rows, count);
        }
    }

    void decode565() {
        const size_t width = rectangle.width;
        const auto pack = isForeign(rectangle.endian) ? &pack565<true> : &pack565<false>;
        const JSAMPARRAY rows =
            info.mem->alloc_sarray(reinterpret_cast<j_common_ptr>(&info), JPOOL_IMAGE,
                                   4U * rectangle.width + 4U, rowsAtOnce);
        // Aligned rows would be written past the cache, from which they are read at once.
        for (unsigned i = 0; i < rowsAtOnce; ++i) rows[i] += 4;
        while (info.output_scanline < info.output_height) {
            UInt8* to = rectangle.frameData + 2 * width * info.output_scanline;
            const unsigned count = jpeg_read_scanlines(&info, rows, rowsAtOnce);
            for (unsigned i = 0; i < count; ++i) pack(rows[i], to + 2 * width * i, width);
        }
    }

    /** Scans that never came leave no trace in the rows. */
    void checkScans() {
        for (int i = 0; i < info.num_components; ++i) {
            const bool isSeen = info.comp_info[i].quant_table != nullptr;
            if (!isSeen) giveUp(isWithoutEnd ? JWRN_JPEG_EOF : JERR_MISSING_DATA);
            if (isWithoutEnd && info.progressive_mode && !isRefined(i)) giveUp(JWRN_JPEG_EOF);
        }
    }

    /** Whether every coefficient of a progressive picture has come to its last bit. */
    bool isRefined(int component) const {
        const auto& bits = info.coef_bits[component];
        return std::all_of(std::begin(bits), std::end(bits), [](int left) { return left == 0; });
    }

    const decompressParameter& rectangle;
    jpeg_decompress_struct info{};
    jpeg_error_mgr faults{};
    jpeg_progress_mgr progress{};
    std::jmp_buf start;
    bool isWithoutEnd = false;
};

eDECOMPRESSERROR decompress(const decompressParameter& p, Int32& detailCode) {
    const UInt8 bytes = bytesPerPixel(p.format);
    // No bytes per pixel: the phone left them to its format.
    const bool isPossible =
        bytes != 0 && isByteOrder(p.endian) && (p.bpp == 0 || p.bpp == bytes) && fills(p, bytes);
    return isPossible ? Decoder(p).run(detailCode) : eDECOMPRESSERROR_DIMENSION_MISMATCH;
}

}  // namespace
}  // namespace quarlo::plugin

using namespace quarlo::plugin;

QUARLO_PLUGIN_EXPORT Int32 quarloCompression_initialise(decompressInitParameter* parameter) {
    return initialiseDecompressor(parameter, eFRAMECOMPRESSION_JPEG);
}

QUARLO_PLUGIN_EXPORT Int32 quarloCompression_decompress(decompressParameter* parameter,
                                                        Int32* detailCode) {
    return checkAndDecompress(parameter, detailCode, eFRAMECOMPRESSION_JPEG, &decompress);
}
