// Changes of frames through a session, with phones that answer, refuse, are slow or go: what the
// phone is sent, when the host hears of it, and how it ends.
#include <gtest/gtest.h>

#include <map>

#include "Host.h"
#include "Rig.h"

namespace quarlo::test {
namespace {

using Texts = std::vector<std::string>;

Reports& reportsOf(void* context) {
    return *static_cast<Reports*>(context);
}

eReturnCode configure(void*, quarloSession*, void* instance) {
    quarlo_SetTraceClass(instance, eTRACECLASS_NONE);
    quarlo_OverrideCompressionFormat(instance, eFRAMECOMPRESSION_ZLIB);
    quarlo_SetFrameUpdateStartCallback(instance, [](void*, UInt8) {});
    quarlo_SetFrameUpdateCallback(
        instance, [](void* context, UInt8, UInt16, UInt16, UInt16, UInt16, UInt8*, UInt32) {
            // Slow, so that what comes behind it could be noticed before it is over.
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            reportsOf(context).note("frame");
        });
    quarlo_SetFrameUpdateEndCallback(instance, [](void*) {});
    return eRETURN_OKAY;
}

void onChange(void* context, quarloSession*, const quarloFrameChangeInfo* info) {
    const bool isOver = info->phase == eCHANGEPHASE_Over;
    reportsOf(context).note((isOver ? "over " : "changing ") + std::to_string(info->result));
}

SessionSetup setupOf(Reports& reports, UInt16 port) {
    SessionSetup setup = configOf(reports, port);
    setup.configure = configure;
    setup.changeCallback = onChange;
    setup.changeLimit = 60000;
    return setup;
}

quarloFrameChange changeOf(UInt32 what, UInt16 width = 320) {
    quarloFrameChange change = {};
    change.size = sizeof change;
    change.what = what;
    change.width = width;
    change.height = 240;
    change.bytesPerPixel = 2;
    change.format = ePIXELFORMAT_RGB565;
    change.order = ePIXELENDIANESS_LittleEndian;
    change.compression = eFRAMECOMPRESSION_Uncompressed;
    return change;
}

constexpr UInt32 all = eFRAMECHANGE_Size | eFRAMECHANGE_PixelFormat | eFRAMECHANGE_Compression;

Bytes yes(const Bytes& seen) {
    const bool isSetting = seen[0] == 21 || seen[0] == 23 || seen[0] == 27;
    return isSetting ? packet(seen[0] + 1U, u8(1)) : Bytes{};
}

/// What the phone saw: the type, and the payload of those that suspend or override.
std::string name(const Bytes& seen) {
    if (seen[0] == 35) return part(seen, 9, seen.size()) == Bytes{3, 1} ? "suspend" : "resume";
    if (seen[0] == 23) return "compression " + std::to_string(seen[9]);
    return std::to_string(seen[0]);
}

const Bytes frame = packet(26, u8(1) + u16(0) + u16(0) + u16(1) + u16(1) + u8(3) + u8(2) + u32(4) +
                                   u8(4) + u8(100) + u8(100) + u32(4) + Bytes(4, 9));
const Bytes fence = packet(24, u8(1));
const Bytes gone = {0};

using Answers = std::map<std::string, Bytes>;

Answers answering(const char* seen, const Bytes& answer) {
    return {{seen, answer}};
}

std::string joined(const Texts& texts) {
    std::string whole;
    for (const std::string& each : texts) whole += (whole.empty() ? "" : ", ") + each;
    return whole;
}

TEST(ChangeFrames, EndsAsThePhoneAnswers) {
    struct Case {
        const char* what;
        UInt32 change;
        Answers answers;   // that are no simple yes
        std::string seen;  // by the phone
        std::string said;  // to the host; it ends with the result
        UInt32 limit = 60000;
    };
    const Answers mute = {{"compression 2", {}}, {"21", {}}, {"27", {}}, {"compression 4", {}}};
    const Answers fenceOnly = {{"21", {}}, {"27", {}}, {"compression 4", {}}};
    const char* const fenced = "suspend, compression 2, 21, 27, compression 4, resume";
    const Case cases[] = {
        {"a frame under way comes before, in one piece with the acknowledgement", all,
         answering("compression 2", frame + frame + fence), fenced,
         "frame, frame, changing 0, over 0"},
        {"nothing but a fence", eFRAMECHANGE_Fence, answering("compression 2", frame + fence),
         "suspend, compression 2, resume", "frame, changing 0, over 0"},
        {"a compression needs no fence", eFRAMECHANGE_Compression, Answers(), "compression 4",
         "changing 0, over 0"},
        {"nothing is acknowledged", all, mute, fenced, "changing 2, over 2", 100},
        {"the change is not acknowledged", all, fenceOnly, fenced, "changing 0, over 1", 400},
        {"the compression is refused", all, answering("compression 4", packet(24, u8(0))), fenced,
         "changing 0, over 3"},
        {"the size is refused", all, answering("27", packet(28, u8(0))), fenced,
         "changing 0, over 4"},
        {"the phone goes", all, answering("suspend", gone), "suspend", "over 5"},
    };
    const Library library;
    for (const Case& each : cases) {
        SCOPED_TRACE(each.what);
        Reports reports;
        Texts seen;
        quarloChangeResult result{};
        {
            Phone phone([&](quarloLink* link, int connection) {
                if (connection > 0) return;
                for (Bytes one = nextPacket(link); !one.empty(); one = nextPacket(link)) {
                    if (one[0] != 35 && yes(one).empty()) continue;
                    seen.push_back(name(one));
                    const auto answer = each.answers.find(name(one));
                    if (answer != each.answers.end() && answer->second == gone) return;
                    send(link, answer != each.answers.end() ? answer->second : yes(one));
                }
            });
            SessionSetup setup = setupOf(reports, phone.port());
            setup.changeLimit = each.limit;
            Session session = startSession(setup);
            ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running));
            const quarloFrameChange change = changeOf(each.change);
            EXPECT_EQ(quarloSession_ChangeFrames(session.get(), &change, &result), eRETURN_OKAY);
            if (result == eCHANGERESULT_Refused) {
                EXPECT_TRUE(reports.waitFor(eSESSIONSTATE_Waiting));
                EXPECT_EQ(reports.all()[3].reason, "the phone refused the frame size");
            }
        }
        EXPECT_EQ(joined(reports.notes()), each.said);
        EXPECT_EQ(std::to_string(result), each.said.substr(each.said.size() - 1));
        if (result == eCHANGERESULT_Refused) {
            // The compression is on its way by then, or is not sent any more.
            seen.resize(4);
            EXPECT_EQ(joined(seen), "suspend, compression 2, 21, 27");
        } else {
            EXPECT_EQ(joined(seen), each.seen);
        }
    }
}

