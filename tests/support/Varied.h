/* Random choices from a seed: arguments that are mostly good, and what phones say. One thread. */
#ifndef QUARLO_TESTS_VARIED_H
#define QUARLO_TESTS_VARIED_H

#include <random>

#include "ApiCalls.h"
#include "CatalogueBytes.h"
#include "Radio.h"
#include "Recording.h"

namespace quarlo::test {

class Chance {
  public:
    explicit Chance(unsigned seed) : engine(seed) {}
    unsigned below(unsigned count) { return static_cast<unsigned>(engine() % count); }
    bool oneIn(unsigned count) { return below(count) == 0; }

  private:
    std::mt19937 engine;
};

class Varied : public Arguments {
  public:
    Varied(Chance& source, Listener& whoever) : chance(source), who(whoever) {}

    std::uint64_t number(std::uint64_t sample, std::size_t) override {
        if (!chance.oneIn(3)) return sample;
        return chance.oneIn(4) ? chance.below(256) : chance.below(8);
    }
    char* text(const char* sample) override {
        static char empty[] = "";
        if (!chance.oneIn(8)) return Arguments::text(sample);
        return chance.oneIn(2) ? nullptr : empty;
    }
    /** As many as may be asked for; the sample has fewer. */
    void* bytes(const void*, std::size_t size) override {
        if (chance.oneIn(16)) return nullptr;
        void* const block = Arguments::bytes(nullptr, size);
        std::memset(block, static_cast<int>(chance.below(8)), size);
        return block;
    }
    KeyValueList* pairs(KeyValueList* sample) override {
        return chance.oneIn(3) ? nullptr : sample;
    }
    Listener* listener() override { return chance.oneIn(8) ? nullptr : &who; }
    Dump dump() override { return {0, Arguments::text("/dev/null")}; }

  private:
    Chance& chance;
    Listener& who;
};

/* ---- what phones say ---- */

inline Bytes customMessage(unsigned event, unsigned type, const Bytes& payload) {
    return packet(68, u8(event) + u16(type) + u16(static_cast<unsigned>(payload.size())) + payload);
}

/** One or several packets, in each of which all that may differ does. */
inline Bytes randomPackets(Chance& chance) {
    static const std::vector<Bytes> samples = wholeSession();
    const unsigned n = chance.below(8);
    switch (chance.below(10)) {
        case 0:
            return packet(54, u8(3) + u32(n) + u32(n + 10) + u32(42));
        case 1:
            return packet(54, u8(0)) + packet(56, u32(n + 1000));
        case 2:
        case 3:
            return serverAudio(n, eAUDIOCONTROL_Request, chance.below(6) + 1, chance.below(4));
        case 4:
            return serverAudio(n, eAUDIOCONTROL_Release, 3, 0) + packet(64);
        case 5:
            return catalogue(numbered(n + 1)) +
                   packet(72, text("app0") + u32(1) + u32(4) + u32(3) + Bytes{1, 2, 3});
        case 6:
            return customMessage(3, 0x3000U | n, Bytes(n + 1, 7)) +
                   customMessage(3, 0x4000U | chance.below(8), {}) + customMessage(3, 0x1001, {1}) +
                   customMessage(3, 0x2001, {});
        default:
            return samples[chance.below(static_cast<unsigned>(samples.size()))];
    }
}

}  // namespace quarlo::test

#endif
