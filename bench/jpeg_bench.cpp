/* The JPEG plug-in in several pixel layouts, beside the same decoder called for 32 bits at once. */
#include <turbojpeg.h>

#include "Plugins.h"
#include "QUARLO-LibDecompress.h"

namespace quarlo::bench {
namespace {

constexpr int width = 1280;
constexpr int height = 720;

using Bytes = std::vector<UInt8>;

/** Half a user interface, half a photograph: flat areas, gradients, grain. */
Bytes picture() {
    Bytes rgb;
    UInt32 noise = 1;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            noise = noise * 1664525U + 1013904223U;
            const bool isPhoto = x > width / 2;
            const int grain = isPhoto ? static_cast<int>(noise >> 27) : 0;
            rgb.push_back(static_cast<UInt8>(x / 8 + grain));
            rgb.push_back(isPhoto ? static_cast<UInt8>((x + y) / 8 + grain) : UInt8{0x40});
            rgb.push_back(static_cast<UInt8>((x / 64 + y / 48) % 2 == 0 ? y / 4 : 220));
        }
    }
    return rgb;
}

Bytes compressed() {
    const Bytes rgb = picture();
    const tjhandle handle = tjInitCompress();
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    tjCompress2(handle, rgb.data(), width, 0, height, TJPF_RGB, &jpeg, &size, TJSAMP_420, 80, 0);
    Bytes bytes(jpeg, jpeg + size);
    tjFree(jpeg);
    tjDestroy(handle);
    return bytes;
}

class Plugin {
  public:
    bool open() {
        const auto initialise = find<decompressInitialiseFunction>("libQUARLO-Decomp00.so",
                                                                   "quarloCompression_initialise");
        decompress =
            find<decompressionFunction>("libQUARLO-Decomp00.so", "quarloCompression_decompress");
        decompressInitParameter parameter{0, 0, 0, 0, &quarlo_malloc, &quarlo_free};
        return initialise != nullptr && decompress != nullptr && initialise(&parameter) == 0;
    }
    auto into(PixelFormat format, UInt8 bytes, PixelEndianess endian) {
        return [=, this] {
            decompressParameter p{width,
                                  height,
                                  bytes,
                                  format,
                                  endian,
                                  eFRAMECOMPRESSION_JPEG,
                                  const_cast<UInt8*>(jpeg.data()),
                                  static_cast<UInt32>(jpeg.size()),
                                  const_cast<UInt8*>(frame.data()),
                                  static_cast<UInt32>(width * height * bytes)};
            Int32 detail = 0;
            failures += decompress(&p, &detail) == eDECOMPRESSERROR_NONE ? 0 : 1;
        };
    }

    Bytes jpeg = compressed();
    Bytes frame = Bytes(std::size_t{4} * width * height);
    decompressionFunction decompress = nullptr;
    mutable int failures = 0;
};

void jpegLayouts(benchmark::State& state) {
    Plugin plugin;
    if (!plugin.open()) return state.SkipWithError("no plug-in");
    const auto decoder = [&plugin] {
        const tjhandle handle = tjInitDecompress();
        tjDecompress2(handle, plugin.jpeg.data(), plugin.jpeg.size(), plugin.frame.data(), width, 0,
                      height, TJPF_BGRA, 0);
        tjDestroy(handle);
    };
    const auto little = ePIXELENDIANESS_LittleEndian;
    const auto [alone, wide, three, packed, swapped] = inTurn(
        state, decoder, plugin.into(ePIXELFORMAT_ARGB8888, 4, little),
        plugin.into(ePIXELFORMAT_RGB888, 3, little), plugin.into(ePIXELFORMAT_RGB565, 2, little),
        plugin.into(ePIXELFORMAT_RGB565, 2, ePIXELENDIANESS_BigEndian));
    if (plugin.failures != 0) return state.SkipWithError("not decoded");
    state.counters["ms_8888"] = wide * 1e3;
    state.counters["x_decoder"] = wide / alone;
    state.counters["x_888"] = three / wide;
    state.counters["x_565"] = packed / wide;
    state.counters["x_565_swapped"] = swapped / wide;
}
BENCHMARK(jpegLayouts)->Iterations(100);

}  // namespace
}  // namespace quarlo::bench
