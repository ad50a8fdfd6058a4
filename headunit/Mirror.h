/*
 * The main thread's work: follows the session, asks for updates and for the changes that are due,
 * writes the pictures and decides when and how it has ended.
 */
#ifndef HEADUNIT_MIRROR_H
#define HEADUNIT_MIRROR_H

#include <deque>
#include <string>

#include "Board.h"
#include "Host.h"
#include "Mailbox.h"
#include "Options.h"
#include "Runner.h"
#include "common/Log.h"

namespace quarlo::headunit {

class Mirror {
  public:
    /** @param interrupts a descriptor that is readable when the user wants the end */
    Mirror(const Options& options, Log& log, Mailbox& mailbox, Host& host, int interrupts);

    /** From RUN on steps are performed; with a script the session ends when that does. */
    void play(Runner& steps) { runner = &steps; }

    /** Shows the session in a window, from where the user operates the unit. */
    void showIn(Window& shown, HeadUnit& unit);

    /** Runs the session, over all its connections, to its end. @return empty for success, or what
     * went wrong */
    std::string run();
    /** Keeps a window that has shown how the session ended until the user closes it, unless another
     * end was asked for. */
    void linger();
    /** What was received, for the log. */
    void logStatistics();

    /* For the script. */
    /** Made after those that were asked for before. */
    void change(const Change& change);
    void ask(bool isFull);
    bool hasFrames() const { return isRunning && !isSuspended; }
    /** @return empty, or what went wrong */
    std::string screenshot(const std::string& name);

  private:
    bool isComplete() const { return options.frames != 0 && updates >= options.frames; }
    void step();
    void wait();
    void look();
    void take(const News& news);
    void enter(const StateNews& news);
    void becomeRunning();
    void pauseFor(const StateNews& news);
    void lost(const std::string& why);
    void runScript();
    void serveBoard(const News& news);
    bool isEndWanted() const;
    void handle(const Update& update);
    void makeChanges();
    void applyChanges();
    bool apply(const Change& change);
    void warnOf(const FrameNews& news);
    void conclude(const FrameNews& news);
    void requestNext();
    void request(bool isFull);
    void save(const Update& update);
    void fail(const std::string& why);
    std::string progress() const;
    bool isSettling() const { return log.seconds() < settledSeconds; }
    Runner::Time now() const;
    double secondsLeft() const;
    int waitMilliseconds() const;
    bool isInterrupted() const;
    std::string endReason() const;

    const Options& options;
    Log& log;
    Mailbox& mailbox;
    Host& host;
    const int interrupts;
    Runner* runner = nullptr;
    Window* window = nullptr;
    Board* board = nullptr;  // of the window
    bool isClosed = false;   // the window

    bool hasEnded = false;
    std::string failure;
    bool isConnected = false;
    bool isRunning = false;
    bool isPausing = false;  // between two attempts to connect
    bool hasRun = false;
    bool isSuspended = false;
    bool needsFull = true;
    std::size_t nextCommand = 0;
    Frame frame;                 // of the updates that come
    Frame wanted;                // when all that was asked for is changed
    std::deque<Change> changes;  // that wait for those before them
    unsigned pending = 0;        // that the session has been asked for
    unsigned updates = 0;
    unsigned pictures = 0;
    UInt64 rectangles = 0;
    UInt64 pixelBytes = 0;
    UInt64 covered = 0;         // pixels since the last request for all
    double settledSeconds = 0;  // until then an update may be of the time before a change
    double leftSeconds = 0;     // when RUN was left
    double missedSeconds = 0;   // without RUN after the first: the script's clock stood still
    double beginSeconds = 0;
    double runSeconds = 0;
    double lastSeconds = 0;
};

}  // namespace quarlo::headunit

#endif
