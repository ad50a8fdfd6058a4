// Rules for every packet stand in judge(), those for the fields of one packet in an overload of
// check().
#include "Judgement.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "CustomDataRules.h"
#include "QUARLO.Connector.IVI-API_C.h"
#include "RecordsOnly.h"
#include "common/PixelLayout.h"
#include "common/Text.h"

namespace quarlo::phone {
namespace {

using wire::Scalar;
using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t mostFingers = 64;
constexpr std::size_t longestSentence = 80;

void checkValue(Judgement& judgement, Rule rule, const char* name, std::uint64_t value,
                std::uint64_t least, std::uint64_t most) {
    judgement.expect(isWithin(value, least, most), rule,
                     std::string(name) + " is " + number(value) + ", not " + number(least) +
                         " to " + number(most));
}

void checkCompressions(Judgement& judgement, Rule rule, const char* name, FrameCompression value) {
    judgement.expect((value & ~eFRAMECOMPRESSION_All) == 0, rule,
                     std::string(name) + " has unknown bits, " + number(value));
}

/// Judges every string of a packet, wherever it stands.
struct Strings : RecordsOnly {
    explicit Strings(Judgement& owner) : judgement(owner) {}
    using RecordsOnly::operator();

    Judgement& judgement;

    bool operator()(qrString* const& text) {
        checkEncoding(judgement, text->Encoding, {text->pContent, text->Length});
        return true;
    }
    template <class R>
    bool operator()(R* const& member) {
        return wire::Layout<R>::each(*member, *this);
    }
    template <Scalar C, class R>
    bool operator()(const C& count, R** const& list) {
        for (std::uint64_t i = 0; i < count; ++i) wire::Layout<R>::each(*list[i], *this);
        return true;
    }
};

template <class P>
void check(Judgement&, const P&) {}

void check(Judgement& judgement, const packetClientProtocolVersion& packet) {
    const qrVersion& v = *packet.Version;
    judgement.judgeBy(Rule::HandshakeVersion);
    judgement.expect(
        v.Major == 1 && v.Minor == 2 && v.Build == 0, Rule::HandshakeVersion,
        "the version is " + number(v.Major) + "." + number(v.Minor) + "." + number(v.Build));
}

void checkSize(Judgement& judgement, Rule rule, const char* what, int width, int height) {
    judgement.expect(width != 0 && height != 0, rule,
                     std::string(what) + std::to_string(width) + "x" + std::to_string(height));
}

void checkPixels(Judgement& judgement, Rule rule, int format, int order, unsigned bytesPerPixel) {
    const auto layout =
        pixelLayoutOf(static_cast<PixelFormat>(format), static_cast<PixelEndianess>(order),
                      static_cast<UInt8>(bytesPerPixel));
    judgement.expect(layout.has_value(), rule,
                     "no pixels have format " + std::to_string(format) + ", byte order " +
                         std::to_string(order) + " and " + number(bytesPerPixel) + " bytes");
}

void check(Judgement& judgement, const packetClientInit& packet) {
    const qrFrameProperties& frame = *packet.FrameProperties;
    judgement.judgeBy(Rule::HandshakeScreen);
    checkSize(judgement, Rule::HandshakeScreen, "the screen is ", packet.ScreenWidth,
              packet.ScreenHeight);
    checkPixels(judgement, Rule::HandshakeScreen, frame.Format, frame.Endianess,
                frame.BytesPerPixel);
    constexpr Rule offers = Rule::HandshakeOffers;
    judgement.judgeBy(offers);
    checkCompressions(judgement, offers, "SupportedCompressions", packet.SupportedCompressions);
    judgement.expect((packet.SupportedCompressions & eFRAMECOMPRESSION_Uncompressed) != 0, offers,
                     "SupportedCompressions is without Uncompressed");
    checkCompressions(judgement, offers, "Compression", frame.Compression);
    constexpr UInt32 needed = eCLIENTCAPABILITIES_ScreenCopy | eCLIENTCAPABILITIES_PacketExtensions;
    judgement.expect((packet.Capabilities & needed) == needed, offers,
                     "Capabilities are without ScreenCopy or PacketExtensions");
    judgement.expect((packet.Capabilities & ~eCLIENTCAPABILITIES_All) == 0, offers,
                     "Capabilities have unknown bits, " + number(packet.Capabilities));
    const qrNonTouchConfiguration& keys = *packet.NonTouchConfig;
    for (unsigned i = 0; i < keys.NumberOfKeysSupported; ++i) {
        const unsigned key = keys.pSupportedKeyCodes[i];
        judgement.expect(isKey(key), offers, "there is no key " + number(key));
    }
}

void check(Judgement& judgement, const packetClientVoiceSupportInfo& packet) {
    judgement.judgeBy(Rule::HandshakeVoice);
    checkValue(judgement, Rule::HandshakeVoice, "Value", packet.Value, 0, 4);
    checkValue(judgement, Rule::HandshakeVoice, "Constraint", packet.Constraint, 0, 1);
}

void check(Judgement& judgement, const packetClientSettings& packet) {
    const auto isLetter = [](UInt8 byte) { return isWithin(byte | 32u, 'a', 'z'); };
    const auto& bytes = packet.arrLanguage;
    judgement.judgeBy(Rule::HandshakeLanguage);
    judgement.expect(std::all_of(std::begin(bytes), std::end(bytes), isLetter),
                     Rule::HandshakeLanguage,
                     "the bytes of the language are " + number(bytes[0]) + ", " + number(bytes[1]) +
                         ", " + number(bytes[2]));
}

void check(Judgement& judgement, const packetFramebufferUpdateRequest& packet) {
    const auto& screens = judgement.surroundings->screens;
    if (screens.empty()) return;
    constexpr Rule rule = Rule::FrameRequest;
    judgement.judgeBy(rule);
    checkValue(judgement, rule, "Incremental", packet.Incremental, 0, 1);
    const qrRectangle& region = *packet.UpdateRegion;
    const std::string text = "region " + number(region.Width) + "x" + number(region.Height) +
                             " at " + number(region.X) + "," + number(region.Y);
    if (region.Width == 0 || region.Height == 0) return judgement.find(rule, text + " is empty");
    const bool fits = std::any_of(screens.begin(), screens.end(), [&](const Size& screen) {
        return region.X + region.Width <= screen.width && region.Y + region.Height <= screen.height;
    });
    judgement.expect(fits, rule, text + " is not within the screen");
}

void check(Judgement& judgement, const packetSetPixelFormat& packet) {
    judgement.judgeBy(Rule::FrameSettings);
    checkPixels(judgement, Rule::FrameSettings, packet.Format, packet.Endianess,
                packet.BytesPerPixel);
}

void check(Judgement& judgement, const packetSetFrameSize& packet) {
    judgement.judgeBy(Rule::FrameSettings);
    checkSize(judgement, Rule::FrameSettings, "the size is ", packet.ScreenWidth,
              packet.ScreenHeight);
}

void check(Judgement& judgement, const packetOverrideCompression& packet) {
    judgement.judgeBy(Rule::FrameSettings);
    checkCompressions(judgement, Rule::FrameSettings, "Compression", packet.Compression);
}

void checkOrder(Judgement& judgement, const qrTouch& touch, const std::string& finger) {
    constexpr Rule rule = Rule::TouchGrammar;
    judgement.judgeBy(rule);
    std::set<UInt32>& down = judgement.fingersDown;
    if (touch.TouchType == eTOUCHTYPE_Down) {
        if (down.contains(touch.UniqueID)) return judgement.find(rule, finger + " is down already");
        judgement.hasLostFingers = judgement.hasLostFingers || down.size() == mostFingers;
        if (down.size() == mostFingers)
            return judgement.find({}, finger + " is one more than are followed");
        down.insert(touch.UniqueID);
        return;
    }
    const bool moves = touch.TouchType == eTOUCHTYPE_Moved;
    const bool isDown = down.contains(touch.UniqueID) || judgement.hasLostFingers;
    judgement.expect(isDown, rule,
                     finger + (moves ? " moves, but" : " leaves, but") + " is not down");
    if (!moves) down.erase(touch.UniqueID);
}

bool isOnScreen(const Judgement& judgement, const qrTouch& touch) {
    const auto& screens = judgement.surroundings->screens;
    return screens.empty() || std::any_of(screens.begin(), screens.end(), [&](const Size& screen) {
               return touch.PositionX < screen.width && touch.PositionY < screen.height;
           });
}

void check(Judgement& judgement, const packetTouchEvent& packet) {
    constexpr Rule rule = Rule::TouchContents;
    const qrTouchList& list = *packet.TouchEvents;
    judgement.judgeBy(rule);
    judgement.expect(list.Length != 0, rule, "no finger");
    judgement.expect(packet.Timestamp != 0, rule, "no time");
    for (unsigned i = 0; i < list.Length; ++i) {
        const qrTouch& touch = *list.paTouches[i];
        const std::string finger = "finger " + number(touch.UniqueID);
        if (!isWithin(touch.TouchType, eTOUCHTYPE_Down, eTOUCHTYPE_Cancelled)) {
            judgement.find(rule, finger + " does what is unknown, " + number(touch.TouchType));
            continue;
        }
        judgement.expect(isOnScreen(judgement, touch), rule, finger + " is not within the screen");
        checkOrder(judgement, touch, finger);
    }
}

void check(Judgement& judgement, const packetSoftkeyEvent& packet) {
    constexpr Rule rule = Rule::SoftkeyGrammar;
    const std::string key = "key " + number(packet.Softkey);
    judgement.judgeBy(rule);
    if (!judgement.surroundings->softkeys.contains(packet.Softkey))
        return judgement.find(rule, key + " is none of the phone's");
    if (packet.SoftkeyEvent == eSOFTKEYEVENTTYPE_Press) {
        judgement.expect(judgement.keysDown.insert(packet.Softkey).second, rule,
                         key + " is pressed already");
    } else if (packet.SoftkeyEvent == eSOFTKEYEVENTTYPE_Release) {
        judgement.expect(judgement.keysDown.erase(packet.Softkey) != 0, rule,
                         key + " is not pressed");
    } else {
        judgement.find(rule, key + " does what is unknown, " + number(packet.SoftkeyEvent));
    }
}

void check(Judgement& judgement, const packetClientState& packet) {
    judgement.judgeBy(Rule::StateValues);
    checkValue(judgement, Rule::StateValues, "DataType", packet.DataType, 1, 3);
    checkValue(judgement, Rule::StateValues, "Value", packet.Value, 0, 1);
}

void check(Judgement& judgement, const packetSetBlockMode& packet) {
    judgement.judgeBy(Rule::StateValues);
    checkValue(judgement, Rule::StateValues, "ModeToSet", packet.ModeToSet, 1, 3);
}

void check(Judgement& judgement, const packetPhoneCallStatusResponse& packet) {
    judgement.judgeBy(Rule::StateValues);
    checkValue(judgement, Rule::StateValues, "Status", packet.Status, 1, 6);
}

void check(Judgement& judgement, const packetClientVoiceSessionStatus& packet) {
    judgement.judgeBy(Rule::StateValues);
    checkValue(judgement, Rule::StateValues, "Value", packet.Value, 0, 4);
    checkValue(judgement, Rule::StateValues, "Constraint", packet.Constraint, 0, 3);
}

void checkChecksum(Judgement& judgement, std::string_view sentence) {
    constexpr Rule rule = Rule::AdvicePosition;
    while (!sentence.empty() && isOneOf(static_cast<UInt8>(sentence.back()), {'\r', '\n'}))
        sentence.remove_suffix(1);
    judgement.judgeBy(rule);
    if (!sentence.starts_with('$')) return judgement.find(rule, "the sentence begins without $");
    const std::size_t star = sentence.find('*');
    if (star == sentence.npos) return judgement.find(rule, "the sentence has no checksum");
    unsigned sum = 0;
    for (const char byte : sentence.substr(1, star - 1)) sum ^= static_cast<UInt8>(byte);
    const std::string right = format("%02X", sum);
    std::string told(sentence.substr(star + 1));
    std::transform(told.begin(), told.end(), told.begin(),
                   [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 32) : c; });
    judgement.expect(told == right, rule, "the checksum is " + printable(told) + ", not " + right);
}

void check(Judgement& judgement, const packetPositionInformation& packet) {
    const qrString& text = *packet.NMEA;
    judgement.judgeBy(Rule::PositionText);
    checkValue(judgement, Rule::PositionText, "the length", text.Length, 1, longestSentence);
    checkValue(judgement, Rule::PositionText, "the encoding", text.Encoding, 1, 1);
    checkChecksum(judgement, {reinterpret_cast<const char*>(text.pContent), text.Length});
}

void check(Judgement& judgement, const packetVehicleData& packet) {
    const qrString& text = *packet.JSONValue;
    judgement.judgeBy(Rule::VehicleText);
    checkValue(judgement, Rule::VehicleText, "the encoding", text.Encoding, 1, 1);
    const std::string_view value(reinterpret_cast<const char*>(text.pContent), text.Length);
    judgement.expect(nlohmann::json::accept(value), Rule::VehicleText,
                     "the value is not JSON: " + printable(value, 60));
}

void check(Judgement& judgement, const packetClientAudio& packet) {
    judgement.judgeBy(Rule::AudioLife);
    judgement.expect(isOneOf(packet.Status, {eAUDIOSTATUS_Reject, eAUDIOSTATUS_Open,
                                             eAUDIOSTATUS_Suspend, eAUDIOSTATUS_Close}),
                     Rule::AudioLife, "Status is " + number(packet.Status));
    judgement.expect(isOneOf(packet.ResultCode, {eAUDIOREQUESTRESULTCODE_NoError,
                                                 eAUDIOREQUESTRESULTCODE_UnknownError}),
                     Rule::AudioLife, "ResultCode is " + number(packet.ResultCode));
}

void check(Judgement& judgement, const packetAudioTypeResponse& packet) {
    judgement.judgeBy(Rule::AudioType);
    checkValue(judgement, Rule::AudioType, "CurrentAudioType", packet.CurrentAudioType, 1, 6);
}

void check(Judgement& judgement, const packetClientRequestAppIcon& packet) {
    constexpr Rule rule = Rule::AppRequest;
    const qrFrameProperties& icon = *packet.IconProperties;
    judgement.judgeBy(rule);
    judgement.expect(packet.IdentifierURL->Length != 0, rule, "no app is named");
    checkSize(judgement, rule, "the icon is ", packet.Width, packet.Height);
    checkValue(judgement, rule, "Compression", icon.Compression, 0, 0);
    checkValue(judgement, rule, "BytesPerPixel", icon.BytesPerPixel, 4, 4);
    checkValue(judgement, rule, "Format", icon.Format, 1, 4);
    checkValue(judgement, rule, "Endianess", icon.Endianess, 1, 2);
}

void check(Judgement& judgement, const packetClientStartApp& packet) {
    judgement.judgeBy(Rule::AppRequest);
    judgement.expect(packet.IdentifierURL->Length != 0, Rule::AppRequest, "no app is named");
}

void check(Judgement& judgement, const packetClientCustomData& packet) {
    judgement.judgeBy(Rule::CustomContents);
    checkCustomData(judgement, packet);
}

}  // namespace

