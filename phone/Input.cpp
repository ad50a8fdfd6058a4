// Takes the head unit's touches and keys to the screen, and opens the apps that are asked for.
// Session thread.
#include "Session.h"

namespace quarlo::phone {
namespace {

class Input : public Feature {
  public:
    explicit Input(Session& owner) : session(owner) {
        session.on<packetTouchEvent>([this](const auto& packet) { onTouch(packet); });
        session.on<packetSoftkeyEvent>([this](const auto& packet) { onSoftkey(packet); });
        session.onWish(Wish::Open, [this](int app) { session.screen().open(app); });
    }

  private:
    void onTouch(const packetTouchEvent& packet) {
        if (!session.isRunning() || packet.TouchEvents->paTouches == nullptr) return;
        for (unsigned i = 0; i < packet.TouchEvents->Length; ++i) {
            const qrTouch* touch = packet.TouchEvents->paTouches[i];
            if (touch == nullptr) continue;
            if (touch->TouchType < eTOUCHTYPE_Down || touch->TouchType > eTOUCHTYPE_Cancelled)
                continue;
            session.screen().touch({touch->TouchType, static_cast<double>(touch->PositionX),
                                    static_cast<double>(touch->PositionY), touch->UniqueID});
        }
    }

    void onSoftkey(const packetSoftkeyEvent& packet) {
        if (!session.isRunning()) return;
        const bool isKnown = packet.Softkey >= eSOFTKEY_Home && packet.Softkey <= eSOFTKEY_Search;
        if (isKnown && packet.SoftkeyEvent == eSOFTKEYEVENTTYPE_Press) {
            session.screen().press(packet.Softkey);
        } else if (isKnown && packet.SoftkeyEvent == eSOFTKEYEVENTTYPE_Release) {
            session.screen().release(packet.Softkey);
        }
    }

    Session& session;
};

}  // namespace

std::unique_ptr<Feature> makeInput(Session& session) {
    return std::make_unique<Input>(session);
}

}  // namespace quarlo::phone
