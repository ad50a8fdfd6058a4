// Values of the vehicle that were asked for, blocks of bytes that were parked, and voice sessions.
// One thread.
#include <algorithm>

#include "Judgement.h"
#include "Onlooker.h"
#include "common/Text.h"

namespace quarlo::phone {
namespace {

class VehicleOnlooker : public Onlooker {
  public:
    using Onlooker::Onlooker;

    void tell(const Told& told) override {
        if (const auto* wanted = told.packet.as<packetSetVehicleDataFilter>()) {
            filter = {wanted->pKeys, wanted->pKeys + wanted->Length};
            change();
        }
        if (const auto* unwanted = told.packet.as<packetBlacklistUrgentVehicleData>()) {
            blacklist.insert(unwanted->Key);
            change();
        }
    }

    void hear(const Decoded& packet) override {
        const auto* value = packet.as<packetVehicleData>();
        if (value == nullptr) return;
        const bool isAllowed =
            allowed.contains(value->Key) ||
            std::any_of(former.begin(), former.end(), [&](const Former& state) {
                return state.keys.contains(value->Key) && now() <= state.replaced + changeover;
            });
        docket.judgeBy(Rule::VehicleFilter);
        docket.expect(isAllowed, Rule::VehicleFilter,
                      "key " + std::to_string(value->Key) + " is not asked for" +
                          (blacklist.contains(value->Key) ? ", it is blacklisted" : ""));
    }

  private:
    struct Former {
        std::set<UInt32> keys;
        TimePoint replaced;
    };

    void change() {
        former.push_back({allowed, now()});
        allowed = filter;
        for (const UInt32 key : blacklist) allowed.erase(key);
    }

    std::set<UInt32> filter;
    std::set<UInt32> blacklist;
    std::set<UInt32> allowed;
    std::vector<Former> former;
};

class RawDataOnlooker : public Onlooker {
  public:
    using Onlooker::Onlooker;

    void tell(const Told& told) override {
        const auto* data = told.packet.as<packetServerCustomData>();
        if (data == nullptr || data->Event != eCUSTOMDATAEVENT_Raw) return;
        const auto identifier = static_cast<UInt16>(data->Type & 0x0FFF);
        const auto bytes = bytesOf(data->pData, data->Length);
        switch (data->Type & 0xF000) {
            case eSERVERCUSTOMDATARAWTYPE_StoreInstance:
                ofInstance[identifier] = bytes;
                break;
            case eSERVERCUSTOMDATARAWTYPE_StoreCore:
                ofCore[identifier] = bytes;
                break;
            case eSERVERCUSTOMDATARAWTYPE_GetInstance:
                get(identifier, ofInstance, bytes.empty());
                break;
            case eSERVERCUSTOMDATARAWTYPE_GetCore:
                get(identifier, ofCore, bytes.empty());
                break;
            default:
                refused.insert(identifier);
                break;
        }
    }

    void hear(const Decoded& packet) override {
        const auto* data = packet.as<packetClientCustomData>();
        if (data == nullptr || data->Event != eCUSTOMDATAEVENT_Raw) return;
        const std::string name = nameOf(data->Type);
        docket.expect(!refused.contains(data->Type), Rule::RawAnswer, name + " was to be refused");
        const auto found = std::find_if(awaited.begin(), awaited.end(), [&](const Get& one) {
            return one.identifier == data->Type;
        });
        if (found == awaited.end()) return;
        docket.judgeBy(Rule::RawAnswer);
        const std::string told = bytesOf(data->pData, data->Length);
        docket.expect(
            told == found->stored, Rule::RawAnswer,
            name + " is \"" + printable(told, 40) + "\", not \"" + printable(found->stored) + "\"");
        awaited.erase(found);
    }

    void pass() override {
        while (!awaited.empty() && now() > awaited.front().limit) {
            docket.findOverdue(awaited.front().limit, Rule::RawAnswer,
                               "no answer to the Get of " + nameOf(awaited.front().identifier));
            awaited.pop_front();
        }
    }

    void forget() override { awaited.clear(); }

  private:
    struct Get {
        UInt16 identifier;
        std::string stored;
        TimePoint limit;
    };
    using Store = std::map<UInt16, std::string>;

    static std::string bytesOf(const UInt8* data, std::size_t size) {
        return data == nullptr ? "" : std::string(reinterpret_cast<const char*>(data), size);
    }
    static std::string nameOf(unsigned identifier) { return format("block %03X", identifier); }

    void get(UInt16 identifier, const Store& store, bool isRight) {
        if (!isRight) {
            refused.insert(identifier);
            return;
        }
        const auto stored = store.find(identifier);
        awaited.push_back(
            {identifier, stored == store.end() ? "" : stored->second, now() + answerLimit});
    }

    Store ofInstance;
    Store ofCore;
    std::set<UInt16> refused;
    std::deque<Get> awaited;
};

class VoiceOnlooker : public Onlooker {
  public:
    using Onlooker::Onlooker;

    void tell(const Told& told) override {
        if (told.packet.as<packetServerVoiceSessionRequest>() != nullptr && known.hasVoice)
            limits.push_back(now() + answerLimit);
    }

    void hear(const Decoded& packet) override {
        if (!known.hasVoice) limits.clear();
        if (packet.as<packetClientVoiceSessionStatus>() == nullptr) return;
        for (; !limits.empty(); limits.pop_front()) docket.judgeBy(Rule::VoiceAnswer);
    }

    void pass() override {
        while (!limits.empty() && now() > limits.front()) {
            docket.findOverdue(limits.front(), Rule::VoiceAnswer,
                               "no answer to ServerVoiceSessionRequest");
            limits.pop_front();
        }
    }

    void forget() override { limits.clear(); }

  private:
    std::deque<TimePoint> limits;
};

}  // namespace

std::unique_ptr<Onlooker> makeVehicleOnlooker(Docket& docket, const Known& known) {
    return std::make_unique<VehicleOnlooker>(docket, known);
}
std::unique_ptr<Onlooker> makeRawDataOnlooker(Docket& docket, const Known& known) {
    return std::make_unique<RawDataOnlooker>(docket, known);
}
std::unique_ptr<Onlooker> makeVoiceOnlooker(Docket& docket, const Known& known) {
    return std::make_unique<VoiceOnlooker>(docket, known);
}

}  // namespace quarlo::phone
