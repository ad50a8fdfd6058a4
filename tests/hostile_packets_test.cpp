/*
 * A phone that attacks, beside one that behaves: what the attacker gets for each packet, that what
 * it sent before stays delivered, and that the other connection notices nothing.
 */
#include <gtest/gtest.h>

#include "Frames.h"

namespace quarlo::test {
namespace {

const Lines overrun{
    "ERR Unexpected size values on receive: protocol used more than available [3]. Stop service."};
const Lines stopped{"error PROTOCOL_STOP", "state STOP"};
const Lines unknown{
    "WRN onReceiveUnknown", "WRN    type: 81, flags: 00 00 00 00, length: 00 00 00 00",
    "ERR QUARLO_Receive() returned error code 2.", "error MESSAGE_PROCESSING_FAILED"};

struct Attack {
    const char* name;
    Bytes bytes;
    Lines outcome;  // errors, warnings, reports and what the host is given
};

/** The part of a rectangle before its data length. */
Bytes rectangleHead() {
    return u16(0) + u16(0) + u16(4) + u16(2) + u8(3) + u8(2) + u32(4) + u8(4) + u8(100) + u8(100);
}

Bytes customData(unsigned event, unsigned type, const Bytes& payload) {
    return packet(68, u8(event) + u16(type) + u16(static_cast<unsigned>(payload.size())) + payload);
}

/** A type that is not the phone's, and lengths and counts that lead behind the received bytes. */
std::vector<Attack> fatal() {
    const Lines ends = overrun + stopped;
    return {
        {"a packet of the head unit", packet(129) + update({Rect{}}), unknown + stopped},
        {"no payload at all", packet(36), ends},
        {"a text", packet(50, text("Ada") + u8(1) + u16(0xFFFF)), ends},
        {"keys", packet(54, u8(255) + u32(1)), ends},
        {"as many apps as can be said", packet(70, u32(0xFFFFFFFF) + Bytes(40)), ends},
        // 22 bytes each make 18 in 32 bits; 8 bytes for a pointer to each make nothing in 32 bits.
        {"apps that wrap", packet(70, u32(195225787) + Bytes(40)), ends},
        {"pointers to apps that wrap", packet(70, u32(0x20000000) + Bytes(40)), ends},
        {"rectangles", packet(26, u8(255) + rectangleHead() + u32(0)), ends},
        {"pixels of the second rectangle",
         packet(26, u8(2) + rectangleHead() + u32(0) + rectangleHead() + u32(1)), ends},
    };
}

/** As many keys as can be said. */
Bytes keys(unsigned first, unsigned step) {
    Bytes all;
    for (unsigned i = 0; i < 255; ++i) all = all + u32(first + i * step);
    return all;
}

/** Contents that are refused while the session goes on. */
std::vector<Attack> contents() {
    const std::string noMemory = "error MEM_ALLOC";
    const Rect zlib = compressed(eFRAMECOMPRESSION_ZLIB);
    return {
        {"a picture that wraps",
         update({zlib.sized(65535, 16385)}),
         {"ERR     frame buffer allocation failed.", noMemory,
          "ERR compressed frame: cannot allocate output data buffer"}},
        {"an enlargement that wraps",
         update({Rect{}.sized(60000, 1).at(91, 100)}),
         {"WRN scaling image failed"}},
        {"a text inside custom data",
         customData(1, 1, u8(1) + u16(60000) + Bytes(4)),
         {"WRN unexpected low length in ProcessCustomDataString"}},
        {"a CAN message",
         customData(4, 1, u32(1) + u8(255) + Bytes(8)),
         {"WRN _quarlo_ProcessCustomDataCan() called with wrong length information 5 <= 13 <= "
          "13"}},
        {"more keys than can be counted",
         packet(54, u8(255) + keys(1, 0)) + packet(54, u8(255) + keys(1, 1)),
         {"ERR ProcessSetVehicleDataFilter: error allocating vehicleDataKeyList", noMemory}},
        {"a handshake packet in RUN",
         Host::serverInit(),
         {"WRN ServerInitAcknowledge received in wrong state; ignored."}},
    };
}

class HostilePackets : public ::testing::Test {
  protected:
    HostilePackets() {
        neighbour.run();
        neighbour.forgetSent();
    }
    /** A connection in RUN that has delivered a rectangle. */
    static void begin(Host& attacker) {
        attacker.run();
        attacker.forgetLines();
        attacker.feed(update({Rect{}}));
    }
    static Lines outcome(const Host& host) {
        Lines result;
        for (const std::string& line : host.lines()) {
            const bool isReport = line.rfind("ERR error callback", 0) == 0 ||
                                  line.rfind("ERR receiveSize", 0) == 0 ||
                                  line.rfind("ERR currentSize", 0) == 0;
            if (isReport) continue;
            for (const char* const kind : {"ERR ", "WRN ", "error ", "state "}) {
                if (line.rfind(kind, 0) == 0) result.push_back(line);
            }
        }
        return result;
    }
    /** The other phone is answered, and its pictures are shown. */
    void expectUnimpressedNeighbour() {
        const std::size_t pings = neighbour.sent().size();
        neighbour.forgetLines();
        neighbour.feed(packet(128, u32(++lastPing)) + update({Rect{}}));
        neighbour.settle();
        EXPECT_EQ(neighbour.sent().size(), pings + 1);
        EXPECT_TRUE(neighbour.has("frame 0 10,20 4x2 #32"));
        EXPECT_EQ(outcome(neighbour), Lines{});
    }

