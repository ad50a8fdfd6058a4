#include "Runner.h"

#include "ScriptSteps.h"

namespace quarlo::headunit {
namespace {

constexpr std::size_t maximumEvents = 16384;

}  // namespace

Runner::Runner(HeadUnit& played, std::function<void(const std::string&)> listener)
    : unit(played), note(std::move(listener)), scene(newScene()) {}

Scene Runner::newScene() const {
    return {unit, note, History<Event>(maximumEvents)};
}

void Runner::play(const Script& script) {
    player.emplace(scene, script.file);
    for (const Step& step : script.steps) player->add(step);
}

void Runner::listen(const std::string& path, std::function<void()> wake) {
    const auto enter = [this] { return std::make_unique<Scene>(newScene()); };
    control = std::make_unique<Control<Scene>>(path, scriptSteps(), enter, std::move(wake));
}

template <typename Visit>
void Runner::eachScene(Visit visit) {
    visit(scene);
    if (control) control->each(visit);
}

void Runner::happened(const Event& event) {
    eachScene([&event](Scene& one) { one.history.add(event); });
}

void Runner::updated(bool isWhole) {
    eachScene([isWhole](Scene& one) {
        one.sawUpdate = true;
        one.sawWhole = one.sawWhole || isWhole;
    });
}

void Runner::run(Time now) {
    if (player) player->run(now);
    if (control) control->run(now);
}

std::optional<Runner::Time> Runner::wake() const {
    return earlier(player ? player->wake() : std::nullopt,
                   control ? control->wake() : std::nullopt);
}

}  // namespace quarlo::headunit
