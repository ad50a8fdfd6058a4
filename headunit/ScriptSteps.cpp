#include "ScriptSteps.h"

#include <algorithm>

#include "Gestures.h"

namespace quarlo::headunit {
namespace {

using Deed = std::function<eReturnCode(HeadUnit&)>;

constexpr unsigned defaultPatience = 15000;

Act once(Deed deed) {
    return Act{{{0, std::move(deed)}}};
}

constexpr std::string_view callbacks[] = {
    "state",         "error",      "phone",      "softkeys",   "block",
    "call-status",   "transition", "inactive",   "ptt",        "launcher",
    "vehicle-data",  "audio",      "call",       "navigate",   "voice",
    "app-list",      "apps",       "app",        "icon",       "app-started",
    "custom-string", "custom-int", "custom-key", "custom-can", "custom-raw",
};

std::string callbackNames() {
    std::string names;
    for (const std::string_view name : callbacks) {
        names += (names.empty() ? "" : ", ") + std::string(name);
    }
    return names;
}

std::string callback(Words& words) {
    const std::string_view name = words.next();
    if (std::find(std::begin(callbacks), std::end(callbacks), name) == std::end(callbacks)) {
        words.refuse();
    }
    return std::string(name);
}

/* ---- one function for each word that begins a line ---- */

What readTouch(Words& words) {
    const std::string_view word = words.next();
    const auto type = wireValue<TouchType>(word == "move" ? "Moved" : word);
    const UInt16 x = words.coordinate();
    const UInt16 y = words.coordinate();
    const auto finger = static_cast<UInt32>(words.isEmpty() ? 1 : words.number(0xFFFFFFFF));
    if (!type) words.refuse();
    return touchOnce(type.value_or(eTOUCHTYPE_Down), {x, y}, finger);
}

What readTap(Words& words) {
    const UInt16 x = words.coordinate();
    const UInt16 y = words.coordinate();
    return tap({x, y});
}

What readSwipe(Words& words) {
    const UInt16 x = words.coordinate();
    const UInt16 y = words.coordinate();
    const UInt16 toX = words.coordinate();
    const UInt16 toY = words.coordinate();
    return swipe({x, y}, {toX, toY}, words.milliseconds());
}

What readPinch(Words& words) {
    const UInt16 x = words.coordinate();
    const UInt16 y = words.coordinate();
    const UInt16 from = words.coordinate();
    const UInt16 to = words.coordinate();
    return pinch({x, y}, from, to, words.milliseconds());
}

What readKey(Words& words) {
    const auto key = words.named<Softkey>();
    const auto send = [key](SoftkeyEventType event) -> Deed {
        return [key, event](HeadUnit& unit) { return unit.key(key, event); };
    };
    if (!words.isEmpty()) return once(send(words.named<SoftkeyEventType>()));
    return Act{{{0, send(eSOFTKEYEVENTTYPE_Press)}, {60, send(eSOFTKEYEVENTTYPE_Release)}}};
}

What readWait(Words& words) {
    return Pause{words.milliseconds()};
}

What readWaitFor(Words& words) {
    const bool isUpdate = Words(words).next() == "update";
    WaitFor wait{isUpdate ? std::string(words.next()) : callback(words), {}, defaultPatience};
    std::string text = words.rest();
    // A time-out stands behind the text, which may have blanks.
    const std::size_t at = text.rfind("timeout ");
    if (at != std::string::npos && (at == 0 || text[at - 1] == ' ')) {
        Words timeout{std::string_view(text).substr(at + 8)};
        wait.milliseconds = timeout.milliseconds();
        if (!timeout.areRight()) words.refuse();
        text = Words(std::string_view(text).substr(0, at)).rest();
    }
    if (isUpdate && !text.empty()) words.refuse();
    wait.text = text;
    return wait;
}

What readExpect(Words& words) {
    std::string name = callback(words);
    return Expect{std::move(name), words.rest()};
}

What readScreenshot(Words& words) {
    const std::string_view name = words.next();
    const bool isPlain = std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_';
    });
    if (!isPlain || name.size() > 64) words.refuse();
    return Screenshot{std::string(name)};
}

What readMoving(Words& words) {
    return once([isOn = words.isOn()](HeadUnit& unit) { return unit.moving(isOn); });
}

What readNight(Words& words) {
    return once([isOn = words.isOn()](HeadUnit& unit) { return unit.night(isOn); });
}

What readBlock(Words& words) {
    return once([mode = words.named<BlockMode>()](HeadUnit& unit) { return unit.block(mode); });
}

What readPosition(Words& words) {
    if (words.isEmpty()) words.refuse();
    return once([text = words.rest()](HeadUnit& unit) { return unit.position(text); });
}

What readLanguage(Words& words) {
    return once(
        [code = words.parsed(parseLanguage)](HeadUnit& unit) { return unit.language(code); });
}

