// Takes the head unit's changes of pixel format, frame size and compression, and acknowledges them;
// the frame updates follow what the session then holds. Session thread.
#include "Compression.h"
#include "Session.h"

namespace quarlo::phone {
namespace {

class FrameSettings : public Feature {
  public:
    explicit FrameSettings(Session& owner) : session(owner) {
        session.on<packetSetPixelFormat>([this](const auto& packet) { onPixelFormat(packet); });
        session.on<packetSetFrameSize>([this](const auto& packet) { onFrameSize(packet); });
        session.on<packetOverrideCompression>(
            [this](const auto& packet) { onCompression(packet); });
    }

  private:
    template <class Answer>
    void acknowledge(bool accepted) {
        session.send<Answer>(
            [&](Answer& answer) { answer.IsAcknowledged = accepted ? eFLAG_TRUE : eFLAG_FALSE; });
    }

    void onPixelFormat(const packetSetPixelFormat& packet) {
        if (!session.isRunning()) return;
        const auto layout = pixelLayoutOf(packet.Format, packet.Endianess, packet.BytesPerPixel);
        const bool accepted = layout.has_value() && !session.refuses(Refusal::PixelFormat);
        if (accepted) session.headUnit().layout = *layout;
        acknowledge<packetPixelFormatAcknowledge>(accepted);
    }

    void onFrameSize(const packetSetFrameSize& packet) {
        if (!session.isRunning()) return;
        const bool accepted = isDrawable(packet.ScreenWidth, packet.ScreenHeight) &&
                              !session.refuses(Refusal::FrameSize);
        if (accepted) {
            session.headUnit().width = packet.ScreenWidth;
            session.headUnit().height = packet.ScreenHeight;
        }
        acknowledge<packetFrameSizeAcknowledge>(accepted);
    }

    void onCompression(const packetOverrideCompression& packet) {
        if (!session.isRunning()) return;
        const bool accepted = canObey(packet.Compression) && !session.refuses(Refusal::Compression);
        if (accepted) session.headUnit().wanted = packet.Compression;
        acknowledge<packetOverrideCompressionAcknowledge>(accepted);
    }

    /// Any of the flags may be used, so one that is possible is enough; none leaves the choice to
    /// us.
    bool canObey(FrameCompression wanted) {
        const FrameCompression forced = session.options().compression;
        if ((wanted & ~eFRAMECOMPRESSION_All) != 0) return false;
        if (wanted == eFRAMECOMPRESSION_None || forced == eFRAMECOMPRESSION_None) return true;
        return (wanted & forced) != 0;
    }

    Session& session;
};

}  // namespace

std::unique_ptr<Feature> makeFrameSettings(Session& session) {
    return std::make_unique<FrameSettings>(session);
}

}  // namespace quarlo::phone
