// The rules of a check: one faultless transcript in which every rule is judged, and for each way to
// break one the line of the table that it gives, which has to be the only one.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "check/Judge.h"
#include "phone_bytes.h"

namespace quarlo::phone {
namespace {

enum class Who { Connect, Unit, Phone, PhoneInPieces, Close, Left };

struct Event {
    std::string name;
    int at;  ///< milliseconds since the connection's start
    Who who;
    Bytes bytes;
};
using Transcript = std::vector<Event>;

/// What a head unit without fault and the phone say; every rule has something to judge.
Transcript faultless() {
    const Who u = Who::Unit;
    const Who p = Who::Phone;
    Transcript t = {
        {"connect", 0, Who::Connect, {}},
        {"version", 10, u, version()},
        {"version taken", 20, p, flag(2, 1)},
        {"init", 30, u, init()},
        {"init taken", 40, p, flag(12, 1)},
        {"voice", 41, u, packet(61, u8(2) + u8(0))},
        {"settings", 42, u, packet(69, {'d', 'e', 'u'})},
        {"phone", 50, p,
         packet(14, text("phone") + u8(1) + u8(3) + u8(1) + u8(2) + u8(3) + u32(6) + text("") +
                        text(""))},
        {"ping 41", 51, p, ping(41)},
        {"done", 60, u, flag(17, 1)},
        {"run", 70, p, flag(18, 1)},
        {"early pong", 75, u, pong(41)},
        {"announcement", 80, u, custom(1, 7, text("1.2.3"))},
        {"ping 42", 100, p, ping(42)},
        {"pong 42", 104, u, pong(42)},
        {"pong again", 105, u, pong(42)},
        {"apps", 110, p, appInfo()},
        {"filter", 120, p, filter(1, 2)},
        {"value", 130, u, value(1, "{\"kmh\": 50}")},
        {"type?", 140, p, packet(64)},
        {"type", 141, u, flag(65, 2)},
        {"main", 200, p, wish(7, 1, 3, 0)},
        {"main opens", 210, u, audio(7, 3)},
        {"main?", 900, p, packet(64)},
        {"main heard", 901, u, flag(65, 3)},
        {"speech", 1000, p, wish(8, 1, 5, 2)},
        {"speech opens", 1010, u, audio(8, 3)},
        {"speech pauses", 1020, u, audio(8, 4)},
        {"speech goes on", 2020, u, audio(8, 3)},
        {"main back", 2100, p, wish(7, 5, 3, 0)},
        {"main closes", 2110, u, audio(7, 6)},
        {"speech?", 2500, p, packet(64)},
        {"speech heard", 2501, u, flag(65, 5)},
        {"speech closes", 4100, u, audio(8, 6)},
        {"silence?", 4500, p, packet(64)},
        {"silence heard", 4501, u, flag(65, 2)},
        {"talk", 4510, p, flag(62, 0)},
        {"talk more", 4511, p, flag(62, 3)},
        {"talking", 4520, u, packet(63, u8(3) + u8(0))},
        {"store", 4530, p, fromPhone(3, 0x10A1, "one")},
        {"store core", 4531, p, fromPhone(3, 0x30A1, "core")},
        {"get", 4532, p, fromPhone(3, 0x20A1, "")},
        {"got", 4540, u, custom(3, 0xA1, {'o', 'n', 'e'})},
        {"get core", 4541, p, fromPhone(3, 0x40A1, "")},
        {"got core", 4542, u, custom(3, 0xA1, {'c', 'o', 'r', 'e'})},
        {"get nothing", 4543, p, fromPhone(3, 0x20AF, "")},
        {"got nothing", 4544, u, custom(3, 0xAF, {})},
        {"bad get", 4545, p, fromPhone(3, 0x20A3, "x")},
        {"request", 4600, u, request()},
        {"request more", 4601, u, request(1, 1, 799)},
        {"update", 4602, p, update()},
        {"updated", 4603, p, update()},
        {"format", 4610, u, packet(21, u8(2) + u8(1) + u8(2))},
        {"size", 4611, u, packet(27, u16(400) + u16(500) + u16(0) + u16(0))},
        {"old touch", 4612, u, touch(1, 4)},
        {"override", 4613, u, packet(23, u32(2))},
        {"move", 4614, u, touch(3, 4, 10, 0)},
        {"lift", 4615, u, touch(2, 4, 11)},
        {"press", 4620, u, packet(31, u8(1) + u8(3))},
        {"release", 4621, u, packet(31, u8(2) + u8(3))},
        {"night", 4630, u, packet(35, u8(2) + u8(1))},
        {"block", 4631, u, flag(39, 2)},
        {"call", 4632, u, flag(51, 6)},
        {"position", 4633, u, packet(37, text(sentence))},
        {"icon?", 4640, u, icon("app:1")},
        {"icon", 4641, p, packet(72, text("app:1") + u32(1) + u32(4) + u32(0))},
        {"icon again?", 4642, u, icon("app:1")},
        {"start", 4643, u, start("app:1")},
        {"key", 4644, u, custom(5, 4, u8(12) + u32(0))},
        {"number", 4645, u, custom(2, 0xFF00, u16(3))},
        {"can", 4646, u, custom(4, 1, u32(9) + u8(2) + u16(1))},
        {"pieces 43", 5000, Who::PhoneInPieces, ping(43)},
        {"pieces 44", 5000, Who::PhoneInPieces, ping(44)},
        {"pong 43", 5001, u, pong(43)},
        {"pong 44", 5001, u, pong(44)},
        {"blacklist", 5100, p, packet(56, u32(1))},
        {"old value", 6000, u, value(1, "1")},
        {"value 2", 6500, u, value(2, "null")},
        {"close", 9000, Who::Close, {}},
        {"late", 9900, u, value(2, "[]")},
        {"left", 9990, Who::Left, {}},
    };
    for (int refused = 2; refused <= 4; ++refused) {
        t.push_back({"connect again", 0, Who::Connect, {}});
        t.push_back({"version again", 10, u, version()});
        t.push_back({"refused 1", 20, p, flag(2, refused != 2)});
        if (refused > 2) t.push_back({"init again", 30, u, init()});
        if (refused > 2) t.push_back({"refused 2", 40, p, flag(12, refused != 3)});
        if (refused > 3) t.push_back({"refused 3", 50, p, flag(18, 0)});
        t.push_back({"left again", 60, Who::Left, {}});
    }
    return t;
}

Verdicts judged(const Transcript& transcript) {
    Judge judge;
    TimePoint start{};
    for (const Event& event : transcript) {
        if (event.who == Who::Connect) start += std::chrono::hours(1);
        const TimePoint now = start + std::chrono::milliseconds(event.at);
        switch (event.who) {
            case Who::Connect:
                judge.connect(now, {1, 2, 3});
                break;
            case Who::Unit:
                judge.hear(now, event.bytes);
                break;
            case Who::Phone:
                judge.tell(now, event.bytes);
                break;
            case Who::PhoneInPieces:
                judge.tell(now, event.bytes, Judge::Pace::InPieces);
                break;
            case Who::Close:
                judge.close(now);
                break;
            case Who::Left:
                judge.end(now, event.bytes.size());
                break;
        }
    }
    return judge.verdicts();
}

/// The lines of the table that are no PASS, and no summary.
std::vector<std::string> remarks(const Verdicts& verdicts) {
    std::vector<std::string> lines;
    std::string table = verdicts.table();
    for (std::size_t end; (end = table.find('\n')) != table.npos; table.erase(0, end + 1)) {
        const std::string line = table.substr(0, end);
        const bool isSummary = line.find(" rules: ") != line.npos;
        if (!line.starts_with("PASS") && !isSummary) lines.push_back(line);
    }
    return lines;
}

// What can be done to a transcript. The packets behind it keep their times.
using Change = std::function<void(Transcript&)>;

Transcript::iterator eventIn(Transcript& t, const std::string& name) {
    const auto found =
        std::find_if(t.begin(), t.end(), [&](const Event& e) { return e.name == name; });
    EXPECT_NE(found, t.end()) << name;
    return found;
}
Change says(const std::string& name, const Bytes& instead) {
    return [=](Transcript& t) { eventIn(t, name)->bytes = instead; };
}
Change lacks(const std::string& name) {
    return [=](Transcript& t) { t.erase(eventIn(t, name)); };
}
/// Something more, just behind an event.
Change adds(const std::string& name, const Bytes& more, Who who = Who::Unit) {
    return [=](Transcript& t) {
        const auto at = eventIn(t, name);
        const int time = at->at;
        t.insert(at + 1, {"more", time, who, more});
    };
}
Change moves(const std::string& name, int until) {
    return [=](Transcript& t) {
        const auto at = eventIn(t, name);
        Event event = *at;
        event.at = until;
        t.erase(at);
        const auto to = std::find_if(t.begin() + 1, t.end(), [&](const Event& e) {
            return e.at > until || e.who == Who::Connect;
        });
        t.insert(to, event);
    };
}
Change both(const Change& one, const Change& other) {
    return [=](Transcript& t) {
        one(t);
        other(t);
    };
}
/// The head unit goes at once, with some bytes of a packet unsent.
Change leavesBehind(const std::string& name, std::size_t unfinished = 0) {
    return [=](Transcript& t) {
        const auto at = eventIn(t, name) + 1;
        const int time = (at - 1)->at;
        t.erase(at, eventIn(t, "connect again"));
        t.insert(eventIn(t, "connect again"), {"gone", time, Who::Left, Bytes(unfinished)});
    };
}
Bytes with(Bytes bytes, std::size_t at, std::uint8_t value) {
    bytes.at(at) = value;
    return bytes;
}

struct Fault {
    Change change;
    const char* rule;
    std::string text;  ///< how the line of the table ends
};

std::vector<Fault> faults() {
    const auto at = [](const char* seconds, const std::string& what) {
        return std::string(", ") + seconds + " s: " + what;
    };
    const auto initWith = [&](unsigned Init::*member, unsigned content) {
        Init i;
        i.*member = content;
        return says("init", init(i));
    };
    const auto init2 = [&](const std::string& what) {
        return "connection 1, packet 2, 0.030 s: " + what;
    };
    return {
        {adds("announcement", packet(200, u8(1))), "wire.framing",
         at("0.080", "packet 200: the type is unknown")},
        {adds("announcement", packet(26, u8(0))), "wire.framing",
         at("0.080", "FramebufferUpdate: phones send this, not head units")},
        {says("night", with(packet(35, u8(2) + u8(1)), 2, 1)), "wire.framing",
         at("4.630", "ClientState: flags are set")},
        {says("night", packet(35, u8(2) + u8(1) + u8(0))), "wire.framing",
         at("4.630", "ClientState: 1 bytes more than its fields take")},
        {adds("night", packet(35, u8(2))), "wire.framing",
         at("4.630", "ClientState: cannot be read")},
        {adds("start", packet(73, text("app:1") + u8(0) + u8(2) + text("k") + text("v"))),
         "wire.framing", at("4.643", "ClientStartApp: cannot be read")},
        {leavesBehind("settings", 5), "wire.framing", ""},
        {initWith(&Init::encoding, 3), "wire.strings",
         init2("ClientInit: a string has encoding 3")},
        {says("announcement", custom(1, 7, text(std::string("1\0", 2)))), "wire.strings",
         at("0.080", "ClientCustomData: a string ends in a zero byte")},
        {both(lacks("version"), adds("init", version())), "handshake.order",
         at("0.030", "ClientInit comes first")},
        {moves("init", 15), "handshake.order",
         at("0.015", "ClientInit before ServerProtocolAcknowledge")},
        {moves("settings", 35), "handshake.order",
         at("0.035", "ClientSettings before ServerInitAcknowledge (2 times)")},
        {moves("voice", 45), "handshake.order",
         at("0.045", "ClientVoiceSupportInfo behind ClientSettings")},
        {moves("done", 45), "handshake.order", at("0.045", "ClientInitDone before ServerInit")},
        {says("done", flag(17, 2)), "handshake.order", at("0.060", "Successful is 2")},
        {adds("settings", packet(69, {'d', 'e', 'u'})), "handshake.order",
         at("0.042", "ClientSettings comes again")},
        {moves("early pong", 55), "handshake.order",
         at("0.055", "PingAcknowledge before the end of the handshake")},
        {adds("phone", packet(35, u8(2) + u8(1))), "handshake.order",
         at("0.050", "ClientState before the end of the handshake")},
        {adds("announcement", flag(17, 1)), "handshake.order",
         at("0.080", "ClientInitDone after the handshake")},
        {says("version", version(3)), "handshake.version", at("0.010", "the version is 1.3.0")},
        {initWith(&Init::format, 1), "handshake.screen",
         init2("no pixels have format 1, byte order 2 and 4 bytes")},
        {initWith(&Init::order, 0), "handshake.screen",
         init2("no pixels have format 3, byte order 0 and 4 bytes")},
        {initWith(&Init::supported, 3), "handshake.offers",
         init2("SupportedCompressions is without Uncompressed")},
        {initWith(&Init::supported, 15), "handshake.offers",
         init2("SupportedCompressions has unknown bits, 15")},
        {initWith(&Init::wanted, 8), "handshake.offers", init2("Compression has unknown bits, 8")},
        {initWith(&Init::capabilities, 0x1C), "handshake.offers",
         init2("Capabilities are without ScreenCopy or PacketExtensions")},
        {initWith(&Init::capabilities, 0x83C), "handshake.offers",
         init2("Capabilities have unknown bits, 2108")},
        {both(initWith(&Init::key, 15), lacks("key")), "handshake.offers",
         init2("there is no key 15")},
        {moves("voice", 76), "handshake.voice", at("0.070", "no ClientVoiceSupportInfo has come")},
        {says("voice", packet(61, u8(5) + u8(0))), "handshake.voice",
         at("0.041", "Value is 5, not 0 to 4")},
        {says("settings", packet(69, {'d', 'e', '1'})), "handshake.language",
         at("0.042", "the bytes of the language are 100, 101, 49")},
        {moves("announcement", 2071), "handshake.announce",
         at("2.070", "the version has not come")},
        {both(lacks("pong again"), moves("pong 42", 2101)), "ping.answer",
         at("2.100", "no answer to ping 42")},
        {both(lacks("pong again"), lacks("pong 42")), "ping.answer",
         at("2.100", "no answer to ping 42")},
        {says("pong 42", pong(40)), "ping.answer", at("0.104", "counter 40 answers ping 42")},
        {adds("pong again", pong(43)), "ping.answer", at("0.105", "counter 43 answers no ping")},
        {lacks("pong 43"), "receive.pieces", ""},
        {says("pong 44", pong(9)), "receive.pieces", ""},
        {leavesBehind("key"), "session.stay",
         at("4.644", "the head unit left after the phone's ServerAppIcon")},
        {moves("late", 10001), "session.end", at("10.001", "VehicleData after the end")},
        {adds("updated", request(801)), "frame.request",
         at("4.603", "region 801x480 at 0,0 is not within the screen")},
        {says("request more", request(1, 2)), "frame.request",
         at("4.601", "Incremental is 2, not 0 to 1")},
        {says("format", packet(21, u8(2) + u8(1) + u8(4))), "frame.settings",
         at("4.610", "no pixels have format 2, byte order 1 and 4 bytes")},
        {adds("size", packet(27, u16(0) + u16(500) + u32(0))), "frame.settings",
         at("4.611", "the size is 0x500")},
        {says("override", packet(23, u32(8))), "frame.settings",
         at("4.613", "Compression has unknown bits, 8")},
        {says("move", touch(3, 4, 0)), "touch.contents", at("4.614", "no time")},
        {says("move", packet(33, u8(0) + u32(9))), "touch.contents", at("4.614", "no finger")},
        {says("move", touch(7, 4)), "touch.contents",
         at("4.614", "finger 4 does what is unknown, 7")},
        {moves("lift", 5612), "touch.contents", at("5.612", "finger 4 is not within the screen")},
        {says("move", touch(3, 5, 10)), "touch.grammar",
         at("4.614", "finger 5 moves, but is not down")},
        {adds("old touch", touch(1, 4)), "touch.grammar", at("4.612", "finger 4 is down already")},
        {adds("lift", touch(4, 4, 12)), "touch.grammar",
         at("4.615", "finger 4 leaves, but is not down")},
        {says("release", packet(31, u8(1) + u8(3))), "softkey.grammar",
         at("4.621", "key 3 is pressed already")},
        {adds("release", packet(31, u8(1) + u8(4))), "softkey.grammar",
         at("4.621", "key 4 is none of the phone's")},
        {says("night", packet(35, u8(4) + u8(1))), "state.values", ""},
        {says("block", flag(39, 0)), "state.values", ""},
        {says("call", flag(51, 7)), "state.values", ""},
        {says("talking", packet(63, u8(3) + u8(4))), "state.values",
         at("4.520", "Constraint is 4, not 0 to 3")},
        {says("position", packet(37, text("$" + std::string(76, 'A') + "*00\n"))), "position.text",
         ""},
        {says("position", packet(37, text(sentence, 2))), "position.text", ""},
        {adds("announcement", value(1, "1")), "vehicle.filter",
         at("0.080", "key 1 is not asked for")},
        {moves("old value", 6101), "vehicle.filter",
         at("6.101", "key 1 is not asked for, it is blacklisted")},
        {says("value", value(1, "{kmh}")), "vehicle.text",
         at("0.130", "the value is not JSON: {kmh}")},
        {says("value", value(1, "1", 2)), "vehicle.text", ""},
        {adds("silence heard", wish(9, 1, 1, 0), Who::Phone), "audio.answer",
         at("6.501", "no answer to request 9")},
        {says("main opens", audio(7, 3, 1)), "audio.life", at("0.210", "ResultCode is 1")},
        {adds("main opens", audio(9, 3)), "audio.life", at("0.210", "request 9 does not live")},
        {adds("main closes", audio(7, 2)), "audio.life", ""},
        {adds("main", audio(7, 6)), "audio.life", at("0.200", "request 7 was never open")},
        {both(lacks("main closes"),
              both(says("speech heard", flag(65, 3)), says("silence heard", flag(65, 3)))),
         "audio.end", at("5.100", "request 7 is not closed")},
        {both(moves("speech closes", 6600), says("silence heard", flag(65, 5))), "audio.end",
         at("6.510", "request 8 is not closed")},
        {says("main heard", flag(65, 5)), "audio.type", at("0.901", "the type is 5, not 3")},
        {lacks("silence heard"), "audio.type", ""},
        {adds("silence heard", flag(65, 2)), "audio.type", ""},
        {says("type", flag(65, 7)), "audio.type", ""},
        {lacks("talking"), "voice.answer", ""},
        {says("icon again?", icon("app:1", 3)), "app.request", ""},
        {says("start", start("")), "app.request", ""},
        {lacks("icon"), "icon.single", at("4.642", "another icon is awaited")},
        {says("number", custom(2, 0xFF00, Bytes(3))), "custom.contents",
         at("4.645", "Int of 3 bytes does not fit its contents")},
        {says("can", custom(4, 1, u32(9) + u8(9) + Bytes(9))), "custom.contents", ""},
        {says("key", custom(5, 7, u8(12) + u32(0))), "custom.contents", ""},
        {adds("key", custom(6, 1, {})), "custom.contents", ""},
        {adds("key", custom(1, 9, text("x"))), "custom.contents", ""},
        {adds("key", custom(1, 6, u8(1) + u16(9))), "custom.contents", ""},
        {says("got", custom(3, 0xA1, {'t', 'w', 'o'})), "raw.answer",
         at("4.540", "block 0A1 is \"two\", not \"one\"")},
        {lacks("got nothing"), "raw.answer", ""},
        {adds("bad get", custom(3, 0xA3, {})), "raw.answer", ""},
        {adds("refused 3", packet(69, {'d', 'e', 'u'})), "refusal.handshake",
         "connection 4, packet 3, 0.050 s: ClientSettings after the refusal"},
        {says("request", request(800, 1)), "advice.frames", ""},
        {adds("request more", request(1, 1)), "advice.frames",
         at("4.601", "3 requests wait for an update")},
        {adds("announcement", packet(35, u8(3) + u8(1))), "advice.frames", ""},
        {says("position", packet(37, text("$GPGGA,1*4C"))), "advice.position",
         at("4.633", "the checksum is 4C, not 4B")},
        {initWith(&Init::capabilities, 0x34), "advice.position", ""},
        {says("lift", touch(2, 4, 8)), "advice.input",
         at("4.615", "the time goes back from 10 to 8")},
        {says("key", custom(5, 4, u8(14) + u32(0))), "advice.input", ""},
        {says("start", start("app:9")), "advice.input", ""},
    };
}

TEST(PhoneCheck, AFaultlessHeadUnitPassesEveryRule) {
    const Verdicts verdicts = judged(faultless());
    EXPECT_EQ(remarks(verdicts), (std::vector<std::string>{}));
    EXPECT_FALSE(verdicts.hasFailed());
    const std::string table = verdicts.table();
    EXPECT_NE(table.find("PASS      ping.answer       1 answered, the slowest after 4 ms\n"),
              table.npos)
        << table;
    EXPECT_TRUE(table.ends_with("35 rules: 35 passed, 0 failed, 0 not seen, 0 warnings\n"));
}

TEST(PhoneCheck, TableAndReportTellWhatWasSeenInWhatIsWellFormedWhateverAHeadUnitSays) {
    Transcript transcript = faultless();
    both(says("value", value(1, "<&\"\x1b\xff")),
         both(lacks("settings"), lacks("key")))(transcript);
    both(says("position", packet(37, text("GP"))), lacks("icon"))(transcript);
    const Verdicts verdicts = judged(transcript);
    EXPECT_EQ(
        remarks(verdicts),
        (std::vector<std::string>{
            "NOT SEEN  handshake.language no ClientSettings came",
            "FAIL      vehicle.text      connection 1, packet 9, 0.130 s: the value is not "
            "JSON: <&\"?\xff",
            "FAIL      icon.single       connection 1, packet 39, 4.642 s: another icon is "
            "awaited",
            "WARN      advice.position   connection 1, packet 37, 4.633 s: the sentence begins "
            "without $"}));
    const std::string report = verdicts.report(17.5);
    for (const char* part :
         {"<testsuite name=\"quarlo-check\" tests=\"35\" failures=\"2\" skipped=\"1\" "
          "time=\"17.500\">\n",
          "<testcase classname=\"quarlo.check\" name=\"wire.framing\"/>\n",
          "name=\"handshake.language\"><skipped message=\"no ClientSettings came\"/></testcase>\n",
          "JSON: &lt;&amp;&quot;??\"/></testcase>\n",
          "name=\"advice.position\"><system-out>connection 1, packet 37, 4.633 s: the sentence "
          "begins "
          "without $</system-out></testcase>\n"})
        EXPECT_NE(report.find(part), report.npos) << part << "\n" << report;
}

TEST(PhoneCheck, EachFaultBreaksItsOwnRuleAndNoOther) {
    std::set<std::string> broken;
    for (const Fault& fault : faults()) {
        Transcript transcript = faultless();
        fault.change(transcript);
        const Verdicts verdicts = judged(transcript);
        std::vector<std::string> all;
        for (const Verdict& line : verdicts.lines()) {
            if (line.result != Result::Fail && line.result != Result::Warn) continue;
            all.push_back(textOf(line.rule).id);
            const bool isTold = fault.rule == all.back();
            EXPECT_TRUE(!isTold || line.text.ends_with(fault.text)) << line.text;
        }
        broken.insert(fault.rule);
        EXPECT_EQ(all, (std::vector<std::string>{fault.rule})) << fault.text << "\n"
                                                               << verdicts.table();
    }
    EXPECT_EQ(broken.size(), numberOfRules);
}

}  // namespace
}  // namespace quarlo::phone
