#include "Pcapng.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace quarlo::links {
namespace {

constexpr std::uint32_t sectionHeader = 0x0A0D0D0A;
constexpr std::uint32_t interfaceDescription = 1;
constexpr std::uint32_t enhancedPacket = 6;
constexpr std::uint32_t noMoreOptions = 0;
constexpr std::uint16_t optionComment = 1;
constexpr std::uint16_t optionApplication = 4;
constexpr std::uint16_t optionResolution = 9;
constexpr std::uint16_t rawIp = 101;
constexpr std::uint16_t phonePort = 5910;
constexpr std::size_t blockHead = 28;
constexpr std::size_t ipHead = 20;

/** Appends values, in the byte order of this machine or of the network. */
class Writer {
  public:
    explicit Writer(unsigned char* into) : begin(into), at(into) {}
    template <class T>
    void host(T value) {
        memcpy(at, &value, sizeof value);
        at += sizeof value;
    }
    template <class T>
    void net(T value) {
        for (std::size_t i = sizeof value; i-- > 0;) {
            *at++ = static_cast<unsigned char>(value >> 8 * i);
        }
    }
    void bytes(const void* from, std::size_t count) {
        memcpy(at, from, count);
        at += count;
    }
    void pad() {
        while (size() % 4 != 0) *at++ = 0;
    }
    void option(std::uint16_t code, const void* value, std::size_t count) {
        host(code);
        host(static_cast<std::uint16_t>(count));
        bytes(value, count);
        pad();
    }
    std::size_t size() const { return static_cast<std::size_t>(at - begin); }

  private:
    unsigned char* const begin;
    unsigned char* at;
};

constexpr std::size_t padded(std::size_t size) {
    return (size + 3) / 4 * 4;
}

// Words of the machine's own order: the sum has its bytes in that order too.
std::uint64_t sumOf(const unsigned char* bytes, std::size_t count) {
    std::uint64_t sum = 0;
    std::uint32_t word = 0;
    for (; count >= sizeof word; count -= sizeof word, bytes += sizeof word) {
        memcpy(&word, bytes, sizeof word);
        sum += word;
    }
    if (count == 0) return sum;
    word = 0;
    memcpy(&word, bytes, count);
    return sum + word;
}

void putChecksum(std::uint64_t sum, unsigned char* into) {
    while (sum > UINT16_MAX) sum = (sum & UINT16_MAX) + (sum >> 16);
    const auto checksum = static_cast<std::uint16_t>(~sum);
    memcpy(into, &checksum, sizeof checksum);
}

// The addresses of documentation, which nobody has: 192.0.2.1 and .2.
constexpr std::uint32_t addressOf(Side side) {
    return side == headUnitSide ? 0xC0000201 : 0xC0000202;
}

std::uint16_t portOf(const Segment& segment, Side side) {
    return side == phoneSide ? phonePort : segment.headUnitPort;
}

void putIp(const Segment& segment, std::size_t tcpSize, unsigned char* into) {
    constexpr std::uint16_t versionAndService = 0x4500;
    constexpr std::uint16_t notFragmented = 0x4000;
    constexpr std::uint16_t timeToLiveAndTcp = 0x4006;
    Writer ip(into);
    ip.net(versionAndService);
    ip.net(static_cast<std::uint16_t>(ipHead + tcpSize));
    ip.net(std::uint16_t{0});
    ip.net(notFragmented);
    ip.net(timeToLiveAndTcp);
    ip.net(std::uint16_t{0});
    ip.net(addressOf(segment.from));
    ip.net(addressOf(other(segment.from)));
    putChecksum(sumOf(into, ipHead), into + 10);
}

// Largest segment, and a window scale of 14: a window of 1 GiB, which no update fills.
constexpr unsigned char synOptions[] = {2, 4, 0x80, 0, 3, 3, 14, 1};

constexpr std::size_t tcpHeadOf(const Segment& segment) {
    return (segment.flags & tcpSyn) != 0 ? 20 + sizeof synOptions : 20;
}

void putTcp(const Segment& segment, unsigned char* into) {
    const std::size_t head = tcpHeadOf(segment);
    Writer tcp(into);
    tcp.net(portOf(segment, segment.from));
    tcp.net(portOf(segment, other(segment.from)));
    tcp.net(segment.sequence);
    tcp.net(segment.acknowledged);
    tcp.net(static_cast<std::uint16_t>(head / 4 << 12 | segment.flags));
    tcp.net(std::uint16_t{UINT16_MAX});
    tcp.net(std::uint32_t{0});
    if ((segment.flags & tcpSyn) != 0) tcp.bytes(synOptions, sizeof synOptions);
    unsigned char pseudo[12];
    Writer sum(pseudo);
    sum.net(addressOf(segment.from));
    sum.net(addressOf(other(segment.from)));
    sum.net(std::uint16_t{6});
    sum.net(static_cast<std::uint16_t>(head + segment.count));
    putChecksum(
        sumOf(pseudo, sizeof pseudo) + sumOf(into, head) + sumOf(segment.bytes, segment.count),
        into + 16);
}

}  // namespace

