/* Audio requests, the host's answers, and the resulting audio type. */
#include <gtest/gtest.h>

#include "Calls.h"
#include "Radio.h"

namespace quarlo::test {
namespace {

/* ---- mixing ---- */

TEST(AudioMixing, RanksMainAboveAll) {
    // Rows: the present type, 1 to 6; columns: the additional one.
    constexpr unsigned table[6][6] = {{1, 2, 3, 4, 5, 6}, {2, 2, 3, 4, 5, 6}, {3, 3, 3, 3, 3, 3},
                                      {4, 4, 3, 4, 5, 6}, {5, 5, 3, 5, 5, 6}, {6, 6, 3, 6, 6, 6}};
    const auto type = [](unsigned value) { return static_cast<AudioType>(value); };
    for (unsigned current = 1; current <= 6; ++current) {
        for (unsigned more = 1; more <= 6; ++more) {
            EXPECT_EQ(mixAudioTypes(type(current), type(more)), type(table[current - 1][more - 1]))
                << current << " and " << more;
        }
        for (const unsigned unknown : {0U, 7U, 255U}) {
            EXPECT_EQ(mixAudioTypes(type(current), type(unknown)), eAUDIOTYPE_Ignore);
        }
    }
    for (const unsigned unknown : {0U, 7U, 255U}) {
        EXPECT_EQ(mixAudioTypes(type(unknown), eAUDIOTYPE_Ignore), type(unknown));
        EXPECT_EQ(mixAudioTypes(type(unknown), eAUDIOTYPE_Silent), type(unknown));
        EXPECT_EQ(mixAudioTypes(type(unknown), eAUDIOTYPE_Main), eAUDIOTYPE_Main);
        for (const unsigned more : {4U, 5U, 6U}) {
            EXPECT_EQ(mixAudioTypes(type(unknown), type(more)), eAUDIOTYPE_Ignore);
        }
    }
}

/* ---- requests ---- */

TEST(AudioRequest, AndReleaseReachTheHostOnce) {
    const Library library;
    Radio radio;
    EXPECT_EQ(radio.ask(5, eAUDIOTYPE_Main, 0),
              (Lines{"INF ServerAudio requestID=5 type=Main command=Request maxDuration=0",
                     "audio Request 5 3"}));
    EXPECT_EQ(radio.ask(5, eAUDIOTYPE_Chime, 9),
              (Lines{"INF ServerAudio requestID=5 type=Chime command=Request maxDuration=9",
                     "WRN Request: entry already existent for requestID 5; request ignored."}));
    // The type told is the packet's.
    EXPECT_EQ(radio.giveBack(5, eAUDIOTYPE_Chime),
              (Lines{"INF ServerAudio requestID=5 type=Chime command=Release maxDuration=0",
                     "audio Release 5 4"}));
    EXPECT_EQ(radio.giveBack(5, eAUDIOTYPE_Main),
              Lines{"INF ServerAudio requestID=5 type=Main command=Release maxDuration=0"});
    EXPECT_EQ(radio.giveBack(0xFFFFFFFF, eAUDIOTYPE_Main),
              (Lines{"INF ServerAudio requestID=-1 type=Main command=Release maxDuration=0",
                     "WRN Release: no entry found for requestID -1; ignored."}));
    EXPECT_EQ(radio.sources(), Lines{"5 type 3 status 0 released"});
    EXPECT_EQ(radio.hear(serverAudio(6, 9, 99, 65535)),
              (Lines{"INF ServerAudio requestID=6 type=unknown command=unknown maxDuration=65535",
                     "WRN unknown Command in ServerAudio packet."}));
    EXPECT_TRUE(radio.sent().empty());
}

TEST(AudioRequest, NeedsCapabilityRunAndPacket) {
    const Library library;
    Radio radio;
    quarlo_SetClientCapabilities(radio.handle(), eCLIENTCAPABILITIES_AudioHandling, 0);
    EXPECT_EQ(radio.ask(5, eAUDIOTYPE_Main, 0).back(),
              "WRN ServerAudio received, but audio handling not supported; ignored.");
    EXPECT_EQ(radio.sources(), Lines{});
    EXPECT_EQ(radio.during([&] { onReceiveServerAudio(radio.host.record(), nullptr); }),
              Lines{"WRN ServerAudio called with NULL packet."});
    Host idle;
    packetServerAudio packet{};
    onReceiveServerAudio(idle.record(), &packet);
    onReceiveServerAudio(nullptr, &packet);
    EXPECT_EQ(idle.lines(), Lines{"WRN ServerAudio received in wrong state; ignored."});
}

TEST(AudioRequest, SettersTrace) {
    const Library library;
    Host idle;
    EXPECT_EQ(quarlo_SetAudioRequestCallback(idle.handle(), nullptr), eRETURN_OKAY);
    EXPECT_EQ(idle.lines(), Lines{"INF SetAudioRequestCallback"});
}

TEST(AudioRequest, WithoutCallbackIsKept) {
    const Library library;
    Radio radio;
    quarlo_SetAudioRequestCallback(radio.handle(), nullptr);
    EXPECT_EQ(radio.ask(5, eAUDIOTYPE_Main, 0).size(), 1U);
    EXPECT_EQ(radio.giveBack(5, eAUDIOTYPE_Main).size(), 1U);
    EXPECT_EQ(radio.sources(), Lines{"5 type 3 status 0 released"});
}

TEST(AudioRequest, IsBoundedForTheProcess) {
    const Library library;
    Radio one;
    Radio other;
    for (UInt32 id = 0; id < 255; ++id) one.ask(id, eAUDIOTYPE_Chime, 0);
    EXPECT_EQ(other.ask(255, eAUDIOTYPE_Main, 0).back(), "audio Request 255 3");
    const std::string refused = "WRN audio source structure allocation failed.";
    EXPECT_EQ(one.ask(256, eAUDIOTYPE_Chime, 0).back(), refused);
    EXPECT_EQ(other.ask(256, eAUDIOTYPE_Chime, 0).back(), refused);
    EXPECT_EQ(one.sources().size(), 256U);
    EXPECT_EQ(other.answer(255, eAUDIOSTATUS_Reject), eRETURN_OKAY);
    EXPECT_EQ(one.ask(256, eAUDIOTYPE_Chime, 0).back(), "audio Request 256 4");
}

TEST(AudioRequest, WithoutMemoryIsDropped) {
    const Library library;
    Radio radio;
    allocations::restart(1);
    EXPECT_EQ(radio.ask(5, eAUDIOTYPE_Main, 0).back(),
              "WRN audio source structure allocation failed.");
    allocations::restart();
    EXPECT_EQ(radio.sources(), Lines{});
    EXPECT_EQ(radio.ask(5, eAUDIOTYPE_Main, 0).back(), "audio Request 5 3");
}

/* ---- answers to requests without a limit ---- */

struct Answer {
    AudioStatus status;
    Lines lines;
    Lines sources;
    unsigned mixed;
};

const Lines acknowledged{"INF pending open request acknowledged"};
const Lines noPending{"INF There is no pending 'open' request"};
const Lines needsOpen{"WRN transition to 'suspend' requires state 'open'"};
const Lines unexpected{"WRN unexpected 'close' status"};

std::string nameOf(AudioStatus status) {
    switch (status) {
        case eAUDIOSTATUS_Reject:
            return "Reject";
        case eAUDIOSTATUS_Open:
            return "Open";
        case eAUDIOSTATUS_Suspend:
            return "Suspend";
        case eAUDIOSTATUS_Close:
            return "Close";
        default:
            return "unknown";
    }
}

struct Story {
    const char* name;
    std::vector<Answer> answers;
};

const Story stories[] = {
    {"rejected", {{eAUDIOSTATUS_Reject, {}, {}, 2}}},
    {"opened and closed",
     {{eAUDIOSTATUS_Open, acknowledged, {"5 type 3 status 3"}, 3},
      {eAUDIOSTATUS_Close, {}, {}, 2}}},
    {"opened, suspended, opened, suspended and closed",
     {{eAUDIOSTATUS_Open, acknowledged, {"5 type 3 status 3"}, 3},
      {eAUDIOSTATUS_Suspend, {}, {"5 type 3 status 4"}, 3},
      {eAUDIOSTATUS_Open, {}, {"5 type 3 status 3"}, 3},
      {eAUDIOSTATUS_Suspend, {}, {"5 type 3 status 4"}, 3},
      {eAUDIOSTATUS_Close, {}, {}, 2}}},
    {"opened and rejected",
     {{eAUDIOSTATUS_Open, acknowledged, {"5 type 3 status 3"}, 3},
      {eAUDIOSTATUS_Reject, noPending, {}, 2}}},
    {"suspended before it was opened",
     {{eAUDIOSTATUS_Suspend, needsOpen, {"5 type 3 status 4 requested"}, 2},
      {eAUDIOSTATUS_Close, {}, {}, 2}}},
    {"closed before it was opened",
     {{eAUDIOSTATUS_Close, unexpected, {"5 type 3 status 6 requested"}, 1},
      {eAUDIOSTATUS_Open, acknowledged, {"5 type 3 status 3"}, 3},
      {eAUDIOSTATUS_Close, {}, {}, 2}}},
    {"given a status of no meaning",
     {{static_cast<AudioStatus>(99), {}, {"5 type 3 status 99 requested"}, 1},
      {eAUDIOSTATUS_Reject, {}, {}, 2}}},
};

TEST(AudioAnswer, IsSentAndKept) {
    for (const Story& story : stories) {
        SCOPED_TRACE(story.name);
        const Library library;
        Radio radio;
        radio.ask(5, eAUDIOTYPE_Main, 0);
        for (const Answer& a : story.answers) {
            const std::string status = nameOf(a.status);
            EXPECT_EQ(
                radio.during([&] {
                    EXPECT_EQ(radio.answer(5, a.status, eAUDIOREQUESTRESULTCODE_UnknownError),
                              eRETURN_OKAY);
                }),
                Lines{"INF SetAudioStatus requestID=5 status=" + status} + a.lines + sendLine);
            EXPECT_EQ(radio.sent(), hexes({packet(59, u32(5) + u8(a.status) + u8(255))}));
            EXPECT_EQ(radio.sources(), a.sources);
            EXPECT_EQ(mixed(), a.mixed);
        }
    }
}

TEST(AudioAnswer, OfAnEndedSourceLowersTheTypeToTheLargestNumber) {
    const Library library;
    Radio radio;
    radio.ask(1, eAUDIOTYPE_Main, 0);
    radio.ask(2, eAUDIOTYPE_Chime, 0);
    radio.ask(3, eAUDIOTYPE_CriticalAnnouncement, 0);
    for (UInt32 id = 1; id <= 3; ++id) radio.answer(id, eAUDIOSTATUS_Open);
    EXPECT_EQ(mixed(), 3U);
    radio.answer(3, eAUDIOSTATUS_Close);
    EXPECT_EQ(mixed(), 4U);
    radio.answer(2, eAUDIOSTATUS_Close);
    EXPECT_EQ(mixed(), 3U);
    radio.answer(1, eAUDIOSTATUS_Close);
    EXPECT_EQ(mixed(), 2U);
}

TEST(AudioAnswer, IsRefused) {
    const Library library;
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Main, 0);
    EXPECT_EQ(
        radio.during([&] { EXPECT_EQ(radio.answer(6, eAUDIOSTATUS_Open), eRETURN_NOT_FOUND); }),
        (Lines{"INF SetAudioStatus requestID=6 status=Open",
               "WRN     no audio source for request ID found; status call ignored."}));
    radio.host.record()->serverCapabilities = 5;
    EXPECT_EQ(
        radio.during([&] { EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Open), eRETURN_NOT_SUPPORTED); }),
        (Lines{"INF SetAudioStatus requestID=5 status=Open",
               "WRN call to Audio handling not supported by handset."}));
    EXPECT_EQ(radio.sources(), Lines{"5 type 3 status 0 requested"});
    EXPECT_TRUE(radio.sent().empty());
}

