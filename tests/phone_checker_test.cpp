// Whole checks in a time of their own: head units written at byte level, which behave, which have
// one fault each, or which try to break the phone.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <map>

#include "check/Checker.h"
#include "phone_bytes.h"

namespace quarlo::phone {
namespace {

using namespace std::chrono_literals;

/// A head unit with its connection. It answers at once, and says by itself what there is to judge.
class Unit : public Stream {
  public:
    /// What becomes of the n-th packet of a type that it is about to send, from 1.
    using Spoil = std::function<Bytes(Unit&, unsigned type, int nth, Bytes)>;

    Unit(Spoil change, TimePoint time) : now(time), spoil(std::move(change)) { say(version()); }

    long read(std::span<std::uint8_t> room) override {
        const std::size_t count = std::min({room.size(), toPhone.size(), std::size_t{1000}});
        if (count == 0) return isGone ? -1 : 0;
        std::copy_n(toPhone.begin(), count, room.begin());
        toPhone.erase(toPhone.begin(), toPhone.begin() + static_cast<std::ptrdiff_t>(count));
        return static_cast<long>(count);
    }
    long write(std::span<const std::uint8_t> bytes) override {
        if (isDeaf) return 0;
        fromPhone.insert(fromPhone.end(), bytes.begin(), bytes.end());
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
    void later(std::chrono::milliseconds time, Agenda::Task task) {
        agenda.add(now + time, std::move(task));
    }
    void say(const Bytes& bytes) {
        const unsigned type = bytes[0];
        const Bytes said = spoil(*this, type, ++counts[type], bytes);
        toPhone.insert(toPhone.end(), said.begin(), said.end());
    }
    void push(const Bytes& bytes) { toPhone.insert(toPhone.end(), bytes.begin(), bytes.end()); }

    bool isGone = false;
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
        if (type == 26 && number(9, 1) > 0 && ++updates < 40) say(request(160, 1));
        if (type == 70) say(icon("quarlo://check/one"));
        if (type == 72 && ++icons == 1) say(icon("quarlo://check/two"));
    }

