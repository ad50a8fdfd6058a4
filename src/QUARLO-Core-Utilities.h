/*
 * The small steps that API calls, handlers and threads are composed of.
 *
 * Cancellation: only the receiver thread is ever cancelled, and only while it is inside the host's
 * code. enterHost and leaveHost mark those stretches; an API call made from a callback leaves the
 * host's code for its own duration (api). What the thread lends to the host meanwhile is freed by
 * the teardown if it is cancelled.
 */
#ifndef QUARLO_CORE_UTILITIES_H
#define QUARLO_CORE_UTILITIES_H

#include <type_traits>
#include <utility>

#include "QUARLO-Internal.h"
#include "QUARLO-WireOutgoing.h"

namespace quarlo {

/* ---- locks ---- */

/** Holds an instance's lock, or with null the library's. */
class Lock {
  public:
    explicit Lock(quarlo_CoreInstance* obj) : owner(obj) { _quarlo_EnterCriticalSection(obj); }
    ~Lock() { _quarlo_LeaveCriticalSection(owner); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

  private:
    quarlo_CoreInstance* owner;
};

/* ---- trace ---- */

constexpr unsigned traceBufferSize = 1024;

inline bool traces(const quarlo_CoreInstance* obj, eTraceClass traceClass) {
    return (obj->traceClass & traceClass) != eTRACECLASS_NONE;
}

/** Formats and hands out a line when its class is traced. */
void trace(quarlo_CoreInstance* obj, eTraceClass traceClass, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/** The same with the bound of the error report's and the ping handler's lines. */
void traceShort(quarlo_CoreInstance* obj, eTraceClass traceClass, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/** The precision and the bytes of a wire string for "%.*s". */
inline int lengthOf(const qrString* string) {
    return string == nullptr || string->pContent == nullptr ? 0 : string->Length;
}
inline const char* bytesOf(const qrString* string) {
    return lengthOf(string) == 0 ? "" : reinterpret_cast<const char*>(string->pContent);
}

/** Traces the text as an error and reports a failed allocation. */
eReturnCode outOfMemory(quarlo_CoreInstance* obj, const char* text);

/* ---- the thread and the host's code ---- */

enum class Role : UInt8 { Host, Receiver, Watchdog, InitTimer, JoinTimer, AudioTimer };

struct ThisThread {
    quarlo_CoreInstance* owner;
    Role role;
    bool isInHost;     // receiver only: cancellation is enabled
    UInt32 callbacks;  // how many of the host's functions are being called
};

#if defined(__linux__)
// A few bytes, so the static block always has room for them, and no call is needed to find them.
extern thread_local ThisThread thisThread __attribute__((tls_model("initial-exec")));
#else
extern thread_local ThisThread thisThread;
#endif

/** Claims the calling thread for an instance, names it and makes it uncancellable outside the
 * host's code. */
void becomeThread(quarlo_CoreInstance* obj, Role role, const char* name);

/** Sets a flag under the instance's lock. */
void raiseFlag(quarlo_CoreInstance* obj, Polled<Flag> quarlo_CoreInstance::*flag);

/**
 * Whether the calling thread may wait for a thread of the library: not on one of these, nor inside
 * a callback, since what it would wait for may be waiting for it.
 */
inline bool mayWait() {
    return thisThread.role == Role::Host && thisThread.callbacks == 0;
}

void enterHostAsReceiver();
void leaveHostAsReceiver();

inline void enterHost() {
    ++thisThread.callbacks;
    if (thisThread.role == Role::Receiver) enterHostAsReceiver();
}
inline void leaveHost() {
    if (thisThread.role == Role::Receiver) leaveHostAsReceiver();
    --thisThread.callbacks;
}

/** Makes a callback with the context first; false when none is registered. */
template <class... P, class... A>
bool notify(quarlo_CoreInstance* obj, const Polled<void (*)(void*, P...)>& callback,
            A... arguments) {
    auto* call = callback.get();
    if (call == nullptr) return false;
    enterHost();
    call(obj->callbackContext, arguments...);
    leaveHost();
    return true;
}

/* ---- API calls and handlers ---- */

/** Runs the body outside the host's code, also when the call comes from a callback. */
template <class Body>
auto inLibrary(Body body) {
    const bool cameFromHost = thisThread.isInHost;
    if (cameFromHost) leaveHostAsReceiver();
    if constexpr (std::is_void_v<decltype(body())>) {
        body();
        if (cameFromHost) enterHostAsReceiver();
    } else {
        const auto result = body();
        if (cameFromHost) enterHostAsReceiver();
        return result;
    }
}

/** The body of an API call without a result. */
template <class Body>
void api(void* instanceHandle, Body body) {
    if (instanceHandle == nullptr) return;
    inLibrary([&] { body(static_cast<quarlo_CoreInstance*>(instanceHandle)); });
}

/** The body of an API call with a result; nullResult for a null handle. */
template <class Result, class Body>
Result api(void* instanceHandle, Result nullResult, Body body) {
    if (instanceHandle == nullptr) return nullResult;
    return inLibrary(
        [&]() -> Result { return body(static_cast<quarlo_CoreInstance*>(instanceHandle)); });
}

/** A setter's whole body: trace (unless text is null) and store. */
template <class T>
eReturnCode store(void* instanceHandle, Polled<T> quarlo_CoreInstance::*field, T value,
                  const char* text) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        if (text != nullptr) trace(obj, eTRACECLASS_INFORMATION, "%s", text);
        obj->*field = value;
        return eRETURN_OKAY;
    });
}

/** Whether features may be used; otherwise traces the warning, if there is one. */
bool inRun(quarlo_CoreInstance* obj, const char* warning = nullptr);

/** Whether the phone has declared a capability; otherwise traces the warning. */
bool hasCapability(quarlo_CoreInstance* obj, ServerCapabilities capability, const char* warning);

/** A handler's first checks: the instance, the packet, and the state when it needs one. */
bool accept(quarlo_CoreInstance* obj, const void* packet, const char* nullText,
            const char* wrongStateText, eProtocolState state = ePROTOCOL_STATE_RUN,
            eTraceClass nullClass = eTRACECLASS_WARNING);

/* ---- what is sent ---- */

/** What came of building a packet. The text is that of a failed allocation, for the report. */
struct Built {
    // An outcome is written as its result alone. NOLINTNEXTLINE(google-explicit-constructor)
    Built(eReturnCode code = eRETURN_OKAY, const char* text = nullptr)
        : result(code), failure(text) {}

