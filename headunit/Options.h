/*
 * The command line of the program. Read once by the main thread, constant afterwards.
 */
#ifndef HEADUNIT_OPTIONS_H
#define HEADUNIT_OPTIONS_H

#include <optional>
#include <string>
#include <vector>

#include "Script.h"
#include "Values.h"

struct quarloCapture;

namespace quarlo::headunit {

/** Exit statuses. */
enum ExitStatus {
    exitDone = 0,    ///< every update that was asked for was received
    exitFailed = 1,  ///< connection or session failed
    exitUsage = 2    ///< wrong arguments
};

struct Options {
    Endpoint endpoint;
    bool listens = false;  ///< there, for the phone to connect
    std::string portFile;
    std::optional<double> connectTimeout;
    /** Nothing: a connection that cannot be made or breaks is the end; 0: tries again for ever,
     * else that many seconds. */
    std::optional<double> reconnect;

    std::string name = "quarlo head unit";
    std::string language;
    Size size{1280, 720};
    Size physicalSize{154, 87};
    PixelLayout layout;
    FrameCompression compression = eFRAMECOMPRESSION_None;
    /** What frames look like at the start. */
    Frame frame() const { return {size, layout, compression}; }
    std::optional<FrameCompression> supported;
    bool rawOutput = false;
    unsigned watchdog = 0;
    unsigned initTimeout = 60;

    unsigned frames = 0;  ///< 0: no limit
    double seconds = 0;   ///< 0: no limit
    bool full = false;
    std::vector<Command> commands;  ///< in the order in which they are due

    std::optional<Script> script;  ///< of a scripted session
    std::string control;           ///< the socket from which other programs give steps
    std::string output;
    unsigned every = 1;
    eTraceClass trace = eTRACECLASS_ERROR | eTRACECLASS_WARNING;
    std::string dump;
    std::string capture;
    quarloCapture* captured = nullptr;  ///< when it is open
    std::string store;                  ///< the file of what the phone parks for good
    bool quiet = false;

    bool window = false;
    std::string windowScreenshot;
    Size largest;  ///< frame that a window may come to; 0 without one
};

/**
 * Reads the command line. Prints help, or what is wrong and what is allowed, itself.
 * @return nothing when the program is to go on, else its exit status
 */
std::optional<int> readOptions(int argc, const char* const* argv, Options& options);

}  // namespace quarlo::headunit

#endif
