/**
 * @file
 * A packet of any type, decoded. Owned by whoever has it; one thread.
 */
#ifndef PHONE_DECODED_H
#define PHONE_DECODED_H

#include <cstdint>
#include <memory>
#include <span>

#include "QUARLO-WirePackets.h"

namespace quarlo::phone {

class Decoded {
  public:
    Decoded() = default;
    /** @param bytes one whole packet, header included */
    explicit Decoded(std::span<const std::uint8_t> bytes);

    UInt8 type() const { return number; }
    bool isKnown() const { return known; }
    bool isFromHeadUnit() const { return fromHeadUnit; }
    /** Null fields: the type is unknown, or the payload is too short for its fields. */
    bool isReadable() const { return fields != nullptr; }
    /** What stands behind its fields. */
    std::size_t surplus() const { return rest; }

    /** The packet if it is a readable P, else null. */
    template <class P>
    const P* as() const {
        const bool isThisType = number == wire::Layout<P>::event;
        return isThisType ? static_cast<const P*>(fields.get()) : nullptr;
    }
    /** Calls `visitor` with the readable packet in its own type. */
    template <class Visitor>
    void visit(const Visitor& visitor) const {
        if (!isReadable()) return;
#define QUARLO_PACKET(Event, Direction, Name, ...) \
    if (number == Event) visitor(*static_cast<const packet##Name*>(fields.get()));
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) QUARLO_PACKET(Event, Direction, Name, )
#include "QUARLO.Connector.IVI-API-Catalogue.def"
    }

  private:
    UInt8 number = 0;
    bool known = false;
    bool fromHeadUnit = false;
    std::size_t rest = 0;
    std::shared_ptr<const void> fields;
};

}  // namespace quarlo::phone

#endif
