/*
 * Decompression plug-in 01: zlib streams. libdeflate decodes what is whole and of the right size,
 * which is nearly everything, in half the time of zlib; whatever it refuses is decoded again by
 * zlib, which decides and names the reason. Every call owns its decoder, so any number of threads
 * may call.
 */
#include <zlib.h>

#include "Plugin.h"

#ifndef QUARLO_ZLIB_ONLY
#include <libdeflate.h>
#endif

namespace quarlo::plugin {
namespace {

#ifdef QUARLO_ZLIB_ONLY
bool decodeFast(const decompressParameter&) {
    return false;
}
#else
libdeflate_decompressor* newDecompressor() {
#if LIBDEFLATE_VERSION_MAJOR > 1 || LIBDEFLATE_VERSION_MINOR >= 19
    libdeflate_options options{};
    options.sizeof_options = sizeof options;
    options.malloc_func = allocate.load();
    options.free_func = release.load();
    return libdeflate_alloc_decompressor_ex(&options);
#else
    // Older versions know one allocator for the whole process, which also belongs to others in it.
    return libdeflate_alloc_decompressor();
#endif
}

/** True when the data are a whole stream of exactly the expected size. */
bool decodeFast(const decompressParameter& p) {
    libdeflate_decompressor* decompressor = newDecompressor();
    if (decompressor == nullptr) return false;
    const libdeflate_result result =
        libdeflate_zlib_decompress(decompressor, p.compressedData, p.compressedDataLength,
                                   p.frameData, p.frameDataLength, nullptr);
    libdeflate_free_decompressor(decompressor);
    return result == LIBDEFLATE_SUCCESS;
}
#endif

void* zlibAllocate(void*, uInt count, uInt size) {
    return allocate.load()(size_t{count} * size);
}

void zlibRelease(void*, void* block) {
    release.load()(block);
}

/** zlib's decoder, writing into the frame and then into one byte more to see whether that is used.
 */
class Inflater {
  public:
    explicit Inflater(const decompressParameter& p) {
        stream.zalloc = &zlibAllocate;
        stream.zfree = &zlibRelease;
        stream.next_in = p.compressedData;
        stream.avail_in = p.compressedDataLength;
        stream.next_out = p.frameData;
        stream.avail_out = p.frameDataLength;
        expected = p.frameDataLength;
        result = inflateInit(&stream);
    }
    ~Inflater() { inflateEnd(&stream); }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    /** Decodes block by block until the stream, its data or the room for it ends. */
    eDECOMPRESSERROR run(Int32& detailCode) {
        while (result == Z_OK && stream.total_out <= expected && !endsUnfinished()) {
            if (stream.total_out == expected && stream.avail_out == 0) offerOneByteMore();
            result = inflate(&stream, Z_BLOCK);
        }
        return verdict(detailCode);
    }

  private:
    void offerOneByteMore() {
        stream.next_out = &surplus;
        stream.avail_out = 1;
    }

    /** A sync-flushed stream: nothing is left after a block that is not the last one. */
    bool endsUnfinished() const {
        constexpr int lastBlock = 64;
        constexpr int afterBlock = 128;
        return stream.avail_in == 0 &&
               (stream.data_type & (lastBlock | afterBlock)) == afterBlock && stream.total_out > 0;
    }

    eDECOMPRESSERROR verdict(Int32& detailCode) const {
        if (result == Z_MEM_ERROR) return eDECOMPRESSERROR_MEM_ALLOC;
        if (stream.total_out > expected) return eDECOMPRESSERROR_ZLIB_SIZE_MISMATCH;
        if (result == Z_STREAM_END || (result == Z_OK && endsUnfinished())) {
            return stream.total_out == expected ? eDECOMPRESSERROR_NONE
                                                : eDECOMPRESSERROR_ZLIB_SIZE_MISMATCH;
        }
        detailCode = result;
        return eDECOMPRESSERROR_ZLIB_ERROR;
    }

    z_stream stream{};
    uLong expected = 0;
    int result = Z_OK;
    Bytef surplus = 0;
};

eDECOMPRESSERROR decompress(const decompressParameter& p, Int32& detailCode) {
    return decodeFast(p) ? eDECOMPRESSERROR_NONE : Inflater(p).run(detailCode);
}

}  // namespace
}  // namespace quarlo::plugin

using namespace quarlo::plugin;

QUARLO_PLUGIN_EXPORT Int32 quarloCompression_initialise(decompressInitParameter* parameter) {
    return initialiseDecompressor(parameter, eFRAMECOMPRESSION_ZLIB);
}

QUARLO_PLUGIN_EXPORT Int32 quarloCompression_decompress(decompressParameter* parameter,
                                                        Int32* detailCode) {
    return checkAndDecompress(parameter, detailCode, eFRAMECOMPRESSION_ZLIB, &decompress);
}
