/* The phone's answers to frame settings changed in RUN. */
#include <gtest/gtest.h>

#include <algorithm>

#include "Host.h"

namespace quarlo::test {
namespace {

using Lines = std::vector<std::string>;

template <class P, void (*handler)(quarlo_CoreInstance*, P*)>
void handle(quarlo_CoreInstance* obj, bool isNull) {
    P packet{};
    handler(obj, isNull ? nullptr : &packet);
}

struct Acknowledgement {
    unsigned event;
    void (*handle)(quarlo_CoreInstance*, bool isNull);
    const char* nullPacket;
    const char* wrongState;
    const char* received;
    const char* refused;
    bool endsSession;
};

const Acknowledgement acknowledgements[] = {
    {28, &handle<packetFrameSizeAcknowledge, &onReceiveFrameSizeAcknowledge>,
     "WRN ReceiveFrameSizeAcknowledge called with NULL packet.",
     "WRN FrameSizeAcknowledge received in wrong state; ignored.", "INF FrameSizeAcknowledge\n",
     "ERR frame size not acknowledged by server.", true},
    {22, &handle<packetPixelFormatAcknowledge, &onReceivePixelFormatAcknowledge>,
     "WRN ReceivePixelFormatAcknowledge called with NULL packet.",
     "WRN PixelFormatAcknowledge received in wrong state; ignored", "INF PixelFormatAcknowledge",
     "ERR pixel format not acknowledged by server.", true},
    {24, &handle<packetOverrideCompressionAcknowledge, &onReceiveOverrideCompressionAcknowledge>,
     "WRN OverrideCompressionAcknowledge called with NULL packet.",
     "WRN OverrideCompressionAcknowledge received in wrong state; ignored.",
     "INF OverrideCompressionAcknowledge\n",
     "WRN override of frame compression format not acknowledged by server.", false},
};

TEST(Acknowledgements, AreIgnoredOutsideRunAndWithoutAPacket) {
    const Library library;
    for (const Acknowledgement& a : acknowledgements) {
        SCOPED_TRACE(a.event);
        Host host;
        const eProtocolState before = host.record()->currentState;
        a.handle(nullptr, false);
        a.handle(nullptr, true);
        a.handle(host.record(), true);
        a.handle(host.record(), false);
        const Lines expected{a.nullPacket, a.wrongState};
        EXPECT_EQ(host.lines(), expected);
        EXPECT_EQ(host.record()->currentState, before);
    }
}

TEST(Acknowledgements, RefusalsOfSizeAndFormatEndTheSession) {
    const Library library;
    for (const Acknowledgement& a : acknowledgements) {
        for (const unsigned answer : {0U, 1U, 2U}) {
            SCOPED_TRACE(std::to_string(a.event) + " " + std::to_string(answer));
            Host host;
            host.run();
            host.forgetLines();
            host.feed(packet(a.event, u8(answer)));
            host.settle();
            const bool isRefused = answer != 1;
            const bool ends = isRefused && a.endsSession;
            EXPECT_TRUE(!ends || host.waitFor("state STOP"));
            EXPECT_EQ(host.record()->currentState == ePROTOCOL_STATE_RUN, !ends);
            Lines expected{a.received};
            if (isRefused) expected.emplace_back(a.refused);
            Lines lines = host.lines();
            // What follows is the end of the session.
            if (ends) lines.resize(std::min<std::size_t>(lines.size(), 2));
            EXPECT_EQ(lines, expected);
        }
    }
}

}  // namespace
}  // namespace quarlo::test
