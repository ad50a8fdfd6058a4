/**
 * @file
 * Where head units come from: a place that is listened on, one that is connected to, or a serial
 * line. A thread of its own waits for them and hands each over.
 */
#ifndef PHONE_ARRIVALS_H
#define PHONE_ARRIVALS_H

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "LinkStream.h"
#include "Options.h"
#include "common/Log.h"

namespace quarlo::phone {

class Arrivals {
  public:
    /** Is called on the thread of the arrivals. */
    using Taker = std::function<void(Link)>;

    /** Throws std::runtime_error with a text for the user if it cannot listen, or open the line. */
    Arrivals(const Options& options, const Log& log, Taker taker);
    ~Arrivals();

    /** What is done, for people: "listening on ...". */
    std::string describe() const;
    /** Where it listens; 0 if not on a TCP port. */
    unsigned port() const { return quarloListener_GetPort(listener.get()); }
    /** A head unit that was connected to, or was on the line, is gone: the next one may come. */
    void expectNext();

  private:
    struct CloseListener {
        void operator()(quarloListener* open) const { quarloListener_Close(open); }
    };

    void open();
    void run();
    Link next();
    Link connect(quarloLinkFailure& failure) const;
    bool isListening() const { return listener != nullptr; }

    const Options& given;
    const Log& output;
    const Taker take;
    std::unique_ptr<quarloListener, CloseListener> listener;
    Link line;  ///< opened at the beginning, to tell at once that it cannot be
    const Bell bell;
    std::atomic<bool> isWanted{true};
    std::atomic<bool> isStopped{false};
    std::string lastProblem;  ///< of the thread
    std::thread thread;
};

/** Another process that waits for the file finds it either absent or complete. Throws
 * std::runtime_error if it cannot be written. */
void writePortFile(const std::string& path, unsigned port);

}  // namespace quarlo::phone

#endif
