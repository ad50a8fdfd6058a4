// The order of the handshake, what has to come with it, and silence after a refusal. One thread.
#include <string>

#include "Judgement.h"
#include "Onlooker.h"
#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo::phone {
namespace {

class HandshakeOnlooker : public Onlooker {
  public:
    using Onlooker::Onlooker;

    void hear(const Decoded& packet) override {
        if (hasRefused) docket.find(Rule::RefusalHandshake, nameOf(packet) + " after the refusal");
        checkOrder(packet);
        came.insert(packet.type());
        const auto* data = packet.as<packetClientCustomData>();
        if (data == nullptr || !owesVersion || data->Event != eCUSTOMDATAEVENT_String) return;
        constexpr std::size_t textHead = 3;
        if (data->Type != eCLIENTCUSTOMDATASTRINGTYPE_IVIFirmwareVersionF ||
            data->Length <= textHead)
            return;
        docket.judgeBy(Rule::HandshakeAnnounce);
        owesVersion = false;
    }

    void tell(const Told& told) override {
        const Decoded& packet = told.packet;
        if (isEnded()) return;  // what the phone says of the handshake later is to be ignored
        if (const auto* protocol = packet.as<packetServerProtocolAcknowledge>())
            return answer(protocol->IsAcknowledged, packet);
        if (const auto* init = packet.as<packetServerInitAcknowledge>())
            return answer(init->IsAcknowledged, packet);
        if (const auto* done = packet.as<packetServerInitDone>()) {
            answer(done->Successful, packet);
            if (done->Successful == eFLAG_TRUE) begin();
        }
        if (packet.as<packetServerInit>() != nullptr) said.insert(packet.type());
    }

    void pass() override {
        if (!owesVersion || now() <= versionLimit) return;
        owesVersion = false;
        docket.findOverdue(versionLimit, Rule::HandshakeAnnounce, "the version has not come");
    }

    void forget() override { owesVersion = false; }

  private:
    bool isEnded() const { return hasRefused || said.contains(eEVENTTYPE_ServerInitDone); }

    void answer(Flag positive, const Decoded& packet) {
        said.insert(packet.type());
        if (positive == eFLAG_TRUE) return;
        hasRefused = true;
        docket.judgeBy(Rule::RefusalHandshake);
    }

    void begin() {
        owesVersion = true;
        versionLimit = now() + answerLimit;
        docket.judgeBy(Rule::HandshakeVoice);
        docket.expect(came.contains(eEVENTTYPE_ClientVoiceSupportInfo), Rule::HandshakeVoice,
                      "no ClientVoiceSupportInfo has come");
    }

    void breach(const std::string& text) { docket.find(Rule::HandshakeOrder, text); }

    void checkOrder(const Decoded& packet) {
        docket.judgeBy(Rule::HandshakeOrder);
        const std::string name = nameOf(packet);
        if (came.empty() && packet.type() != eEVENTTYPE_ClientProtocolVersion)
            return breach(name + " comes first");
        const auto [belongs, needs] = placeOf(packet.type());
        if (isEnded()) return checkRun(packet, name);
        if (!belongs) return breach(name + " before the end of the handshake");
        if (came.contains(packet.type())) return breach(name + " comes again");
        if (needs != 0 && !said.contains(needs))
            return breach(name + " before " +
                          _quarlo_getEventTypeName(static_cast<EventType>(needs)));
        if (packet.type() == eEVENTTYPE_ClientVoiceSupportInfo &&
            came.contains(eEVENTTYPE_ClientSettings))
            breach(name + " behind ClientSettings");
        if (const auto* done = packet.as<packetClientInitDone>())
            docket.expect(done->Successful == eFLAG_TRUE, Rule::HandshakeOrder,
                          "Successful is " + std::to_string(done->Successful));
    }

    void checkRun(const Decoded& packet, const std::string& name) {
        const UInt8 type = packet.type();
        if (type == eEVENTTYPE_ClientProtocolVersion || type == eEVENTTYPE_ClientInit ||
            type == eEVENTTYPE_ClientInitDone)
            breach(name + " after the handshake");
    }

    /// Whether a packet belongs to the handshake, and what the phone has to have said before.
    static std::pair<bool, UInt8> placeOf(UInt8 type) {
        switch (type) {
            case eEVENTTYPE_ClientProtocolVersion:
                return {true, UInt8{0}};
            case eEVENTTYPE_ClientInit:
                return {true, UInt8{eEVENTTYPE_ServerProtocolAcknowledge}};
            case eEVENTTYPE_ClientVoiceSupportInfo:
            case eEVENTTYPE_ClientSettings:
                return {true, UInt8{eEVENTTYPE_ServerInitAcknowledge}};
            case eEVENTTYPE_ClientInitDone:
                return {true, UInt8{eEVENTTYPE_ServerInit}};
            default:
                return {false, UInt8{0}};
        }
    }

    std::set<UInt8> came;
    std::set<UInt8> said;
    bool hasRefused = false;
    bool owesVersion = false;
    TimePoint versionLimit{};
};

}  // namespace

std::unique_ptr<Onlooker> makeHandshakeOnlooker(Docket& docket, const Known& known) {
    return std::make_unique<HandshakeOnlooker>(docket, known);
}

}  // namespace quarlo::phone
