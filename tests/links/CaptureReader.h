/*
 * Reads captures back, and believes nothing: blocks, checksums, sequence numbers and
 * acknowledgements are right, and time never goes back.
 */
#ifndef QUARLO_TESTS_LINKS_CAPTUREREADER_H
#define QUARLO_TESTS_LINKS_CAPTUREREADER_H

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "Bytes.h"
#include "QUARLO-Core-Types.h"

namespace quarlo::test {

enum Side { FromPhone = 0, ToPhone = 1 };
constexpr unsigned fin = 1, syn = 2, rst = 4, ack = 16;

struct Connection {
    Bytes streams[2];
    std::vector<std::string> comments;
    std::string closing;  // of each segment without data behind the opening: side and flags
};

inline unsigned net(const UInt8* at, int size) {
    unsigned value = 0;
    for (int i = 0; i < size; ++i) value = value << 8 | at[i];
    return value;
}

template <class T>
T host(const UInt8* at) {
    T value;
    memcpy(&value, at, sizeof value);
    return value;
}

inline unsigned checksum(Bytes bytes) {
    unsigned long sum = 0;
    bytes.resize((bytes.size() + 1) / 2 * 2);
    for (std::size_t at = 0; at < bytes.size(); at += 2) sum += net(&bytes[at], 2);
    while (sum > 0xFFFF) sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<unsigned>(sum);
}

/** Reads a capture; whatever is not as it should be is a failure of the test. */
class Reader {
  public:
    explicit Reader(const Bytes& bytes, bool isEcho = false) : isEchoed(isEcho) {
        read(bytes);
        EXPECT_GE(blocks, 2U);
    }
    static Bytes contents(const std::string& path) {
        std::ifstream file(path, std::ios::binary | std::ios::ate);
        Bytes bytes(static_cast<std::size_t>(file.tellg()));
        file.seekg(0).read(reinterpret_cast<char*>(bytes.data()),
                           static_cast<std::streamsize>(bytes.size()));
        return bytes;
    }
    std::map<unsigned, Connection> connections;  // by the head unit's port

  private:
    struct Numbers {
        UInt32 next[2];
        int segments = 0;
    };

