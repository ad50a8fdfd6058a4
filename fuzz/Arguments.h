/* Arguments of host API calls, made from an input. */
#ifndef QUARLO_FUZZ_ARGUMENTS_H
#define QUARLO_FUZZ_ARGUMENTS_H

#include <cstring>
#include <deque>
#include <type_traits>
#include <vector>

#include "Input.h"
#include "QUARLO-Core-Types.h"

namespace quarlo::fuzz {

/** The arguments of one call, which live as long as it. */
class Arguments {
  public:
    explicit Arguments(Input& input) : in(input) {}

    template <class T>
    T make() {
        if constexpr (std::is_same_v<T, const char*> || std::is_same_v<T, char*>) {
            return text();
        } else if constexpr (std::is_same_v<T, KeyValueList*>) {
            return pairs();
        } else {
            static_assert(std::is_integral_v<T> || std::is_enum_v<T>);
            return static_cast<T>(in.number<Underlying<T>>());
        }
    }
    /** So many bytes, or null now and then. */
    UInt8* bytes(std::size_t count) {
        if (in.u8() % 8 == 0) return nullptr;
        const Exact& block = blocks.emplace_back(count);
        const Span given = in.take(count);
        std::copy(given.begin(), given.end(), block.data());
        return block.data();
    }
    template <class T>
    T* values(std::size_t count) {
        return reinterpret_cast<T*>(bytes(count * sizeof(T)));
    }
    /** A terminated text: null, empty, as given, or long. */
    char* text() {
        const unsigned kind = in.u8();
        if (kind == 0) return nullptr;
        const bool isLong = kind == 255;
        const std::size_t length = isLong ? std::size_t{65400} + in.u8() : kind - 1;
        const Exact& block = blocks.emplace_back(length + 1);
        if (isLong) std::memset(block.data(), 'x', length);
        const Span given = isLong ? Span() : in.take(length);
        std::copy(given.begin(), given.end(), block.data());
        return reinterpret_cast<char*>(block.data());
    }
    KeyValueList* pairs() {
        const unsigned count = in.u8() % 4;
        if (count == 3) return nullptr;
        auto& entries = keyValues.emplace_back();
        for (unsigned i = 0; i < count; ++i) {
            char* key = text();
            entries.push_back({key, text()});
        }
        return &lists.emplace_back(KeyValueList{static_cast<UInt8>(count), entries.data()});
    }

  private:
    template <class T, bool isEnum = std::is_enum_v<T>>
    struct Under {
        using type = T;
    };
    template <class T>
    struct Under<T, true> {
        using type = std::underlying_type_t<T>;
    };
    template <class T>
    using Underlying = std::make_unsigned_t<typename Under<T>::type>;

    Input& in;
    std::deque<Exact> blocks;
    std::deque<std::vector<KeyValue>> keyValues;
    std::deque<KeyValueList> lists;
};

}  // namespace quarlo::fuzz

#endif
