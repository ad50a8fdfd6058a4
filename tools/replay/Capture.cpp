#include "Capture.h"

#include <pcap/pcap.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <utility>

namespace quarlo::replay {
namespace {

using Bytes = std::span<const std::uint8_t>;

unsigned number(Bytes bytes, std::size_t at, std::size_t size) {
    unsigned value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | bytes[at + i];
    return value;
}

Bytes behind(Bytes bytes, std::size_t count) {
    return bytes.subspan(std::min(count, bytes.size()));
}

struct Segment {
    std::string from, to;  // address and port
    unsigned fromPort, toPort;
    std::uint32_t sequence;
    bool isSyn, isFin, isReset;
    std::size_t size;  // of what was sent; the capture may have less
    Bytes bytes;
};

enum : unsigned { ethernetIp4 = 0x0800, ethernetIp6 = 0x86DD, ethernetVlan = 0x8100 };

// The IP packet of a frame, nothing for other frames.
std::optional<Bytes> ipOf(int linkType, Bytes frame) {
    std::size_t type = 0;
    std::size_t head = 0;
    switch (linkType) {
        case DLT_RAW:
        case DLT_IPV4:
        case DLT_IPV6:
            return frame;
        case DLT_EN10MB:
            type = 12;
            head = 14;
            while (frame.size() >= head && number(frame, type, 2) == ethernetVlan) {
                type += 4;
                head += 4;
            }
            break;
        case DLT_LINUX_SLL:
            type = 14;
            head = 16;
            break;
        case DLT_LINUX_SLL2:
            type = 0;
            head = 20;
            break;
        default:
            return {};
    }
    if (frame.size() < head) return {};
    const unsigned protocol = number(frame, type, 2);
    if (protocol != ethernetIp4 && protocol != ethernetIp6) return {};
    return behind(frame, head);
}

std::string textOf(Bytes bytes) {
    return {bytes.begin(), bytes.end()};
}

std::optional<Segment> tcpOf(Bytes tcp, std::size_t size, Bytes source, Bytes destination) {
    constexpr std::size_t least = 20;
    if (tcp.size() < least || size < least) return {};
    const std::size_t head = tcp[12] / 16 * 4U;
    if (head < least || head > size) return {};
    const unsigned flags = tcp[13];
    return Segment{textOf(source) + textOf(tcp.subspan(0, 2)),
                   textOf(destination) + textOf(tcp.subspan(2, 2)),
                   number(tcp, 0, 2),
                   number(tcp, 2, 2),
                   number(tcp, 4, 4),
                   (flags & 2) != 0,
                   (flags & 1) != 0,
                   (flags & 4) != 0,
                   size - head,
                   behind(tcp, head)};
}

std::optional<Segment> segmentOf(Bytes ip, std::size_t missing) {
    constexpr unsigned tcp = 6;
    if (ip.size() < 20) return {};
    const unsigned version = ip[0] / 16U;
    std::size_t head = 40;
    std::size_t size = 0;
    if (version == 4) {
        head = ip[0] % 16 * 4U;
        const std::size_t total = number(ip, 2, 2);
        const bool isFragment = (number(ip, 6, 2) & 0x3FFF) != 0;
        // A total of 0 was left to the network card.
        size = total != 0 ? total : ip.size() + missing;
        if (ip[9] != tcp || isFragment || head < 20 || size < head) return {};
    } else if (version == 6 && ip.size() >= head) {
        size = head + number(ip, 4, 2);
        if (ip[6] != tcp) return {};
    } else {
        return {};
    }
    const std::size_t source = version == 4 ? 12 : 8;
    const std::size_t length = version == 4 ? 4 : 16;
    const Bytes whole = ip.subspan(0, std::min(size, ip.size()));
    return tcpOf(behind(whole, head), size - head, ip.subspan(source, length),
                 ip.subspan(source + length, length));
}

/** One direction of a connection: what comes early waits for what it follows. */
class Stream {
  public:
    void begin(std::uint32_t sequence) {
        if (!hasBegun) start = sequence;
        hasBegun = true;
    }
    bool hasBegunAt(std::uint32_t sequence) const { return hasBegun && start == sequence; }
    bool isEmpty() const { return next == 0 && early.empty(); }

    void take(const Segment& segment, Piece piece, std::vector<Piece>& into) {
        const std::uint32_t sequence = segment.sequence + (segment.isSyn ? 1 : 0);
        begin(sequence);
        // Numbers wrap; what counts is how far one is from the next.
        const auto expected = static_cast<std::uint32_t>(start + next);
        const auto ahead = static_cast<std::int32_t>(sequence - expected);
        const std::int64_t at = static_cast<std::int64_t>(next) + ahead;
        end = std::max(end, at + static_cast<std::int64_t>(segment.size));
        if (piece.bytes.empty()) return;
        Piece& known = early[at];
        if (known.bytes.size() < piece.bytes.size()) known = std::move(piece);
        release(into);
    }
    std::uint64_t hole() const {
        const auto have = static_cast<std::int64_t>(next);
        const std::int64_t until = early.empty() ? end : early.begin()->first;
        return until > have ? static_cast<std::uint64_t>(until - have) : 0;
    }

