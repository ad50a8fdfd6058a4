/**
 * @file
 * What the process holds at this moment, read from /proc: for whoever looks for growth.
 */
#ifndef QUARLO_SOAK_LEVELS_H
#define QUARLO_SOAK_LEVELS_H

#include <malloc.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace quarlo::soak {

struct Levels {
    std::size_t resident = 0;   ///< bytes in memory
    std::size_t allocated = 0;  ///< bytes that malloc has handed out
    std::size_t threads = 0;
    std::size_t descriptors = 0;
};

inline std::size_t entriesOf(const char* folder) {
    std::error_code ignored;
    const std::filesystem::directory_iterator first(folder, ignored);
    return static_cast<std::size_t>(std::distance(first, {}));
}

inline std::size_t residentBytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        std::size_t kilobytes = 0;
        if (word == "VmRSS:" && status >> kilobytes) return kilobytes * 1024;
    }
    return 0;
}

inline Levels levels() {
    const struct mallinfo2 heap = mallinfo2();
    // One descriptor is the one that reads the folder.
    return {residentBytes(), heap.uordblks + heap.hblkhd, entriesOf("/proc/self/task"),
            entriesOf("/proc/self/fd") - 1};
}

/** A sanitizer keeps freed memory back: sizes say nothing then. */
constexpr bool memoryIsMeasurable() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
    return false;
#else
    return true;
#endif
#else
    return true;
#endif
}

/** Under an emulator its own memory counts too; the presets say when tests run there. */
inline bool residentIsMeasurable() {
    return memoryIsMeasurable() && std::getenv("QUARLO_EMULATED") == nullptr;
}

}  // namespace quarlo::soak

#endif
