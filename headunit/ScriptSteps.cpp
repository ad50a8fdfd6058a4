#include "ScriptSteps.h"

#include <algorithm>

#include "Gestures.h"
#include "common/WordTable.h"
#include "quarlo-names.h"

namespace quarlo::headunit {
namespace {

using namespace common::argument;
using Table = Steps<What>;

constexpr unsigned defaultPatience = 15000;
// A phone that does not answer in that time has nothing newer to show.
constexpr unsigned screenshotPatience = 15000;

/* ---- what steps do ---- */

Outcome resultOf(eReturnCode code) {
    return code == eRETURN_OKAY ? std::string()
                                : std::string("refused: ") + quarloName_OfResult(code);
}

What perform(const Act& act) {
    return [act, next = std::size_t{0}, due = 0U](Scene& scene, Turn& turn) mutable -> Outcome {
        for (; next < act.calls.size(); ++next) {
            const unsigned at = due + act.calls[next].afterMilliseconds;
            if (!turn.isOver(at)) return goesOn;
            due = at;
            Outcome result = resultOf(act.calls[next].make(scene.unit));
            if (!result->empty()) return result;
        }
        return isWellDone;
    };
}

/** A step that is one call. */
template <typename... Given>
auto once(eReturnCode (HeadUnit::*call)(Given...)) {
    return [call](const auto&... values) -> What {
        return [=](Scene& scene, Turn&) { return resultOf((scene.unit.*call)(values...)); };
    };
}

/** Changes one after the other. */
What change(const std::vector<Change>& changes) {
    Act act;
    for (const Change& one : changes) {
        act.calls.push_back({0, [one](HeadUnit& unit) { return unit.change(one); }});
    }
    return perform(act);
}

std::string wanted(const Event& event) {
    return "'" + event.callback + "'" + (event.text.empty() ? "" : " with '" + event.text + "'");
}

std::optional<History<Event>::Number> find(const Scene& scene, History<Event>::Number from,
                                           const Event& wanted) {
    return scene.history.find(from, [&wanted](const Event& event) {
        return event.callback == wanted.callback &&
               event.text.find(wanted.text) != std::string::npos;
    });
}

What waitForUpdate(unsigned milliseconds) {
    return [milliseconds](Scene& scene, Turn& turn) -> Outcome {
        if (scene.sawUpdate) return isWellDone;
        if (!turn.isOver(milliseconds)) return goesOn;
        return "no update within " + std::to_string(milliseconds) + " ms";
    };
}

What waitFor(const Event& event, unsigned milliseconds) {
    return [event, milliseconds](Scene& scene, Turn& turn) -> Outcome {
        if (const auto found = find(scene, scene.unheard, event)) {
            scene.unheard = *found + 1;
            return isWellDone;
        }
        if (!turn.isOver(milliseconds)) return goesOn;
        return "no callback " + wanted(event) + " within " + std::to_string(milliseconds) + " ms";
    };
}

// What the step before made happen at once is known only after this round: so a miss is judged in
// the next.
What expect(const Event& event) {
    return [event](Scene& scene, Turn& turn) -> Outcome {
        if (find(scene, 0, event)) return isWellDone;
        if (turn.isFirst && turn.isOver(0)) return goesOn;
        return "there was no callback " + wanted(event);
    };
}

What screenshot(const std::string& name) {
    return [name, isAwaited = false](Scene& scene, Turn& turn) mutable -> Outcome {
        if (turn.isFirst && scene.unit.hasFrames()) {
            isAwaited = true;
            Outcome result = resultOf(scene.unit.change(Refresh{}));
            if (!result->empty()) return result;
        }
        if (isAwaited && !scene.sawWhole && !turn.isOver(screenshotPatience)) return goesOn;
        return scene.unit.screenshot(name);
    };
}

/* ---- arguments that only one step has ---- */

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

std::string callbackAmong(Words& words) {
    const std::string_view name = words.next();
    if (std::find(std::begin(callbacks), std::end(callbacks), name) == std::end(callbacks)) {
        words.refuse();
    }
    return std::string(name);
}

Argument<std::string> callback() {
    return {"CALLBACK", "CALLBACK: " + callbackNames(), callbackAmong};
}

Argument<What> waitedFor() {
    const auto read = [](Words& words) {
        const bool isUpdate = Words(words).next() == "update";
        Event event{isUpdate ? std::string(words.next()) : callbackAmong(words), {}};
        const unsigned time = words.timeoutBehind(event.text).value_or(defaultPatience);
        if (isUpdate && !event.text.empty()) words.refuse();
        return isUpdate ? waitForUpdate(time) : waitFor(event, time);
    };
    return {"CALLBACK [TEXT] [timeout MS]",
            "CALLBACK: update (without TEXT), " + callbackNames() + "; MS: up to 600000", read};
}

Argument<TouchType> finger() {
    return {"down|move|up|cancelled", {}, [](Words& words) {
                const std::string_view word = words.next();
                const auto type = wireValue<TouchType>(word == "move" ? "Moved" : word);
                if (!type) words.refuse();
                return type.value_or(eTOUCHTYPE_Down);
            }};
}

Argument<SoftkeyEventType> pressOrRelease() {
    return {"press|release", {}, [](Words& words) { return words.named<SoftkeyEventType>(); }};
}

Argument<std::string> pictureName() {
    return {"NAME", "NAME: up to 64 letters, digits, hyphens and underscores", [](Words& words) {
                std::string name(words.next());
                const bool isPlain = std::all_of(name.begin(), name.end(), [](char c) {
                    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '-' || c == '_';
                });
                if (!isPlain || name.size() > 64) words.refuse();
                return name;
            }};
}

Argument<UInt32> audioRequest() {
    return {"REQUEST|last", "REQUEST: from 1", [](Words& words) {
                if (Words(words).next() == "last") {
                    words.next();
                    return UInt32{0};
                }
                const auto request = static_cast<UInt32>(words.number(0xFFFFFFFF));
                if (request == 0) words.refuse();
                return request;
            }};
}

Argument<Pairs> launchModes() {
    const auto read = [](Words& words) {
        Pairs modes;
        while (!words.isEmpty()) {
            const std::string_view word = words.next();
            const auto parts = splitAt(word, word.find('='));
            if (!parts || parts->before.empty() || modes.size() == 255) {
                words.refuse();
                continue;
            }
            modes.emplace_back(parts->before, parts->after);
        }
        return modes;
    };
    return {"[KEY=VALUE ...]", "up to 255 of KEY=VALUE", read};
}

Argument<std::vector<UInt8>> sizedNumber() {
    return {"1|2|4|8 NUMBER", "NUMBER: of that many bytes", [](Words& words) {
                const UInt64 size = words.number(8);
                if (size != 1 && size != 2 && size != 4 && size != 8) words.refuse();
                const UInt64 most = size >= 8 ? ~UInt64{0} : (UInt64{1} << (8 * size)) - 1;
                const UInt64 value = words.number(most);
                std::vector<UInt8> bytes;
                for (UInt64 i = 0; i < size; ++i) {
                    bytes.push_back(static_cast<UInt8>(value >> (8 * i)));
                }
                return bytes;
            }};
}

Argument<bool> isFull() {
    return {"[full]", {}, [](Words& words) {
                if (words.isEmpty()) return false;
                if (words.next() != "full") words.refuse();
                return true;
            }};
}

/* ---- the table, section by section ---- */

void addFingers(Table& table) {
    table.section("Fingers and keys");
    table.add(
        "touch", "one touch of one finger, 1 if none is named",
        [](TouchType type, UInt16 x, UInt16 y, UInt32 finger) {
            return perform(touchOnce(type, {x, y}, finger));
        },
        finger(), coordinate("X"), coordinate("Y"),
        optional(identifier("FINGER", 0xFFFFFFFF), UInt32{1}));
    table.add(
        "tap", "down, and up after 60 ms",
        [](UInt16 x, UInt16 y) {
            return perform(tap({x, y}));
        },
        coordinate("X"), coordinate("Y"));
    table.add(
        "swipe", "one finger from here to there in that time, a touch every 20 ms",
        [](UInt16 x, UInt16 y, UInt16 toX, UInt16 toY, unsigned time) {
            return perform(swipe({x, y}, {toX, toY}, time));
        },
        coordinate("X1"), coordinate("Y1"), coordinate("X2"), coordinate("Y2"), duration("MS"));
    table.add(
        "pinch", "two fingers around a point, FROM and TO pixels apart",
        [](UInt16 x, UInt16 y, UInt16 from, UInt16 to, unsigned time) {
            return perform(pinch({x, y}, from, to, time));
        },
        coordinate("X"), coordinate("Y"), coordinate("FROM"), coordinate("TO"), duration("MS"));
    table.add(
        "key", "a softkey; pressed and released if neither is said",
        [](Softkey key, std::optional<SoftkeyEventType> event) {
            const auto send = [key](SoftkeyEventType type) {
                return [key, type](HeadUnit& unit) { return unit.key(key, type); };
            };
            if (event) return perform({{{0, send(*event)}}});
            return perform(
                {{{0, send(eSOFTKEYEVENTTYPE_Press)}, {60, send(eSOFTKEYEVENTTYPE_Release)}}});
        },
        named<Softkey>("KEY"), optional(pressOrRelease()));
}

void addVehicle(Table& table) {
    table.section("The vehicle");
    table.add("moving", "whether the car moves", once(&HeadUnit::moving), onOrOff());
    table.add("night", "night mode", once(&HeadUnit::night), onOrOff());
    table.add("block", "what may be shown while driving", once(&HeadUnit::block),
              named<BlockMode>("MODE"));
    table.add("position",
              "a position as NMEA 0183 sentence; of GGA and RMC the simulator's map shows place "
              "and heading, and of others, and those with a wrong checksum, that they cannot be "
              "used",
              once(&HeadUnit::position), text("SENTENCE"));
    table.add("language", "the language of the user, such as deu", once(&HeadUnit::language),
              parsed("CODE", parseLanguage, languageWords));
    table.add("vehicle", "a value, for a key that the phone's filter asks for",
              once(&HeadUnit::vehicle), identifier("KEY", 0xFFFFFFFF), text("JSON"));
}

void addAnswers(Table& table) {
    table.section("Answers to the phone");
    table.add("audio", "status of an audio source", once(&HeadUnit::audio), audioRequest(),
              named<AudioStatus>("STATUS"));
    table.add("call", "how a call goes", once(&HeadUnit::call), named<PhoneCallStatus>("STATUS"));
    table.add("voice", "status of the voice session", once(&HeadUnit::voice),
              named<VoiceSessionStatus>("STATUS"),
              optional(named<VoiceSessionStatusConstraint>("REASON"),
                       VoiceSessionStatusConstraint{eVOICESESSIONSTATUSCONSTRAINT_NoConstraint}));
    table.add("voice-support", "which voice sessions there can be", once(&HeadUnit::voiceSupport),
              named<VoiceSupport>("VALUE"),
              optional(named<VoiceSupportConstraint>("LIMIT"),
                       VoiceSupportConstraint{eVOICESUPPORTCONSTRAINT_NoConstraint}));
}

void addApps(Table& table) {
    table.section("Apps");
    table.add("apps", "reports the catalogue, each app as a callback line", once(&HeadUnit::apps));
    table.add("icon", "asks for an icon; it is written to the output directory",
              once(&HeadUnit::icon), word("URL"), size());
    table.add("start", "starts an app, with launch modes", once(&HeadUnit::start), word("URL"),
              launchModes());
}

void addCustomData(Table& table) {
    table.section("Data of one's own");
    table.add("custom string", "a text", once(&HeadUnit::customString),
              named<ClientCustomDataStringType>("TYPE"), textIfAny("TEXT"));
    table.add("custom int", "a number of that many bytes", once(&HeadUnit::customInt),
              named<ClientCustomDataIntType>("TYPE"), sizedNumber());
    table.add(
        "custom key", "a key beside the screen, clicked if no type is said",
        [](ClientCustomDataKeyCode code, ClientCustomDataKeyType type) {
            return once(&HeadUnit::customKey)(type, code);
        },
        named<ClientCustomDataKeyCode>("CODE"),
        optional(named<ClientCustomDataKeyType>("TYPE"),
                 ClientCustomDataKeyType{eCLIENTCUSTOMDATAKEYTYPE_Click}));
    table.add("custom can", "a bus message", once(&HeadUnit::customCan),
              named<ClientCustomDataCanType>("TYPE"), identifier("IDENTIFIER", 0xFFFFFFFF),
              bytes(8));
    table.add(
        "custom raw", "a block of bytes",
        [](UInt32 identifier, const std::vector<UInt8>& bytes) {
            return once(&HeadUnit::customRaw)(static_cast<UInt16>(identifier), bytes);
        },
        identifier("IDENTIFIER", 0xFFF), bytes(0xFFFF));
}

void addScreen(Table& table) {
    table.section("The screen");
    table.add("screenshot",
              "writes NAME.png to the output directory: the screen as it is after all steps before",
              screenshot, pictureName());
    table.add("update", "asks for an update beside those that are asked for anyway",
              once(&HeadUnit::update), isFull());
    table.add(
        "format", "another pixel format, and byte order",
        [](PixelFormat format, std::optional<PixelEndianess> order) {
            if (!order) return change({SetFormat{format}});
            return change({SetFormat{format}, SetOrder{*order}});
        },
        parsed("FORMAT", parseFormat, formatWords),
        optional(parsed("ORDER", parseOrder, orderWords)));
    table.add(
        "size", "another size of the screen",
        [](const Size& size) { return change({SetSize{size}}); }, size());
    table.add(
        "compression", "the compression that the phone is asked for",
        [](FrameCompression asked) { return change({SetCompression{asked}}); },
        parsed("NAME", parseCompression, compressionWords));
    table.add("suspend", "the phone sends no frames", [] { return change({SetSuspended{true}}); });
    table.add("resume", "the phone sends frames again",
              [] { return change({SetSuspended{false}}); });
}

void addWaiting(Table& table) {
    table.section("Waiting and checking");
    table.add("wait", "lets time pass, up to ten minutes", common::pause<Scene>, duration("MS"));
    table.add(
        "wait-for",
        "waits until a callback comes whose line contains TEXT, or for the next update of "
        "the screen; 15000 ms if no time is given",
        [](const What& wait) { return wait; }, waitedFor());
    table.add(
        "expect", "such a callback must have come since the start",
        [](const std::string& callback, const std::string& text) {
            return expect({callback, text});
        },
        callback(), textIfAny("TEXT"));
}

}  // namespace

const Steps<What>& scriptSteps() {
    static const Table all = [] {
        Table table;
        for (const auto add :
             {addFingers, addVehicle, addAnswers, addApps, addCustomData, addScreen, addWaiting}) {
            add(table);
        }
        return table;
    }();
    return all;
}

}  // namespace quarlo::headunit
