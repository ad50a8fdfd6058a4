// quarlo.lua in tshark, on captures made by hand: framing, fields, what is wrong, and answers. Each
// scenario is a connection of its own in one capture, so that tshark runs only a few times.
#include <gtest/gtest.h>

#include <optional>
#include <random>

#include "Tshark.h"
#include "Wire.h"

namespace quarlo::test {
namespace {

const std::string withDissector = " -X lua_script:" QUARLO_DISSECTOR;
constexpr bool toPhone = true;
constexpr bool fromPhone = false;

Bytes ping(unsigned number) {
    return packet(128, u32(number));
}

struct Segment {
    bool isToPhone;
    std::uint64_t sequence;
    Bytes data;
    std::string info;  // as the Info column has it; "-" for TCP's own
};

TEST(Dissector, FindsThePacketsHoweverTheyAreCut) {
    const Bytes large = packet(26, u8(0) + Bytes(3000, 9));
    const Bytes stream = ping(1) + large + ping(2) + ping(3);
    const Bytes overlong = u8(26) + u32(0) + u32(67108865);
    const std::vector<std::vector<Segment>> connections = {
        {{fromPhone, 0, stream, "Ping: 1, FramebufferUpdate, Ping: 2, Ping: 3"}},
        {{fromPhone, 0, part(stream, 0, 13 + 4), "Ping: 1"},
         {fromPhone, 17, part(stream, 17, 1000), "-"},
         {toPhone, 0, packet(129, u32(1)), "PingAcknowledge: 1"},
         {fromPhone, 1000, part(stream, 1000, 3023), "FramebufferUpdate"},
         {fromPhone, 3023, part(stream, 3023, 3024), "-"},
         {fromPhone, 3024, part(stream, 3024, stream.size()), "Ping: 2, Ping: 3"}},
        {{fromPhone, 0, part(stream, 0, 500), "Ping: 1"},
         {fromPhone, 1000, part(stream, 1000, stream.size()), "-"},
         {fromPhone, 500, part(stream, 500, 1000), "FramebufferUpdate, Ping: 2, Ping: 3"}},
        {{fromPhone, 0, part(stream, 0, 500), "Ping: 1"},
         {fromPhone, 0, part(stream, 0, 500), "-"},
         {fromPhone, 500, part(stream, 500, stream.size()), "FramebufferUpdate, Ping: 2, Ping: 3"}},
        // What an overlong packet would bring is not waited for.
        {{fromPhone, 0, ping(1) + overlong + Bytes(100, 1), "Ping: 1"},
         {fromPhone, 122, ping(2), "Ping: 2"},
         {toPhone, 0, packet(129, u32(2)), "PingAcknowledge: 2"}},
        {{fromPhone, 0, packet(200, {1, 2}) + packet(40, u8(1)),
          "Unknown (200), BlockStatus: TRUE"},
         {fromPhone, 21, packet(12, u8(0)), "ServerInitAcknowledge (refused)"}},
    };
    CaptureFile capture;
    std::vector<std::string> expected;
    for (std::size_t i = 0; i < connections.size(); ++i) {
        for (const Segment& each : connections[i]) {
            capture.segment(static_cast<unsigned>(50000 + i), each.isToPhone, each.sequence,
                            each.data);
            expected.push_back(each.info);
        }
    }
    // A connection of another port, which the preferences and "Decode As" know.
    capture.segment(7001, fromPhone, 0, ping(9), 7000);
    struct Run {
        const char* options;
        bool isMoved;
        const char* direction;
    };
    for (const auto& [options, isMoved, direction] :
         {Run{" -d tcp.port==7000,quarlo", false, "1"},
          Run{" -2 -o quarlo.tcp.port:7000", true, "1"},
          Run{" -2 -d tcp.port==7000,quarlo -o quarlo.head_unit_listens:TRUE", false, "0"}}) {
        SCOPED_TRACE(options);
        const std::vector<Frame> frames =
            dissect(capture, {"quarlo.direction"},
                    withDissector + " -o tcp.reassemble_out_of_order:TRUE" + options);
        ASSERT_EQ(frames.size(), expected.size() + 1);
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const std::string& info = frames[i].at("_ws.col.Info");
            const bool isTcp = frames[i].at("_ws.col.Protocol") == "TCP";
            EXPECT_EQ(isTcp, isMoved || expected[i] == "-") << i << ": " << info;
            if (!isTcp) {
                // TCP may have its own word before it.
                EXPECT_EQ(info.substr(info.front() == '[' ? info.find(']') + 2 : 0), expected[i]);
            }
        }
        EXPECT_EQ(frames.back().at("_ws.col.Info"), "Ping: 9");
        EXPECT_EQ(frames.back().at("quarlo.direction"), direction);
    }
}

// Every packet of the catalogue, whole and with each shorter payload and each lie of a count; what
// follows is found all the same.
TEST(Dissector, SaysWhatDoesNotFitAndGoesOnWithTheNextPacket) {
    CaptureFile capture;
    std::vector<std::optional<bool>> isMalformed;
    std::vector<const PacketCase*> cases;
    std::uint64_t sequence = 0;
    std::minstd_rand random(1);
    const auto add = [&](const PacketCase& each, const Bytes& payload,
                         std::optional<bool> isWrong) {
        const Bytes data = packet(each.whole.bytes[0], payload) + ping(7);
        capture.segment(50000, fromPhone, sequence, data);
        sequence += data.size();
        isMalformed.push_back(isWrong);
        cases.push_back(&each);
    };
    for (const PacketCase& each : packetCases()) {
        const Bytes payload(each.whole.bytes.begin() + 9, each.whole.bytes.end());
        add(each, payload, false);
        for (std::size_t size = 0; size < payload.size(); ++size) {
            add(each, Bytes(payload.begin(), payload.begin() + static_cast<long>(size)), true);
        }
        for (const CountField& count : each.whole.counts) {
            Bytes lie = payload;
            for (std::size_t i = 0; i < count.width; ++i) lie[count.offset - 9 + i] = 0xFF;
            add(each, lie, true);
        }
        for (int i = 0; i < 20 && !payload.empty(); ++i) {
            Bytes odd = payload;
            for (int changes = 0; changes <= i % 4; ++changes) {
                odd[random() % odd.size()] = static_cast<UInt8>(random());
            }
            add(each, odd, std::nullopt);
        }
    }
    const std::vector<Frame> frames = dissect(capture, {"quarlo.trailer"}, withDissector);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const Frame& frame = frames[i];
        const std::string name = cases[i]->name;
        SCOPED_TRACE(name + " " + frame.at("_ws.expert.message"));
        EXPECT_EQ(frame.at("_ws.col.Info").rfind(name, 0), 0U) << frame.at("_ws.col.Info");
        EXPECT_NE(frame.at("_ws.col.Info").find(", Ping: 7"), std::string::npos);
        if (!isMalformed[i]) continue;
        EXPECT_EQ(frame.at("_ws.expert.message").find(" needs ") != std::string::npos,
                  *isMalformed[i]);
        EXPECT_EQ(frame.at("quarlo.trailer"), "");
    }
}

