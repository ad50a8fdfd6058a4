// The command line, described once. No state.
#include "Options.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <map>

#include "Apps.h"

namespace quarlo::phone {
namespace {

const std::map<std::string, Stage> stageNames{{"protocol", Stage::Protocol},
                                              {"init", Stage::Init},
                                              {"serverinit", Stage::ServerInit},
                                              {"done", Stage::Done},
                                              {"frames", Stage::Frames}};
const std::map<std::string, Refusal> refusalNames{{"protocol", Refusal::Protocol},
                                                  {"init", Refusal::Init},
                                                  {"done", Refusal::Done},
                                                  {"framesize", Refusal::FrameSize},
                                                  {"pixelformat", Refusal::PixelFormat},
                                                  {"compression", Refusal::Compression}};

const std::map<std::string, FrameCompression> compressionNames{
    {"auto", eFRAMECOMPRESSION_None},
    {"raw", eFRAMECOMPRESSION_Uncompressed},
    {"zlib", eFRAMECOMPRESSION_ZLIB},
    {"jpeg", eFRAMECOMPRESSION_JPEG}};

std::map<std::string, int> appNames() {
    std::map<std::string, int> names;
    for (int i = 0; i < appCount; ++i) names[apps[static_cast<std::size_t>(i)].id] = i;
    return names;
}

template <class Value>
std::string listOf(const std::map<std::string, Value>& names) {
    std::string list;
    for (const auto& entry : names) list += (list.empty() ? "" : "|") + entry.first;
    return list;
}

/// Accepts the names of the map only, and says which they are.
template <class Value>
CLI::Validator oneOf(const std::map<std::string, Value>& names) {
    return CLI::Validator(
        [names](std::string& text) {
            if (names.count(text) != 0) return std::string();
            return "'" + text + "' is not one of " + listOf(names);
        },
        "");
}

/// Whole numbers in a range; refuses what a lenient conversion would bend into one.
CLI::Validator wholeNumber(unsigned long long from, unsigned long long to) {
    const std::string range = std::to_string(from) + " to " + std::to_string(to);
    return CLI::Validator(
        [=](std::string& text) {
            const bool isNumber = !text.empty() && text.size() <= 18 &&
                                  text.find_first_not_of("0123456789") == std::string::npos;
            if (isNumber && std::stoull(text) >= from && std::stoull(text) <= to)
                return std::string();
            return "'" + text + "' is not a whole number from " + range;
        },
        "");
}

std::optional<std::uint64_t> clockOf(const std::string& text) {
    unsigned hours = 0;
    unsigned minutes = 0;
    unsigned seconds = 0;
    int used = 0;
    const int found = std::sscanf(text.c_str(), "%2u:%2u:%2u%n", &hours, &minutes, &seconds, &used);
    const bool isWhole = found == 3 && static_cast<std::size_t>(used) == text.size();
    if (!isWhole || hours > 23 || minutes > 59 || seconds > 59) return std::nullopt;
    return ((hours * 60ull + minutes) * 60 + seconds) * 1000;
}

bool splitSize(const std::string& text, int& width, int& height) {
    int used = 0;
    const int found = std::sscanf(text.c_str(), "%4dx%4d%n", &width, &height, &used);
    return found == 2 && static_cast<std::size_t>(used) == text.size() && width > 0 && height > 0 &&
           width <= 8192 && height <= 8192;
}

bool splitAddress(const std::string& text, std::string& host, std::string& port) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) return false;
    host = text.substr(0, colon);
    port = text.substr(colon + 1);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    const bool isNumber = !port.empty() && port.size() <= 5 &&
                          port.find_first_not_of("0123456789") == std::string::npos;
    return isNumber && std::stoul(port) <= 65535;
}

/// What the options are before their texts are turned into values.
struct Texts {
    std::string listen = "127.0.0.1:5910";
    std::string clock;
    std::string size = "1280x720";
    std::string compression = "auto";
    std::vector<std::string> refusals;
    std::string stall;
    std::string drop;
};

CLI::Validator checkedBy(const std::string& wanted, bool (*accepts)(const std::string&)) {
    return CLI::Validator(
        [=](std::string& text) {
            return accepts(text) ? std::string() : "'" + text + "' is not " + wanted;
        },
        "");
}

void addConnection(CLI::App& app, Options& options, Texts& texts) {
    auto* listen =
        app.add_option("--listen", texts.listen, "Where to listen; port 0 picks a free one")
            ->type_name("HOST:PORT");
    listen->capture_default_str();
    listen->check(checkedBy("HOST:PORT with a port from 0 to 65535", [](const std::string& text) {
        std::string host;
        std::string port;
        return splitAddress(text, host, port);
    }));
    app.add_option("--unix", options.unixPath, "Listen on a Unix socket at this path instead")
        ->type_name("PATH")
        ->excludes(listen);
    app.add_option("--port-file", options.portFile, "Write the port listened on into this file")
        ->type_name("FILE");
    app.add_flag("--once", options.once,
                 "Exit after the first connection: 0 if its handshake was completed, else 1");
    app.add_option("--max-seconds", options.maxSeconds, "Exit after this time")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 1e6).description(""));
    app.add_flag("--verbose", options.verbose, "Log every packet in both directions on stderr");
}

