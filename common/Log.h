/*
 * A program's log: one line per event, with the seconds since the program began. Any thread may
 * write; a lock keeps lines whole.
 */
#ifndef COMMON_LOG_H
#define COMMON_LOG_H

#include <chrono>
#include <cstdio>
#include <mutex>
#include <string_view>

#include "Text.h"

namespace quarlo {
inline namespace common {

enum class LogLevel { Quiet, Normal, Verbose };

class Log {
  public:
    explicit Log(LogLevel wanted, std::FILE* stream = stdout) : level(wanted), out(stream) {}

    /** @param kind a few letters that say where the line comes from; the text may be the other
     * side's */
    void line(std::string_view kind, std::string_view text) const;
    /** Is said only when everything is wanted. */
    void detail(std::string_view kind, std::string_view text) const;
    bool isVerbose() const { return level == LogLevel::Verbose; }

    double seconds() const;

  private:
    const LogLevel level;
    std::FILE* const out;
    const std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
    mutable std::mutex lock;
};

}  // namespace common
}  // namespace quarlo

#endif
