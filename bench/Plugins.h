/*
 * Plug-ins called by themselves, beside what else could do their work. All candidates work in turn
 * and are measured by the time that their thread has worked, so that what disturbs one disturbs the
 * others, and other programs count little.
 */
#ifndef QUARLO_BENCH_PLUGINS_H
#define QUARLO_BENCH_PLUGINS_H

#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <vector>

#include "Pump.h"
#include "QUARLO-Posix.h"

namespace quarlo::bench {

template <typename Function>
Function find(const char* file, const char* name) {
    void* library = dlopen(file, RTLD_NOW);
    return library == nullptr ? nullptr : reinterpret_cast<Function>(dlsym(library, name));
}

/** Lets the candidates work in turn; the median of the seconds of each. */
template <class... Candidate>
std::array<double, sizeof...(Candidate)> inTurn(benchmark::State& state, Candidate... candidates) {
    std::array<std::vector<double>, sizeof...(Candidate)> times;
    const auto measure = [](std::vector<double>& into, auto& work) {
        const double begin = worked();
        work();
        into.push_back(worked() - begin);
        benchmark::ClobberMemory();
    };
    for ([[maybe_unused]] auto _ : state) {
        auto* into = times.data();
        (measure(*into++, candidates), ...);
    }
    std::array<double, sizeof...(Candidate)> medians{};
    for (std::size_t i = 0; i < medians.size(); ++i) {
        std::sort(times[i].begin(), times[i].end());
        medians[i] = times[i][times[i].size() / 2];
    }
    return medians;
}

}  // namespace quarlo::bench

#endif