struct Shown {
    bool isToPhone;
    Bytes data;
    std::string fields;  // "name=value", after each other; names without "quarlo.", or "odd"
};

std::vector<std::pair<std::string, std::string>> fieldsOf(const Shown& shown) {
    std::vector<std::pair<std::string, std::string>> fields;
    std::istringstream text(shown.fields);
    for (std::string one; std::getline(text, one, ';');) {
        const std::size_t at = one.find('=');
        const std::string name = one.substr(0, at);
        fields.emplace_back(name == "odd" ? "_ws.expert.message" : "quarlo." + name,
                            one.substr(at + 1));
    }
    return fields;
}

TEST(Dissector, ShowsValuesByTheirNamesAndWhatIsOddAboutThem) {
    const Bytes decimal = little(std::int64_t{-48137154}) + Bytes{0xFA};
    const Bytes place = text("Home") + decimal + decimal + text("") + text("") + text("") +
                        text("M\xFCnchen", 2) + text("") + text("") + text("");
    const Bytes rectangle = u16(1) + u16(2) + u16(30) + u16(40);
    std::string icon;  // the first bytes of a long run
    while (icon.size() < 2 * 64) icon += "ab";
    const auto custom = [](unsigned event, unsigned type, const Bytes& data) {
        return u8(event) + u16(type) + u16(static_cast<unsigned>(data.size())) + data;
    };
    const Shown cases[] = {
        {toPhone, packet(1, u16(1) + u16(2) + u16(0)),
         "clientprotocolversion.version=1.2.0;clientprotocolversion.version.minor=2;direction=0"},
        {fromPhone, packet(52, place + u8(3)),
         "navigateto.position.latitude=-48.137154;navigateto.position.latitude.exponent=-6;"
         "navigateto.placemark.city=M\u00FCnchen;navigateto.placemark.city.length=7;navigateto."
         "type=3"},
        {toPhone, packet(25, rectangle + u8(1)),
         "framebufferupdaterequest.updateregion=30x40+1+2;framebufferupdaterequest.updateregion.x="
         "1"},
        {toPhone,
         packet(33, u8(2) + u8(1) + u16(10) + u16(20) + u32(1) + u8(9) + u16(1) + u16(2) + u32(2) +
                        u32(1000)),
         "touchevent.touchevents.length=2;touchevent.touchevents.touches.touchtype=1|9;odd=quarlo."
         "touchevent.touchevents.touches.touchtype has no name for 9"},
        {fromPhone, packet(54, u8(2) + u32(7) + u32(8)), "setvehicledatafilter.keys=7|8"},
        {toPhone, packet(23, u32(5)),
         "overridecompression.compression=0x00000005;overridecompression.compression.zlib=0;"
         "overridecompression.compression.uncompressed=1"},
        {fromPhone, packet(72, text("app") + u32(1) + u32(4) + u32(70) + Bytes(70, 0xAB)),
         "serverappicon.datalength=70;serverappicon.data=" + icon},
        {fromPhone, packet(64) + ping(1) + packet(18, u8(1) + u8(2)),
         "serverinitdone.successful=1;trailer=02"},
        {fromPhone, u8(128) + u32(5) + u32(4) + u32(1), "flags=0x00000005;odd=Flags other than 0"},
        {fromPhone, packet(201, {1, 2}), "payload=0102;odd=201 is the type of no packet"},
        {toPhone, packet(40, u8(1)),
         "blockstatus.blockisactive=1;odd=BlockStatus is sent by the phone"},
        {fromPhone, packet(70, u32(0xFFFFFFFF)), "serverappinfo.info.numberofapps=4294967295"},
        {fromPhone, packet(68, custom(1, 2, text("id"))),
         "servercustomdata.string.text=id;servercustomdata.string.type=2"},
        {fromPhone, packet(68, custom(2, 4, u32(77) + u32(1))),
         "servercustomdata.int.value=4294967373"},
        {fromPhone, packet(68, custom(2, 4, Bytes(3, 1))),
         "servercustomdata.data=010101;odd=quarlo.servercustomdata.int.value is of "
         "1, 2, 4 or 8 bytes, not of 3"},
        {fromPhone, packet(68, custom(3, 0x3007, {})),
         "servercustomdata.raw.opcode=3;servercustomdata.raw.identifier=7"},
        {toPhone, packet(67, custom(4, 1, u32(0x123) + u8(2) + Bytes{8, 9})),
         "clientcustomdata.can.identifier=291;clientcustomdata.can.data=0809"},
        {fromPhone, packet(68, custom(4, 1, u32(1) + u8(9) + Bytes(9, 1))),
         "odd=quarlo.servercustomdata.can is too long: 14 bytes"},
        {toPhone, packet(67, custom(5, 4, u8(20) + u32(99))),
         "clientcustomdata.key.code=20;clientcustomdata.key.timestamp=99"},
        {fromPhone, packet(68, custom(5, 4, u8(20) + u32(99))),
         "servercustomdata.key.code=20;odd=quarlo.servercustomdata.key.code has no "
         "name for 20|quarlo.servercustomdata.key is too long: 5 bytes"},
        {fromPhone, packet(68, custom(9, 1, {5})),
         "servercustomdata.event=9;servercustomdata.data=05"},
    };
    CaptureFile capture;
    std::vector<std::string> fields;
    for (const Shown& each : cases) {
        capture.segment(50000 + capture.frames, each.isToPhone, 0, each.data);
        for (const auto& [field, value] : fieldsOf(each)) fields.push_back(field);
    }
    const std::vector<Frame> frames = dissect(capture, fields, withDissector);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        for (const auto& [field, value] : fieldsOf(cases[i])) {
            EXPECT_EQ(frames[i].at(field), value)
                << field << " of " << frames[i].at("_ws.col.Info");
        }
    }
}

