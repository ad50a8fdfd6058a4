/*
 * The reference head unit: connects to a phone, mirrors its screen and writes what it shows.
 */
#include <sys/signalfd.h>

#include <csignal>
#include <exception>
#include <iostream>

#include "Capture.h"
#include "Mirror.h"
#include "ScriptedUnit.h"
#ifdef QUARLO_HEADUNIT_HAS_WINDOW
#include "MirrorWindow.h"
#endif

namespace quarlo::headunit {
namespace {

// Blocked before any thread exists, so that no thread of the library is interrupted.
Descriptor catchInterrupts() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return Descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

int report(const std::string& problem) {
    std::cerr << "quarlo-headunit: " << printable(problem) << '\n';
    return exitFailed;
}

/** @param window null without one */
int mirrorPhone(const Options& options, Log& log, int interrupts, Window* window) {
    const Library library;
    Mailbox mailbox(window != nullptr ? window->wake : nullptr);
    Host host(options, log, mailbox);
    Mirror mirror(options, log, mailbox, host, interrupts);
    ScriptedUnit unit(host, mirror);
    std::optional<Runner> runner;
    if (options.script || !options.control.empty()) {
        const auto note = [&log](const std::string& text) { log.line("STEP", text); };
        mirror.play(runner.emplace(unit, note));
        if (options.script) runner->play(*options.script);
        const auto wake = [&mailbox] { mailbox.signal(); };
        if (!options.control.empty()) runner->listen(options.control, wake);
    }
    if (window != nullptr) mirror.showIn(*window, unit);
    const std::string failure = mirror.run();
    mirror.logStatistics();
    const int status = failure.empty() ? exitDone : report(failure);
    mirror.linger();
    return status;
}

#ifdef QUARLO_HEADUNIT_HAS_WINDOW
int showPhone(Options options, Log& log, int interrupts) {
    Window window;
    std::string problem;
    const auto shown = MirrorWindow::open(options, log, window.board, problem);
    if (shown == nullptr) return report(problem);
    options.largest = shown->largest();
    window.turn = [&shown](int milliseconds) { return shown->turn(milliseconds); };
    window.wake = MirrorWindow::wake;
    return mirrorPhone(options, log, interrupts, &window);
}
#else
int showPhone(const Options&, Log&, int) {
    return report("this program was built without SDL2, it opens no windows");
}
#endif

int runProgram(int argc, const char* const* argv) {
    Options options;
    if (const auto status = readOptions(argc, argv, options)) return *status;
    Capture capture;
    if (!options.capture.empty()) {
        const std::string problem = capture.open(options.capture);
        if (capture.get() == nullptr) {
            report(problem);
            return exitUsage;
        }
        options.captured = capture.get();
    }
    const Descriptor interrupts = catchInterrupts();
    Log log(options.quiet ? LogLevel::Quiet : LogLevel::Normal,
            options.capture == "-" ? stderr : stdout);
    if (options.window) return showPhone(options, log, interrupts.get());
    return mirrorPhone(options, log, interrupts.get(), nullptr);
}

}  // namespace
}  // namespace quarlo::headunit

int main(int argc, char** argv) {
    try {
        return quarlo::headunit::runProgram(argc, argv);
    } catch (const std::exception& problem) {
        return quarlo::headunit::report(problem.what());
    }
}
