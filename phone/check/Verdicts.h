/**
 * @file
 * The verdicts of a check as a table for people and as a report for machines. Pure functions.
 */
#ifndef PHONE_CHECK_VERDICTS_H
#define PHONE_CHECK_VERDICTS_H

#include <string>
#include <vector>

#include "Docket.h"

namespace quarlo::phone {

enum class Result { Pass, Fail, NotSeen, Warn };

struct Verdict {
    Rule rule;
    Result result;
    std::string text;
};

class Verdicts {
  public:
    explicit Verdicts(const Docket& docket);

    bool hasFailed() const { return count(Result::Fail) != 0; }
    const std::vector<Verdict>& lines() const { return all; }
    /** A line for each rule, and a summary. */
    std::string table() const;
    /** JUnit XML. */
    std::string report(double seconds) const;

  private:
    std::size_t count(Result result) const;

    std::vector<Verdict> all;
};

/** A line for each rule: its id, its kind and what it says. */
std::string listOfRules();

}  // namespace quarlo::phone

#endif
