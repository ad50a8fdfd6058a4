#include "Mirror.h"

#include <poll.h>

#include <algorithm>
#include <cmath>

#include "common/PngWriter.h"

namespace quarlo::headunit {
namespace {

// A window is not woken by an interrupt.
constexpr int patience = 100;
// Longer than a session waits for the answers to a change.
constexpr double settlingSeconds = 4;

}  // namespace

Mirror::Mirror(const Options& given, Log& output, Mailbox& receiver, Host& asked,
               int interruptDescriptor)
    : options(given),
      log(output),
      mailbox(receiver),
      host(asked),
      interrupts(interruptDescriptor),
      frame(given.frame()),
      wanted(frame) {}

void Mirror::showIn(Window& shown, HeadUnit& unit) {
    window = &shown;
    board = &shown.board;
    board->operate(unit);
    board->resized(frame.size);
}

std::string Mirror::run() {
    beginSeconds = log.seconds();
    if (const std::string problem = host.start(); !problem.empty()) fail(problem);
    while (!hasEnded) step();
    host.close();
    if (board != nullptr) board->closed(failure);
    return failure;
}

void Mirror::wait() {
    const int limit = waitMilliseconds();
    if (window == nullptr) return mailbox.wait(limit, interrupts);
    isClosed = !window->turn(limit < 0 ? patience : std::min(limit, patience));
}

void Mirror::linger() {
    const bool endsBySelf = options.frames != 0 || options.seconds != 0 || options.script;
    if (window == nullptr || endsBySelf) return;
    while (!isClosed && !isInterrupted()) wait();
}

void Mirror::step() {
    wait();
    const News news = mailbox.take();
    take(news);
    runScript();
    for (const StateNews& state : news.states) {
        if (!hasEnded) enter(state);
    }
    if (!hasEnded && !news.failure.empty()) fail(news.failure);
    serveBoard(news);
    if (!hasEnded) look();
}

void Mirror::enter(const StateNews& news) {
    switch (news.state) {
        case eSESSIONSTATE_Connecting:
            isConnected = isPausing = false;
            if (board != nullptr) board->say(options.listens ? "waiting" : "connecting");
            break;
        case eSESSIONSTATE_Connected:
            isConnected = true;
            log.line("LINK", options.listens ? "a phone has connected"
                                             : "connected to " + options.endpoint.text());
            if (board != nullptr) board->opened();
            break;
        case eSESSIONSTATE_Running:
            becomeRunning();
            break;
        case eSESSIONSTATE_Waiting:
            pauseFor(news);
            break;
        case eSESSIONSTATE_GivenUp:
            fail("gave up: " + news.reason);
            break;
        case eSESSIONSTATE_Stopped:
            break;
    }
}

void Mirror::pauseFor(const StateNews& news) {
    if (!options.reconnect) return fail(news.reason);
    if (!isPausing) lost(news.reason);
    isPausing = true;
    const std::string text = format("next try in %u s", (news.remaining + 999) / 1000);
    log.line("LINK", text);
    if (board != nullptr) board->say(text);
}

void Mirror::lost(const std::string& why) {
    log.line("LINK", why);
    if (board != nullptr) board->closed(why);
    if (isRunning) leftSeconds = log.seconds();
    isRunning = isConnected = false;
    needsFull = true;
}

// Whether the user or the clock wants the end.
void Mirror::look() {
    const std::string reason = endReason();
    if (reason.empty()) return;
    log.line("HOST", reason);
    if (!isEndWanted()) return fail(reason);
    hasEnded = true;
}

// Without a number of updates asked for, any number is what was asked for.
bool Mirror::isEndWanted() const {
    if (isClosed && board->status().failure.empty()) return true;
    return options.frames == 0 && updates != 0 && (runner == nullptr || !runner->hasScript());
}

void Mirror::serveBoard(const News& news) {
    if (board == nullptr) return;
    for (const Event& event : news.events) board->happened(event);
    if (!news.updates.empty()) board->show(host.picture());
    board->count(host.bytesReceived(), host.bytesSent());
}

// Updates come before what followed them: what was delivered counts.
void Mirror::take(const News& news) {
    for (const FrameNews& change : news.changes) warnOf(change);
    for (const Update& update : news.updates) {
        if (!hasEnded) handle(update);
    }
    for (const FrameNews& change : news.changes) conclude(change);
    if (runner == nullptr) return;
    for (const Event& event : news.events) runner->happened(event);
}

Runner::Time Mirror::now() const {
    return Runner::Time(static_cast<long long>((log.seconds() - missedSeconds) * 1000));
}

void Mirror::runScript() {
    if (runner == nullptr || !isRunning || hasEnded) return;
    runner->run(now());
    if (!runner->isDone() || hasEnded) return;
    if (failure.empty()) failure = runner->failure();
    if (failure.empty()) log.line("HOST", "the script is done");
    hasEnded = true;
}

double Mirror::secondsLeft() const {
    return std::max(0.0, beginSeconds + options.seconds - log.seconds());
}

int Mirror::waitMilliseconds() const {
    double left = options.seconds == 0 ? 1e6 : secondsLeft();
    const bool isDue = isRunning && runner != nullptr && runner->wake();
    if (isDue) {
        left = std::min(left, static_cast<double>((*runner->wake() - now()).count()) / 1000);
    } else if (options.seconds == 0) {
        return -1;
    }
    return static_cast<int>(std::ceil(std::clamp(left, 0.0, 1e6) * 1000));
}

bool Mirror::isInterrupted() const {
    pollfd watched{interrupts, POLLIN, 0};
    return poll(&watched, 1, 0) > 0;
}

std::string Mirror::endReason() const {
    if (isClosed) return "the window was closed";
    if (isInterrupted()) return "interrupted";
    const bool isLate = options.seconds != 0 && secondsLeft() == 0;
    return isLate ? "the time is over" : "";
}

void Mirror::becomeRunning() {
    isRunning = true;
    if (hasRun) {
        missedSeconds += log.seconds() - leftSeconds;
    } else {
        hasRun = true;
        runSeconds = log.seconds();
    }
    if (board != nullptr) board->began();
    if (isSuspended) host.suspend(true);
    makeChanges();
    runScript();
}

// The next update is on its way while this one's picture is written.
void Mirror::handle(const Update& update) {
    const UInt64 whole = frame.size.count();
    updates = update.number;
    rectangles += update.arrived;
    pixelBytes += update.bytes;
    covered += update.pixels;
    lastSeconds = log.seconds();
    if (!update.problem.empty()) {
        const std::string problem = format("update %u: ", updates) + update.problem;
        if (!isSettling()) return fail(problem);
        log.line("HOST", "of the time before the change: " + problem);
    }
    if (runner != nullptr && pending == 0) {
        runner->updated(update.problem.empty() && covered >= whole);
    }
    if (isComplete()) hasEnded = true;
    if (!hasEnded && isRunning) makeChanges();
    save(update);
}

void Mirror::makeChanges() {
    for (; nextCommand < options.commands.size(); ++nextCommand) {
        const Command& command = options.commands[nextCommand];
        if (command.update > updates) break;
        log.line("HOST", format("after update %u: ", updates) + command.text);
        changes.push_back(command.change);
    }
    applyChanges();
    requestNext();
}

void Mirror::change(const Change& change) {
    changes.push_back(change);
    applyChanges();
    requestNext();
}

// In their order; what RUN ends before is for the next one.
void Mirror::applyChanges() {
    while (!changes.empty() && apply(changes.front())) changes.pop_front();
}

// The session makes changes of frames one after the other, everything else waits for them.
bool Mirror::apply(const Change& change) {
    if (const auto* suspended = std::get_if<SetSuspended>(&change)) {
        if (pending != 0) return false;
        isSuspended = suspended->isSuspended;
        host.suspend(isSuspended);
        return true;
    }
    const eReturnCode result = host.change(change, wanted);
    if (result == eRETURN_OKAY) {
        ++pending;
    } else if (result != eRETURN_STATE_NOT_RUN && pending == 0) {
        fail(std::string("frames cannot be changed: ") + quarloName_OfResult(result));
    }
    return result == eRETURN_OKAY;
}

void Mirror::warnOf(const FrameNews& news) {
    if (news.phase != eCHANGEPHASE_Changing || news.result != eCHANGERESULT_Unfenced) return;
    log.line("HOST", "the phone acknowledges nothing: changed while frames may be under way");
    settledSeconds = log.seconds() + settlingSeconds;
}

void Mirror::conclude(const FrameNews& news) {
    if (news.phase != eCHANGEPHASE_Over) return;
    frame = news.frame;
    if (board != nullptr) board->resized(frame.size);
    if (--pending == 0) wanted = frame;
    needsFull = true;
    applyChanges();
    requestNext();
}

void Mirror::ask(bool isFull) {
    if (pending == 0) return request(isFull);
    needsFull = needsFull || isFull;
}

std::string Mirror::screenshot(const std::string& name) {
    const std::string file = name + ".png";
    const std::string problem = writePng(host.picture(), options.output + "/" + file);
    if (!problem.empty()) return "cannot write " + problem;
    ++pictures;
    log.line("HOST", "written to " + file);
    return {};
}

// While frames are being changed, nothing new shall come on its way.
void Mirror::requestNext() {
    if (isSuspended || !isRunning || pending != 0) return;
    request(needsFull || options.full);
    needsFull = false;
}

void Mirror::request(bool isFull) {
    if (isFull) covered = 0;
    host.request(frame.size, isFull);
}

void Mirror::save(const Update& update) {
    if (!update.picture) return;
    const std::string problem =
        writePng(*update.picture, options.output + "/" + pictureName("frame", update.number));
    if (!problem.empty()) return fail("cannot write " + problem);
    ++pictures;
}

void Mirror::fail(const std::string& why) {
    if (failure.empty()) failure = (isConnected ? "session failed: " : "") + why + progress();
    hasEnded = true;
}

std::string Mirror::progress() const {
    if (!hasRun) return isConnected ? " (before RUN)" : "";
    if (options.frames == 0) return format(" (after %u updates)", updates);
    return format(" (after %u of %u updates)", updates, options.frames);
}

void Mirror::logStatistics() {
    if (host.bytesSent() == 0) return;
    const double duration = lastSeconds - runSeconds;
    log.line("STAT", format("%u updates, %llu rectangles, %llu bytes of pixels, %u pictures",
                            updates, static_cast<unsigned long long>(rectangles),
                            static_cast<unsigned long long>(pixelBytes), pictures));
    log.line("STAT", format("%llu bytes received, %llu bytes sent",
                            static_cast<unsigned long long>(host.bytesReceived()),
                            static_cast<unsigned long long>(host.bytesSent())));
    if (!hasRun) return log.line("STAT", "RUN was not reached");
    log.line("STAT", format("%.1f updates per second, RUN after %.3f s",
                            duration > 0 ? updates / duration : 0.0, runSeconds - beginSeconds));
}

}  // namespace quarlo::headunit
