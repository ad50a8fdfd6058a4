// Tells the head unit which apps there are, draws their icons for it and opens the app that it
// starts. Session thread.
#include <cstring>
#include <deque>
#include <numeric>

#include "Apps.h"
#include "Compression.h"
#include "Session.h"

namespace quarlo::phone {
namespace {

constexpr int largestIcon = 512;
constexpr std::size_t mostRequests = 8;
const std::string urlPrefix = "quarlo://app/";

void describe(qrAppInformation& info, const AppEntry& entry, UInt32 iconId) {
    setText(*info.IdentifierURL, urlPrefix + entry.id);
    setText(*info.Name, entry.english);
    setText(*info.Manufacturer, "quarlo");
    setText(*info.Description, std::string(entry.english) + " of the simulated phone");
    info.UniqueIconID = iconId;
    info.InstStatus = eAPPINSTALLATIONSTATUS_Executable;
    info.IsAbleToLaunchApps = eFLAG_FALSE;
    std::memcpy(info.arrLanguage, "eng", 3);
    info.Categories->pCategories = wire::Heap::make<UInt32>();
    if (info.Categories->pCategories == nullptr) return;
    info.Categories->NumberOfCategories = 1;
    info.Categories->pCategories[0] = entry.isForDriving ? 1 : 2;
}

class Catalogue : public Feature {
  public:
    explicit Catalogue(Session& owner) : session(owner) {
        session.addCapability(eSERVERCAPABILITIES_EnableAppStart);
        session.on<packetClientRequestAppIcon>([this](const auto& p) { onIconRequest(p); });
        session.on<packetClientStartApp>([this](const auto& p) { onStart(p); });
    }

    void begin(TimePoint) override { tellApps(); }

    void tick(TimePoint) override {
        if (told != toldApps()) tellApps();
        for (; !requests.empty() && session.hasRoom(); requests.pop_front())
            serve(requests.front());
    }
    TimePoint nextWake() const override {
        return requests.empty() || !session.hasRoom() ? TimePoint::max() : TimePoint::min();
    }

  private:
    std::vector<int> toldApps() const {
        if (session.options().toldApps) return *session.options().toldApps;
        std::vector<int> all(appCount);
        std::iota(all.begin(), all.end(), 0);
        return all;
    }

    void tellApps() {
        told = toldApps();
        session.send<packetServerAppInfo>([this](auto& packet) {
            qrAppInformationList& list = *packet.Info;
            list.paInfo = wire::Heap::make<qrAppInformation*>(told.size());
            if (list.paInfo == nullptr) return;
            for (const int app : told) {
                auto* info = wire::Heap::make<qrAppInformation>();
                list.paInfo[list.NumberOfApps++] = info;
                wire::Populate populate;
                if (info != nullptr && wire::Layout<qrAppInformation>::each(*info, populate))
                    describe(*info, apps[static_cast<std::size_t>(app)],
                             static_cast<UInt32>(app + 1));
            }
        });
    }

    static int appOf(const qrString* url) {
        const std::string text = textOf(url);
        if (text.compare(0, urlPrefix.size(), urlPrefix) != 0) return -1;
        return findApp(text.substr(urlPrefix.size()));
    }

    void onStart(const packetClientStartApp& packet) {
        if (!session.isRunning()) return;
        const int app = appOf(packet.IdentifierURL);
        if (app >= 0) session.screen().open(app);
        const AppStartStatus status = app < 0                        ? eAPPSTARTSTATUS_NotInstalled
                                      : session.screen().isBlocked() ? eAPPSTARTSTATUS_NotAllowed
                                                                     : eAPPSTARTSTATUS_Success;
        session.send<packetServerAppStarted>([&](auto& answer) {
            setText(*answer.IdentifierURL, textOf(packet.IdentifierURL));
            answer.Status = status;
        });
    }

    struct IconRequest {
        std::string url;
        int app;
        int width;
        int height;
        qrFrameProperties wanted;
    };

