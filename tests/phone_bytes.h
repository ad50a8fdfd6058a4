/* What head units and phones say in the tests of the phone, as bytes by hand. */
#ifndef QUARLO_TESTS_PHONE_BYTES_H
#define QUARLO_TESTS_PHONE_BYTES_H

#include "Bytes.h"

namespace quarlo::phone {

using test::Bytes;
using test::packet;
using test::text;
using test::u16;
using test::u32;
using test::u8;
using test::operator+;

inline Bytes version(unsigned minor = 2) {
    return packet(1, u16(1) + u16(minor) + u16(0));
}

struct Init {
    unsigned width = 80, height = 48, capabilities = 0x3C, format = 3, order = 2, wanted = 0,
             pixel = 4;
    unsigned supported = 7, key = 12, encoding = 1;
};
inline Bytes init(const Init& i = {}) {
    return packet(11, text("unit", i.encoding) + u16(i.width) + u16(i.height) + u16(150) + u16(90) +
                          u32(i.capabilities) + u8(i.format) + u8(i.order) + u32(i.wanted) +
                          u8(i.pixel) + u32(i.supported) + u8(1) + u16(0xFE00) + u8(2) + u8(1) +
                          u8(i.key));
}
inline Bytes custom(unsigned channel, unsigned type, const Bytes& content) {
    return packet(67,
                  u8(channel) + u16(type) + u16(static_cast<unsigned>(content.size())) + content);
}
inline Bytes request(unsigned width = 80, unsigned incremental = 0) {
    return packet(25, u32(0) + u16(width) + u16(48) + u8(incremental));
}
inline Bytes touch(unsigned kind, unsigned finger, unsigned time = 9) {
    return packet(33, u8(1) + u8(kind) + u16(79) + u16(47) + u32(finger) + u32(time));
}
inline Bytes audio(unsigned id, unsigned status, unsigned result = 0) {
    return packet(59, u32(id) + u8(status) + u8(result));
}
inline Bytes icon(const std::string& url, unsigned side = 48, unsigned compression = 0,
                  unsigned pixel = 4) {
    return packet(71,
                  u16(side) + u16(side) + u8(3) + u8(2) + u32(compression) + u8(pixel) + text(url));
}
inline Bytes start(const std::string& url) {
    return packet(73, text(url) + u8(0) + u8(1) + text("key") + text("value"));
}
inline Bytes initDone(unsigned successful = 1) {
    return packet(17, u8(successful));
}
inline Bytes state(unsigned type, unsigned value) {
    return packet(35, u8(type) + u8(value));
}
inline Bytes key(unsigned event, unsigned which) {
    return packet(31, u8(event) + u8(which));
}
inline Bytes position(const std::string& content, unsigned encoding = 1) {
    return packet(37, text(content, encoding));
}
inline Bytes language(const std::string& code) {
    return packet(69, Bytes(code.begin(), code.end()));
}
inline Bytes flag(unsigned type, unsigned value) {
    return packet(type, u8(value));
}
inline Bytes pong(unsigned counter) {
    return packet(129, u32(counter));
}
inline Bytes value(unsigned key, const std::string& json, unsigned encoding = 1) {
    return packet(55, u32(key) + text(json, encoding));
}
inline const std::string sentence = "$GPGGA,1*4B";

}  // namespace quarlo::phone

#endif
