// Packs rectangles with libdeflate and TurboJPEG. One codec
// object serves one thread.
#include "Compression.h"

#include <libdeflate.h>
#include <turbojpeg.h>

namespace quarlo::phone {
namespace {

// Fast rather than small: the link is local and the screen moves.
constexpr int zlibLevel = 1;
constexpr int jpegQuality = 88;

}  // namespace

struct ZlibCodec::Compressor {
    libdeflate_compressor* handle = libdeflate_alloc_compressor(zlibLevel);
    Compressor() = default;
    ~Compressor() { libdeflate_free_compressor(handle); }
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;
};

ZlibCodec::ZlibCodec() : state(std::make_unique<Compressor>()) {}
ZlibCodec::~ZlibCodec() = default;

bool ZlibCodec::append(const std::vector<std::uint8_t>& bytes, std::vector<std::uint8_t>& out) {
    if (state->handle == nullptr) return false;
    const std::size_t start = out.size();
    const std::size_t room = libdeflate_zlib_compress_bound(state->handle, bytes.size());
    out.resize(start + room);
    const std::size_t size = libdeflate_zlib_compress(state->handle, bytes.data(), bytes.size(),
                                                      out.data() + start, room);
    out.resize(start + size);
    return size != 0;
}

struct JpegCodec::Handles {
    tjhandle compressor = tjInitCompress();
    tjhandle decompressor = tjInitDecompress();
    Handles() = default;
    ~Handles() {
        if (compressor != nullptr) tjDestroy(compressor);
        if (decompressor != nullptr) tjDestroy(decompressor);
    }
    Handles(const Handles&) = delete;
    Handles& operator=(const Handles&) = delete;
};

bool JpegCodec::append(const Picture& picture, const Area& area, std::vector<std::uint8_t>& out) {
    if (handles->compressor == nullptr) return false;
    const std::size_t start = out.size();
    unsigned long size = tjBufSize(area.width, area.height, TJSAMP_420);
    out.resize(start + size);
    unsigned char* buffer = out.data() + start;
    const auto* pixels = reinterpret_cast<const unsigned char*>(picture.row(area.y) + area.x);
    const int result =
        tjCompress2(handles->compressor, pixels, area.width, picture.width * 4, area.height,
                    TJPF_BGRX, &buffer, &size, TJSAMP_420, jpegQuality, TJFLAG_NOREALLOC);
    out.resize(result == 0 ? start + size : start);
    return result == 0;
}

bool JpegCodec::decode(const std::uint8_t* data, std::size_t size, Picture& picture,
                       const Area& area) {
    auto* pixels = reinterpret_cast<unsigned char*>(picture.row(area.y) + area.x);
    return handles->decompressor != nullptr &&
           tjDecompress2(handles->decompressor, data, size, pixels, area.width, picture.width * 4,
                         area.height, TJPF_BGRA, 0) == 0;
}

JpegCodec::JpegCodec() : handles(std::make_unique<Handles>()) {}
JpegCodec::~JpegCodec() = default;

}  // namespace quarlo::phone
