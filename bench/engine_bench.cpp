/* Pings with their answers, extra reads, and the memory of an instance. */
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "Frames.h"

namespace quarlo::bench {
namespace {

constexpr std::size_t pingSize = 13;

Bytes pings(std::size_t count) {
    Bytes bytes;
    for (std::size_t i = 0; i < count; ++i) {
        const auto low = static_cast<UInt8>(i);
        const auto high = static_cast<UInt8>(i >> 8);
        const UInt8 ping[pingSize] = {128, 0, 0, 0, 0, 4, 0, 0, 0, low, high, 0, 0};
        bytes.insert(bytes.end(), ping, ping + pingSize);
    }
    return bytes;
}

/** One ping with its answer; readSize is how many pings come with one read. */
void pingWithAnswer(benchmark::State& state) {
    Pump pump(1280, 720);
    constexpr std::size_t batch = 1000;
    const Bytes bytes = pings(batch);
    const auto readSize = static_cast<std::size_t>(state.range(0)) * pingSize;
    double quickest = 1;
    std::uint64_t answers = 0;
    std::uint64_t allocated = 0;
    for (auto _ : state) {
        const Pump::Result result = pump.run(bytes, 100, readSize);
        state.SetIterationTime(result.seconds);
        quickest = std::min(quickest, result.seconds);
        answers += result.sends;
        allocated += result.allocations;
    }
    const double perPing = quickest / (100.0 * batch);
    state.counters["ns_per_ping"] = perPing * 1e9;
    state.counters["x_malloc_free_64"] = perPing / secondsPerMalloc();
    state.counters["allocations_per_ping"] =
        static_cast<double>(allocated) / static_cast<double>(answers);
}
BENCHMARK(pingWithAnswer)->Arg(1000)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond);

/** Reads that complete no packet. */
void extraRead(benchmark::State& state) {
    Pump pump(1280, 720);
    const Bytes bytes = pings(1);
    double perPing = 0;
    double perPingInBytes = 0;
    std::uint64_t allocated = 0;
    for (auto _ : state) {
        const Pump::Result whole = pump.run(bytes, 20000);
        const Pump::Result cut = pump.run(bytes, 20000, 1);
        state.SetIterationTime(cut.seconds);
        perPing += whole.seconds / 20000;
        perPingInBytes += cut.seconds / 20000;
        allocated += cut.allocations - whole.allocations;
    }
    const auto runs = static_cast<double>(state.iterations());
    state.counters["ns_per_extra_read"] = (perPingInBytes - perPing) / runs / 12 * 1e9;
    state.counters["allocations_per_extra_read"] = static_cast<double>(allocated) / runs;
}
BENCHMARK(extraRead)->UseManualTime()->Unit(benchmark::kMillisecond);

long residentKiB() {
    std::FILE* file = std::fopen("/proc/self/statm", "r");
    long size = 0;
    long resident = 0;
    if (file != nullptr) {
        if (std::fscanf(file, "%ld %ld", &size, &resident) != 2) resident = 0;
        std::fclose(file);
    }
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

/** What one started instance in RUN keeps in memory: idle, and once it has shown a whole frame. */
void residentMemory(benchmark::State& state) {
    constexpr std::size_t count = 32;
    constexpr UInt32 width = 1280;
    constexpr UInt32 height = 720;
    const bool isBusy = state.range(0) != 0;
    const Bytes pixels(std::size_t{width} * height * 4);
    const Bytes frame =
        updatePacket({{0, 0, width, height, pixels}}, eFRAMECOMPRESSION_Uncompressed);
    double each = 0;
    for (auto _ : state) {
        const long before = residentKiB();
        std::vector<std::unique_ptr<Pump>> pumps;
        for (std::size_t i = 0; i < count; ++i) {
            pumps.push_back(std::make_unique<Pump>(width, height));
            if (isBusy) pumps.back()->run(frame, 1);
        }
        each = static_cast<double>(residentKiB() - before) / count;
    }
    state.counters["KiB_per_instance"] = each;
}
BENCHMARK(residentMemory)->ArgName("busy")->Arg(0)->Arg(1)->Iterations(1);

}  // namespace
}  // namespace quarlo::bench

int main(int argc, char** argv) {
    quarlo_Init();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    quarlo_Shutdown();
    return 0;
}
