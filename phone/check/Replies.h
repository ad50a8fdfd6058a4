/**
 * @file
 * What the phone of a check answers when the head unit asks: frames in every compression and size,
 * icons, starts of apps, settings. One thread.
 */
#ifndef PHONE_CHECK_REPLIES_H
#define PHONE_CHECK_REPLIES_H

#include <deque>

#include "Agenda.h"
#include "FrameEncoder.h"
#include "Pipe.h"

namespace quarlo::phone {

class Replies {
  public:
    Replies(Pipe& connection, Agenda& times) : pipe(connection), agenda(times) {}

    /** What the head unit declared; what is unusable is replaced. */
    void adopt(const packetClientInit& init);
    /** A packet of the session. */
    void hear(TimePoint now, const Decoded& packet);
    /** Sends an update if one is due. */
    void step(TimePoint now);
    TimePoint nextWake() const;

  private:
    struct Request {
        Area region;
        bool isIncremental;
    };

    void hearSettings(const Decoded& packet);
    void request(const packetFramebufferUpdateRequest& packet);
    void sendIcon(TimePoint now, const packetClientRequestAppIcon& packet);
    void sendStarted(const packetClientStartApp& packet);
    void sendUpdate(const Request& request);
    void resize(Size size);
    FrameCompression nextCompression();
    std::deque<Area> areasOf(const Request& request, unsigned percent);
    bool isDue() const { return !requests.empty() && !isSuspended && pipe.isIdle(); }

    Pipe& pipe;
    Agenda& agenda;
    FrameEncoder encoder;
    PixelLayout layout;
    Picture picture;
    Picture half;
    Picture view;  ///< what the encoder shows of what it encoded; nobody looks
    FrameCompression supported = eFRAMECOMPRESSION_Uncompressed;
    FrameCompression wanted = eFRAMECOMPRESSION_None;
    std::size_t largestPacket = 0;
    std::deque<Request> requests;
    TimePoint notBefore{};
    unsigned updates = 0;
    bool isSuspended = false;
    bool hasOverridden = false;
    unsigned icons = 0;
};

}  // namespace quarlo::phone

#endif
