/* The phone's answers to frame settings changed in RUN. */
#include "Calls.h"

namespace quarlo::test {
namespace {

template <class P, void (*handler)(quarlo_CoreInstance*, P*)>
void handle(quarlo_CoreInstance* obj, bool isNull) {
    P packet{};
    handler(obj, isNull ? nullptr : &packet);
}

struct Acknowledgement {
    unsigned event;
    void (*handle)(quarlo_CoreInstance*, bool isNull);
    Lines ignored;  // without a packet, and outside RUN
    const char* received;
    const char* refused;
    bool endsSession;
};

const Acknowledgement acknowledgements[] = {
    {28,
     &handle<packetFrameSizeAcknowledge, &onReceiveFrameSizeAcknowledge>,
     {"WRN ReceiveFrameSizeAcknowledge called with NULL packet.",
      "WRN FrameSizeAcknowledge received in wrong state; ignored."},
     "INF FrameSizeAcknowledge\n",
     "ERR frame size not acknowledged by server.",
     true},
    {22,
     &handle<packetPixelFormatAcknowledge, &onReceivePixelFormatAcknowledge>,
     {"WRN ReceivePixelFormatAcknowledge called with NULL packet.",
      "WRN PixelFormatAcknowledge received in wrong state; ignored"},
     "INF PixelFormatAcknowledge",
     "ERR pixel format not acknowledged by server.",
     true},
    {24,
     &handle<packetOverrideCompressionAcknowledge, &onReceiveOverrideCompressionAcknowledge>,
     {"WRN OverrideCompressionAcknowledge called with NULL packet.",
      "WRN OverrideCompressionAcknowledge received in wrong state; ignored."},
     "INF OverrideCompressionAcknowledge\n",
     "WRN override of frame compression format not acknowledged by server.",
     false},
};

TEST(Acknowledgements, RefusalsOfSizeAndFormatEndTheSession) {
    const Library library;
    for (const Acknowledgement& a : acknowledgements) {
        SCOPED_TRACE(a.event);
        Host idle;
        a.handle(nullptr, false);
        a.handle(idle.record(), true);
        a.handle(idle.record(), false);
        EXPECT_EQ(idle.lines(), a.ignored);
        for (const unsigned refusal : {0U, 2U}) {
            Session session;
            EXPECT_EQ(session.hear(packet(a.event, u8(1))), Lines{a.received});
            Lines lines = session.hear(packet(a.event, u8(refusal)));
            EXPECT_TRUE(!a.endsSession || session.host.waitFor("state STOP"));
            EXPECT_EQ(session.host.record()->currentState == ePROTOCOL_STATE_RUN, !a.endsSession);
            // What follows is the end of the session.
            lines.resize(std::min<std::size_t>(lines.size(), a.endsSession ? 2 : 3));
            EXPECT_EQ(lines, (Lines{a.received, a.refused}));
        }
    }
}

}  // namespace
}  // namespace quarlo::test
