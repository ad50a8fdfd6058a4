// The command line, described once. No state.
#include "Options.h"

#include <cstdio>
#include <filesystem>

#include "Apps.h"
#include "ScriptSteps.h"
#include "common/CommandLine.h"
#include "common/WordTable.h"

namespace quarlo::phone {
namespace {

constexpr Word<Stage> stages[] = {{"protocol", Stage::Protocol},
                                  {"init", Stage::Init},
                                  {"serverinit", Stage::ServerInit},
                                  {"done", Stage::Done},
                                  {"frames", Stage::Frames}};
constexpr Word<Refusal> refusals[] = {{"protocol", Refusal::Protocol},
                                      {"init", Refusal::Init},
                                      {"done", Refusal::Done},
                                      {"framesize", Refusal::FrameSize},
                                      {"pixelformat", Refusal::PixelFormat},
                                      {"compression", Refusal::Compression}};
constexpr Word<FrameCompression> compressions[] = {{"auto", eFRAMECOMPRESSION_None},
                                                   {"raw", eFRAMECOMPRESSION_Uncompressed},
                                                   {"zlib", eFRAMECOMPRESSION_ZLIB},
                                                   {"jpeg", eFRAMECOMPRESSION_JPEG}};

std::optional<FrameCompression> parseSending(std::string_view text) {
    return valueOf(compressions, text);
}

std::optional<std::string> parseApp(std::string_view text) {
    if (findApp(std::string(text)) < 0) return {};
    return std::string(text);
}

/// In milliseconds since midnight.
std::optional<std::uint64_t> parseClock(std::string_view text) {
    const std::string whole(text);
    unsigned hours = 0;
    unsigned minutes = 0;
    unsigned seconds = 0;
    int used = 0;
    const int found =
        std::sscanf(whole.c_str(), "%2u:%2u:%2u%n", &hours, &minutes, &seconds, &used);
    const bool isWhole = found == 3 && static_cast<std::size_t>(used) == whole.size();
    if (!isWhole || hours > 23 || minutes > 59 || seconds > 59) return std::nullopt;
    return ((hours * 60ull + minutes) * 60 + seconds) * 1000;
}

constexpr const char* lineWords = "PATH or PATH:BAUD with up to 100000000 bits per second";

std::optional<Endpoint> parseSerial(std::string_view text) {
    constexpr unsigned fastest = 100'000'000;
    Endpoint line;
    line.device = text;
    line.baudRate = 115200;
    const std::size_t colon = text.rfind(':');
    const bool hasRate = colon != text.npos && text.find('/', colon) == text.npos;
    if (hasRate) {
        const auto rate = parseNumber(text.substr(colon + 1), fastest);
        if (!rate || *rate == 0) return {};
        line.device = text.substr(0, colon);
        line.baudRate = *rate;
    }
    if (line.device.empty()) return {};
    return line;
}

constexpr const char* headUnitWords =
    "HOST:PORT or [HOST]:PORT with a port of 1 to 65535, or unix:PATH";

std::optional<Endpoint> parseHeadUnit(std::string_view text) {
    auto place = parseEndpoint(text);
    return place && place->device.empty() ? place : std::nullopt;
}

/// Head units come from one place.
void addPlaces(CLI::App& app, Options& options) {
    auto* listen = addParsed(app, "--listen", options.place, parseListen, listenWords,
                             "Where to listen, as a numeric address; port 0 picks a free one");
    listen->default_str(options.place.text());
    auto* path = addPath(app, "--unix", options.place.path, "PATH",
                         "Listen on a Unix socket at this path instead");
    const auto takeHeadUnit = [&options](const std::string& word) {
        const auto place = parseHeadUnit(word);
        if (place) options.place = *place;
        options.connects = place.has_value();
        return options.connects;
    };
    auto* connect = addWord(app, "--connect", takeHeadUnit, headUnitWords,
                            "Connect to a head unit that listens, again and again until it is "
                            "there, and anew when it has gone");
    auto* line = addParsed(app, "--serial", options.place, parseSerial, lineWords,
                           "Wait for a head unit on this serial line, at 115200 without a rate");
    auto* file = addPath(app, "--port-file", options.portFile, "FILE",
                         "Write the port listened on into this file");
    path->excludes(listen);
    connect->excludes(listen)->excludes(path)->excludes(file);
    line->excludes(listen)->excludes(path)->excludes(connect)->excludes(file);
}

void addConnection(CLI::App& app, Options& options) {
    addPlaces(app, options);
    addNumber(app, "--most-units", options.mostUnits, 1, 64,
              "Serve this many head units at one time, and send others away");
    addNumber(app, "--handshake-limit", options.handshakeLimit, 0, 3600,
              "Drop a head unit that has not completed the handshake after this many seconds; 0: "
              "never");
    addNumber(app, "--ping-limit", options.pingLimit, 0, 3600,
              "Drop a head unit that has left pings unanswered, or taken nothing of what it is "
              "sent, for this many seconds; 0: never");
    app.add_flag("--once", options.once,
                 "Exit after the first connection: 0 if its handshake was completed, else 1");
    app.add_option("--max-seconds", options.maxSeconds, "Exit after this time")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 1e6).description(""));
    app.add_flag("--verbose", options.verbose, "Log every packet in both directions on stderr");
}

