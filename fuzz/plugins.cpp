/*
 * The plug-ins, opened as the library opens them: the first bytes choose which, the pixel format
 * and the sizes, the rest is what the phone sent. Buffers end at their last byte.
 */
#include "Input.h"
#include "Platform.h"
#include "QUARLO-LibScale.h"
#include "QUARLO-Posix.h"

namespace quarlo::fuzz {
namespace {

constexpr std::size_t largestPicture = std::size_t{256} * 1024;

template <class Function>
Function function(const char* file, const char* name) {
    void* found = quarlo_dlsym(pluginHandle(file), name, 0);
    require(found != nullptr, "a plug-in lacks an entry point");
    return reinterpret_cast<Function>(found);
}

decompressionFunction decompressor(const char* file) {
    decompressInitParameter parameter{0, 0, 0, 0, &quarlo_malloc, &quarlo_free};
    const auto initialise =
        function<decompressInitialiseFunction>(file, "quarloCompression_initialise");
    require(initialise(&parameter) == 0, "a plug-in does not initialise");
    return function<decompressionFunction>(file, "quarloCompression_decompress");
}

scaleFunction scaler(const char* file) {
    scaleInitParameter parameter{0, 0, 0, &quarlo_malloc, &quarlo_free};
    const auto initialise = function<scaleInitialiseFunction>(file, "quarloScale_initialise");
    require(initialise(&parameter) == 0, "a plug-in does not initialise");
    return function<scaleFunction>(file, "quarloScale_scale");
}

/** What every input begins with. */
struct Picture {
    explicit Picture(Input& in)
        : format(static_cast<PixelFormat>(in.u8())),
          endian(static_cast<PixelEndianess>(in.u8())),
          bytesPerPixel(in.u8()),
          width(in.u16()),
          height(in.u16()),
          surplus(in.number<std::int8_t>()) {}
    /** The size that the picture needs, give or take the surplus. */
    [[nodiscard]] std::size_t length() const {
        const std::int64_t exact = std::int64_t{width} * height * bytesPerPixel + surplus;
        return static_cast<std::size_t>(
            std::clamp<std::int64_t>(exact, 0, static_cast<std::int64_t>(largestPicture)));
    }
    PixelFormat format;
    PixelEndianess endian;
    UInt8 bytesPerPixel;
    UInt16 width;
    UInt16 height;
    std::int8_t surplus;
};

void decompress(decompressionFunction call, FrameCompression compression, Input& in) {
    const Picture picture(in);
    const Exact frame(picture.length());
    const Exact data(in.rest());
    decompressParameter parameter{picture.width,         picture.height,
                                  picture.bytesPerPixel, picture.format,
                                  picture.endian,        compression,
                                  data.data(),           static_cast<UInt32>(data.size()),
                                  frame.data(),          static_cast<UInt32>(frame.size())};
    Int32 detail = 0;
    const Int32 result = call(&parameter, &detail);
    require(result >= eDECOMPRESSERROR_NONE && result <= eDECOMPRESSERROR_JPEG_ERROR,
            "an unknown result of decompress");
    look(frame.data(), frame.size());
}

void scale(scaleFunction call, Input& in) {
    const Picture destination(in);
    const UInt16 width = in.u16();
    const UInt16 height = in.u16();
    const Exact result(destination.length());
    const Exact source(in.rest());
    scaleParameter parameter{width,
                             height,
                             static_cast<UInt32>(source.size()),
                             source.data(),
                             destination.width,
                             destination.height,
                             static_cast<UInt32>(result.size()),
                             result.data(),
                             destination.format,
                             destination.endian,
                             destination.bytesPerPixel};
    Int32 detail = 0;
    const Int32 code = call(&parameter, &detail);
    require(code >= eSCALEERROR_NONE && code <= eSCALEERROR_PARAM_VALUE,
            "an unknown result of scale");
    look(result.data(), result.size());
}

}  // namespace

void play(Input& in) {
    static const decompressionFunction jpeg = decompressor("libQUARLO-Decomp00.so");
    static const decompressionFunction zlib = decompressor("libQUARLO-Decomp01.so");
    static const scaleFunction enlarge = scaler("libQUARLO-Scale00.so");
    const unsigned choice = in.u8();
    // Bits above the choice make a request for memory fail.
    refuseAllocation(choice >> 2);
    switch (choice & 3) {
        case 0:
            decompress(jpeg, eFRAMECOMPRESSION_JPEG, in);
            break;
        case 1:
            decompress(zlib, eFRAMECOMPRESSION_ZLIB, in);
            break;
        default:
            scale(enlarge, in);
    }
    refuseAllocation(0);
}

}  // namespace quarlo::fuzz
