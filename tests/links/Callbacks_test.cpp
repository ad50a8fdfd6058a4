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

// A callback of whatever type its setter wants, which meddles in the place of this number.
template <Callback callback, class Result, class... Arguments>
void listen(Result (*set)(void*, void (*)(void*, Arguments...)), void* instance) {
    set(instance,
        [](void* context, Arguments...) { meddlerOf(context).at(static_cast<int>(callback)); });
}

struct Setter {
    const char* name;
    void (*listen)(void* instance);
};

#define SETTER(name) \
    {#name, [](void* instance) { listen<Callback::name>(quarlo_Set##name##Callback, instance); }},
const Setter setters[] = {QUARLO_EACH_CALLBACK(SETTER)};

constexpr int atConfigure = 100;
constexpr int atState = 101;
constexpr int atAudioTimer = 102;
constexpr int atProtocol = static_cast<int>(Callback::Protocol);
constexpr int atError = static_cast<int>(Callback::Error);
constexpr int atAudio = static_cast<int>(Callback::AudioRequest);

// All but the one that the link has registered.
std::vector<int> places() {
    std::vector<int> places = {atConfigure, atState, atAudioTimer};
    for (int i = 1; i < static_cast<int>(Callback::count); ++i) places.push_back(i);
    return places;
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
    if (place == static_cast<int>(Callback::FrameUpdateRaw)) quarlo_SetFrameOutputType(instance, 1);
    if (place == atError) quarlo_EnablePingWatchdog(instance, 1, 1);
    meddlerOf(context).at(atConfigure);
    return eRETURN_OKAY;
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
        Phone phone([&](quarloLink* link, int) {
            nextPacket(link);  // RUN is reached
            std::vector<Bytes> packets = wholeSession();
            packets.push_back(packet(58, u32(5) + u8(1) + u8(3) + u16(1)));
            for (const Bytes& each : packets) {
                if (place != atError) send(link, each);
            }
            if (place != static_cast<int>(Callback::OnMainThreadEnd)) stay(link);
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
        setup.errorCallback = [](void* context, eErrorCode) { meddlerOf(context).at(atError); };
        Session session = startSession(setup);
        for (int i = 0; i < 12000 && !meddler.isDone; ++i) {
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