void addScreen(CLI::App& app, Options& options) {
    app.add_option("--app-name", options.appName, "Name that the phone gives in its ServerInit")
        ->type_name("TEXT");
    const auto takeSoftkeys = [&options](const std::string& word) {
        const auto count = parseNumber(word, 255);
        if (count) options.softkeys = firstSoftkeys(*count);
        return count.has_value();
    };
    addWord(app, "--softkeys", takeSoftkeys, "a whole number from 0 to 255",
            "Number of softkeys that the phone announces")
        ->default_str(std::to_string(options.softkeys.size()));
    addNumber(app, "--seed", options.seed, 0, 0xFFFFFFFF, "Seed of all that is drawn at random");
    addParsed(
        app, "--clock", options.clockMilliseconds, parseClock,
        "a time HH:MM:SS from 00:00:00 to 23:59:59",
        "Start the screen's clock at this time and let it advance with each frame drawn, so that "
        "equal requests give equal pixels; without it the screen shows the real time");
    addNumber(app, "--fps", options.framesPerSecond, 1, 240, "Most updates per second");
    addParsed(app, "--compression", options.compression, parseSending, wordsOf(compressions),
              "How rectangles are sent: auto does what the head unit supports and asks for, the "
              "others are used whatever it says")
        ->default_str("auto");
    addNumber(app, "--render-percent", options.renderPercent, 1, 100,
              "Draw at this percentage of the declared size and let the head unit enlarge it; "
              "pictures written by --dump-frames are then not comparable with what it shows");
    addPath(app, "--dump-frames", options.dumpDirectory, "DIR",
            "After each update write the screen as the head unit must see it into this "
            "directory, as phone-0001.png and so on; of a second head unit at the same time into "
            "directory 2 of it, and so on");
    addPath(app, "--render-only", options.renderOnly, "FILE",
            "Draw the screen into this PNG file and exit");
    app.add_flag(
        "--window", options.window,
        "Show the screen in a window, too, which takes the mouse as a finger: that of the head "
        "unit which has been connected longest");
    addParsed(app, "--app", options.app, parseApp, appNames(),
              "Start with this app in front instead of the home screen");
    addParsed(app, "--size", options.size, parseSize, sizeWords,
              "Size of the picture drawn by --render-only, and of the window's screen until a "
              "head unit declares its own")
        ->default_str(textOf(options.size));
}

void addFaults(CLI::App& app, Options& options) {
    const auto refuse = [&options](const std::string& word) {
        const auto refusal = parseRefusal(word);
        if (refusal) options.refusals.insert(*refusal);
        return refusal.has_value();
    };
    addWord(app, "--refuse", refuse, refusalWords(),
            "Answer this negatively; may be given several times")
        ->trigger_on_parse();
    addParsed(app, "--stall", options.stallAt, parseStage, stageWords(),
              "Say nothing more from this point of the session on");
    addParsed(app, "--drop-at-stage", options.dropAt, parseStage, stageWords(),
              "Close the connection at this point of the session");
    addNumber(app, "--drop-after-frames", options.dropAfterFrames, 1, 1'000'000'000,
              "Close the connection after this many updates");
    for (const FaultOption& fault : faultOptions) {
        addNumber(app, fault.name, options.faults.*fault.setting, fault.least, fault.most,
                  fault.effect)
            ->type_name(fault.argument);
    }
}

