/*
 * The reference head unit: connects to a phone, mirrors its screen and writes what it shows.
 */
#include <sys/signalfd.h>

#include <csignal>
#include <exception>
#include <iostream>

#include "Mirror.h"
#include "ScriptedUnit.h"

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

int runProgram(int argc, const char* const* argv) {
    Options options;
    if (const auto status = readOptions(argc, argv, options)) return *status;
    const Descriptor interrupts = catchInterrupts();
    Log log(options.quiet);

    const Library library;
    Mailbox mailbox;
    Session session(options, log, mailbox);
    Mirror mirror(options, log, mailbox, session, interrupts.get());
    ScriptedUnit unit(session, mirror);
    std::optional<Runner> runner;
    if (options.script) {
        const auto note = [&log](const std::string& text) { log.line("STEP", text); };
        mirror.play(runner.emplace(*options.script, unit, note));
    }
    const std::string failure = mirror.run();
    mirror.logStatistics();
    return failure.empty() ? exitDone : report(failure);
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
