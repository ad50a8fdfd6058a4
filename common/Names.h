/*
 * The printed names of the protocol's values, in both directions, stamped from its catalogue of
 * enumerations. Pure functions over constants.
 */
#ifndef COMMON_NAMES_H
#define COMMON_NAMES_H

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "QUARLO-Core-Types.h"

namespace quarlo {
inline namespace common {

struct NamedValue {
    std::string_view enumerator;
    unsigned value;

    /** What follows the first underscore. */
    constexpr std::string_view name() const { return enumerator.substr(enumerator.find('_') + 1); }
};

/* valuesOf(std::type_identity<Type>) for an enumeration; a set of flags has a type TypeBits. */
#define QUARLO_ENUM_BEGIN(Type, Wire, Printer)                              \
    inline std::span<const NamedValue> valuesOf(std::type_identity<Type>) { \
        static constexpr NamedValue values[] = {
#define QUARLO_MASK_BEGIN(Type, Wire, Printer) \
    struct Type##Bits {};                      \
    QUARLO_ENUM_BEGIN(Type##Bits, Wire, Printer)
#define QUARLO_VALUE(enumerator, value, meaning) {#enumerator, value},
#define QUARLO_ENUM_END(Type) \
    }                         \
    ;                         \
    return values;            \
    }
/* clang-format off */
#include "QUARLO.Connector.IVI-API-Enumerations.def"
/* clang-format on */

/** The name among these, or "unknown (7)". */
std::string nameAmong(std::span<const NamedValue> values, unsigned value);
/** The value of that name, capital and small letters being the same. */
std::optional<unsigned> valueAmong(std::span<const NamedValue> values, std::string_view name);
/** Every name, with commas between them. */
std::string namesAmong(std::span<const NamedValue> values);
/** The names of the flags that are set, with commas between them; "none" without any. */
std::string flagsAmong(std::span<const NamedValue> values, unsigned flags);

template <typename Type>
std::string wireName(Type value) {
    return nameAmong(valuesOf(std::type_identity<Type>()), static_cast<unsigned>(value));
}

template <typename Type>
std::optional<Type> wireValue(std::string_view name) {
    const auto value = valueAmong(valuesOf(std::type_identity<Type>()), name);
    if (!value) return {};
    return static_cast<Type>(*value);
}

template <typename Type>
std::string wireNames() {
    return namesAmong(valuesOf(std::type_identity<Type>()));
}

}  // namespace common
}  // namespace quarlo

#endif
