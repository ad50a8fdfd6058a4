/* Framing and dispatch of received bytes. */
#include "QUARLO_Receive.h"

#include <gtest/gtest.h>

#include "Feature.h"

namespace quarlo::test {
namespace {

class Dispatcher : public ::testing::Test {
  protected:
    Library library;
    Host host;

    void SetUp() override {
        host.record()->currentState = ePROTOCOL_STATE_RUN;
        host.record()->scratch.prepare();
    }
    void TearDown() override { host.record()->currentState = ePROTOCOL_STATE_STOP; }

    /** Dispatches from a heap block of exactly this size; how many bytes were consumed. */
    std::ptrdiff_t dispatch(const Bytes& bytes, ReceiveError expected = eRECEIVE_NO_ERROR) {
        Bytes exact(bytes);
        exact.shrink_to_fit();
        void* advanced = nullptr;
        EXPECT_EQ(QUARLO_Receive(host.record(), exact.data(), static_cast<UInt32>(exact.size()),
                                 &advanced),
                  expected);
        return static_cast<UInt8*>(advanced) - exact.data();
    }
};

Bytes state(unsigned type, unsigned value) {
    return packet(36, u8(type) + u8(value));
}

TEST_F(Dispatcher, WaitsForWholePackets) {
    // A type is not judged before its whole header is there.
    for (std::size_t size = 1; size < 9; ++size) {
        EXPECT_EQ(dispatch(Bytes(size, 36)), 0);
        EXPECT_EQ(dispatch(Bytes(size, 255)), 0);
    }
    for (const std::uint64_t size : {0xFFFFFFF7U, 0xFFFFFFFFU, 0x80000000U}) {
        EXPECT_EQ(dispatch(u8(36) + u32(0) + u32(size) + Bytes{1, 1}), 0);
    }
    Bytes large = u8(36) + u32(0) + u32(1000);
    large.resize(9 + 999, 1);
    EXPECT_EQ(dispatch(large), 0);
    EXPECT_TRUE(host.lines().empty());
    large.push_back(1);
    EXPECT_EQ(dispatch(large), 1009);
    EXPECT_EQ(host.count("INF ServerState"), 1U);
}

TEST_F(Dispatcher, RefusesEveryTypeThatIsNotThePhones) {
    const std::vector<unsigned> accepted = {2,  12, 14, 18, 22, 24, 26, 28, 36, 40, 42, 50,
                                            52, 54, 56, 58, 62, 64, 68, 70, 72, 74, 128};
    for (unsigned type = 0; type < 256; ++type) {
        const bool isAccepted = std::count(accepted.begin(), accepted.end(), type) != 0;
        if (isAccepted) continue;
        host.forgetLines();
        const Bytes refused = u8(type) + Bytes{1, 2, 3, 4, 5, 0, 0, 0, 9, 9, 9, 9, 9};
        EXPECT_EQ(dispatch(state(1, 1) + refused, eRECEIVE_ERROR_UNKNOWN_EVENT), 11) << type;
        char line[96];
        std::snprintf(line, sizeof line,
                      "WRN    type: %2.2X, flags: 01 02 03 04, length: 05 00 00 00", type);
        EXPECT_EQ(host.lines().back(), line);
        EXPECT_TRUE(host.has("WRN onReceiveUnknown"));
    }
}

TEST_F(Dispatcher, HandlesPacketsInOrderUpToTheIncompleteOne) {
    const Bytes start = state(1, 1), end = state(1, 0);
    const Lines started{"INF ServerState", "INF     _PhoneCall STARTS"};
    const Lines ended{"INF ServerState", "INF     _PhoneCall ENDS"};
    struct Case {
        Bytes bytes;
        std::ptrdiff_t consumed;
        Lines lines;
    };
    const Case cases[] = {
        {start + end + part(start, 0, 10), 22, started + ended},
        // Payload that no decoder reads is skipped.
        {packet(36, Bytes{1, 1, 0xEE, 0xEE}) + end, 24, started + ended},
        // The declared payload ends before the fields do: the next packet begins where they end.
        {u8(36) + u32(0) + u32(1) + Bytes{1, 1} + end, 22, started + ended},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(hex(each.bytes));
        host.forgetLines();
        EXPECT_EQ(dispatch(each.bytes), each.consumed);
        EXPECT_EQ(host.lines(), each.lines);
    }
}

/** Lengths inside a packet may lead behind the received bytes: its handler is not called. */
TEST_F(Dispatcher, ClaimsMoreThanItWasGivenForLyingLengths) {
    const Bytes bytes = state(1, 1) + packet(50, text("name") + u8(1) + u16(0xFFFF));
    EXPECT_GT(dispatch(bytes), static_cast<std::ptrdiff_t>(bytes.size()));
    EXPECT_EQ(host.lines().size(), 2U);
}

TEST_F(Dispatcher, TellsNullArguments) {
    UInt8 byte = 0;
    void* advanced = nullptr;
    EXPECT_EQ(QUARLO_Receive(nullptr, &byte, 1, &advanced), eRECEIVE_ERROR_NULL_POINTER);
    EXPECT_EQ(QUARLO_Receive(host.record(), nullptr, 1, &advanced), eRECEIVE_ERROR_NULL_POINTER);
    EXPECT_EQ(QUARLO_Receive(host.record(), &byte, 1, nullptr), eRECEIVE_ERROR_NULL_POINTER);
    onReceiveUnknown(host.record(), nullptr);
    EXPECT_TRUE(host.has("WRN ...called with NULL bufferPointer."));
}

TEST_F(Dispatcher, AnswersPingsAndFollowsTheirCount) {
    host.record()->watchdogCounter = 3;
    host.record()->lastPingCount = 4;
    for (const unsigned counter : {5U, 6U, 8U}) dispatch(packet(128, u32(counter)));
    EXPECT_EQ(host.linesWith("VER ping"), (Lines{"VER ping 5", "VER ping 6"}));
    EXPECT_EQ(host.linesWith("WRN "), Lines{"WRN ping count mismatch. Expected: 7, received: 8."});
    EXPECT_EQ(host.record()->watchdogCounter, 0);
    ASSERT_EQ(host.sent().size(), 3U);
    EXPECT_EQ(hex(host.sent()[2]), hex(packet(129, u32(8))));
    host.record()->currentState = ePROTOCOL_STATE_INIT_DONE;
    host.forgetLines();
    dispatch(packet(128, u32(50)));
    EXPECT_EQ(host.record()->lastPingCount, 50U);
    EXPECT_TRUE(host.lines().empty());
    EXPECT_EQ(host.sent().size(), 3U);
}

TEST_F(Dispatcher, PassesNullPacketsWithTheirTexts) {
    const auto expectRefused = [&](auto handler, const char* text) {
        host.forgetLines();
        handler(host.record(), nullptr);
        handler(nullptr, nullptr);
        EXPECT_EQ(host.lines(), Lines{text});
    };
    expectRefused(onReceivePing, "WRN ReceivePing called with NULL packet.");
    expectRefused(onReceiveServerProtocolAcknowledge,
                  "ERR ServerProtocolAcknowledge called with NULL packet.");
    expectRefused(onReceiveServerInitAcknowledge,
                  "ERR ServerInitAcknowledge called with NULL packet.");
    expectRefused(onReceiveServerInit, "ERR ServerInit() called with NULL packet.");
    expectRefused(onReceiveServerInitDone, "ERR onServerInitDone() called with NULL packet.");
    expectRefused(onReceiveServerState, "WRN ReceiveServerState called with NULL packet.");
    expectRefused(onReceiveFramebufferUpdate,
                  "WRN ReceiveFramebufferUpdate called with NULL packet.");
}

}  // namespace
}  // namespace quarlo::test
