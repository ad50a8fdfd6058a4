/*
 * The byte stream to the phone: a connected socket with the three links that the library calls. The
 * library's receiver thread reads, every thread may send (one lock keeps buffers whole), and
 * whoever deletes the instance ends the reading.
 */
#ifndef HEADUNIT_TRANSPORT_H
#define HEADUNIT_TRANSPORT_H

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "Values.h"

namespace quarlo::headunit {

/** A descriptor that is closed at its end. */
class Descriptor {
  public:
    explicit Descriptor(int descriptor = -1) : value(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : value(other.value) { other.value = -1; }
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(value, other.value);
        return *this;
    }
    ~Descriptor();

    explicit operator bool() const { return value >= 0; }
    int get() const { return value; }

  private:
    int value;
};

/** Connects within the time given. @return nothing and why */
Descriptor connectTo(const Endpoint& endpoint, double seconds, std::string& error);

class Transport {
  public:
    /** Takes a connected stream socket. */
    explicit Transport(Descriptor connected,
                       std::chrono::milliseconds sendLimit = std::chrono::seconds(5));

    /** Receiver link: the last argument is the Transport. */
    static size_t receive(void* context, UInt8* buffer, size_t size, void* connectionInfo);
    /** Sender link: the last argument is the Transport. */
    static void send(void* context, UInt8* buffer, size_t size, void* connectionInfo);
    /** Makes a waiting receive, or a send that makes no progress, return; they end for good. */
    void requestEnd();

    /** Why the connection broke; empty while it has not. */
    std::string fault() const;
    UInt64 bytesReceived() const { return received; }
    UInt64 bytesSent() const { return sent; }

  private:
    enum class Broken : int { No, Closed, Reset, ReadFailed, WriteFailed, WriteStalled };

    size_t read(UInt8* buffer, size_t size);
    size_t readAvailable(UInt8* buffer, size_t size);
    void write(const UInt8* buffer, size_t size);
    bool waitWritable(std::chrono::steady_clock::time_point limit);
    void breakOff(Broken why);

    const Descriptor socket;
    const Descriptor wake;  // an event that is never taken back
    const std::chrono::milliseconds sendLimit;
    std::mutex sendLock;
    std::atomic<Broken> broken{Broken::No};
    std::atomic<bool> isEnded{false};
    std::atomic<UInt64> received{0};
    std::atomic<UInt64> sent{0};
};

}  // namespace quarlo::headunit

#endif
