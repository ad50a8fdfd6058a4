// Connections that come while another is judged wait for their turn; more than there is a turn for
// are closed. The main thread, but for what arrives.
#include "Program.h"

#include <cstdio>
#include <deque>
#include <fstream>
#include <mutex>
#include <stdexcept>

#include "Arrivals.h"
#include "Checker.h"

namespace quarlo::phone {
namespace {

constexpr double firstLimit = 30;
constexpr std::size_t mostWaiting = 3;

TimePoint now() {
    return std::chrono::steady_clock::now();
}

TimePoint::duration lasting(double seconds) {
    return std::chrono::duration_cast<TimePoint::duration>(Seconds(seconds));
}

/// A link does not give up a head unit that is silent or takes nothing: the check judges that.
Options withoutLimits(Options options) {
    options.pingLimit = 0;
    return options;
}

class CheckProgram {
  public:
    CheckProgram(const Options& options, const Bell& wake)
        : given(withoutLimits(options)),
          bell(wake),
          log(options.verbose ? LogLevel::Verbose : LogLevel::Normal, stderr),
          checker(log, start) {
        openReport();
        arrivals.emplace(given, log, [this](Link link) { arrive(std::move(link)); });
        if (!given.portFile.empty()) writePortFile(given.portFile, arrivals->port());
        log.line("UNIT", arrivals->describe());
    }

    int run(const std::function<bool()>& isStopRequested) {
        while (!isStopRequested() && now() < end() && turn())
            bell.wait(std::min(end(), checker.nextWake()));
        arrivals.reset();
        return tell();
    }

  private:
    void openReport() {
        if (given.report.empty()) return;
        report.open(given.report);
        if (!report) throw std::runtime_error("cannot write " + given.report);
    }

    void arrive(Link link) {
        const std::lock_guard guard(lock);
        if (arrived.size() < mostWaiting) arrived.push_back(std::move(link));
        bell.ring();
    }

    Link next() {
        const std::lock_guard guard(lock);
        if (arrived.empty()) return nullptr;
        Link link = std::move(arrived.front());
        arrived.pop_front();
        return link;
    }

    TimePoint end() const {
        if (given.maxSeconds) return start + lasting(*given.maxSeconds);
        return hasCome ? TimePoint::max() : start + lasting(firstLimit);
    }

    bool turn() {
        if (checker.isFree()) {
            stream.reset();
            if (Link link = next()) {
                stream = std::make_unique<LinkStream>(
                    std::move(link), bell, FaultyWire({}, given.seed, [](const std::string&) {}));
                checker.connect(*stream);
                hasCome = true;
            }
        }
        return checker.step(now());
    }

    int tell() {
        const Verdicts verdicts = checker.verdicts();
        std::fputs(verdicts.table().c_str(), stdout);
        std::fflush(stdout);
        if (report.is_open())
            report << verdicts.report(Seconds(now() - start).count()) << std::flush;
        if (!checker.hasRun()) return hasNoSession;
        return verdicts.hasFailed() ? hasFail : hasNoFail;
    }

    const Options given;
    const Bell& bell;
    const Log log;
    const TimePoint start = now();
    std::ofstream report;
    std::mutex lock;
    std::deque<Link> arrived;  ///< guarded by the lock
    bool hasCome = false;
    std::unique_ptr<LinkStream> stream;
    Checker checker;
    std::optional<Arrivals> arrivals;
};

}  // namespace

int runCheck(const Options& options, const Bell& bell,
             const std::function<bool()>& isStopRequested) {
    try {
        return CheckProgram(options, bell).run(isStopRequested);
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "quarlo-phone: %s\n", printable(problem.what()).c_str());
        return isWrongUsage;
    }
}

}  // namespace quarlo::phone
