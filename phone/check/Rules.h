/**
 * @file
 * The names of the rules by which head units are judged, and what there is to say about each.
 */
#ifndef PHONE_CHECK_RULES_H
#define PHONE_CHECK_RULES_H

#include <cstddef>

namespace quarlo::phone {

/** In the order in which they count. */
enum class Rule : std::size_t {
#define QUARLO_RULE(Name, ...) Name,
#define QUARLO_ADVICE(Name, ...) Name,
#include "Rules.def"
};

struct RuleText {
    const char* id;
    bool isAdvice;
    const char* text;
    const char* notSeen;
};

inline constexpr RuleText rules[] = {
#define QUARLO_RULE(Name, id, text, notSeen) {id, false, text, notSeen},
#define QUARLO_ADVICE(Name, id, text, notSeen) {id, true, text, notSeen},
#include "Rules.def"
};

inline constexpr std::size_t numberOfRules = sizeof rules / sizeof *rules;

constexpr const RuleText& textOf(Rule rule) {
    return rules[static_cast<std::size_t>(rule)];
}

}  // namespace quarlo::phone

#endif