    const Found found{"unscaled"};
    Host neighbour{"neighbour"};
    unsigned lastPing = 1;
};

TEST_F(HostilePackets, ThatCannotBeReadEndTheirConnection) {
    for (const Attack& attack : fatal()) {
        SCOPED_TRACE(attack.name);
        Host attacker;
        begin(attacker);
        attacker.feed(attack.bytes);
        ASSERT_TRUE(attacker.waitFor("state STOP"));
        attacker.settle();
        EXPECT_EQ(outcome(attacker), attack.outcome);
        EXPECT_EQ(attacker.count("frame 0 10,20 4x2 #32"), 1U);
        expectUnimpressedNeighbour();
    }
}

TEST_F(HostilePackets, ThatNeverEndAreWaitedFor) {
    Host attacker;
    begin(attacker);
    attacker.feed(u8(36) + u32(0) + u32(0xFFFFFFFF) + update({Rect{}}) + packet(255));
    attacker.settle();
    EXPECT_EQ(outcome(attacker), Lines{});
    EXPECT_EQ(attacker.count("frame 0 10,20 4x2 #32"), 1U);
    EXPECT_EQ(attacker.record()->currentState, ePROTOCOL_STATE_RUN);
    expectUnimpressedNeighbour();
}

TEST_F(HostilePackets, ThatSayNonsenseAreDropped) {
    Host attacker;
    begin(attacker);
    for (const Attack& attack : contents()) {
        SCOPED_TRACE(attack.name);
        attacker.settle();
        attacker.forgetLines();
        attacker.feed(attack.bytes + update({Rect{}}));
        attacker.settle();
        EXPECT_EQ(outcome(attacker), attack.outcome);
        EXPECT_EQ(attacker.count("frame 0 10,20 4x2 #32"), 1U);
        expectUnimpressedNeighbour();
    }
}

/** After a refusal the receiver reads on: no handler may take the state for granted. */
TEST_F(HostilePackets, BehindTheEndOfTheSessionAreIgnored) {
    Host attacker;
    begin(attacker);
    attacker.settle();
    attacker.forgetSent();
    attacker.forgetLines();
    attacker.feed(packet(22, u8(0)) + update({Rect{}}) + packet(128, u32(9)) + packet(64) +
                  packet(54, u8(1) + u32(7)) + customData(1, 1, text("late")));
    attacker.settle();
    EXPECT_FALSE(attacker.has("frame start 1"));
    EXPECT_EQ(attacker.record()->vehicleDataKeyListLength, 0);
    EXPECT_TRUE(attacker.sent().empty());
    EXPECT_EQ(attacker.linesWith("state "), Lines{"state STOP"});
}

}  // namespace
}  // namespace quarlo::test
