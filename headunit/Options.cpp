#include "Options.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "ScriptSteps.h"
#include "Store.h"
#include "common/CommandLine.h"

namespace quarlo::headunit {
namespace {

void addCommands(CLI::App& app, Options& options) {
    const auto take = [&options](const std::string& text) {
        const auto command = parseCommand(text);
        if (!command) return false;
        const auto later =
            std::find_if(options.commands.begin(), options.commands.end(),
                         [&](const Command& other) { return other.update > command->update; });
        options.commands.insert(later, *command);
        return true;
    };
    addWord(app, "--at", take, commandWords, "Make a change after that update")->trigger_on_parse();
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
    addControl(app, options.control, scriptSteps());
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

constexpr std::string_view socketPrefix = "unix:";
const std::string placeWords = std::string(listenWords) + ", or unix:PATH";

std::optional<Endpoint> parsePlace(std::string_view text) {
    return text.starts_with(socketPrefix) ? parseEndpoint(text) : parseListen(text);
}

void addConnection(CLI::App& app, Options& options) {
    auto* endpoint = app.add_option_group("Phone", "Where the phone is");
    addParsed(*endpoint, "--connect", options.endpoint, parseEndpoint, endpointWords,
              "Connect to this place");
    addPath(*endpoint, "--unix", options.endpoint.path, "PATH", "Connect to this Unix socket");
    const auto listen = [&options](const std::string& text) {
        const auto place = parsePlace(text);
        if (place) options.endpoint = *place;
        return options.listens = place.has_value();
    };
    auto* waits = addWord(*endpoint, "--listen", listen, placeWords, "Wait there for the phone");
    endpoint->require_option(1);
    addPath(app, "--port-file", options.portFile, "FILE",
            "Write the port listened on into this file")
        ->needs(waits);
    app.add_option("--connect-timeout", options.connectTimeout,
                   "Time for connecting, in seconds; without it --listen waits for ever")
        ->check(CLI::Range(0.01, 3600.0))
        ->default_str("5");
    addReconnect(app, options);
    addNumber(app, "--init-timeout", options.initTimeout, 0, 255,
              "Seconds from the start to RUN, 0 for no limit");
    addNumber(app, "--watchdog", options.watchdog, 0, 255,
              "Seconds of silence that end the session, 0 for no limit");
}

void addScreen(CLI::App& app, Options& options) {
    app.add_option("--name", options.name, "The head unit's name for itself")->type_name("TEXT");
    addParsed(app, "--language", options.language, parseLanguage, languageWords,
              "The user's language");
    addParsed(app, "--size", options.size, parseSize, sizeWords, "Screen size in pixels")
        ->default_str(textOf(options.size));
    addParsed(app, "--physical", options.physicalSize, parseSize, sizeWords,
              "Screen size in millimetres")
        ->default_str(textOf(options.physicalSize));
    addParsed(app, "--format", options.layout.format, parseFormat, formatWords, "Pixel format")
        ->default_str(common::nameOf(options.layout.format));
    addParsed(app, "--endian", options.layout.order, parseOrder, orderWords,
              "Byte order of a pixel")
        ->default_str(common::nameOf(options.layout.order));
    addParsed(app, "--compression", options.compression, parseCompression, compressionWords,
              "Compression that the phone is asked for")
        ->default_str(nameOfCompressions(options.compression));
    addParsed(app, "--supported", options.supported, parseSupported, supportedWords,
              "Compressions that the phone may use; default: those that a plug-in decodes");
    app.add_flag("--raw", options.rawOutput,
                 "Take rectangles as sent and decode them here, without plug-ins");
}

void addRun(CLI::App& app, Options& options) {
    addNumber(app, "--frames", options.frames, 1, 1'000'000'000, "End after this many updates");
    app.add_option("--seconds", options.seconds, "End after this time")
        ->check(CLI::Range(0.01, 1e6))
        ->default_str("");
    app.add_flag("--full", options.full, "Ask for full updates only");
    addCommands(app, options);
    addScript(app, options);
    addPath(app, "--output", options.output, "DIR",
            "Write each update's screen, or a script's screenshots and icons, there as PNG files");
    addNumber(app, "--every", options.every, 1, 1'000'000'000, "Write only each n-th")
        ->needs("--output")
        ->excludes("--script");
    addParsed(app, "--trace", options.trace, parseTrace, traceWords, "Trace lines in the log")
        ->default_str("warning");
    addPath(app, "--dump", options.dump, "FILE",
            "Append every byte sent and received to this file");
    addPath(app, "--capture", options.capture, "FILE",
            "Capture there, for Wireshark, what the connections carry; - for the standard output");
    addPath(app, "--store", options.store, "FILE",
            "Keep there what the phone parks for good; without it, it lasts as long as the "
            "program; a file that is something else is left alone");
    app.add_flag("--quiet", options.quiet, "No session log, only what goes wrong");
}

void addWindow(CLI::App& app, Options& options) {
    auto* window = app.add_flag("--window", options.window,
                                "Show the phone in a window and take mouse, fingers and keys; "
                                "without --frames, --seconds or --script it stays open until it "
                                "is closed");
    addPath(app, "--window-screenshot", options.windowScreenshot, "FILE",
            "Key P writes the whole window into this PNG file")
        ->needs(window);
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
    checkControl(options.control);
    if (!HostStore::canUse(options.store)) {
        throw CLI::ValidationError("--store", "'" + options.store +
                                                  "' is no store and left alone; allowed: a new "
                                                  "file, or one that --store has made");
    }
    for (const auto& [name, file] :
         {std::pair("--dump", options.dump), {"--store", options.store}}) {
        if (file.empty() || std::ofstream(file, std::ios::app)) continue;
        throw CLI::ValidationError(
            name, "'" + file + "' cannot be opened; allowed: a file that can be written to");
    }
}

}  // namespace

std::optional<int> readOptions(int argc, const char* const* argv, Options& options) {
    CommandLine app("Reference head unit: connects to a phone and mirrors its screen.",
                    "quarlo-headunit");
    app.footer(
        "Exit status: 0 every update asked for was received, or the script was done; 1 connection, "
        "session or an expectation failed; 2 wrong arguments or a wrong line in the script.");
    addConnection(app, options);
    addScreen(app, options);
    addRun(app, options);
    addWindow(app, options);
    return app.read(argc, argv, [&] { preparePlaces(options); });
}

}  // namespace quarlo::headunit