  private:
    void release(std::vector<Piece>& into) {
        while (!early.empty() && early.begin()->first <= static_cast<std::int64_t>(next)) {
            Piece piece = std::move(early.begin()->second);
            const auto known = static_cast<std::int64_t>(next) - early.begin()->first;
            early.erase(early.begin());
            if (known >= static_cast<std::int64_t>(piece.bytes.size())) continue;
            piece.bytes.erase(piece.bytes.begin(), piece.bytes.begin() + known);
            next += piece.bytes.size();
            into.push_back(std::move(piece));
        }
    }

    bool hasBegun = false;
    std::uint32_t start = 0;
    std::uint64_t next = 0;
    std::int64_t end = 0;
    std::map<std::int64_t, Piece> early;
};

class Assembly {
  public:
    explicit Assembly(unsigned port) : phonePort(port) {}

    void take(const Segment& segment, unsigned frame, std::int64_t time) {
        if (segment.fromPort != phonePort && segment.toPort != phonePort) return;
        const bool isFromPhone =
            segment.fromPort == phonePort && (segment.toPort != phonePort || !segment.isSyn);
        Under& under = connectionOf(segment, isFromPhone);
        Stream& stream = under.streams[isFromPhone ? 0 : 1];
        if (segment.isSyn) stream.begin(segment.sequence + 1);
        std::vector<std::uint8_t> bytes(segment.bytes.begin(), segment.bytes.end());
        if (segment.size > 0) {
            stream.take(segment, {isFromPhone, frame, time, std::move(bytes)},
                        under.connection.pieces);
        }
        const bool isEnd = segment.isFin || segment.isReset;
        if (isEnd && !under.hasEnded) under.connection.isEndedByPhone = isFromPhone;
        under.hasEnded = under.hasEnded || isEnd;
    }
    std::vector<Connection> finish() {
        std::vector<Connection> result;
        for (Under& each : all) {
            each.connection.hole = each.streams[0].hole();
            if (!each.connection.pieces.empty()) result.push_back(std::move(each.connection));
        }
        return result;
    }

  private:
    struct Under {
        Connection connection;
        Stream streams[2];  // from the phone, to the phone
        bool hasEnded = false;
    };

    // A connection begins anew on the same ports with a number that is not the one before.
    Under& connectionOf(const Segment& segment, bool isFromPhone) {
        const auto key =
            isFromPhone ? std::pair(segment.to, segment.from) : std::pair(segment.from, segment.to);
        const auto found = present.find(key);
        const bool isKnown = found != present.end();
        const bool isNew =
            isKnown && segment.isSyn && !isFromPhone &&
            !all[found->second].streams[1].hasBegunAt(segment.sequence + 1) &&
            !(all[found->second].streams[0].isEmpty() && all[found->second].streams[1].isEmpty());
        if (isKnown && !isNew) return all[found->second];
        present[key] = all.size();
        return all.emplace_back();
    }

    const unsigned phonePort;
    std::vector<Under> all;
    std::map<std::pair<std::string, std::string>, std::size_t> present;
};

using File = std::unique_ptr<pcap_t, void (*)(pcap_t*)>;

File openFile(const std::string& file) {
    std::array<char, PCAP_ERRBUF_SIZE> problem{};
    File opened(pcap_open_offline_with_tstamp_precision(file.c_str(), PCAP_TSTAMP_PRECISION_NANO,
                                                        problem.data()),
                pcap_close);
    if (opened) return opened;
    const std::string why = problem.data();
    throw std::runtime_error(why.find(file) == std::string::npos ? file + ": " + why : why);
}

}  // namespace

Capture readCapture(const std::string& file, unsigned phonePort) {
    const File opened = openFile(file);
    const int linkType = pcap_datalink(opened.get());
    if (!ipOf(linkType,
              std::array<std::uint8_t, 20>{0x08, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x08, 0, 0x08})) {
        const char* name = pcap_datalink_val_to_name(linkType);
        throw std::runtime_error(file + ": link type " +
                                 (name != nullptr ? name : std::to_string(linkType)) +
                                 " is not understood");
    }
    Assembly assembly(phonePort);
    pcap_pkthdr* header = nullptr;
    const u_char* data = nullptr;
    std::int64_t begin = 0;
    unsigned frame = 0;
    int result = 0;
    while ((result = pcap_next_ex(opened.get(), &header, &data)) == 1) {
        const std::int64_t time = header->ts.tv_sec * INT64_C(1000000000) + header->ts.tv_usec;
        if (++frame == 1) begin = time;
        const auto ip = ipOf(linkType, Bytes(data, header->caplen));
        const auto segment =
            ip ? segmentOf(*ip, header->len - std::min(header->len, header->caplen)) : std::nullopt;
        if (segment) assembly.take(*segment, frame, time - begin);
    }
    Capture capture{assembly.finish(), {}};
    if (result == PCAP_ERROR) capture.cut = pcap_geterr(opened.get());
    if (capture.connections.empty()) {
        throw std::runtime_error(file + ": no connection with port " + std::to_string(phonePort) +
                                 (capture.cut.empty() ? "" : "; " + capture.cut));
    }
    return capture;
}

}  // namespace quarlo::replay