What readVehicle(Words& words) {
    const auto key = static_cast<UInt32>(words.number(0xFFFFFFFF));
    if (words.isEmpty()) words.refuse();
    return once([key, json = words.rest()](HeadUnit& unit) { return unit.vehicle(key, json); });
}

What readAudio(Words& words) {
    UInt32 request = 0;
    if (Words(words).next() == "last") {
        words.next();
    } else {
        request = static_cast<UInt32>(words.number(0xFFFFFFFF));
        if (request == 0) words.refuse();
    }
    const auto status = words.named<AudioStatus>();
    return once([request, status](HeadUnit& unit) { return unit.audio(request, status); });
}

What readCall(Words& words) {
    return once(
        [status = words.named<PhoneCallStatus>()](HeadUnit& unit) { return unit.call(status); });
}

What readVoice(Words& words) {
    const auto status = words.named<VoiceSessionStatus>();
    const auto why = words.namedOr(eVOICESESSIONSTATUSCONSTRAINT_NoConstraint);
    return once([status, why](HeadUnit& unit) { return unit.voice(status, why); });
}

What readVoiceSupport(Words& words) {
    const auto support = words.named<VoiceSupport>();
    const auto how = words.namedOr(eVOICESUPPORTCONSTRAINT_NoConstraint);
    return once([support, how](HeadUnit& unit) { return unit.voiceSupport(support, how); });
}

What readApps(Words&) {
    return once([](HeadUnit& unit) { return unit.apps(); });
}

What readIcon(Words& words) {
    std::string url(words.next());
    const Size size = words.parsed(parseSize);
    return once([url, size](HeadUnit& unit) { return unit.icon(url, size); });
}

What readStart(Words& words) {
    std::string url(words.next());
    Pairs modes;
    while (!words.isEmpty()) {
        const std::string_view word = words.next();
        const std::size_t at = word.find('=');
        if (at == std::string_view::npos || at == 0 || modes.size() == 255) {
            words.refuse();
            continue;
        }
        modes.emplace_back(word.substr(0, at), word.substr(at + 1));
    }
    return once([url, modes](HeadUnit& unit) { return unit.start(url, modes); });
}

What readCustomString(Words& words) {
    const auto type = words.named<ClientCustomDataStringType>();
    return once(
        [type, text = words.rest()](HeadUnit& unit) { return unit.customString(type, text); });
}

What readCustomInt(Words& words) {
    const auto type = words.named<ClientCustomDataIntType>();
    const UInt64 size = words.number(8);
    if (size != 1 && size != 2 && size != 4 && size != 8) words.refuse();
    const UInt64 value = words.number(size >= 8 ? ~UInt64{0} : (UInt64{1} << (8 * size)) - 1);
    std::vector<UInt8> bytes;
    for (UInt64 i = 0; i < size; ++i) bytes.push_back(static_cast<UInt8>(value >> (8 * i)));
    return once([type, bytes](HeadUnit& unit) { return unit.customInt(type, bytes); });
}

What readCustomKey(Words& words) {
    const auto code = words.named<ClientCustomDataKeyCode>();
    const auto type = words.namedOr(eCLIENTCUSTOMDATAKEYTYPE_Click);
    return once([type, code](HeadUnit& unit) { return unit.customKey(type, code); });
}

What readCustomCan(Words& words) {
    const auto type = words.named<ClientCustomDataCanType>();
    const auto identifier = static_cast<UInt32>(words.number(0xFFFFFFFF));
    const auto bytes = words.bytes(8);
    return once([type, identifier, bytes](HeadUnit& unit) {
        return unit.customCan(type, identifier, bytes);
    });
}

What readCustomRaw(Words& words) {
    const auto identifier = static_cast<UInt16>(words.number(0xFFF));
    const auto bytes = words.bytes(0xFFFF);
    return once([identifier, bytes](HeadUnit& unit) { return unit.customRaw(identifier, bytes); });
}

What changeTo(const std::vector<Change>& changes) {
    Act act;
    for (const Change& change : changes) {
        act.calls.push_back({0, [change](HeadUnit& unit) { return unit.change(change); }});
    }
    return act;
}

What readFormat(Words& words) {
    const PixelFormat format = words.parsed(parseFormat);
    if (words.isEmpty()) return changeTo({SetFormat{format}});
    return changeTo({SetFormat{format}, SetOrder{words.parsed(parseOrder)}});
}

What readSize(Words& words) {
    return changeTo({SetSize{words.parsed(parseSize)}});
}

What readCompression(Words& words) {
    return changeTo({SetCompression{words.parsed(parseCompression)}});
}

What readSuspend(Words&) {
    return changeTo({SetSuspended{true}});
}

What readResume(Words&) {
    return changeTo({SetSuspended{false}});
}

What readUpdate(Words& words) {
    const bool isFull = !words.isEmpty();
    if (isFull && words.next() != "full") words.refuse();
    return once([isFull](HeadUnit& unit) { return unit.update(isFull); });
}

