/*
 * Updates as a phone sends them, and an update from the link to the host's copy beside what else
 * could do its work.
 */
#ifndef QUARLO_BENCH_FRAMES_H
#define QUARLO_BENCH_FRAMES_H

#include <benchmark/benchmark.h>

#include "Pump.h"
#include "QUARLO-Core-Types.h"

namespace quarlo::bench {

/** A rectangle and its data. */
struct Part {
    UInt32 x, y, width, height;
    const Bytes& data;
};

/** What a phone answers to a ClientProtocolVersion, and to a ClientInit: it describes a phone
 * without texts, and ends the initialisation. */
extern const Bytes protocolAccepted;
extern const Bytes handshakeDone;

/** ARGB8888, little endian, full size. */
Bytes updatePacket(const std::vector<Part>& parts, FrameCompression compression);

/** Pixels that look like a screen: gradients, and a quarter with the grain of a photograph. */
Bytes picture(UInt32 width, UInt32 height);

/** As a phone compresses it for the zlib plug-in. */
Bytes deflated(const Bytes& data);

/**
 * The median of one measurement, which leaves out the moments when the machine did something else.
 */
double median(std::vector<double> values);

inline void warmUp(Pump& pump, const Bytes& packet) {
    pump.run(packet, 3);
}

/** Runs library and reference alternately, so that both see the same machine. */
template <class Library, class Reference>
void compare(benchmark::State& state, Library library, Reference reference) {
    std::vector<double> measured;
    std::vector<double> references;
    std::uint64_t allocated = 0;
    for (auto _ : state) {
        const Pump::Result result = library();
        const double start = now();
        reference();
        references.push_back(now() - start);
        measured.push_back(result.seconds);
        allocated += result.allocations;
        state.SetIterationTime(result.seconds);
    }
    state.counters["x_reference"] = median(measured) / median(references);
    state.counters["ms_reference"] = median(references) * 1e3;
    state.counters["allocations_per_update"] =
        static_cast<double>(allocated) / static_cast<double>(state.iterations());
}

}  // namespace quarlo::bench

#endif
