/**
 * @file
 * What the command line says. Filled once, then only read.
 */
#ifndef PHONE_OPTIONS_H
#define PHONE_OPTIONS_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Faults.h"
#include "common/Values.h"

namespace quarlo::phone {

/** The points of a session at which it can be told to fall silent or to drop the connection. */
enum class Stage { Protocol, Init, ServerInit, Done, Frames };

/** What can be answered with a negative acknowledgement. */
enum class Refusal { Protocol, Init, Done, FrameSize, PixelFormat, Compression };

/** The keys that phones have, over and over. */
std::vector<Softkey> firstSoftkeys(unsigned count);

/** Pictures by the number of their app. */
using Icons = std::map<int, Picture>;

struct Script;

// Fields stand by concern. NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct Options {
    /** Where head units come from: an address or socket to listen on, or a serial line. */
    Endpoint place = Endpoint::tcp("127.0.0.1", 5910);
    std::string portFile;
    std::string report;  ///< of a check
    unsigned mostUnits = 8;
    /** In seconds; 0: none. */
    unsigned handshakeLimit = 10;
    unsigned pingLimit = 10;

    std::string appName = "quarlo phone";
    std::vector<Softkey> softkeys = firstSoftkeys(4);
    /** What the phone says that it can do; without them what it can. */
    std::optional<ServerCapabilities> capabilities;
    /** The numbers of the apps that the head unit is told of; without them all. */
    std::optional<std::vector<int>> toldApps;
    /** Shown instead of those that are drawn; never null inside. */
    std::shared_ptr<const Icons> icons;
    std::uint32_t seed = 1;
    /** The time of day at which the first frame is drawn; without it the screen shows the real
     * time. */
    std::optional<std::uint64_t> clockMilliseconds;
    unsigned framesPerSecond = 30;

    /** None: what the head unit supports and asks for. */
    FrameCompression compression = eFRAMECOMPRESSION_None;
    unsigned renderPercent = 100;
    std::string dumpDirectory;
    std::string renderOnly;
    bool window = false;
    /** The app in front at the start; empty: the home screen. */
    std::string app;
    Size size{1280, 720};

    std::set<Refusal> refusals;
    std::optional<Stage> stallAt;
    std::optional<Stage> dropAt;
    std::optional<unsigned> dropAfterFrames;
    Faults faults;

    /** The head unit listens at the place, and the phone connects. */
    bool connects = false;
    std::shared_ptr<const Script> script;
    std::string control;

    bool once = false;
    std::optional<double> maxSeconds;
    bool verbose = false;
    /** Grade one head unit and end. */
    bool check = false;
    /** List the rules of a check and end. */
    bool rules = false;
};

/** A change of the options while the program runs. */
using Setting = std::function<void(Options&)>;

/* Nothing for a text that is not allowed; the words say what is. */
std::optional<Stage> parseStage(std::string_view text);
std::optional<Refusal> parseRefusal(std::string_view text);
std::string stageWords();
std::string refusalWords();

/** The options, or the exit status if there is nothing further to do. */
struct ParsedOptions {
    std::optional<Options> options;
    int exitStatus = 0;
};

/** Prints the help, or on stderr what is wrong and what is allowed. */
ParsedOptions parseOptions(int argc, char** argv);

}  // namespace quarlo::phone

#endif
