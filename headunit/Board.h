/*
 * What there is to show of the session beside the phone's screen, and who does what the user wants.
 * Sessions come and go, the board stays. The main thread's.
 */
#ifndef HEADUNIT_BOARD_H
#define HEADUNIT_BOARD_H

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>

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
    /** @param operated is told what the user does while a session runs */
    void operate(HeadUnit& operated) { unit = &operated; }

    void say(const std::string& state) { current.state = state; }
    void opened();
    void began();
    void resized(Size frame) { current.frame = frame; }
    void happened(const Event& event);
    void show(Picture shown);
    void count(UInt64 received, UInt64 sent);
    /** @param why empty if the session was to end */
    void closed(const std::string& why);

    const Status& status() const { return current; }
    /** Null if there is no session that runs. */
    HeadUnit* driven() const { return current.isRunning ? unit : nullptr; }
    /** The phone's screen if it is newer than the last one taken. */
    std::optional<Picture> takePicture() { return std::exchange(picture, std::nullopt); }

  private:
    void remember(const Event& event);

    HeadUnit* unit = nullptr;
    Status current;
    std::optional<Picture> picture;
};

/** A window as the session sees it. */
struct Window {
    Board board;
    /** Waits at most for that time and shows what is new. @return false when the user wants the
     * end */
    std::function<bool(int milliseconds)> turn;
    /** Ends the wait; for any thread. */
    std::function<void()> wake;
};

}  // namespace quarlo::headunit

#endif
