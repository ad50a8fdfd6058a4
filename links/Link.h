// The link record and what the files of this library share. A link is used by one receiver thread
// and any number of sending threads; only the atomics and the descriptors are shared between them.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <mutex>

#include "quarlo-links.h"

struct quarloLink {
    int input = -1;
    int output = -1;
    int wake = -1;  // eventfd, raised once by a stop or a break and then left raised
    bool isInputSocket = false;
    bool isOutputSocket = false;
    bool isSerial = false;
    std::uint32_t baudRate = 0;  // 0: so fast that it does not matter
    std::atomic<std::uint32_t> sendLimit{5000};
    std::int64_t unacknowledgedSince = 0;  // receiver only; 0: nothing is
    std::atomic<bool> isStopped{false};
    std::atomic<bool> isStopSeen{false};  // the receiver has returned 0 for the stop
    std::atomic<bool> isBroken{false};
    std::atomic<bool> isEnded{false};  // the receiver has met the end of the stream, or a failure
    std::atomic<std::uint64_t> received{0};
    std::atomic<std::uint64_t> sent{0};
    std::atomic<int> error{0};
    std::atomic<pthread_t> receiver{};
    std::mutex sending;  // held over one whole buffer

    // Registry of attached links, guarded by its lock.
    void* context = nullptr;
    quarloSession* session = nullptr;
    quarloLink* next = nullptr;
};

namespace quarlo::links {

constexpr std::uint32_t defaultSendLimit = 5000;
constexpr std::uint32_t defaultConnectLimit = 5000;

/** The session that the link attached with this context belongs to; null if none. */
quarloSession* sessionOf(void* context);
void forget(quarloLink& link);

/** Throws away what a serial line has not sent and nobody has read. */
void discardBuffered(int line);

}  // namespace quarlo::links
