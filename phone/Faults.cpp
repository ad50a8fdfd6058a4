#include "Faults.h"

#include <algorithm>
#include <cstdio>

#include "Hash.h"
#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo::phone {
namespace {

/// So small that the send limit holds for a wire that is slow, but moves.
constexpr std::size_t mostAtOnce = std::size_t{16} * 1024;
/// A wire that is slow on purpose gives so many pieces in a second.
constexpr unsigned slowPieces = 10;

/// Each kind of chance has numbers of its own, so that one option does not change what another
/// does.
enum Kind : std::uint32_t { Duplicates = 1, Reorders, Damages, Positions, Changes };

bool strikes(const std::optional<unsigned>& percent, std::uint32_t number, Kind kind,
             std::uint32_t seed) {
    return percent && hashOf(number, kind, seed) % 100 < *percent;
}

}  // namespace

Fate fateOf(const Faults& faults, std::uint32_t seed, std::uint32_t number, std::size_t size) {
    Fate fate;
    fate.isDuplicated = strikes(faults.duplicate, number, Duplicates, seed);
    fate.isHeldBack = strikes(faults.reorder, number, Reorders, seed);
    if (strikes(faults.damage, number, Damages, seed)) {
        const std::uint32_t change = 1 + hashOf(number, Changes, seed) % 255;
        fate.damage = {hashOf(number, Positions, seed) % size, static_cast<std::uint8_t>(change)};
    }
    return fate;
}

FaultyWire::FaultyWire(const Faults& faults, std::uint32_t seed, Note note)
    : set(faults), random(seed), say(std::move(note)) {}

void FaultyWire::put(std::span<const std::uint8_t> bytes) {
    if (taken == ready.size()) {
        ready.clear();
        taken = 0;
    }
    if (!set.duplicate && !set.reorder && !set.damage) {
        ready.insert(ready.end(), bytes.begin(), bytes.end());
        return;
    }
    while (!bytes.empty()) {
        const std::size_t count = quarloFraming_Take(&framing, bytes.data(), bytes.size());
        packet.insert(packet.end(), bytes.begin(),
                      bytes.begin() + static_cast<std::ptrdiff_t>(count));
        bytes = bytes.subspan(count);
        if (framing.isWhole != 0) finishPacket();
    }
}

void FaultyWire::finishPacket() {
    Fate fate = fateOf(set, random, ++number, packet.size());
    // One waits at a time: else many in a row would all be in order again.
    if (holdsBack()) fate.isHeldBack = false;
    tell(fate);
    if (fate.damage) packet[fate.damage->at] ^= fate.damage->changes;
    if (fate.isHeldBack) {
        heldBack.swap(packet);
        isHeldTwice = fate.isDuplicated;
    } else {
        append(packet, fate.isDuplicated);
        letGo();
    }
    packet.clear();
}

void FaultyWire::tell(const Fate& fate) const {
    const std::string name = "packet " + std::to_string(number) + ", " +
                             _quarlo_getEventTypeName(static_cast<EventType>(framing.type)) + ", ";
    if (fate.damage) {
        const std::uint8_t before = packet[fate.damage->at];
        char change[80];
        std::snprintf(change, sizeof change, "gets 0x%02X instead of 0x%02X at its byte %zu",
                      before ^ fate.damage->changes, before, fate.damage->at);
        say(name + change);
    }
    if (fate.isDuplicated) say(name + "is sent twice");
    if (fate.isHeldBack) say(name + "waits for the next one");
}

void FaultyWire::letGo() {
    append(heldBack, isHeldTwice);
    heldBack.clear();
}

void FaultyWire::append(const std::vector<std::uint8_t>& bytes, bool isTwice) {
    for (int i = 0; i < (isTwice ? 2 : 1); ++i)
        ready.insert(ready.end(), bytes.begin(), bytes.end());
}

std::span<std::uint8_t> FaultyWire::take() {
    const std::size_t count = std::min({ready.size() - taken, largestPiece(), bytesToEnd()});
    if (count > 0 && sent == 0) announcePieces();
    const std::span piece(ready.data() + taken, count);
    taken += count;
    sent += count;
    return piece;
}

std::size_t FaultyWire::largestPiece() const {
    std::size_t most = mostAtOnce;
    if (set.fragment) most = *set.fragment;
    if (set.bytesPerSecond) most = std::min<std::size_t>(most, *set.bytesPerSecond / slowPieces);
    return std::max<std::size_t>(most, 1);
}

void FaultyWire::announcePieces() const {
    if (set.fragment) say("pieces of " + std::to_string(*set.fragment) + " bytes");
    if (set.bytesPerSecond)
        say("no more than " + std::to_string(*set.bytesPerSecond) + " bytes in a second");
}

std::chrono::nanoseconds FaultyWire::timeFor(std::size_t count) const {
    if (!set.bytesPerSecond) return {};
    return std::chrono::nanoseconds(std::nano::den * count / *set.bytesPerSecond);
}

std::size_t FaultyWire::bytesToEnd() const {
    constexpr std::uint64_t never = UINT64_MAX;
    const std::uint64_t cut = set.cutAt ? *set.cutAt : never;
    const std::uint64_t open = set.halfOpenAt ? *set.halfOpenAt : never;
    return static_cast<std::size_t>(std::min<std::uint64_t>(std::min(cut, open) - sent, SIZE_MAX));
}

FaultyWire::End FaultyWire::end() const {
    if (set.cutAt && sent == *set.cutAt) return End::Cut;
    if (set.halfOpenAt && sent == *set.halfOpenAt) return End::HalfOpen;
    return End::None;
}

void FaultyWire::announceEnd() const {
    const char* what = end() == End::Cut ? "the connection is cut after " : "half-open after ";
    say(what + std::to_string(sent) + " bytes");
}

}  // namespace quarlo::phone
