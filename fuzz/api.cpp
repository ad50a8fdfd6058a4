/*
 * Calls of the host API in any order, on two instances, with any arguments that a host may give,
 * between packets and threads that take turns; also from inside callbacks. Each step of the input
 * is a byte, whose highest bit is the instance, and its arguments.
 */
#include <cstring>
#include <deque>
#include <tuple>

#include "ApiSteps.h"
#include "Arguments.h"
#include "Platform.h"
#include "QUARLO-Core-Engineering-Types.h"
#include "Subject.h"
#include "Threads.h"

namespace quarlo::fuzz {
namespace {

constexpr unsigned mostSteps = 400;

/** A host with a phone that says what the input says. */
class Connection : public Subject {
  public:
    std::size_t read(UInt8* buffer, std::size_t size) override;
    void react() override;
    void sending() override;
    void endReading() override { mustReturn = true; }

    void open();
    void close();
    void hear(Span bytes) { incoming.insert(incoming.end(), bytes.begin(), bytes.end()); }
    void connect();
    void changeLink(unsigned how, Input& in);
    void lookAtApps() const;

    std::deque<std::uint8_t> incoming;
    std::size_t endResult = 0;
    bool isPolling = false;
    bool mustReturn = false;
    bool isClosing = false;
    bool isReacting = false;
    AppInfoList* apps = nullptr;
};

class Play {
  public:
    explicit Play(Input& input) : in(input) {}

    void run();
    [[nodiscard]] bool mayReact(const Connection& own);
    void takeTime(const Connection& own);
    void reaction(Connection& own);

    Input& in;
    Connection connections[2];
    unsigned reactions = 0;