TEST(AudioAnswer, OutsideRunIsStoredOnly) {
    const Library library;
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Main, 0);
    radio.host.endLink();
    radio.host.waitFor("state STOP");
    radio.forget();
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Open), eRETURN_STATE_NOT_RUN);
    EXPECT_EQ(radio.sources(), Lines{"5 type 3 status 3"});
    EXPECT_EQ(radio.answer(5, eAUDIOSTATUS_Close), eRETURN_STATE_NOT_RUN);
    EXPECT_EQ(radio.sources(), Lines{"5 type 3 status 6"});
    EXPECT_TRUE(radio.sent().empty());
}

TEST(AudioAnswer, MayComeFromInsideTheCallbacks) {
    const Library library;
    Radio radio;
    struct {
        std::vector<AudioStatus> toRequest;
        std::vector<AudioStatus> toRelease;
        Lines afterRequest;
        Lines afterRelease;
    } const hosts[] = {
        {{eAUDIOSTATUS_Reject}, {}, {}, {}},
        {{eAUDIOSTATUS_Close}, {eAUDIOSTATUS_Reject}, {"5 type 3 status 6 requested"}, {}},
        {{eAUDIOSTATUS_Open}, {eAUDIOSTATUS_Close}, {"5 type 3 status 3"}, {}},
        {{eAUDIOSTATUS_Open, eAUDIOSTATUS_Close}, {}, {}, {}},
        {{}, {eAUDIOSTATUS_Open}, {"5 type 3 status 0 requested"}, {"5 type 3 status 3 released"}},
    };
    for (const auto& h : hosts) {
        radio.react([&](AudioControl control, UInt32 id) {
            for (const AudioStatus status :
                 control == eAUDIOCONTROL_Request ? h.toRequest : h.toRelease) {
                EXPECT_EQ(radio.answer(id, status), eRETURN_OKAY);
            }
        });
        radio.ask(5, eAUDIOTYPE_Main, 0);
        EXPECT_EQ(radio.sources(), h.afterRequest);
        EXPECT_EQ(radio.sent().size(), h.toRequest.size());
        radio.giveBack(5, eAUDIOTYPE_Main);
        EXPECT_EQ(radio.sources(), h.afterRelease);
    }
}

