// The session thread: open, serve, pause, again. The instance is created, started and deleted here
// and nowhere else; callbacks of other threads reach this thread as events through the eventfd.
#include "Session.h"

#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "Connect.h"
#include "Names.h"
#include "Sockets.h"
#include "Tap.h"
#include "Threads.h"

using namespace quarlo::links;

namespace {

constexpr std::uint32_t reportInterval = 1000;
constexpr std::uint32_t releaseTime = 250;

// A seed that two head units switched on together do not share.
std::uint32_t seed() {
    std::uint32_t number = 1;
    [[maybe_unused]] const ssize_t size = getrandom(&number, sizeof number, GRND_NONBLOCK);
    return number;
}

// Without a timer the library warns. This one never comes before the handshake limit, as far as its
// seconds go.
UInt8 initTimeout(std::uint32_t handshakeLimit) {
    return static_cast<UInt8>(std::min<std::uint32_t>(handshakeLimit / 1000 + 2, UINT8_MAX));
}

void protocolCallback(void* context, eProtocolState state) {
    const LibraryThread here;
    quarloSession* session = sessionOf(context);
    if (session != nullptr) session->onProtocol(context, state);
}

void errorCallback(void* context, eErrorCode code) {
    const LibraryThread here;
    quarloSession* session = sessionOf(context);
    if (session != nullptr) session->onError(context, code);
}

}  // namespace

quarloSession::quarloSession(const SessionSettings& wanted)
    : settings(wanted),
      config(settings.config),
      wake(newWake()),
      frames(settings.frames),
      random(seed()) {
    reason.size = sizeof reason;
    quarloTransport& transport = settings.transport;
    if (transport.address != nullptr) transport.address = settings.address.c_str();
    settings.config.transport = &transport;
    settings.config.description = settings.description.c_str();
    settings.config.frames = settings.config.largest = nullptr;  // they are in the settings
    if (settings.config.observer != nullptr) settings.config.observer = &settings.observer;
}

quarloSession::~quarloSession() {
    quarloListener_Close(listener);
    if (wake >= 0) close(wake);
}

int quarloSession::start() {
    if (wake < 0) return errno;
    return pthread_create(&thread, nullptr, threadBody, this);
}

void quarloSession::join() {
    pthread_join(thread, nullptr);
    std::unique_lock<std::mutex> guard(lock);
    changed.wait(guard, [this] { return waiters == 0; });
}

void* quarloSession::threadBody(void* session) {
    auto* self = static_cast<quarloSession*>(session);
    const LibraryThread here;
    pthread_setname_np(pthread_self(), "quarlo SESSION");
    self->run();
    return nullptr;
}

// ---- what other threads do
// ------------------------------------------------------------------------

void quarloSession::warn(const char* text) {
    void* instance = acquire();
    if (instance == nullptr) return;
    quarlo_Trace(instance, eTRACECLASS_WARNING, const_cast<char*>(text));
    release();
}

void quarloSession::raise(unsigned event) {
    events.fetch_or(event);
    quarlo::links::wakeUp(wake);
}

// The session thread may be sending for a change, to a phone that takes nothing.
void quarloSession::ask(unsigned event) {
    raise(event);
    const std::lock_guard<std::mutex> guard(lock);
    if (isChanging) quarloLink_Stop(live);
}

void* quarloSession::acquire() {
    const std::lock_guard<std::mutex> guard(lock);
    if (lent != nullptr) ++users;
    return lent;
}

void quarloSession::release() {
    const std::lock_guard<std::mutex> guard(lock);
    // Raised under the lock: once it is free, the session may be gone.
    if (--users == 0 && lent == nullptr) raise(eventRelease);
}

void quarloSession::note(const char* kind, const char* name) {
    const std::lock_guard<std::mutex> guard(lock);
    if (live != nullptr && live->tap != nullptr) live->tap->note(kind, name);
}

void quarloSession::onProtocol(void* context, eProtocolState state) {
    if (config.capture != nullptr) note("state", quarloName_OfState(state));
    if (state == ePROTOCOL_STATE_RUN) beginRun();
    if (config.protocolCallback != nullptr) config.protocolCallback(context, state);
    if (state == ePROTOCOL_STATE_RUN) raise(eventRun);
    if (state == ePROTOCOL_STATE_STOP) raise(eventEnd);
}

void quarloSession::onError(void* context, eErrorCode code) {
    if (code == eERRORCODE_INITIALIZATION_TIMEOUT) return;  // the session's own limit is longer
    if (config.capture != nullptr) note("error", quarloName_OfError(code));
    if (code == eERRORCODE_MESSAGE_PROCESSING_FAILED) isTypeUnknown.store(true);
    if (config.errorCallback != nullptr) config.errorCallback(context, code);
    if (code == eERRORCODE_CONNECTION_TIMEOUT) raise(eventSilent);
}

// ---- the thread
// -----------------------------------------------------------------------------------

