// Whole checks in a time of their own, of a head unit at byte level: it behaves and every rule is
// judged, it has one fault and breaks its rule and no other, or it tries to break the phone.
#include <map>
#include <sstream>

#include "check/Checker.h"
#include "phone_rig.h"

namespace quarlo::phone {
namespace {

using namespace std::chrono_literals;

/// A head unit with its connection. It answers at once, and says by itself what there is to judge.
class Unit : public MemoryStream {
  public:
    /// What becomes of the n-th packet of a type that it is about to send, from 1.
    using Spoil = std::function<Bytes(Unit&, unsigned type, int nth, Bytes)>;

    Unit(Spoil change, TimePoint time) : now(time), spoil(std::move(change)) {
        readPiece = 1000;
        say(version());
    }

    long write(std::span<const std::uint8_t> bytes) override {
        if (isDeaf) return 0;
        MemoryStream::write(bytes);
        while (fromPhone.size() >= 9 && fromPhone.size() >= 9 + number(5, 4)) {
            const std::size_t size = 9 + number(5, 4);
            hear();
            fromPhone.erase(fromPhone.begin(),
                            fromPhone.begin() + static_cast<std::ptrdiff_t>(size));
        }
        return static_cast<long>(bytes.size());
    }
    void endSending() override {
        later(100ms, [this] { isGone = !lingers; });
    }

    void step(TimePoint time) {
        now = time;
        agenda.perform(now);
    }
    TimePoint nextWake() const { return toPhone.empty() ? agenda.next() : now; }
    void later(std::chrono::milliseconds time, Agenda::Task task) {
        agenda.add(now + time, std::move(task));
    }
    void say(const Bytes& bytes) {
        const unsigned type = bytes[0];
        push(spoil(*this, type, ++counts[type], bytes));
    }
    void push(const Bytes& bytes) { toPhone.insert(toPhone.end(), bytes.begin(), bytes.end()); }

    bool isDeaf = false;
    bool lingers = false;

  private:
    std::uint64_t number(std::size_t at, unsigned size) const {
        std::uint64_t value = 0;
        for (unsigned i = 0; i < size; ++i) value |= std::uint64_t{fromPhone.at(at + i)} << 8 * i;
        return value;
    }

    void hear() {
        const auto type = static_cast<unsigned>(fromPhone[0]);
        if (!isRunning) return hearHandshake(type);
        if (type == 128) say(pong(static_cast<unsigned>(number(9, 4))));
        if (type == 58) hearAudio(static_cast<unsigned>(number(9, 4)));
        if (type == 64) say(flag(65, heard));
        if (type == 62) say(packet(63, u8(3) + u8(0)));
        if (type == 54) say(value(static_cast<unsigned>(number(10, 4)), "{\"value\": [1, null]}"));
        if (type == 50) say(flag(51, 1));
        if (type == 68 && number(9, 1) == 3) hearRaw();
        if (type == 26 && number(9, 1) > 0 && ++updates < 40) say(request(16, 1));
        if (type == 70) say(icon("quarlo://check/one"));
        if (type == 72 && ++icons == 1) say(icon("quarlo://check/two"));
    }

    void hearHandshake(unsigned type) {
        const bool isGood = number(9, 1) == 1;
        if (type == 2 && isGood) say(init());
        if (type == 12 && isGood) {
            say(packet(61, u8(2) + u8(0)));
            say(language("deu"));
        }
        if (type == 14) say(initDone());
        if (type == 18 && isGood) begin();
        if ((type == 2 || type == 12 || type == 18) && !isGood)
            later(100ms, [this] { isGone = true; });
    }

    void begin() {
        isRunning = true;
        say(custom(1, 7, text("1.2.3")));
        say(request());
        later(1000ms, [this] {
            for (const Bytes& one :
                 {packet(21, u8(2) + u8(1) + u8(2)), packet(27, u16(64) + u16(40) + u32(0)),
                  packet(23, u32(3)), packet(23, u32(4)), touch(1, 4), touch(3, 4, 10),
                  touch(2, 4, 11), key(1, 1), key(2, 1), state(1, 1), flag(39, 2),
                  position(sentence), start("quarlo://check/two"), custom(5, 4, u8(12) + u32(0)),
                  custom(2, 0xFF00, u16(3)), custom(4, 1, u32(9) + u8(1) + u8(7))})
                say(one);
        });
    }

