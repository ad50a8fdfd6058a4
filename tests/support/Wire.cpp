/* The table of all packets, from the catalogue and the samples; see the header. */
#include "Wire.h"

#include <algorithm>
#include <stdexcept>

#include "QUARLO-WirePackets.h"
#include "QUARLO.Connector.IVI-API_C.h"
#include "Samples.h"

namespace quarlo::test {
namespace {

/** Writes what a record holds, with the names of its fields. */
class Survey {
  public:
    Contents found;

    template <class R>
    void record(const R& shown) {
        found.fields += '{';
        show(*this, shown);
        if (found.fields.back() == ' ') found.fields.pop_back();
        found.fields += '}';
    }
    template <class T>
    void value(const char* name, T field) {
        put(name, std::to_string(field));
    }
    template <class R>
    void member(const char* name, const R* nested) {
        found.fields += name;
        if (nested == nullptr) {
            found.fields += "=null";
        } else if constexpr (std::is_same_v<R, qrString>) {
            text(*nested);
        } else {
            record(*nested);
        }
        found.fields += ' ';
    }
    template <class T>
    void run(const char* name, std::size_t count, const T* values) {
        if (sizeof(T) == 1) keep(values, count);
        found.countsAreHonest &= (count != 0) == (values != nullptr);
        numbers(name, values == nullptr ? 0 : count, values);
    }
    template <class T>
    void numbers(const char* name, std::size_t count, const T* values) {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) {
            text += (i == 0 ? "" : " ") + std::to_string(values[i]);
        }
        put(name, "[" + text + "]");
    }
    template <class R>
    void list(const char* name, std::size_t count, R* const* entries) {
        found.countsAreHonest &= (count != 0) == (entries != nullptr);
        const unsigned holesBefore = found.holes;
        found.fields += std::string(name) + "=[";
        for (std::size_t i = 0; entries != nullptr && i < count; ++i) {
            if (entries[i] == nullptr) {
                ++found.holes;
                continue;
            }
            found.holesAreAtEnds &= found.holes == holesBefore;
            record(*entries[i]);
        }
        found.fields += "] ";
    }

  private:
    void text(const qrString& string) {
        keep(string.pContent, string.Length);
        found.fields += string.Encoding == eSTRINGENCODING_UTF8 ? "='" : "=latin'";
        if (string.pContent != nullptr) {
            found.fields.append(string.pContent, string.pContent + string.Length);
        }
        found.fields += '\'';
    }
    void put(const char* name, const std::string& value) {
        found.fields += std::string(name) + "=" + value + " ";
    }
    template <class T>
    void keep(const T* run, std::size_t count) {
        found.countsAreHonest &= (count != 0) == (run != nullptr);
        if (count != 0) found.byteRuns.push_back({reinterpret_cast<const UInt8*>(run), count});
    }
};

#define SHOW(Kind, ...) SHOW_##Kind(__VA_ARGS__)
#define SHOW_VALUE(Type, Name, unit, meaning) survey.value(#Name, shown.Name);
#define SHOW_BYTES(Name, N, unit, meaning) survey.numbers(#Name, N, shown.Name);
#define SHOW_MEMBER(Record, Name, unit, meaning) survey.member(#Name, shown.Name);
#define SHOW_RUN(Count, Length, Type, Name, unit, meaning) \
    survey.run(#Name, shown.Length, shown.Name);
#define SHOW_LIST(Count, Length, Record, Name, unit, meaning) \
    survey.list(#Name, shown.Length, shown.Name);
#define QUARLO_RECORD(Shape, Name, ...)                                 \
    [[maybe_unused]] void show(Survey& survey, const qr##Name& shown) { \
        QUARLO_EACH_FIELD(SHOW, __VA_ARGS__)                            \
    }
#define QUARLO_PACKET(Event, Direction, Name, ...)         \
    void show(Survey& survey, const packet##Name& shown) { \
        QUARLO_EACH_FIELD(SHOW, __VA_ARGS__)               \
    }
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) \
    void show(Survey&, const packet##Name&) {}
#include "QUARLO.Connector.IVI-API-Catalogue.def"

Golden wholeSample(const Sample& sample) {
    const Golden payload = golden(sample.payload);
    Golden whole{packet(sample.type, payload.bytes), payload.counts};
    for (CountField& count : whole.counts)
        count.offset += whole.bytes.size() - payload.bytes.size();
    return whole;
}

/** A packet and its functions without their types. */
template <class P, auto create, auto remove, auto decode, auto build>
PacketCase packetCase(const Sample& sample) {
    return {
        sample.name.data(),
        wholeSample(sample),
        std::string(sample.fields),
        [] { return static_cast<void*>(create()); },
        [](void* p) { remove(static_cast<P*>(p)); },
        [](void** buffer) { return static_cast<void*>(decode(buffer)); },
        [](void** buffer, UInt32* size, void* p) { build(buffer, size, static_cast<P*>(p)); },
        [](wire::Bounded& in, wire::Scratch& memory) {
            return static_cast<void*>(wire::decodePacket<P>(in, memory));
        },
        [](const void* p) {
            Survey survey;
            survey.record(*static_cast<const P*>(p));
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
        std::vector<PacketCase> all {
#define QUARLO_PACKET(Event, Direction, X, ...)                                     \
    packetCase<packet##X, packet##X##New, packet##X##Delete, packet##X##FromBuffer, \
               packet##X##ToBuffer>(sampleOf(#X)),
#define QUARLO_EMPTY_PACKET QUARLO_PACKET
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
