/*
 * The reference head unit: connects to a phone, mirrors its screen and writes what it shows.
 */
#include <sys/signalfd.h>

#include <csignal>
#include <exception>
#include <iostream>

#include "Mirror.h"
#include "ScriptedUnit.h"
#ifdef QUARLO_HEADUNIT_HAS_WINDOW
#include "WindowLoop.h"
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

/** @param board of the window, or null */
int mirrorPhone(const Options& options, Log& log, int interrupts, Board* board) {
    const Library library;
    Mailbox mailbox;
    Host host(options, log, mailbox);
    Mirror mirror(options, log, mailbox, host, interrupts);
    ScriptedUnit unit(host, mirror);
    std::optional<Runner> runner;
    if (options.script) {
        const auto note = [&log](const std::string& text) { log.line("STEP", text); };
        mirror.play(runner.emplace(*options.script, unit, note));
    }
    if (board != nullptr) mirror.showOn(*board, unit);
    const std::string failure = mirror.run();
    mirror.logStatistics();
    return failure.empty() ? exitDone : report(failure);
}

#ifdef QUARLO_HEADUNIT_HAS_WINDOW
int showPhone(const Options& options, Log& log, int interrupts) {
    const auto sessions = [&](const Options& adapted, Board& board) {
        try {
            return mirrorPhone(adapted, log, interrupts, &board);
        } catch (const std::exception& unexpected) {
            return report(unexpected.what());
        }
    };
    std::string problem;
    const int status = runInWindow(options, log, interrupts, sessions, problem);
    return problem.empty() ? status : report(problem);
}
#else
int showPhone(const Options&, Log&, int) {
    return report("this program was built without SDL2, it opens no windows");
}
#endif

int runProgram(int argc, const char* const* argv) {
    Options options;
    if (const auto status = readOptions(argc, argv, options)) return *status;
    const Descriptor interrupts = catchInterrupts();
    Log log(options.quiet ? LogLevel::Quiet : LogLevel::Normal);
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
