// The link record and what the files of this library share. A link is used by one receiver thread
// and any number of sending threads; only the atomics and the descriptors are shared between them.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "Watch.h"
#include "quarlo-links.h"

namespace quarlo::links {
class Tap;
}

struct quarloLink {
    int input = -1;
    int output = -1;
    int wake = -1;  // eventfd, raised once by a stop or a break and then left raised
    bool isInputSocket = false;
    bool isOutputSocket = false;
    bool isSerial = false;
    std::uint32_t baudRate = 0;  // 0: so fast that it does not matter
    std::atomic<std::uint32_t> sendLimit{5000};
    std::atomic<std::uint32_t> silenceLimit{5000};
    std::int64_t unacknowledgedSince = 0;  // receiver only; 0: nothing is
    std::atomic<bool> isAttached{false};
    std::atomic<bool> isStopped{false};
    std::atomic<bool> isStopSeen{false};  // the receiver has returned 0 for the stop
    std::atomic<bool> isBroken{false};
    std::atomic<bool> isEnded{false};  // the receiver has met the end of the stream, or a failure
    std::atomic<std::uint64_t> received{0};
    std::atomic<std::uint64_t> sent{0};
    std::atomic<int> error{0};
    std::mutex sending;                     // held over one whole buffer
    quarlo::links::Watch* watch = nullptr;  // null: nobody asks what is carried
    quarlo::links::Tap* tap = nullptr;      // null: not captured

    // Registry of attached links, guarded by its lock.
    void* context = nullptr;
    quarloSession* session = nullptr;
    quarloLink* next = nullptr;
};

namespace quarlo::links {

constexpr std::uint32_t defaultSendLimit = 5000;
constexpr std::uint32_t defaultSilenceLimit = 5000;
constexpr std::uint32_t defaultConnectLimit = 5000;

class Descriptor;
/** A link of a connected socket, which it takes over only if it can be made; else null. */
quarloLink* linkOf(Descriptor& socket, quarloLinkFailure* failure);
/** Tells a session that the phone has answered something. */
void tellAnswered(quarloSession& session);
/** The session that the link attached with this context belongs to; null if none. */
quarloSession* sessionOf(void* context);
void forget(quarloLink& link);

/** The link's watch, made if there is none yet; null when there is no memory. */
Watch* watchOf(quarloLink& link);

/** Whether hosts may ask for this silence limit. */
constexpr bool isSilenceLimit(std::uint32_t milliseconds) {
    return milliseconds >= 2000 && milliseconds <= 3600000;
}
/** Something sent over TCP has not been acknowledged, nor anything else, for too long. */
bool isSilent(quarloLink& link);

/** Throws away what a serial line has not sent and nobody has read. */
void discardBuffered(int line);

}  // namespace quarlo::links
