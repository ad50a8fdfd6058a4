#include "Mirror.h"

#include <poll.h>

#include <algorithm>
#include <cmath>

#include "PngWriter.h"

namespace quarlo::headunit {

Mirror::Mirror(const Options& given, Log& output, Mailbox& receiver, Session& mirrored,
               int interruptDescriptor)
    : options(given),
      log(output),
      mailbox(receiver),
      session(mirrored),
      interrupts(interruptDescriptor) {}

Mirror::~Mirror() {
    if (board != nullptr) board->closed(failure);
}

void Mirror::showOn(Board& shown, HeadUnit& unit) {
    board = &shown;
    driven = &unit;
    board->opened(mailbox);
}

std::string Mirror::run() {
    beginSeconds = log.seconds();
    failure = session.start();
    if (!failure.empty()) return failure;
    while (!hasEnded) step();
    return failure;
}

// Updates come before a failure that followed them: what was delivered counts.
void Mirror::step() {
    mailbox.wait(waitMilliseconds(), interrupts);
    const News news = mailbox.take();
    if (news.isRunning && !isRunning) becomeRunning();
    for (const Update& update : news.updates) {
        if (!hasEnded) handle(update);
    }
    inform(news);
    if (!hasEnded) serveBoard(news);
    if (!hasEnded && isRunning) runScript();
    if (hasEnded) return;
    if (!news.failure.empty()) return fail(news.failure);
    const std::string reason = endReason();
    if (reason.empty()) return;
    log.line("HOST", reason);
    if (!isEndWanted()) return fail(reason);
    hasEnded = true;
}

// Without a number of updates asked for, any number is what was asked for.
bool Mirror::isEndWanted() const {
    if (board != nullptr && board->isDone()) return true;
    return options.frames == 0 && updates != 0 && runner == nullptr;
}

void Mirror::serveBoard(const News& news) {
    if (board == nullptr) return;
    for (const Event& event : news.events) board->happened(event);
    if (!news.updates.empty()) board->show(session.picture());
    board->count(session.stream().bytesReceived(), session.stream().bytesSent());
    for (const Board::Act& act : board->takeActs()) act(*driven, session.extent());
}

void Mirror::inform(const News& news) {
    if (runner == nullptr) return;
    const UInt64 whole = UInt64{session.extent().width} * session.extent().height;
    for (const Update& update : news.updates) {
        runner->updated(update.problem.empty() && update.pixels >= whole);
    }
    for (const Event& event : news.events) runner->happened(event);
}

Runner::Time Mirror::now() const {
    return Runner::Time(static_cast<long long>(log.seconds() * 1000));
}

void Mirror::runScript() {
    if (runner == nullptr) return;
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
    const bool isDue = runner != nullptr && runner->wake();
    if (isDue) {
        left = std::min(left, static_cast<double>((*runner->wake() - now()).count()) / 1000);
    } else if (options.seconds == 0) {
        return -1;
    }
    return static_cast<int>(std::ceil(std::clamp(left, 0.0, 1e6) * 1000));
}

std::string Mirror::endReason() const {
    pollfd watched{interrupts, POLLIN, 0};
    if (poll(&watched, 1, 0) > 0) {
        return board != nullptr && board->isDone() ? "the window was closed" : "interrupted";
    }
    const bool isLate = options.seconds != 0 && secondsLeft() == 0;
    return isLate ? "the time is over" : "";
}

void Mirror::becomeRunning() {
    isRunning = true;
    runSeconds = log.seconds();
    session.settle();
    if (board != nullptr) board->running();
    makeChanges();
    requestNext();
}

// The next update is on its way while this one's picture is written.
void Mirror::handle(const Update& update) {
    updates = update.number;
    rectangles += update.arrived;
    pixelBytes += update.bytes;
    lastSeconds = log.seconds();
    if (!update.problem.empty()) {
        const std::string problem = format("update %u: ", updates) + update.problem;
        if (!isSettling()) return fail(problem);
        log.line("HOST", "of the time before the change: " + problem);
    }
    if (isComplete()) hasEnded = true;
    if (!hasEnded) {
        makeChanges();
        requestNext();
    }
    save(update);
}

void Mirror::makeChanges() {
    for (; nextCommand < options.commands.size(); ++nextCommand) {
        const Command& command = options.commands[nextCommand];
        if (command.update > updates) return;
        log.line("HOST", format("after update %u: ", updates) + command.text);
        session.change(command.change);
        if (const auto* suspended = std::get_if<SetSuspended>(&command.change)) {
            isSuspended = suspended->isSuspended;
        } else {
            needsFull = true;
        }
    }
}

// What the phone sent before it knew of the change may still arrive.
void Mirror::change(const Change& change) {
    session.change(change);
    if (const auto* suspended = std::get_if<SetSuspended>(&change)) {
        isSuspended = suspended->isSuspended;
    } else {
        needsFull = true;
        settledSeconds = log.seconds() + 1;
    }
    requestNext();
}

std::string Mirror::screenshot(const std::string& name) {
    const std::string file = name + ".png";
    const std::string problem = writePng(session.picture(), options.output + "/" + file);
    if (!problem.empty()) return "cannot write " + problem;
    ++pictures;
    log.line("HOST", "written to " + file);
    return {};
}

void Mirror::requestNext() {
    if (isSuspended) return;
    session.request(needsFull || options.full);
    needsFull = false;
}

void Mirror::save(const Update& update) {
    if (!update.picture) return;
    const std::string problem =
        writePng(*update.picture, options.output + "/" + frameName(update.number));
    if (!problem.empty()) return fail("cannot write " + problem);
    ++pictures;
}

void Mirror::fail(const std::string& why) {
    if (failure.empty()) failure = why + progress();
    hasEnded = true;
}

std::string Mirror::progress() const {
    if (!isRunning) return " (before RUN)";
    if (options.frames == 0) return format(" (after %u updates)", updates);
    return format(" (after %u of %u updates)", updates, options.frames);
}

void Mirror::logStatistics(const Transport& transport) {
    const double duration = lastSeconds - runSeconds;
    log.line("STAT", format("%u updates, %llu rectangles, %llu bytes of pixels, %u pictures",
                            updates, static_cast<unsigned long long>(rectangles),
                            static_cast<unsigned long long>(pixelBytes), pictures));
    log.line("STAT", format("%llu bytes received, %llu bytes sent",
                            static_cast<unsigned long long>(transport.bytesReceived()),
                            static_cast<unsigned long long>(transport.bytesSent())));
    if (!isRunning) return log.line("STAT", "RUN was not reached");
    log.line("STAT", format("%.1f updates per second, RUN after %.3f s",
                            duration > 0 ? updates / duration : 0.0, runSeconds - beginSeconds));
}

}  // namespace quarlo::headunit
