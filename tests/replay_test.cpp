// quarlo-replay: what it makes of captures by hand, and what it says is wrong with them.
#include <gtest/gtest.h>
#include <unistd.h>

#include "Captures.h"
#include "Host.h"

namespace quarlo::test {
namespace {

constexpr bool fromPhone = false;

struct Played {
    std::string output;
    int status;
};

Played play(const std::string& file, const std::string& options = "") {
    Lines lines = linesOf(QUARLO_REPLAY " " + file + " " + options + " 2>&1; echo $?", '\n');
    Played played{"", std::stoi(lines.back().at(0))};
    lines.pop_back();
    for (const std::vector<std::string>& line : lines) {
        if (!line.empty()) played.output += line[0] + "\n";
    }
    return played;
}

class File {
  public:
    explicit File(const Bytes& bytes) {
        const int descriptor = mkstemp(path.data());
        EXPECT_EQ(write(descriptor, bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
        close(descriptor);
    }
    ~File() { unlink(path.c_str()); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    std::string path = "/tmp/quarlo-replay-XXXXXX";
};

struct Step {
    bool isToPhone;
    std::uint64_t sequence;
    Bytes data;
    unsigned port;
};
using Steps = std::vector<Step>;

Steps phone(const Bytes& data, std::uint64_t sequence = 0, unsigned port = 50000) {
    return {{false, sequence, data, port}};
}

Steps unit(const Bytes& data) {
    return {{true, 0, data, 50000}};
}

using test::operator+;
Steps operator+(Steps steps, const Steps& more) {
    steps.insert(steps.end(), more.begin(), more.end());
    return steps;
}

TEST(Replay, SaysHowFarItCame) {
    // Each step of the handshake answers one of the head unit's.
    const Bytes opening[] = {packet(2, u8(1)), packet(12, u8(1)) + Host::serverInit(),
                             packet(18, u8(1))};
    const Bytes update = packet(26, u8(0) + Bytes(2000, 1));
    const Bytes whole = update + packet(36, u8(5) + u8(1));
    const std::uint64_t size = whole.size();
    const std::string end = R"("event": "End", "reason": )";
    const Bytes place =
        packet(52, text("caf\xE9", 2) + little(std::int64_t{-48137154}) + Bytes{0xFA} +
                       little(std::int64_t{11}) + Bytes{0} + text("Bayern") + Bytes(18, 0) + u8(3));
    struct Case {
        Steps steps;
        std::string output;  // pieces of it, with "..." between them
        int status = 0;
        std::string options = "";
        bool isOpened = true;
        std::size_t cut = 0;
    };
    const Case cases[] = {
        {phone(whole), R"("packet": 4, "time": 0.003000, "event": "FrameUpdateEnd"...)" + end +
                           R"("capture ended", "packets": 6)"},
        {phone(part(whole, 0, 300)) + phone(part(whole, 900, size), 900) +
             phone(part(whole, 300, 900), 300),
         R"("packet": 5, "time": 0.004000, "event": "PTTAvailable")"},
        {phone(part(whole, 0, 300)) + phone(part(whole, 100, size), 100), R"("PTTAvailable")"},
        {phone(part(whole, 0, 300)) + phone(part(whole, 310, size), 310),
         R"("RUN"...)" + end + R"("hole", "hole": 10, "packets": 4...the capture lacks 10 bytes)",
         1},
        {phone(part(whole, 0, size - 1)),
         R"("FrameUpdateEnd"...)" + end + R"("capture ends inside a packet", "missing": 1)", 1},
        {phone(whole) + phone(update, size),
         R"("PTTAvailable"...)" + end + R"("capture ended"...truncated)", 1, "", true, 5},
        {phone(packet(200) + update),
         R"("Error", "code": "MESSAGE_PROCESSING_FAILED"...)" + end + R"("library stopped")"},
        {phone(u8(26) + u32(0) + u32(0xFFFFFFFF) + Bytes(60000, 0)) + phone(Bytes(60000, 0), 60009),
         end + R"("library stopped")", 0, "--size 10x10"},
        {phone(packet(2, u8(0))) + phone(update, 10),
         R"("Protocol", "state": "STOP"...)" + end + R"("library stopped")", 0, "", false},
        {unit(packet(1, Bytes(6, 0))), "nothing of the phone's to play", 2, "", false},
        {phone(update + whole), "frame 1 has a packet FramebufferUpdate", 2, "", false},
        {phone(opening[0], 0, 50001) + phone(whole),
         R"({"connection": 1, "packet": 4..."packets": 1,)", 0, "--connection 1"},
        {phone(place), R"({"hex": "636166e9"}..."longitude": 11.0, "latitude": -48.1371)"},
        {phone(whole), "there is no connection 1", 2, "--connection 1"},
        {phone(whole), "no connection with port 80", 2, "--port 80"},
        {phone(whole), R"("Sent", "type": "ClientProtocolVersion", "crc32": ")", 0, "--sent"},
        {unit(packet(1, Bytes(6, 9))) + phone(whole),
         R"("Difference", "answer": 0, "captured": {"type": "ClientProtocolVersion"...otherwise)",
         1, "--compare"},
    };
    const CaptureFile::Link links[] = {CaptureFile::RawIp, CaptureFile::Ethernet,
                                       CaptureFile::Cooked};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.output);
        const CaptureFile::Link link = links[(&each - cases) % 3];
        CaptureFile capture(262144, link, link == CaptureFile::Ethernet);
        std::uint64_t sequence = 0xFFFFFF00U;
        for (const Bytes& step : opening) {
            if (!each.isOpened) break;
            capture.segment(50000, fromPhone, sequence, step);
            sequence += step.size();
        }
        for (const Step& step : each.steps) {
            capture.segment(step.port, step.isToPhone, step.sequence + sequence, step.data);
        }
        capture.bytes.resize(capture.bytes.size() - each.cut);
        const File file(capture.bytes);
        const Played played = play(file.path, each.options);
        EXPECT_EQ(played.status, each.status) << played.output;
        std::string rest = each.output;
        for (std::size_t at = 0; !rest.empty();) {
            const std::string piece = rest.substr(0, rest.find("..."));
            rest.erase(0, piece.size() + 3);
            at = played.output.find(piece, at);
            ASSERT_NE(at, std::string::npos) << piece << "\n" << played.output;
        }
    }
    const File text(Bytes(100, 'a'));
    EXPECT_EQ(play(text.path).status, 2);
    EXPECT_EQ(play("/nowhere").output, "quarlo-replay: /nowhere: No such file or directory\n");
}

}  // namespace
}  // namespace quarlo::test