TEST(Dissector, TiesAnswersToTheirRequests) {
    const Bytes version = u16(1) + u16(2) + u16(0);
    const Bytes region = Bytes(8, 0) + u8(1);
    struct Exchange {
        bool isToPhone;
        Bytes data;
        const char* responseIn;
        const char* responseTo;
        unsigned port = 50000;
    };
    const Exchange frames[] = {
        {toPhone, packet(1, version), "2", ""},                              // 1
        {fromPhone, packet(2, u8(1)), "", "1"},                              // 2
        {fromPhone, ping(1) + ping(2), "6|5", ""},                           // 3
        {toPhone, packet(129, u32(1)), "", "", 50001},                       // 4
        {toPhone, packet(129, u32(2)), "", "3"},                             // 5
        {toPhone, packet(129, u32(1)) + packet(129, u32(1)), "", "3|3"},     // 6
        {toPhone, packet(25, region) + packet(25, region), "8|8", ""},       // 7
        {fromPhone, packet(26, u8(0)) + packet(26, u8(0)), "", "7"},         // 8
        {fromPhone, packet(58, u32(5) + u8(1) + u8(3) + u16(0)), "10", ""},  // 9
        {toPhone, packet(59, u32(5) + u8(3) + u8(0)), "", "9"},              // 10
        {toPhone, packet(59, u32(6) + u8(3) + u8(0)), "", ""},               // 11
        {toPhone, packet(59, u32(5) + u8(6) + u8(0)), "", "9"},              // 12
        {toPhone, packet(73, text("a") + u8(0) + u8(0)), "15", ""},          // 13
        {toPhone, packet(73, text("a", 2) + u8(0) + u8(0)), "", ""},         // 14
        {fromPhone, packet(74, text("a") + u8(1)), "", "13"},                // 15
        {fromPhone, ping(3), "", ""},                                        // 16
        {toPhone, packet(1, version), "", ""},                               // 17
        {toPhone, packet(129, u32(3)), "", ""},                              // 18
    };
    CaptureFile capture;
    std::map<std::pair<unsigned, bool>, std::uint64_t> sequences;
    for (const Exchange& each : frames) {
        std::uint64_t& sequence = sequences[{each.port, each.isToPhone}];
        capture.segment(each.port, each.isToPhone, sequence, each.data);
        sequence += each.data.size();
    }
    const std::vector<Frame> shown =
        dissect(capture, {"quarlo.response_in", "quarlo.response_to", "quarlo.response_time"},
                withDissector + " -2");
    for (std::size_t i = 0; i < shown.size(); ++i) {
        EXPECT_EQ(shown[i].at("quarlo.response_in"), frames[i].responseIn) << i + 1;
        EXPECT_EQ(shown[i].at("quarlo.response_to"), frames[i].responseTo) << i + 1;
    }
    // Frames are a millisecond apart.
    EXPECT_EQ(shown[5].at("quarlo.response_time"), "0.003000000|0.003000000");
}

