/* Wire bytes written by hand: the tests' own encoding, independent of the library's. */
#ifndef QUARLO_TESTS_BYTES_H
#define QUARLO_TESTS_BYTES_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace quarlo::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

template <class T>
Bytes little(T value) {
    Bytes bytes;
    for (unsigned i = 0; i < sizeof(T); ++i) {
        bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> (8 * i)));
    }
    return bytes;
}
inline Bytes u8(unsigned value) {
    return little(static_cast<std::uint8_t>(value));
}
inline Bytes u16(unsigned value) {
    return little(static_cast<std::uint16_t>(value));
}
inline Bytes u32(std::uint64_t value) {
    return little(static_cast<std::uint32_t>(value));
}

/** A wire string: encoding, 16-bit length, bytes. */
inline Bytes text(const std::string& content, unsigned encoding = 1) {
    return u8(encoding) + u16(static_cast<unsigned>(content.size())) +
           Bytes(content.begin(), content.end());
}

/** A packet: type, flags 0, payload size, payload. */
inline Bytes packet(unsigned type, const Bytes& payload = {}) {
    return u8(type) + u32(0) + u32(payload.size()) + payload;
}

inline Bytes part(const Bytes& whole, std::size_t from, std::size_t to) {
    return {whole.begin() + static_cast<long>(from), whole.begin() + static_cast<long>(to)};
}

/** Bytes as upper-case hexadecimal pairs, for readable failures. */
inline std::string hex(const Bytes& bytes) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string result;
    for (const std::uint8_t byte : bytes) {
        if (!result.empty()) result += ' ';
        result += digits[byte >> 4];
        result += digits[byte & 15];
    }
    return result;
}

}  // namespace quarlo::test

#endif
