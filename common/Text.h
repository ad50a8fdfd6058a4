/*
 * Texts for people. Pure functions.
 */
#ifndef COMMON_TEXT_H
#define COMMON_TEXT_H

#include <string>
#include <string_view>

namespace quarlo {
inline namespace common {

/**
 * The text without control characters, which could take over a terminal, and without a last
 * newline.
 * @param most bytes; what is longer is cut and ends with "..."
 */
std::string printable(std::string_view text, std::size_t most = std::string_view::npos);

/** printf into a string. */
[[gnu::format(printf, 1, 2)]] std::string format(const char* pattern, ...);

}  // namespace common
}  // namespace quarlo

#endif
