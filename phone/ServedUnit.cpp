#include "ServedUnit.h"

#include <utility>

#include "Apps.h"
#include "HomeApp.h"

namespace quarlo::phone {
namespace {

/// How long the head unit may take to close its side.
constexpr std::chrono::milliseconds farewell{500};

TimePoint now() {
    return std::chrono::steady_clock::now();
}

}  // namespace

ServedUnit::ServedUnit(Link link, const Place& where)
    : place(where),
      thread([this, opened = std::move(link)]() mutable { run(std::move(opened)); }) {}

ServedUnit::~ServedUnit() {
    stop();
    wait();
}

void ServedUnit::wait() {
    if (thread.joinable()) thread.join();
}

void ServedUnit::post(Task task) {
    constexpr std::size_t mostTasks = 1024;
    {
        const std::lock_guard guard(lock);
        if (tasks.size() < mostTasks) tasks.push_back(std::move(task));
    }
    bell.ring();
}

void ServedUnit::stop() {
    isStopping.store(true);
    bell.ring();
}

void ServedUnit::note(const std::string& text) const {
    place.log.line("UNIT", labelOf(place.number) + text);
}

void ServedUnit::run(Link link) {
    try {
        const auto noteFault = [this](const std::string& what) { note("fault: " + what); };
        LinkStream stream(std::move(link), bell,
                          {place.options.faults, place.options.seed, noteFault});
        serve(stream);
        report(Event::Closed);
        // A head unit that comes again as soon as it hears of the end finds this place free.
        hasEnded.store(true);
        finish(stream);
    } catch (const std::exception& problem) {
        note(std::string("given up: ") + problem.what());
    }
    hasEnded.store(true);
    hasGone.store(true);
    place.owner.ring();
}

/// Nobody is connected to a serial line until something is heard.
bool ServedUnit::isAwaited(const LinkStream& stream) const {
    while (!place.options.place.device.empty() && !stream.hasNews() && !isStopping.load())
        bell.wait(TimePoint::max());
    return !isStopping.load() && !stream.hasEnded();
}

void ServedUnit::serve(LinkStream& stream) {
    if (!isAwaited(stream)) return;
    Screen screen(makeHomeApp(place.options.appName, place.options.seed));
    screen.open(place.app);
    Session session(stream, screen, place.options, place.log, place.number);
    session.note("connected");
    session.tell(witness());
    report(Event::Connected);
    bool isTold = false;
    while (!isStopping.load() && session.step(now())) {
        hasRun.store(session.isRunning());
        if (session.isHeard() && !std::exchange(isTold, true)) report(Event::Running);
        perform(session);
        publish(screen);
        bell.wait(session.nextWake());
    }
    hasRun.store(session.isRunning());
    const std::lock_guard guard(lock);
    appLeft = screen.front();
}

void ServedUnit::report(Event event, std::span<const std::uint8_t> packet,
                        const std::string& text) const {
    if (place.tell) place.tell({place.number, event, {packet.begin(), packet.end()}, text});
}

Witness ServedUnit::witness() const {
    if (!place.tell) return {};
    return {[this](std::span<const std::uint8_t> packet) { report(Event::Packet, packet); },
            [this](const std::string& fault) { report(Event::Fault, {}, fault); }};
}

std::optional<int> ServedUnit::takeAppLeft() {
    const std::lock_guard guard(lock);
    return std::exchange(appLeft, std::nullopt);
}

void ServedUnit::perform(Session& session) {
    std::vector<Task> due;
    {
        const std::lock_guard guard(lock);
        due.swap(tasks);
    }
    for (const Task& task : due) task(session);
    // What they have left to do is not to wait until something else happens.
    if (!due.empty()) bell.ring();
}

void ServedUnit::publish(const Screen& screen) {
    if (!place.options.window || drawings == screen.drawings()) return;
    const std::lock_guard guard(lock);
    shown = screen.picture();
    drawings = screen.drawings();
}

void ServedUnit::copyPicture(Picture& into, unsigned& seen) const {
    const std::lock_guard guard(lock);
    if (seen == drawings) return;
    into = shown;
    seen = drawings;
}

/// Closing with unread bytes could reset the connection and take what is still under way with it.
void ServedUnit::finish(LinkStream& stream) const {
    stream.ignoreInput();
    // The link's own limit ends the wait for a head unit that takes nothing.
    while (!stream.isAllSent() && !stream.hasEnded() && !isStopping.load())
        bell.wait(TimePoint::max());
    stream.endSending();
    const TimePoint end = now() + farewell;
    while (!stream.hasEnded() && now() < end) bell.wait(end);
}

}  // namespace quarlo::phone