void addScript(CLI::App& app, Options& options) {
    const auto read = [&options](const std::string& file) {
        const auto script = std::make_shared<Script>();
        const std::string problem = readScript(file, *script);
        if (!problem.empty()) throw CLI::ValidationError("--script", problem);
        options.script = script;
    };
    app.add_option_function<std::string>(
           "--script", read,
           "Do what the lines of this file say, then end: 0 if every step was done and every "
           "expectation held, else 1")
        ->type_name("FILE")
        ->excludes("--once");
    addControl(app, options.control, scriptSteps());
}

void addCheck(CLI::App& app, Options& options) {
    auto* check =
        app.add_flag("--check", options.check,
                     "Play a fixed plan against one head unit, print a table of rules and "
                     "whether it keeps them, and exit: 0 without a FAIL, 1 with one, 3 "
                     "without a session");
    for (const char* other : {"--connect", "--serial", "--once", "--window", "--app", "--refuse",
                              "--stall", "--drop-at-stage", "--drop-after-frames", "--render-only",
                              "--script", "--control", "--cut-at", "--half-open-at", "--fragment",
                              "--slow", "--duplicate", "--reorder", "--damage"})
        check->excludes(app.get_option(other));
    const auto takePort = [&options](const std::string& word) {
        const auto port = parseNumber(word, 65535);
        if (port) options.place = Endpoint::tcp("127.0.0.1", static_cast<UInt16>(*port));
        return port.has_value();
    };
    auto* port = addWord(app, "--port", takePort, "a number from 0 to 65535",
                         "Short for --listen 127.0.0.1:PORT, for a check");
    port->needs(check);
    for (const char* other : {"--listen", "--unix"}) port->excludes(app.get_option(other));
    addPath(app, "--report", options.report, "FILE", "Also write the verdicts as JUnit XML")
        ->needs(check);
    app.add_flag("--rules", options.rules, "List the rules of a check and exit");
}

void checkPlaces(const Options& options) {
    checkControl(options.control);
    if (options.appName.size() > 65535)
        throw CLI::ValidationError("--app-name", "longer than 65535 bytes");
    std::error_code failure;
    if (!options.dumpDirectory.empty())
        std::filesystem::create_directories(options.dumpDirectory, failure);
    if (failure) {
        throw CLI::ValidationError(
            "--dump-frames",
            "cannot make directory " + options.dumpDirectory + ": " + failure.message());
    }
}

}  // namespace

std::vector<Softkey> firstSoftkeys(unsigned count) {
    constexpr Softkey known[] = {eSOFTKEY_Home, eSOFTKEY_Back, eSOFTKEY_Menu, eSOFTKEY_Search};
    std::vector<Softkey> keys;
    for (unsigned i = 0; i < count; ++i) keys.push_back(known[i % std::size(known)]);
    return keys;
}

std::optional<Stage> parseStage(std::string_view text) {
    return valueOf(stages, text);
}
std::optional<Refusal> parseRefusal(std::string_view text) {
    return valueOf(refusals, text);
}
std::string stageWords() {
    return wordsOf(stages);
}
std::string refusalWords() {
    return wordsOf(refusals);
}

ParsedOptions parseOptions(int argc, char** argv) {
    Options options;
    CommandLine app("A simulated phone: waits for a head unit and mirrors a moving screen to it.",
                    "quarlo-phone");
    addConnection(app, options);
    addScreen(app, options);
    addFaults(app, options);
    addScript(app, options);
    addCheck(app, options);
    const auto status = app.read(argc, argv, [&] { checkPlaces(options); });
    if (status) return {std::nullopt, *status};
    // Whoever is told to fall silent drops nobody for being so.
    if (options.faults.halfOpenAt) options.handshakeLimit = 0;
    return {options, 0};
}

}  // namespace quarlo::phone
