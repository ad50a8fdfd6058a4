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
    const Sent sent = sendAll(all);
    for (const std::size_t step : std::initializer_list<std::size_t>{1, 10, 4999, 1'000'000}) {
        const Sent again = sendAll(all, 1, step);
        EXPECT_EQ(again.bytes, sent.bytes) << step;
        EXPECT_EQ(again.notes, sent.notes) << step;
    }
    EXPECT_NE(sendAll(all, 2).bytes, sent.bytes);
    all.cutAt = 5000;
    EXPECT_EQ(sendAll(all).bytes, part(sent.bytes, 0, 5000));
    const Fate known{Fate::Damage{89, 41}, false, false};
    EXPECT_EQ(fateOf(with(&Faults::damage, 100), 1, 24, 100), known) << "the same on every machine";
}

TEST(PhoneFaults, StrikeWholePackets) {
    Bytes twice;
    Bytes swapped;
    for (unsigned i = 0; i < packetCount; ++i) {
        twice = twice + packetOf(i) + packetOf(i);
        swapped = swapped + packetOf(i ^ 1);
    }
    const Sent doubled = sendAll(with(&Faults::duplicate, 100));
    EXPECT_EQ(doubled.bytes, twice);
    EXPECT_EQ(doubled.notes.at(1), "packet 2, ClientProtocolVersion, is sent twice");
    const Sent late = sendAll(with(&Faults::reorder, 100));
    EXPECT_EQ(late.bytes, swapped);
    EXPECT_EQ(late.notes.back(), "packet 99, ServerInitDone, waits for the next one");

    const Sent hit = sendAll(with(&Faults::damage, 30));
    const Bytes stream = wholeStream();
    ASSERT_EQ(hit.bytes.size(), stream.size());
    std::size_t changed = 0;
    for (std::size_t i = 0; i < stream.size(); ++i) changed += hit.bytes[i] != stream[i];
    EXPECT_EQ(changed, hit.notes.size());
    EXPECT_EQ(hit.notes.size(), 42u);
    EXPECT_EQ(hit.notes.at(0), "packet 1, unknown, gets 0x23 instead of 0x02 at its byte 5");
    EXPECT_EQ(sendAll(with(&Faults::duplicate, 30)).notes.size(), 26u);
}

TEST(PhoneFaults, StrikeBytes) {
    using enum FaultyWire::End;
    struct Case {
        Faults faults;
        std::size_t count;
        std::size_t largestPiece;
        FaultyWire::End end;
        std::vector<std::string> notes;
    };
    const Bytes stream = wholeStream();
    const std::size_t all = stream.size();
    Faults several = with(&Faults::cutAt, 500);
    several.halfOpenAt = 499;
    several.fragment = 7;
    for (const Case& c : {
             Case{with(&Faults::cutAt, 0), 0, 0, Cut, {"the connection is cut after 0 bytes"}},
             Case{with(&Faults::cutAt, 500),
                  500,
                  64,
                  Cut,
                  {"the connection is cut after 500 bytes"}},
             Case{several, 499, 7, HalfOpen, {"pieces of 7 bytes", "half-open after 499 bytes"}},
             Case{with(&Faults::bytesPerSecond, 90),
                  all,
                  9,
                  None,
                  {"no more than 90 bytes in a second"}},
             Case{with(&Faults::bytesPerSecond, 1),
                  all,
                  1,
                  None,
                  {"no more than 1 bytes in a second"}},
         }) {
        const Sent sent = sendAll(c.faults);
        EXPECT_EQ(sent.bytes, part(stream, 0, c.count));
        EXPECT_EQ(sent.largestPiece, c.largestPiece);
        EXPECT_EQ(sent.end, c.end);
        EXPECT_EQ(sent.notes, c.notes);
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
