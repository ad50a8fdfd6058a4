// The channels of custom data and what each takes stand in a table. Session thread.
#include "CustomDataRules.h"

#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo::phone {
namespace {

using Bytes = std::span<const std::uint8_t>;

/// What a channel of custom data takes.
struct Channel {
    bool (*isType)(unsigned type);
    bool (*isContent)(Bytes content);
};
constexpr std::size_t textHead = 3;  // encoding and length
constexpr std::size_t canHead = 5;   // identifier and length
constexpr std::size_t mostCanData = 8;
constexpr Channel channels[] = {
    {[](unsigned type) { return isWithin(type, 1, 8) || type == 0xFFFE; },
     [](Bytes content) {
         return content.size() >= textHead &&
                content.size() - textHead == wire::load<UInt16>(&content[1]);
     }},
    {[](unsigned type) {
         return isOneOf(type, {0xFF00, 0xFE00, 0xFF01});
     },
     [](Bytes content) {
         return isOneOf(content.size(), {1, 2, 4, 8});
     }},
    {[](unsigned type) { return type <= 0x0FFF; }, [](Bytes) { return true; }},
    {[](unsigned type) {
         return isOneOf(type, {1, 0xFF01});
     },
     [](Bytes content) {
         return content.size() >= canHead && content[canHead - 1] <= mostCanData &&
                content.size() - canHead == content[canHead - 1];
     }},
    {[](unsigned type) { return isWithin(type, 1, 6); },
     [](Bytes content) { return content.size() == 5 && isKey(content[0]); }},
};

}  // namespace

bool isKey(unsigned code) {
    return isWithin(code, eCLIENTCUSTOMDATAKEYCODE_PushToTalk, eCLIENTCUSTOMDATAKEYCODE_Back) ||
           isOneOf(code,
                   {eCLIENTCUSTOMDATAKEYCODE_KnobTickCW, eCLIENTCUSTOMDATAKEYCODE_KnobTickCCW}) ||
           isWithin(code, eCLIENTCUSTOMDATAKEYCODE_DPadUp, eCLIENTCUSTOMDATAKEYCODE_DPadRight);
}

void checkEncoding(Judgement& judgement, unsigned encoding, Bytes text) {
    judgement.judgeBy(Rule::WireStrings);
    judgement.expect(isWithin(encoding, eSTRINGENCODING_UTF8, eSTRINGENCODING_ASCII_LATIN1),
                     Rule::WireStrings, "a string has encoding " + number(encoding));
    judgement.expect(text.empty() || text.back() != 0, Rule::WireStrings,
                     "a string ends in a zero byte");
}

void checkCustomData(Judgement& judgement, const packetClientCustomData& packet) {
    constexpr Rule rule = Rule::CustomContents;
    const Bytes content(packet.pData, packet.Length);
    if (!isWithin(packet.Event, 1, std::size(channels)))
        return judgement.find(rule, "Event is " + number(packet.Event));
    const Channel& channel = channels[packet.Event - 1];
    const std::string name = _quarlo_getCustomDataEventName(packet.Event);
    judgement.expect(channel.isType(packet.Type), rule,
                     name + " has no type " + number(packet.Type));
    const bool fits = channel.isContent(content);
    judgement.expect(fits, rule,
                     name + " of " + number(content.size()) + " bytes does not fit its contents");
    if (packet.Event == eCUSTOMDATAEVENT_String && fits)
        checkEncoding(judgement, content[0], content.subspan(textHead));
}

}  // namespace quarlo::phone
