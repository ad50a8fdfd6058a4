#include "Text.h"

#include <cstdarg>
#include <cstdio>

namespace quarlo {
inline namespace common {

std::string printable(std::string_view text, std::size_t most) {
    while (text.ends_with('\n')) text.remove_suffix(1);
    std::string result(text.substr(0, most));
    for (char& c : result) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) c = '?';
    }
    return text.size() > most ? result + "..." : result;
}

std::string format(const char* pattern, ...) {
    char text[1024];
    va_list arguments;
    va_start(arguments, pattern);
    const int length = std::vsnprintf(text, sizeof text, pattern, arguments);
    va_end(arguments);
    return length < 0 ? std::string() : std::string(text);
}

}  // namespace common
}  // namespace quarlo