  private:
    void next();
    void lifecycle(unsigned what, Connection& own);
};

Play* playing = nullptr;

std::size_t Connection::read(UInt8* buffer, std::size_t size) {
    do {
        if (incoming.empty() && endResult != 0) return endResult;
        if (incoming.empty()) threads::yield();
    } while (incoming.empty() && !isPolling && !mustReturn);
    const std::size_t count = mustReturn ? 0 : std::min(incoming.size(), size);
    const auto end = incoming.begin() + static_cast<std::ptrdiff_t>(count);
    std::copy(incoming.begin(), end, buffer);
    incoming.erase(incoming.begin(), end);
    return count;
}

void Connection::react() {
    if (playing->mayReact(*this)) playing->reaction(*this);
}

/** A slow link, in which the thread may be cancelled too. */
void Connection::sending() {
    if (playing->mayReact(*this)) playing->takeTime(*this);
}

void Connection::open() {
    if (handle != nullptr) return;
    create();
    // The buffer of the default size is beyond what the heap gives.
    quarlo_SetFrameSize(handle, 64, 48, 10, 10);
}

void Connection::close() {
    isClosing = true;
    remove();
    incoming.clear();
    endResult = 0;
    mustReturn = isClosing = isReacting = false;
    apps = nullptr;
}

/** Everything that leads to RUN, except that the phone's packets may be the input's. */
void Connection::connect() {
    open();
    quarlo_StartMainThread(handle);
    threads::yield();
    hear(handshakeStart());
    threads::yield();
    hear(handshakeEnd());
    threads::yield();
}

/** Whether it has ended, and whether it waits for bytes or says that there are none. */
void Connection::changeLink(unsigned how, Input& in) {
    endResult = (how & 1) == 0 ? 0 : ~static_cast<std::size_t>(in.u8());
    isPolling = (how & 2) != 0;
}

void Connection::lookAtApps() const {
    const auto text = [](const char* at) {
        if (at != nullptr) look(at, std::strlen(at) + 1);
    };
    for (unsigned i = 0; apps != nullptr && i < apps->NumberOfEntries; ++i) {
        const AppInfo* app = apps->Entries[i];
        if (app == nullptr) continue;
        text(app->IdentifierURL);
        text(app->Name);
        text(app->Manufacturer);
        text(app->Description);
        const CategoryList* list = app->Categories;
        if (list != nullptr) look(list->Categories, list->NumberOfCategories * sizeof(UInt32));
    }
}

/* ---- calls ---- */

using Call = void (*)(Connection&, Arguments&, Input&);

template <class Function>
struct Simple;
template <class Result, class... A>
struct Simple<Result (*)(void*, A...)> {
    /** A braced list takes the arguments from the input in their order. */
    template <Result (*function)(void*, A...)>
    static void call(Connection& own, Arguments& arguments, Input&) {
        std::tuple<void*, A...> values{own.handle, arguments.make<A>()...};
        std::apply(function, values);
    }
};
template <auto function>
constexpr Call simple = &Simple<decltype(function)>::template call<function>;

void getText(UInt16 (*get)(void*, char*, UInt16), Connection& own, Arguments& arguments,
             Input& in) {
    const UInt16 size = in.u16();
    char* buffer = arguments.values<char>(size);
    const UInt16 length = get(own.handle, buffer, size);
    require(length == 0 || length < size, "a text longer than its buffer");
    if (buffer != nullptr) look(buffer, length);
}

/* Begins with the calls of ApiSteps.h. */
const Call calls[] = {
    simple<&quarlo_SetClientCapabilities>,
    simple<&quarlo_SetAudioStatus>,
    simple<&quarlo_VehicleData>,
    simple<&quarlo_RequestAppIcon>,
    [](Connection& own, Arguments&, Input& in) {
        const unsigned given = in.u8();
        UInt32 count = 0;
        AppInfoList* list = nullptr;
        const eReturnCode code = quarlo_CreateAppInfoList(
            own.handle, (given & 1) == 0 ? &count : nullptr, (given & 2) == 0 ? &list : nullptr);
        if (code == eRETURN_OKAY && own.handle != nullptr) own.apps = list;
        own.lookAtApps();
    },
    [](Connection& own, Arguments&, Input& in) {
        static AppInfoList foreign{};
        own.lookAtApps();
        AppInfoList* const choice[] = {nullptr, &foreign, own.apps, own.apps};
        const eReturnCode code = quarlo_DeleteAppInfoList(own.handle, choice[in.u8() % 4]);
        if (code == eRETURN_OKAY) own.apps = nullptr;
    },
    simple<&quarlo_EnablePingWatchdog>,
    simple<&quarlo_SetPixelFormatEx>,
    simple<&quarlo_SetInitialisationTimeout>,
    simple<&quarlo_SetWaitForJoinTimeout>,
    simple<&quarlo_SendPingAckOnWatchdog>,
    simple<&quarlo_SetTraceClass>,
    simple<&quarlo_Trace>,
    simple<&quarlo_SetPixelFormat>,
    simple<&quarlo_SetFrameSize>,
    simple<&quarlo_OverrideCompressionFormat>,
    simple<&quarlo_SetCompressionFormat>,
    simple<&quarlo_SetSupportedCompressions>,
    simple<&quarlo_SetFrameOutputType>,
    simple<&quarlo_FramebufferUpdateRequest>,
    simple<&quarlo_FrambufferUpdateRequest>,
    simple<&quarlo_FrameRequestStatus>,
    simple<&quarlo_GetServerCapabilities>,
    simple<&quarlo_GetConnectionInfo>,
    simple<&quarlo_SoftkeyEvent>,
    simple<&quarlo_SetMovingStatus>,
    simple<&quarlo_SetNightMode>,
    simple<&quarlo_SetBlockMode>,
    simple<&quarlo_PositionInformation>,
    simple<&quarlo_PhoneCallStatusResponse>,
    simple<&quarlo_VoiceSessionStatus>,
    simple<&quarlo_VoiceSupportInfo>,
    simple<&quarlo_StartApp>,
    simple<&quarlo_CustomDataString>,
    simple<&quarlo_CustomDataKey>,
    simple<&quarlo_CustomDataKeyTimed>,
    simple<&quarlo_Eng_HasFeature>,
    [](Connection& own, Arguments& a, Input&) {
        quarlo_SetISO639LanguageCode(own.handle, a.bytes(3));
    },
    [](Connection& own, Arguments& a, Input& in) {
        // Never standard error, where the fuzzer speaks.
        const Flag isOn = in.u8();
        const Flag isStandard = in.u8();
        quarlo_SetDumpProperties(own.handle, isOn, isStandard, 1, a.text());
    },
    [](Connection& own, Arguments& a, Input& in) { getText(&quarlo_GetLauncherUUID, own, a, in); },
    [](Connection& own, Arguments& a, Input& in) { getText(&quarlo_GetServerOSName, own, a, in); },
    [](Connection& own, Arguments& a, Input& in) { getText(&quarlo_GetServerAppName, own, a, in); },
    [](Connection& own, Arguments&, Input& in) {
        const unsigned given = in.u8();
        UInt8 count = 0;
        Softkey* keys = nullptr;
        quarlo_GetAvailableSoftkeys(own.handle, (given & 1) == 0 ? &count : nullptr,
                                    (given & 2) == 0 ? &keys : nullptr);
        if (keys != nullptr) look(keys, count);
    },
    [](Connection& own, Arguments& a, Input& in) {
        const UInt8 count = in.u8();
        quarlo_TouchEvents(own.handle, a.values<TouchEvent>(count), count);
    },
    [](Connection& own, Arguments& a, Input& in) {
        const UInt8 count = in.u8();
        TouchEvent* events = a.values<TouchEvent>(count);
        quarlo_TouchEventsTimed(own.handle, events, count, in.u32());
    },
    [](Connection& own, Arguments& a, Input& in) {
        const UInt8 count = in.u8();
        quarlo_SetSupportedCustomData(own.handle, count, a.values<ClientCustomDataIntType>(count));
    },
    [](Connection& own, Arguments& a, Input& in) {
        const UInt8 count = in.u8();
        quarlo_SetCustomKeysSupported(own.handle, count, a.values<ClientCustomDataKeyCode>(count));
    },
    [](Connection& own, Arguments& a, Input& in) {
        const UInt16 length = in.u16();
        const auto type = a.make<ClientCustomDataIntType>();
        quarlo_CustomDataInt(own.handle, type, length, a.bytes(length));
    },
    [](Connection& own, Arguments& a, Input& in) {
        const UInt8 length = in.u8();
        const auto type = a.make<ClientCustomDataCanType>();
        const UInt32 identifier = in.u32();
        quarlo_CustomDataCan(own.handle, type, identifier, length, a.bytes(length));
    },
    [](Connection& own, Arguments& a, Input& in) {
        const UInt16 length = in.u16();
        const UInt16 identifier = in.u16();
        quarlo_CustomDataRaw(own.handle, identifier, length, a.bytes(length));
    },
    [](Connection& own, Arguments& a, Input& in) {
        const UInt8 count = in.u8();
        const Flag callbackOn = in.u8();
        quarlo_Eng_SetVehicleDataFilter(own.handle, callbackOn, count, a.values<UInt32>(count));
    },
    [](Connection&, Arguments&, Input& in) {
        for (const char* text : {quarlo_GetVersion(), quarlo_GetSystemIdentification(),
                                 quarlo_getTraceClassPrefix(static_cast<eTraceClass>(in.u8()))}) {
            look(text, std::strlen(text) + 1);
        }
        quarlo_IsClientCustomDataKeyCodeValid(static_cast<ClientCustomDataKeyCode>(in.u8()));
        quarlo_Eng_GetSupportedCompressions();
    },
};

static_assert(std::size(calls) <= step::mostCalls);

void Play::lifecycle(unsigned what, Connection& own) {
    switch (what) {
        case step::Open:
            return own.open();
        case step::Start: {
            Int32 error = 0;
            quarlo_StartMainThreadEx(own.handle, in.u8() % 4 == 0 ? nullptr : &error);
            return;
        }
        case step::Close:
            return own.close();
        case step::Connect:
            return own.connect();
        case step::Turn:
            return threads::yield();
        case step::Turns:
            for (unsigned turns = in.u8(); turns > 0; --turns) threads::yield();
            return;
        case step::EndLink:
            return own.changeLink(in.u8(), in);
        case step::Callbacks:
            return own.registerCallbacks(in.number<std::uint64_t>());
        case step::AnnounceShutdown:
            return quarlo_AnnounceShutdown(own.handle);
        case step::RefuseAllocation:
            return refuseAllocation(in.u8());
        case step::RefuseThread:
            return threads::refuse(in.u8());
        case step::React:
            reactions = in.u8();
            return;
        case step::HearMany:
            own.hear(in.take(in.u16()));
            return threads::yield();
        default:
            own.hear(in.take(in.u8()));
            return threads::yield();
    }
}

void Play::next() {
    const unsigned what = in.u8();
    Connection& own = connections[what >> 7];
    const unsigned number = what & 0x7F;
    if (number < step::lifecycleSteps) return lifecycle(number, own);
    Arguments arguments(in);
    calls[(number - step::lifecycleSteps) % std::size(calls)](own, arguments, in);
}

bool Play::mayReact(const Connection& own) {
    if (reactions == 0 || own.isReacting || own.isClosing || in.isEmpty()) return false;
    --reactions;
    return true;
}

/** Turns for the others, in which a thread that nobody asks to end may be cancelled. */
void Play::takeTime(const Connection& own) {
    for (unsigned turns = in.u8() % 32; turns > 0 && !own.mustReturn; --turns) threads::yield();
}

/** A call from inside a callback, or time for the others; a thread may be cancelled in it. */
void Play::reaction(Connection& own) {
    const unsigned what = in.u8();
    if ((what & step::takeTime) != 0) takeTime(own);
    if (own.isClosing) return;
    own.isReacting = true;
    {
        Arguments arguments(in);
        calls[(what & 0x7F) % std::size(calls)](own, arguments, in);
    }
    own.isReacting = false;
}

void Play::run() {
    playing = this;
    const Library library(in.u8() % 4 != 0);
    for (unsigned steps = 0; steps < mostSteps && !in.isEmpty(); ++steps) next();
    // The library deletes the instances that are left.
    for (Connection& own : connections) {
        own.isClosing = true;
        own.incoming.clear();
        if (own.endResult == 0) own.endResult = static_cast<std::size_t>(-1);
    }
}

}  // namespace

void play(Input& in) {
    Play(in).run();
}

}  // namespace quarlo::fuzz
