// The program: parses its arguments, listens and serves one head unit after the other. One thread;
// signals only set a flag.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "Apps.h"
#include "HomeApp.h"
#include "Options.h"
#include "Session.h"
#include "Socket.h"
#include "common/PngWriter.h"
#ifdef QUARLO_PHONE_HAS_WINDOW
#include "PhoneWindow.h"
#else
namespace quarlo::phone {
class PhoneWindow {
  public:
    PhoneWindow(const std::string&, Screen&) {
        throw std::runtime_error("this program was built without SDL2, it opens no windows");
    }
    bool turn(bool) { return false; }
};
}  // namespace quarlo::phone
#endif

namespace quarlo::phone {
namespace {

volatile std::sig_atomic_t isStopRequested = 0;

void requestStop(int) {
    isStopRequested = 1;
}

void catchSignals() {
    struct sigaction action {};
    action.sa_handler = requestStop;
    for (const int signal : {SIGINT, SIGTERM}) sigaction(signal, &action, nullptr);
}

using Clock = std::chrono::steady_clock;

/// When the program ends by itself, and how long it may wait until then.
class Deadline {
  public:
    /** @param longest how many milliseconds it may wait at most */
    Deadline(const std::optional<double>& seconds, int longest) : atMost(longest) {
        if (seconds)
            at = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                    std::chrono::duration<double>(*seconds));
    }
    bool isOver() const { return isStopRequested != 0 || Clock::now() >= at; }
    /** Milliseconds until `wake` or the end. */
    int waitingTime(TimePoint wake) const {
        const TimePoint now = Clock::now();
        const TimePoint until = std::min({wake, at, now + atMost});
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - now).count();
        return static_cast<int>(std::max<long>(0, left));
    }

  private:
    TimePoint at = TimePoint::max();
    std::chrono::milliseconds atMost;
};

/// Another process that waits for the file finds it either absent or complete.
void writePortFile(const std::string& path, unsigned port) {
    const std::string draft = path + ".new";
    std::ofstream file(draft);
    file << port << "\n";
    file.close();
    std::error_code failure;
    if (file) std::filesystem::rename(draft, path, failure);
    if (!file || failure) throw std::runtime_error("cannot write " + path);
}

/// The window as far as there is one; closing it is a stop.
class Display {
  public:
    Display(const Options& options, Screen& screen) {
        if (!options.window) return;
        screen.resize(options.size, static_cast<int>(options.renderPercent));
        window.emplace(options.appName, screen);
    }
    void turn(bool isMirrored) {
        if (window && !window->turn(isMirrored)) requestStop(0);
    }

  private:
    std::optional<PhoneWindow> window;
};

/// Serves until the session or the program ends; true if the handshake was completed.
bool serve(SocketStream& stream, Screen& screen, const Options& options, const Log& log,
           const Deadline& deadline, Display& display) {
    Session session(stream, screen, options, log);
    while (!deadline.isOver() && session.step(Clock::now())) {
        display.turn(session.isRunning());
        stream.wait(session.wantsInput(), session.wantsOutput(),
                    deadline.waitingTime(session.nextWake()));
    }
    stream.finish();
    return session.isRunning();
}

int listenAndServe(const Options& options) {
    const Log log(options.verbose ? LogLevel::Verbose : LogLevel::Normal, stderr);
    // A signal is never missed long, and a window never stands still.
    const Deadline deadline(options.maxSeconds, options.window ? 15 : 1000);
    Listener listener = options.listen.path.empty() ? Listener::tcp(options.listen)
                                                    : Listener::unixSocket(options.listen.path);
    Screen screen(makeHomeApp(options.appName, options.seed));
    screen.open(findApp(options.app));
    Display display(options, screen);
    if (!options.portFile.empty()) writePortFile(options.portFile, listener.port());
    std::printf("listening on %s\n", listener.address().c_str());
    std::fflush(stdout);
    while (!deadline.isOver()) {
        display.turn(false);
        const auto stream = listener.accept(deadline.waitingTime(TimePoint::max()));
        if (stream == nullptr) continue;
        log.line("UNIT", "connected");
        const bool wasCompleted = serve(*stream, screen, options, log, deadline, display);
        if (options.once) return wasCompleted ? 0 : 1;
    }
    return options.once ? 1 : 0;
}

int renderOnly(const Options& options) {
    Screen screen(makeHomeApp(options.appName, options.seed));
    screen.open(findApp(options.app));
    screen.resize(options.size, static_cast<int>(options.renderPercent));
    constexpr std::uint64_t tenPastTen = 610ull * 60 * 1000;
    const Picture& picture = screen.draw({options.clockMilliseconds.value_or(tenPastTen)});
    const std::string problem = writePng(picture, options.renderOnly, Effort::Small);
    if (!problem.empty()) throw std::runtime_error("cannot write " + problem);
    return 0;
}

int runProgram(const Options& options) {
    catchSignals();
    return options.renderOnly.empty() ? listenAndServe(options) : renderOnly(options);
}

}  // namespace
}  // namespace quarlo::phone

int main(int argc, char** argv) {
    const auto parsed = quarlo::phone::parseOptions(argc, argv);
    if (!parsed.options) return parsed.exitStatus;
    try {
        return quarlo::phone::runProgram(*parsed.options);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "quarlo-phone: %s\n", problem.what());
        return 1;
    }
}
