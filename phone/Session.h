/**
 * @file
 * One connection of a head unit: cuts the received bytes into packets, hands them to the features
 * that registered for them and sends what these have to say. Everything runs on the thread that
 * calls `step`.
 */
#ifndef PHONE_SESSION_H
#define PHONE_SESSION_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Feature.h"
#include "Judgement.h"
#include "Options.h"
#include "PacketBytes.h"
#include "PixelFormat.h"
#include "QUARLO-WirePackets.h"
#include "Screen.h"
#include "Stream.h"
#include "common/Log.h"

namespace quarlo::phone {

/** What the head unit said about itself, in its ClientInit and later. */
struct HeadUnit {
    std::string name;
    int width = 0;
    int height = 0;
    PixelLayout layout;
    FrameCompression supported = eFRAMECOMPRESSION_Uncompressed;
    /** None: the phone may choose. */
    FrameCompression wanted = eFRAMECOMPRESSION_None;
    /** The most bytes a packet may have: it was told its screen's size when it took its buffer. */
    std::size_t largestPacket = 0;
};

/** Who wants to know what a head unit says; on the session's thread. */
struct Witness {
    std::function<void(std::span<const std::uint8_t>)> heard;  ///< a whole packet
    std::function<void(const std::string&)> found;             ///< what is wrong about it
};

class Session {
  public:
    /** @param number tells head units apart that are connected at one time; from 1 on */
    Session(Stream& stream, Screen& screen, const Options& options, const Log& log, int number = 1);
    ~Session();

    void tell(Witness who) { witness = std::move(who); }
    /** Features look at the options whenever they need them. */
    void change(const Setting& setting) { setting(given); }
    /** Says nothing any more. */
    void fallSilent();

    /** One round: receive, handle, act, send. False when the session is over. */
    bool step(TimePoint now);
    bool wantsInput() const { return !isOver && !isClosing && hasRoom(); }
    bool wantsOutput() const { return sentUpTo < outgoing.size(); }
    TimePoint nextWake() const;
    /** The handshake was completed. */
    bool isRunning() const { return hasRun; }
    /** The head unit is in RUN, too: nothing that it is sent from now on is lost. */
    bool isHeard() const { return hasBegun; }

    // For the features.
    const Options& options() const { return given; }
    void note(const std::string& text) const { output.line("UNIT", label + text); }
    int number() const { return place; }
    Screen& screen() { return shown; }
    HeadUnit& headUnit() { return unit; }
    TimePoint now() const { return roundTime; }

    /** What ServerInit says the phone can do; features add their flags when they are made. */
    ServerCapabilities capabilities() const { return offered; }
    void addCapability(ServerCapabilities flag) { offered |= flag; }

    /** Little enough is queued for more to be added. */
    bool hasRoom() const;
    /** All that was sent is on its way. */
    bool isAllSent() const { return !wantsOutput() && connection.isAllSent(); }

    /** Calls `handler` with every packet of type P whose contents fit its size. */
    template <class P, class Handler>
    void on(Handler handler);
    /** Calls `handler` when the user asks for this in an app. */
    void onWish(Wish wish, std::function<void(int)> handler) {
        wishHandlers[wish] = std::move(handler);
    }
    Phone& phone() { return shown.phone(); }
    /** Creates a packet, lets `fill` set its fields and queues it. */
    template <class P, class Fill>
    void send(Fill fill);
    /** Lets `append` add one packet straight to the bytes to be sent; it returns false to add none.
     */
    bool sendDirect(const std::function<bool(std::vector<std::uint8_t>&)>& append);

    bool refuses(Refusal refusal) const { return given.refusals.count(refusal) != 0; }
    /** False if this is where the session was told to stall or end: the caller then goes no
     * further. */
    bool arriveAt(Stage stage);
    /** The handshake has been completed; the features begin a little later. */
    void run();
    /** Sends what is queued and ends the session. */
    void endAfterSending(const std::string& reason);
    /** Ends the session with what is queued unsent. */
    void end(const std::string& reason);

  private:
    using Bytes = std::span<const std::uint8_t>;

    void receive();
    void handlePackets();
    void handle(Bytes packet);
    void begin();
    void grantWishes();
    void transmit();
    void checkHandshake();

    Stream& connection;
    Screen& shown;
    Options given;
    Witness witness;
    const Log& output;
    const int place;
    const std::string label;  ///< of log lines
    HeadUnit unit;
    Judgement judgement;
    ServerCapabilities offered = eSERVERCAPABILITIES_None;
    std::map<EventType, std::vector<std::function<void(Bytes)>>> handlers;
    std::map<Wish, std::function<void(int)>> wishHandlers;
    std::vector<std::unique_ptr<Feature>> features;
    std::vector<std::uint8_t> incoming;
    std::vector<std::uint8_t> outgoing;
    std::size_t sentUpTo = 0;
    TimePoint roundTime{};
    TimePoint handshakeEnd = TimePoint::max();  ///< when it has to be completed
    bool hasRun = false;
    TimePoint beginAt = TimePoint::max();
    bool hasBegun = false;
    bool isMuted = false;    ///< told to stall: hears everything, says nothing
    bool isClosing = false;  ///< ends as soon as everything queued is sent
    bool isOver = false;
};

/** What log lines of a head unit begin with: nothing for the first one. */
std::string labelOf(int number);

/** Whether the phone draws screens of this size. */
bool isDrawable(int width, int height);

/** A packet's text; empty if it has none. */
std::string textOf(const qrString* string);

/** Fills a packet's text member. */
void setText(qrString& string, const std::string& text);

template <class P, class Handler>
void Session::on(Handler handler) {
    handlers[wire::Layout<P>::event].push_back([handler](Bytes bytes) {
        wire::Bounded input{bytes.data(), bytes.data() + bytes.size()};
        wire::Heap heap;
        const std::unique_ptr<P, void (*)(P*)> packet(wire::decodePacket<P>(input, heap),
                                                      wire::deletePacket<P>);
        if (packet != nullptr) handler(*packet);
    });
}

template <class P, class Fill>
void Session::send(Fill fill) {
    sendDirect([&](std::vector<std::uint8_t>& out) {
        const PacketBytes bytes = bytesOf<P>(fill);
        out.insert(out.end(), bytes.begin(), bytes.end());
        return !bytes.empty();
    });
}

}  // namespace quarlo::phone

#endif
