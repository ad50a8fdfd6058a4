// What a host may do to its session inside callbacks: in each of them, on whichever thread it is
// made, stopping and reconnecting are heard, and what would wait is refused.
#include <gtest/gtest.h>

#include <cerrno>

#include "Host.h"
#include "Recording.h"
#include "Rig.h"

namespace quarlo::test {
namespace {

enum class Deed { Delete, Stop, Reconnect };

struct Meddler : Reports {
    std::atomic<quarloSession*> session{nullptr};
    Deed deed = Deed::Delete;
    int place = 0;  // where to meddle, once
    std::atomic<int> refused{0};
    std::atomic<bool> isDone{false};

    void at(int where) {
        if (place != where || isDone.exchange(true)) return;
        if (deed == Deed::Stop) return quarloSession_Stop(session);
        if (deed == Deed::Reconnect) return quarloSession_Reconnect(session);
        quarloFrameChange change = {};
        change.size = sizeof change;
        change.what = eFRAMECHANGE_Compression;
        quarloChangeResult result{};
        refused += quarloSession_Delete(session) == eRETURN_NOT_ALLOWED;
        refused += quarloSession_ChangeFrames(session, &change, &result) == eRETURN_NOT_ALLOWED;
    }
};

Meddler& meddlerOf(void* context) {
    return *static_cast<Meddler*>(static_cast<Reports*>(context));
}

using Registration = void (*)(void* instance);

// A callback of whatever type its setter wants, which meddles in the place of this number.
template <int place, class Result, class... Arguments>
void listen(Result (*set)(void*, void (*)(void*, Arguments...)), void* instance) {
    set(instance, [](void* context, Arguments...) { meddlerOf(context).at(place); });
}

constexpr int atConfigure = 100;
constexpr int atState = 101;
constexpr int atProtocol = 102;
constexpr int atWatchdog = 103;
constexpr int atAudio = 104;
constexpr int atAudioTimer = 105;

#define PLACE(number, setter)                                             \
    {                                                                     \
#setter, [](void* instance) { listen<number>(setter, instance); } \
    }

const struct {
    const char* name;
    Registration listen;
} setters[] = {PLACE(0, quarlo_SetOnMainThreadStartCallback),
               PLACE(1, quarlo_SetOnMainThreadEndCallback),
               PLACE(2, quarlo_SetFrameUpdateStartCallback),
               PLACE(3, quarlo_SetFrameUpdateCallback),
               PLACE(4, quarlo_SetFrameUpdateRawCallback),
               PLACE(5, quarlo_SetFrameUpdateEndCallback),
               PLACE(6, quarlo_SetBlockStatusCallback),
               PLACE(7, quarlo_SetVehicleDataRequestCallback),
               PLACE(8, quarlo_SetPhonecallStatusCallback),
               PLACE(9, quarlo_SetAppTransitionStatusCallback),
               PLACE(10, quarlo_SetAppInactiveCallback),
               PLACE(11, quarlo_SetLauncherStateCallback),
               PLACE(12, quarlo_SetPTTAvailableCallback),
               PLACE(13, quarlo_SetInitiatePhoneCallCallback),
               PLACE(14, quarlo_SetNavigateToCallback),
               PLACE(15, quarlo_SetVoiceSessionRequestCallback),
               PLACE(16, quarlo_SetAppListChangedCallback),
               PLACE(17, quarlo_SetAppIconResponseCallback),
               PLACE(18, quarlo_SetAppStartedResponseCallback),
               PLACE(19, quarlo_SetCustomDataStringCallback),
               PLACE(20, quarlo_SetCustomDataIntCallback),
               PLACE(21, quarlo_SetCustomDataKeyCallback),
               PLACE(22, quarlo_SetCustomDataCanCallback),
               PLACE(23, quarlo_SetCustomDataRawCallback)};
constexpr int atMainThreadEnd = 1;
constexpr int atRawFrame = 4;

std::vector<int> places() {
    std::vector<int> all = {atConfigure, atState, atProtocol, atWatchdog, atAudio, atAudioTimer};
    for (int i = 0; i < static_cast<int>(std::size(setters)); ++i) all.push_back(i);
    return all;
}

void answerAudio(void* context, AudioControl command, UInt32 request, AudioType) {
    // The second one is made by the timer of the request.
    if (request != 5) return;
    meddlerOf(context).at(command == eAUDIOCONTROL_Request ? atAudio : atAudioTimer);
    void* instance = quarloSession_Acquire(meddlerOf(context).session);
    if (instance == nullptr) return;
    const bool isTimed = meddlerOf(context).place == atAudioTimer;
    if (isTimed && command == eAUDIOCONTROL_Request) {
        quarlo_SetAudioStatus(instance, request, eAUDIOSTATUS_Open,
                              eAUDIOREQUESTRESULTCODE_NoError);
    }
    quarloSession_Release(meddlerOf(context).session);
}

eReturnCode configure(void* context, quarloSession* session, void* instance) {
    meddlerOf(context).session = session;
    for (const auto& each : setters) each.listen(instance);
    quarlo_SetAudioRequestCallback(instance, answerAudio);
    quarlo_SetClientCapabilities(instance, eCLIENTCAPABILITIES_All, 1);
    quarlo_SetTraceClass(instance, eTRACECLASS_NONE);
    const int place = meddlerOf(context).place;
    if (place == atRawFrame) quarlo_SetFrameOutputType(instance, 1);
    if (place == atWatchdog) quarlo_EnablePingWatchdog(instance, 1, 1);
    meddlerOf(context).at(atConfigure);
    return eRETURN_OKAY;
}

Bytes custom(unsigned event, unsigned type, const Bytes& data) {
    return packet(68, u8(event) + u16(type) + u16(static_cast<unsigned>(data.size())) + data);
}

// By the phone, in RUN: what makes the library call everybody but the timers.
std::vector<Bytes> provocations() {
    std::vector<Bytes> packets = phonePackets();
    packets.push_back(packet(58, u32(5) + u8(1) + u8(3) + u16(1)));
    for (unsigned type = 1; type <= 5; ++type) packets.push_back(packet(36, u8(type) + u8(1)));
    packets.push_back(packet(26, u8(1) + u16(0) + u16(0) + u16(1) + u16(1) + u8(3) + u8(2) +
                                     u32(4) + u8(4) + u8(100) + u8(100) + u32(4) + Bytes(4, 9)));
    packets.push_back(custom(1, 1, text("t")));
    packets.push_back(custom(3, 0x8001, Bytes{1}));
    packets.push_back(custom(4, 1, u32(7) + u8(1) + u8(9)));
    packets.push_back(custom(5, 1, u8(2)));
    packets.push_back(packet(72, text("a://1") + u32(7) + u32(4) + u32(4) + Bytes(4)));
    packets.push_back(packet(74, text("a://1") + u8(2)));
    return packets;
}

class EveryCallback : public testing::TestWithParam<Deed> {};

INSTANTIATE_TEST_SUITE_P(Deeds, EveryCallback,
                         testing::Values(Deed::Delete, Deed::Stop, Deed::Reconnect));

TEST_P(EveryCallback, IsHeardOrRefusedAndHangsNothing) {
    const Library library;
    for (const int place : places()) {
        SCOPED_TRACE(place < atConfigure ? setters[place].name : std::to_string(place));
        Meddler meddler;
        meddler.deed = GetParam();
        meddler.place = place;
        meddler.reaction = [&](quarloSession* session, const quarloSessionInfo&) {
            meddler.session = session;
            meddler.at(atState);
        };
        Phone phone([&](int descriptor, int connection) {
            if (place != atWatchdog) {
                for (const Bytes& each : provocations()) writeFully(descriptor, each);
            }
            if (place == atMainThreadEnd) return;
            stay(descriptor, connection);
        });
        SessionSetup setup = configOf(meddler, phone.port());
        setup.configure = configure;
        setup.firstDelay = 1;
        setup.protocolCallback = [](void* context, eProtocolState state) {
            void* instance = quarloSession_Acquire(meddlerOf(context).session);
            if (instance != nullptr && state == ePROTOCOL_STATE_RUN) {
                quarlo_RequestAppIcon(instance, "a://1", 1, 1);
                quarlo_StartApp(instance, "a://1", nullptr, nullptr);
            }
            if (instance != nullptr) quarloSession_Release(meddlerOf(context).session);
            meddlerOf(context).at(atProtocol);
        };
        setup.errorCallback = [](void* context, eErrorCode) { meddlerOf(context).at(atWatchdog); };
        Session session = startSession(setup);
        for (int i = 0; i < 2000 && !meddler.isDone; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        ASSERT_TRUE(meddler.isDone) << "the callback was not made";
        if (GetParam() == Deed::Delete) {
            const Clock::time_point start = Clock::now();
            session.reset();
            EXPECT_LT(millisecondsSince(start), 5000);
            EXPECT_EQ(meddler.refused, 2);
        } else if (GetParam() == Deed::Stop) {
            EXPECT_TRUE(meddler.waitFor(eSESSIONSTATE_Stopped));
        } else {
            EXPECT_TRUE(meddler.waitFor(eSESSIONSTATE_Connecting, 2));
        }
    }
}

}  // namespace
}  // namespace quarlo::test
