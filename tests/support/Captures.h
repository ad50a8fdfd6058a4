/* Captures made by hand, and the programs that read them. */
#ifndef QUARLO_TESTS_CAPTURES_H
#define QUARLO_TESTS_CAPTURES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "Bytes.h"

namespace quarlo::test {

/** A classic capture: of raw IP, Ethernet or Linux "cooked" frames, in either byte order. */
class CaptureFile {
  public:
    enum Link : unsigned { Ethernet = 1, RawIp = 101, Cooked = 113 };

    explicit CaptureFile(unsigned snapLength = 262144, Link link = RawIp, bool isBigEndian = false)
        : snap(snapLength), isBig(isBigEndian) {
        bytes = word(0xA1B2C3D4) + (isBig ? Bytes{0, 2, 0, 4} : Bytes{2, 0, 4, 0}) + word(0) +
                word(0) + word(snap) + word(link);
        if (link != RawIp) prefix = Bytes(link == Ethernet ? 12 : 14, 0) + Bytes{8, 0};
    }
    void segment(unsigned port, bool isToPhone, std::uint64_t sequence, const Bytes& data,
                 unsigned phonePort = 5910) {
        const auto big = [](std::uint64_t value, int size) {
            Bytes result;
            while (size-- > 0) result.push_back(static_cast<std::uint8_t>(value >> 8 * size));
            return result;
        };
        const Bytes head = {10, 0, 0, 1, 10, 0, 0, 2};
        const Bytes back = {10, 0, 0, 2, 10, 0, 0, 1};
        const Bytes packet = prefix + big(0x4500, 2) + big(40 + data.size(), 2) +
                             big(0x40004006, 6) + big(0, 2) + (isToPhone ? head : back) +
                             big(isToPhone ? port : phonePort, 2) +
                             big(isToPhone ? phonePort : port, 2) + big(sequence + 1, 4) +
                             big(1, 4) + big(0x5018FFFF, 4) + big(0, 4) + data;
        const std::size_t kept = std::min<std::size_t>(packet.size(), snap);
        const Bytes record = word(1000 + frames / 1000) + word(frames % 1000 * 1000) + word(kept) +
                             word(packet.size());
        bytes.insert(bytes.end(), record.begin(), record.end());
        bytes.insert(bytes.end(), packet.begin(), packet.begin() + static_cast<long>(kept));
        cut += kept < packet.size() ? 1 : 0;
        ++frames;
    }
    unsigned frames = 0;
    unsigned cut = 0;  // of these, how many the capture has not whole
    Bytes bytes;

  private:
    Bytes word(std::uint64_t value) const {
        Bytes result = u32(value);
        if (isBig) std::reverse(result.begin(), result.end());
        return result;
    }
    const unsigned snap;
    const bool isBig;
    Bytes prefix;
};

using Lines = std::vector<std::vector<std::string>>;

/** What a command prints, each line cut at the separator. */
inline Lines linesOf(const std::string& command, char separator) {
    Lines lines;
    std::FILE* output = popen(command.c_str(), "r");
    std::array<char, 131072> buffer;
    while (std::fgets(buffer.data(), static_cast<int>(buffer.size()), output) != nullptr) {
        std::string line(buffer.data());
        if (!line.empty() && line.back() == '\n') line.pop_back();
        std::istringstream words(line);
        lines.emplace_back();
        for (std::string word; std::getline(words, word, separator);) lines.back().push_back(word);
    }
    EXPECT_EQ(pclose(output), 0) << command;
    return lines;
}

}  // namespace quarlo::test

#endif
