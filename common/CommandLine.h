/*
 * Options of a command line whose words are read by functions of ours: a wrong word is named with
 * what is allowed instead. For the thread that reads the command line.
 */
#ifndef COMMON_COMMANDLINE_H
#define COMMON_COMMANDLINE_H

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Values.h"

namespace quarlo {
inline namespace common {

/** What is said about a word that is not one of the allowed. */
inline CLI::ValidationError wrongWord(const std::string& option, const std::string& word,
                                      const std::string& allowed) {
    return CLI::ValidationError(option, "'" + word + "' is not allowed here; allowed: " + allowed);
}

/**
 * @param take keeps the word's value, or returns false for a word that is not allowed
 * @param allowed which words are; it stands in the help, too
 */
inline CLI::Option* addWord(CLI::App& app, const std::string& name,
                            const std::function<bool(const std::string&)>& take,
                            const std::string& allowed, const std::string& description) {
    const auto read = [=](const std::string& word) {
        if (!take(word)) throw wrongWord(name, word, allowed);
    };
    return app.add_option_function<std::string>(name, read, description + " (" + allowed + ")")
        ->type_name("");
}

/** An option whose word is read by `parse`, which gives nothing for a wrong one. */
template <typename Target, typename Value>
CLI::Option* addParsed(CLI::App& app, const std::string& name, Target& target,
                       std::optional<Value> (*parse)(std::string_view), const std::string& allowed,
                       const std::string& description) {
    const auto take = [&target, parse](const std::string& word) {
        auto value = parse(word);
        if (value) target = std::move(*value);
        return value.has_value();
    };
    return addWord(app, name, take, allowed, description);
}

/** An option that takes a whole number; a lenient conversion would bend others into one. */
template <typename Target>
CLI::Option* addNumber(CLI::App& app, const std::string& name, Target& target, unsigned from,
                       unsigned to, const std::string& description) {
    const auto take = [&target, from, to](const std::string& word) {
        const auto number = parseNumber(word, to);
        if (!number || *number < from) return false;
        target = static_cast<Target>(*number);
        return true;
    };
    return addWord(app, name, take,
                   "a whole number from " + std::to_string(from) + " to " + std::to_string(to),
                   description);
}

}  // namespace common
}  // namespace quarlo

#endif