    void hearHandshake(unsigned type) {
        const bool isGood = number(9, 1) == 1;
        if (type == 2 && isGood) say(init({.width = 800}));
        if (type == 12 && isGood) {
            say(packet(61, u8(2) + u8(0)));
            say(packet(69, {'d', 'e', 'u'}));
        }
        if (type == 14) say(flag(17, 1));
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
                 {touch(1, 4), touch(3, 4, 10), touch(2, 4, 11), packet(31, u8(1) + u8(1)),
                  packet(31, u8(2) + u8(1)), packet(35, u8(1) + u8(1)), flag(39, 2),
                  packet(37, text(sentence)), packet(21, u8(2) + u8(1) + u8(2)),
                  packet(27, u16(640) + u16(480) + u32(0)), packet(23, u32(3)), packet(23, u32(4)),
                  start("quarlo://check/two"), custom(5, 4, u8(12) + u32(0)),
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
    std::deque<std::uint8_t> toPhone;
    Bytes fromPhone;
    std::map<unsigned, int> counts;
    std::map<std::pair<unsigned, unsigned>, Bytes> blocks;
    unsigned heard = 2;
    int updates = 0;
    int icons = 0;
    bool isRunning = false;
};

struct Outcome {
    std::vector<std::string> broken;
    std::size_t notSeen = 0;
    bool hasRun = false;
    std::chrono::milliseconds duration{0};
    std::string table;
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
        now += 10ms;
        if (checker.isFree()) {
            unit = std::make_unique<Unit>(spoil, now);
            checker.connect(*unit);
        }
        unit->step(now);
    } while (checker.step(now) && now < start + 100s);
    Outcome outcome;
    const Verdicts verdicts = checker.verdicts();
    outcome.hasRun = checker.hasRun();
    outcome.table = verdicts.table();
    outcome.duration = std::chrono::duration_cast<std::chrono::milliseconds>(now - start);
    for (const Verdict& one : verdicts.lines()) {
        outcome.notSeen += one.result == Result::NotSeen ? 1 : 0;
        if (one.result == Result::Fail || one.result == Result::Warn)
            outcome.broken.push_back(textOf(one.rule).id);
    }
    return outcome;
}

Unit::Spoil instead(unsigned type, int nth, const Bytes& other) {
    return [=](Unit&, unsigned what, int which, const Bytes& bytes) {
        return what == type && which == nth ? other : bytes;
    };
}
Unit::Spoil never(unsigned type, int nth) {
    return instead(type, nth, {});
}
/// Something more, behind the n-th packet of a type.
Unit::Spoil also(unsigned type, int nth, const Bytes& more) {
    return [=](Unit&, unsigned what, int which, const Bytes& bytes) {
        return what == type && which == nth ? bytes + more : bytes;
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
    EXPECT_EQ(outcome.broken, (std::vector<std::string>{})) << outcome.table;
    EXPECT_EQ(outcome.notSeen, 0u) << outcome.table;
    EXPECT_TRUE(outcome.hasRun);
    EXPECT_GT(outcome.duration, 13s);
    EXPECT_LT(outcome.duration, 18s);
}

TEST(PhoneChecker, EachFaultOnTheWireFailsItsRule) {
    struct Case {
        const char* rule;
        Unit::Spoil spoil;
    };
    Init narrow;
    narrow.width = 0;
    Init mute;
    mute.supported = 3;
    const Case cases[] = {
        {"wire.framing", also(65, 1, packet(255, u8(0)))},
        {"wire.framing", instead(51, 1, packet(51, u8(1) + u8(1)))},
        {"wire.strings", instead(55, 1, packet(55, u32(1) + text(std::string("1\0", 2))))},
        {"handshake.order", also(1, 1, init())},
        {"handshake.order", also(69, 1, flag(17, 1))},
        {"handshake.order", also(61, 1, pong(41))},
        {"handshake.version", instead(1, 1, version(1))},
        {"handshake.screen", instead(11, 1, init(narrow))},
        {"handshake.offers", instead(11, 1, init(mute))},
        {"handshake.voice", instead(61, 1, packet(61, u8(2) + u8(2)))},
        {"handshake.language", instead(69, 1, packet(69, {'d', 'e', 0}))},
        {"handshake.announce", never(67, 1)},
        {"ping.answer", never(129, 3)},
        {"ping.answer", instead(129, 5, pong(7))},
        {"receive.pieces", never(129, 11)},
        {"receive.pieces", never(129, 15)},
        {"session.stay", leavesAt(129, 18)},
        {"session.end", saysAfterTheEnd()},
        {"frame.request", also(25, 3, request(801))},
        {"frame.settings", also(23, 1, packet(23, u32(16)))},
        {"touch.contents", instead(33, 2, touch(3, 4, 0))},
        {"touch.grammar", never(33, 1)},
        {"softkey.grammar", also(31, 2, packet(31, u8(1) + u8(4)))},
        {"state.values", also(39, 1, flag(39, 4))},
        {"position.text", instead(37, 1, packet(37, text(sentence, 2)))},
        {"vehicle.filter", also(55, 1, value(9, "1"))},
        {"vehicle.text", instead(55, 1, value(1, "{"))},
        {"audio.end", both(never(59, 4), instead(65, 4, flag(65, 5)))},
        {"audio.life", also(59, 4, audio(702, 3))},
        {"audio.type", instead(65, 2, flag(65, 2))},
        {"voice.answer", never(63, 2)},
        {"app.request", also(73, 1, start(""))},
        {"icon.single", also(71, 1, icon("quarlo://check/two"))},
        {"custom.contents", also(67, 5, custom(2, 0xFF00, {}))},
        {"raw.answer", instead(67, 5, custom(3, 0xA1, {'n', 'o'}))},
        {"refusal.handshake", saysAfterRefusal()},
        {"advice.frames", instead(25, 1, request(800, 1))},
        {"advice.position", instead(37, 1, packet(37, text("$GPGGA,1")))},
        {"advice.input", instead(33, 2, touch(3, 4, 8))},
    };
    for (const Case& one : cases) {
        const Outcome outcome = check(one.spoil);
        EXPECT_EQ(outcome.broken, (std::vector<std::string>{one.rule})) << outcome.table;
    }
}

TEST(PhoneChecker, NothingThatAHeadUnitDoesHoldsACheckUp) {
    struct Case {
        const char* name;
        Unit::Spoil spoil;
        bool hasRun;
        std::vector<std::string> broken;
    };
    const Case cases[] = {
        {"silent", [](Unit&, unsigned, int, const Bytes&) { return Bytes(); }, false, {}},
        {"half a packet",
         [](Unit& unit, unsigned, int, const Bytes& bytes) {
             unit.isGone = true;
             return Bytes(bytes.begin(), bytes.begin() + 10);
         },
         false,
         {"wire.framing"}},
        {"4 GiB", instead(25, 1, u8(25) + u32(0) + u32(0xFFFFFFFF)), true, {"wire.framing"}},
        {"deaf",
         [](Unit& unit, unsigned type, int, const Bytes& bytes) {
             unit.isDeaf = unit.isDeaf || type == 25;
             return bytes;
         },
         true,
         {"advice.input"}},
        {"flood",
         [](Unit& unit, unsigned type, int nth, const Bytes& bytes) {
             if (type == 129 && nth < 20) {
                 for (int i = 0; i < 500; ++i) unit.push(packet(39, u8(9)));
             }
             return bytes;
         },
         true,
         {"state.values"}},
    };
    for (const Case& one : cases) {
        const Outcome outcome = check(one.spoil);
        EXPECT_EQ(outcome.broken, one.broken) << one.name << "\n" << outcome.table;
        EXPECT_EQ(outcome.hasRun, one.hasRun) << one.name;
        EXPECT_LT(outcome.duration, 42s) << one.name;
    }
}

}  // namespace
}  // namespace quarlo::phone
