/**
 * @file
 * What was found about each rule: how often it was judged, how often and where first it was broken.
 * One thread.
 */
#ifndef PHONE_CHECK_DOCKET_H
#define PHONE_CHECK_DOCKET_H

#include <array>
#include <chrono>
#include <optional>
#include <string>

#include "Rules.h"

namespace quarlo::phone {

using TimePoint = std::chrono::steady_clock::time_point;

class Docket {
  public:
    struct Entry {
        unsigned judged = 0;
        unsigned breaches = 0;
        std::string firstBreach;
        /** What to say if nothing was broken; empty: how often it was judged. */
        std::string praise;
    };

    /** The next connection begins. */
    void connect(TimePoint now);
    void setNow(TimePoint now) { time = now; }
    TimePoint now() const { return time; }
    int connection() const { return connections; }

    /** Of what is found from here to `endEvent`, only what breaks the first rule counts: a packet,
     * or the end of a connection. */
    void beginPacket();
    void beginEvent() { isOpen = true; }
    void endEvent();

    void judgeBy(Rule rule);
    void find(Rule rule, const std::string& text) { findAt(time, rule, text); }
    /** Says so if `isRight` does not hold. */
    void expect(bool isRight, Rule rule, const std::string& text) {
        if (!isRight) find(rule, text);
    }
    /** What was owed has not come. */
    void findOverdue(TimePoint limit, Rule rule, const std::string& text);
    void praise(Rule rule, const std::string& text) { entry(rule).praise = text; }

    Entry& entry(Rule rule) { return entries[static_cast<std::size_t>(rule)]; }
    const Entry& entry(Rule rule) const { return entries[static_cast<std::size_t>(rule)]; }

  private:
    struct Breach {
        Rule rule;
        std::string text;
        TimePoint time;
    };

    bool holds(Rule rule) const;
    void findAt(TimePoint when, Rule rule, const std::string& text);
    void record(const Breach& breach);

    std::array<Entry, numberOfRules> entries;
    int connections = 0;
    unsigned packets = 0;
    TimePoint start{};
    TimePoint time{};
    bool isOpen = false;
    std::optional<Breach> worst;  ///< of the event that is open
};

}  // namespace quarlo::phone

#endif
