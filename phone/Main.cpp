// The program: parses its arguments, then draws one picture or serves head units. Signals ring the
// main thread's bell.
#include <csignal>
#include <stdexcept>

#include "Apps.h"
#include "HomeApp.h"
#include "Options.h"
#include "Server.h"
#include "check/Program.h"
#include "check/Verdicts.h"
#include "common/PngWriter.h"
#ifdef QUARLO_PHONE_HAS_WINDOW
#include "PhoneWindow.h"
#endif

namespace quarlo::phone {
namespace {

volatile std::sig_atomic_t isStopRequested = 0;
const Bell* bellOfSignals = nullptr;

void requestStop(int) {
    isStopRequested = 1;
    bellOfSignals->ring();
}

void catchSignals(const Bell& bell) {
    bellOfSignals = &bell;
    struct sigaction action {};
    action.sa_handler = requestStop;
    for (const int signal : {SIGINT, SIGTERM}) sigaction(signal, &action, nullptr);
}

std::unique_ptr<Display> makeWindow(const Options& options, [[maybe_unused]] Screen& screen) {
    if (!options.window) return nullptr;
#ifdef QUARLO_PHONE_HAS_WINDOW
    screen.resize(options.size, static_cast<int>(options.renderPercent));
    return std::make_unique<PhoneWindow>(options.appName, screen);
#else
    throw std::runtime_error("this program was built without SDL2, it opens no windows");
#endif
}

int report(const std::string& problem) {
    std::fprintf(stderr, "quarlo-phone: %s\n", printable(problem).c_str());
    return 1;
}

int serve(const Options& options) {
    static const Bell bell;
    catchSignals(bell);
    const Log log(options.verbose ? LogLevel::Verbose : LogLevel::Normal, stderr);
    Screen screen(makeHomeApp(options.appName, options.seed));
    screen.open(findApp(options.app));
    std::optional<Director> director;
    if (options.script || !options.control.empty()) director.emplace(options, log, bell);
    Server server(options, log, bell, screen, director ? &*director : nullptr);
    const auto window = makeWindow(options, screen);
    server.begin();
    const int status = server.run([] { return isStopRequested != 0; }, window.get());
    const std::string verdict = director ? director->verdict() : "";
    return verdict.empty() ? status : report(verdict);
}

int check(const Options& options) {
    static const Bell bell;
    catchSignals(bell);
    return runCheck(options, bell, [] { return isStopRequested != 0; });
}

int listRules() {
    std::fputs(listOfRules().c_str(), stdout);
    return 0;
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

}  // namespace
}  // namespace quarlo::phone

int main(int argc, char** argv) {
    using namespace quarlo::phone;
    const auto parsed = parseOptions(argc, argv);
    if (!parsed.options) return parsed.exitStatus;
    try {
        if (parsed.options->rules) return listRules();
        if (parsed.options->check) return check(*parsed.options);
        return parsed.options->renderOnly.empty() ? serve(*parsed.options)
                                                  : renderOnly(*parsed.options);
    } catch (const std::exception& problem) {
        return report(problem.what());
    }
}
