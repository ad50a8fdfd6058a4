/*
 * The JPEG plug-in in several pixel layouts, beside the same decoder called for 32 bits at once;
 * and JPEG updates end to end.
 */
#include <cstring>

#include "Frames.h"
#include "Jpeg.h"
#include "Plugins.h"
#include "QUARLO-Core-Engineering-Types.h"
#include "QUARLO-LibDecompress.h"

namespace quarlo::bench {
namespace {

constexpr int width = 1280;
constexpr int height = 720;

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

    Bytes jpeg = jpegPicture(width, height);
    Bytes frame = Bytes(std::size_t{4} * width * height);
    decompressionFunction decompress = nullptr;
    mutable int failures = 0;
};

void jpegLayouts(benchmark::State& state) {
    Plugin plugin;
    if (!plugin.open()) return state.SkipWithError("no plug-in");
    const auto decoder = [&plugin] {
        decodeAlone(plugin.jpeg, plugin.frame.data(), width, height, 0);
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

/* ---- updates ---- */

constexpr int screenPitch = width * 4;

/** The rectangles of an update, as JPEG, and a frame. */
class Update {
  public:
    Update(int count, int partWidth, int partHeight)
        : w(partWidth), h(partHeight), jpeg(jpegPicture(partWidth, partHeight)) {
        for (int i = 0; i < count; ++i) {
            const auto along = static_cast<UInt32>(count == 1 ? 0 : 40 + i * 300);
            parts.push_back(
                {along, along / 2, static_cast<UInt32>(w), static_cast<UInt32>(h), jpeg});
        }
    }
    [[nodiscard]] Bytes packet() const { return updatePacket(parts, eFRAMECOMPRESSION_JPEG); }
    /** Each into memory of its own, as the callback gets it. */
    void decodeApart() {
        for (std::size_t i = 0; i < parts.size(); ++i) decodeAlone(jpeg, apart.data(), w, h, 0);
        benchmark::ClobberMemory();
    }
    /** Each where it belongs in the frame: a client without a library between. */
    void decodeInPlace() {
        for (const Part& part : parts) {
            UInt8* at = frame.data() + std::size_t{part.y} * screenPitch + part.x * 4U;
            decodeAlone(jpeg, at, w, h, screenPitch);
        }
        benchmark::ClobberMemory();
    }

    const int w, h;
    const Bytes jpeg;
    std::vector<Part> parts;
    Bytes apart = Bytes(std::size_t{4} * width * height);
    Bytes frame = Bytes(std::size_t{4} * width * height);
};

/** So many rectangles of so many pixels; with 1, the host copies them into its frame. */
void jpegUpdate(benchmark::State& state) {
    if ((quarlo_Eng_GetSupportedCompressions() & eFRAMECOMPRESSION_JPEG) == 0) {
        return state.SkipWithError("the JPEG plug-in was not found");
    }
    Update update(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)),
                  static_cast<int>(state.range(2)));
    const bool isCopied = state.range(3) != 0;
    Pump pump(width, height);
    const Bytes packet = update.packet();
    if (isCopied) pump.frame = update.frame.data();
    pump.pitch = screenPitch;
    warmUp(pump, packet);
    compare(
        state, [&] { return pump.run(packet, 1); },
        [&] { isCopied ? update.decodeInPlace() : update.decodeApart(); });
}
BENCHMARK(jpegUpdate)
    ->ArgNames({"rectangles", "width", "height", "copied"})
    ->Args({1, width, height, 0})
    ->Args({1, width, height, 1})
    ->Args({4, 200, 120, 0})
    ->Args({4, 200, 120, 1})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(100);

}  // namespace
}  // namespace quarlo::bench
