// The session thread: open, serve, pause, again. The instance is created, started and deleted here
// and nowhere else; callbacks of other threads reach this thread as events through the eventfd.
#include "Session.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "Sockets.h"

using namespace quarlo::links;

namespace {

constexpr std::uint32_t defaultHandshakeLimit = 60000;
constexpr std::uint32_t defaultFirstDelay = 500;
constexpr std::uint32_t defaultLongestDelay = 10000;
constexpr std::uint32_t reportInterval = 1000;
constexpr std::uint32_t releaseTime = 250;

std::uint32_t orDefault(std::uint32_t value, std::uint32_t byDefault) {
    return value != 0 ? value : byDefault;
}

void protocolCallback(void* context, eProtocolState state) {
    quarloSession* session = sessionOf(context);
    if (session != nullptr) session->onProtocol(context, state);
}

void errorCallback(void* context, eErrorCode code) {
    quarloSession* session = sessionOf(context);
    if (session != nullptr) session->onError(context, code);
}

}  // namespace

quarloSession::quarloSession(const SessionSettings& wanted)
    : settings(wanted), config(settings.config), wake(newWake()) {
    const char*& address = settings.config.transport.address;
    if (address != nullptr) address = settings.address.c_str();
    settings.config.description = settings.description.c_str();
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
}

void* quarloSession::threadBody(void* session) {
    auto* self = static_cast<quarloSession*>(session);
    self->runner.store(pthread_self());
    pthread_setname_np(pthread_self(), "quarlo SESSION");
    self->run();
    return nullptr;
}

// ---- what other threads do
// ------------------------------------------------------------------------

bool quarloSession::isOwnThread() {
    const std::lock_guard<std::mutex> guard(lock);
    const pthread_t self = pthread_self();
    if (pthread_equal(self, runner.load())) return true;
    return live != nullptr && pthread_equal(self, live->receiver.load());
}

void quarloSession::raise(unsigned event) {
    events.fetch_or(event);
    quarlo::links::wakeUp(wake);
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

void quarloSession::onProtocol(void* context, eProtocolState state) {
    if (config.protocolCallback != nullptr) config.protocolCallback(context, state);
    if (state == ePROTOCOL_STATE_RUN) raise(eventRun);
    if (state == ePROTOCOL_STATE_STOP) raise(eventEnd);
}

void quarloSession::onError(void* context, eErrorCode code) {
    if (config.errorCallback != nullptr) config.errorCallback(context, code);
    if (code == eERRORCODE_CONNECTION_TIMEOUT) raise(eventSilent);
}

// ---- the thread
// -----------------------------------------------------------------------------------

void quarloSession::run() {
    tryingSince = now();
    delay = orDefault(config.firstDelay, defaultFirstDelay);
    while (!isStopping()) {
        if (!attempt()) pause();
    }
    setReason(0, "");
    report(eSESSIONSTATE_Stopped);
}

// One connection from its opening to its end; true when the next shall follow without a pause.
bool quarloSession::attempt() {
    events.fetch_and(~(eventReconnect | eventRun | eventEnd | eventSilent));
    drain(wake);
    if (isStopping()) return true;
    ++attempts;
    setReason(0, "");
    report(eSESSIONSTATE_Connecting);
    quarloLink* link = open();
    if (link == nullptr) return (events.load() & (eventStop | eventReconnect)) != 0;
    link->session = this;
    quarloLink_SetSendLimit(link, config.sendLimit);
    serve(*link);
    quarloLink_Close(link);
    return (events.load() & (eventStop | eventReconnect)) != 0;
}

quarloLink* quarloSession::open() {
    const quarloTransport& transport = config.transport;
    const UInt32 limit = orDefault(config.connectLimit, defaultConnectLimit);
    switch (transport.kind) {
        case eTRANSPORT_TcpClient:
            return connectTcp(transport.address, transport.port, wake, after(limit), &reason);
        case eTRANSPORT_UnixClient:
            return quarloLink_ConnectUnix(transport.address, &reason);
        case eTRANSPORT_Serial:
            return quarloLink_OpenSerial(transport.address, transport.baudRate, transport.useRtsCts,
                                         &reason);
        case eTRANSPORT_Custom:
            return transport.open(config.context, this, &reason);
        default:
            return openListening();
    }
}

// The listener is kept over all connections, so that a phone that is early is not refused.
quarloLink* quarloSession::openListening() {
    const quarloTransport& transport = config.transport;
    if (listener == nullptr) {
        listener = transport.kind == eTRANSPORT_TcpServer
                       ? quarloListener_OpenTcp(transport.address, transport.port, &reason)
                       : quarloListener_OpenUnix(transport.address, &reason);
    }
    if (listener == nullptr) return nullptr;
    std::int64_t deadline = config.connectLimit != 0 ? after(config.connectLimit) : never;
    if (config.giveUpAfter != 0) deadline = std::min(deadline, tryingSince + config.giveUpAfter);
    return acceptLink(*listener, wake, deadline, &reason);
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
            watch(link);
        } else {
            setReason(error != 0 ? error : ENOMEM, "the receiver thread could not be started");
        }
        takeBack(link);
    }
    quarlo_DeleteInstance(instance);
    const std::lock_guard<std::mutex> guard(lock);
    live = nullptr;
}

