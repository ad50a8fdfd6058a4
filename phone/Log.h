/**
 * @file
 * What the program says on stderr while it works. One thread.
 */
#ifndef QUARLO_PHONE_LOG_H
#define QUARLO_PHONE_LOG_H

#include <chrono>
#include <cstdio>
#include <string>

namespace quarlo::phone {

enum class LogLevel { Quiet, Normal, Verbose };

class Log {
  public:
    explicit Log(LogLevel level) : level_(level) {}

    bool isVerbose() const { return level_ == LogLevel::Verbose; }
    void note(const std::string& text) const {
        if (level_ != LogLevel::Quiet) print(text);
    }
    void detail(const std::string& text) const {
        if (isVerbose()) print(text);
    }

  private:
    void print(const std::string& text) const {
        const std::chrono::duration<double> age = std::chrono::steady_clock::now() - start_;
        std::fprintf(stderr, "%9.3f %s\n", age.count(), text.c_str());
    }

    LogLevel level_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace quarlo::phone

#endif