void addScreen(CLI::App& app, Options& options, Texts& texts) {
    app.add_option("--app-name", options.appName, "Name that the phone gives in its ServerInit")
        ->type_name("TEXT")
        ->capture_default_str();
    app.add_option("--softkeys", options.softkeys, "Number of softkeys that the phone announces")
        ->type_name("0..255")
        ->check(wholeNumber(0, 255))
        ->capture_default_str();
    app.add_option("--seed", options.seed, "Seed of all that is drawn at random")
        ->type_name("0..4294967295")
        ->check(wholeNumber(0, 4294967295))
        ->capture_default_str();
    app.add_option(
           "--clock", texts.clock,
           "Start the screen's clock at HH:MM:SS and let it advance with each frame drawn, so "
           "that equal requests give equal pixels; without it the screen shows the real time")
        ->type_name("HH:MM:SS")
        ->check(checkedBy("a time HH:MM:SS from 00:00:00 to 23:59:59",
                          [](const std::string& text) { return clockOf(text).has_value(); }));
    app.add_option("--fps", options.framesPerSecond, "Most updates per second")
        ->type_name("1..240")
        ->check(wholeNumber(1, 240))
        ->capture_default_str();
    app.add_option(
           "--compression", texts.compression,
           "How rectangles are sent: auto does what the head unit supports and asks for, the "
           "others are used whatever it says")
        ->type_name(listOf(compressionNames))
        ->check(oneOf(compressionNames))
        ->capture_default_str();
    app.add_option("--render-percent", options.renderPercent,
                   "Draw at this percentage of the declared size and let the head unit enlarge it; "
                   "pictures written by --dump-frames are then not comparable with what it shows")
        ->type_name("1..100")
        ->check(wholeNumber(1, 100))
        ->capture_default_str();
    app.add_option("--dump-frames", options.dumpDirectory,
                   "After each update write the screen as the head unit must see it into this "
                   "directory, as phone-0001.png and so on")
        ->type_name("DIR");
    app.add_option("--render-only", options.renderOnly,
                   "Draw the screen into this PNG file and exit")
        ->type_name("FILE");
    app.add_flag("--window", options.window,
                 "Show the screen in a window, too, which takes the mouse as a finger");
    app.add_option("--app", options.app, "Start with this app in front instead of the home screen")
        ->type_name("NAME")
        ->check(oneOf(appNames()));
    app.add_option("--size", texts.size,
                   "Size of the picture drawn by --render-only, and of the window's screen until a "
                   "head unit declares its own")
        ->type_name("WIDTHxHEIGHT")
        ->check(checkedBy("WIDTHxHEIGHT with each from 1 to 8192",
                          [](const std::string& text) {
                              int width = 0;
                              int height = 0;
                              return splitSize(text, width, height);
                          }))
        ->capture_default_str();
}

void addFaults(CLI::App& app, Options& options, Texts& texts) {
    app.add_option("--refuse", texts.refusals, "Answer this negatively; may be given several times")
        ->type_name(listOf(refusalNames))
        ->check(oneOf(refusalNames))
        ->allow_extra_args(false);
    app.add_option("--stall", texts.stall, "Say nothing more from this point of the session on")
        ->type_name(listOf(stageNames))
        ->check(oneOf(stageNames));
    app.add_option("--drop-at-stage", texts.drop,
                   "Close the connection at this point of the session")
        ->type_name(listOf(stageNames))
        ->check(oneOf(stageNames));
    app.add_option("--drop-after-frames", options.dropAfterFrames,
                   "Close the connection after this many updates")
        ->type_name("N")
        ->check(wholeNumber(1, 1000000000));
}

void resolve(const Texts& texts, Options& options) {
    splitAddress(texts.listen, options.host, options.port);
    splitSize(texts.size, options.renderWidth, options.renderHeight);
    if (!texts.clock.empty()) options.clockMilliseconds = clockOf(texts.clock);
    options.compression = compressionNames.at(texts.compression);
    for (const std::string& name : texts.refusals) options.refusals.insert(refusalNames.at(name));
    if (!texts.stall.empty()) options.stallAt = stageNames.at(texts.stall);
    if (!texts.drop.empty()) options.dropAt = stageNames.at(texts.drop);
}

int complain(const std::string& problem) {
    std::fprintf(stderr, "quarlo-phone: %s\nTry 'quarlo-phone --help'.\n", problem.c_str());
    return 2;
}

}  // namespace

ParsedOptions parseOptions(int argc, char** argv) {
    Options options;
    Texts texts;
    CLI::App app("A simulated phone: waits for a head unit and mirrors a moving screen to it.",
                 "quarlo-phone");
    addConnection(app, options, texts);
    addScreen(app, options, texts);
    addFaults(app, options, texts);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& help) {
        return {std::nullopt, app.exit(help)};
    } catch (const CLI::ParseError& error) {
        return {std::nullopt, complain(error.what())};
    }
    if (options.appName.size() > 65535)
        return {std::nullopt, complain("--app-name: longer than 65535 bytes")};
    resolve(texts, options);
    if (!options.dumpDirectory.empty()) {
        std::error_code failure;
        std::filesystem::create_directories(options.dumpDirectory, failure);
        if (failure) {
            return {std::nullopt, complain("--dump-frames: cannot make directory " +
                                           options.dumpDirectory + ": " + failure.message())};
        }
    }
    return {options, 0};
}

}  // namespace quarlo::phone