    void onIconRequest(const packetClientRequestAppIcon& packet) {
        if (!session.isRunning()) return;
        if (requests.size() >= mostRequests) return session.note("too many icons asked for");
        requests.push_back({textOf(packet.IdentifierURL), appOf(packet.IdentifierURL), packet.Width,
                            packet.Height, *packet.IconProperties});
    }

    /// Always answers: until then the head unit asks for no other icon.
    void serve(const IconRequest& request) {
        const qrFrameProperties& wanted = request.wanted;
        const auto layout = pixelLayoutOf(wanted.Format, wanted.Endianess, wanted.BytesPerPixel);
        const bool isDrawn = request.app >= 0 && layout && request.width > 0 &&
                             request.height > 0 && request.width <= largestIcon &&
                             request.height <= largestIcon;
        if (!isDrawn) session.note("an icon was asked for that cannot be drawn");
        std::vector<std::uint8_t> bytes;
        if (isDrawn) bytes = drawn(request.app, request.width, request.height, *layout);
        const FrameCompression compression = compress(wanted.Compression, bytes);
        answer(request.url, static_cast<UInt32>(request.app + 1), compression, bytes);
    }

    std::vector<std::uint8_t> drawn(int app, int width, int height,
                                    const PixelLayout& layout) const {
        Picture picture(width, height, 0xFF000000);
        {
            Canvas canvas(picture);
            drawInto(canvas, app, width, height);
        }
        std::vector<std::uint8_t> bytes(picture.pixels.size() * layout.bytesPerPixel());
        packPixels(picture, picture.area(), layout, bytes.data());
        return bytes;
    }

    void drawInto(Canvas& canvas, int app, int width, int height) const {
        const double side = std::min(width, height);
        const Box box{(width - side) / 2, (height - side) / 2, side, side};
        const std::shared_ptr<const Icons> given = session.options().icons;
        const auto found = given ? given->find(app) : Icons::const_iterator{};
        if (!given || found == given->end()) {
            return drawIcon(canvas, box, apps[static_cast<std::size_t>(app)]);
        }
        Picture own = found->second;
        canvas.photo(box, 0, own);
    }

    /// A head unit that leaves the choice gets the smallest that it understands.
    FrameCompression compress(FrameCompression wanted, std::vector<std::uint8_t>& bytes) {
        const bool isChosen = wanted == eFRAMECOMPRESSION_None;
        const FrameCompression allowed = isChosen ? session.headUnit().supported : wanted;
        if ((allowed & eFRAMECOMPRESSION_ZLIB) == 0) return eFRAMECOMPRESSION_Uncompressed;
        std::vector<std::uint8_t> packed;
        if (bytes.empty() || !codec.append(bytes, packed)) return eFRAMECOMPRESSION_Uncompressed;
        bytes.swap(packed);
        return eFRAMECOMPRESSION_ZLIB;
    }

    void answer(const std::string& url, UInt32 id, FrameCompression compression,
                const std::vector<std::uint8_t>& bytes) {
        const bool fits = bytes.size() + url.size() + 64 <= session.headUnit().largestPacket;
        session.send<packetServerAppIcon>([&](auto& icon) {
            setText(*icon.IdentifierURL, url);
            icon.UniqueIconID = id;
            icon.IconCompression = compression;
            if (bytes.empty() || !fits) return;
            icon.pData = wire::Heap::make<UInt8>(bytes.size());
            if (icon.pData == nullptr) return;
            std::memcpy(icon.pData, bytes.data(), bytes.size());
            icon.DataLength = static_cast<UInt32>(bytes.size());
        });
    }

    Session& session;
    ZlibCodec codec;
    std::vector<int> told;
    std::deque<IconRequest> requests;  ///< wait until what is queued has left
};

}  // namespace

std::unique_ptr<Feature> makeCatalogue(Session& session) {
    return std::make_unique<Catalogue>(session);
}

}  // namespace quarlo::phone
