/*
 * The session log: one line per event on standard output, with the seconds since the program began.
 * Any thread may write; a lock keeps lines whole.
 */
#ifndef HEADUNIT_LOG_H
#define HEADUNIT_LOG_H

#include <chrono>
#include <mutex>
#include <string>
#include <string_view>

namespace quarlo::headunit {

class Log {
  public:
    explicit Log(bool isQuiet) : quiet(isQuiet) {}

    /** @param kind a few letters that say where the line comes from; the text may be the phone's */
    void line(std::string_view kind, std::string_view text);

    double seconds() const;

  private:
    const bool quiet;
    const std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
    std::mutex lock;
};

/** The text without control characters, which could take over a terminal, and without a last
 * newline. */
std::string printable(std::string_view text);

/** printf into a string. */
[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...);

}  // namespace quarlo::headunit

#endif