    eReturnCode result;
    const char* failure;
};

/**
 * The first step of sending: fill sets the fields of a packet that is all zeros, and says how that
 * went unless nothing can fail; then the bytes are made. What fill lets the packet lead to (texts,
 * lists) stays its own and is needed until this returns.
 */
template <class P, class Fill>
Built build(wire::Outgoing<P>& outgoing, Fill&& fill) {
    wire::Draft<P> draft;
    Built built;
    if constexpr (std::is_void_v<decltype(fill(draft.packet))>) {
        fill(draft.packet);
    } else {
        built = fill(draft.packet);
    }
    const bool isMade = built.result != eRETURN_OKAY || outgoing.encode(draft.packet);
    return isMade ? built : Built(eRETURN_PACKET_MEMORY);
}

/** The second, when it failed: says so. Here nothing is held any more, because a report is a
 * callback, in which the thread may be cancelled. */
eReturnCode reportUnbuilt(quarlo_CoreInstance* obj, const Built& built, const char* creationFailed,
                          eTraceClass failureClass);

/** The third: hands the bytes to the sender link, and frees the block that they may stand in. */
void transmit(quarlo_CoreInstance* obj, UInt8* bytes, UInt32 size, UInt8* block = nullptr);

/** The second or the third. */
template <class P>
eReturnCode conclude(quarlo_CoreInstance* obj, wire::Outgoing<P>& outgoing, const Built& built,
                     const char* creationFailed, eTraceClass failureClass = eTRACECLASS_WARNING) {
    if (built.result != eRETURN_OKAY) {
        return reportUnbuilt(obj, built, creationFailed, failureClass);
    }
    transmit(obj, outgoing.bytes(), outgoing.size(), outgoing.giveUpBlock());
    return eRETURN_OKAY;
}

/** All steps for a packet that can be larger than the stack allows: one that cannot be built gives
 * the text and eRETURN_PACKET_MEMORY, a fill that fails ends the call with its result. */
template <class P, class Fill>
eReturnCode send(quarlo_CoreInstance* obj, const char* creationFailed, Fill fill) {
    static_assert(!wire::Small<P>, "this packet can always be built");
    wire::Outgoing<P> outgoing;
    const Built built = build(outgoing, fill);
    return conclude(obj, outgoing, built, creationFailed);
}

/** All steps for a small packet; nothing can fail. */
template <wire::Small P, class Fill>
void send(quarlo_CoreInstance* obj, Fill fill) {
    wire::Outgoing<P> outgoing;
    build(outgoing, fill);
    transmit(obj, outgoing.bytes(), outgoing.size());
}

}  // namespace quarlo

#endif
