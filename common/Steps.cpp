#include "Steps.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "Text.h"

namespace quarlo {
inline namespace common {
namespace {

std::string joined(const std::vector<std::string>& names) {
    std::string all;
    for (const std::string& name : names) all += (all.empty() ? "" : ", ") + name;
    return all;
}

void addOnce(std::vector<std::string>& names, const std::string& name) {
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
}

}  // namespace

namespace argument {

Argument<UInt64> number(const std::string& name, UInt64 minimum, UInt64 maximum) {
    return {name, name + ": " + std::to_string(minimum) + " to " + std::to_string(maximum),
            [minimum, maximum](Words& words) {
                const UInt64 value = words.number(maximum);
                if (value < minimum) words.refuse();
                return value;
            }};
}

Argument<UInt32> identifier(const std::string& name, UInt32 maximum) {
    return {name, name + format(": up to 0x%X", maximum),
            [maximum](Words& words) { return static_cast<UInt32>(words.number(maximum)); }};
}

Argument<UInt16> coordinate(const std::string& name) {
    return {name, {}, [](Words& words) { return words.coordinate(); }};
}

Argument<unsigned> duration(const std::string& name) {
    return {name, name + ": milliseconds, up to 600000",
            [](Words& words) { return words.milliseconds(); }};
}

Argument<bool> onOrOff() {
    return {"on|off", {}, [](Words& words) { return words.isOn(); }};
}

Argument<Size> size() {
    return {"WIDTHxHEIGHT", "WIDTH, HEIGHT: 1 to 8192",
            [](Words& words) { return words.parsed(parseSize); }};
}

Argument<std::string> word(const std::string& name) {
    return {name, {}, [](Words& words) { return std::string(words.next()); }};
}

Argument<std::string> text(const std::string& name) {
    return {name, {}, [](Words& words) {
                if (words.isEmpty()) words.refuse();
                return words.rest();
            }};
}

Argument<std::string> textIfAny(const std::string& name) {
    return {"[" + name + "]", {}, [](Words& words) { return words.rest(); }};
}

Argument<std::vector<UInt8>> bytes(std::size_t maximum) {
    return {"[BYTES]", format("BYTES: up to %zu bytes as pairs of hexadecimal digits", maximum),
            [maximum](Words& words) { return words.bytes(maximum); }};
}

}  // namespace argument

void StepList::begin(const std::string& name, const std::string& meaning) {
    entries.push_back({std::exchange(nextTitle, {}), name, name, {}, meaning});
}

void StepList::describe(const std::string& usage, const std::string& allowed) {
    Entry& entry = entries.back();
    entry.usage += " " + usage;
    if (allowed.empty()) return;
    entry.allowed += (entry.allowed.empty() ? "" : "; ") + allowed;
}

std::optional<std::size_t> StepList::find(Words& words, std::string& allowed) const {
    const std::string first(words.next());
    const std::string second = words.isEmpty() ? std::string() : std::string(Words(words).next());
    std::vector<std::string> firsts;
    std::vector<std::string> seconds;
    for (std::size_t place = 0; place < entries.size(); ++place) {
        const std::string& name = entries[place].name;
        if (name == first) return place;
        const std::size_t blank = name.find(' ');
        addOnce(firsts, name.substr(0, blank));
        if (blank == std::string::npos || name.compare(0, blank, first) != 0) continue;
        seconds.push_back(name.substr(blank + 1));
        if (seconds.back() != second) continue;
        words.next();
        return place;
    }
    allowed = seconds.empty() ? joined(firsts) : first + " WHAT ...; WHAT: " + joined(seconds);
    return {};
}

std::string StepList::expected(std::size_t place, const std::string& allowed) const {
    const Entry& entry = entries[place];
    const std::string& words = allowed.empty() ? entry.allowed : allowed;
    return words.empty() ? entry.usage : entry.usage + "; " + words;
}

std::string StepList::text() const {
    std::string all;
    for (const Entry& entry : entries) {
        if (!entry.title.empty()) all += (all.empty() ? "" : "\n") + entry.title + "\n";
        all += "  " + entry.usage + "\n      " + entry.meaning + "\n";
        if (!entry.allowed.empty()) all += "        " + entry.allowed + "\n";
    }
    return all;
}

std::string refusal(const std::string& line, const std::string& allowed) {
    return "'" + line + "' is not allowed here; allowed: " + allowed;
}

std::string readLines(const std::string& file, const std::string& text,
                      const std::function<std::string(unsigned, const std::string&)>& read) {
    std::istringstream lines(text);
    std::string line;
    for (unsigned number = 1; std::getline(lines, line); ++number) {
        line = Words(line).rest();
        if (line.empty() || line.starts_with('#')) continue;
        const std::string allowed = read(number, line);
        if (allowed.empty()) continue;
        return file + ":" + std::to_string(number) + ": " + refusal(line, allowed);
    }
    return {};
}

std::string readScriptFile(const std::string& file, std::string& text) {
    std::ifstream input(file, std::ios::binary);
    std::ostringstream content;
    if (!input || !(content << input.rdbuf())) {
        return "'" + file + "' cannot be read; allowed: a text file with steps";
    }
    text = content.str();
    return {};
}

}  // namespace common
}  // namespace quarlo
