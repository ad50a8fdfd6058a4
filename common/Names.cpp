#include "Names.h"

#include <strings.h>

#include <algorithm>

namespace quarlo {
inline namespace common {

std::string nameAmong(std::span<const NamedValue> values, unsigned value) {
    for (const NamedValue& entry : values) {
        if (entry.value == value) return std::string(entry.name());
    }
    return "unknown (" + std::to_string(value) + ")";
}

std::optional<unsigned> valueAmong(std::span<const NamedValue> values, std::string_view name) {
    for (const NamedValue& entry : values) {
        const std::string_view own = entry.name();
        if (own.size() == name.size() && strncasecmp(own.data(), name.data(), own.size()) == 0) {
            return entry.value;
        }
    }
    return {};
}

std::string namesAmong(std::span<const NamedValue> values) {
    std::string names;
    for (const NamedValue& entry : values) {
        names += (names.empty() ? "" : ", ") + std::string(entry.name());
    }
    return names;
}

std::string flagsAmong(std::span<const NamedValue> values, unsigned flags) {
    std::string names;
    for (const NamedValue& entry : values) {
        const bool isOneFlag = entry.value != 0 && (entry.value & (entry.value - 1)) == 0;
        if (!isOneFlag || (flags & entry.value) == 0) continue;
        names += (names.empty() ? "" : ",") + std::string(entry.name());
    }
    return names.empty() ? "none" : names;
}

}  // namespace common
}  // namespace quarlo
