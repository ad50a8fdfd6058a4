#include "Pump.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "Allocations.h"
#include "Frames.h"

namespace quarlo::bench {

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

double worked() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// The quickest of several rounds, since the other core may be busy.
double secondsPerMalloc() {
    constexpr int calls = 200000;
    double quickest = 1;
    for (int round = 0; round < 20; ++round) {
        const double start = now();
        for (int i = 0; i < calls; ++i) {
            void* block = std::malloc(64);
            benchmark::DoNotOptimize(block);
            std::free(block);
        }
        quickest = std::min(quickest, (now() - start) / calls);
    }
    return quickest;
}

namespace {
Pump& pumpOf(void* context) {
    return *static_cast<Pump*>(context);
}
}  // namespace

Pump::Pump(UInt32 width, UInt32 height) : instance(quarlo_CreateInstance(nullptr, "bench")) {
    quarlo_SetCallbackContext(instance, this);
    quarlo_SetFrameSize(instance, width, height, 100, 60);
    quarlo_SetReceiverLink(instance, &Pump::receive);
    quarlo_SetSenderLink(instance, &Pump::send);
    quarlo_SetInitialisationTimeout(instance, 0);
    quarlo_SetTraceClass(instance, eTRACECLASS_NONE);
    quarlo_SetEndReceiverRequestCallback(instance, [](void* context) {
        Pump& pump = pumpOf(context);
        const std::lock_guard lock(pump.mutex);
        pump.isEnding = true;
        pump.changed.notify_all();
    });
    quarlo_SetFrameUpdateCallback(
        instance, [](void* context, UInt8, UInt16 x, UInt16 y, UInt16 w, UInt16, UInt8* data,
                     UInt32 length) { pumpOf(context).copy(x, y, w, data, length); });
    quarlo_StartMainThread(instance);
    handshake();
}

Pump::~Pump() {
    quarlo_DeleteInstance(instance);
}

void Pump::handshake() {
    run(protocolAccepted, 1);
    run(handshakeDone, 1);
    // What the library announces in RUN comes with the next reads.
    run({128, 0, 0, 0, 0, 4, 0, 0, 0, 1, 0, 0, 0}, 2);
}

void Pump::copy(std::size_t x, std::size_t y, std::size_t width, const UInt8* data,
                std::size_t size) {
    if (frame == nullptr) return;
    if (pitch == 0) {
        std::memcpy(frame, data, size);
        return;
    }
    UInt8* row = frame + y * pitch + x * 4;
    for (std::size_t at = 0; at < size; at += width * 4, row += pitch) {
        std::memcpy(row, data + at, width * 4);
    }
}

Pump::Result Pump::run(const Bytes& bytes, std::size_t times, std::size_t readSize) {
    std::unique_lock lock(mutex);
    source = &bytes;
    offset = 0;
    left = times;
    limit = readSize == 0 ? bytes.size() : readSize;
    isDone = false;
    begin = 0;
    changed.notify_all();
    changed.wait(lock, [&] { return isDone; });
    return result;
}

void Pump::finish() {
    result = {now() - begin, worked() - workedBefore, allocations() - allocationsBefore,
              sends - sendsBefore};
    source = nullptr;
    isDone = true;
    changed.notify_all();
}

/** Called when there is nothing to read: ends a run that was under way and waits for the next. */
std::size_t Pump::waitForWork(std::unique_lock<std::mutex>& lock) {
    if (source != nullptr && begin != 0) finish();
    changed.wait(lock, [&] { return source != nullptr || isEnding; });
    if (isEnding) return 0;
    begin = now();
    workedBefore = worked();
    allocationsBefore = allocations();
    sendsBefore = sends;
    return left;
}

std::size_t Pump::receive(void* context, UInt8* buffer, std::size_t size, void*) {
    Pump& pump = pumpOf(context);
    if (pump.source == nullptr || pump.left == 0 || pump.begin == 0) {
        std::unique_lock lock(pump.mutex);
        if (pump.waitForWork(lock) == 0) return 0;
    }
    const std::size_t rest = pump.source->size() - pump.offset;
    const std::size_t count = std::min({size, rest, pump.limit});
    std::memcpy(buffer, pump.source->data() + pump.offset, count);
    pump.offset += count;
    if (pump.offset == pump.source->size()) {
        pump.offset = 0;
        --pump.left;
    }
    return count;
}

void Pump::send(void* context, UInt8*, std::size_t, void*) {
    ++pumpOf(context).sends;
}

}  // namespace quarlo::bench
