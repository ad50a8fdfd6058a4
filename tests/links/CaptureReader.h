/* What tshark makes of captures of links, which includes that there is nothing wrong with them. */
#ifndef QUARLO_TESTS_LINKS_CAPTUREREADER_H
#define QUARLO_TESTS_LINKS_CAPTUREREADER_H

#include <gtest/gtest.h>

#include <ctime>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Captures.h"

namespace quarlo::test {

enum Side { FromPhone = 0, ToPhone = 1 };

struct Connection {
    Bytes streams[2];
    std::vector<std::string> comments;
    std::string closing;  // of each segment without data behind the opening: side and flags
    unsigned segments = 0;
};

inline void take(Connection& into, const std::vector<std::string>& fields) {
    const Side side = fields[0] == "192.0.2.1" ? ToPhone : FromPhone;
    EXPECT_EQ(fields[side == ToPhone ? 2 : 1], "5910");
    const bool isOpening = ++into.segments <= 2;
    EXPECT_EQ(fields[6], isOpening ? "32768" : "") << "the largest segment";
    EXPECT_EQ(fields[7], isOpening ? "14" : "") << "the scale of the window";
    EXPECT_NEAR(std::stod(fields[8]), static_cast<double>(std::time(nullptr)), 600);
    const unsigned long flags = std::stoul(fields[3], nullptr, 16);
    const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    for (std::size_t at = 0; at < fields[4].size(); at += 2) {
        const int byte = digit(fields[4][at]) * 16 + digit(fields[4][at + 1]);
        into.streams[side].push_back(static_cast<std::uint8_t>(byte));
    }
    if (into.segments > 3 && fields[4].empty()) {
        into.closing += std::to_string(side) + ":" + std::to_string(flags) + " ";
    }
    EXPECT_EQ(fields[9] + fields[10], "11") << "the checksums";
    EXPECT_EQ(fields[11], "") << "what TCP finds odd";
    std::istringstream comments(fields[5]);
    for (std::string one; std::getline(comments, one, '|');) into.comments.push_back(one);
}

/** The connections of a capture, by the head unit's ports; an echo stands behind what it echoes. */
inline std::map<unsigned, Connection> readCapture(const std::string& path, bool isEcho) {
    std::map<unsigned, Connection> all;
    std::string command = QUARLO_TSHARK " -r " + path +
                          " -o tcp.check_checksum:TRUE -o ip.check_checksum:TRUE -T fields"
                          " -E 'separator=\037' -E 'aggregator=|'";
    for (const char* field :
         {"ip.src", "tcp.srcport", "tcp.dstport", "tcp.flags", "tcp.payload", "frame.comment",
          "tcp.options.mss_val", "tcp.options.wscale.shift", "frame.time_epoch",
          "ip.checksum.status", "tcp.checksum.status", "tcp.analysis.flags"}) {
        command += std::string(" -e ") + field;
    }
    std::string lastTime;
    for (std::vector<std::string>& fields : linesOf(command + " 2>/dev/null", '\037')) {
        fields.resize(12);
        EXPECT_GE(fields[8], lastTime);
        lastTime = fields[8];
        const std::string& port = fields[fields[0] == "192.0.2.1" ? 1 : 2];
        Connection& connection = all[static_cast<unsigned>(std::stoul(port))];
        take(connection, fields);
        if (!isEcho) continue;
        EXPECT_LE(connection.streams[FromPhone].size(), connection.streams[ToPhone].size());
    }
    return all;
}

}  // namespace quarlo::test

#endif
