#include "Runner.h"

namespace quarlo::headunit {
namespace {

constexpr std::size_t maximumEvents = 16384;

}  // namespace

Runner::Runner(const Script& script, HeadUnit& unit, std::function<void(const std::string&)> note)
    : scene{unit, std::move(note), History<Event>(maximumEvents)}, player(scene, script.file) {
    for (const Step& step : script.steps) player.add(step);
}

void Runner::updated(bool isWhole) {
    scene.sawUpdate = true;
    scene.sawWhole = scene.sawWhole || isWhole;
}

}  // namespace quarlo::headunit