// Whatever the capture's length of packets, what is missing is called cut, and nothing malformed.
TEST(Dissector, IsNotTakenInByACaptureThatCutsPackets) {
    for (const unsigned snap : {41U, 49U, 120U}) {
        CaptureFile capture(snap);
        std::uint64_t sequence = 0;
        const auto add = [&](const Bytes& data) {
            capture.segment(50000, fromPhone, sequence, data);
            sequence += data.size();
        };
        for (const PacketCase& each : packetCases()) add(each.whole.bytes);
        const Bytes large = packet(26, u8(0) + Bytes(3000, 26));
        add(part(large, 0, 1000));
        add(part(large, 1000, 2000));
        add(part(large, 2000, large.size()) + ping(1));
        unsigned cut = 0;
        for (const Frame& frame : dissect(capture, {"quarlo.truncated"}, withDissector)) {
            const std::string& message = frame.at("_ws.expert.message");
            EXPECT_EQ(message.find("needs"), std::string::npos) << snap << ": " << message;
            EXPECT_EQ(message.find("alformed"), std::string::npos) << snap << ": " << message;
            cut += message.find("Cut by the capture") != std::string::npos;
        }
        EXPECT_EQ(cut, capture.cut) << snap;
    }
}

// As a plug-in of a user who has no other; loaded once more it says nothing.
TEST(Dissector, RegistersEveryFieldAndEnumerator) {
    char home[] = "/tmp/quarlo-home-XXXXXX";
    ASSERT_NE(mkdtemp(home), nullptr);
    const std::string plugins = std::string(home) + "/.local/lib/wireshark/plugins";
    const std::string install = "mkdir -p " + plugins + " && cp " QUARLO_DISSECTOR " " + plugins;
    ASSERT_EQ(std::system(install.c_str()), 0);
    const std::string tshark = "HOME=" + std::string(home) + " " QUARLO_TSHARK " ";
    const auto registered = [&](const char* what) {
        return linesOf(tshark + "-G " + what + " 2>/dev/null | grep -P '\\tquarlo\\.'", '\t');
    };
    std::map<std::string, std::string> types;
    for (const auto& words : registered("fields")) types[words.at(2)] = words.at(3);
    EXPECT_EQ(types.size(), 358U + 7) << "with the expert items";
    EXPECT_EQ(types["quarlo.servercustomdata.int.value"], "FT_UINT64");
    EXPECT_EQ(types["quarlo.navigateto.position.latitude"], "FT_DOUBLE");
    EXPECT_EQ(types["quarlo.framebufferupdate.updateregions.rectangles.rectangle"], "FT_STRING");
    EXPECT_EQ(types["quarlo.clientinit.capabilities.navigateto"], "FT_BOOLEAN");
    const Lines values = registered("values");
    EXPECT_EQ(values.size(), 347U);
    for (const Lines::value_type& each :
         {Lines::value_type{"V", "quarlo.serverstate.datatype", "4", "LauncherAppState"},
          {"V", "quarlo.servercustomdata.raw.opcode", "10", "DeleteHost"},
          {"V", "quarlo.clientcustomdata.int.type", "65280", "ScreenTest"}}) {
        EXPECT_EQ(std::count(values.begin(), values.end(), each), 1) << each[3];
    }
    EXPECT_EQ(linesOf(tshark + withDissector + " -v 2>&1 | grep -c Lua: || true", '\t'),
              (Lines{{"0"}}));
    EXPECT_EQ(std::system(("rm -r " + std::string(home)).c_str()), 0);
}

}  // namespace
}  // namespace quarlo::test
