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

void Board::say(const std::string& state) {
    {
        const std::lock_guard guard(lock);
        current.state = state;
    }
    notify();
}

void Board::opened(Mailbox& mailbox) {
    {
        const std::lock_guard guard(lock);
        recipient = &mailbox;
        current.failure.clear();
        current.phone.clear();
        current.sound.clear();
    }
    say("connected, not running yet");
}

void Board::running() {
    {
        const std::lock_guard guard(lock);
        current.isRunning = true;
        ++current.sessions;
    }
    say("running");
}

void Board::happened(const Event& event) {
    {
        const std::lock_guard guard(lock);
        if (event.callback == "audio") current.sound = soundAfter(event.text);
        if (event.callback == "phone") {
            current.phone = event.text;
        } else if (isOfInterest(event)) {
            remember(event);
        }
    }
    notify();
}

void Board::remember(const Event& event) {
    std::erase_if(current.notes, [&](const Note& note) { return note.event == event; });
    current.notes.push_front({event, std::chrono::system_clock::now()});
    if (current.notes.size() > Status::mostNotes) current.notes.pop_back();
}

void Board::show(Picture shown) {
    {
        const std::lock_guard guard(lock);
        current.frame = shown.size();
        ++current.updates;
        picture = std::move(shown);
    }
    notify();
}

void Board::count(UInt64 received, UInt64 sent) {
    const std::lock_guard guard(lock);
    current.received = received;
    current.sent = sent;
}

std::vector<Board::Act> Board::takeActs() {
    const std::lock_guard guard(lock);
    return std::exchange(acts, {});
}

void Board::closed(const std::string& why) {
    {
        const std::lock_guard guard(lock);
        recipient = nullptr;
        acts.clear();
        current.isRunning = false;
        current.failure = why;
        current.sound.clear();
    }
    say(why.empty() ? "the session has ended" : why);
}

bool Board::isDone() const {
    const std::lock_guard guard(lock);
    return hasFinished;
}

bool Board::ask(Act act) {
    const std::lock_guard guard(lock);
    if (recipient == nullptr || !current.isRunning) return false;
    acts.push_back(std::move(act));
    recipient->wake();
    return true;
}

Status Board::status() const {
    const std::lock_guard guard(lock);
    return current;
}

std::optional<Picture> Board::takePicture() {
    const std::lock_guard guard(lock);
    return std::exchange(picture, std::nullopt);
}

void Board::finish() {
    const std::lock_guard guard(lock);
    hasFinished = true;
}

}  // namespace quarlo::headunit
