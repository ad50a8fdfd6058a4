/**
 * @file
 * One connection of a check: the handshake, slowly, and then either the plan of a session or a
 * refusal. One thread.
 */
#ifndef PHONE_CHECK_CONVERSATION_H
#define PHONE_CHECK_CONVERSATION_H

#include <optional>

#include "Plan.h"
#include "Replies.h"

namespace quarlo::phone {

class Conversation {
  public:
    /** What is refused. */
    enum class Refused { Nothing, Protocol, Init, Done };

    Conversation(Stream& bytes, Judge& judge, const Log& log, Refused what, TimePoint now);
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;

    /** One round. False when the connection is to be closed. */
    bool step(TimePoint now);
    TimePoint nextWake() const;

  private:
    void hear(const Decoded& packet);
    void advance();
    void say(Agenda::Task task);
    void acknowledgeProtocol();
    void acknowledgeInit();
    void describePhone();
    void finishHandshake();
    void refuse();
    void close();
    void end() { isOver = true; }
    void endAfter(std::chrono::milliseconds time);

    Stream& stream;
    Judge& judge;
    const Refused refused;
    Pipe pipe;
    Agenda agenda;
    Replies replies;
    std::optional<Plan> plan;
    TimePoint time;
    std::set<UInt8> came;  ///< packets of the handshake
    UInt8 awaited = eEVENTTYPE_ClientProtocolVersion;
    bool isClosed = false;
    bool isOver = false;
};

}  // namespace quarlo::phone

#endif
