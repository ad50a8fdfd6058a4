/* The table of all packets, from the catalogue and the samples; see the header. */
#include "Wire.h"

#include <algorithm>
#include <stdexcept>

#include "QUARLO-WirePackets.h"
#include "Samples.h"

namespace quarlo::test {
namespace {

/** Lists what Layout shows of a decoded packet. */
struct Survey {
    Contents found;

    template <wire::Scalar T>
    bool operator()(const T&) {
        return true;
    }
    template <std::size_t N>
    bool operator()(const UInt8 (&)[N]) {
        return true;
    }
    template <class R>
    bool operator()(R* const& member) {
        return member != nullptr && wire::Layout<R>::each(*member, *this);
    }
    template <wire::Scalar C, wire::Scalar T>
    bool operator()(const C& count, T* const& run) {
        found.countsAreHonest = found.countsAreHonest && (count != 0) == (run != nullptr);
        if (sizeof(T) == 1 && count != 0) {
            found.byteRuns.push_back({reinterpret_cast<const UInt8*>(run), count});
        }
        return true;
    }
    template <wire::Scalar C, class R>
    bool operator()(const C& count, R** const& list) {
        found.countsAreHonest = found.countsAreHonest && (count != 0) == (list != nullptr);
        bool hasHole = false;
        for (std::uint64_t i = 0; list != nullptr && i < count; ++i) {
            if (list[i] == nullptr) {
                hasHole = true;
                ++found.holes;
            } else {
                found.holesAreAtEnds = found.holesAreAtEnds && !hasHole;
                wire::Layout<R>::each(*list[i], *this);
            }
        }
        return true;
    }
};

template <class P>
struct Family;
#define FIELD(Kind, ...) FIELD_##Kind(__VA_ARGS__)
#define FIELD_VALUE(Type, Name, unit, meaning) , p.Name
#define FIELD_BYTES(Name, N, unit, meaning) , p.Name
#define FIELD_MEMBER(Record, Name, unit, meaning) , p.Name
#define FIELD_RUN(Count, Length, Type, Name, unit, meaning) , p.Length, p.Name
#define FAMILY(X, Fields)                                                                \
    template <>                                                                          \
    struct Family<packet##X> {                                                           \
        static constexpr const char* name = #X;                                          \
        static constexpr auto create = packet##X##New;                                   \
        static constexpr auto remove = packet##X##Delete;                                \
        static constexpr auto decode = packet##X##FromBuffer;                            \
        static constexpr auto build = packet##X##ToBuffer;                               \
        static void buildFromFields(void** buffer, UInt32* size, qrPacketHeader* header, \
                                    [[maybe_unused]] packet##X& p) {                     \
            packet##X##ToBufferFromFields(buffer, size, header Fields);                  \
        }                                                                                \
    };
#define QUARLO_PACKET(Event, Direction, X, ...) FAMILY(X, QUARLO_EACH_FIELD(FIELD, __VA_ARGS__))
#define QUARLO_EMPTY_PACKET(Event, Direction, X) FAMILY(X, )
#include "QUARLO.Connector.IVI-API-Catalogue.def"

template <class P>
Golden wholeSample() {
    const Golden payload = golden(Sample<P>::payload);
    Golden whole{packet(Sample<P>::type, payload.bytes), payload.counts};
    for (CountField& count : whole.counts)
        count.offset += whole.bytes.size() - payload.bytes.size();
    return whole;
}

template <class P>
PacketCase packetCase() {
    using F = Family<P>;
    return {
        F::name,
        wholeSample<P>(),
        [] { return static_cast<void*>(F::create()); },
        [](void* p) { F::remove(static_cast<P*>(p)); },
        [](void** buffer) { return static_cast<void*>(F::decode(buffer)); },
        [](void** buffer, UInt32* size, void* p) { F::build(buffer, size, static_cast<P*>(p)); },
        [](void** buffer, UInt32* size, qrPacketHeader* header, void* p) {
            F::buildFromFields(buffer, size, header, *static_cast<P*>(p));
        },
        [](wire::Bounded& in, wire::Scratch& memory) {
            return static_cast<void*>(wire::decodePacket<P>(in, memory));
        },
        [](void* p) {
            Fill fill;
            Sample<P>::each(*static_cast<P*>(p), fill);
        },
        [](void* p) {
            Check check;
            Sample<P>::each(*static_cast<P*>(p), check);
        },
        [](void* p) {
            Survey survey;
            wire::Layout<P>::each(*static_cast<const P*>(p), survey);
            return survey.found;
        },
    };
}

std::uint8_t digit(char c) {
    const std::size_t value = std::string_view("0123456789ABCDEF").find(c);
    if (value > 15) throw std::invalid_argument("not a hexadecimal digit");
    return static_cast<std::uint8_t>(value);
}

}  // namespace

Golden golden(std::string_view notation) {
    Golden result;
    std::size_t countStart = 0;
    for (std::size_t i = 0; i < notation.size(); ++i) {
        const char c = notation[i];
        if (c == ' ') continue;
        if (c == '<') {
            countStart = result.bytes.size();
        } else if (c == '>') {
            result.counts.push_back({countStart, result.bytes.size() - countStart});
        } else if (c == '\'') {
            while (notation.at(++i) != '\'') {
                result.bytes.push_back(static_cast<std::uint8_t>(notation[i]));
            }
        } else {
            const int high = digit(c) << 4;
            result.bytes.push_back(static_cast<std::uint8_t>(high | digit(notation.at(++i))));
        }
    }
    return result;
}

const std::vector<PacketCase>& packetCases() {
    static const std::vector<PacketCase> cases = [] {
        std::vector<PacketCase> all{
#define QUARLO_PACKET(Event, Direction, X, ...) packetCase<packet##X>(),
#define QUARLO_EMPTY_PACKET(Event, Direction, X) packetCase<packet##X>(),
#include "QUARLO.Connector.IVI-API-Catalogue.def"
        };
        std::sort(all.begin(), all.end(), [](const PacketCase& a, const PacketCase& b) {
            return a.whole.bytes[0] < b.whole.bytes[0];
        });
        return all;
    }();
    return cases;
}

}  // namespace quarlo::test
