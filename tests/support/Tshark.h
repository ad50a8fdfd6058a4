/* What tshark makes of captures. */
#ifndef QUARLO_TESTS_TSHARK_H
#define QUARLO_TESTS_TSHARK_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "Captures.h"

namespace quarlo::test {

using Frame = std::map<std::string, std::string>;

/** What tshark prints of a capture, frame by frame; a field that stands there twice has a "|". */
inline std::vector<Frame> dissect(const CaptureFile& capture, std::vector<std::string> fields,
                                  const std::string& options) {
    char name[] = "/tmp/quarlo-dissector-XXXXXX";
    const int descriptor = mkstemp(name);
    EXPECT_EQ(write(descriptor, capture.bytes.data(), capture.bytes.size()),
              static_cast<ssize_t>(capture.bytes.size()));
    close(descriptor);
    fields.insert(fields.begin(), {"_ws.col.Info", "_ws.col.Protocol", "_ws.expert.message"});
    std::string command = QUARLO_TSHARK + options + " -r " + name +
                          " -T fields -E 'separator=\037' -E 'aggregator=|'";
    for (const std::string& field : fields) command += " -e " + field;
    std::vector<Frame> frames;
    for (const std::vector<std::string>& line : linesOf(command + " 2>&1", '\037')) {
        if (line.size() < 2) {
            // What it says of its user is no fault of the dissector.
            EXPECT_EQ(line.at(0).rfind("Running as user", 0), 0U) << line.at(0);
            continue;
        }
        Frame& frame = frames.emplace_back();
        for (std::size_t i = 0; i < fields.size(); ++i) {
            frame[fields[i]] = i < line.size() ? line[i] : "";
        }
        for (const char* fault : {"Lua", "Exception", "infinite loop"}) {
            EXPECT_EQ(frame["_ws.expert.message"].find(fault), std::string::npos)
                << frame["_ws.expert.message"];
        }
    }
    std::remove(name);
    EXPECT_EQ(frames.size(), capture.frames);
    return frames;
}

}  // namespace quarlo::test

#endif
