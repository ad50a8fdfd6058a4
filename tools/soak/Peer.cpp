// The phone of one session. Everything runs on the thread of its pair.
#include "Peer.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "Hash.h"
#include "Tally.h"

namespace quarlo::soak {
namespace {

/** What may be queued before the phone holds its tongue. */
constexpr std::size_t mostQueued = std::size_t{256} * 1024;

template <class P>
using Owned = std::unique_ptr<P, void (*)(P*)>;

template <class P>
Owned<P> decode(std::span<const std::uint8_t> bytes) {
    wire::Bounded input{bytes.data(), bytes.data() + bytes.size()};
    wire::Heap heap;
    return {wire::decodePacket<P>(input, heap), wire::deletePacket<P>};
}

/** Whether the bytes could not be moved for now, and for no worse reason. */
bool isForNow(ssize_t result) {
    return result < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
}

}  // namespace

Peer::Peer(Exchange& shared, const Setting& how, int descriptor, std::uint64_t seed)
    : exchange(shared),
      setting(how),
      socket(descriptor),
      random(seed),
      picture(how.width, how.height, 0xFF000000),
      view(how.width, how.height, 0xFF000000) {}

Peer::~Peer() {
    close(socket);
}

/* ---- bytes ---- */

bool Peer::step(int milliseconds, std::size_t most) {
    const short wanted = hasUnsent() ? POLLIN | POLLOUT : POLLIN;
    pollfd descriptor{socket, wanted, 0};
    if (poll(&descriptor, 1, milliseconds) < 0) return errno == EINTR;
    if ((descriptor.revents & (POLLIN | POLLHUP | POLLERR)) != 0 && !receive(most)) return false;
    handlePackets();
    return !hasUnsent() || transmit(most);
}

bool Peer::receive(std::size_t most) {
    std::uint8_t piece[65536];
    const ssize_t count = recv(socket, piece, std::min(sizeof piece, most), 0);
    if (count <= 0) return isForNow(count);
    in.insert(in.end(), piece, piece + count);
    tally.bytes += static_cast<std::uint64_t>(count);
    return true;
}

bool Peer::transmit(std::size_t most) {
    const std::size_t wanted = std::min(out.size() - sentUpTo, most);
    const ssize_t count = ::send(socket, out.data() + sentUpTo, wanted, MSG_NOSIGNAL);
    if (count < 0) return isForNow(count);
    sentUpTo += static_cast<std::size_t>(count);
    tally.bytes += static_cast<std::uint64_t>(count);
    if (hasUnsent()) return true;
    out.clear();
    sentUpTo = 0;
    return true;
}

void Peer::handlePackets() {
    std::size_t at = 0;
    while (in.size() - at >= wire::headerSize) {
        const std::size_t size = wire::headerSize + wire::load<UInt32>(in.data() + at + 5);
        if (in.size() - at < size) break;
        ++tally.packets;
        handle(in[at], {in.data() + at, size});
        at += size;
    }
    in.erase(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(at));
}

/* ---- what the head unit says ---- */

void Peer::expectNext(Channel& channel, std::uint64_t number, const char* what) const {
    if (channel.arrive(number)) return;
    tally.fail(setting.name + ": " + what + " of the head unit is lost: number " +
               std::to_string(number) + " came as number " + std::to_string(channel.received));
}

void Peer::hearCustomData(std::span<const std::uint8_t> bytes) {
    const auto packet = decode<packetClientCustomData>(bytes);
    if (packet == nullptr) return;
    if (packet->Event != eCUSTOMDATAEVENT_Raw || packet->Type > callbackChannel) {
        // The library announces its version by itself.
        const bool isVersion = packet->Event == eCUSTOMDATAEVENT_String &&
                               packet->Type == eCLIENTCUSTOMDATASTRINGTYPE_IVIFirmwareVersionF;
        if (!isVersion) ++exchange.calls.received;
        return;
    }
    const std::uint64_t number = numberOf({packet->pData, packet->Length});
    Channel& channel = packet->Type == hostChannel ? exchange.fromHost : exchange.fromCallbacks;
    expectNext(channel, number, "a message");
}

void Peer::shakeHands(unsigned type) {
    if (++heard == silent) return;
    const Flag yes = heard == refused ? eFLAG_FALSE : eFLAG_TRUE;
    switch (type) {
        case eEVENTTYPE_ClientProtocolVersion:
            return send<packetServerProtocolAcknowledge>(
                [&](auto& packet) { packet.IsAcknowledged = yes; });
        case eEVENTTYPE_ClientInit:
            send<packetServerInitAcknowledge>([&](auto& packet) { packet.IsAcknowledged = yes; });
            return send<packetServerInit>(
                [](auto& packet) { packet.Capabilities = eSERVERCAPABILITIES_All; });
        default:
            send<packetServerInitDone>([&](auto& packet) { packet.Successful = yes; });
            inRun = yes == eFLAG_TRUE;
    }
}

void Peer::handle(unsigned type, std::span<const std::uint8_t> packet) {
    switch (type) {
        case eEVENTTYPE_ClientProtocolVersion:
        case eEVENTTYPE_ClientInit:
        case eEVENTTYPE_ClientInitDone:
            return shakeHands(type);
        case eEVENTTYPE_FramebufferUpdateRequest:
            ++updatesOwed;
            return;
        case eEVENTTYPE_ClientCustomData:
            return hearCustomData(packet);
        case eEVENTTYPE_PingAcknowledge:
            return expectNext(exchange.pings, wire::load<UInt32>(packet.data() + wire::headerSize),
                              "a ping's answer");
        case eEVENTTYPE_ClientAudio:
            ++exchange.audio.received;
            return;
        case eEVENTTYPE_ClientVoiceSupportInfo:
        case eEVENTTYPE_ClientSettings:
            // Part of the handshake, in which the host does not call for it.
            if (inRun) ++exchange.calls.received;
            return;
        default:
            ++exchange.calls.received;
    }
}

/* ---- what the phone says ---- */

template <class P, class Fill>
void Peer::send(Fill fill) {
    const Owned<P> packet(wire::newPacket<P>(), wire::deletePacket<P>);
    fill(*packet);
    void* buffer = nullptr;
    UInt32 size = 0;
    wire::packetToBuffer(&buffer, &size, packet.get());
    const auto* bytes = static_cast<const std::uint8_t*>(buffer);
    out.insert(out.end(), bytes, bytes + size);
    quarlo_free(buffer);
    ++tally.packets;
}

void Peer::sendCustom(CustomDataEvent event, UInt16 type, const std::vector<std::uint8_t>& data) {
    send<packetServerCustomData>([&](auto& packet) {
        packet.Event = event;
        packet.Type = type;
        packet.Length = static_cast<UInt16>(data.size());
        packet.pData = wire::Heap::make<UInt8>(data.size());
        std::copy(data.begin(), data.end(), packet.pData);
    });
}

void Peer::sendNumbered() {
    const std::uint64_t number = exchange.fromPhone.next();
    if (tally.fault == Fault::Lost && number == 20) return;
    if (random.oneIn(3)) {
        return sendCustom(eCUSTOMDATAEVENT_Int, eSERVERCUSTOMDATAINTTYPE_DateTime,
                          numbered(number, 8));
    }
    if (random.oneIn(2)) {
        const std::string digits = std::to_string(number);
        constexpr std::size_t head = 3;
        std::vector<std::uint8_t> text(head + digits.size());
        text[0] = eSTRINGENCODING_UTF8;
        text[1] = static_cast<std::uint8_t>(digits.size());
        std::copy(digits.begin(), digits.end(), text.begin() + head);
        return sendCustom(eCUSTOMDATAEVENT_String, eSERVERCUSTOMDATASTRINGTYPE_BTName, text);
    }
    sendCustom(eCUSTOMDATAEVENT_Raw, eSERVERCUSTOMDATARAWTYPE_StoreHost | 1,
               numbered(number, random.length(8, 60000)));
}

/** A request, and later its release; or one that the head unit ends itself after a second. */
void Peer::sendAudio() {
    const bool isRelease = isSourceOpen;
    const bool isTimed = !isRelease && random.oneIn(20);
    isSourceOpen = !isRelease && !isTimed;
    if (!isRelease) ++source;
    exchange.audio.sent += isTimed ? 2 : 1;
    send<packetServerAudio>([&](auto& packet) {
        // The sources of all instances are in one table.
        packet.RequestID = setting.number << 16 | source;
        packet.Command = isRelease ? eAUDIOCONTROL_Release : eAUDIOCONTROL_Request;
        packet.Type = eAUDIOTYPE_Main;
        packet.MaximumDuration = isTimed ? 1 : 0;
    });
}

void Peer::sendFilter() {
    const UInt8 count = static_cast<UInt8>(random.between(0, 5));
    send<packetSetVehicleDataFilter>([&](auto& packet) {
        packet.Length = count;
        if (count != 0) packet.pKeys = wire::Heap::make<UInt32>(count);
        for (unsigned i = 0; i < count; ++i) packet.pKeys[i] = i * 10 + random.between(0, 9);
    });
}

void Peer::act() {
    if (!inRun || out.size() - sentUpTo > mostQueued) return;
    switch (random.between(0, 9)) {
        case 0:
            return send<packetPing>([&](auto& packet) {
                packet.PacketCounter = static_cast<UInt32>(exchange.pings.next());
            });
        case 1:
            return send<packetServerState>([&](auto& packet) {
                packet.DataType = eSERVERDATATYPE_Transition;
                packet.Value = static_cast<UInt8>(random.between(0, 1));
            });
        case 2:
            return sendAudio();
        case 3:
            return sendFilter();
        case 4:
        case 5:
            return sendUpdate();
        default:
            return sendNumbered();
    }
}

/* ---- the screen ---- */

/** Flat, a gradient, or noise: what compresses well and what does not. */
void Peer::draw(const Area& area) {
    const unsigned kind = random.between(0, 2);
    const auto seed = static_cast<std::uint32_t>(random.between(0, 0xFFFFFF));
    for (int y = area.y; y < area.bottom(); ++y) {
        std::uint32_t* row = picture.row(y);
        for (int x = area.x; x < area.right(); ++x) {
            const auto column = static_cast<std::uint32_t>(x);
            const auto line = static_cast<std::uint32_t>(y);
            std::uint32_t colour = seed;
            if (kind == 1) colour += column << 16 | line << 8 | (column ^ line);
            if (kind == 2) colour = phone::hashOf(column, line, seed);
            row[x] = 0xFF000000U | colour;
        }
    }
}

/** One in each of some strips: overlapping ones could not be told apart afterwards. */
std::deque<Area> Peer::chooseAreas() {
    std::deque<Area> areas;
    const unsigned strips = random.between(1, 4);
    const unsigned width = static_cast<unsigned>(setting.width) / strips;
    for (unsigned i = 0; i < strips; ++i) {
        const unsigned left = random.between(0, width - 1);
        const unsigned top = random.between(0, static_cast<unsigned>(setting.height) - 1);
        const unsigned right = left + random.length(1, width - left);
        const unsigned bottom = top + random.length(1, static_cast<unsigned>(setting.height) - top);
        const unsigned start = i * width;
        areas.push_back(areaOf(static_cast<int>(start + left), static_cast<int>(top),
                               static_cast<int>(start + right), static_cast<int>(bottom)));
        draw(areas.back());
    }
    return areas;
}

void Peer::sendUpdate() {
    if (updatesOwed == 0) return;
    --updatesOwed;
    std::deque<Area> areas = chooseAreas();
    phone::FrameStyle style;
    style.layout = setting.layout;
    style.compression = random.of<FrameCompression>(
        {eFRAMECOMPRESSION_Uncompressed, eFRAMECOMPRESSION_ZLIB, eFRAMECOMPRESSION_JPEG});
    style.largestPacket = picture.pixels.size() * setting.layout.bytesPerPixel() + 65536;
    while (!areas.empty()) {
        const std::size_t packet = out.size();
        if (!encoder.appendUpdate(style, picture, areas, out, view)) {
            return tally.fail(setting.name + ": the phone cannot encode its picture");
        }
        ++tally.packets;
        expectRectangles({out.data() + packet, out.size() - packet});
    }
}

/** Tells the head unit's host what it has to see. */
void Peer::expectRectangles(std::span<const std::uint8_t> bytes) {
    const auto packet = decode<packetFramebufferUpdate>(bytes);
    for (unsigned i = 0; i < packet->UpdateRegions->Length; ++i) {
        const qrFrameRectangle& from = *packet->UpdateRegions->paRectangles[i];
        const qrRectangle& r = *from.Rectangle;
        Drawn drawn{{r.X, r.Y, r.Width, r.Height}, from.Properties->Compression, {}};
        drawn.pixels.resize(std::size_t{r.Width} * r.Height * setting.layout.bytesPerPixel());
        phone::packPixels(view, drawn.area, setting.layout, drawn.pixels.data());
        // The smallest mistake in exact pixels, one that must be noticed in others.
        const bool isLossy = drawn.compression == eFRAMECOMPRESSION_JPEG;
        if (tally.fault == Fault::Pixel) drawn.pixels.back() ^= isLossy ? 0x40 : 0x01;
        exchange.push(std::move(drawn));
    }
}

}  // namespace quarlo::soak
