/* What a phone says in a whole session, as packets by hand. */
#ifndef QUARLO_TESTS_RECORDING_H
#define QUARLO_TESTS_RECORDING_H

#include <string>
#include <vector>

#include "Host.h"

namespace quarlo::test {

/** The phone's half of the handshake, one step each. */
inline std::vector<Bytes> handshakePackets() {
    return {packet(2, u8(1)), packet(12, u8(1)), Host::serverInit(), packet(18, u8(1))};
}

inline Bytes rectangle(unsigned width, unsigned height, unsigned compression, unsigned percentage,
                       const Bytes& data) {
    return u16(2) + u16(3) + u16(width) + u16(height) + u8(3) + u8(2) + u32(compression) + u8(4) +
           u8(percentage) + u8(percentage) + u32(data.size()) + data;
}

inline Bytes app(const std::string& url) {
    return text(url) + text("App") + u32(7) + text("Maker") + text("") + u8(2) + u32(1) + u32(2) +
           u8(3) + u8(1) + Bytes{'e', 'n', 'g'};
}

/** What the phone says in RUN: every packet, in an order in which each has its effect. */
inline std::vector<Bytes> phonePackets() {
    const Bytes pixels(64, 0x20);
    return {packet(128, u32(1)),
            packet(128, u32(2)),
            packet(26, u8(2) + rectangle(4, 4, 4, 100, pixels) + rectangle(4, 4, 4, 50, pixels)),
            packet(22, u8(1)),
            packet(24, u8(0)),
            packet(28, u8(1)),
            packet(36, u8(1) + u8(1)),
            packet(40, u8(1)),
            packet(42, u8(1)),
            packet(50, text("Ada") + text("+49 1")),
            packet(52, text("Home") + Bytes(18) + text("DE") + text("") + text("1") + text("City") +
                           text("Street") + text("") + text("2") + u8(3)),
            packet(54, u8(2) + u32(5) + u32(6)),
            packet(56, u32(6)),
            packet(58, u32(1) + u8(1) + u8(3) + u16(0)),
            packet(62, u8(0)),
            packet(64),
            packet(68, u8(1) + u16(1) + u16(8) + text("phone")),
            packet(68, u8(2) + u16(4) + u16(4) + u32(9)),
            packet(68, u8(5) + u16(1) + u16(1) + u8(10)),
            packet(68, u8(4) + u16(1) + u16(7) + u32(3) + u8(2) + u16(7)),
            packet(68, u8(3) + u16(0x1001) + u16(3) + Bytes{1, 2, 3}),
            packet(68, u8(3) + u16(0x2001) + u16(0)),
            packet(68, u8(3) + u16(0x3001) + u16(3) + Bytes{1, 2, 3}),
            packet(68, u8(3) + u16(0x4001) + u16(0)),
            packet(70, u32(2) + app("a://1") + app("a://2"))};
}

/** What completes them: all states, a raw block that reaches the host, and answers about an app. */
inline std::vector<Bytes> furtherPackets() {
    std::vector<Bytes> packets;
    for (unsigned type = 1; type <= 5; ++type) packets.push_back(packet(36, u8(type) + u8(1)));
    packets.push_back(packet(68, u8(3) + u16(0x8001) + u16(2) + Bytes{1, 2}));
    packets.push_back(packet(72, text("a://1") + u32(7) + u32(4) + u32(4) + Bytes(4)));
    packets.push_back(packet(74, text("a://1") + u8(2)));
    return packets;
}

/** All of them. */
inline std::vector<Bytes> wholeSession() {
    std::vector<Bytes> packets = phonePackets();
    for (const Bytes& packet : furtherPackets()) packets.push_back(packet);
    return packets;
}

}  // namespace quarlo::test

#endif
