// A phone's scripts: what each step makes a session say and be, and how steps wait and fail.
#include <filesystem>

#include "Director.h"
#include "common/PngWriter.h"
#include "phone_rig.h"

using namespace quarlo::common;
using namespace quarlo::phone;

namespace {

Options playing(const std::string& text) {
    const auto script = std::make_shared<Script>();
    EXPECT_EQ(parseScript("s", text, *script), "");
    Options options;
    options.script = script;
    return options;
}

/// A script and the one head unit that there is, whose session does what it is given at once.
class Play : public Rig, private Ensemble {
  public:
    explicit Play(const std::string& text) : director(playing(text), log, bell) {
        unheard.clear();
        session->tell({[this](auto packet) { tellOf(Event::Packet, packet); },
                       [this](auto& fault) {
                           director.tell({1, Event::Fault, {}, fault});
                       }});
    }
    void tellOf(Event event, std::span<const std::uint8_t> packet = {}) {
        director.tell({1, event, {packet.begin(), packet.end()}});
    }
    /// The whole handshake, and the phone's first words.
    void begin() {
        tellOf(Event::Connected);
        connect();
        tellOf(Event::Running);
        step(2000);
        stream.fromPhone.clear();
    }
    void run() {
        for (int round = 0; round < 10; ++round) {
            director.run(*this);
            settle();
        }
    }

    Bell bell;
    Director director;
    bool isThere = true;
    std::vector<int> asked;