TEST(AudioAnswer, OfAnotherInstanceFindsTheSource) {
    const Library library;
    Radio one;
    Radio other;
    one.ask(5, eAUDIOTYPE_Chime, 0);
    EXPECT_EQ(other.answer(5, eAUDIOSTATUS_Open), eRETURN_OKAY);
    EXPECT_TRUE(one.sent().empty());
    EXPECT_EQ(other.sent(), hexes({packet(59, u32(5) + u8(3) + u8(0))}));
    EXPECT_EQ(mixed(), 4U);
}

/* ---- the query ---- */

TEST(AudioType, IsAnsweredForAllInstances) {
    const Library library;
    Radio one;
    Radio other;
    const auto query = [](Radio& radio) { return radio.hear(packet(64)); };
    EXPECT_EQ(query(one), Lines{"INF RequestAudioType"} + sendLine);
    EXPECT_EQ(one.sent(), hexes({packet(65, u8(1))}));
    other.ask(5, eAUDIOTYPE_Announcement, 0);
    other.answer(5, eAUDIOSTATUS_Open);
    query(one);
    EXPECT_EQ(one.sent(), hexes({packet(65, u8(5))}));
    quarlo_SetClientCapabilities(one.handle(), eCLIENTCAPABILITIES_AudioHandling, 0);
    EXPECT_EQ(query(one),
              (Lines{"INF RequestAudioType", "WRN     audio handling not supported."} + sendLine));
    EXPECT_EQ(one.sent(), hexes({packet(65, u8(1))}));
    EXPECT_EQ(one.during([&] { onReceiveRequestAudioType(one.host.record(), nullptr); }),
              Lines{"WRN RequestAudioType called with NULL packet."});
    Host idle;
    packetRequestAudioType packet{};
    onReceiveRequestAudioType(idle.record(), &packet);
    onReceiveRequestAudioType(nullptr, &packet);
    EXPECT_EQ(idle.lines(), Lines{"WRN RequestAudioType received in wrong state; ignored."});
}

