#include "Server.h"

#include <algorithm>
#include <cstdio>

namespace quarlo::phone {
namespace {

/// So that a window never stands still.
constexpr std::chrono::milliseconds windowTurn{15};

TimePoint now() {
    return std::chrono::steady_clock::now();
}

TimePoint endOf(const std::optional<double>& seconds) {
    if (!seconds) return TimePoint::max();
    return now() +
           std::chrono::duration_cast<TimePoint::duration>(std::chrono::duration<double>(*seconds));
}

}  // namespace

Server::Server(const Options& options, const Log& log, const Bell& wake, Screen& own,
               Director* steps)
    : given(options),
      newcomers(options),
      output(log),
      bell(wake),
      ownScreen(own),
      director(steps) {}

void Server::begin() {
    arrivals = std::make_unique<Arrivals>(given, output, [this](Link link) {
        const std::lock_guard guard(lock);
        arrived.push_back(std::move(link));
        bell.ring();
    });
    if (!given.portFile.empty()) writePortFile(given.portFile, arrivals->port());
    std::printf("%s\n", arrivals->describe().c_str());
    std::fflush(stdout);
}

int Server::run(const std::function<bool()>& isStopRequested, Display* window) {
    const TimePoint end = endOf(given.maxSeconds);
    while (!isStopRequested() && now() < end) {
        dismiss();
        // Before others come in: the first steps may be about how they are received.
        if (director != nullptr) director->run(*this);
        admit();
        if (isDone() || !turn(window)) break;
        TimePoint wake = director != nullptr ? std::min(end, director->wake()) : end;
        if (window != nullptr) wake = std::min(wake, now() + windowTurn);
        bell.wait(wake);
    }
    return close();
}

void Server::admit() {
    std::deque<Link> fresh;
    {
        const std::lock_guard guard(lock);
        fresh.swap(arrived);
    }
    for (Link& link : fresh) welcome(std::move(link));
}

void Server::welcome(Link link) {
    if (given.once && hasCome) return;
    if (units.size() >= given.mostUnits) {
        output.line("UNIT", "sent away: " + std::to_string(units.size()) + " are connected");
        return;
    }
    hasCome = true;
    Teller teller;
    if (director != nullptr) {
        teller = [this](Happening happening) { director->tell(std::move(happening)); };
    }
    units.push_back(std::make_unique<ServedUnit>(
        std::move(link),
        ServedUnit::Place{newcomers, output, bell, freeNumber(), ownScreen.front(), teller}));
}

ServedUnit* Server::find(int number) const {
    const auto found = std::find_if(units.begin(), units.end(), [number](const auto& unit) {
        return unit->number() == number && !unit->isLeaving();
    });
    return found == units.end() ? nullptr : found->get();
}

void Server::post(int number, ServedUnit::Task task) {
    if (ServedUnit* unit = find(number)) unit->post(std::move(task));
}

void Server::change(const Setting& setting) {
    setting(newcomers);
    for (const auto& unit : units) {
        unit->post([setting](Session& session) { session.change(setting); });
    }
}

int Server::freeNumber() const {
    int number = 1;
    while (find(number) != nullptr) ++number;
    return number;
}

void Server::dismiss() {
    for (const auto& unit : units) {
        const auto app = unit->takeAppLeft();
        if (app && *app != ownScreen.front()) ownScreen.open(*app);
    }
    const std::size_t before = units.size();
    std::erase_if(units, [this](const auto& unit) {
        if (!unit->isGone()) return false;
        wasCompleted = wasCompleted || unit->wasCompleted();
        return true;
    });
    if (units.size() < before && !given.once && arrivals != nullptr) arrivals->expectNext();
}

bool Server::turn(Display* window) {
    if (window == nullptr) return true;
    const auto shown = std::find_if(units.begin(), units.end(), [](const auto& unit) {
        return unit->wasCompleted() && !unit->isLeaving();
    });
    return window->turn(shown != units.end() ? shown->get() : nullptr);
}

bool Server::isDone() const {
    if (director != nullptr && director->isDone()) return true;
    return given.once && hasCome && units.empty();
}

int Server::close() {
    arrivals.reset();
    // All at once: each may take its moment.
    for (const auto& unit : units) unit->stop();
    for (const auto& unit : units) unit->wait();
    dismiss();
    return given.once && !wasCompleted ? 1 : 0;
}

}  // namespace quarlo::phone
