/* The phone's answers to frame settings changed in RUN. */
#include "Calls.h"

namespace quarlo::test {
namespace {

TEST(Acknowledgements, AreIgnoredOutsideRunAndWithoutAPacket) {
    Idle idle;
    expectRefusals(idle, onReceiveFrameSizeAcknowledge,
                   {"WRN ReceiveFrameSizeAcknowledge called with NULL packet."},
                   {"WRN FrameSizeAcknowledge received in wrong state; ignored."});
    expectRefusals(idle, onReceivePixelFormatAcknowledge,
                   {"WRN ReceivePixelFormatAcknowledge called with NULL packet."},
                   {"WRN PixelFormatAcknowledge received in wrong state; ignored"});
    expectRefusals(idle, onReceiveOverrideCompressionAcknowledge,
                   {"WRN OverrideCompressionAcknowledge called with NULL packet."},
                   {"WRN OverrideCompressionAcknowledge received in wrong state; ignored."});
}

TEST(Acknowledgements, RefusalsOfSizeAndFormatEndTheSession) {
    struct Case {
        unsigned event;
        std::string received;
        std::string refused;
        bool endsSession;
    };
    for (const Case& c :
         {Case{28, "INF FrameSizeAcknowledge\n", "ERR frame size not acknowledged by server.",
               true},
          Case{22, "INF PixelFormatAcknowledge", "ERR pixel format not acknowledged by server.",
               true},
          Case{24, "INF OverrideCompressionAcknowledge\n",
               "WRN override of frame compression format not acknowledged by server.", false}}) {
        for (const unsigned refusal : {0U, 2U}) {
            SCOPED_TRACE(c.event);
            Session session;
            EXPECT_EQ(session.hear(packet(c.event, u8(1))), Lines{c.received});
            Lines lines = session.hear(packet(c.event, u8(refusal)));
            EXPECT_TRUE(!c.endsSession || session.host.waitFor("state STOP"));
            EXPECT_EQ(session.record()->currentState == ePROTOCOL_STATE_RUN, !c.endsSession);
            // What follows is the end of the session.
            if (c.endsSession) lines.resize(std::min<std::size_t>(lines.size(), 2));
            EXPECT_EQ(lines, (Lines{c.received, c.refused}));
        }
    }
}

}  // namespace
}  // namespace quarlo::test
