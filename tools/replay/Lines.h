/*
 * Output: one JSON object a line, with its keys in a fixed order.
 */
#ifndef REPLAY_LINES_H
#define REPLAY_LINES_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace quarlo::replay {

/** A value of an object, as JSON text. */
std::string jsonOf(const char* text);
std::string jsonOf(double value);
inline std::string jsonOf(std::uint64_t value) {
    return std::to_string(value);
}
std::string jsonOfName(const std::string& name);
std::string jsonOfBytes(const void* bytes, std::size_t size);
std::string crcOf(const void* bytes, std::size_t size);

/** An object that grows by members; printed by who holds it. */
class Line {
  public:
    void add(const char* key, const std::string& json) {
        text += (text.empty() ? "{\"" : ", \"") + std::string(key) + "\": " + json;
    }
    std::string whole() const { return text.empty() ? "{}" : text + "}"; }

  private:
    std::string text;
};

}  // namespace quarlo::replay

#endif
