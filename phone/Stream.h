/**
 * @file
 * The byte stream between the phone and one head unit. Never blocks; used by one thread.
 */
#ifndef PHONE_STREAM_H
#define PHONE_STREAM_H

#include <cstdint>
#include <span>
#include <string>

namespace quarlo::phone {

class Stream {
  public:
    virtual ~Stream() = default;
    /** The number of bytes read, 0 if there are none now, -1 if the connection has ended. */
    virtual long read(std::span<std::uint8_t> room) = 0;
    /** The number of bytes taken, which may be fewer than offered or 0, -1 if the connection has
     * ended. */
    virtual long write(std::span<const std::uint8_t> bytes) = 0;
    /** Nothing that was taken waits to be sent. */
    virtual bool isAllSent() const { return true; }
    /** Tells the head unit that nothing more comes, and goes on reading. */
    virtual void endSending() {}
    /** How the connection has ended, for people. */
    virtual std::string end() const { return "the head unit closed the connection"; }
};

}  // namespace quarlo::phone

#endif
