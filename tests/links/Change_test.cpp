// Changes of frames through a session, with phones that answer, refuse, are slow or go: what the
// phone is sent, when the host hears of it, and how it ends.
#include <gtest/gtest.h>

#include <optional>

#include "Host.h"
#include "Rig.h"

namespace quarlo::test {
namespace {

using Texts = std::vector<std::string>;

// What the host saw, in order.
struct Log : Reports {
    std::mutex texts;
    Texts seen;

    void add(const std::string& text) {
        const std::lock_guard lock(texts);
        seen.push_back(text);
    }
    Texts all() {
        const std::lock_guard lock(texts);
        return seen;
    }
};

Log& logOf(void* context) {
    return *static_cast<Log*>(static_cast<Reports*>(context));
}

eReturnCode configure(void*, quarloSession*, void* instance) {
    quarlo_SetTraceClass(instance, eTRACECLASS_NONE);
    quarlo_OverrideCompressionFormat(instance, eFRAMECOMPRESSION_ZLIB);
    quarlo_SetFrameUpdateStartCallback(instance, [](void*, UInt8) {});
    quarlo_SetFrameUpdateCallback(
        instance, [](void* context, UInt8, UInt16, UInt16, UInt16, UInt16, UInt8*, UInt32) {
            // Slow, so that what comes behind it could be noticed before it is over.
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            logOf(context).add("frame");
        });
    quarlo_SetFrameUpdateEndCallback(instance, [](void*) {});
    return eRETURN_OKAY;
}

void onChange(void* context, quarloSession*, const quarloFrameChangeInfo* info) {
    const bool isOver = info->phase == eCHANGEPHASE_Over;
    logOf(context).add((isOver ? "over " : "changing ") + std::to_string(info->result));
}

Bytes frame() {
    return packet(26, u8(1) + u16(0) + u16(0) + u16(1) + u16(1) + u8(3) + u8(2) + u32(4) + u8(4) +
                          u8(100) + u8(100) + u32(4) + Bytes(4, 9));
}

SessionSetup setupOf(Log& log, UInt16 port) {
    SessionSetup setup = configOf(log, port);
    setup.configure = configure;
    setup.changeCallback = onChange;
    setup.changeLimit = 60000;
    return setup;
}

quarloFrameChange changeOf(UInt32 what) {
    quarloFrameChange change = {};
    change.size = sizeof change;
    change.what = what;
    change.width = 320;
    change.height = 240;
    change.bytesPerPixel = 2;
    change.format = ePIXELFORMAT_RGB565;
    change.order = ePIXELENDIANESS_LittleEndian;
    change.compression = eFRAMECOMPRESSION_Uncompressed;
    return change;
}

// What a phone does with a packet that it is sent.
using Answer = std::function<Bytes(const Bytes& seen)>;

constexpr UInt32 all = eFRAMECHANGE_Size | eFRAMECHANGE_PixelFormat | eFRAMECHANGE_Compression;
const Bytes suspend = {3, 1};
const Bytes resume = {3, 0};

Bytes yes(const Bytes& seen) {
    const bool isSetting = seen[0] == 21 || seen[0] == 23 || seen[0] == 27;
    return isSetting ? packet(seen[0] + 1U, u8(1)) : Bytes{};
}

/// The types that the phone saw since RUN, and the payload of those that suspend or override.
std::string name(const Bytes& seen) {
    const Bytes payload(seen.begin() + 9, seen.end());
    if (seen[0] == 35) return payload == suspend ? "suspend" : "resume";
    if (seen[0] == 23) return "compression " + std::to_string(payload[0]);
    return std::to_string(seen[0]);
}

TEST(ChangeFrames, EndsAsThePhoneAnswers) {
    struct Case {
        const char* what;
        UInt32 change;
        Answer answer;
        quarloChangeResult result;
        Texts seen;  // by the phone
        Texts said;  // to the host
    };
    const Texts fenced = {"suspend", "compression 2", "21", "27", "compression 4", "resume"};
    const Case cases[] = {
        {"a frame under way comes before, in one piece with the acknowledgement",
         all,
         [](const Bytes& seen) {
             return name(seen) == "compression 2" ? frame() + frame() + yes(seen) : yes(seen);
         },
         eCHANGERESULT_Done,
         fenced,
         {"frame", "frame", "changing 0", "over 0"}},
        {"nothing but a fence",
         eFRAMECHANGE_Fence,
         [](const Bytes& seen) {
             return name(seen) == "compression 2" ? frame() + yes(seen) : yes(seen);
         },
         eCHANGERESULT_Done,
         {"suspend", "compression 2", "resume"},
         {"frame", "changing 0", "over 0"}},
        {"a compression needs no fence",
         eFRAMECHANGE_Compression,
         yes,
         eCHANGERESULT_Done,
         {"compression 4"},
         {"changing 0", "over 0"}},
        {"nothing is acknowledged",
         all,
         [](const Bytes&) { return Bytes{}; },
         eCHANGERESULT_Unfenced,
         fenced,
         {"changing 2", "over 2"}},
        {"the change is not acknowledged",
         all,
         [](const Bytes& seen) { return name(seen) == "compression 2" ? yes(seen) : Bytes{}; },
         eCHANGERESULT_Unacknowledged,
         fenced,
         {"changing 0", "over 1"}},
        {"the compression is refused",
         all,
         [](const Bytes& seen) {
             return name(seen) == "compression 4" ? packet(24, u8(0)) : yes(seen);
         },
         eCHANGERESULT_CompressionRefused,
         fenced,
         {"changing 0", "over 3"}},
        {"the size is refused",
         all,
         [](const Bytes& seen) { return seen[0] == 27 ? packet(28, u8(0)) : yes(seen); },
         eCHANGERESULT_Refused,
         {"suspend", "compression 2", "21", "27"},
         {"changing 0", "over 4"}},
        {"the phone goes",
         all,
         [](const Bytes& seen) { return seen[0] == 35 ? Bytes{0} : Bytes{}; },
         eCHANGERESULT_Lost,
         {"suspend"},
         {"over 5"}},
    };
    const Library library;
    for (const Case& each : cases) {
        SCOPED_TRACE(each.what);
        Log log;
        Texts seen;
        std::optional<Phone> phone;
        phone.emplace([&](int descriptor, int connection) {
            if (connection > 0) return;
            for (Bytes one = Phone::nextPacket(descriptor); !one.empty();
                 one = Phone::nextPacket(descriptor)) {
                const bool isWanted = one[0] == 35 || one[0] == 21 || one[0] == 23 || one[0] == 27;
                if (!isWanted) continue;
                seen.push_back(name(one));
                const Bytes answer = each.answer(one);
                if (answer == Bytes{0}) return;
                writeFully(descriptor, answer);
            }
        });
        SessionSetup setup = setupOf(log, phone->port());
        const bool isLate =
            each.result == eCHANGERESULT_Unfenced || each.result == eCHANGERESULT_Unacknowledged;
        if (isLate) setup.changeLimit = 400;
        Session session = startSession(setup);
        ASSERT_TRUE(log.waitFor(eSESSIONSTATE_Running));
        const quarloFrameChange change = changeOf(each.change);
        quarloChangeResult result{};
        EXPECT_EQ(quarloSession_ChangeFrames(session.get(), &change, &result), eRETURN_OKAY);
        EXPECT_EQ(result, each.result);
        if (result == eCHANGERESULT_Refused) {
            EXPECT_TRUE(log.waitFor(eSESSIONSTATE_Waiting));
            EXPECT_EQ(log.Reports::all()[3].reason, "the phone refused the frame size");
        }
        session.reset();
        phone.reset();
        EXPECT_EQ(log.all(), each.said);
        // The phone refuses while the compression is on its way, or is not sent any more.
        if (result == eCHANGERESULT_Refused) seen.resize(std::min(seen.size(), each.seen.size()));
        EXPECT_EQ(seen, each.seen);
    }
}

TEST(ChangeFrames, FollowEachOtherBehindOneFenceAndLeaveTheHostsSuspension) {
    const Library library;
    Log log;
    Texts seen;
    std::optional<Phone> phone;
    phone.emplace([&](int descriptor, int) {
        for (Bytes one = Phone::nextPacket(descriptor); !one.empty();
             one = Phone::nextPacket(descriptor)) {
            if (one[0] != 67 && one[0] != 61) seen.push_back(name(one));
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            writeFully(descriptor, yes(one));
        }
    });
    Session session = startSession(setupOf(log, phone->port()));
    ASSERT_TRUE(log.waitFor(eSESSIONSTATE_Running));
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
    session.reset();
    phone.reset();
    EXPECT_EQ(log.all(),
              (Texts{"changing 0", "changing 0", "changing 0", "over 0", "over 0", "over 0"}));
    EXPECT_EQ(seen, (Texts{"suspend", "suspend", "compression 2", "27", "27", "21", "suspend"}));
}

// The start is for the largest frames. Then come those that are wanted: at first the host's, later
// what was made of them, also by a change that the end overtook, but not by one that was refused.
TEST(ChangeFrames, AreKeptOverConnections) {
    const Library library;
    Log log;
    std::optional<Phone> phone;
    phone.emplace([&](int descriptor, int connection) {
        for (Bytes one = Phone::nextPacket(descriptor); !one.empty();
             one = Phone::nextPacket(descriptor)) {
            if (connection == 0 && one[0] == 23) return;  // the fence
            if (one[0] == 21 || one[0] == 27) log.add(name(one) + " " + std::to_string(one[9]));
            const bool isRefusal = connection == 1 && one[0] == 27 && one[9] == 3;
            writeFully(descriptor, isRefusal ? packet(28, u8(0)) : yes(one));
        }
    });
    quarloFrameChange frames = changeOf(eFRAMECHANGE_Size | eFRAMECHANGE_PixelFormat);
    frames.width = 1;
    quarloFrameChange largest = frames;
    largest.width = 9;
    quarloObserver observer{sizeof observer, &log, nullptr, nullptr, nullptr};
    observer.piece = [](void* context, const quarloPiece* piece) {
        if (piece->bytes[0] != eEVENTTYPE_ClientInit) return;
        const std::size_t width = 12U + piece->bytes[10];
        static_cast<Log*>(context)->add("start " + std::to_string(piece->bytes[width]));
    };
    SessionSetup setup = setupOf(log, phone->port());
    setup.frames = &frames;
    setup.largest = &largest;
    setup.observer = &observer;
    setup.changeCallback = [](void* context, quarloSession*, const quarloFrameChangeInfo* info) {
        if (info->phase != eCHANGEPHASE_Over) return;
        const std::string now = std::to_string(info->frames->width);
        logOf(context).add("over " + std::to_string(info->result) + ": " + now);
    };
    Session session = startSession(setup);
    for (unsigned run = 1; run <= 3; ++run) {
        ASSERT_TRUE(log.waitFor(eSESSIONSTATE_Running, run));
        quarloFrameChange change = changeOf(eFRAMECHANGE_Size);
        change.width = run + 1;
        quarloChangeResult result{};
        EXPECT_EQ(quarloSession_ChangeFrames(session.get(), &change, &result), eRETURN_OKAY);
    }
    session.reset();
    phone.reset();
    EXPECT_EQ(log.all(), (Texts{"start 9", "27 1", "over 5: 2", "start 9", "27 2", "27 3",
                                "over 4: 2", "start 9", "27 2", "27 4", "over 0: 4"}));
    largest.what = eFRAMECHANGE_Size | eFRAMECHANGE_Compression;
    setup.transport = &setup.place;
    quarloLinkFailure failure{};
    EXPECT_EQ(quarloSession_Start(&setup, &failure), nullptr);
    EXPECT_NE(std::string(failure.text).find("the largest frames make no sense"),
              std::string::npos);
}

// A waiting caller gets its result before the session is gone, and a stalled phone delays no end.
TEST(ChangeFrames, EndsWithTheSession) {
    const Library library;
    Log log;
    Phone phone(stay);
    SessionSetup setup = setupOf(log, phone.port());
    setup.changeLimit = 60000;
    Session session = startSession(setup);
    ASSERT_TRUE(log.waitFor(eSESSIONSTATE_Running));
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
