#include "Log.h"

namespace quarlo {
inline namespace common {

double Log::seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void Log::line(std::string_view kind, std::string_view text) const {
    if (level == LogLevel::Quiet) return;
    const std::string shown = printable(text);
    const std::lock_guard guard(lock);
    std::fprintf(out, "%9.3f %-5.*s %s\n", seconds(), static_cast<int>(kind.size()), kind.data(),
                 shown.c_str());
    std::fflush(out);
}

void Log::detail(std::string_view kind, std::string_view text) const {
    if (isVerbose()) line(kind, text);
}

}  // namespace common
}  // namespace quarlo
