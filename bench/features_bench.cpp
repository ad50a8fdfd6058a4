/* What single features cost beside the same bytes written or read by hand, allocations counted. */
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "Allocations.h"
#include "Pump.h"
#include "QUARLO-Core-Engineering-Types.h"
#include "QUARLO-Internal.h"

namespace quarlo::bench {
namespace {

constexpr int batch = 2000;

/* ---- writing and reading by hand ---- */

template <class T>
UInt8* put(UInt8* at, T value) {
    std::memcpy(at, &value, sizeof value);
    return at + sizeof value;
}

UInt8* putHeader(UInt8* at, EventType event, std::size_t payload) {
    at = put(put(at, static_cast<UInt8>(event)), UInt32{0});
    return put(at, static_cast<UInt32>(payload));
}

UInt8* putText(UInt8* at, const char* text, std::size_t length) {
    at = put(put(at, UInt8{eSTRINGENCODING_UTF8}), static_cast<UInt16>(length));
    std::memcpy(at, text, length);
    return at + length;
}

template <class T>
const UInt8* get(const UInt8* at, T& value) {
    std::memcpy(&value, at, sizeof value);
    return at + sizeof value;
}

/* ---- measuring ---- */

/** Seconds of one call, from the quickest of several rounds. */
template <class Call>
double secondsOf(Call call) {
    double quickest = 1;
    for (int round = 0; round < 10; ++round) {
        const double start = now();
        for (int i = 0; i < batch; ++i) call();
        quickest = std::min(quickest, (now() - start) / batch);
    }
    return quickest;
}

void report(benchmark::State& state, double seconds, double byHand, double allocs) {
    state.counters["ns"] = seconds * 1e9;
    state.counters["ns_by_hand"] = byHand * 1e9;
    state.counters["x_by_hand"] = seconds / byHand;
    state.counters["x_malloc_free_64"] = seconds / secondsPerMalloc();
    state.counters["allocs"] = allocs;
}

/** A call that sends, beside the writing of the same bytes. */
template <class Call, class ByHand>
void compareSending(benchmark::State& state, Call call, ByHand byHand) {
    double seconds = 1;
    double reference = 1;
    std::uint64_t calls = 0;
    const std::uint64_t before = allocations();
    for (auto _ : state) {
        seconds = std::min(seconds, secondsOf(call));
        reference = std::min(reference, secondsOf(byHand));
        calls += 10 * batch;
    }
    report(state, seconds, reference,
           static_cast<double>(allocations() - before) / static_cast<double>(calls));
}

/** A received packet, beside the reading of the same bytes. */
template <class ByHand>
void compareReceiving(benchmark::State& state, Pump& pump, const Bytes& packet, std::size_t times,
                      ByHand byHand) {
    double seconds = 1;
    double reference = 1;
    std::uint64_t allocated = 0;
    pump.run(packet, times);
    for (auto _ : state) {
        const Pump::Result result = pump.run(packet, times);
        seconds = std::min(seconds, result.seconds / static_cast<double>(times));
        allocated += result.allocations;
        state.SetIterationTime(result.seconds);
        const double start = now();
        for (std::size_t i = 0; i < times; ++i) byHand();
        reference = std::min(reference, (now() - start) / static_cast<double>(times));
    }
    const auto packets = static_cast<double>(times) * static_cast<double>(state.iterations());
    report(state, seconds, reference, static_cast<double>(allocated) / packets);
}

/* ---- what is sent ---- */

void sendTouches(benchmark::State& state) {
    Pump pump(1280, 720);
    const auto count = static_cast<UInt8>(state.range(0));
    TouchEvent touches[5];
    for (UInt16 i = 0; i < 5; ++i) touches[i] = {eTOUCHTYPE_Moved, i, i, i};
    UInt8 bytes[64];
    compareSending(
        state, [&] { quarlo_TouchEventsTimed(pump.handle(), touches, count, 1); },
        [&] {
            UInt8* at = put(putHeader(bytes, eEVENTTYPE_TouchEvent, 1 + count * 9U + 4), count);
            for (unsigned i = 0; i < count; ++i) {
                at = put(put(at, touches[i].event), touches[i].xPosition);
                at = put(put(at, touches[i].yPosition), touches[i].fingerId);
            }
            benchmark::DoNotOptimize(put(at, UInt32{1}));
            benchmark::ClobberMemory();
        });
}
BENCHMARK(sendTouches)->Arg(1)->Arg(5)->Unit(benchmark::kMillisecond);

void sendUpdateRequest(benchmark::State& state) {
    Pump pump(1280, 720);
    UInt8 bytes[32];
    compareSending(
        state, [&] { quarlo_FramebufferUpdateRequest(pump.handle(), 1, 2, 3, 4, 1); },
        [&] {
            UInt8* at = putHeader(bytes, eEVENTTYPE_FramebufferUpdateRequest, 9);
            at = put(put(put(put(at, UInt16{1}), UInt16{2}), UInt16{3}), UInt16{4});
            benchmark::DoNotOptimize(put(at, UInt8{1}));
            benchmark::ClobberMemory();
        });
}
BENCHMARK(sendUpdateRequest)->Unit(benchmark::kMillisecond);

void sendVehicleValue(benchmark::State& state) {
    Pump pump(1280, 720);
    UInt32 key = 7;
    quarlo_Eng_SetVehicleDataFilter(pump.handle(), 0, 1, &key);
    const char* value = R"({"speed":{"value":83.5,"unit":"km/h"}})";
    UInt8 bytes[128];
    compareSending(
        state, [&] { quarlo_VehicleData(pump.handle(), key, eSTRINGENCODING_UTF8, value); },
        [&] {
            const std::size_t length = std::strlen(value);
            UInt8* at = putHeader(bytes, eEVENTTYPE_VehicleData, 4 + 3 + length);
            benchmark::DoNotOptimize(putText(put(at, key), value, length));
            benchmark::ClobberMemory();
        });
}
BENCHMARK(sendVehicleValue)->Unit(benchmark::kMillisecond);

void sendCanMessage(benchmark::State& state) {
    Pump pump(1280, 720);
    UInt8 data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    UInt8 bytes[64];
    compareSending(
        state,
        [&] {
            quarlo_CustomDataCan(pump.handle(), eCLIENTCUSTOMDATACANTYPE_Generic, 0x123, 8, data);
        },
        [&] {
            UInt8* at = putHeader(bytes, eEVENTTYPE_ClientCustomData, 5 + 13);
            at = put(put(at, UInt8{eCUSTOMDATAEVENT_Can}), UInt16{1});
            at = put(put(put(at, UInt16{13}), UInt32{0x123}), UInt8{8});
            std::memcpy(at, data, 8);
            benchmark::ClobberMemory();
        });
}
BENCHMARK(sendCanMessage)->Unit(benchmark::kMillisecond);

/* ---- what is received ---- */

void receiveCanMessage(benchmark::State& state) {
    Pump pump(1280, 720);
    quarlo_SetCustomDataCanCallback(
        pump.handle(), [](void*, ServerCustomDataCanType, UInt32 identifier, UInt8, UInt8* data) {
            benchmark::DoNotOptimize(identifier + data[0]);
        });
    Bytes packet(9 + 5 + 13);
    UInt8* at = putHeader(packet.data(), eEVENTTYPE_ServerCustomData, 5 + 13);
    at = put(put(at, UInt8{eCUSTOMDATAEVENT_Can}), UInt16{1});
    put(put(put(at, UInt16{13}), UInt32{0x123}), UInt8{8});
    compareReceiving(state, pump, packet, 20000, [&] {
        UInt32 identifier = 0;
        UInt8 length = 0;
        UInt8 buffer[64];
        // The link's copy belongs to both sides.
        std::memcpy(buffer, packet.data(), packet.size());
        const UInt8* data = get(get(buffer + 9 + 5, identifier), length);
        benchmark::DoNotOptimize(identifier + length + data[0]);
        benchmark::ClobberMemory();
    });
}
BENCHMARK(receiveCanMessage)->UseManualTime()->Unit(benchmark::kMillisecond);

Bytes catalogue(UInt32 apps) {
    Bytes packet(13 + std::size_t{apps} * 256);
    UInt8* at = packet.data() + 9;
    at = put(at, apps);
    const auto text = [&](const std::string& value) {
        at = putText(at, value.data(), value.size());
    };
    for (UInt32 i = 0; i < apps; ++i) {
        const std::string number = std::to_string(i);
        text("app://catalogue/" + number);
        text("Application " + number);
        at = put(at, i);
        text("A manufacturer");
        text("What the application is good for, in one sentence.");
        at = put(put(put(at, UInt8{2}), UInt32{1}), UInt32{2});
        at = put(put(at, UInt8{eAPPINSTALLATIONSTATUS_Executable}), UInt8{1});
        std::memcpy(at, "eng", 3);
        at += 3;
    }
    packet.resize(static_cast<std::size_t>(at - packet.data()));
    putHeader(packet.data(), eEVENTTYPE_ServerAppInfo, packet.size() - 9);
    return packet;
}

/** Reads a catalogue field by field; the sum of what it holds. */
std::uint64_t readCatalogue(const Bytes& packet) {
    std::uint64_t sum = 0;
    UInt32 apps = 0;
    const UInt8* at = get(packet.data() + 9, apps);
    const auto text = [&] {
        UInt16 length = 0;
        at = get(at + 1, length);
        sum += length != 0 ? at[length - 1] : 0;
        at += length;
    };
    for (UInt32 i = 0; i < apps; ++i) {
        UInt32 icon = 0;
        text();
        text();
        at = get(at, icon);
        text();
        text();
        UInt8 categories = 0;
        at = get(at, categories);
        sum += icon + categories;
        at += std::size_t{categories} * 4 + 5;
    }
    return sum;
}

void receiveCatalogue(benchmark::State& state) {
    Pump pump(1280, 720);
    const auto apps = static_cast<UInt32>(state.range(0));
    const Bytes packet = catalogue(apps);
    Bytes buffer(packet.size());
    compareReceiving(state, pump, packet, 2, [&] {
        std::memcpy(buffer.data(), packet.data(), packet.size());
        benchmark::DoNotOptimize(readCatalogue(buffer));
        benchmark::ClobberMemory();
    });
}
BENCHMARK(receiveCatalogue)
    ->Arg(100)
    ->Arg(5000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(40);

/** The host's copy of a catalogue made and deleted, beside one walk over the catalogue's bytes. */
void copyCatalogue(benchmark::State& state) {
    Pump pump(1280, 720);
    const Bytes packet = catalogue(static_cast<UInt32>(state.range(0)));
    pump.run(packet, 1);
    compareSending(
        state,
        [&] {
            UInt32 count = 0;
            AppInfoList* list = nullptr;
            quarlo_CreateAppInfoList(pump.handle(), &count, &list);
            quarlo_DeleteAppInfoList(pump.handle(), list);
        },
        [&] { benchmark::DoNotOptimize(readCatalogue(packet)); });
}
BENCHMARK(copyCatalogue)->Arg(100)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quarlo::bench
