// Draws as little as it can: what changes is a block that wanders over the screen. One thread.
#include "Replies.h"

#include "Plan.h"
#include "Session.h"

namespace quarlo::phone {
namespace {

constexpr Size substitute{800, 480};
constexpr std::chrono::milliseconds frameInterval{50};
constexpr std::size_t receiveBufferSlack = std::size_t{64} * 1024;
constexpr std::size_t mostRequests = 256;
constexpr unsigned mostIcons = 64;
constexpr int largestIcon = 512;
constexpr std::size_t iconPixel = 4;
constexpr std::chrono::milliseconds firstIconDelay{700};
constexpr int blockSide = 96;

template <class Answer>
PacketBytes acknowledgement(bool isGranted) {
    return bytesOf<Answer>(
        [=](Answer& answer) { answer.IsAcknowledged = isGranted ? eFLAG_TRUE : eFLAG_FALSE; });
}

Picture gradient(Size size) {
    Picture picture(size);
    for (int y = 0; y < size.height; ++y) {
        std::uint32_t* row = picture.row(y);
        for (int x = 0; x < size.width; ++x) {
            row[x] = 0xFF000000u | (static_cast<std::uint32_t>(x) & 0xFF) << 16 |
                     (static_cast<std::uint32_t>(y) & 0xFF) << 8 | 0x60;
        }
    }
    return picture;
}

void fill(Picture& picture, const Area& area, std::uint32_t colour) {
    for (int y = area.y; y < area.bottom(); ++y)
        std::fill_n(picture.row(y) + area.x, area.width, colour);
}

std::deque<Area> inThree(const Area& area) {
    if (area.height < 3) return {area};
    const int one = area.y + area.height / 3;
    const int two = area.y + 2 * area.height / 3;
    return {areaOf(area.x, area.y, area.right(), one), areaOf(area.x, one, area.right(), two),
            areaOf(area.x, two, area.right(), area.bottom())};
}

}  // namespace

void Replies::adopt(const packetClientInit& init) {
    const qrFrameProperties& frame = *init.FrameProperties;
    const auto declared = pixelLayoutOf(frame.Format, frame.Endianess, frame.BytesPerPixel);
    const bool isUsable = declared && isDrawable(init.ScreenWidth, init.ScreenHeight);
    layout =
        isUsable ? *declared : PixelLayout{ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_LittleEndian};
    resize(isUsable ? Size{init.ScreenWidth, init.ScreenHeight} : substitute);
    const bool isKnown = (init.SupportedCompressions & ~eFRAMECOMPRESSION_All) == 0 &&
                         (init.SupportedCompressions & eFRAMECOMPRESSION_Uncompressed) != 0;
    supported = isKnown ? init.SupportedCompressions : eFRAMECOMPRESSION_Uncompressed;
    wanted = frame.Compression & eFRAMECOMPRESSION_All;
    largestPacket = picture.pixels.size() * layout.bytesPerPixel() + receiveBufferSlack;
}

void Replies::resize(Size size) {
    picture = gradient(size);
    half = gradient({size.width / 2, size.height / 2});
    view = Picture(size);
}

void Replies::hear(TimePoint now, const Decoded& packet) {
    if (!pipe.hasRoom()) return;
    if (const auto* wish = packet.as<packetFramebufferUpdateRequest>()) return request(*wish);
    if (const auto* icon = packet.as<packetClientRequestAppIcon>()) return sendIcon(now, *icon);
    if (const auto* start = packet.as<packetClientStartApp>()) return sendStarted(*start);
    hearSettings(packet);
}

void Replies::hearSettings(const Decoded& packet) {
    if (const auto* format = packet.as<packetSetPixelFormat>()) {
        const auto next = pixelLayoutOf(format->Format, format->Endianess, format->BytesPerPixel);
        if (next) layout = *next;
        pipe.say(acknowledgement<packetPixelFormatAcknowledge>(true));
    } else if (const auto* size = packet.as<packetSetFrameSize>()) {
        if (isDrawable(size->ScreenWidth, size->ScreenHeight))
            resize({size->ScreenWidth, size->ScreenHeight});
        pipe.say(acknowledgement<packetFrameSizeAcknowledge>(true));
    } else if (const auto* compression = packet.as<packetOverrideCompression>()) {
        const bool isKnown = (compression->Compression & ~eFRAMECOMPRESSION_All) == 0;
        if (hasOverridden && isKnown) wanted = compression->Compression;
        pipe.say(acknowledgement<packetOverrideCompressionAcknowledge>(hasOverridden));
        hasOverridden = true;
    } else if (const auto* state = packet.as<packetClientState>()) {
        if (state->DataType == eCLIENTDATATYPE_FrameRequestsSuspended)
            isSuspended = state->Value != 0;
    } else if (const auto* mode = packet.as<packetSetBlockMode>()) {
        const bool isActive = mode->ModeToSet != eBLOCKMODE_AllowAll;
        pipe.say(bytesOf<packetBlockStatus>(
            [=](auto& status) { status.BlockIsActive = isActive ? eFLAG_TRUE : eFLAG_FALSE; }));
        pipe.say(
            bytesOf<packetBlockHealth>([](auto& health) { health.AppIsHealthy = eFLAG_TRUE; }));
    }
}

void Replies::request(const packetFramebufferUpdateRequest& packet) {
    const qrRectangle& r = *packet.UpdateRegion;
    const Area region = intersection({r.X, r.Y, r.Width, r.Height}, picture.area());
    if (requests.size() < mostRequests)
        requests.push_back({region, packet.Incremental == eFLAG_TRUE});
}

void Replies::sendIcon(TimePoint now, const packetClientRequestAppIcon& packet) {
    if (icons == mostIcons) return;
    const bool isDrawn = packet.Width <= largestIcon && packet.Height <= largestIcon;
    const std::size_t pixels = isDrawn ? std::size_t{packet.Width} * packet.Height : 0;
    PacketBytes icon = bytesOf<packetServerAppIcon>([&](auto& answer) {
        setText(*answer.IdentifierURL, textOf(packet.IdentifierURL));
        answer.UniqueIconID = iconOf(textOf(packet.IdentifierURL));
        answer.IconCompression = eFRAMECOMPRESSION_Uncompressed;
        setRun(answer.DataLength, answer.pData, std::vector<UInt8>(pixels * iconPixel, 0x80));
    });
    const auto delay = icons++ == 0 ? firstIconDelay : std::chrono::milliseconds(0);
    agenda.add(now + delay, [this, icon = std::move(icon)] { pipe.say(icon); });
}

void Replies::sendStarted(const packetClientStartApp& packet) {
    for (const AppStartStatus status : {eAPPSTARTSTATUS_InProgress, eAPPSTARTSTATUS_Success}) {
        pipe.say(bytesOf<packetServerAppStarted>([&](auto& answer) {
            setText(*answer.IdentifierURL, textOf(packet.IdentifierURL));
            answer.Status = status;
        }));
    }
}

void Replies::step(TimePoint now) {
    if (!isDue() || now < notBefore) return;
    notBefore = now + frameInterval;
    const Request next = requests.front();
    requests.pop_front();
    sendUpdate(next);
}

TimePoint Replies::nextWake() const {
    return isDue() ? notBefore : TimePoint::max();
}

FrameCompression Replies::nextCompression() {
    std::vector<FrameCompression> candidates;
    const FrameCompression allowed = wanted == 0 ? supported : wanted & supported;
    for (const FrameCompression one :
         {eFRAMECOMPRESSION_Uncompressed, eFRAMECOMPRESSION_ZLIB, eFRAMECOMPRESSION_JPEG}) {
        if ((allowed & one) != 0) candidates.push_back(one);
    }
    return candidates.empty() ? eFRAMECOMPRESSION_Uncompressed
                              : candidates[updates % candidates.size()];
}

/// The whole region, or the block within it; at half the size with edges that are whole pixels.
std::deque<Area> Replies::areasOf(const Request& request, unsigned percent) {
    const Area region = intersection(request.region, picture.area());
    const int step = static_cast<int>(updates) * 40;
    const Area block{region.x + step % std::max(1, region.width),
                     region.y + step % std::max(1, region.height), blockSide, blockSide};
    const Area area = request.isIncremental ? intersection(block, region) : region;
    const std::uint32_t colour = 0xFF000000u | updates * 0x102030u;
    if (percent != 100) {
        const Area reduced =
            areaOf((area.x + 1) / 2, (area.y + 1) / 2, area.right() / 2, area.bottom() / 2);
        if (!reduced.empty()) fill(half, reduced, colour);
        return {reduced};
    }
    if (request.isIncremental) fill(picture, area, colour);
    return updates % 6 == 0 ? inThree(area) : std::deque<Area>{area};
}

void Replies::sendUpdate(const Request& request) {
    ++updates;
    std::deque<Area> areas = areasOf(request, updates % 7 == 0 ? 50 : 100);
    const bool isHalf = updates % 7 == 0 && !areas.front().empty();
    if (updates % 7 == 0 && !isHalf) areas = areasOf(request, 100);
    if (areas.front().empty()) areas = {{0, 0, 1, 1}};
    FrameStyle style{layout, nextCompression(), false, 100, largestPacket};
    if (isHalf) style.percent = 50;
    while (!areas.empty()) {
        PacketBytes update;
        if (!encoder.appendUpdate(style, isHalf ? half : picture, areas, update, view)) return;
        pipe.say(update);
    }
}

}  // namespace quarlo::phone
