/* A full screen update end to end, beside the copies and the inflate of the same bytes. */
#include <benchmark/benchmark.h>
#ifndef QUARLO_ZLIB_ONLY
#include <libdeflate.h>
#endif
#include <zlib.h>

#include <cstring>

#include "Frames.h"
#include "QUARLO-Core-Engineering-Types.h"

namespace quarlo::bench {
namespace {

/** Beside one copy into a receive buffer and one by the host. */
void rawFrame(benchmark::State& state) {
    const auto width = static_cast<UInt32>(state.range(0));
    const auto height = static_cast<UInt32>(state.range(1));
    Pump pump(width, height);
    const Bytes pixels = picture(width, height);
    const Bytes packet =
        updatePacket({{0, 0, width, height, pixels}}, eFRAMECOMPRESSION_Uncompressed);
    Bytes frame(packet.size());
    Bytes buffer(packet.size());
    pump.frame = frame.data();
    warmUp(pump, packet);
    compare(
        state, [&] { return pump.run(packet, 1); },
        [&] {
            std::memcpy(buffer.data(), packet.data(), packet.size());
            benchmark::ClobberMemory();
            std::memcpy(frame.data(), buffer.data() + 31, packet.size() - 31);
            benchmark::ClobberMemory();
        });
}
BENCHMARK(rawFrame)
    ->Args({1280, 720})
    ->Args({1920, 720})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(300);

/** What the library itself does for a frame: the link copies nothing but the first bytes, nor the
 * host. */
void libraryShare(benchmark::State& state) {
    const auto width = static_cast<UInt32>(state.range(0));
    const auto height = static_cast<UInt32>(state.range(1));
    Pump pump(width, height);
    const Bytes pixels = picture(width, height);
    const Bytes pixel(4);
    const Bytes small = updatePacket({{0, 0, 1, 1, pixel}}, eFRAMECOMPRESSION_Uncompressed);
    Bytes frame(pixels.size());
    warmUp(pump, small);
    constexpr std::size_t times = 1000;
    std::vector<double> ratios;
    std::vector<double> each;
    for (auto _ : state) {
        const Pump::Result result = pump.run(small, times);
        const double start = now();
        std::memcpy(frame.data(), pixels.data(), pixels.size());
        benchmark::ClobberMemory();
        ratios.push_back(result.seconds / times / (now() - start));
        each.push_back(result.seconds / times);
        state.SetIterationTime(result.seconds / times);
    }
    state.counters["ns_per_update"] = median(each) * 1e9;
    state.counters["x_malloc_free_64"] = median(each) / secondsPerMalloc();
    state.counters["percent_of_memcpy"] = median(ratios) * 100;
}
BENCHMARK(libraryShare)
    ->Args({1280, 720})
    ->Args({1920, 720})
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(100);

/** One-shot decompression with the library that the plug-in is built with. */
void inflateAlone(Bytes& frame, const Bytes& data) {
#ifdef QUARLO_ZLIB_ONLY
    uLongf size = frame.size();
    uncompress(frame.data(), &size, data.data(), data.size());
#else
    libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
    libdeflate_zlib_decompress(decompressor, data.data(), data.size(), frame.data(), frame.size(),
                               nullptr);
    libdeflate_free_decompressor(decompressor);
#endif
    benchmark::ClobberMemory();
}

/** Beside a one-shot inflate of the same bytes. */
void zlibFrame(benchmark::State& state) {
    if ((quarlo_Eng_GetSupportedCompressions() & eFRAMECOMPRESSION_ZLIB) == 0) {
        state.SkipWithError("the zlib plug-in was not found");
        return;
    }
    const auto width = static_cast<UInt32>(state.range(0));
    const auto height = static_cast<UInt32>(state.range(1));
    Pump pump(width, height);
    const Bytes pixels = picture(width, height);
    const Bytes data = deflated(pixels);
    const Bytes packet = updatePacket({{0, 0, width, height, data}}, eFRAMECOMPRESSION_ZLIB);
    Bytes frame(pixels.size());
    warmUp(pump, packet);
    compare(
        state, [&] { return pump.run(packet, 1); }, [&] { inflateAlone(frame, data); });
}
BENCHMARK(zlibFrame)
    ->Args({1280, 720})
    ->Args({1920, 720})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(200);

}  // namespace
}  // namespace quarlo::bench
