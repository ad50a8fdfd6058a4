/**
 * @file
 * The phone's side of one session, made of the wire functions: answers the handshake, draws, says
 * random things, and checks that nothing of what the head unit says is missing. One thread.
 */
#ifndef QUARLO_SOAK_PEER_H
#define QUARLO_SOAK_PEER_H

#include <memory>

#include "Exchange.h"
#include "FrameEncoder.h"
#include "HeadUnit.h"
#include "QUARLO-WirePackets.h"
#include "Random.h"

namespace quarlo::soak {

class Peer {
  public:
    /** Takes the socket, which must not block. */
    Peer(Exchange& shared, const Setting& how, int socket, std::uint64_t seed);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /** Waits, then moves at most so many bytes each way. False when the other side has gone. */
    bool step(int milliseconds, std::size_t most);
    /** Says something, if what was said before is not piling up. */
    void act();
    /** Answers the n-th packet of the handshake with a refusal, or not at all. */
    void refuseAt(unsigned packet) { refused = packet; }
    void fallSilentAt(unsigned packet) { silent = packet; }
    [[nodiscard]] bool isRunning() const { return inRun; }
    [[nodiscard]] bool hasUnsent() const { return sentUpTo < out.size(); }

  private:
    bool receive(std::size_t most);
    bool transmit(std::size_t most);
    void handlePackets();
    void handle(unsigned type, std::span<const std::uint8_t> packet);
    void shakeHands(unsigned type);
    void hearCustomData(std::span<const std::uint8_t> packet);
    void expectNext(Channel& channel, std::uint64_t number, const char* what) const;

    template <class P, class Fill>
    void send(Fill fill);
    void sendCustom(CustomDataEvent event, UInt16 type, const std::vector<std::uint8_t>& data);
    void sendNumbered();
    void sendAudio();
    void sendFilter();
    void sendUpdate();
    std::deque<Area> chooseAreas();
    void draw(const Area& area);
    void expectRectangles(std::span<const std::uint8_t> packet);

    Exchange& exchange;
    const Setting setting;
    const int socket;
    Random random;
    std::vector<std::uint8_t> in;
    std::vector<std::uint8_t> out;
    std::size_t sentUpTo = 0;
    phone::FrameEncoder encoder;
    Picture picture;
    Picture view;
    unsigned heard = 0;
    unsigned refused = 0;
    unsigned silent = 0;
    unsigned updatesOwed = 0;
    UInt32 source = 0;
    bool isSourceOpen = false;
    bool inRun = false;
};

}  // namespace quarlo::soak

#endif
