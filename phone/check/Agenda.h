/**
 * @file
 * What is to be done at which time. One thread.
 */
#ifndef PHONE_CHECK_AGENDA_H
#define PHONE_CHECK_AGENDA_H

#include <chrono>
#include <functional>
#include <map>
#include <utility>

namespace quarlo::phone {

using TimePoint = std::chrono::steady_clock::time_point;

class Agenda {
  public:
    using Task = std::function<void()>;

    /** Of tasks for the same time the one that was added first comes first. */
    void add(TimePoint time, Task task) { tasks.emplace(time, std::move(task)); }
    /** Does what is due; tasks may add others, or clear all. */
    void perform(TimePoint now) {
        while (!tasks.empty() && tasks.begin()->first <= now) {
            const Task task = std::move(tasks.begin()->second);
            tasks.erase(tasks.begin());
            task();
        }
    }
    TimePoint next() const { return tasks.empty() ? TimePoint::max() : tasks.begin()->first; }
    void clear() { tasks.clear(); }

  private:
    std::multimap<TimePoint, Task> tasks;
};

}  // namespace quarlo::phone

#endif
