#include "Nmea.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

namespace quarlo::phone {
namespace {

constexpr std::size_t addressSize = 5;  // two letters of the talker, three of the kind
constexpr std::size_t checksumSize = 2;

/// Where in a sentence of this kind its fields stand; its latitude is followed by its side, its
/// longitude and that one's side.
struct Kind {
    std::string_view name;
    std::size_t validity;
    std::string_view invalid;
    std::size_t latitude;
    std::size_t heading;  ///< 0: it has none
    std::size_t leastFields;
};
constexpr Kind kinds[] = {{"GGA", 6, "0", 2, 0, 7}, {"RMC", 2, "V", 3, 8, 9}};

std::vector<std::string_view> fieldsOf(std::string_view body) {
    std::vector<std::string_view> fields;
    for (std::size_t comma = body.find(','); comma != body.npos; comma = body.find(',')) {
        fields.push_back(body.substr(0, comma));
        body.remove_prefix(comma + 1);
    }
    fields.push_back(body);
    return fields;
}

std::optional<double> numberOf(std::string_view text, double most) {
    double value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    const bool isNumber = result.ec == std::errc() && result.ptr == end && !text.empty();
    return isNumber && value >= 0 && value <= most ? std::optional(value) : std::nullopt;
}

/// Degrees and minutes (4807.038) with a hemisphere as degrees; nothing if it is none.
std::optional<double> degreesOf(std::string_view text, std::string_view side,
                                std::string_view sides, double most) {
    const auto value = numberOf(text, most * 100);
    if (!value || side.size() != 1 || sides.find(side) == sides.npos) return std::nullopt;
    const double whole = std::floor(*value / 100);
    const double minutes = *value - whole * 100;
    if (minutes >= 60) return std::nullopt;
    const double degrees = whole + minutes / 60;
    return side == sides.substr(0, 1) ? degrees : -degrees;
}

/// Whether the two digits are what all characters between $ and * come to.
std::optional<bool> isSum(std::string_view body, std::string_view digits) {
    unsigned told = 0;
    const char* end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, told, 16);
    if (digits.size() != checksumSize || result.ec != std::errc() || result.ptr != end) return {};
    unsigned sum = 0;
    for (const char c : body) sum ^= static_cast<unsigned char>(c);
    return sum == told;
}

Sentence readFields(const Kind& kind, const std::vector<std::string_view>& fields) {
    if (fields.size() < kind.leastFields) return {};
    if (fields[kind.validity] == kind.invalid) return {SentenceState::NoFix, {}, {}};
    const std::size_t at = kind.latitude;
    const auto latitude = degreesOf(fields[at], fields[at + 1], "NS", 90);
    const auto longitude = degreesOf(fields[at + 2], fields[at + 3], "EW", 180);
    if (fields[kind.validity].size() != 1 || !latitude || !longitude) return {};
    Sentence sentence{SentenceState::Place, {*latitude, *longitude}, {}};
    const std::string_view heading = kind.heading == 0 ? "" : fields[kind.heading];
    if (!heading.empty() && !(sentence.heading = numberOf(heading, 360))) return {};
    return sentence;
}

}  // namespace

Sentence readSentence(std::string_view text) {
    while (text.ends_with('\n') || text.ends_with('\r')) text.remove_suffix(1);
    if (!text.starts_with('$')) return {};
    const std::size_t star = std::min(text.find('*'), text.size());
    const std::string_view body = text.substr(1, star - 1);
    if (star < text.size()) {
        const auto isRight = isSum(body, text.substr(star + 1));
        if (!isRight) return {};
        if (!*isRight) return {SentenceState::WrongChecksum, {}, {}};
    }
    const auto fields = fieldsOf(body);
    if (fields[0].size() != addressSize) return {};
    for (const Kind& kind : kinds) {
        if (fields[0].ends_with(kind.name)) return readFields(kind, fields);
    }
    return {SentenceState::OtherKind, {}, {}};
}

}  // namespace quarlo::phone