bool quarloSession::configure(quarloLink& link, void* instance) {
    // Its thread would delay every deletion by up to a second.
    quarlo_SetInitialisationTimeout(instance, 0);
    if (config.configure != nullptr &&
        config.configure(config.context, this, instance) != eRETURN_OKAY) {
        setReason(ECANCELED, "the host refused to configure the instance");
        return false;
    }
    quarlo_SetProtocolCallback(instance, protocolCallback);
    quarlo_SetErrorCallback(instance, errorCallback);
    if (quarloLink_Attach(&link, instance, config.context) == eRETURN_OKAY) return true;
    setReason(EBUSY, "the callback context is in use by another link");
    return false;
}

// Returns when the connection is over or is to be over.
void quarloSession::watch(const quarloLink& link) {
    constexpr unsigned ends = eventStop | eventReconnect | eventEnd | eventSilent;
    const UInt32 limit = orDefault(config.handshakeLimit, defaultHandshakeLimit);
    unsigned seen = wait(ends | eventRun, after(limit));
    if ((seen & eventRun) != 0) {
        report(eSESSIONSTATE_Running);
        seen = wait(ends, never);
        attempts = 0;
        delay = orDefault(config.firstDelay, defaultFirstDelay);
        tryingSince = now();
    }
    explainEnd(link, seen);
}

void quarloSession::explainEnd(const quarloLink& link, unsigned seen) {
    const int error = link.error.load();
    char words[96];
    char text[sizeof reason.text];
    if (seen == 0) return setReason(ETIMEDOUT, "the handshake was not finished in time");
    if ((seen & eventReconnect) != 0) return setReason(0, "a new connection was asked for");
    if ((seen & eventSilent) != 0) return setReason(ETIMEDOUT, "no sign of life from the phone");
    if (error == 0) return setReason(0, "the phone ended the session");
    snprintf(text, sizeof text, "connection lost: %s", wordsFor(error, words, sizeof words));
    setReason(error, text);
}

void quarloSession::lend(quarloLink* link, void* instance) {
    const std::lock_guard<std::mutex> guard(lock);
    live = link;
    lent = instance;
}

// Who is inside a call gets a moment to end it; then the link is stopped, which ends blocked sends.
void quarloSession::takeBack(quarloLink& link) {
    events.fetch_and(~static_cast<unsigned>(eventRelease));
    bool isFree = false;
    {
        const std::lock_guard<std::mutex> guard(lock);
        lent = nullptr;
        isFree = users == 0;
    }
    if (!isFree && (wait(eventRelease, after(releaseTime)) & eventRelease) != 0) isFree = true;
    quarloLink_Stop(&link);
    if (!isFree) wait(eventRelease, never);
}

// ---- between two attempts
// -------------------------------------------------------------------------

bool quarloSession::pause() {
    std::int64_t until = after(delay);
    if (config.giveUpAfter != 0) {
        const std::int64_t end = tryingSince + config.giveUpAfter;
        if (now() >= end) return giveUp();
        until = std::min(until, end);
    }
    const std::uint32_t longest = orDefault(config.longestDelay, defaultLongestDelay);
    delay = delay > longest / 2 ? longest : delay * 2;
    return countDown(until);
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
    tryingSince = now();
    attempts = 0;
    delay = orDefault(config.firstDelay, defaultFirstDelay);
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
    const quarloSessionInfo info = {state, attempts, remaining, reason.number, reason.text};
    if (config.stateCallback != nullptr) config.stateCallback(config.context, this, &info);
}

void quarloSession::setReason(int number, const char* text) {
    reason.number = number;
    snprintf(reason.text, sizeof reason.text, "%s", text);
}
