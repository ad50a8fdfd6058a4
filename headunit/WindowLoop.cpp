#include "WindowLoop.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <thread>

#include "MirrorWindow.h"

namespace quarlo::headunit {
namespace {

constexpr int patience = 100;

bool isInterrupted(int interrupts) {
    pollfd watched{interrupts, POLLIN, 0};
    return poll(&watched, 1, 0) > 0;
}

// Of these there is an end that was asked for; otherwise it is the user who closes the window.
bool endsBySelf(const Options& options) {
    return options.frames != 0 || options.seconds != 0 || options.script;
}

}  // namespace

int runInWindow(Options options, Log& log, int interrupts, const Sessions& sessions,
                std::string& problem) {
    Board board(MirrorWindow::wake);
    const auto window = MirrorWindow::open(options, log, board, problem);
    if (window == nullptr) return exitFailed;
    options.largest = window->largest();

    std::atomic<bool> hasEnded{false};
    int status = exitFailed;
    std::thread session([&] {
        status = sessions(options, board);
        hasEnded = true;
        MirrorWindow::wake();
    });
    bool isClosed = false;
    while (!isInterrupted(interrupts) && !isClosed && !(hasEnded && endsBySelf(options))) {
        isClosed = !window->turn(patience);
    }
    const bool isWanted = isClosed && board.status().failure.empty();
    if (isWanted) board.finish();
    // Whatever the sessions wait for, they wait for an interrupt too.
    if (!hasEnded) kill(getpid(), SIGTERM);
    session.join();
    return isWanted ? exitDone : status;
}

}  // namespace quarlo::headunit
