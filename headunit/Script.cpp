#include "Script.h"

#include <algorithm>
#include <fstream>
#include <sstream>

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

std::string parseScript(const std::string& file, const std::string& text, Script& script) {
    script.file = file;
    std::istringstream lines(text);
    std::string line;
    for (unsigned number = 1; std::getline(lines, line); ++number) {
        line = Words(line).rest();
        if (line.empty() || line.starts_with('#')) continue;
        Step step{number, line, Pause{0}};
        const std::string allowed = readStep(Words(line), step.what);
        if (!allowed.empty()) {
            std::string complaint = file;
            complaint += ":";
            complaint += std::to_string(number);
            complaint += ": '";
            complaint += line;
            complaint += "' is not allowed here; allowed: ";
            complaint += allowed;
            return complaint;
        }
        foresee(line, script);
        script.steps.push_back(std::move(step));
    }
    return {};
}

std::string readScript(const std::string& file, Script& script) {
    std::ifstream input(file, std::ios::binary);
    std::ostringstream content;
    if (!input || !(content << input.rdbuf())) {
        return "'" + file + "' cannot be read; allowed: a text file with steps";
    }
    return parseScript(file, content.str(), script);
}

}  // namespace quarlo::headunit