TEST(ChangeFrames, FollowEachOtherBehindOneFenceAndLeaveTheHostsSuspension) {
    const Library library;
    Reports reports;
    Texts seen;
    {
        Phone phone([&](quarloLink* link, int) {
            for (Bytes one = nextPacket(link); !one.empty(); one = nextPacket(link)) {
                if (one[0] != 67 && one[0] != 61) seen.push_back(name(one));
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                send(link, yes(one));
            }
        });
        Session session = startSession(setupOf(reports, phone.port()));
        ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running));
        void* instance = quarloSession_Acquire(session.get());
        quarlo_FrameRequestStatus(instance, 1);
        quarloSession_Release(session.get());
        quarloFrameChange change = changeOf(eFRAMECHANGE_Size);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(quarloSession_ChangeFrames(session.get(), &change, nullptr), eRETURN_OKAY);
        }
        quarloChangeResult result{};
        change.what = eFRAMECHANGE_PixelFormat;
        EXPECT_EQ(quarloSession_ChangeFrames(session.get(), &change, &result), eRETURN_OKAY);
        EXPECT_EQ(result, eCHANGERESULT_Done);
        change.what = 16;
        EXPECT_EQ(quarloSession_ChangeFrames(session.get(), &change, nullptr), eRETURN_PARAM_VALUE);
    }
    EXPECT_EQ(reports.notes(),
              (Texts{"changing 0", "changing 0", "changing 0", "over 0", "over 0", "over 0"}));
    EXPECT_EQ(seen, (Texts{"suspend", "suspend", "compression 2", "27", "27", "21", "suspend"}));
}

