/*
 * Words that stand for values, in both directions. Pure functions.
 */
#ifndef COMMON_WORDTABLE_H
#define COMMON_WORDTABLE_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace quarlo {
inline namespace common {

template <typename Value>
struct Word {
    const char* word;
    Value value;
};

template <typename Value, std::size_t N>
std::optional<Value> valueOf(const Word<Value> (&words)[N], std::string_view text) {
    for (const auto& entry : words) {
        if (text == entry.word) return entry.value;
    }
    return {};
}

template <typename Value, std::size_t N>
const char* wordOf(const Word<Value> (&words)[N], Value value) {
    for (const auto& entry : words) {
        if (entry.value == value) return entry.word;
    }
    return "unknown";
}

/** Every word, with commas between them. */
template <typename Value, std::size_t N>
std::string wordsOf(const Word<Value> (&words)[N]) {
    std::string all;
    for (const auto& entry : words) all += (all.empty() ? "" : ", ") + std::string(entry.word);
    return all;
}

struct Split {
    std::string_view before;
    std::string_view after;
};

/** Around the character at that position; nothing if that is beyond the text. */
inline std::optional<Split> splitAt(std::string_view text, std::size_t position) {
    if (position == std::string_view::npos) return {};
    return Split{text.substr(0, position), text.substr(position + 1)};
}

}  // namespace common
}  // namespace quarlo

#endif
