/* What a full screen costs a head unit's processor, by its size and by what the phone compresses it
 * with. */
#include <benchmark/benchmark.h>

#include <cstring>

#include "Frames.h"
#include "Jpeg.h"
#include "QUARLO-Core-Engineering-Types.h"

namespace quarlo::bench {
namespace {

Bytes compressed(UInt32 width, UInt32 height, FrameCompression compression) {
    if (compression == eFRAMECOMPRESSION_JPEG) {
        return jpegPicture(static_cast<int>(width), static_cast<int>(height));
    }
    Bytes pixels = picture(width, height);
    return compression == eFRAMECOMPRESSION_ZLIB ? deflated(pixels) : pixels;
}

/**
 * From the link's copy to the host's. What the thread has worked is counted, not what has passed,
 * and a copy of as many pixels in turn with each update.
 */
void screen(benchmark::State& state, FrameCompression compression) {
    if ((quarlo_Eng_GetSupportedCompressions() & compression) != compression) {
        return state.SkipWithError("the plug-in was not found");
    }
    const auto width = static_cast<UInt32>(state.range(0));
    const auto height = static_cast<UInt32>(state.range(1));
    Pump pump(width, height);
    const Bytes data = compressed(width, height, compression);
    const Bytes packet = updatePacket({{0, 0, width, height, data}}, compression);
    Bytes pixels = picture(width, height);
    Bytes frame(pixels.size());
    pump.frame = frame.data();
    warmUp(pump, packet);
    std::vector<double> updates;
    std::vector<double> copies;
    for (auto _ : state) {
        updates.push_back(pump.run(packet, 1).worked);
        const double begin = worked();
        std::memcpy(frame.data(), pixels.data(), pixels.size());
        benchmark::ClobberMemory();
        copies.push_back(worked() - begin);
        state.SetIterationTime(updates.back());
    }
    state.counters["ms_per_frame"] = median(updates) * 1e3;
    state.counters["copies"] = median(updates) / median(copies);
    state.counters["core_percent_at_30"] = median(updates) * 30 * 100;
    state.counters["data_KiB"] = static_cast<double>(data.size()) / 1024;
}

void sizes(benchmark::internal::Benchmark* each) {
    each->Args({800, 480})->Args({1280, 720})->Args({1920, 1080});
    each->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(100);
}
BENCHMARK_CAPTURE(screen, raw, eFRAMECOMPRESSION_Uncompressed)->Apply(sizes);
BENCHMARK_CAPTURE(screen, zlib, eFRAMECOMPRESSION_ZLIB)->Apply(sizes);
BENCHMARK_CAPTURE(screen, jpeg, eFRAMECOMPRESSION_JPEG)->Apply(sizes);

}  // namespace
}  // namespace quarlo::bench