void quarloSession::run() {
    beginAnew();
    while (!isStopping()) {
        if (!attempt()) pause();
    }
    setReason(0, "");
    report(eSESSIONSTATE_Stopped);
}

void quarloSession::beginAnew() {
    attempts = 0;
    delay = config.firstDelay;
    tryingSince = now();
}

// One connection from its opening to its end; true when the next shall follow without a pause.
bool quarloSession::attempt() {
    const unsigned before =
        events.fetch_and(~(eventReconnect | eventRun | eventEnd | eventSilent | eventAnswer));
    if ((before & eventReconnect) != 0) beginAnew();
    drain(wake);
    if (isStopping()) return true;
    ++attempts;
    setReason(0, "");
    report(eSESSIONSTATE_Connecting);
    quarloLink* link = open();
    if (link != nullptr) {
        if (prepare(*link)) serve(*link);
        quarloLink_Close(link);
    }
    return (events.load() & (eventStop | eventReconnect)) != 0;
}

bool quarloSession::prepare(quarloLink& link) {
    Watch* watch = watchOf(link);
    const bool isObserved =
        watch != nullptr && (config.observer == nullptr || watch->add(settings.observer));
    const bool isCaptured =
        config.capture == nullptr || quarloLink_SetCapture(&link, config.capture) == eRETURN_OKAY;
    if (!isObserved || !isCaptured) {
        setReason(ENOMEM, "no memory for a connection");
        return false;
    }
    watch->countAlso(carried);
    link.session = this;
    quarloLink_SetSendLimit(&link, config.sendLimit);
    quarloLink_SetSilenceLimit(&link, config.silenceLimit);
    return true;
}

quarloLink* quarloSession::open() {
    const quarloTransport& transport = settings.transport;
    switch (transport.kind) {
        case eTRANSPORT_TcpClient:
            return connectTcp(
                transport.address, transport.port, wake,
                after(config.connectLimit != 0 ? config.connectLimit : defaultConnectLimit),
                &reason);
        case eTRANSPORT_UnixClient:
            return quarloLink_ConnectUnix(transport.address, &reason);
        case eTRANSPORT_Serial:
            return quarloLink_OpenSerial(transport.address, transport.baudRate, transport.useRtsCts,
                                         &reason);
        case eTRANSPORT_Custom:
            return transport.open(config.context, this, &reason);
        case eTRANSPORT_Listener:
            return acceptOn(*transport.listener);
        default:
            return openListening();
    }
}

// The listener is kept over all connections, so that a phone that is early is not refused.
quarloLink* quarloSession::openListening() {
    const quarloTransport& transport = settings.transport;
    if (listener == nullptr) {
        listener = transport.kind == eTRANSPORT_TcpServer
                       ? quarloListener_OpenTcp(transport.address, transport.port, &reason)
                       : quarloListener_OpenUnix(transport.address, &reason);
    }
    return listener != nullptr ? acceptOn(*listener) : nullptr;
}

quarloLink* quarloSession::acceptOn(const quarloListener& waiting) {
    std::int64_t deadline = config.connectLimit != 0 ? after(config.connectLimit) : never;
    if (config.giveUpAfter != 0) deadline = std::min(deadline, tryingSince + config.giveUpAfter);
    return acceptLink(waiting, wake, deadline, &reason);
}

void quarloSession::serve(quarloLink& link) {
    void* instance = quarlo_CreateInstance(&link, config.description);
    if (instance == nullptr) return setReason(ENOMEM, "no memory for an instance");
    if (configure(link, instance)) {
        Int32 error = 0;
        // Connected comes before whatever the instance's own threads report.
        report(eSESSIONSTATE_Connected);
        lend(&link, instance);
        if (quarlo_StartMainThreadEx(instance, &error) == 1) {
            watch(link, instance);
        } else {
            setReason(error != 0 ? error : ENOMEM, "the receiver thread could not be started");
        }
        dropChanges();
        takeBack(link);
    }
    quarlo_DeleteInstance(instance);
    dropChanges();  // RUN may have come too late to be seen
    const std::lock_guard<std::mutex> guard(lock);
    live = nullptr;
}

bool quarloSession::configure(quarloLink& link, void* instance) {
    isTypeUnknown.store(false);
    quarlo_SetInitialisationTimeout(instance, initTimeout(config.handshakeLimit));
    if (config.configure != nullptr &&
        config.configure(config.context, this, instance) != eRETURN_OKAY) {
        setReason(ECANCELED, "the host refused to configure the instance");
        return false;
    }
    coming = frames;
    declare(frames, instance);
    declare(settings.largest, instance);
    quarlo_SetProtocolCallback(instance, protocolCallback);
    quarlo_SetErrorCallback(instance, errorCallback);
    if (quarloLink_Attach(&link, instance, config.context) == eRETURN_OKAY) return true;
    setReason(EBUSY, "the callback context is in use by another link");
    return false;
}