TEST(AudioType, FallsOnlyWhenADeletedInstanceHadSources) {
    const Library library;
    Radio stays;
    stays.ask(1, eAUDIOTYPE_Chime, 0);
    stays.ask(2, eAUDIOTYPE_Main, 0);
    stays.answer(2, eAUDIOSTATUS_Open);
    { Radio silent; }
    EXPECT_EQ(mixed(), 3U);
    {
        Radio loud;
        loud.ask(3, eAUDIOTYPE_CriticalAnnouncement, 0);
        EXPECT_EQ(stays.sources().size(), 3U);
    }
    EXPECT_EQ(mixed(), 4U);
    EXPECT_EQ(stays.sources().size(), 2U);
}

/* ---- the element operations ---- */

TEST(AudioSources, ArePrintedFoundAndCompared) {
    const Library library;
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Main, 9);
    radio.ask(6, eAUDIOTYPE_Chime, 0);
    radio.giveBack(6, eAUDIOTYPE_Chime);
    radio.answer(6, eAUDIOSTATUS_Open);
    genericListElement* const first = listGetFirstElement(&audioSourceList);
    genericListElement* const second = listGetNextElement(&audioSourceList);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(listPrintElementAudio(first), eRETURN_OKAY);
    EXPECT_EQ(listPrintElementAudio(second), eRETURN_OKAY);
    std::fflush(stdout);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "      type       Main\n      status     unknown\n      requestID  5\n"
              "      duration   9\n      request    pending\n      release    -\n"
              "      type       Chime\n      status     Open\n      requestID  6\n"
              "      duration   0\n      request    -\n      release    pending\n");
    EXPECT_EQ(listFindElementAudioRequestID(&audioSourceList, second), second);
    EXPECT_EQ(listFindElementAudioRequestID(nullptr, second), nullptr);
    EXPECT_EQ(listFindElementAudioRequestID(&audioSourceList, nullptr), nullptr);
    EXPECT_EQ(listIsEqualAudioRequestID(first, first), 1);
    EXPECT_EQ(listIsEqualAudioRequestID(first, second), 0);
    EXPECT_EQ(listIsEqualAudioRequestID(nullptr, second), 0);
    EXPECT_EQ(listIsEqualAudioRequestID(first, nullptr), 0);
    EXPECT_EQ(listPrintElementAudio(nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(listFreeElementDataAudio(nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(quarlo_AudioTimeoutThread(nullptr), nullptr);
}

}  // namespace
}  // namespace quarlo::test
