#include "Log.h"

#include <cstdarg>
#include <cstdio>

namespace quarlo::headunit {

double Log::seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void Log::line(std::string_view kind, std::string_view text) {
    if (quiet) return;
    const std::string shown = printable(text);
    const std::lock_guard guard(lock);
    std::printf("%9.3f %-5.*s %s\n", seconds(), static_cast<int>(kind.size()), kind.data(),
                shown.c_str());
    std::fflush(stdout);
}

std::string printable(std::string_view text) {
    while (text.ends_with('\n')) text.remove_suffix(1);
    std::string result(text);
    for (char& c : result) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) c = '?';
    }
    return result;
}

std::string format(const char* pattern, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, pattern);
    const int length = std::vsnprintf(text, sizeof text, pattern, arguments);
    va_end(arguments);
    return length < 0 ? std::string() : std::string(text);
}

}  // namespace quarlo::headunit
