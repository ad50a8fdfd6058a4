#include "Director.h"

namespace quarlo::phone {
namespace {

constexpr std::size_t mostHappenings = 16384;
constexpr std::size_t mostBytes = std::size_t{16} * 1024 * 1024;

}  // namespace

void Scene::begin(unsigned line, const std::string& text) const {
    director.note(line == 0 ? text : std::to_string(line) + ": " + text);
}

Director::Director(const Options& options, const Log& log, const Bell& wake)
    : output(log), alarm(wake), past(mostHappenings, mostBytes) {
    if (options.script) {
        script.emplace(scene, options.script->file);
        for (const auto& step : options.script->steps) script->add(step);
    }
    if (options.control.empty()) return;
    const auto enter = [this] {
        return std::make_unique<Scene>(Scene{*this, false, 1, past.end()});
    };
    control = std::make_unique<Control<Scene>>(options.control, scriptSteps(), enter,
                                               [this] { alarm.ring(); });
}

/// Of what nobody takes for long the latest is kept.
void Director::tell(Happening happening) {
    {
        const std::lock_guard guard(lock);
        newsBytes += happening.packet.size();
        news.push_back(std::move(happening));
        for (; news.size() > mostHappenings || newsBytes > mostBytes; news.pop_front()) {
            newsBytes -= news.front().packet.size();
        }
    }
    alarm.ring();
}

void Director::run(Ensemble& present) {
    units = &present;
    std::deque<Happening> fresh;
    {
        const std::lock_guard guard(lock);
        fresh.swap(news);
        newsBytes = 0;
    }
    for (Happening& happening : fresh) take(std::move(happening));
    if (script) script->run(now());
    if (control) control->run(now());
}

void Director::take(Happening happening) {
    const int unit = happening.unit;
    if (happening.event == Event::Connected) states[unit] = State::Connected;
    if (happening.event == Event::Running) states[unit] = State::Running;
    if (happening.event == Event::Closed) states.erase(unit);
    const std::size_t weight = happening.packet.size();
    past.add(std::move(happening), weight);
}

State Director::stateOf(int unit) const {
    const auto found = states.find(unit);
    return found == states.end() ? State::Absent : found->second;
}

TimePoint Director::wake() const {
    const auto due =
        earlier(script ? script->wake() : std::nullopt, control ? control->wake() : std::nullopt);
    return due ? start + *due : TimePoint::max();
}

std::string Director::verdict() const {
    if (!script) return {};
    if (!script->isDone()) return script->place() + ": was not reached, or not done";
    return script->failure();
}

StepTime Director::now() const {
    return std::chrono::duration_cast<StepTime>(std::chrono::steady_clock::now() - start);
}

}  // namespace quarlo::phone
