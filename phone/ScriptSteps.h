/**
 * @file
 * The table of what a phone's script can do, and scripts made of it. Constant; values.
 */
#ifndef PHONE_SCRIPTSTEPS_H
#define PHONE_SCRIPTSTEPS_H

#include "common/Player.h"

namespace quarlo::phone {

struct Scene;
using Performed = Deed<Scene>;

struct Script {
    std::string file;
    std::vector<Step<Performed>> steps;
};

const Steps<Performed>& scriptSteps();

/** @return empty, or what is wrong and allowed: "a.script:7: ..." */
std::string parseScript(const std::string& file, const std::string& text, Script& script);
/** The same with the file's content. */
std::string readScript(const std::string& file, Script& script);

}  // namespace quarlo::phone

#endif
