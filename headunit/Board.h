/*
 * Between the session's thread and the window's: what there is to show goes one way, what the user
 * did the other. Sessions come and go, the board stays. A lock guards everything.
 */
#ifndef HEADUNIT_BOARD_H
#define HEADUNIT_BOARD_H

#include <chrono>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Mailbox.h"
#include "Script.h"

namespace quarlo::headunit {

/** What the phone wanted or told, and when. */
struct Note {
    Event event;
    std::chrono::system_clock::time_point time;
};

/** How things are. */
struct Status {
    static constexpr std::size_t mostNotes = 12;

    unsigned sessions = 0;  ///< that reached RUN; of the present one if isRunning
    bool isRunning = false;
    std::string state;    ///< for people
    std::string failure;  ///< of the last session; empty while one goes on
    std::string phone;    ///< what it said of itself
    std::string sound;    ///< what the phone plays; empty for nothing
    Size frame;
    unsigned updates = 0;  ///< of all sessions
    UInt64 received = 0;   ///< bytes, of all sessions
    UInt64 sent = 0;
    std::deque<Note> notes;  ///< the latest, last first; of equal ones the last
};

class Board {
  public:
    /** Something that is done to the running session, whose frame has that size. */
    using Act = std::function<void(HeadUnit&, Size)>;

    /** @param wake is called with news, on any thread; it must not call the board */
    explicit Board(std::function<void()> wake) : notify(std::move(wake)) {}

    /* The session's thread. */
    void say(const std::string& state);
    void opened(Mailbox& mailbox);
    void running();
    void happened(const Event& event);
    void show(Picture picture);
    void count(UInt64 received, UInt64 sent);
    std::vector<Act> takeActs();
    /** @param why empty if the session was to end */
    void closed(const std::string& why);
    /** The user has closed the window: the end is what was wanted. */
    bool isDone() const;

    /* The window's thread. */
    /** @return false if there is no session that runs */
    bool ask(Act act);
    Status status() const;
    /** The phone's screen if it is newer than the last one taken. */
    std::optional<Picture> takePicture();
    void finish();

  private:
    void remember(const Event& event);

    const std::function<void()> notify;
    mutable std::mutex lock;
    Mailbox* recipient = nullptr;
    std::vector<Act> acts;
    Status current;
    std::optional<Picture> picture;
    bool hasFinished = false;
};

}  // namespace quarlo::headunit

#endif
