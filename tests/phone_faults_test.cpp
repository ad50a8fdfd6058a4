// Faults on the wire: what becomes of a stream of packets, and where the options are described.
#include "Faults.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "Bytes.h"

using namespace quarlo::phone;
using namespace quarlo::test;

namespace {

constexpr unsigned packetCount = 100;

/// No two are equal.
Bytes packetOf(unsigned i) {
    return packet(i % 40, u16(i) + Bytes(i * 7 % 90, static_cast<std::uint8_t>(i)));
}

struct Sent {
    Bytes bytes;
    std::size_t largestPiece = 0;
    std::vector<std::string> notes;
    FaultyWire::End end{};
    bool hasNote(const std::string& text) const {
        return std::find(notes.begin(), notes.end(), text) != notes.end();
    }
    /// Which packet came when, of whole ones; -1 for one that was never sent.
    std::vector<int> order() const {
        std::vector<int> found;
        for (std::size_t at = 0; at < bytes.size();) {
            const std::size_t size = 9 + bytes[at + 5];
            const Bytes one(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                            bytes.begin() + static_cast<std::ptrdiff_t>(at + size));
            const unsigned i = bytes[at + 9];
            found.push_back(one == packetOf(i) ? static_cast<int>(i) : -1);
            at += size;
        }
        return found;
    }
};

Bytes wholeStream() {
    Bytes stream;
    for (unsigned i = 0; i < packetCount; ++i) stream = stream + packetOf(i);
    return stream;
}

/// Sends all packets, of which so many bytes come at a time.
Sent sendAll(const Faults& faults, std::uint32_t seed = 1, std::size_t step = 64) {
    Sent sent;
    FaultyWire wire(faults, seed, [&](const std::string& note) { sent.notes.push_back(note); });
    const auto drain = [&] {
        for (auto piece = wire.take(); !piece.empty(); piece = wire.take()) {
            sent.bytes.insert(sent.bytes.end(), piece.begin(), piece.end());
            sent.largestPiece = std::max(sent.largestPiece, piece.size());
        }
    };
    const Bytes stream = wholeStream();
    for (std::size_t at = 0; at < stream.size(); at += step) {
        wire.put(std::span(stream).subspan(at, std::min(step, stream.size() - at)));
        drain();
    }
    if (wire.holdsBack()) wire.letGo();
    drain();
    sent.end = wire.end();
    if (sent.end != FaultyWire::End::None) wire.announceEnd();
    return sent;
}

Faults with(std::optional<unsigned> Faults::*setting, unsigned value) {
    Faults faults;
    faults.*setting = value;
    return faults;
}

TEST(PhoneFaults, AreTheSameForTheSameSeedInWhateverPiecesPacketsCome) {
    Faults all;
    all.duplicate = all.reorder = all.damage = 30;
    all.cutAt = 5000;
    for (const Faults& faults : {with(&Faults::duplicate, 30), with(&Faults::reorder, 30),
                                 with(&Faults::damage, 30), all}) {
        const Sent sent = sendAll(faults);
        for (const std::size_t step : std::initializer_list<std::size_t>{1, 10, 4999, 1'000'000}) {
            const Sent again = sendAll(faults, 1, step);
            EXPECT_EQ(again.bytes, sent.bytes) << step;
            // What is cut off is noted when its last byte has come.
            if (!faults.cutAt) {
                EXPECT_EQ(again.notes, sent.notes) << step;
            }
        }
        EXPECT_NE(sendAll(faults, 2).bytes, sent.bytes);
    }
    EXPECT_EQ(all.cutAt, sendAll(all).bytes.size());
    const Fate known{Fate::Damage{89, 41}, false, false};
    EXPECT_EQ(fateOf(with(&Faults::damage, 100), 1, 24, 100), known) << "the same on every machine";
}

TEST(PhoneFaults, StrikeWholePackets) {
    const Sent twice = sendAll(with(&Faults::duplicate, 100));
    const Sent swapped = sendAll(with(&Faults::reorder, 100));
    const std::vector<int> pairs = twice.order();
    const std::vector<int> others = swapped.order();
    ASSERT_EQ(pairs.size(), 2 * packetCount);
    ASSERT_EQ(others.size(), packetCount);
    for (unsigned i = 0; i < packetCount; ++i) {
        const int number = static_cast<int>(i);
        EXPECT_EQ(pairs[2 * i], number);
        EXPECT_EQ(pairs[2 * i + 1], number);
        EXPECT_EQ(others[i], number ^ 1);
    }
    EXPECT_TRUE(twice.hasNote("packet 2, ClientProtocolVersion, is sent twice")) << twice.notes[1];
    EXPECT_TRUE(swapped.hasNote("packet 99, ServerInitDone, waits for the next one"))
        << swapped.notes.back();

    // Some of them: as many as are noted.
    const Sent doubled = sendAll(with(&Faults::duplicate, 30));
    EXPECT_EQ(doubled.order().size(), packetCount + doubled.notes.size());
    const Sent hit = sendAll(with(&Faults::damage, 30));
    const Bytes stream = wholeStream();
    ASSERT_EQ(hit.bytes.size(), stream.size());
    std::size_t changed = 0;
    for (std::size_t i = 0; i < stream.size(); ++i) changed += hit.bytes[i] != stream[i];
    EXPECT_EQ(changed, hit.notes.size());
    for (const Sent& some : {doubled, hit}) {
        EXPECT_GT(some.notes.size(), 15u);
        EXPECT_LT(some.notes.size(), 45u);
    }
}

struct BytesCase {
    Faults faults;
    std::size_t count;
    std::size_t largestPiece;
    FaultyWire::End end;
    const char* note;
};

TEST(PhoneFaults, StrikeBytes) {
    using enum FaultyWire::End;
    const Bytes stream = wholeStream();
    const std::size_t all = stream.size();
    Faults both = with(&Faults::cutAt, 500);
    both.halfOpenAt = 499;
    both.fragment = 7;
    const BytesCase cases[] = {
        {with(&Faults::cutAt, 0), 0, 0, Cut, "the connection is cut after 0 bytes"},
        {with(&Faults::cutAt, 500), 500, 64, Cut, "the connection is cut after 500 bytes"},
        {both, 499, 7, HalfOpen, "half-open after 499 bytes"},
        {with(&Faults::fragment, 1), all, 1, None, "pieces of 1 bytes"},
        {with(&Faults::bytesPerSecond, 90), all, 9, None, "no more than 90 bytes in a second"},
        {with(&Faults::bytesPerSecond, 1), all, 1, None, "no more than 1 bytes in a second"},
    };
    for (const BytesCase& c : cases) {
        const Sent sent = sendAll(c.faults);
        EXPECT_EQ(sent.bytes,
                  Bytes(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(c.count)));
        EXPECT_EQ(sent.largestPiece, c.largestPiece) << c.note;
        EXPECT_EQ(sent.end, c.end) << c.note;
        EXPECT_TRUE(sent.hasNote(c.note)) << c.note;
    }
    const FaultyWire slow(with(&Faults::bytesPerSecond, 4000), 1, nullptr);
    EXPECT_EQ(slow.timeFor(1000), std::chrono::milliseconds(250));
}

TEST(PhoneFaults, AreDescribedInTheGuideAsInTheHelp) {
    std::ostringstream guide;
    guide << std::ifstream(QUARLO_PHONE_GUIDE).rdbuf();
    for (const FaultOption& option : faultOptions) {
        const std::string row = std::string("| `") + option.name + " " + option.argument + "` | " +
                                std::to_string(option.least) + " to " +
                                std::to_string(option.most) + " | " + option.effect + " |\n";
        EXPECT_NE(guide.str().find(row), std::string::npos) << row;
    }
}

}  // namespace