    void hearAudio(unsigned id) {
        const auto close = [this, id] {
            say(audio(id, 6));
            heard = id == 701 ? 5 : 2;
        };
        if (number(13, 1) == 5) return close();
        say(audio(id, 3));
        if (heard == 2) heard = static_cast<unsigned>(number(14, 1));
        if (number(15, 2) != 0) later(std::chrono::seconds(number(15, 2)), close);
    }

    void hearRaw() {
        const auto operation = static_cast<unsigned>(number(10, 2));
        const auto block = operation & 0xFFF;
        const Bytes content(fromPhone.begin() + 14,
                            fromPhone.begin() + 14 + static_cast<std::ptrdiff_t>(number(12, 2)));
        const unsigned store = (operation >> 12) & 0xF;
        if (store == 1 || store == 3) blocks[{store, block}] = content;
        if ((store == 2 || store == 4) && content.empty())
            say(custom(3, block, blocks[{store - 1, block}]));
    }

    TimePoint now;
    Spoil spoil;
    Agenda agenda;
    std::map<unsigned, int> counts;
    std::map<std::pair<unsigned, unsigned>, Bytes> blocks;
    unsigned heard = 2;
    int updates = 0;
    int icons = 0;
    bool isRunning = false;
};

struct Outcome {
    Verdicts verdicts;
    bool hasRun;
    std::chrono::milliseconds duration;
    /// The lines of the table that are no PASS, and no summary.
    std::vector<std::string> remarks{};
    std::vector<std::string> broken{};
    std::string found{};  ///< of the rules that are broken
};

/// A check of a head unit that comes back at once, as often as it is let in.
Outcome check(const Unit::Spoil& spoil) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> sink(std::tmpfile(), std::fclose);
    const Log log(LogLevel::Quiet, sink.get());
    const TimePoint start{1h};
    TimePoint now = start;
    std::unique_ptr<Unit> unit;
    Checker checker(log, now);
    do {
        if (checker.isFree()) {
            unit = std::make_unique<Unit>(spoil, now);
            checker.connect(*unit);
        }
        now = std::max(now + 1ms, std::min(checker.nextWake(), unit->nextWake()));
        unit->step(now);
    } while (checker.step(now) && now < start + 100s);
    Outcome outcome{checker.verdicts(), checker.hasRun(),
                    std::chrono::duration_cast<std::chrono::milliseconds>(now - start)};
    std::istringstream table(outcome.verdicts.table());
    for (std::string line; std::getline(table, line);)
        if (!line.starts_with("PASS") && line.find(" rules: ") == line.npos)
            outcome.remarks.push_back(line);
    for (const Verdict& line : outcome.verdicts.lines()) {
        if (line.result == Result::Pass || line.result == Result::NotSeen) continue;
        outcome.broken.push_back(textOf(line.rule).id);
        outcome.found += line.text;
    }
    return outcome;
}

Unit::Spoil instead(unsigned type, int nth, const Bytes& other) {
    return [=](Unit&, unsigned what, int which, const Bytes& bytes) {
        return what == type && which == nth ? other : bytes;
    };
}
/// Something more, behind the n-th packet of a type.
Unit::Spoil also(unsigned type, int nth, const Bytes& more) {
    return [=](Unit&, unsigned what, int which, const Bytes& bytes) {
        return what == type && which == nth ? bytes + more : bytes;
    };
}
Unit::Spoil never(unsigned type, int from, int to = 0) {
    return [=](Unit&, unsigned what, int which, const Bytes& bytes) {
        return what == type && which >= from && which <= std::max(from, to) ? Bytes() : bytes;
    };
}
Unit::Spoil late(unsigned type, int nth, std::chrono::milliseconds delay) {
    return [=](Unit& unit, unsigned what, int which, const Bytes& bytes) {
        if (what != type || which != nth) return bytes;
        unit.later(delay, [&unit, bytes] { unit.push(bytes); });
        return Bytes();
    };
}
Unit::Spoil leavesAt(unsigned type, int nth) {
    return [=](Unit& unit, unsigned what, int which, const Bytes& bytes) {
        unit.isGone = unit.isGone || (what == type && which == nth);
        return bytes;
    };
}
Unit::Spoil both(const Unit::Spoil& one, const Unit::Spoil& other) {
    return [=](Unit& unit, unsigned what, int which, const Bytes& bytes) {
        return other(unit, what, which, one(unit, what, which, bytes));
    };
}
Unit::Spoil initWith(unsigned Init::*member, unsigned content) {
    Init other;
    other.*member = content;
    return instead(11, 1, init(other));
}
/// In the second connection, whose version is refused after 0.2 s.
Unit::Spoil saysAfterRefusal() {
    const auto connections = std::make_shared<int>(0);
    return [=](Unit& unit, unsigned type, int, const Bytes& bytes) {
        if (type == 1 && ++*connections == 2) unit.later(250ms, [&unit] { unit.push(init()); });
        return bytes;
    };
}
Unit::Spoil saysAfterTheEnd() {
    return [](Unit& unit, unsigned type, int nth, const Bytes& bytes) {
        unit.lingers = true;
        if (type == 129 && nth == 25) unit.later(1500ms, [&unit] { unit.push(pong(50)); });
        return bytes;
    };
}

TEST(PhoneChecker, AHeadUnitThatBehavesIsSeenInEveryRuleAndBreaksNone) {
    const Outcome outcome = check([](Unit&, unsigned, int, const Bytes& bytes) { return bytes; });
    EXPECT_EQ(outcome.remarks, (std::vector<std::string>{}));
    EXPECT_FALSE(outcome.verdicts.hasFailed());
    EXPECT_TRUE(outcome.hasRun);
    EXPECT_GT(outcome.duration, 13s);
    EXPECT_LT(outcome.duration, 18s);
    const std::string table = outcome.verdicts.table();
    EXPECT_NE(table.find("PASS      ping.answer       20 answered, the slowest after 1 ms\n"),
              table.npos)
        << table;
    EXPECT_TRUE(table.ends_with("35 rules: 35 passed, 0 failed, 0 not seen, 0 warnings\n"));
}

TEST(PhoneChecker, WhatIsAllowedIsNoFault) {
    const auto repeatsAPong = also(129, 5, pong(46));
    // Sound for two seconds that pauses for one is over later.
    const auto pauses = both(also(59, 2, audio(702, 4)), also(129, 9, audio(702, 3)));
    const auto goesOn = both(late(59, 4, 3500ms), instead(65, 4, flag(65, 5)));
    EXPECT_EQ(check(both(repeatsAPong, both(pauses, goesOn))).remarks, std::vector<std::string>{});
}

TEST(PhoneChecker, TableAndReportTellWhatWasSeenInWhatIsWellFormedWhateverAHeadUnitSays) {
    const Outcome outcome =
        check(both(both(instead(55, 1, value(1, "<&\"\x1b\xff")), never(69, 1)),
                   both(instead(37, 1, position("GP")), also(71, 1, icon("quarlo://check/two")))));
    EXPECT_EQ(outcome.remarks,
              (std::vector<std::string>{"NOT SEEN  handshake.language no ClientSettings came",
                                        "FAIL      vehicle.text      connection 1, packet 19, "
                                        "1.204 s: the value is not JSON: <&\"?\xff",
                                        "FAIL      icon.single       connection 1, packet 13, "
                                        "1.004 s: another icon is awaited (2 times)",
                                        "WARN      advice.position   connection 1, packet 46, "
                                        "1.803 s: the sentence begins without $"}));
    const std::string report = outcome.verdicts.report(17.5);
    for (const char* part :
         {("<testsuite name=\"quarlo-check\" tests=\"35\" failures=\"2\" skipped=\"1\" "
           "time=\"17.500\">\n"),
          "<testcase classname=\"quarlo.check\" name=\"wire.framing\"/>\n",
          "name=\"handshake.language\"><skipped message=\"no ClientSettings came\"/></testcase>\n",
          "JSON: &lt;&amp;&quot;??\"/></testcase>\n",
          "name=\"advice.position\"><system-out>connection 1, packet "})
        EXPECT_NE(report.find(part), report.npos) << part << "\n" << report;
}

struct Fault {
    Unit::Spoil spoil;
    const char* rule;
    const char* text;  ///< in the only line of the table that is no PASS
};

std::vector<Fault> faults() {
    const std::string two = "quarlo://check/two";
    const Bytes voice = packet(61, u8(2) + u8(0));
    const Bytes german = language("deu");
    return {
        {also(67, 1, packet(200, u8(1))), "wire.framing", "packet 200: the type is unknown"},
        {also(67, 1, packet(26, u8(0))), "wire.framing", "phones send this, not head units"},
        {instead(35, 1, {35, 0, 1, 0, 0, 2, 0, 0, 0, 2, 1}), "wire.framing", "flags are set"},
        {instead(51, 1, packet(51, u8(1) + u8(1))), "wire.framing", "1 bytes more than its fields"},
        {also(35, 1, packet(35, u8(2))), "wire.framing", "ClientState: cannot be read"},
        {initWith(&Init::encoding, 3), "wire.strings", "ClientInit: a string has encoding 3"},
        {instead(67, 1, custom(1, 7, text(std::string("1\0", 2)))), "wire.strings",
         "a string ends in a zero byte"},
        {both(instead(1, 1, init() + version()), never(11, 1)), "handshake.order",
         "ClientInit comes first"},
        {both(instead(1, 1, version() + init()), never(11, 1)), "handshake.order",
         "ClientInit before ServerProtocolAcknowledge"},
        {both(also(11, 1, german), never(69, 1)), "handshake.order",
         "ClientSettings before ServerInitAcknowledge"},
        {both(never(61, 1), also(69, 1, voice)), "handshake.order", "behind ClientSettings"},
        {both(also(69, 1, initDone()), never(17, 1)), "handshake.order",
         "ClientInitDone before ServerInit"},
        {instead(17, 1, initDone(2)), "handshake.order", "Successful is 2"},
        {also(69, 1, german), "handshake.order", "ClientSettings comes again"},
        {also(61, 1, pong(41)), "handshake.order", "PingAcknowledge before the end of the"},
        {also(69, 1, state(2, 1)), "handshake.order", "ClientState before the end of the"},
        {also(67, 1, initDone()), "handshake.order", "ClientInitDone after the handshake"},
        {instead(1, 1, version(3)), "handshake.version", "the version is 1.3.0"},
        {initWith(&Init::format, 1), "handshake.screen", "format 1, byte order 2 and 4 bytes"},
        {initWith(&Init::order, 0), "handshake.screen", "format 3, byte order 0 and 4 bytes"},
        {initWith(&Init::width, 0), "handshake.screen", "the screen is 0x48"},
        {initWith(&Init::supported, 3), "handshake.offers", "is without Uncompressed"},
        {initWith(&Init::supported, 15), "handshake.offers", "SupportedCompressions has unknown"},
        {initWith(&Init::wanted, 8), "handshake.offers", "Compression has unknown bits, 8"},
        {initWith(&Init::capabilities, 0x1C), "handshake.offers", "PacketExtensions"},
        {initWith(&Init::capabilities, 0x83C), "handshake.offers", "have unknown bits, 2108"},
        {both(initWith(&Init::key, 15), never(67, 2)), "handshake.offers", "there is no key 15"},
        {both(never(61, 1), also(67, 1, voice)), "handshake.voice", "ClientVoiceSupportInfo"},
        {instead(61, 1, packet(61, u8(5) + u8(0))), "handshake.voice", "Value is 5, not 0 to 4"},
        {instead(61, 1, packet(61, u8(2) + u8(2))), "handshake.voice", "Constraint is 2, not 0"},
        {instead(69, 1, language("de1")), "handshake.language", "are 100, 101, 49"},
        {never(67, 1), "handshake.announce", "the version has not come"},
        {never(129, 1, 5), "ping.answer", "no answer to ping 42"},
        {never(129, 3), "ping.answer", "the answer to 45 passes over 44"},
        {instead(129, 5, pong(40)), "ping.answer", "counter 40 answers ping 46"},
        {also(129, 5, pong(99)), "ping.answer", "counter 99 answers no ping"},
        {never(129, 11), "receive.pieces", "passes over 52"},
        {never(129, 15), "receive.pieces", "passes over 56"},
        {instead(129, 14, pong(9)), "receive.pieces", "counter 9 answers ping 55"},
        {leavesAt(129, 18), "session.stay", "the head unit left after the phone's "},
        {saysAfterTheEnd(), "session.end", "PingAcknowledge after the end"},
        {also(25, 3, request(81)), "frame.request", "81x48 at 0,0 is not within the screen"},
        {also(25, 3, request(0)), "frame.request", "region 0x48 at 0,0 is empty"},
        {instead(25, 3, request(16, 2)), "frame.request", "Incremental is 2, not 0 to 1"},
        {instead(21, 1, packet(21, u8(2) + u8(1) + u8(4))), "frame.settings", "and 4 bytes"},
        {also(27, 1, packet(27, u16(0) + u16(5) + u32(0))), "frame.settings", "the size is 0x5"},
        {also(23, 1, packet(23, u32(16))), "frame.settings", "Compression has unknown bits, 16"},
        {instead(33, 2, touch(3, 4, 0)), "touch.contents", "no time"},
        {instead(33, 2, packet(33, u8(0) + u32(9))), "touch.contents", "no finger"},
        {instead(33, 2, touch(7, 4)), "touch.contents", "finger 4 does what is unknown, 7"},
        {late(33, 3, 1500ms), "touch.contents", "finger 4 is not within the screen"},
        {instead(33, 2, touch(3, 5, 10)), "touch.grammar", "finger 5 moves, but is not down"},
        {also(33, 1, touch(1, 4)), "touch.grammar", "finger 4 is down already"},
        {also(33, 3, touch(4, 4, 12)), "touch.grammar", "finger 4 leaves, but is not down"},
        {instead(31, 2, key(1, 1)), "softkey.grammar", "key 1 is pressed already"},
        {also(31, 2, key(2, 1)), "softkey.grammar", "key 1 is not pressed"},
        {also(31, 2, key(3, 1)), "softkey.grammar", "key 1 does what is unknown, 3"},
        {also(31, 2, key(1, 4)), "softkey.grammar", "key 4 is none of the phone's"},
        {also(35, 1, state(4, 1)), "state.values", "DataType is 4, not 1 to 3"},
        {also(35, 1, state(2, 2)), "state.values", "Value is 2, not 0 to 1"},
        {also(39, 1, flag(39, 4)), "state.values", "ModeToSet is 4, not 1 to 3"},
        {also(51, 1, flag(51, 7)), "state.values", "Status is 7, not 1 to 6"},
        {instead(63, 1, packet(63, u8(3) + u8(4))), "state.values", "Constraint is 4, not 0 to 3"},
        {instead(37, 1, position("$" + std::string(76, 'A') + "*00\n")), "position.text",
         "81, not"},
        {instead(37, 1, position(sentence, 2)), "position.text", "the encoding is 2, not 1 to 1"},
        {also(67, 1, value(1, "1")), "vehicle.filter", "key 1 is not asked for"},
        {also(129, 17, value(4, "1")), "vehicle.filter", "is not asked for, it is blacklisted"},
        {instead(55, 1, value(1, "{kmh}")), "vehicle.text", "the value is not JSON: {kmh}"},
        {instead(55, 1, value(1, "1", 2)), "vehicle.text", "the encoding is 2, not 1 to 1"},
        {both(both(never(59, 2), never(59, 4)), instead(65, 4, flag(65, 5))), "audio.answer",
         "no answer to request 702"},
        {instead(59, 1, audio(701, 3, 1)), "audio.life", "ResultCode is 1"},
        {also(59, 1, audio(9, 3)), "audio.life", "request 9 does not live"},
        {also(59, 4, audio(702, 3)), "audio.life", "request 702 does not live"},
        {instead(59, 1, audio(701, 6) + audio(701, 3)), "audio.life", "701 was never open"},
        {both(never(59, 3), both(instead(65, 3, flag(65, 3)), instead(65, 4, flag(65, 3)))),
         "audio.end", "request 701 is not closed"},
        {both(never(59, 4), instead(65, 4, flag(65, 5))), "audio.end", "request 702 is not closed"},
        {instead(65, 2, flag(65, 2)), "audio.type", "the type is 2, not 3"},
        {instead(65, 1, flag(65, 7)), "audio.type", "CurrentAudioType is 7, not 1 to 6"},
        {never(65, 4), "audio.type", "no answer to RequestAudioType"},
        {also(65, 4, flag(65, 2)), "audio.type", "nobody has asked"},
        {never(63, 2), "voice.answer", "no answer to ServerVoiceSessionRequest"},
        {instead(71, 2, icon(two, 48, 0, 3)), "app.request", "BytesPerPixel is 3, not 4 to 4"},
        {instead(71, 2, icon(two, 0)), "app.request", "the icon is 0x0"},
        {also(73, 1, start("")), "app.request", "no app is named"},
        {also(71, 1, icon(two)), "icon.single", "another icon is awaited"},
        {also(67, 5, custom(2, 0xFF00, Bytes(3))), "custom.contents",
         "Int of 3 bytes does not fit"},
        {also(67, 5, custom(4, 1, u32(9) + u8(9) + Bytes(9))), "custom.contents", "Can of 14"},
        {also(67, 5, custom(5, 7, u8(12) + u32(0))), "custom.contents", "Key has no type 7"},
        {also(67, 5, custom(6, 1, {})), "custom.contents", "Event is 6"},
        {also(67, 5, custom(1, 9, text("x"))), "custom.contents", "String has no type 9"},
        {also(67, 5, custom(1, 6, u8(1) + u16(9))), "custom.contents", "String of 3 bytes does"},
        {instead(67, 5, custom(3, 0xA1, {'n', 'o'})), "raw.answer", "A1 is \"no\", not \"one\""},
        {never(67, 7), "raw.answer", "no answer to the Get of block 0AF"},
        {also(129, 8, custom(3, 0xA3, {})), "raw.answer", "block 0A3 was to be refused"},
        {saysAfterRefusal(), "refusal.handshake", "ClientInit after the refusal"},
        {instead(25, 1, request(80, 1)), "advice.frames", "is not for the whole screen as it is"},
        {also(25, 2, request(1, 1) + request(1, 1)), "advice.frames", "requests wait for an"},
        {also(67, 1, state(3, 1)), "advice.frames", "a request while frames are suspended"},
        {instead(37, 1, position("$GPGGA,1*4C")), "advice.position", "sum is 4C, not 4B"},
        {instead(37, 1, position("$GPGGA,1")), "advice.position", "has no checksum"},
        {initWith(&Init::capabilities, 0x34), "advice.position", "positions were not announced"},
        {instead(33, 3, touch(2, 4, 8)), "advice.input", "the time goes back from 10 to 8"},
        {instead(67, 2, custom(5, 4, u8(14) + u32(0))), "advice.input", "key 14 was not announced"},
        {also(73, 1, start("app:9")), "advice.input", "that is not in the catalogue"},
    };
}

TEST(PhoneChecker, EachFaultBreaksItsOwnRuleAndNoOther) {
    std::set<std::string> broken;
    for (const Fault& fault : faults()) {
        const Outcome outcome = check(fault.spoil);
        EXPECT_EQ(outcome.broken, std::vector<std::string>{fault.rule}) << fault.text;
        EXPECT_NE(outcome.found.find(fault.text), std::string::npos) << outcome.found;
        broken.insert(fault.rule);
    }
    EXPECT_EQ(broken.size(), numberOfRules);
}

TEST(PhoneChecker, NothingThatAHeadUnitDoesHoldsACheckUp) {
    const auto deaf = [](Unit& unit, unsigned type, int, const Bytes& bytes) {
        unit.isDeaf = unit.isDeaf || type == 25;
        return bytes;
    };
    Bytes flood;
    for (int i = 0; i < 10000; ++i) flood = std::move(flood) + packet(39, u8(9));
    struct Case {
        Unit::Spoil spoil;
        bool hasRun;
        std::vector<std::string> broken;
    };
    for (const Case& c :
         {Case{never(1, 1), false, {}},
          Case{both(instead(1, 1, test::part(version(), 0, 10)), leavesAt(1, 1)),
               false,
               {"wire.framing"}},
          Case{instead(25, 1, u8(25) + u32(0) + u32(0xFFFFFFFF)), true, {"wire.framing"}},
          Case{deaf, true, {"advice.input"}}, Case{also(129, 1, flood), true, {"state.values"}}}) {
        const Outcome outcome = check(c.spoil);
        EXPECT_EQ(outcome.broken, c.broken);
        EXPECT_EQ(outcome.hasRun, c.hasRun);
        EXPECT_LT(outcome.duration, 42s);
    }
}

}  // namespace
}  // namespace quarlo::phone
