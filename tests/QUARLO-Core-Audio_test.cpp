/* Audio requests, the host's answers, and the resulting audio type. */
#include <gtest/gtest.h>

#include "Calls.h"
#include "QUARLO.Connector.IVI-API_C.h"
#include "Radio.h"

namespace quarlo::test {
namespace {

TEST(AudioMixing, RanksMainAboveAll) {
    // Rows: the present type; columns: the additional one. 0 and 7 are no types.
    constexpr unsigned table[8][8] = {{1, 0, 0, 3, 1, 1, 1, 1}, {1, 1, 2, 3, 4, 5, 6, 1},
                                      {1, 2, 2, 3, 4, 5, 6, 1}, {1, 3, 3, 3, 3, 3, 3, 1},
                                      {1, 4, 4, 3, 4, 5, 6, 1}, {1, 5, 5, 3, 5, 5, 6, 1},
                                      {1, 6, 6, 3, 6, 6, 6, 1}, {1, 7, 7, 3, 1, 1, 1, 1}};
    for (unsigned current = 0; current < 8; ++current) {
        for (unsigned more = 0; more < 8; ++more) {
            EXPECT_EQ(mixAudioTypes(static_cast<AudioType>(current), static_cast<AudioType>(more)),
                      static_cast<AudioType>(table[current][more]))
                << current << " and " << more;
        }
    }
}

/* ---- requests ---- */

std::string audio(const char* rest) {
    return std::string("INF ServerAudio requestID=") + rest;
}

TEST(AudioRequest, AndReleaseReachTheHostOnce) {
    Radio radio;
    EXPECT_EQ(radio.ask(5, eAUDIOTYPE_Main, 0),
              (Lines{audio("5 type=Main command=Request maxDuration=0"), "AudioRequest 1 5 3"}));
    EXPECT_EQ(radio.ask(5, eAUDIOTYPE_Chime, 9),
              (Lines{audio("5 type=Chime command=Request maxDuration=9"),
                     "WRN Request: entry already existent for requestID 5; request ignored."}));
    // The type told is the packet's.
    EXPECT_EQ(radio.giveBack(5, eAUDIOTYPE_Chime),
              (Lines{audio("5 type=Chime command=Release maxDuration=0"), "AudioRequest 5 5 4"}));
    EXPECT_EQ(radio.giveBack(5, eAUDIOTYPE_Main),
              Lines{audio("5 type=Main command=Release maxDuration=0")});
    EXPECT_EQ(radio.giveBack(0xFFFFFFFF, eAUDIOTYPE_Main),
              (Lines{audio("-1 type=Main command=Release maxDuration=0"),
                     "WRN Release: no entry found for requestID -1; ignored."}));
    EXPECT_EQ(radio.hear(serverAudio(6, 9, 99, 65535)),
              (Lines{audio("6 type=unknown command=unknown maxDuration=65535"),
                     "WRN unknown Command in ServerAudio packet."}));
    EXPECT_EQ(radio.sources(), Lines{"5 type 3 status 0 released"});

    quarlo_SetAudioRequestCallback(radio.handle(), nullptr);
    EXPECT_EQ(radio.ask(7, eAUDIOTYPE_Main, 0).size(), 1U);
    EXPECT_EQ(radio.giveBack(7, eAUDIOTYPE_Main).size(), 1U);
    EXPECT_EQ(hearWithoutMemory(radio, serverAudio(8, 1, 3, 0)).back(),
              "WRN audio source structure allocation failed.");
    quarlo_SetClientCapabilities(radio.handle(), eCLIENTCAPABILITIES_AudioHandling, 0);
    EXPECT_EQ(radio.ask(9, eAUDIOTYPE_Main, 0).back(),
              "WRN ServerAudio received, but audio handling not supported; ignored.");
    EXPECT_EQ(radio.sources(), (Lines{"5 type 3 status 0 released", "7 type 3 status 0 released"}));
    Idle idle;
    expectRefusals(idle, onReceiveServerAudio, {"WRN ServerAudio called with NULL packet."},
                   {"WRN ServerAudio received in wrong state; ignored."});
}

TEST(AudioRequest, IsBoundedForTheProcess) {
    Radio one;
    Radio other;
    for (UInt32 id = 0; id < 255; ++id) one.ask(id, eAUDIOTYPE_Chime, 0);
    EXPECT_EQ(other.ask(255, eAUDIOTYPE_Main, 0).back(), "AudioRequest 1 255 3");
    for (Radio* any : {&one, &other}) {
        EXPECT_EQ(any->ask(256, eAUDIOTYPE_Chime, 0).back(),
                  "WRN audio source structure allocation failed.");
    }
    EXPECT_EQ(one.sources().size(), 256U);
    other.answer(255, eAUDIOSTATUS_Reject);
    EXPECT_EQ(one.ask(256, eAUDIOTYPE_Chime, 0).back(), "AudioRequest 1 256 4");
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

const Answer opened{eAUDIOSTATUS_Open, acknowledged, {"5 type 3 status 3"}, 3};
const Answer openedAgain{eAUDIOSTATUS_Open, {}, {"5 type 3 status 3"}, 3};
const Answer suspended{eAUDIOSTATUS_Suspend, {}, {"5 type 3 status 4"}, 3};
const Answer closed{eAUDIOSTATUS_Close, {}, {}, 2};

TEST(AudioAnswer, IsSentAndKept) {
    const std::vector<Answer> stories[] = {
        {{eAUDIOSTATUS_Reject, {}, {}, 2}},
        {opened, closed},
        {opened, suspended, openedAgain, suspended, closed},
        {opened, {eAUDIOSTATUS_Reject, noPending, {}, 2}},
        {{eAUDIOSTATUS_Suspend, needsOpen, {"5 type 3 status 4 requested"}, 2}, closed},
        {{eAUDIOSTATUS_Close, unexpected, {"5 type 3 status 6 requested"}, 1}, opened, closed},
        {{static_cast<AudioStatus>(99), {}, {"5 type 3 status 99 requested"}, 1},
         {eAUDIOSTATUS_Reject, {}, {}, 2}}};
    for (const auto& answers : stories) {
        Radio radio;
        radio.ask(5, eAUDIOTYPE_Main, 0);
        for (const Answer& a : answers) {
            EXPECT_EQ(radio.call(quarlo_SetAudioStatus, 5, a.status,
                                 eAUDIOREQUESTRESULTCODE_UnknownError),
                      Lines{std::string("INF SetAudioStatus requestID=5 status=") +
                            _quarlo_getAudioStatusName(a.status)} +
                          a.lines + sending(packet(59, u32(5) + u8(a.status) + u8(255))));
            EXPECT_EQ(radio.sources(), a.sources);
            EXPECT_EQ(mixed(), a.mixed);
        }
    }
}

TEST(AudioAnswer, IsRefusedOrStoredOnly) {
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Main, 0);
    const auto answer = [&](UInt32 id, AudioStatus status) {
        return radio.call(quarlo_SetAudioStatus, id, status, eAUDIOREQUESTRESULTCODE_NoError);
    };
    EXPECT_EQ(answer(6, eAUDIOSTATUS_Open),
              (Lines{"INF SetAudioStatus requestID=6 status=Open",
                     "WRN     no audio source for request ID found; status call ignored.",
                     "= NOT_FOUND"}));
    const Lines opens{"INF SetAudioStatus requestID=5 status=Open"};
    radio.record()->serverCapabilities = 5;
    EXPECT_EQ(answer(5, eAUDIOSTATUS_Open),
              opens + "WRN call to Audio handling not supported by handset." + "= NOT_SUPPORTED");
    EXPECT_EQ(radio.sources(), Lines{"5 type 3 status 0 requested"});
    radio.record()->serverCapabilities = 7;
    radio.host.endLink();
    radio.host.waitFor("state STOP");
    EXPECT_EQ(answer(5, eAUDIOSTATUS_Open).back(), "= STATE_NOT_RUN");
    EXPECT_EQ(radio.sources(), Lines{"5 type 3 status 3"});
    EXPECT_EQ(answer(5, eAUDIOSTATUS_Close).back(), "= STATE_NOT_RUN");
    EXPECT_EQ(radio.sources(), Lines{"5 type 3 status 6"});
}

TEST(AudioAnswer, MayComeFromInsideTheCallbacks) {
    Radio radio;
    const struct {
        std::vector<AudioStatus> toRequest;
        std::vector<AudioStatus> toRelease;
        Lines afterRequest;
        Lines afterRelease;
    } hosts[] = {
        {{eAUDIOSTATUS_Reject}, {}, {}, {}},
        {{eAUDIOSTATUS_Close}, {eAUDIOSTATUS_Reject}, {"5 type 3 status 6 requested"}, {}},
        {{eAUDIOSTATUS_Open}, {eAUDIOSTATUS_Close}, {"5 type 3 status 3"}, {}},
        {{eAUDIOSTATUS_Open, eAUDIOSTATUS_Close}, {}, {}, {}},
        {{}, {eAUDIOSTATUS_Open}, {"5 type 3 status 0 requested"}, {"5 type 3 status 3 released"}},
    };
    for (const auto& h : hosts) {
        radio.host.reaction = [&](const Heard& what) {
            const bool isRequest = what.numbers[0] == eAUDIOCONTROL_Request;
            for (const AudioStatus status : isRequest ? h.toRequest : h.toRelease) {
                EXPECT_EQ(radio.answer(5, status), eRETURN_OKAY);
            }
        };
        radio.ask(5, eAUDIOTYPE_Main, 0);
        EXPECT_EQ(radio.sources(), h.afterRequest);
        radio.giveBack(5, eAUDIOTYPE_Main);
        EXPECT_EQ(radio.sources(), h.afterRelease);
    }
}

/* ---- the type of all ---- */

TEST(AudioType, IsThatOfAllInstances) {
    Radio stays;
    stays.ask(1, eAUDIOTYPE_Main, 0);
    stays.ask(2, eAUDIOTYPE_Chime, 0);
    {
        Radio loud;
        loud.ask(3, eAUDIOTYPE_CriticalAnnouncement, 0);
        // Whichever instance answers, it is the one that sends.
        EXPECT_EQ(loud.call(quarlo_SetAudioStatus, 1, eAUDIOSTATUS_Open, {}),
                  Lines{"INF SetAudioStatus requestID=1 status=Open"} + acknowledged +
                      sending(packet(59, u32(1) + u8(3) + u8(0))));
        loud.answer(3, eAUDIOSTATUS_Open);
        EXPECT_EQ(mixed(), 3U);
        { Radio silent; }
        EXPECT_EQ(mixed(), 3U);
    }
    // After an end it is the largest number.
    EXPECT_EQ(mixed(), 4U);
    EXPECT_EQ(stays.sources(), (Lines{"1 type 3 status 3", "2 type 4 status 0 requested"}));
    stays.answer(2, eAUDIOSTATUS_Open);
    EXPECT_EQ(mixed(), 4U);
    stays.ask(4, eAUDIOTYPE_Chime, 0);
    for (const auto& [ended, left] : {std::pair(4U, 4U), std::pair(2U, 3U), std::pair(1U, 2U)}) {
        stays.answer(ended, eAUDIOSTATUS_Open);
        stays.answer(ended, eAUDIOSTATUS_Close);
        EXPECT_EQ(mixed(), left) << ended;
    }
}

TEST(AudioType, IsAnsweredForAllInstances) {
    Radio one;
    Radio other;
    const Lines asked{"INF RequestAudioType"};
    EXPECT_EQ(one.hear(packet(64)), asked + sending(packet(65, u8(1))));
    other.ask(5, eAUDIOTYPE_Announcement, 0);
    other.answer(5, eAUDIOSTATUS_Open);
    EXPECT_EQ(one.hear(packet(64)), asked + sending(packet(65, u8(5))));
    quarlo_SetClientCapabilities(one.handle(), eCLIENTCAPABILITIES_AudioHandling, 0);
    EXPECT_EQ(one.hear(packet(64)),
              asked + "WRN     audio handling not supported." + sending(packet(65, u8(1))));
    Idle idle;
    expectRefusals(idle, onReceiveRequestAudioType,
                   {"WRN RequestAudioType called with NULL packet."},
                   {"WRN RequestAudioType received in wrong state; ignored."});
}

TEST(AudioSources, ArePrintedFoundAndCompared) {
    Radio radio;
    radio.ask(5, eAUDIOTYPE_Main, 9);
    radio.ask(6, eAUDIOTYPE_Chime, 0);
    radio.giveBack(6, eAUDIOTYPE_Chime);
    radio.answer(6, eAUDIOSTATUS_Open);
    expectOperations(audioSourceList,
                     "      type       Main\n      status     unknown\n      requestID  5\n"
                     "      duration   9\n      request    pending\n      release    -\n"
                     "      type       Chime\n      status     Open\n      requestID  6\n"
                     "      duration   0\n      request    -\n      release    pending\n");
    EXPECT_EQ(quarlo_AudioTimeoutThread(nullptr), nullptr);
}

}  // namespace
}  // namespace quarlo::test
