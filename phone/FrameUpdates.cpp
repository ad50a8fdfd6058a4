// Answers the head unit's requests for its picture of the screen: keeps what it was sent, and sends
// what differs from that. Session thread.
#include <deque>
#include <filesystem>
#include <numeric>

#include "Changes.h"
#include "FrameEncoder.h"
#include "Session.h"
#include "common/PngWriter.h"

namespace quarlo::phone {
namespace {

constexpr std::size_t mostChangedAreas = 24;
constexpr std::uint32_t neverSent = 0;

FrameCompression firstOf(FrameCompression candidates) {
    for (const FrameCompression one :
         {eFRAMECOMPRESSION_ZLIB, eFRAMECOMPRESSION_JPEG, eFRAMECOMPRESSION_Uncompressed}) {
        if ((candidates & one) != 0) return one;
    }
    return eFRAMECOMPRESSION_Uncompressed;
}

/// A rectangle of the head unit's screen in the pixels of a screen drawn at a percentage of its
/// size.
Area reduced(const Area& area, unsigned percent) {
    const int p = static_cast<int>(percent);
    return areaOf(area.x * p / 100, area.y * p / 100, (area.right() * p + 99) / 100,
                  (area.bottom() * p + 99) / 100);
}

/// Grown so that its edges are whole pixels again when the head unit enlarges it.
Area aligned(const Area& area, unsigned percent, const Area& screen) {
    const int step = std::max(1, static_cast<int>(percent / std::gcd(percent, 100u)));
    const auto up = [step](int value) { return (value + step - 1) / step * step; };
    return intersection(
        areaOf(area.x / step * step, area.y / step * step, up(area.right()), up(area.bottom())),
        screen);
}

class FrameUpdates : public Feature {
  public:
    explicit FrameUpdates(Session& owner) : session(owner) {
        session.on<packetFramebufferUpdateRequest>(
            [this](const auto& packet) { onRequest(packet); });
        session.on<packetClientState>([this](const auto& packet) { onState(packet); });
        // Touches find the screen also when no picture of it was asked for yet.
        session.on<packetClientInitDone>([this](const auto&) {
            if (session.isRunning()) adopt();
        });
    }

    void tick(TimePoint now) override {
        if (!isDue() || now < notBefore) return;
        // Without a change the request stays open until there is one.
        notBefore = now + std::chrono::microseconds(1000000 / session.options().framesPerSecond);
        if (answer()) isPending = false;
    }

    TimePoint nextWake() const override { return isDue() ? notBefore : TimePoint::max(); }

  private:
    bool isDue() const { return isPending && !isSuspended && session.hasRoom(); }

    void onRequest(const packetFramebufferUpdateRequest& packet) {
        if (!session.isRunning() || !session.arriveAt(Stage::Frames)) return;
        const qrRectangle& r = *packet.UpdateRegion;
        const Area region{r.X, r.Y, r.Width, r.Height};
        if (region.empty()) return;
        const bool isFull = packet.Incremental != eFLAG_TRUE;
        wanted = isPending ? bounds(wanted, region) : region;
        wantsAll = isPending ? wantsAll || isFull : isFull;
        isPending = true;
    }

    void onState(const packetClientState& packet) {
        if (packet.DataType == eCLIENTDATATYPE_FrameRequestsSuspended)
            isSuspended = packet.Value != 0;
    }

    Moment nextMoment() {
        const Options& options = session.options();
        if (!options.clockMilliseconds) return presentMoment();
        const std::uint64_t elapsed = framesDrawn++ * 1000 / options.framesPerSecond;
        return {(*options.clockMilliseconds + elapsed) % 86400000};
    }

    /// Follows what the head unit declared since the last update.
    void adopt() {
        const HeadUnit& unit = session.headUnit();
        const Area declared{0, 0, unit.width, unit.height};
        if (declared != size) {
            size = declared;
            session.screen().resize({unit.width, unit.height},
                                    static_cast<int>(session.options().renderPercent));
            const Picture& drawn = session.screen().picture();
            view = Picture(drawn.width, drawn.height, 0xFF000000);
            sent = Picture(drawn.width, drawn.height, neverSent);
        }
        if (unit.layout != layout) {
            layout = unit.layout;
            std::fill(sent.pixels.begin(), sent.pixels.end(), neverSent);
        }
    }

    FrameStyle style() const {
        const Options& options = session.options();
        const HeadUnit& unit = session.headUnit();
        const bool isFree = options.compression == eFRAMECOMPRESSION_None;
        const bool isAsked = unit.wanted != eFRAMECOMPRESSION_None;
        const FrameCompression chosen =
            !isFree ? options.compression : firstOf(isAsked ? unit.wanted : unit.supported);
        const bool mayFallBack = isFree && !isAsked;
        return {layout, chosen, mayFallBack, static_cast<std::uint8_t>(options.renderPercent),
                unit.largestPacket};
    }

    std::deque<Area> areasToSend() const {
        const unsigned percent = session.options().renderPercent;
        const Area screen = shown.area();
        const Area region = aligned(reduced(intersection(wanted, size), percent), percent, screen);
        if (region.empty()) return {};
        if (wantsAll) return {region};
        std::deque<Area> areas;
        for (const Area& area : changedAreas(sent, shown, region, mostChangedAreas))
            areas.push_back(aligned(area, percent, screen));
        return areas;
    }

    /// Draws the next frame and sends what is due of it; false if there is nothing to send.
    bool answer() {
        adopt();
        quantise(session.screen().draw(nextMoment()), layout.format, shown);
        std::deque<Area> areas = areasToSend();
        if (areas.empty()) return false;
        for (const Area& area : areas) {
            for (int y = area.y; y < area.bottom(); ++y)
                std::copy_n(shown.row(y) + area.x, area.width, sent.row(y) + area.x);
        }
        while (!areas.empty() && sendUpdate(areas)) {
        }
        return true;
    }

    bool sendUpdate(std::deque<Area>& areas) {
        const bool isSent = session.sendDirect([&](std::vector<std::uint8_t>& out) {
            return encoder.appendUpdate(style(), shown, areas, out, view);
        });
        if (!isSent) {
            session.endAfterSending("a frame could not be encoded");
            return false;
        }
        ++updates;
        // Complete before the first byte leaves: who has received the update finds the picture.
        dump();
        const bool wasLast = session.options().dropAfterFrames == updates;
        if (wasLast) session.endAfterSending("dropping the connection after these frames as told");
        return !wasLast;
    }

    void dump() const {
        std::string directory = session.options().dumpDirectory;
        if (directory.empty()) return;
        // Head units that are connected at one time have a directory each.
        if (session.number() > 1) directory += "/" + std::to_string(session.number());
        std::error_code failure;
        std::filesystem::create_directories(directory, failure);
        const std::string problem = writePng(view, directory + "/" + pictureName("phone", updates));
        if (!problem.empty()) session.note("cannot write " + problem);
    }

    Session& session;
    FrameEncoder encoder;
    PixelLayout layout;
    Area size;      ///< the head unit's screen, in its pixels
    Picture shown;  ///< the screen as drawn, in the colours of the pixel format
    Picture sent;   ///< what was last sent of each pixel, `neverSent` where nothing was
    Picture view;   ///< what the head unit sees
    Area wanted;
    bool wantsAll = false;
    bool isPending = false;
    bool isSuspended = false;
    TimePoint notBefore{};
    std::uint64_t framesDrawn = 0;
    unsigned updates = 0;
};

}  // namespace

std::unique_ptr<Feature> makeFrameUpdates(Session& session) {
    return std::make_unique<FrameUpdates>(session);
}

}  // namespace quarlo::phone
