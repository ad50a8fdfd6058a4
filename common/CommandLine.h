/*
 * The command line of a program, and options whose words are read by functions of ours: a wrong
 * word is named with what is allowed instead, and the help shows what holds without the option. For
 * the thread that reads the command line.
 */
#ifndef COMMON_COMMANDLINE_H
#define COMMON_COMMANDLINE_H

#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "ControlSocket.h"
#include "Steps.h"
#include "Values.h"

namespace quarlo {
inline namespace common {

/** What all programs have in common: --help, --version, and status 2 for wrong usage. */
class CommandLine : public CLI::App {
  public:
    CommandLine(const std::string& description, const std::string& program)
        : CLI::App(description, program) {
        option_defaults()->always_capture_default();
        set_version_flag("--version", program + " " QUARLO_VERSION, "Print the version and exit");
    }

    /**
     * Prints what is asked for, or on stderr what is wrong.
     * @param check may throw a CLI::Error about options that do not go together
     * @return nothing when the program is to go on, else its exit status
     */
    std::optional<int> read(
        int argc, const char* const* argv, const std::function<void()>& check = [] {}) {
        try {
            parse(argc, argv);
            check();
            return {};
        } catch (const CLI::Success& wish) {
            return exit(wish);
        } catch (const CLI::Error& problem) {
            const char* program = get_name().c_str();
            std::fprintf(stderr, "%s: %s\nTry '%s --help'.\n", program, problem.what(), program);
            return 2;
        }
    }
};

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

/** An option that names a file, a directory or a socket. */
inline CLI::Option* addPath(CLI::App& app, const std::string& name, std::string& target,
                            const std::string& kind, const std::string& description) {
    const auto read = [&target, name, kind](const std::string& path) {
        if (path.empty()) throw wrongWord(name, path, "a " + kind + " with a name");
        target = path;
    };
    return app.add_option_function<std::string>(name, read, description)->type_name(kind);
}

/** --control and --steps: who gives steps, and which there are. */
inline void addControl(CLI::App& app, std::string& path, const StepList& steps) {
    addPath(app, "--control", path, "PATH",
            "Take the steps of scripts from other programs, too, on a Unix socket at this path: a "
            "line is a step, and answered by a line");
    // What is thrown is printed, and the program ends well.
    app.add_flag_callback(
           "--steps", [&steps] { throw CLI::CallForVersion(steps.text(), 0); },
           "Print the steps of scripts with what is allowed in them, and exit")
        ->trigger_on_parse();
}

/** Throws for a path that cannot be a control socket; an empty one is none. */
inline void checkControl(const std::string& path) {
    const std::string problem = path.empty() ? "" : ControlSocket::problemWith(path);
    if (!problem.empty()) throw CLI::ValidationError("--control", problem);
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
    auto* option = addWord(
        app, name, take,
        "a whole number from " + std::to_string(from) + " to " + std::to_string(to), description);
    // A value that could not be given stands for "not given".
    if constexpr (std::is_integral_v<Target>) {
        if (target >= from && target <= to) option->default_str(std::to_string(target));
    }
    return option;
}

}  // namespace common
}  // namespace quarlo

#endif
