// Texts of a head unit appear in verdicts: control characters are out, XML is escaped. No state.
#include "Verdicts.h"

#include <algorithm>

#include "common/Text.h"

namespace quarlo::phone {
namespace {

constexpr const char* words[] = {"PASS", "FAIL", "NOT SEEN", "WARN"};

Verdict verdictOn(const Docket& docket, Rule rule) {
    const RuleText& about = textOf(rule);
    const Docket::Entry& entry = docket.entry(rule);
    // Whoever does not answer pings at all is not found to be confused by pieces.
    const bool isMoot = rule == Rule::ReceivePieces && docket.entry(Rule::PingAnswer).breaches != 0;
    if (isMoot || (entry.judged == 0 && entry.breaches == 0))
        return {rule, Result::NotSeen, about.notSeen};
    if (entry.breaches == 0) {
        return {rule, Result::Pass,
                entry.praise.empty() ? format("%u judged", entry.judged) : entry.praise};
    }
    const std::string times =
        entry.breaches == 1 ? "" : " (" + std::to_string(entry.breaches) + " times)";
    return {rule, about.isAdvice ? Result::Warn : Result::Fail,
            printable(entry.firstBreach) + times};
}

std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else if (c == '"')
            out += "&quot;";
        // A byte that may be part of no valid UTF-8 would spoil the whole report.
        else
            out += byte < 0x20 || byte >= 0x7F ? '?' : c;
    }
    return out;
}

}  // namespace

Verdicts::Verdicts(const Docket& docket) {
    for (std::size_t i = 0; i < numberOfRules; ++i)
        all.push_back(verdictOn(docket, static_cast<Rule>(i)));
}

std::size_t Verdicts::count(Result result) const {
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [&](const Verdict& one) { return one.result == result; }));
}

std::string Verdicts::table() const {
    std::string text;
    for (const Verdict& one : all) {
        const std::string id = textOf(one.rule).id;
        text += format("%-10s%-17s ", words[static_cast<std::size_t>(one.result)], id.c_str()) +
                one.text + "\n";
    }
    return text + format("%zu rules: %zu passed, %zu failed, %zu not seen, %zu warnings\n",
                         all.size(), count(Result::Pass), count(Result::Fail),
                         count(Result::NotSeen), count(Result::Warn));
}

std::string Verdicts::report(double seconds) const {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    text += format(
        "<testsuite name=\"quarlo-check\" tests=\"%zu\" failures=\"%zu\" "
        "skipped=\"%zu\" time=\"%.3f\">\n",
        all.size(), count(Result::Fail), count(Result::NotSeen), seconds);
    for (const Verdict& one : all) {
        text += std::string("  <testcase classname=\"quarlo.check\" name=\"") +
                textOf(one.rule).id + "\"";
        const std::string content = escaped(one.text);
        if (one.result == Result::Fail)
            text += "><failure message=\"" + content + "\"/></testcase>\n";
        else if (one.result == Result::NotSeen)
            text += "><skipped message=\"" + content + "\"/></testcase>\n";
        else if (one.result == Result::Warn)
            text += "><system-out>" + content + "</system-out></testcase>\n";
        else
            text += "/>\n";
    }
    return text + "</testsuite>\n";
}

std::string listOfRules() {
    std::string text;
    for (const RuleText& rule : rules)
        text +=
            format("%-18s %-6s ", rule.id, rule.isAdvice ? "advice" : "rule") + rule.text + "\n";
    return text;
}

}  // namespace quarlo::phone
