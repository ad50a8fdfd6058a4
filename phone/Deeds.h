/**
 * @file
 * What the steps of a phone's script do. Values, which are performed on the main thread.
 */
#ifndef PHONE_DEEDS_H
#define PHONE_DEEDS_H

#include "Director.h"
#include "PacketText.h"

namespace quarlo::phone {

/**
 * Something that is done on the session's thread. A script waits for the head unit, and for the
 * next one where this one leaves before it was done.
 */
Performed errand(State needed, const std::function<void(Session&)>& act);
Performed sending(State needed, const std::vector<UInt8>& bytes);
/** @param fields that exist; without enough room in the packet the step fails */
Performed sendingPacket(std::string_view name,
                        const std::vector<std::pair<std::string_view, std::string>>& fields);
Performed wishing(Wish wish, int which);
Performed setting(const Setting& change);
/** Is done when the connection is closed. */
Performed dropNow();

/** What may be waited for. */
struct Wanted {
    Event event = Event::Packet;
    PacketPattern packet;
    std::string text;   ///< of a fault
    std::string words;  ///< as it was written

    /** What lasts need not happen again. */
    bool isSo(State state) const {
        return (event == Event::Connected && state != State::Absent) ||
               (event == Event::Running && state == State::Running);
    }
    bool isIn(const Happening& happening) const {
        if (happening.event != event) return false;
        return event == Event::Packet ? packet.matches(happening.packet)
                                      : happening.text.find(text) != std::string::npos;
    }
};

Performed waitFor(const Wanted& wanted, unsigned milliseconds);
/** @param isToBe that must have been; else it must not */
Performed expect(const Wanted& wanted, bool isToBe);

}  // namespace quarlo::phone

#endif