  private:
    void post(int number, std::function<void(Session&)> task) override {
        asked.push_back(number);
        if (isThere) task(*session);
    }
    void change(const Setting& setting) override { session->change(setting); }
};

TEST(PhoneScript, EachStepSaysWhatItIsFor) {
    struct Case {
        const char* line;
        const char* said;
    };
    const Case cases[] = {
        {"hang-up", "ServerState, 11 bytes: DataType=1 (PhoneCall), Value=0"},
        {"navigate -48.137154 11 Lake",
         "DisplayName=\"Lake\", Position={Latitude={Value=-48137154, Exponent=-6}, "
         "Longitude={Value=11000000, Exponent=-6}}"},
        {"audio request Announcement 10",
         "Command=1 (Request), Type=5 (Announcement), MaximumDuration=10"},
        {"voice StartMicOnly", "ServerVoiceSessionRequest, 10 bytes: Type="},
        {"park for-good 0xFFF 6162", "Event=3 (Raw), Type=24575, pData=[97, 98]"},
        {"fetch session 1", "ServerCustomData, 14 bytes: Event=3 (Raw), Type=8193, pData=[]"},
        {"forget head-unit 2", "ServerCustomData, 14 bytes: Event=3 (Raw)"},
        {"apps", "ServerAppInfo, 13 bytes: Info={paInfo=[]}"},
        {"apps maps", "Name=\"Maps\", UniqueIconID=2"},
        {"app maps", "ServerState, 11 bytes: DataType=2 (Transition), Value=1"},
    };
    for (const Case& c : cases) {
        Play play(c.line);
        play.begin();
        play.run();
        const std::string said = play.said();
        EXPECT_NE(said.find(c.said), std::string::npos) << c.line << ": " << said;
        EXPECT_TRUE(play.director.isDone()) << c.line;
        EXPECT_EQ(play.director.verdict(), "") << c.line;
    }
}

TEST(PhoneScript, ChangesWhatThePhoneIs) {
    const std::string directory = testing::TempDir() + "icons-" + std::to_string(::getpid());
    std::filesystem::create_directory(directory);
    EXPECT_EQ(writePng(Picture(3, 5, 0xFF112233), directory + "/maps.png"), "");
    Play play(
        "name Hänsel und Gretel\nsoftkeys Back Search\ncapabilities EnableAppStart 0x10\nrefuse "
        "compression\n"
        "refuse framesize\nstall frames\ndrop done\nicons " +
        directory);
    play.run();
    const Options& options = play.session->options();
    EXPECT_EQ(options.appName, "Hänsel und Gretel");
    EXPECT_EQ(options.softkeys, (std::vector<Softkey>{eSOFTKEY_Back, eSOFTKEY_Search}));
    EXPECT_EQ(options.capabilities, eSERVERCAPABILITIES_EnableAppStart | 0x10U);
    EXPECT_EQ(options.refusals, (std::set<Refusal>{Refusal::Compression, Refusal::FrameSize}));
    EXPECT_EQ(options.stallAt, Stage::Frames);
    EXPECT_EQ(options.dropAt, Stage::Done);
    EXPECT_TRUE(play.director.isDone()) << "before there is a head unit";

    Play other("no-faults\nicons " + directory);
    other.session->change([&](Options& one) { one = options; });
    other.run();
    EXPECT_TRUE(other.session->options().refusals.empty());
    EXPECT_FALSE(other.session->options().stallAt || other.session->options().dropAt);
    other.begin();
    other.unheard = {eEVENTTYPE_Ping};
    other.settle(icon("quarlo://app/maps", 20, eFRAMECOMPRESSION_Uncompressed));
    const Bytes drawn = other.take();
    ASSERT_EQ(drawn.size(), 9U + 3 + 17 + 12 + 1600);
    EXPECT_EQ(quarlo::wire::load<UInt32>(&drawn[41 + 4 * 210]), 0xFF112233U);
    for (const char* name : {"chess.png", "maps.png"}) {
        std::FILE* file = std::fopen((directory + "/" + name).c_str(), "w");
        std::fputs("\x89PNG\r\n\x1a\n....IHDR\xff\xff\xff\xff....", file);
        std::fclose(file);
        Script script;
        EXPECT_NE(parseScript("s", "icons " + directory, script)
                      .find(std::string("not ") + directory + "/" + name),
                  std::string::npos);
        std::filesystem::remove(directory + "/" + name);
    }
    std::filesystem::remove_all(directory);
}

TEST(PhoneScript, FallsSilent) {
    Play silent("stall\nsend Ping PacketCounter=9");
    silent.begin();
    silent.run();
    EXPECT_EQ(silent.said(), "");
    EXPECT_TRUE(silent.isAlive);
}

TEST(PhoneScript, WaitsForHeadUnitsAndWhatTheySend) {
    Play play(
        "wait-for ClientInit ScreenWidth=160\nexpect ClientInit ScreenHeight=120 Name~unit\ncall "
        "1\n"
        "wait-for PhoneCallStatusResponse Status=Active\nwait-for PhoneCallStatusResponse timeout "
        "0");
    play.run();
    EXPECT_TRUE(play.asked.empty());
    play.tellOf(Event::Connected);
    play.connect();
    play.run();
    EXPECT_TRUE(play.asked.empty()) << "not before the handshake is over";
    play.isThere = false;
    play.tellOf(Event::Running);
    play.run();
    EXPECT_FALSE(play.asked.empty());
    play.isThere = true;
    play.tellOf(Event::Closed);
    play.run();
    EXPECT_EQ(play.said(), "") << "it left before that was done";
    play.tellOf(Event::Connected);
    play.tellOf(Event::Running);
    play.run();
    EXPECT_NE(play.said().find("InitiatePhoneCall"), std::string::npos) << "the next one";
    play.settle(flag(51, ePHONECALLSTATUS_Active));
    play.run();
    EXPECT_EQ(play.director.verdict(),
              "s:5: 'wait-for PhoneCallStatusResponse timeout 0': no 'PhoneCallStatusResponse' of "
              "head unit 1 within 0 ms")
        << "one packet serves one step";
}

TEST(PhoneScript, JudgesWhatWasAndWhatMustNotBe) {
    struct Case {
        const char* line;
        const char* verdict;
    };
    const Case cases[] = {
        {"expect fault", ""},
        {"expect fault flags", ""},
        {"expect-no fault region", ""},
        {"expect-no fault", "there was 'fault' of head unit 1"},
        {"expect-no closed", ""},
        {"expect connected", ""},
        {"unit 2\nexpect connected", "there was no 'connected' of head unit 2"},
    };
    for (const Case& c : cases) {
        Play play(c.line);
        play.begin();
        play.settle({eEVENTTYPE_ClientInitDone, 1, 0, 0, 0, 1, 0, 0, 0, 1});
        play.run();
        const std::string verdict = play.director.verdict();
        const std::string expected = c.verdict;
        EXPECT_EQ(verdict.empty(), expected.empty()) << c.line << ": " << verdict;
        EXPECT_TRUE(verdict.ends_with(expected)) << c.line << ": " << verdict;
    }
}

}  // namespace