Opinion Judgement::judge(Bytes bytes, const Surroundings& around) {
    surroundings = &around;
    opinion.packet = Decoded(bytes);
    const Decoded& packet = opinion.packet;
    judgeBy(Rule::WireFraming);
    expect(wire::load<UInt32>(&bytes[1]) == 0, Rule::WireFraming, "flags are set");
    if (!packet.isKnown()) {
        find(Rule::WireFraming, "the type is unknown");
    } else if (!packet.isFromHeadUnit()) {
        find(Rule::WireFraming, "phones send this, not head units");
    } else if (!packet.isReadable()) {
        find(Rule::WireFraming, "cannot be read");
    } else {
        expect(packet.surplus() == 0, Rule::WireFraming,
               number(packet.surplus()) + " bytes more than its fields take");
        packet.visit([this]<class P>(const P& fields) {
            Strings strings{*this};
            wire::Layout<P>::each(fields, strings);
            check(*this, fields);
        });
    }
    return std::exchange(opinion, {});
}

std::vector<std::string> Judgement::judge(Bytes bytes, int width, int height) {
    Surroundings around;
    around.screens = {{width, height}};
    std::vector<std::string> lines;
    const Opinion found = judge(bytes, around);
    for (const Finding& finding : found.findings) {
        if (finding.rule && textOf(*finding.rule).isAdvice) continue;
        lines.push_back(nameOf(found.packet) + ": " + finding.text);
    }
    return lines;
}

std::string nameOf(const Decoded& packet) {
    return packet.isKnown() ? _quarlo_getEventTypeName(static_cast<EventType>(packet.type()))
                            : "packet " + std::to_string(packet.type());
}

}  // namespace quarlo::phone
