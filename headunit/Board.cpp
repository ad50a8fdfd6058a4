#include "Board.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quarlo::headunit {
namespace {

// "Request 7 Music" or "Release 7 Music".
std::string soundAfter(const std::string& audio) {
    const std::size_t type = audio.rfind(' ');
    if (!audio.starts_with("Request") || type == std::string::npos) return {};
    return audio.substr(type + 1);
}

// These change with every app that comes to the front.
bool isOfInterest(const Event& event) {
    constexpr const char* others[] = {"state",    "softkeys", "transition",
                                      "launcher", "inactive", "ptt"};
    return std::find(std::begin(others), std::end(others), event.callback) == std::end(others);
}

}  // namespace

void Board::opened() {
    current.failure.clear();
    current.phone.clear();
    current.sound.clear();
    say("connected, not running yet");
}

void Board::began() {
    current.isRunning = true;
    ++current.sessions;
    say("running");
}

void Board::happened(const Event& event) {
    if (event.callback == "audio") current.sound = soundAfter(event.text);
    if (event.callback == "phone") {
        current.phone = event.text;
    } else if (isOfInterest(event)) {
        remember(event);
    }
}

void Board::remember(const Event& event) {
    std::erase_if(current.notes, [&](const Note& note) { return note.event == event; });
    current.notes.push_front({event, std::chrono::system_clock::now()});
    if (current.notes.size() > Status::mostNotes) current.notes.pop_back();
}

void Board::show(Picture shown) {
    ++current.updates;
    picture = std::move(shown);
}

void Board::count(UInt64 received, UInt64 sent) {
    current.received = received;
    current.sent = sent;
}

void Board::closed(const std::string& why) {
    current.isRunning = false;
    current.failure = why;
    current.sound.clear();
    say(why.empty() ? "the session has ended" : why);
}

}  // namespace quarlo::headunit
