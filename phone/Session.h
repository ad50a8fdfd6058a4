/**
 * @file
 * One connection of a head unit: cuts the received bytes into packets, hands them to the features
 * that registered for them and sends what these have to say. Everything runs on the thread that
 * calls `step`.
 */
#ifndef QUARLO_PHONE_SESSION_H
#define QUARLO_PHONE_SESSION_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Feature.h"
#include "Options.h"
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

class Session {
  public:
    Session(Stream& stream, Screen& screen, const Options& options, const Log& log);
    ~Session();

    /** One round: receive, handle, act, send. False when the session is over. */
    bool step(TimePoint now);
    bool wantsInput() const { return !isOver_ && !isClosing_ && hasRoom(); }
    bool wantsOutput() const { return sentUpTo_ < out_.size(); }
    TimePoint nextWake() const;
    /** The handshake was completed. */
    bool isRunning() const { return isRunning_; }

    // For the features.
    const Options& options() const { return options_; }
    void note(const std::string& text) const { log_.line("UNIT", text); }
    Screen& screen() { return screen_; }
    HeadUnit& headUnit() { return headUnit_; }
    TimePoint now() const { return now_; }

    /** What ServerInit says the phone can do; features add their flags when they are made. */
    ServerCapabilities capabilities() const { return capabilities_; }
    void addCapability(ServerCapabilities flag) { capabilities_ |= flag; }

    /** Little enough is queued for more to be added. */
    bool hasRoom() const;

    /** Calls `handler` with every packet of type P whose contents fit its size. */
    template <class P, class Handler>
    void on(Handler handler);
    /** Calls `handler` when the user asks for this in an app. */
    void onWish(Wish wish, std::function<void(int)> handler) {
        wishHandlers_[wish] = std::move(handler);
    }
    Phone& phone() { return screen_.phone(); }
    /** Creates a packet, lets `fill` set its fields and queues it. */
    template <class P, class Fill>
    void send(Fill fill);
    /** Lets `append` add one packet straight to the bytes to be sent; it returns false to add none.
     */
    bool sendDirect(const std::function<bool(std::vector<std::uint8_t>&)>& append);

    bool refuses(Refusal refusal) const { return options_.refusals.count(refusal) != 0; }
    /** False if this is where the session was told to stall or end: the caller then goes no
     * further. */
    bool arriveAt(Stage stage);
    /** The handshake has been completed; the features begin a little later. */
    void run();
    /** Sends what is queued and ends the session. */
    void endAfterSending(const std::string& reason);

  private:
    using Bytes = std::span<const std::uint8_t>;

    void receive();
    void handlePackets();
    void handle(Bytes packet);
    void begin();
    void grantWishes();
    void transmit();
    void end(const std::string& reason);

    Stream& stream_;
    Screen& screen_;
    const Options& options_;
    const Log& log_;
    HeadUnit headUnit_;
    ServerCapabilities capabilities_ = eSERVERCAPABILITIES_None;
    std::map<EventType, std::vector<std::function<bool(Bytes)>>> handlers_;
    std::map<Wish, std::function<void(int)>> wishHandlers_;
    std::vector<std::unique_ptr<Feature>> features_;
    std::vector<std::uint8_t> in_;
    std::vector<std::uint8_t> out_;
    std::size_t sentUpTo_ = 0;
    TimePoint now_{};
    TimePoint lastProgress_{};
    bool isRunning_ = false;
    TimePoint beginAt_ = TimePoint::max();
    bool hasBegun_ = false;
    bool isMuted_ = false;    ///< told to stall: hears everything, says nothing
    bool isClosing_ = false;  ///< ends as soon as everything queued is sent
    bool isOver_ = false;
};

/** Whether the phone draws screens of this size. */
bool isDrawable(int width, int height);

/** A packet's text; empty if it has none. */
std::string textOf(const qrString* string);

/** Fills a packet's text member. */
void setText(qrString& string, const std::string& text);

template <class P, class Handler>
void Session::on(Handler handler) {
    handlers_[wire::Layout<P>::event].push_back([handler](Bytes bytes) {
        wire::Bounded input{bytes.data(), bytes.data() + bytes.size()};
        wire::Heap heap;
        const std::unique_ptr<P, void (*)(P*)> packet(wire::decodePacket<P>(input, heap),
                                                      wire::deletePacket<P>);
        if (packet != nullptr) handler(*packet);
        return packet != nullptr;
    });
}

template <class P, class Fill>
void Session::send(Fill fill) {
    sendDirect([&](std::vector<std::uint8_t>& out) {
        const std::unique_ptr<P, void (*)(P*)> packet(wire::newPacket<P>(), wire::deletePacket<P>);
        if (packet == nullptr) return false;
        fill(*packet);
        void* buffer = nullptr;
        UInt32 size = 0;
        wire::packetToBuffer(&buffer, &size, packet.get());
        const auto* bytes = static_cast<const std::uint8_t*>(buffer);
        if (size != 0) out.insert(out.end(), bytes, bytes + size);
        quarlo_free(buffer);
        return size != 0;
    });
}

}  // namespace quarlo::phone

#endif
