// Frames, apps and what the driver does: icons one at a time, and advice. One thread.
#include <algorithm>

#include "Onlooker.h"
#include "Session.h"

namespace quarlo::phone {
namespace {

class AppOnlooker : public Onlooker {
  public:
    using Onlooker::Onlooker;

    void tell(const Told& told) override {
        if (const auto* icon = told.packet.as<packetServerAppIcon>()) {
            const auto found = awaited.find(textOf(icon->IdentifierURL));
            if (found != awaited.end()) awaited.erase(found);
        }
        if (const auto* list = told.packet.as<packetServerAppInfo>()) {
            for (UInt32 i = 0; i < list->Info->NumberOfApps; ++i)
                catalogue.insert(textOf(list->Info->paInfo[i]->IdentifierURL));
        }
    }

    void hear(const Decoded& packet) override {
        if (const auto* icon = packet.as<packetClientRequestAppIcon>()) {
            hearIcon(textOf(icon->IdentifierURL));
        } else if (const auto* start = packet.as<packetClientStartApp>()) {
            hearApp(textOf(start->IdentifierURL));
        } else if (const auto* touch = packet.as<packetTouchEvent>()) {
            hearTime(touch->Timestamp);
        } else if (const auto* data = packet.as<packetClientCustomData>()) {
            if (data->Event == eCUSTOMDATAEVENT_Key && data->Length != 0) hearKey(data->pData[0]);
        }
    }

  private:
    void hearIcon(const std::string& url) {
        constexpr std::size_t mostAwaited = 256;
        docket.judgeBy(Rule::IconSingle);
        docket.expect(awaited.empty(), Rule::IconSingle, "another icon is awaited");
        if (known.isRunning && awaited.size() < mostAwaited) awaited.insert(url);
        hearApp(url);
    }
    void hearApp(const std::string& url) {
        advise(catalogue.contains(url), "an app is asked for that is not in the catalogue");
    }
    void hearTime(UInt32 time) {
        // The clock wraps: what is less than half its range ahead is later.
        const bool goesOn = !hasTime || time - lastTime < 0x80000000u;
        advise(goesOn, "the time goes back from " + std::to_string(lastTime) + " to " +
                           std::to_string(time));
        lastTime = time;
        hasTime = true;
    }
    void hearKey(UInt8 code) {
        advise(known.keys.contains(code), "key " + std::to_string(code) + " was not announced");
    }
    void advise(bool isRight, const std::string& text) {
        docket.judgeBy(Rule::AdviceInput);
        docket.expect(isRight, Rule::AdviceInput, text);
    }

    std::multiset<std::string> awaited;
    std::set<std::string> catalogue;
    UInt32 lastTime = 0;
    bool hasTime = false;
};

class FrameOnlooker : public Onlooker {
  public:
    using Onlooker::Onlooker;

    void tell(const Told& told) override {
        // One without rectangles is an answer, too.
        if (told.packet.as<packetFramebufferUpdate>() != nullptr && waiting > 0) --waiting;
    }

    void hear(const Decoded& packet) override {
        if (const auto* state = packet.as<packetClientState>()) {
            if (state->DataType == eCLIENTDATATYPE_FrameRequestsSuspended)
                isSuspended = state->Value != 0;
        } else if (packet.as<packetPositionInformation>() != nullptr) {
            docket.expect(known.can(eCLIENTCAPABILITIES_PositionInformation), Rule::AdvicePosition,
                          "positions were not announced");
        } else if (const auto* request = packet.as<packetFramebufferUpdateRequest>()) {
            hearRequest(*request);
        }
    }

  private:
    void hearRequest(const packetFramebufferUpdateRequest& request) {
        const qrRectangle& r = *request.UpdateRegion;
        const bool isWhole = r.X == 0 && r.Y == 0 && r.Width == known.screen.width &&
                             r.Height == known.screen.height && request.Incremental == eFLAG_FALSE;
        docket.judgeBy(Rule::AdviceFrames);
        docket.expect(hasCome || isWhole || !known.isScreenUsable, Rule::AdviceFrames,
                      "the first request is not for the whole screen as it is");
        hasCome = true;
        if (!known.isRunning) return;
        ++waiting;
        docket.expect(waiting <= 2, Rule::AdviceFrames,
                      std::to_string(waiting) + " requests wait for an update");
        docket.expect(!isSuspended, Rule::AdviceFrames, "a request while frames are suspended");
    }

    bool hasCome = false;
    unsigned waiting = 0;
    bool isSuspended = false;
};

}  // namespace

std::unique_ptr<Onlooker> makeAppOnlooker(Docket& docket, const Known& known) {
    return std::make_unique<AppOnlooker>(docket, known);
}
std::unique_ptr<Onlooker> makeFrameOnlooker(Docket& docket, const Known& known) {
    return std::make_unique<FrameOnlooker>(docket, known);
}

}  // namespace quarlo::phone
