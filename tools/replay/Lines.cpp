#include "Lines.h"

#include <zlib.h>

#include <cstdio>
#include <nlohmann/json.hpp>

namespace quarlo::replay {
namespace {

using Json = nlohmann::json;

std::string hexOf(const std::string& bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string result;
    for (const char each : bytes) {
        const auto byte = static_cast<unsigned char>(each);
        result += digits[byte / 16];
        result += digits[byte % 16];
    }
    return result;
}

}  // namespace

// The phone's texts may be no UTF-8.
std::string jsonOf(const char* text) {
    if (text == nullptr) return "null";
    try {
        return Json(text).dump();
    } catch (const Json::type_error&) {
        return R"({"hex": ")" + hexOf(text) + "\"}";
    }
}

std::string jsonOf(double value) {
    return Json(value).dump();
}

std::string jsonOfName(const std::string& name) {
    return Json(name).dump();
}

std::string crcOf(const void* bytes, std::size_t size) {
    const auto* begin = static_cast<const Bytef*>(bytes);
    const uLong sum =
        size == 0 ? crc32_z(0, nullptr, 0) : crc32_z(crc32_z(0, nullptr, 0), begin, size);
    char text[16];
    std::snprintf(text, sizeof text, "\"%08lx\"", sum);
    return text;
}

std::string jsonOfBytes(const void* bytes, std::size_t size) {
    if (bytes == nullptr) return "null";
    return R"({"size": )" + std::to_string(size) + R"(, "crc32": )" + crcOf(bytes, size) + "}";
}

}  // namespace quarlo::replay
