// quarlo-soak: instances and phones that talk for a given time, and a report of whether anything
// was lost, drawn wrongly or left behind. The main thread counts; the pairs have threads of their
// own.
#include <csignal>
#include <cstdio>
#include <map>
#include <memory>

#include "Levels.h"
#include "Pair.h"
#include "Tally.h"
#include "common/CommandLine.h"

namespace quarlo::soak {
namespace {

struct Options {
    unsigned seconds = 600;
    unsigned instances = 4;
    unsigned report = 60;
    std::uint64_t seed = 0;
};

volatile std::sig_atomic_t isInterrupted = 0;

double mebi(std::size_t bytes) {
    return static_cast<double>(bytes) / (1 << 20);
}

/** The levels when no thread is on its way out any more: one that was joined may be listed still.
 */
Levels levelsWith(std::size_t threads) {
    constexpr int attempts = 500;
    Levels now = levels();
    for (int i = 0; i < attempts && now.threads > threads; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        now = levels();
    }
    return now;
}

class Soak {
  public:
    explicit Soak(const Options& chosen) : options(chosen), rounds(chosen.instances) {
        quarlo_Init();
        for (unsigned i = 0; i < options.instances; ++i) {
            pairs.push_back(std::make_unique<Pair>(rounds, i, options.seed));
        }
    }

    int run() {
        // What is made once, and kept, is there after the warm-up.
        const std::chrono::duration<double> warmUp(
            std::min<double>(options.report, options.seconds / 4.0));
        bool isFirst = true;
        while (!tally.isOver) {
            const auto length = isFirst ? warmUp : std::chrono::duration<double>(options.report);
            const auto next = Clock::now() + std::chrono::duration_cast<Clock::duration>(length);
            const auto end = start + std::chrono::seconds(options.seconds);
            round(std::min(next, end), isFirst);
            isFirst = false;
            if (Clock::now() >= end) break;
        }
        return close();
    }

  private:
    void round(Clock::time_point until, bool isFirst) {
        rounds.play(until);
        std::size_t resident = 0;
        while (!tally.isOver && Clock::now() < until) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            resident = std::max(resident, residentBytes());
            if (isInterrupted != 0) tally.isOver = true;
        }
        if (!rounds.waitForRest()) hang();
        if (isFirst) calm = levelsWith(0);
        const Levels now = isFirst ? calm : levelsWith(calm.threads);
        print(now, resident);
        if (isFirst) {
            residentAtFirst = resident;
        } else {
            compare(now, resident);
        }
    }

    void print(const Levels& now, std::size_t resident) const {
        const std::chrono::duration<double> passed = Clock::now() - start;
        std::printf(
            "%7.0f s  sessions %llu  packets %llu  %.1f MB  RSS %.1f MB  threads %zu  "
            "descriptors %zu\n",
            passed.count(), count(tally.sessions), count(tally.packets), mebi(tally.bytes),
            mebi(resident), now.threads, now.descriptors);
        std::fflush(stdout);
    }
    static unsigned long long count(const std::atomic<std::uint64_t>& value) { return value; }

    void compare(const Levels& now, std::size_t resident) const {
        const auto grown = [](const char* what, std::size_t from, std::size_t to) {
            tally.fail(std::string(what) + " have grown from " + std::to_string(from) + " to " +
                       std::to_string(to));
        };
        if (now.threads > calm.threads) grown("threads", calm.threads, now.threads);
        if (now.descriptors > calm.descriptors) {
            grown("descriptors", calm.descriptors, now.descriptors);
        }
        if (!memoryIsMeasurable()) return;
        constexpr std::size_t heapSlack = std::size_t{1} << 20;
        constexpr std::size_t residentSlack = std::size_t{32} << 20;
        if (now.allocated > calm.allocated + heapSlack) {
            grown("allocated bytes", calm.allocated, now.allocated);
        }
        if (resident > residentAtFirst + residentAtFirst / 4 + residentSlack) {
            grown("bytes in memory", residentAtFirst, resident);
        }
    }

    /** Threads that do not end cannot be joined either. */
    [[noreturn]] void hang() const {
        for (std::size_t i = 0; i < pairs.size(); ++i) {
            std::fprintf(stderr, "quarlo-soak: instance %zu: %s\n", i + 1, pairs[i]->stage());
        }
        std::fprintf(stderr, "quarlo-soak: FAILED (seed %llu): something hangs\n", seed());
        std::fflush(nullptr);
        std::_Exit(1);
    }

    int close() {
        tally.isOver = true;
        rounds.finish();
        pairs.clear();
        quarlo_Shutdown();
        const std::chrono::duration<double> passed = Clock::now() - start;
        const std::string failure = tally.firstFailure();
        if (!failure.empty()) {
            std::fprintf(stderr, "quarlo-soak: FAILED after %.0f s (seed %llu): %s\n",
                         passed.count(), seed(), failure.c_str());
            return 1;
        }
        std::printf(
            "quarlo-soak: passed: %.0f s, %llu sessions, %llu packets, %llu rectangles, "
            "%.1f MB; nothing lost, drawn wrongly or left behind\n",
            passed.count(), count(tally.sessions), count(tally.packets), count(tally.rectangles),
            mebi(tally.bytes));
        return 0;
    }
    unsigned long long seed() const { return options.seed; }

    const Options options;
    const Clock::time_point start = Clock::now();
    Rounds rounds;
    std::vector<std::unique_ptr<Pair>> pairs;
    Levels calm;
    std::size_t residentAtFirst = 0;
};

int soak(int argc, char** argv) {
    Options options;
    options.seed = std::random_device()();
    CommandLine app{
        "Lets instances of the library talk with phones, each for many random sessions, and "
        "looks for anything lost, drawn wrongly or left behind.",
        "quarlo-soak"};
    const auto positive = CLI::Range(1U, 1000000U);
    app.add_option("--seconds", options.seconds, "How long")->check(positive);
    app.add_option("--instances", options.instances, "How many at the same time, up to 64")
        ->check(CLI::Range(1U, 64U));
    app.add_option("--report", options.report, "Seconds from one report to the next")
        ->check(positive);
    app.add_option("--seed", options.seed,
                   "Makes the same choices again; without it others each time")
        ->default_str("");
    const std::map<std::string, Fault> faults = {
        {"lost", Fault::Lost},     {"unsent", Fault::Unsent},         {"pixel", Fault::Pixel},
        {"memory", Fault::Memory}, {"descriptor", Fault::Descriptor}, {"thread", Fault::Thread}};
    // For the tests alone, and so without a place in the help.
    app.add_option("--fault", tally.fault)->transform(CLI::Transformer(faults))->group("");
    if (const auto status = app.read(argc, argv)) return *status;
    std::signal(SIGINT, [](int) { isInterrupted = 1; });
    return Soak(options).run();
}

}  // namespace
}  // namespace quarlo::soak

int main(int argc, char** argv) {
    try {
        return quarlo::soak::soak(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quarlo-soak: FAILED: %s\n", error.what());
        return 1;
    }
}