// The start is for the largest frames. Then come those that are wanted: at first the host's, later
// what was made of them, also by a change that the end overtook, but not by one that was refused.
TEST(ChangeFrames, AreKeptOverConnections) {
    const Library library;
    Reports reports;
    const quarloFrameChange frames = changeOf(eFRAMECHANGE_Size | eFRAMECHANGE_PixelFormat, 1);
    quarloFrameChange largest = frames;
    largest.width = 9;
    quarloObserver observer{sizeof observer, &reports, nullptr, nullptr, nullptr};
    observer.piece = [](void* context, const quarloPiece* piece) {
        if (piece->bytes[0] != eEVENTTYPE_ClientInit) return;
        const std::size_t width = 12U + piece->bytes[10];
        reportsOf(context).note("start " + std::to_string(piece->bytes[width]));
    };
    SessionSetup setup = setupOf(reports, 1);
    setup.frames = &frames;
    setup.largest = &largest;
    setup.observer = &observer;
    setup.changeCallback = [](void* context, quarloSession*, const quarloFrameChangeInfo* info) {
        if (info->phase != eCHANGEPHASE_Over) return;
        const std::string now = std::to_string(info->frames->width);
        reportsOf(context).note("over " + std::to_string(info->result) + ": " + now);
    };
    {
        Phone phone([&](quarloLink* link, int connection) {
            for (Bytes one = nextPacket(link); !one.empty(); one = nextPacket(link)) {
                if (connection == 0 && one[0] == 23) return;  // the fence
                if (one[0] == 27) reports.note("27 " + std::to_string(one[9]));
                const bool isRefusal = connection == 1 && one[0] == 27 && one[9] == 3;
                send(link, isRefusal ? packet(28, u8(0)) : yes(one));
            }
        });
        setup.place.port = phone.port();
        Session session = startSession(setup);
        for (unsigned run = 1; run <= 3; ++run) {
            ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running, run));
            const quarloFrameChange change =
                changeOf(eFRAMECHANGE_Size, static_cast<UInt16>(run + 1));
            quarloChangeResult result{};
            EXPECT_EQ(quarloSession_ChangeFrames(session.get(), &change, &result), eRETURN_OKAY);
        }
    }
    EXPECT_EQ(reports.notes(), (Texts{"start 9", "27 1", "over 5: 2", "start 9", "27 2", "27 3",
                                      "over 4: 2", "start 9", "27 2", "27 4", "over 0: 4"}));
    largest.what = eFRAMECHANGE_Size | eFRAMECHANGE_Compression;
    setup.transport = &setup.place;
    quarloLinkFailure failure{};
    EXPECT_EQ(quarloSession_Start(&setup, &failure), nullptr);
    EXPECT_STREQ(failure.text, "cannot start session: the largest frames make no sense");
}

// A waiting caller gets its result before the session is gone, and a stalled phone delays no end.
TEST(ChangeFrames, EndsWithTheSession) {
    const Library library;
    Reports reports;
    Phone phone(stay);
    Session session = startSession(setupOf(reports, phone.port()));
    ASSERT_TRUE(reports.waitFor(eSESSIONSTATE_Running));
    quarloChangeResult result{};
    const quarloFrameChange change = changeOf(all);
    std::thread waiting([&] { quarloSession_ChangeFrames(session.get(), &change, &result); });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const Clock::time_point start = Clock::now();
    quarloSession_Stop(session.get());
    waiting.join();
    EXPECT_EQ(result, eCHANGERESULT_Lost);
    EXPECT_EQ(quarloSession_ChangeFrames(session.get(), &change, nullptr), eRETURN_STATE_NOT_RUN);
    session.reset();
    EXPECT_LT(millisecondsSince(start), 20000);
}

}  // namespace
}  // namespace quarlo::test
