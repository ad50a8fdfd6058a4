/**
 * @file
 * The stream of a link. A thread of its own receives and another one sends, because links block;
 * the session's thread finds what has come and leaves what is to go, and is woken by a bell. The
 * lock guards all that is not constant.
 */
#ifndef PHONE_LINKSTREAM_H
#define PHONE_LINKSTREAM_H

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Bell.h"
#include "Faults.h"
#include "Stream.h"
#include "quarlo-link.h"

namespace quarlo::phone {

struct CloseLink {
    void operator()(quarloLink* link) const { quarloLink_Close(link); }
};
using Link = std::unique_ptr<quarloLink, CloseLink>;

class LinkStream : public Stream {
  public:
    /** @param bell is rung when something can be read, something was sent, or the connection has
     * ended; outlives the stream
     * @param output decides what is sent; is used, and notes its faults, on the sending thread */
    LinkStream(Link opened, const Bell& bell, FaultyWire output);
    /** Ends the connection without waiting for what is not sent. */
    ~LinkStream() override;

    long read(std::span<std::uint8_t> room) override;
    long write(std::span<const std::uint8_t> bytes) override;
    bool isAllSent() const override;
    void endSending() override;
    std::string end() const override;

    /** Something was received that nobody has read, or the connection has ended. */
    bool hasNews() const;
    /** What is received is of no interest any more: it is read and thrown away. */
    void ignoreInput();
    bool hasEnded() const;

  private:
    void receive();
    void send();
    bool awaitOutput(std::unique_lock<std::mutex>& guard);
    void transmit(std::unique_lock<std::mutex>& guard);
    void endAsTold(std::unique_lock<std::mutex>& guard);
    void markEnded();
    /** Nothing can be sent any more. */
    bool isDone() const { return isOver || isStopped; }

    const Link link;
    const Bell& news;
    FaultyWire wire;  ///< the sending thread's
    mutable std::mutex lock;
    std::condition_variable changed;
    std::vector<std::uint8_t> incoming;
    std::vector<std::uint8_t> outgoing;
    bool isSending = false;  ///< something was taken from `outgoing` and is under way
    bool isIgnoring = false;
    bool isCut = false;       ///< by a fault: only what the head unit does is still awaited
    bool isHalfOpen = false;  ///< by a fault
    bool isOver = false;      ///< the connection has ended
    bool isStopped = false;   ///< by the destructor
    std::thread receiver;
    std::thread sender;
};

}  // namespace quarlo::phone

#endif