struct Kind {
    const char* word;
    What (*read)(Words&);
    std::string allowed;
};

const std::vector<Kind>& customKinds() {
    static const std::vector<Kind> kinds{
        {"string", readCustomString,
         "custom string TYPE TEXT; TYPE: " + wireNames<ClientCustomDataStringType>()},
        {"int", readCustomInt,
         "custom int TYPE 1|2|4|8 NUMBER; TYPE: " + wireNames<ClientCustomDataIntType>()},
        {"key", readCustomKey,
         "custom key CODE [TYPE]; CODE: " + wireNames<ClientCustomDataKeyCode>() +
             "; TYPE: " + wireNames<ClientCustomDataKeyType>()},
        {"can", readCustomCan,
         "custom can TYPE IDENTIFIER [up to 8 bytes as hexadecimal digits]; TYPE: " +
             wireNames<ClientCustomDataCanType>()},
        {"raw", readCustomRaw,
         "custom raw IDENTIFIER [bytes as hexadecimal digits]; IDENTIFIER up to 0xFFF"},
    };
    return kinds;
}

const std::vector<Kind>& kinds() {
    static const std::vector<Kind> kinds{
        {"touch", readTouch, "touch down|move|up|cancelled X Y [FINGER]"},
        {"tap", readTap, "tap X Y"},
        {"swipe", readSwipe, "swipe X1 Y1 X2 Y2 MS with up to 600000 ms"},
        {"pinch", readPinch,
         "pinch X Y FROM TO MS: two fingers around X Y, their distance in pixels, up to 600000 "
         "ms"},
        {"key", readKey, "key KEY [press|release]; KEY: " + wireNames<Softkey>()},
        {"wait", readWait, "wait MS with up to 600000 ms"},
        {"wait-for", readWaitFor,
         "wait-for CALLBACK [TEXT] [timeout MS]; CALLBACK: update (without TEXT), " +
             callbackNames()},
        {"expect", readExpect, "expect CALLBACK [TEXT]; CALLBACK: " + callbackNames()},
        {"screenshot", readScreenshot,
         "screenshot NAME of up to 64 letters, digits, hyphens and underscores"},
        {"moving", readMoving, "moving on|off"},
        {"night", readNight, "night on|off"},
        {"block", readBlock, "block MODE; MODE: " + wireNames<BlockMode>()},
        {"position", readPosition, "position SENTENCE"},
        {"language", readLanguage, std::string("language CODE: ") + languageWords},
        {"vehicle", readVehicle, "vehicle KEY JSON"},
        {"audio", readAudio, "audio REQUEST|last STATUS; STATUS: " + wireNames<AudioStatus>()},
        {"call", readCall, "call STATUS; STATUS: " + wireNames<PhoneCallStatus>()},
        {"voice", readVoice,
         "voice STATUS [REASON]; STATUS: " + wireNames<VoiceSessionStatus>() +
             "; REASON: " + wireNames<VoiceSessionStatusConstraint>()},
        {"voice-support", readVoiceSupport,
         "voice-support VALUE [LIMIT]; VALUE: " + wireNames<VoiceSupport>() +
             "; LIMIT: " + wireNames<VoiceSupportConstraint>()},
        {"apps", readApps, "apps"},
        {"icon", readIcon, std::string("icon URL ") + sizeWords},
        {"start", readStart, "start URL [KEY=VALUE ...] with up to 255 of them"},
        {"format", readFormat,
         std::string("format FORMAT [ORDER]; FORMAT: ") + formatWords + "; ORDER: " + orderWords},
        {"size", readSize, std::string("size ") + sizeWords},
        {"compression", readCompression, std::string("compression ") + compressionWords},
        {"suspend", readSuspend, "suspend"},
        {"resume", readResume, "resume"},
        {"update", readUpdate, "update [full]"},
    };
    return kinds;
}

const Kind* find(const std::vector<Kind>& kinds, std::string_view word) {
    const auto found = std::find_if(kinds.begin(), kinds.end(),
                                    [word](const Kind& kind) { return word == kind.word; });
    return found == kinds.end() ? nullptr : &*found;
}

std::string wordsOf(const std::vector<Kind>& kinds, const std::string& more = {}) {
    std::string words;
    for (const Kind& kind : kinds) words += (words.empty() ? "" : ", ") + std::string(kind.word);
    return words + more;
}

}  // namespace

std::string readStep(Words words, What& what) {
    const std::string_view word = words.next();
    const bool isCustom = word == "custom";
    const Kind* kind = isCustom ? find(customKinds(), words.next()) : find(kinds(), word);
    if (kind == nullptr) {
        return isCustom ? "custom CHANNEL ...; CHANNEL: " + wordsOf(customKinds())
                        : wordsOf(kinds(), ", custom");
    }
    what = kind->read(words);
    return words.areRight() ? std::string() : kind->allowed;
}

}  // namespace quarlo::headunit
