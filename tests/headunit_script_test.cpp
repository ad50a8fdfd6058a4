// Scripts: what each line does to a head unit, what is said about wrong ones, and how steps wait.
#include "Script.h"

#include <gtest/gtest.h>

#include "FakeUnit.h"
#include "Reports.h"
#include "Runner.h"
#include "common/Log.h"
#include "common/Names.h"

namespace quarlo::headunit {
namespace {

using Time = Runner::Time;

using Lines = std::vector<std::string>;

Script parsed(const std::string& text) {
    Script script;
    EXPECT_EQ(parseScript("s", text, script), "");
    return script;
}

struct Play {
    explicit Play(const std::string& text) { runner.play(parsed(text)); }
    FakeUnit unit;
    Runner runner{unit, [](const std::string&) {}};
};

TEST(Script, EachLineDoesWhatItSays) {
    struct Case {
        const char* line;
        Lines done;
    };
    const Case cases[] = {
        {"touch down 3 4", {"touch Down 3,4 #1"}},
        {"touch move 65535 0 7", {"touch Moved 65535,0 #7"}},
        {"touch up 3 4 0xFF", {"touch Up 3,4 #255"}},
        {"tap 10 20", {"touch Down 10,20 #1", "touch Up 10,20 #1"}},
        {"swipe 0 100 10 60 40",
         {"touch Down 0,100 #1", "touch Moved 5,80 #1", "touch Moved 10,60 #1",
          "touch Up 10,60 #1"}},
        {"pinch 50 60 20 40 0",
         {"touch Down 40,60 #1 Down 60,60 #2", "touch Moved 30,60 #1 Moved 70,60 #2",
          "touch Up 30,60 #1 Up 70,60 #2"}},
        {"pinch 5 5 100 0 0",
         {"touch Down 0,5 #1 Down 55,5 #2", "touch Moved 5,5 #1 Moved 5,5 #2",
          "touch Up 5,5 #1 Up 5,5 #2"}},
        {"key home", {"key Home Press", "key Home Release"}},
        {"key search press", {"key Search Press"}},
        {"moving on", {"moving 1"}},
        {"night off", {"night 0"}},
        {"block denyall", {"block DenyAll"}},
        {"position $GPGGA,1  2*47", {"position $GPGGA,1  2*47"}},
        {"language deu", {"language deu"}},
        {"vehicle 4294967295 {\"v\": 1}", {"vehicle 4294967295 {\"v\": 1}"}},
        {"audio 7 open", {"audio 7 Open"}},
        {"audio last reject", {"audio 0 Reject"}},
        {"call active", {"call Active"}},
        {"voice idle", {"voice Idle NoConstraint"}},
        {"voice unavailable scotimeout", {"voice Unavailable SCOTimeout"}},
        {"voice-support FullSCOSupport", {"voice-support FullSCOSupport NoConstraint"}},
        {"apps", {"apps"}},
        {"icon a://b 64x32", {"icon a://b 64x32"}},
        {"start a://b", {"start a://b"}},
        {"start a://b k=v x= y=1=2", {"start a://b [k][v] [x][] [y][1=2]"}},
        {"custom string btmacaddress 01:02  03", {"string BTMACAddress 01:02  03"}},
        {"custom int ScreenTest 2 0x1234", {"int ScreenTest 34 12"}},
        {"custom int ScreenTest 8 18446744073709551615",
         {"int ScreenTest FF FF FF FF FF FF FF FF"}},
        {"custom key volumeup", {"key VolumeUp Click"}},
        {"custom key ok longpress", {"key Ok LongPress"}},
        {"custom can Generic 0x1FFFFFFF 30ff80", {"can Generic 1FFFFFFF 30 FF 80"}},
        {"custom raw 0xFFF", {"raw FFF "}},
        {"format rgb565 big", {"change 0", "change 1"}},
        {"size 640x480", {"change 2"}},
        {"compression zlib", {"change 3"}},
        {"suspend", {"change 4"}},
        {"\t resume \r", {"change 4"}},
        {"update", {"update"}},
        {"update full", {"update full"}},
        {"# tap 1 2", {}},
        {"", {}},
    };
    for (const Case& c : cases) {
        Play play(c.line);
        for (int ms = 0; ms <= 100; ms += 10) play.runner.run(Time(ms));
        EXPECT_EQ(play.unit.lines, c.done) << c.line;
        EXPECT_TRUE(play.runner.isDone()) << c.line;
        EXPECT_EQ(play.runner.failure(), "") << c.line;
    }
}

TEST(Script, WrongLinesAreNamedWithWhatIsAllowed) {
    struct Case {
        const char* line;
        const char* allowed;
    };
    const Case cases[] = {
        {"jump 1 2", "touch, tap, swipe"},
        {"touch press 1 2", "down|move|up"},
        {"touch down 65536 2", "touch down"},
        {"tap 1 2x", "tap X Y"},
        {"swipe 1 2 3 4 600001", "600000"},
        {"pinch 1 2 3 4 99999999999999999999", "pinch"},
        {"key power", "Home, Back, Menu, Search"},
        {"wait soon", "wait MS"},
        {"wait-for nobody", "vehicle-data"},
        {"wait-for audio timeout soon", "timeout MS"},
        {"wait-for update 3", "without TEXT"},
        {"expect update", "expect CALLBACK"},
        {"screenshot ../etc/x", "letters"},
        {"moving yes", "on|off"},
        {"block some", "AllowAll, DenyAll, UseWhitelist"},
        {"position", "SENTENCE"},
        {"language de", "three small letters"},
        {"vehicle 1", "vehicle KEY JSON"},
        {"vehicle 4294967296 1", "vehicle KEY JSON"},
        {"audio 0 open", "REQUEST|last"},
        {"audio 1 pause", "Reject, Open, Suspend, Close"},
        {"icon a://b 0x5", "1 to 8192"},
        {"start a =v", "KEY=VALUE"},
        {"custom smoke 1", "string, int, key, can, raw"},
        {"custom string Title x", "BTMACAddress"},
        {"custom int ScreenTest 3 1", "1|2|4|8"},
        {"custom int ScreenTest 1 256", "1|2|4|8"},
        {"custom key F1", "DPadUp"},
        {"custom can Generic 1 001122334455667788", "up to 8 bytes"},
        {"custom can Generic 1 0g", "up to 8 bytes"},
        {"custom raw 0x1000", "0xFFF"},
        {"format rgb565 middle", "little, big"},
        {"size 1x99999", "1 to 8192"},
        {"suspend now", "suspend"},
        {"update half", "update [full]"},
    };
    for (const Case& c : cases) {
        Script script;
        const std::string problem =
            parseScript("dir/a.script", std::string("# first\nwait 1\n  ") + c.line, script);
        EXPECT_EQ(problem.rfind(std::string("dir/a.script:3: '") + c.line, 0), 0U) << problem;
        EXPECT_NE(problem.find(c.allowed, problem.find("allowed: ")), std::string::npos) << problem;
    }
    Script script;
    EXPECT_NE(readScript("/nowhere/a.script", script).find("cannot be read"), std::string::npos);
}

TEST(Script, ForeseesWhatTheSessionMustBeReadyFor) {
    Script script;
    ASSERT_EQ(parseScript("s", "size 640x200\nsize 100x480\nformat rgb565\nformat rgb888", script),
              "");
    EXPECT_EQ(script.largest, (Size{640, 480}));
    EXPECT_EQ(script.deepest, ePIXELFORMAT_RGB888);
    EXPECT_FALSE(script.writesPictures);
    ASSERT_EQ(parseScript("s", "screenshot a", script), "");
    EXPECT_TRUE(script.writesPictures);
}

TEST(Runner, KeepsTheTimesOfWaitsAndGestures) {
    Play play("wait 100\nswipe 0 0 40 0 40\nmoving on");
    // Late once, it catches up with the gesture's own times.
    const struct {
        int now, wake;
        std::size_t done;
    } turns[] = {{1000, 1100, 0}, {1099, 1100, 0}, {1100, 1120, 1}, {1135, 1140, 2}};
    for (const auto& turn : turns) {
        play.runner.run(Time(turn.now));
        EXPECT_EQ(play.runner.wake(), Time(turn.wake));
        EXPECT_EQ(play.unit.lines.size(), turn.done) << turn.now;
    }
    play.runner.run(Time(1140));
    EXPECT_EQ(play.unit.lines.back(), "moving 1");
    EXPECT_TRUE(play.runner.isDone());
}

TEST(Runner, WaitsForCallbacksAndNamesTheLineThatFailed) {
    struct Case {
        const char* script;
        std::vector<std::pair<const char*, const char*>> callbacks;  // one before each turn
        const char* failure;
        Lines done = {};
        eReturnCode result = eRETURN_OKAY;
    };
    const Case cases[] = {
        {"wait-for audio Request\nwait-for audio Request timeout 3000\nmoving on",
         {{"audio", "Request 1"},
          {"audio", "Release 1"},
          {"call", "Request"},
          {"audio", "Request"}},
         "",
         {"moving 1"}},
        {"wait-for audio Request\nwait-for audio Request timeout 50\nmoving on",
         {{"audio", "Request 1 Main"}},
         "s:2: 'wait-for audio Request timeout 50': no callback 'audio' with 'Request' within 50 "
         "ms"},
        {"\nwait-for call two words  timeout 50\nmoving on",
         {},
         "s:2: 'wait-for call two words  timeout 50': no callback 'call' with 'two words' within "
         "50 ms"},
        // What the last step caused may be under way.
        {"expect ptt on\nexpect ptt off\nmoving on",
         {{"ptt", "on"}, {"ptt", "off"}},
         "",
         {"moving 1"}},
        {"expect ptt on\nexpect ptt off\nmoving on",
         {{"ptt", "on"}},
         "s:2: 'expect ptt off': there was no callback 'ptt' with 'off'"},
        {"vehicle 5 1\nmoving on",
         {},
         "s:1: 'vehicle 5 1': refused: PARAM_VALUE",
         {"vehicle 5 1"},
         eRETURN_PARAM_VALUE},
    };
    for (const Case& c : cases) {
        Play play(c.script);
        play.unit.result = c.result;
        for (std::size_t turn = 0; turn < 10; ++turn) {
            if (turn < c.callbacks.size()) {
                play.runner.happened({c.callbacks[turn].first, c.callbacks[turn].second});
            }
            play.runner.run(Time(turn * 10));
        }
        EXPECT_EQ(play.runner.failure(), c.failure);
        EXPECT_EQ(play.unit.lines, c.done) << c.script;
        EXPECT_TRUE(play.runner.isDone());
    }
}

TEST(Runner, TakesScreenshotsOfTheWholePresentScreen) {
    Play play("screenshot a\nwait-for update\nscreenshot b\nsuspend\nscreenshot c");
    const Lines done = {"change 5",     "screenshot a", "change 5",
                        "screenshot b", "change 4",     "screenshot c"};
    // What came before is too old, a part of it is not enough; and nothing newer comes from a phone
    // that is silent, or told to be.
    const struct {
        bool isWhole;
        int now;
        std::size_t done;
    } updates[] = {{true, 0, 1}, {false, 10, 1}, {true, 20, 2}, {false, 30, 3}};
    for (const auto& update : updates) {
        play.runner.updated(update.isWhole);
        play.runner.run(Time(update.now));
        EXPECT_EQ(play.unit.lines, Lines(done.begin(), done.begin() + long(update.done)));
    }
    EXPECT_EQ(play.runner.wake(), Time(15030));
    play.unit.areFramesOn = false;
    play.runner.run(Time(15030));
    EXPECT_EQ(play.unit.lines, done);

    Play full("screenshot a");
    full.unit.areFramesOn = false;
    full.unit.pictureProblem = "the disk is full";
    full.runner.run(Time(0));
    EXPECT_EQ(full.runner.failure(), "s:1: 'screenshot a': the disk is full");
}

TEST(Runner, RemembersCallbacksUpToABound) {
    Play play("wait 10\nexpect custom-int first\n");
    play.runner.happened({"custom-int", "first"});
    play.runner.run(Time(0));
    for (int i = 0; i < 20000; ++i) play.runner.happened({"custom-int", "later"});
    play.runner.run(Time(10));
    play.runner.run(Time(10));
    EXPECT_NE(play.runner.failure(), "");
}

}  // namespace
}  // namespace quarlo::headunit
