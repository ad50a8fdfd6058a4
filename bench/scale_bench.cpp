/* The scaling plug-in beside the fastest scaler of the field, which is free to place its pixels
 * otherwise. */
#include <libyuv/scale_argb.h>

#include "Plugins.h"
#include "QUARLO-LibScale.h"

namespace quarlo::bench {
namespace {

constexpr int width = 1280;
constexpr int height = 720;

struct Buffers {
    explicit Buffers(std::size_t pixels) : from(4 * pixels) {
        UInt32 noise = 1;
        for (UInt8& byte : from) {
            noise = noise * 1664525U + 1013904223U;
            byte = static_cast<UInt8>(noise >> 24);
        }
    }
    std::vector<UInt8> from;
    std::vector<UInt8> to = std::vector<UInt8>(std::size_t{4} * width * height);
};

/** From a picture of so many percent. */
void scaleTo1280(benchmark::State& state) {
    const char* file = "libQUARLO-Scale00.so";
    const auto initialise = find<scaleInitialiseFunction>(file, "quarloScale_initialise");
    const auto scale = find<scaleFunction>(file, "quarloScale_scale");
    if (initialise == nullptr || scale == nullptr) return state.SkipWithError("no plug-in");
    scaleInitParameter parameter{0, 0, 0, quarlo_malloc, quarlo_free};
    if (initialise(&parameter) != 0) return state.SkipWithError("the plug-in refuses");
    const int fromWidth = width * static_cast<int>(state.range(0)) / 100;
    const int fromHeight = height * static_cast<int>(state.range(0)) / 100;
    Buffers buffers(static_cast<std::size_t>(fromWidth) * static_cast<std::size_t>(fromHeight));
    scaleParameter work{static_cast<UInt16>(fromWidth),
                        static_cast<UInt16>(fromHeight),
                        static_cast<UInt32>(buffers.from.size()),
                        buffers.from.data(),
                        width,
                        height,
                        static_cast<UInt32>(buffers.to.size()),
                        buffers.to.data(),
                        ePIXELFORMAT_ARGB8888,
                        ePIXELENDIANESS_LittleEndian,
                        4};
    int failures = 0;
    const auto ours = [&] {
        Int32 detail = 0;
        failures += scale(&work, &detail) == eSCALEERROR_NONE ? 0 : 1;
    };
    const auto theirs = [&] {
        libyuv::ARGBScale(buffers.from.data(), 4 * fromWidth, fromWidth, fromHeight,
                          buffers.to.data(), 4 * width, width, height, libyuv::kFilterBilinear);
    };
    const auto [plugin, reference] = inTurn(state, ours, theirs);
    if (failures != 0) return state.SkipWithError("not scaled");
    state.counters["ms"] = plugin * 1e3;
    state.counters["x_reference"] = plugin / reference;
}
BENCHMARK(scaleTo1280)->Arg(50)->Arg(80)->Arg(25)->Arg(90)->Iterations(300);

}  // namespace
}  // namespace quarlo::bench
