/*
 * Performs steps one after the other, as time passes and things happen. Whoever owns a player tells
 * it the time, so that it never waits itself. One thread.
 */
#ifndef COMMON_PLAYER_H
#define COMMON_PLAYER_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "Steps.h"

namespace quarlo {
inline namespace common {

using StepTime = std::chrono::milliseconds;

/** Of a step's turn: nothing when it goes on, an empty text when it is done, else what went wrong.
 */
using Outcome = std::optional<std::string>;
inline const Outcome goesOn = std::nullopt;
inline const Outcome isWellDone = std::string();

/** What a step is told each time it has its turn. */
struct Turn {
    StepTime now;
    StepTime begun;  ///< when it had its first
    bool isFirst;
    std::optional<StepTime> wake;  ///< it may say when to give it the next at the latest

    /** Whether this much time has passed since it began; asks for a turn at that moment. */
    bool isOver(unsigned milliseconds) {
        wake = begun + StepTime(milliseconds);
        return now >= *wake;
    }
};

/**
 * What a step does: is called until it is over, and may keep what it needs until then.
 * @tparam Stage whom it does it to; has begin(step), called before the first turn of each step
 */
template <class Stage>
using Deed = std::function<Outcome(Stage&, Turn&)>;

inline std::optional<StepTime> earlier(std::optional<StepTime> one, std::optional<StepTime> other) {
    return !one || (other && *other < *one) ? other : one;
}

/** Lets time pass. */
template <class Stage>
Deed<Stage> pause(unsigned milliseconds) {
    return [milliseconds](Stage&, Turn& turn) {
        return turn.isOver(milliseconds) ? isWellDone : goesOn;
    };
}

/** A bounded record of what happened; the oldest is forgotten. */
template <class Event>
class History {
  public:
    using Number = std::uint64_t;

    /** @param mostEvents,mostWeight of what is kept */
    explicit History(std::size_t mostEvents, std::size_t mostWeight = SIZE_MAX)
        : most(mostEvents), heaviest(mostWeight) {}

    void add(Event event, std::size_t weight = 0) {
        events.emplace_back(std::move(event), weight);
        total += weight;
        for (; events.size() > most || (total > heaviest && events.size() > 1); ++forgotten) {
            total -= events.front().second;
            events.pop_front();
        }
    }
    /** The first event from that one on of which this is true. */
    template <class Condition>
    std::optional<Number> find(Number from, Condition isWanted) const {
        for (Number n = std::max(from, forgotten); n < end(); ++n) {
            if (isWanted(events[static_cast<std::size_t>(n - forgotten)].first)) return n;
        }
        return {};
    }
    /** The number that the next event will have. */
    Number end() const { return forgotten + events.size(); }

  private:
    const std::size_t most;
    const std::size_t heaviest;
    std::deque<std::pair<Event, std::size_t>> events;
    std::size_t total = 0;
    Number forgotten = 0;
};

template <class Stage>
class Player {
  public:
    using What = Deed<Stage>;

    /** @param file is named where a step fails */
    Player(Stage& played, std::string file) : stage(played), name(std::move(file)) {}

    /** Plays this step after those before it. */
    void add(Step<What> step) { steps.push_back(std::move(step)); }

    /** Does all that is due. */
    void run(StepTime now) {
        while (!isDone() && advance(now)) {
        }
    }

    /** Forgets the steps that are left, and that one failed. */
    void clear() {
        steps.clear();
        problem.clear();
        begun.reset();
        due.reset();
    }

    bool isDone() const { return !problem.empty() || steps.empty(); }
    /** Empty, or what went wrong in the step that was under way. */
    const std::string& problemOfStep() const { return problem; }
    /** Empty, or the same with the step before it. */
    std::string failure() const { return problem.empty() ? problem : place() + ": " + problem; }
    /** The step that is under way or comes next: "tour.script:7: 'tap 1 2'". */
    std::string place() const {
        const Step<What>& step = steps.front();
        return name + ":" + std::to_string(step.line) + ": '" + step.text + "'";
    }
    /** When to run again at the latest. */
    std::optional<StepTime> wake() const { return due; }

  private:
    bool advance(StepTime now) {
        Step<What>& step = steps.front();
        const bool isFirst = !begun;
        if (isFirst) {
            stage.begin(step.line, step.text);
            begun = now;
        }
        Turn turn{now, *begun, isFirst, {}};
        const Outcome outcome = step.what(stage, turn);
        due = turn.wake;
        if (!outcome) return false;
        problem = *outcome;
        due.reset();
        begun.reset();
        if (!problem.empty()) return false;
        steps.pop_front();
        return true;
    }

    Stage& stage;
    const std::string name;
    std::deque<Step<What>> steps;
    std::optional<StepTime> begun;  ///< the first of the steps
    std::optional<StepTime> due;
    std::string problem;
};

}  // namespace common
}  // namespace quarlo

#endif