bool Comments::add(const char* kind, const char* text) {
    char words[1024];
    snprintf(words, sizeof words, "quarlo %s %.1000s", kind, text);
    const std::size_t count = strlen(words);
    if (4 + padded(count) > sizeof options - used) return false;
    Writer writer(options + used);
    writer.option(optionComment, words, count);
    used += writer.size();
    return true;
}

void frameSegment(const Segment& segment, std::uint64_t time, const Comments& comments,
                  PacketFrame& frame) {
    const std::size_t tcpHead = tcpHeadOf(segment);
    const std::size_t packet = ipHead + tcpHead + segment.count;
    frame.headSize = blockHead + ipHead + tcpHead;
    frame.paddingSize = padded(packet) - packet;
    frame.endSize = comments.size() != 0 ? 8 : 4;
    frame.size = blockHead + padded(packet) + comments.size() + frame.endSize;
    const auto blockSize = static_cast<std::uint32_t>(frame.size);
    Writer block(frame.head);
    block.host(enhancedPacket);
    block.host(blockSize);
    block.host(std::uint32_t{0});
    block.host(static_cast<std::uint32_t>(time >> 32));
    block.host(static_cast<std::uint32_t>(time));
    block.host(static_cast<std::uint32_t>(packet));
    block.host(static_cast<std::uint32_t>(packet));
    putIp(segment, tcpHead + segment.count, frame.head + blockHead);
    putTcp(segment, frame.head + blockHead + ipHead);
    memset(frame.tail, 0, sizeof frame.tail);
    memcpy(frame.tail + frame.paddingSize + frame.endSize - sizeof blockSize, &blockSize,
           sizeof blockSize);
}

std::size_t beginFile(unsigned char (&into)[128]) {
    constexpr char application[] = "quarlo " QUARLO_VERSION;
    constexpr std::size_t applicationSize = sizeof application - 1;
    constexpr std::uint32_t sectionSize = 28 + 4 + padded(applicationSize) + 4;
    Writer writer(into);
    writer.host(sectionHeader);
    writer.host(sectionSize);
    writer.host(std::uint32_t{0x1A2B3C4D});
    writer.host(std::uint16_t{1});
    writer.host(std::uint16_t{0});
    writer.host(std::uint64_t{UINT64_MAX});
    writer.option(optionApplication, application, applicationSize);
    writer.host(noMoreOptions);
    writer.host(sectionSize);

    constexpr std::uint32_t interfaceSize = 20 + 8 + 4;
    constexpr unsigned char nanoseconds = 9;
    writer.host(interfaceDescription);
    writer.host(interfaceSize);
    writer.host(rawIp);
    writer.host(std::uint16_t{0});
    writer.host(std::uint32_t{0});
    writer.option(optionResolution, &nanoseconds, 1);
    writer.host(noMoreOptions);
    writer.host(interfaceSize);
    static_assert(sectionSize + interfaceSize <= sizeof into);
    return writer.size();
}

}  // namespace quarlo::links
