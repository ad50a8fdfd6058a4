/* Encoding and decoding of every packet of the catalogue, with nothing in its lists and strings. */
#include <benchmark/benchmark.h>

#include <string>

#include "Allocations.h"
#include "QUARLO-WirePackets.h"
#include "QUARLO-WireScratch.h"

namespace quarlo::bench {
namespace {

using namespace quarlo::wire;

/** Gives the members that a built packet needs and New leaves out. */
struct Complete : Clear {
    using Clear::operator();
    template <class R>
    bool operator()(R*& member) {
        if (member == nullptr) member = Heap::make<R>();
        return Layout<R>::each(*member, *this);
    }
};

void countAllocations(benchmark::State& state, std::uint64_t before) {
    state.counters["allocations"] = static_cast<double>(quarlo::bench::allocations() - before) /
                                    static_cast<double>(state.iterations());
}

template <class P>
void encode(benchmark::State& state) {
    P* packet = newPacket<P>();
    Complete complete;
    Layout<P>::each(*packet, complete);
    const std::uint64_t before = quarlo::bench::allocations();
    for (auto _ : state) {
        void* buffer = nullptr;
        UInt32 size = 0;
        build(&buffer, &size, *packet);
        benchmark::DoNotOptimize(buffer);
        quarlo_free(buffer);
    }
    countAllocations(state, before);
    deletePacket(packet);
}

template <class P>
void decode(benchmark::State& state) {
    P* packet = newPacket<P>();
    Complete complete;
    Layout<P>::each(*packet, complete);
    void* buffer = nullptr;
    UInt32 size = 0;
    build(&buffer, &size, *packet);
    const auto* bytes = static_cast<const UInt8*>(buffer);
    Scratch scratch;
    scratch.prepare();
    const std::uint64_t before = quarlo::bench::allocations();
    for (auto _ : state) {
        Bounded in{bytes, bytes + size};
        P* decoded = decodePacket<P>(in, scratch);
        benchmark::DoNotOptimize(decoded);
        scratch.reset();
    }
    countAllocations(state, before);
    scratch.release();
    quarlo_free(buffer);
    deletePacket(packet);
}

const bool registered = [] {
#define QUARLO_PACKET(Event, Direction, Name, ...) QUARLO_EMPTY_PACKET(Event, Direction, Name)
#define QUARLO_EMPTY_PACKET(Event, Direction, Name)                       \
    benchmark::RegisterBenchmark("encode/" #Name, &encode<packet##Name>); \
    benchmark::RegisterBenchmark("decode/" #Name, &decode<packet##Name>);
#include "QUARLO.Connector.IVI-API-Catalogue.def"
    return true;
}();

}  // namespace
}  // namespace quarlo::bench
