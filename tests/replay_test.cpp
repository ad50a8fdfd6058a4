// quarlo-replay: it gives the host what the live session gave, the same at every run, and says what
// is wrong with a capture.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <regex>

#include "Callbacks.h"
#include "Captures.h"
#include "Host.h"
#include "Rig.h"
#include "Wire.h"

namespace quarlo::test {
namespace {

constexpr bool toPhone = true;
constexpr bool fromPhone = false;

struct Played {
    std::string output;
    int status;
};

Played play(const std::string& file, const std::string& options = "") {
    const std::string command = QUARLO_REPLAY " " + file + " " + options + " 2>&1; echo $?";
    Played played{};
    for (const std::vector<std::string>& line : linesOf(command, '\n')) {
        played.output += line.empty() ? "" : line[0] + "\n";
    }
    const std::size_t last = played.output.rfind('\n', played.output.size() - 2);
    const std::size_t status = last == std::string::npos ? 0 : last + 1;
    played.status = std::stoi(played.output.substr(status));
    played.output.erase(status);
    return played;
}

class File {
  public:
    explicit File(const Bytes& bytes = {}) {
        const int descriptor = mkstemp(path.data());
        EXPECT_TRUE(writeFully(descriptor, bytes));
        close(descriptor);
    }
    ~File() { unlink(path.c_str()); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    std::string path = "/tmp/quarlo-replay-XXXXXX";
};

/** What the host of a live session gets, as the program prints it. */
class Live : public replay::Listener {
  public:
    void heard(const std::string& event, const replay::Line& arguments) override {
        const std::string more = arguments.whole();
        output += "\"event\": \"" + event + "\"" + (more == "{}" ? "" : ", " + more.substr(1));
        if (more == "{}") output += "}";
        output += "\n";
        if (event == "Protocol" && more.find("RUN") != std::string::npos) isRunning = true;
        if (event == "Protocol" && more.find("STOP") != std::string::npos) isStopped = true;
    }
    std::string output;
    std::atomic<bool> isRunning{false}, isStopped{false};
};

TEST(Replay, GivesTheHostWhatTheLiveSessionGaveAndAlwaysTheSame) {
    const File file;
    quarloCapture* capture = quarloCapture_Open(file.path.c_str(), nullptr);
    ASSERT_NE(capture, nullptr);
    Live live;
    quarlo_Init();
    {
        Wire wire(Kind::Pair);
        quarloLink_SetCapture(wire.link, capture);
        void* instance = quarlo_CreateInstance(wire.link, "live \"one\"");
        quarlo_SetFrameSize(instance, 320, 200, 30, 20);
        quarlo_SetClientCapabilities(instance, eCLIENTCAPABILITIES_All, 1);
        quarlo_SetInitialisationTimeout(instance, 0);
        quarlo_SetTraceOutput(instance, [](void*, eTraceClass, char*) {});
        quarloLink_Attach(wire.link, instance, static_cast<replay::Listener*>(&live));
        replay::setCallbacks(instance, live);
        quarlo_StartMainThread(instance);
        // As in a real session, what answers follows what it answers.
        ASSERT_TRUE(Phone::shakeHands(wire.farInput));
        Phone::nextPacket(wire.farInput);
        quarlo_SetFrameSize(instance, 160, 100, 15, 10);
        EXPECT_EQ(Phone::nextPacket(wire.farInput)[0], 27);
        Bytes all = packet(52, text("caf\xE9", 2) + little(std::int64_t{-48137154}) + Bytes{0xFA} +
                                   little(std::int64_t{11}) + Bytes{0} + text("Bayern") +
                                   Bytes(18, 0) + u8(3));
        for (const PacketCase& each : packetCases()) {
            const bool isFirst = each.whole.bytes[0] == 12 || each.whole.bytes[0] == 2;
            if (!isFirst) all = all + each.whole.bytes;
        }
        // Those of the head unit end the session.
        Bytes known;
        quarloFraming framing = QUARLO_FRAMING_BEGIN;
        const std::string phones =
            "\x0E\x12\x16\x18\x1A\x1C\x24\x28\x2A\x32\x34\x36\x38\x3A\x3E\x40\x44\x46\x48\x4A\x80";
        for (std::size_t at = 0, taken = 0; at < all.size(); at += taken) {
            taken = quarloFraming_Take(&framing, &all[at], all.size() - at);
            if (phones.find(static_cast<char>(framing.type)) == std::string::npos) continue;
            known.insert(known.end(), all.begin() + static_cast<long>(at),
                         all.begin() + static_cast<long>(at + taken));
        }
        EXPECT_TRUE(writeFully(wire.farOutput, known + packet(26, u8(0))));
        wire.closeFar();
        while (!live.isStopped) std::this_thread::yield();
        quarlo_DeleteInstance(instance);
    }
    EXPECT_EQ(quarloCapture_Close(capture, nullptr), eRETURN_OKAY);
    quarlo_Shutdown();
    for (const char* wanted : {"NavigateTo", "CustomData", "FrameUpdateEnd",
                               "{\"hex\": \"636166e9\"}", "\"longitude\": 11.0"}) {
        EXPECT_NE(live.output.find(wanted), std::string::npos) << wanted << live.output;
    }
    const Played first = play(file.path);
    EXPECT_EQ(first.status, 0);
    std::string events = std::regex_replace(
        first.output, std::regex(R"(\{"connection": 0, "packet": \d+, "time": \d+\.\d{6}, )"), "");
    events = std::regex_replace(events, std::regex(R"x("event": "(AppList|End)".*\n)x"), "");
    EXPECT_EQ(events, live.output);
    EXPECT_EQ(play(file.path, "--pace 1000").output, first.output);
    const Played compared = play(file.path, "--compare");
    EXPECT_EQ(compared.status, 0) << compared.output;
    EXPECT_EQ(std::count(compared.output.begin(), compared.output.end(), '\n'), 1);
}

struct Step {
    bool isToPhone;
    std::uint64_t sequence;
    Bytes data;
    unsigned port = 50000;
};

TEST(Replay, SaysHowFarItCame) {
    // Each step of the handshake answers one of the head unit's.
    const Bytes opening[] = {packet(2, u8(1)), packet(12, u8(1)) + Host::serverInit(),
                             packet(18, u8(1))};
    const Bytes update = packet(26, u8(0) + Bytes(2000, 1));
    const Bytes whole = update + packet(36, u8(5) + u8(1));
    const std::uint64_t size = whole.size();
    const std::string end = R"("event": "End", "reason": )";
    struct Case {
        bool isOpened;
        std::vector<Step> steps;
        int status;
        std::vector<std::string> output;
        std::string options = "";
        std::size_t cut = 0;
    };
    const Case cases[] = {
        {true,
         {{fromPhone, 0, whole}},
         0,
         {R"("packet": 4, "time": 0.003000, "event": "FrameUpdateEnd")",
          end + R"("capture ended", "packets": 6)"}},
        {true,
         {{fromPhone, 0, part(whole, 0, 300)},
          {fromPhone, 900, part(whole, 900, size)},
          {fromPhone, 300, part(whole, 300, 900)}},
         0,
         {R"("packet": 5, "time": 0.004000, "event": "PTTAvailable")"}},
        {true,
         {{fromPhone, 0, part(whole, 0, 300)}, {fromPhone, 100, part(whole, 100, size)}},
         0,
         {R"("PTTAvailable")"}},
        {true,
         {{fromPhone, 0, part(whole, 0, 300)}, {fromPhone, 310, part(whole, 310, size)}},
         1,
         {R"("RUN")", end + R"("hole", "hole": 10, "packets": 4)", "the capture lacks 10 bytes"}},
        {true,
         {{fromPhone, 0, part(whole, 0, size - 1)}},
         1,
         {R"("FrameUpdateEnd")", end + R"("capture ends inside a packet", "missing": 1)"}},
        {true,
         {{fromPhone, 0, whole}, {fromPhone, size, update}},
         1,
         {R"("PTTAvailable")", end + R"("capture ended")", "truncated"},
         "",
         5},
        {true,
         {{fromPhone, 0, packet(200) + update}},
         0,
         {R"("Error", "code": "MESSAGE_PROCESSING_FAILED")", end + R"("library stopped")"}},
        {true,
         {{fromPhone, 0, u8(26) + u32(0) + u32(0xFFFFFFFF) + Bytes(60000, 0)},
          {fromPhone, 60009, Bytes(60000, 0)}},
         0,
         {end + R"("library stopped")"},
         "--size 10x10"},
        {false,
         {{fromPhone, 0, packet(2, u8(0))}, {fromPhone, 10, update}},
         0,
         {R"("Protocol", "state": "STOP")", end + R"("library stopped")"}},
        {false, {{toPhone, 0, packet(1, Bytes(6, 0))}}, 2, {"nothing of the phone's to play"}},
        {false, {{fromPhone, 0, update + whole}}, 2, {"frame 1 has a packet FramebufferUpdate"}},
        {true,
         {{fromPhone, 0, opening[0], 50001}, {fromPhone, 0, whole}},
         0,
         {R"({"connection": 1, "packet": 4)"},
         "--connection 1"},
        {true, {{fromPhone, 0, whole}}, 2, {"there is no connection 1"}, "--connection 1"},
        {true, {{fromPhone, 0, whole}}, 2, {"no connection with port 80"}, "--port 80"},
        {true,
         {{fromPhone, 0, whole}},
         0,
         {R"("Sent", "type": "ClientProtocolVersion", "crc32": ")"},
         "--sent"},
        {true,
         {{toPhone, 0, packet(1, Bytes(6, 9))}, {fromPhone, 0, whole}},
         1,
         {R"("Difference", "answer": 0, "captured": {"type": "ClientProtocolVersion")",
          "answers otherwise"},
         "--compare"},
    };
    for (const Case& each : cases) {
        for (const CaptureFile::Link link :
             {CaptureFile::RawIp, CaptureFile::Ethernet, CaptureFile::Cooked}) {
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
            for (const std::string& wanted : each.output) {
                EXPECT_NE(played.output.find(wanted), std::string::npos) << wanted << "\n"
                                                                         << played.output;
            }
            if (each.options == "--connection 1" && each.status == 0) {
                EXPECT_EQ(played.output.find(R"({"connection": 0)"), std::string::npos);
            }
        }
    }
    const File text(Bytes(100, 'a'));
    EXPECT_EQ(play(text.path).status, 2);
    EXPECT_EQ(play("/nowhere").output, "quarlo-replay: /nowhere: No such file or directory\n");
}

}  // namespace
}  // namespace quarlo::test
