/* The scaling plug-in beside the fastest scaler of the field, which is free to place its pixels
 * otherwise. */
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <libyuv/scale_argb.h>

#include <chrono>
#include <vector>

#include "QUARLO-LibScale.h"
#include "QUARLO-Posix.h"

namespace quarlo::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int sourceWidth = 640;
constexpr int sourceHeight = 360;
constexpr int width = 1280;
constexpr int height = 720;

struct Buffers {
    std::vector<UInt8> from = std::vector<UInt8>(std::size_t{4} * sourceWidth * sourceHeight);
    std::vector<UInt8> to = std::vector<UInt8>(std::size_t{4} * width * height);

    Buffers() {
        UInt32 noise = 1;
        for (UInt8& byte : from) {
            noise = noise * 1664525U + 1013904223U;
            byte = static_cast<UInt8>(noise >> 24);
        }
    }
};

template <typename Function>
Function find(const char* name) {
    void* library = dlopen("libQUARLO-Scale00.so", RTLD_NOW);
    return library == nullptr ? nullptr : reinterpret_cast<Function>(dlsym(library, name));
}

void scaleReference(Buffers& buffers) {
    libyuv::ARGBScale(buffers.from.data(), 4 * sourceWidth, sourceWidth, sourceHeight,
                      buffers.to.data(), 4 * width, width, height, libyuv::kFilterBilinear);
}

/** Both in turn, so that what disturbs one disturbs the other. */
void scale640to1280(benchmark::State& state) {
    const auto initialise = find<scaleInitialiseFunction>("quarloScale_initialise");
    const auto scale = find<scaleFunction>("quarloScale_scale");
    if (initialise == nullptr || scale == nullptr) return state.SkipWithError("no plug-in");
    scaleInitParameter parameter{0, 0, 0, quarlo_malloc, quarlo_free};
    if (initialise(&parameter) != 0) return state.SkipWithError("the plug-in refuses");
    Buffers buffers;
    scaleParameter work{sourceWidth,
                        sourceHeight,
                        static_cast<UInt32>(buffers.from.size()),
                        buffers.from.data(),
                        width,
                        height,
                        static_cast<UInt32>(buffers.to.size()),
                        buffers.to.data(),
                        ePIXELFORMAT_ARGB8888,
                        ePIXELENDIANESS_LittleEndian,
                        4};
    Clock::duration ours{};
    Clock::duration theirs{};
    for ([[maybe_unused]] auto _ : state) {
        const auto begin = Clock::now();
        Int32 detail = 0;
        if (scale(&work, &detail) != eSCALEERROR_NONE) return state.SkipWithError("not scaled");
        const auto between = Clock::now();
        scaleReference(buffers);
        ours += between - begin;
        theirs += Clock::now() - between;
    }
    const auto count = [](Clock::duration time) { return static_cast<double>(time.count()); };
    state.counters["ms"] = count(ours) / 1e6 / static_cast<double>(state.iterations());
    state.counters["x_reference"] = count(ours) / count(theirs);
}
BENCHMARK(scale640to1280);

}  // namespace
}  // namespace quarlo::bench
