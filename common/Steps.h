/*
 * The language of scripts. A program lists its steps in a table: what each is called, which
 * arguments it takes and what it means. From the table come the reader of lines, what is said about
 * wrong ones, and the list of all steps. Values; used by whoever reads.
 */
#ifndef COMMON_STEPS_H
#define COMMON_STEPS_H

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "Values.h"
#include "Words.h"

namespace quarlo {
inline namespace common {

/** What follows a step's name: one word, or several that only make sense together. */
template <typename Value>
struct Argument {
    std::string usage;    ///< as it stands in the line: "X", "[FINGER]", "on|off"
    std::string allowed;  ///< what the usage does not tell: "X: up to 65535"; may be empty
    std::function<Value(Words&)> read;
};

/* The kinds of arguments. */
namespace argument {

Argument<UInt64> number(const std::string& name, UInt64 minimum, UInt64 maximum);
/** A number that people write in hexadecimal. */
Argument<UInt32> identifier(const std::string& name, UInt32 maximum);
Argument<UInt16> coordinate(const std::string& name);
Argument<unsigned> duration(const std::string& name);
Argument<bool> onOrOff();
/** "WIDTHxHEIGHT" */
Argument<Size> size();
Argument<std::string> word(const std::string& name);
/** All that is left of the line, and there must be some. */
Argument<std::string> text(const std::string& name);
/** The same, or nothing. */
Argument<std::string> textIfAny(const std::string& name);
/** Pairs of hexadecimal digits; none give no bytes. */
Argument<std::vector<UInt8>> bytes(std::size_t maximum);

/** The name of a value of the protocol. */
template <typename Value>
Argument<Value> named(const std::string& name) {
    return {name, name + ": " + wireNames<Value>(),
            [](Words& words) { return words.named<Value>(); }};
}

/** What the function makes of a word. */
template <typename Value>
Argument<Value> parsed(const std::string& name, std::optional<Value> (*parse)(std::string_view),
                       const std::string& allowed) {
    return {name, name + ": " + allowed, [parse](Words& words) { return words.parsed(parse); }};
}

/** An argument that may be absent. */
template <typename Value>
Argument<std::optional<Value>> optional(const Argument<Value>& argument) {
    return {"[" + argument.usage + "]", argument.allowed,
            [read = argument.read](Words& words) -> std::optional<Value> {
                if (words.isEmpty()) return {};
                return read(words);
            }};
}

/** The same, with a value in its place. */
template <typename Value>
Argument<Value> optional(const Argument<Value>& argument, const Value& otherwise) {
    return {"[" + argument.usage + "]", argument.allowed,
            [read = argument.read, otherwise](Words& words) {
                return words.isEmpty() ? otherwise : read(words);
            }};
}

}  // namespace argument

/** What there is to tell about steps, whatever they do. */
class StepList {
  public:
    /** Begins a section, for the list of all steps. */
    void section(const std::string& title) { nextTitle = title; }

    /** Every step with its arguments and its meaning, for people. */
    std::string text() const;

  protected:
    /** Takes the words of the name. @return its place, or nothing, with what is allowed there */
    std::optional<std::size_t> find(Words& words, std::string& allowed) const;
    void begin(const std::string& name, const std::string& meaning);
    /** Adds an argument to the step that was begun last. */
    void describe(const std::string& usage, const std::string& allowed);
    /** The usage, and what is allowed in it: all, or what is said instead. */
    std::string expected(std::size_t place, const std::string& allowed) const;

  private:
    struct Entry {
        std::string title;  ///< of the section that begins with it
        std::string name;   ///< one word, or two that begin the line
        std::string usage;
        std::string allowed;
        std::string meaning;
    };
    std::vector<Entry> entries;
    std::string nextTitle;
};

/** @tparam What a value that says what is to be done */
template <typename What>
class Steps : public StepList {
  public:
    /** @param make makes a What, or what becomes one, of the arguments' values */
    template <typename Make, typename... Values>
    void add(const std::string& name, const std::string& meaning, Make make,
             Argument<Values>... arguments) {
        begin(name, meaning);
        (describe(arguments.usage, arguments.allowed), ...);
        readers.push_back([make, arguments...](Words& words) -> What {
            // The braces keep the order of the words.
            std::tuple<Values...> values{arguments.read(words)...};
            return std::apply(make, std::move(values));
        });
    }

    /** Reads a line that is not empty. @return empty, or what is allowed instead */
    std::string read(std::string_view line, What& what) const {
        Words words(line);
        std::string allowed;
        const auto place = find(words, allowed);
        if (!place) return allowed;
        what = readers[*place](words);
        return words.areRight() ? std::string() : expected(*place, words.allowed());
    }

  private:
    std::vector<std::function<What(Words&)>> readers;
};

/** A line that is a step. */
template <typename What>
struct Step {
    unsigned line = 0;
    std::string text;
    What what;
};

/** What there is to say about a line, or a word, that is not allowed. */
std::string refusal(const std::string& line, const std::string& allowed);

/**
 * Shows the lines that are steps, until one is wrong.
 * @param read takes a line and its number and gives empty, or what is allowed instead
 * @return empty, or the wrong line with its number: "tour.script:7: ..."
 */
std::string readLines(const std::string& file, const std::string& text,
                      const std::function<std::string(unsigned, const std::string&)>& read);

/** The same for all steps of a text. */
template <typename What>
std::string readSteps(const Steps<What>& table, const std::string& file, const std::string& text,
                      std::vector<Step<What>>& steps) {
    return readLines(file, text, [&](unsigned number, const std::string& line) {
        Step<What>& step = steps.emplace_back();
        step.line = number;
        step.text = line;
        return table.read(line, step.what);
    });
}

/** The text of a script's file. @return empty, or what is wrong with it */
std::string readScriptFile(const std::string& file, std::string& text);

}  // namespace common
}  // namespace quarlo

#endif