// Returns when the connection is over or is to be over.
void quarloSession::watch(const quarloLink& link, void* instance) {
    unsigned seen = wait(eventsThatEnd | eventRun, after(config.handshakeLimit));
    if ((seen & eventRun) != 0) seen = stayInRun(link, instance);
    explainEnd(link, seen);
}

// A phone that goes right after RUN has not been reached: only one that stays ends the backing off.
unsigned quarloSession::stayInRun(const quarloLink& link, void* instance) {
    const std::int64_t since = now();
    report(eSESSIONSTATE_Running);
    unsigned seen = 0;
    while (((seen = wait(eventsThatEnd | eventChange, never)) & eventsThatEnd) == 0) {
        makeChanges(*link.watch, instance);
    }
    if (now() - since >= config.lastingRun) beginAnew();
    return seen;
}

// The first that applies: what this side wanted or noticed, what the phone said, how the link
// ended.
void quarloSession::explainEnd(const quarloLink& link, unsigned seen) {
    char text[sizeof reason.text];
    snprintf(text, sizeof text, "RUN was not reached within %g s", config.handshakeLimit / 1000.0);
    if (seen == 0) return setReason(ETIMEDOUT, text);
    if ((seen & eventReconnect) != 0) return setReason(0, "a new connection was asked for");
    if ((seen & eventSilent) != 0) return setReason(ETIMEDOUT, "no sign of life from the phone");
    if (const char* refused = wordsForRefusal(link.watch->refusal()); refused != nullptr) {
        return setReason(ECONNREFUSED, refused);
    }
    if (isTypeUnknown.load()) {
        return setReason(EPROTO, "the phone sent a packet of an unknown type");
    }
    quarloLink_GetEndText(&link, text, sizeof text);
    if (text[0] != 0) return setReason(link.error.load(), text);
    setReason(EPROTO, "the phone sent what cannot be read, or memory is exhausted; see the trace");
}

void quarloSession::lend(quarloLink* link, void* instance) {
    const std::lock_guard<std::mutex> guard(lock);
    live = link;
    lent = instance;
}

// Who is inside a call gets a moment to end it; then the link is stopped, which ends blocked sends.
// Otherwise the deletion stops it, when the receiver knows that it is to end: it reports no
// failure.
void quarloSession::takeBack(quarloLink& link) {
    events.fetch_and(~static_cast<unsigned>(eventRelease));
    bool isFree = false;
    {
        const std::lock_guard<std::mutex> guard(lock);
        lent = nullptr;
        isFree = users == 0;
    }
    if (isFree || (wait(eventRelease, after(releaseTime)) & eventRelease) != 0) return;
    quarloLink_Stop(&link);
    wait(eventRelease, never);
}

// ---- between two attempts
// -------------------------------------------------------------------------

bool quarloSession::pause() {
    std::int64_t until = after(jittered(delay));
    if (config.giveUpAfter != 0) {
        const std::int64_t end = tryingSince + config.giveUpAfter;
        if (now() >= end) return giveUp();
        until = std::min(until, end);
    }
    const std::uint32_t longest = config.longestDelay;
    delay = delay > longest / 2 ? longest : delay * 2;
    return countDown(until);
}

// So that many head units do not come back to one place at the same moment.
std::uint32_t quarloSession::jittered(std::uint32_t pause) {
    const auto most = static_cast<std::uint32_t>(std::uint64_t{pause} * config.jitter / 100);
    return pause - std::uniform_int_distribution<std::uint32_t>(0, most)(random);
}

bool quarloSession::countDown(std::int64_t until) {
    for (std::int64_t left = until - now(); left > 0; left = until - now()) {
        report(eSESSIONSTATE_Waiting, static_cast<std::uint32_t>(left));
        const std::int64_t next = std::min(until, after(reportInterval));
        if (wait(eventStop | eventReconnect, next) != 0) return true;
    }
    return false;
}

bool quarloSession::giveUp() {
    report(eSESSIONSTATE_GivenUp);
    wait(eventStop | eventReconnect, never);
    return true;
}

// The wanted events that have come, 0 at the deadline. Emptied before it looks, so that none is
// slept over.
unsigned quarloSession::wait(unsigned wanted, std::int64_t deadline) {
    for (;;) {
        drain(wake);
        const unsigned seen = events.load() & wanted;
        if (seen != 0) return seen;
        if (waitFor(-1, 0, wake, deadline) == Waited::TimedOut) return 0;
    }
}

void quarloSession::report(quarloSessionState state, std::uint32_t remaining) {
    const quarloSessionInfo info = {sizeof info, reason.text, state,
                                    attempts,    remaining,   reason.number};
    if (config.stateCallback != nullptr) config.stateCallback(config.context, this, &info);
}

void quarloSession::setReason(int number, const char* text) {
    reason.number = number;
    snprintf(reason.text, sizeof reason.text, "%s", text);
}
