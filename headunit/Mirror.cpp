#include "Mirror.h"

#include <poll.h>

#include <algorithm>
#include <cmath>

#include "common/PngWriter.h"

namespace quarlo::headunit {
namespace {

// An acknowledgement wakes the main thread; this is for one that does not come.
constexpr int fenceMilliseconds = 100;

// The library decodes every frame by its present settings, and of those on their way nobody can say
// which was drawn when.
bool waitsForQuiet(const Change& change) {
    return !std::holds_alternative<SetSuspended>(change) &&
           !std::holds_alternative<SetCompression>(change);
}

}  // namespace

Mirror::Mirror(const Options& given, Log& output, Mailbox& receiver, Session& mirrored,
               int interruptDescriptor)
    : options(given),
      log(output),
      mailbox(receiver),
      session(mirrored),
      interrupts(interruptDescriptor),
      retry(given.reconnect) {}

Mirror::~Mirror() {
    if (board != nullptr) board->closed(failure);
}

void Mirror::showOn(Board& shown, HeadUnit& unit) {
    board = &shown;
    driven = &unit;
    board->say("connecting");
}

std::string Mirror::run() {
    beginSeconds = log.seconds();
    while (!hasEnded) {
        if (session.isOpen()) {
            step();
        } else {
            redial();
        }
    }
    return failure;
}

void Mirror::redial() {
    const double left = retry.secondsLeft(log.seconds());
    if (left > 0) return countDown(left);
    const double time = options.seconds == 0
                            ? options.connectTimeout
                            : std::clamp(secondsLeft(), 0.01, options.connectTimeout);
    if (board != nullptr) board->say("connecting");
    std::string error;
    Link link = connectTo(options.endpoint, time, interrupts, error);
    if (link) {
        log.line("LINK", "connected to " + options.endpoint.text());
        if (board != nullptr) board->opened(mailbox);
        error = session.start(std::move(link));
        if (!error.empty()) fail(error);
        return;
    }
    look();
    if (!hasEnded) lost(error);
}

void Mirror::countDown(double seconds) {
    const double shown = std::ceil(seconds);
    const std::string text = format("next try in %.0f s", shown);
    log.line("LINK", text);
    if (board != nullptr) board->say(text);
    mailbox.wait(static_cast<int>(std::ceil((seconds - shown + 1) * 1000)), interrupts);
    look();
}

// What the phone sent before it went counts; what was to be changed is so from the next start on.
void Mirror::lost(const std::string& why) {
    if (!retry.failed(log.seconds())) return fail((options.reconnect ? "gave up: " : "") + why);
    log.line("LINK", why);
    if (board != nullptr) board->closed(why);
    if (isRunning) leftSeconds = log.seconds();
    isRunning = false;
    session.close();
    mailbox.wait(0, interrupts);  // else its signal would cut the countdown short
    take(mailbox.take());
    for (; !changes.empty(); changes.pop_front()) apply(changes.front());
    fence.forget();
    needsFull = true;
}

// Updates come before a failure that followed them: what was delivered counts.
void Mirror::step() {
    mailbox.wait(waitMilliseconds(), interrupts);
    const News news = mailbox.take();
    if (news.isRunning && !isRunning) becomeRunning();
    take(news);
    if (!hasEnded && isRunning) {
        if (!changes.empty()) {
            applyChanges();
            requestNext();
        }
        runScript();
    }
    serveBoard(news);
    if (hasEnded) return;
    if (!news.failure.empty()) return lost(news.failure);
    look();
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
    if (board != nullptr && board->isDone()) return true;
    return options.frames == 0 && updates != 0 && runner == nullptr;
}

void Mirror::serveBoard(const News& news) {
    if (board == nullptr) return;
    for (const Event& event : news.events) board->happened(event);
    if (!news.updates.empty()) board->show(session.picture());
    board->count(session.bytesReceived(), session.bytesSent());
    if (hasEnded || !isRunning) return;
    for (const Board::Act& act : board->takeActs()) act(*driven, session.extent());
}

void Mirror::take(const News& news) {
    for (const Update& update : news.updates) {
        if (!hasEnded) handle(update);
    }
    // Updates that came before an acknowledgement are in the same news or in older ones.
    for (unsigned i = 0; i < news.acknowledgements; ++i) fence.acknowledged();
    if (runner == nullptr) return;
    for (const Event& event : news.events) runner->happened(event);
}

Runner::Time Mirror::now() const {
    return Runner::Time(static_cast<long long>((log.seconds() - missedSeconds) * 1000));
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
    if (!changes.empty()) return fenceMilliseconds;
    double left = options.seconds == 0 ? 1e6 : secondsLeft();
    const bool isDue = isRunning && runner != nullptr && runner->wake();
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
    retry.succeeded();
    if (hasRun) {
        missedSeconds += log.seconds() - leftSeconds;
    } else {
        hasRun = true;
        runSeconds = log.seconds();
    }
    session.settle();
    if (board != nullptr) board->running();
    if (isSuspended) session.change(SetSuspended{true});
    makeChanges();
}

// The next update is on its way while this one's picture is written.
void Mirror::handle(const Update& update) {
    const UInt64 whole = session.extent().count();
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
    if (runner != nullptr && changes.empty()) {
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

void Mirror::applyChanges() {
    if (changes.empty()) return;
    for (; !changes.empty(); changes.pop_front()) {
        if (waitsForQuiet(changes.front()) && !isQuiet()) return;
        apply(changes.front());
    }
    if (fence.isUp() && !isSuspended) session.change(SetSuspended{false});
    fence.lower();
}

// A frame on its way would be decoded by settings that it was not made for.
bool Mirror::isQuiet() {
    if (!fence.isUp()) raiseFence();
    const Fence::Line line = fence.look(log.seconds());
    if (line == Fence::Line::Overdue) {
        log.line("HOST", "the phone acknowledges nothing: changed while frames may be under way");
        settledSeconds = log.seconds() + 1;
    }
    return line != Fence::Line::Busy;
}

// The phone sends no frame that it has not begun, and acknowledges after those that it has.
void Mirror::raiseFence() {
    session.change(SetSuspended{true});
    session.changeNothing();
    fence.sent();
    fence.raise(log.seconds());
}

void Mirror::apply(const Change& change) {
    session.change(change);
    if (std::holds_alternative<SetCompression>(change)) fence.sent();
    if (const auto* suspended = std::get_if<SetSuspended>(&change)) {
        isSuspended = suspended->isSuspended;
    } else {
        needsFull = true;
    }
}

void Mirror::ask(bool isFull) {
    if (changes.empty()) return request(isFull);
    needsFull = needsFull || isFull;
}

std::string Mirror::screenshot(const std::string& name) {
    const std::string file = name + ".png";
    const std::string problem = writePng(session.picture(), options.output + "/" + file);
    if (!problem.empty()) return "cannot write " + problem;
    ++pictures;
    log.line("HOST", "written to " + file);
    return {};
}

// While changes wait, nothing new shall come on its way.
void Mirror::requestNext() {
    if (isSuspended || !isRunning || !changes.empty()) return;
    request(needsFull || options.full);
    needsFull = false;
}

void Mirror::request(bool isFull) {
    if (isFull) covered = 0;
    session.request(isFull);
}

void Mirror::save(const Update& update) {
    if (!update.picture) return;
    const std::string problem =
        writePng(*update.picture, options.output + "/" + pictureName("frame", update.number));
    if (!problem.empty()) return fail("cannot write " + problem);
    ++pictures;
}

void Mirror::fail(const std::string& why) {
    if (failure.empty()) failure = (session.isOpen() ? "session failed: " : "") + why + progress();
    hasEnded = true;
}

std::string Mirror::progress() const {
    if (!hasRun) return session.isOpen() ? " (before RUN)" : "";
    if (options.frames == 0) return format(" (after %u updates)", updates);
    return format(" (after %u of %u updates)", updates, options.frames);
}

void Mirror::logStatistics() {
    if (session.bytesSent() == 0) return;
    const double duration = lastSeconds - runSeconds;
    log.line("STAT", format("%u updates, %llu rectangles, %llu bytes of pixels, %u pictures",
                            updates, static_cast<unsigned long long>(rectangles),
                            static_cast<unsigned long long>(pixelBytes), pictures));
    log.line("STAT", format("%llu bytes received, %llu bytes sent",
                            static_cast<unsigned long long>(session.bytesReceived()),
                            static_cast<unsigned long long>(session.bytesSent())));
    if (!hasRun) return log.line("STAT", "RUN was not reached");
    log.line("STAT", format("%.1f updates per second, RUN after %.3f s",
                            duration > 0 ? updates / duration : 0.0, runSeconds - beginSeconds));
}

}  // namespace quarlo::headunit
