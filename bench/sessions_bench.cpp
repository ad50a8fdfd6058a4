/*
 * Many sessions in one process: each instance gets 1280x720 as JPEG ten times a second from a phone
 * in its links.
 */
#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <memory>
#include <thread>

#include "Frames.h"
#include "Jpeg.h"
#include "QUARLO-Core-Engineering-Types.h"

namespace quarlo::bench {
namespace {

constexpr UInt32 width = 1280;
constexpr UInt32 height = 720;
constexpr double period = 0.1;
constexpr double duration = 3;

class PacedSession {
  public:
    PacedSession(const Bytes& update, double firstFrame) : packet(update), due(firstFrame) {
        instance = quarlo_CreateInstance(nullptr, "bench");
        quarlo_SetCallbackContext(instance, this);
        quarlo_SetFrameSize(instance, width, height, 100, 60);
        quarlo_SetReceiverLink(instance, [](void* context, UInt8* into, std::size_t size, void*) {
            return static_cast<PacedSession*>(context)->read(into, size);
        });
        quarlo_SetSenderLink(instance, [](void* context, UInt8* bytes, std::size_t, void*) {
            static_cast<PacedSession*>(context)->answer(bytes[0]);
        });
        quarlo_SetInitialisationTimeout(instance, 0);
        quarlo_SetTraceClass(instance, eTRACECLASS_NONE);
        quarlo_SetEndReceiverRequestCallback(
            instance, [](void* context) { static_cast<PacedSession*>(context)->isEnding = true; });
        quarlo_SetFrameUpdateCallback(
            instance, [](void* context, UInt8, UInt16, UInt16, UInt16, UInt16, UInt8*, UInt32) {
                ++static_cast<PacedSession*>(context)->frames;
            });
        quarlo_StartMainThread(instance);
    }
    ~PacedSession() { quarlo_DeleteInstance(instance); }
    PacedSession(const PacedSession&) = delete;
    PacedSession& operator=(const PacedSession&) = delete;

    std::atomic<unsigned> frames{0};

  private:
    void answer(UInt8 type) {
        if (type == eEVENTTYPE_ClientProtocolVersion) pending = protocolAccepted;
        if (type == eEVENTTYPE_ClientInit) pending = handshakeDone;
    }
    std::size_t read(UInt8* into, std::size_t size) {
        const Bytes& source = pending.empty() ? packet : pending;
        if (pending.empty() && offset == 0) {
            const double wait = due - now();
            // Often enough for an end.
            if (wait > 0) {
                std::this_thread::sleep_for(std::chrono::duration<double>(std::min(wait, 0.02)));
            }
            if (isEnding || due > now()) return 0;
        }
        const std::size_t count = std::min(size, source.size() - offset);
        std::copy_n(source.data() + offset, count, into);
        offset += count;
        if (offset < source.size()) return count;
        offset = 0;
        if (pending.empty()) due += period;
        pending.clear();
        return count;
    }

    const Bytes& packet;
    double due;
    Bytes pending;
    std::size_t offset = 0;
    std::atomic<bool> isEnding{false};
    void* instance = nullptr;
};

/** Seconds that the whole process has worked. */
double processWorked() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/** N instances; whether the slowest of them gets what its phone has to send. */
void manySessions(benchmark::State& state) {
    if ((quarlo_Eng_GetSupportedCompressions() & eFRAMECOMPRESSION_JPEG) == 0) {
        return state.SkipWithError("the JPEG plug-in was not found");
    }
    const Bytes jpeg = jpegPicture(width, height);
    const Bytes update = updatePacket({{0, 0, width, height, jpeg}}, eFRAMECOMPRESSION_JPEG);
    const auto count = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        std::vector<std::unique_ptr<PacedSession>> sessions;
        const double begin = now() + 0.5;
        for (std::size_t i = 0; i < count; ++i) {
            // Phones do not keep step with each other.
            const double shift = period * static_cast<double>(i) / static_cast<double>(count);
            sessions.push_back(std::make_unique<PacedSession>(update, begin + shift));
        }
        const double before = processWorked();
        std::this_thread::sleep_for(std::chrono::duration<double>(begin + duration - now()));
        const double work = processWorked() - before;
        unsigned all = 0;
        unsigned fewest = static_cast<unsigned>(-1);
        for (const auto& session : sessions) {
            all += session->frames;
            fewest = std::min(fewest, session->frames.load());
        }
        state.SetIterationTime(duration);
        state.counters["cpu_ms_per_frame"] = work * 1e3 / std::max(all, 1U);
        state.counters["frames_per_second"] = fewest / duration;
        state.counters["keeps_up"] = fewest + 2 >= duration / period ? 1 : 0;
    }
}
BENCHMARK(manySessions)
    ->Arg(1)
    ->Arg(8)
    ->Arg(64)
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quarlo::bench