    void read(const Bytes& bytes) {
        for (std::size_t at = 0; at < bytes.size();) {
            ASSERT_GE(bytes.size() - at, 12U) << "cut at " << at;
            const auto size = host<UInt32>(&bytes[at + 4]);
            ASSERT_TRUE(size % 4 == 0 && size >= 12 && size <= bytes.size() - at) << at;
            EXPECT_EQ(host<UInt32>(&bytes[at + size - 4]), size);
            block(host<UInt32>(&bytes[at]), &bytes[at + 8], size - 12);
            at += size;
        }
    }
    void block(UInt32 type, const UInt8* body, std::size_t size) {
        if (blocks == 0) {
            EXPECT_EQ(type, 0x0A0D0D0AU);
            EXPECT_EQ(host<UInt32>(body), 0x1A2B3C4DU);
            EXPECT_EQ(host<UInt16>(body + 16), 4) << "the application";
            const std::string name(body + 20, body + 20 + host<UInt16>(body + 18));
            EXPECT_EQ(name.rfind("quarlo 1.", 0), 0U) << name;
        } else if (blocks == 1) {
            EXPECT_EQ(type, 1U);
            EXPECT_EQ(host<UInt16>(body), 101) << "raw IP";
            EXPECT_EQ(host<UInt32>(body + 4), 0U);
            EXPECT_EQ(host<UInt16>(body + 8) << 16 | host<UInt16>(body + 10), 9 << 16 | 1);
            EXPECT_EQ(body[12], 9) << "nanoseconds";
        } else {
            ASSERT_EQ(type, 6U);
            packet(body, size);
        }
        ++blocks;
    }
    void packet(const UInt8* body, std::size_t size) {
        const std::uint64_t time =
            std::uint64_t{host<UInt32>(body + 4)} << 32 | host<UInt32>(body + 8);
        EXPECT_GE(time, lastTime);
        lastTime = time;
        const auto length = host<UInt32>(body + 12);
        EXPECT_EQ(host<UInt32>(body + 16), length);
        ASSERT_LE(20 + length, size);
        const Bytes ip(body + 20, body + 20 + length);
        ASSERT_GE(ip.size(), 40U);
        EXPECT_EQ(net(&ip[2], 2), ip.size());
        EXPECT_EQ(checksum(Bytes(ip.begin(), ip.begin() + 20)), 0xFFFFU);
        const Bytes pseudo =
            Bytes(ip.begin() + 12, ip.begin() + 20) +
            Bytes{0, 6, static_cast<UInt8>((length - 20) >> 8), static_cast<UInt8>(length - 20)};
        EXPECT_EQ(checksum(pseudo + Bytes(ip.begin() + 20, ip.end())), 0xFFFFU);
        const Side side = net(&ip[12], 4) == 0xC0000201 ? ToPhone : FromPhone;
        const unsigned port = net(&ip[side == ToPhone ? 20 : 22], 2);
        EXPECT_EQ(net(&ip[side == ToPhone ? 22 : 20], 2), 5910U);
        segment(connections[port], numbers[port], side, ip);
        comments(connections[port], body + 20 + (length + 3) / 4 * 4, body + size);
    }
    void segment(Connection& connection, Numbers& known, Side side, const Bytes& ip) {
        const UInt32 sequence = net(&ip[24], 4);
        const UInt32 acknowledged = net(&ip[28], 4);
        const std::size_t head = 20 + (ip[32] >> 4) * 4U;
        const unsigned flags = ip[33] & (fin | syn | rst | ack);
        EXPECT_EQ(net(&ip[34], 2), 0xFFFFU);
        if (known.segments < 2) {
            EXPECT_EQ(side, known.segments == 0 ? ToPhone : FromPhone);
            EXPECT_EQ(flags, known.segments == 0 ? syn : syn | ack);
            EXPECT_EQ(Bytes(ip.begin() + 40, ip.end()), (Bytes{2, 4, 0x80, 0, 3, 3, 14, 1}));
            known.next[side] = sequence;
        } else if (known.segments > 2 && ip.size() == head) {
            connection.closing += std::to_string(side) + ":" + std::to_string(flags) + " ";
        }
        EXPECT_EQ(sequence, known.next[side]);
        if (known.segments > 0) {
            EXPECT_EQ(acknowledged, known.next[1 - side]);
        }
        EXPECT_EQ((flags & ack) != 0, known.segments > 0);
        EXPECT_LE(ip.size() - head, 32768U);
        Bytes& stream = connection.streams[side];
        stream.insert(stream.end(), ip.begin() + static_cast<long>(head), ip.end());
        known.next[side] += static_cast<UInt32>(ip.size() - head) + (flags & (syn | fin) ? 1 : 0);
        ++known.segments;
        // What is echoed never stands before what it echoes.
        if (isEchoed) {
            EXPECT_LE(connection.streams[FromPhone].size(), connection.streams[ToPhone].size());
        }
    }
    static void comments(Connection& connection, const UInt8* at, const UInt8* end) {
        while (end - at >= 4 && host<UInt16>(at) == 1) {
            const auto size = host<UInt16>(at + 2);
            ASSERT_LE(4 + size, end - at);
            connection.comments.emplace_back(at + 4, at + 4 + size);
            at += 4 + (size + 3) / 4 * 4;
        }
        EXPECT_TRUE(at == end || host<UInt32>(at) == 0);
    }
    std::map<unsigned, Numbers> numbers;
    unsigned blocks = 0;
    std::uint64_t lastTime = 0;
    const bool isEchoed;
};

}  // namespace quarlo::test

#endif
