#include "Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace quarlo::headunit {
namespace {

// An option whose words are read by a function of ours; wrong ones are answered with the right
// ones.
template <typename Target, typename Value>
CLI::Option* addWords(CLI::App& app, const std::string& name, Target& target,
                      std::optional<Value> (*parse)(std::string_view), const char* allowed,
                      const std::string& description) {
    const auto read = [&target, parse, name, allowed](const std::string& text) {
        auto value = parse(text);
        if (!value) {
            throw CLI::ValidationError(name,
                                       "'" + text + "' is not allowed here; allowed: " + allowed);
        }
        target = std::move(*value);
    };
    return app.add_option_function<std::string>(name, read, description + " (" + allowed + ")")
        ->type_name("");
}

void addCommands(CLI::App& app, Options& options) {
    const auto read = [&options](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            auto command = parseCommand(text);
            if (!command) {
                throw CLI::ValidationError(
                    "--at", "'" + text + "' is not allowed here; allowed: " + commandWords);
            }
            options.commands.push_back(std::move(*command));
        }
        std::stable_sort(options.commands.begin(), options.commands.end(),
                         [](const Command& a, const Command& b) { return a.update < b.update; });
    };
    app.add_option_function<std::vector<std::string>>(
           "--at", read, std::string("Make a change after that update (") + commandWords + ")")
        ->type_name("")
        ->allow_extra_args(false);
}

void addScript(CLI::App& app, Options& options) {
    const auto read = [&options](const std::string& file) {
        const std::string problem = readScript(file, options.script.emplace());
        if (!problem.empty()) throw CLI::ValidationError("--script", problem);
    };
    app.add_option_function<std::string>("--script", read,
                                         "Do what the lines of this file say, then end")
        ->type_name("FILE")
        ->excludes("--frames")
        ->excludes("--at");
}

void addReconnect(CLI::App& app, Options& options) {
    const auto read = [&options](const std::vector<double>& seconds) {
        options.reconnect = seconds.empty() ? 0 : seconds.front();
    };
    app.add_option_function<std::vector<double>>(
           "--reconnect", read,
           "When the phone is not there or goes away, try again after a pause, which doubles from "
           "0.5 to 10 seconds; give up when that has failed for this time, without it never")
        ->type_name("[SECONDS]")
        ->expected(0, 1)
        ->check(CLI::Range(0.01, 1e6));
}

void addConnection(CLI::App& app, Options& options) {
    auto* endpoint = app.add_option_group("Phone", "Where the phone is");
    addWords(*endpoint, "--connect", options.endpoint, parseEndpoint, endpointWords,
             "Connect to this place");
    endpoint->add_option("--unix", options.endpoint.path, "Connect to this Unix socket")
        ->type_name("PATH");
    endpoint->require_option(1);
    app.add_option("--connect-timeout", options.connectTimeout, "Time for connecting, in seconds")
        ->check(CLI::Range(0.01, 3600.0));
    addReconnect(app, options);
    app.add_option("--init-timeout", options.initTimeout,
                   "Seconds from the start to RUN, 0 for no limit")
        ->check(CLI::Range(0U, 255U))
        ->capture_default_str();
    app.add_option("--watchdog", options.watchdog,
                   "Seconds of silence that end the session, 0 for no limit")
        ->check(CLI::Range(0U, 255U))
        ->capture_default_str();
}

void addScreen(CLI::App& app, Options& options) {
    app.add_option("--name", options.name, "The head unit's name for itself")->type_name("TEXT");
    addWords(app, "--language", options.language, parseLanguage, languageWords,
             "The user's language");
    addWords(app, "--size", options.size, parseSize, sizeWords, "Screen size in pixels");
    addWords(app, "--physical", options.physicalSize, parseSize, sizeWords,
             "Screen size in millimetres");
    addWords(app, "--format", options.layout.format, parseFormat, formatWords, "Pixel format");
    addWords(app, "--endian", options.layout.order, parseOrder, orderWords,
             "Byte order of a pixel");
    addWords(app, "--compression", options.compression, parseCompression, compressionWords,
             "Compression that the phone is asked for");
    addWords(app, "--supported", options.supported, parseSupported, supportedWords,
             "Compressions that the phone may use; default: those that a plug-in decodes");
    app.add_flag("--raw", options.rawOutput,
                 "Take rectangles as sent and decode them here, without plug-ins");
}

void addRun(CLI::App& app, Options& options) {
    app.add_option("--frames", options.frames, "End after this many updates")
        ->check(CLI::Range(1U, 1'000'000'000U));
    app.add_option("--seconds", options.seconds, "End after this time")
        ->check(CLI::Range(0.01, 1e6));
    app.add_flag("--full", options.full, "Ask for full updates only");
    addCommands(app, options);
    addScript(app, options);
    app.add_option(
           "--output", options.output,
           "Write each update's screen, or a script's screenshots and icons, there as PNG files")
        ->type_name("DIR");
    app.add_option("--every", options.every, "Write only each n-th")
        ->check(CLI::Range(1U, 1'000'000'000U))
        ->needs("--output")
        ->excludes("--script");
    addWords(app, "--trace", options.trace, parseTrace, traceWords, "Trace lines in the log");
    app.add_option("--dump", options.dump, "Append every byte sent and received to this file")
        ->type_name("FILE");
    app.add_flag("--quiet", options.quiet, "No session log, only what goes wrong");
}

// Places that cannot be written to are wrong arguments, too: better said before a session.
void preparePlaces(const Options& options) {
    std::error_code error;
    if (!options.output.empty()) {
        std::filesystem::create_directories(options.output, error);
        if (!std::filesystem::is_directory(options.output)) {
            throw CLI::ValidationError(
                "--output", "'" + options.output + "' cannot be created; allowed: a directory");
        }
    }
    if (options.script && options.script->writesPictures && options.output.empty()) {
        throw CLI::ValidationError("--script", "screenshots need --output DIR");
    }
    if (!options.dump.empty() && !std::ofstream(options.dump, std::ios::app)) {
        throw CLI::ValidationError(
            "--dump", "'" + options.dump + "' cannot be opened; allowed: a file to append to");
    }
}

}  // namespace

std::optional<int> readOptions(int argc, const char* const* argv, Options& options) {
    CLI::App app("Reference head unit: connects to a phone and mirrors its screen.",
                 "quarlo-headunit");
    app.footer(
        "Exit status: 0 every update asked for was received, or the script was done; 1 connection, "
        "session or an expectation failed; 2 wrong arguments or a wrong line in the script.");
    addConnection(app, options);
    addScreen(app, options);
    addRun(app, options);
    try {
        app.parse(argc, argv);
        preparePlaces(options);
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        return exitDone;
    } catch (const CLI::Error& error) {
        std::cerr << "quarlo-headunit: " << error.what() << "\nTry --help.\n";
        return exitUsage;
    }
    return {};
}

}  // namespace quarlo::headunit
