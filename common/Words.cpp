#include "Words.h"

#include <charconv>

namespace quarlo {
inline namespace common {
namespace {

constexpr const char* blanks = " \t\r";

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

template <typename Number>
std::optional<Number> numberFrom(std::string_view text, int base) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    if (error != std::errc() || stop != end) return {};
    return number;
}

}  // namespace

Words::Words(std::string_view line) : left(trimmed(line)) {}

std::string_view Words::next() {
    if (left.empty()) refuse();
    const std::string_view word = left.substr(0, left.find_first_of(blanks));
    left = trimmed(left.substr(word.size()));
    return word;
}

std::string Words::rest() {
    std::string all(left);
    left = {};
    return all;
}

UInt64 Words::number(UInt64 maximum) {
    const std::string_view word = next();
    const bool isHexadecimal = word.starts_with("0x") || word.starts_with("0X");
    const auto value =
        isHexadecimal ? numberFrom<UInt64>(word.substr(2), 16) : numberFrom<UInt64>(word, 10);
    const UInt64 number = taken(value, UInt64{0});
    if (number > maximum) refuse();
    return number;
}

unsigned Words::milliseconds() {
    return static_cast<unsigned>(number(600'000));
}

UInt16 Words::coordinate() {
    return static_cast<UInt16>(number(65535));
}

bool Words::isOn() {
    const std::string_view word = next();
    if (word != "on" && word != "off") refuse();
    return word == "on";
}

std::optional<unsigned> Words::timeoutBehind(std::string& text) {
    constexpr std::string_view keyword = "timeout ";
    text = rest();
    const std::size_t at = text.rfind(keyword);
    if (at == std::string::npos || (at != 0 && text[at - 1] != ' ')) return {};
    Words timeout{std::string_view(text).substr(at + keyword.size())};
    const unsigned time = timeout.milliseconds();
    if (!timeout.areRight()) refuse();
    text = trimmed(std::string_view(text).substr(0, at));
    return time;
}

std::vector<UInt8> Words::bytes(std::size_t maximum) {
    std::vector<UInt8> bytes;
    if (isEmpty()) return bytes;
    const std::string_view digits = next();
    if (digits.size() % 2 != 0 || digits.size() / 2 > maximum) refuse();
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(taken(numberFrom<UInt8>(digits.substr(i, 2), 16), UInt8{0}));
    }
    return bytes;
}

}  // namespace common
}  // namespace quarlo
