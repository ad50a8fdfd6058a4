#include "Script.h"

#include <algorithm>

#include "ScriptSteps.h"

namespace quarlo::headunit {
namespace {

// What the session must be ready for before it begins.
void foresee(const std::string& line, Script& script) {
    Words words(line);
    const std::string_view word = words.next();
    if (word == "screenshot") script.writesPictures = true;
    if (word == "format") {
        const PixelFormat format = words.parsed(parseFormat);
        const unsigned deepest = script.deepest ? bytesPerPixel(*script.deepest) : 0;
        if (bytesPerPixel(format) > deepest) script.deepest = format;
    }
    if (word != "size") return;
    const Size size = words.parsed(parseSize);
    script.largest.width = std::max(script.largest.width, size.width);
    script.largest.height = std::max(script.largest.height, size.height);
}

}  // namespace

void Scene::begin(unsigned line, const std::string& text) {
    note(line == 0 ? text : std::to_string(line) + ": " + text);
    sawUpdate = sawWhole = false;
}

std::string parseScript(const std::string& file, const std::string& text, Script& script) {
    script.file = file;
    std::string problem = readSteps(scriptSteps(), file, text, script.steps);
    if (!problem.empty()) return problem;
    for (const Step& step : script.steps) foresee(step.text, script);
    return {};
}

std::string readScript(const std::string& file, Script& script) {
    std::string text;
    const std::string problem = readScriptFile(file, text);
    return problem.empty() ? parseScript(file, text, script) : problem;
}

}  // namespace quarlo::headunit
