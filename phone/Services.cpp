// Asks the head unit to dial, to guide and to listen, shows what it answers, and reports what
// becomes of the phone's own screen. Session thread.
#include "QUARLO.Connector.IVI-API_C.h"
#include "ServiceData.h"
#include "Session.h"

namespace quarlo::phone {
namespace {

/// Millionths of a degree as the wire's decimal.
void setDegrees(qrDecimal*& decimal, int millionths) {
    decimal = wire::Heap::make<qrDecimal>();
    if (decimal != nullptr) *decimal = {millionths, -6};
}

void setAddress(qrPlacemark& mark, const Place& place) {
    wire::Populate populate;
    if (!wire::Layout<qrPlacemark>::each(mark, populate)) return;
    setText(*mark.Country, place.country);
    setText(*mark.Region, "");
    setText(*mark.ZipCode, place.zip);
    setText(*mark.City, place.city);
    setText(*mark.Streetname, place.street);
    setText(*mark.CrossStreetname, "");
    setText(*mark.Housenumber, place.number);
}

class Services : public Feature {
  public:
    explicit Services(Session& owner) : session(owner) {
        session.onWish(Wish::Dial, [this](int which) { dial(which); });
        session.onWish(Wish::HangUp, [this](int) { report(eSERVERDATATYPE_PhoneCall, 0); });
        session.onWish(Wish::Navigate, [this](int which) { navigate(which); });
        session.onWish(Wish::Voice, [this](int which) { speak(which); });
        session.on<packetPhoneCallStatusResponse>([this](const auto& p) { onCall(p); });
        session.on<packetClientVoiceSessionStatus>([this](const auto& p) {
            say("voice", std::string(_quarlo_getVoiceSessionStatusName(p.Value)) + " · " +
                             _quarlo_getVoiceSessionStatusConstraintName(p.Constraint));
        });
        session.on<packetClientVoiceSupportInfo>([this](const auto& p) {
            say("voice", std::string(_quarlo_getVoiceSupportName(p.Value)) + " · " +
                             _quarlo_getVoiceSupportConstraintName(p.Constraint));
        });
    }

    void begin(TimePoint) override {
        front = session.screen().front();
        report(eSERVERDATATYPE_PTTAvailable, eFLAG_TRUE);
        reportLauncher();
    }

    void tick(TimePoint) override {
        if (front != session.screen().front()) {
            front = session.screen().front();
            report(eSERVERDATATYPE_Transition, eFLAG_TRUE);
            reportLauncher();
            report(eSERVERDATATYPE_Transition, eFLAG_FALSE);
        }
        if (isInactive == session.screen().isBlocked()) return;
        isInactive = !isInactive;
        report(eSERVERDATATYPE_Inactive, isInactive ? eFLAG_TRUE : eFLAG_FALSE);
    }

  private:
    void say(const char* app, const std::string& text) { session.phone().status[app] = text; }

    void report(ServerDataType type, UInt8 value) {
        session.send<packetServerState>([&](auto& state) {
            state.DataType = type;
            state.Value = value;
        });
    }
    void reportLauncher() {
        report(eSERVERDATATYPE_LauncherAppState,
               front < 0 ? eLAUNCHERSTATE_VisibleFirst : eLAUNCHERSTATE_NotVisible);
    }

    void dial(int which) {
        const Contact& contact = contacts.at(static_cast<std::size_t>(which));
        session.send<packetInitiatePhoneCall>([&](auto& call) {
            setText(*call.DisplayName, contact.name);
            setText(*call.Number, contact.number);
        });
        say("phone", std::string("Dialling ") + contact.name);
    }

    void onCall(const packetPhoneCallStatusResponse& packet) {
        say("phone", std::string("Call: ") + _quarlo_getPhoneCallStatusName(packet.Status));
        if (packet.Status == ePHONECALLSTATUS_Active) report(eSERVERDATATYPE_PhoneCall, 1);
        if (packet.Status == ePHONECALLSTATUS_Ended || packet.Status == ePHONECALLSTATUS_Rejected)
            report(eSERVERDATATYPE_PhoneCall, 0);
    }

    void navigate(int which) {
        const Place& place = places.at(static_cast<std::size_t>(which));
        const bool hasPosition = place.latitude != 0;
        const bool hasAddress = *place.city != '\0';
        session.send<packetNavigateTo>([&](auto& goal) {
            setText(*goal.DisplayName, place.name);
            setDegrees(goal.Position->Latitude, place.latitude);
            setDegrees(goal.Position->Longitude, place.longitude);
            setAddress(*goal.Placemark, place);
            goal.Type = !hasAddress    ? eNAVIGATETOTYPE_PositionOnly
                        : !hasPosition ? eNAVIGATETOTYPE_PlacemarkOnly
                                       : eNAVIGATETOTYPE_Both;
        });
        say("places", std::string("Guide me to ") + place.name);
    }

    void speak(int which) {
        const auto request = static_cast<VoiceRequest>(which);
        session.send<packetServerVoiceSessionRequest>([&](auto& ask) { ask.Type = request; });
        say("voice", std::string("Asked: ") + _quarlo_getVoiceRequestName(request));
    }

    Session& session;
    int front = -1;
    bool isInactive = false;
};

}  // namespace

std::unique_ptr<Feature> makeServices(Session& session) {
    return std::make_unique<Services>(session);
}

}  // namespace quarlo::phone
