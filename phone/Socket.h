/**
 * @file
 * Sockets: a listener on TCP or a Unix socket, and the stream of an accepted connection. One
 * thread.
 */
#ifndef PHONE_SOCKET_H
#define PHONE_SOCKET_H

#include <memory>
#include <string>

#include "Stream.h"
#include "common/Descriptor.h"
#include "common/Values.h"

namespace quarlo::phone {

class SocketStream : public Stream {
  public:
    explicit SocketStream(Descriptor socket) : descriptor(std::move(socket)) {}
    long read(std::span<std::uint8_t> room) override;
    long write(std::span<const std::uint8_t> bytes) override;
    /**
     * Waits until the socket can be read, or written if that is wanted too, or the time is over.
     * Also returns when a signal arrives.
     */
    void wait(bool forRead, bool forWrite, int milliseconds);
    /** Ends the sending direction and gives the other side a moment to take what was sent. */
    void finish();

  private:
    Descriptor descriptor;
};

class Listener {
  public:
    /** Each throws std::runtime_error with a text for the user if it cannot listen. */
    static Listener tcp(const Endpoint& endpoint);
    static Listener unixSocket(const std::string& path);
    Listener(Listener&&) = default;
    ~Listener();

    /** The next connection; null if none came in this time, or when a signal arrived. */
    std::unique_ptr<SocketStream> accept(int milliseconds);
    /** 0 for a Unix socket. */
    unsigned port() const { return boundPort; }
    const std::string& address() const { return shown; }

  private:
    Listener(Descriptor socket, std::string address, unsigned port)
        : descriptor(std::move(socket)), shown(std::move(address)), boundPort(port) {}

    Descriptor descriptor;
    std::string shown;
    unsigned boundPort;
    std::string ownPath;
};

}  // namespace quarlo::phone

#endif
