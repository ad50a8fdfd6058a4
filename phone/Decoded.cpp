// Decodes packets by a table made from the wire catalogue. A list of which some entries did not fit
// the payload is as unreadable as a field that did not. One thread.
#include "Decoded.h"

#include <algorithm>

#include "RecordsOnly.h"

namespace quarlo::phone {
namespace {

using wire::Scalar;
using Bytes = std::span<const std::uint8_t>;

/// Looks for records that are missing: entries of a list that were announced and did not come.
struct FindMissing : RecordsOnly {
    using RecordsOnly::operator();

    template <class R>
    bool operator()(R* const& member) {
        return member != nullptr && wire::Layout<R>::each(*member, *this);
    }
    template <Scalar C, class R>
    bool operator()(const C& count, R** const& list) {
        for (std::uint64_t i = 0; i < count; ++i) {
            if (list[i] == nullptr || !wire::Layout<R>::each(*list[i], *this)) return false;
        }
        return true;
    }
};

template <class P>
std::shared_ptr<const void> decode(Bytes bytes, std::size_t& rest) {
    wire::Bounded input{bytes.data(), bytes.data() + bytes.size()};
    wire::Heap heap;
    std::shared_ptr<const P> packet(wire::decodePacket<P>(input, heap),
                                    [](const P* p) { wire::deletePacket(const_cast<P*>(p)); });
    rest = static_cast<std::size_t>(input.end - input.at);
    FindMissing missing;
    if (packet != nullptr && !wire::Layout<P>::each(*packet, missing)) packet.reset();
    return packet;
}

struct Row {
    UInt8 type;
    bool isToPhone;
    std::shared_ptr<const void> (*decode)(Bytes, std::size_t&);
};
constexpr bool ToPhone = true;
constexpr bool FromPhone = false;
constexpr Row rows[] = {
#define QUARLO_PACKET(Event, Direction, Name, ...) {Event, Direction, decode<packet##Name>},
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) {Event, Direction, decode<packet##Name>},
#include "QUARLO.Connector.IVI-API-Catalogue.def"
};

}  // namespace

Decoded::Decoded(Bytes bytes) : number(bytes[0]) {
    const auto row = std::find_if(std::begin(rows), std::end(rows),
                                  [&](const Row& one) { return one.type == number; });
    known = row != std::end(rows);
    if (!known) return;
    fromHeadUnit = row->isToPhone;
    fields = row->decode(bytes, rest);
}

}  // namespace quarlo::phone
