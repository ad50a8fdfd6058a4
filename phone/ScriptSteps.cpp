#include "ScriptSteps.h"

#include <charconv>
#include <cmath>

#include "Apps.h"
#include "Deeds.h"
#include "Icons.h"
#include "common/WordTable.h"

namespace quarlo::phone {
namespace {

using namespace common::argument;
using Table = Steps<Performed>;
using Bytes = std::vector<UInt8>;

constexpr unsigned defaultPatience = 15000;

/* ---- arguments that only a phone's steps have ---- */

constexpr Word<Event> events[] = {{"connected", Event::Connected},
                                  {"running", Event::Running},
                                  {"closed", Event::Closed},
                                  {"fault", Event::Fault}};

const char* const wantedUsage = "WHAT [FIELD=VALUE ...]";

std::string wantedWords() {
    return "WHAT: " + wordsOf(events) + ", or " + packetNames(Direction::ToPhone);
}

Wanted wantedBy(Words& words, const std::string& name, const std::string& text) {
    Wanted wanted;
    wanted.words = text.empty() ? name : name + " " + text;
    if (const auto event = valueOf(events, name)) {
        wanted.event = *event;
        wanted.text = text;
        if (*event != Event::Fault && !text.empty()) words.refuse();
    } else {
        const std::string allowed = wanted.packet.read(name, text);
        if (!allowed.empty())
            words.refuse(isPacket(name, Direction::ToPhone) ? allowed : wantedWords());
    }
    return wanted;
}

Argument<Wanted> wantedOne() {
    return {wantedUsage, wantedWords(), [](Words& words) {
                const std::string name(words.next());
                const std::string text = words.rest();
                return wantedBy(words, name, text);
            }};
}

Argument<Performed> awaited() {
    return {std::string(wantedUsage) + " [timeout MS]", wantedWords() + "; MS: up to 600000",
            [](Words& words) {
                const std::string name(words.next());
                std::string text;
                const unsigned time = words.timeoutBehind(text).value_or(defaultPatience);
                return waitFor(wantedBy(words, name, text), time);
            }};
}

Argument<Bytes> packet() {
    return {"PACKET [FIELD=VALUE ...]", "PACKET: " + packetNames(Direction::FromPhone),
            [](Words& words) {
                const std::string name(words.next());
                const std::string fields = words.rest();
                Bytes bytes;
                const std::string allowed = buildPacket(name, fields, bytes);
                if (!allowed.empty()) words.refuse(allowed);
                return bytes;
            }};
}

Argument<Bytes> someBytes() {
    Argument<Bytes> bytes = argument::bytes(0xFFFF);
    bytes.usage = "BYTES";
    bytes.read = [read = bytes.read](Words& words) {
        if (words.isEmpty()) words.refuse();
        return read(words);
    };
    return bytes;
}

/// In millionths.
Argument<Int64> degrees(const std::string& name, int most) {
    return {name, name + ": degrees from -" + std::to_string(most) + " to " + std::to_string(most),
            [most](Words& words) {
                const std::string_view word = words.next();
                double value = 0;
                const char* end = word.data() + word.size();
                const auto [stop, error] = std::from_chars(word.data(), end, value);
                const bool isRight = error == std::errc() && stop == end && std::abs(value) <= most;
                if (!isRight) words.refuse();
                return isRight ? static_cast<Int64>(std::llround(value * 1e6)) : 0;
            }};
}

struct Store {
    UInt16 park;
    UInt16 fetch;
    UInt16 remove;
};
constexpr Word<Store> stores[] = {
    {"session", {eSERVERCUSTOMDATARAWTYPE_StoreInstance, eSERVERCUSTOMDATARAWTYPE_GetInstance, 0}},
    {"everyone", {eSERVERCUSTOMDATARAWTYPE_StoreCore, eSERVERCUSTOMDATARAWTYPE_GetCore, 0}},
    {"for-good",
     {eSERVERCUSTOMDATARAWTYPE_StorePersistent, eSERVERCUSTOMDATARAWTYPE_GetPersistent,
      eSERVERCUSTOMDATARAWTYPE_DeletePersistent}},
    {"head-unit",
     {eSERVERCUSTOMDATARAWTYPE_StoreHost, eSERVERCUSTOMDATARAWTYPE_GetHost,
      eSERVERCUSTOMDATARAWTYPE_DeleteHost}},
};

/// Where bytes are parked, for what is done there: one of the three.
Argument<UInt16> store(UInt16 Store::*operation) {
    std::string names;
    for (const auto& [word, values] : stores) {
        if (values.*operation != 0) names += (names.empty() ? "" : ", ") + std::string(word);
    }
    return {"WHERE", "WHERE: " + names, [operation](Words& words) {
                const auto found = valueOf(stores, words.next());
                const UInt16 value = found ? *found.*operation : UInt16{0};
                if (value == 0) words.refuse();
                return value;
            }};
}

Argument<int> app() {
    return {"APP", "APP: home, " + appNames(), [](Words& words) {
                const std::string name(words.next());
                const int found = findApp(name);
                if (found < 0 && name != "home") words.refuse();
                return found;
            }};
}

/// All that are left on the line, each read by `read`.
template <typename Value, typename Read>
Argument<std::vector<Value>> several(const std::string& name, const std::string& allowed,
                                     Read read) {
    return {"[" + name + " ...]", name + ": " + allowed, [read](Words& words) {
                std::vector<Value> values;
                while (!words.isEmpty()) values.push_back(read(words));
                if (values.size() > 255) words.refuse();
                return values;
            }};
}

Argument<std::vector<int>> apps() {
    return several<int>("APP", appNames(), [](Words& words) {
        const int found = findApp(std::string(words.next()));
        if (found < 0) words.refuse();
        return found;
    });
}

Argument<std::vector<Softkey>> softkeys() {
    return several<Softkey>("KEY", wireNames<Softkey>(),
                            [](Words& words) { return words.named<Softkey>(); });
}

Argument<ServerCapabilities> capabilities() {
    const auto names = valuesOf(std::type_identity<ServerCapabilitiesBits>());
    const auto read = [names](Words& words) {
        ServerCapabilities all = 0;
        while (!words.isEmpty()) {
            const Words number = words;
            const auto flag = valueAmong(names, words.next());
            all |= flag ? *flag : static_cast<UInt32>((words = number).number(0xFFFFFFFF));
        }
        return all;
    };
    return {"[CAPABILITY ...]", "CAPABILITY: " + namesAmong(names) + ", or a number", read};
}

Argument<std::shared_ptr<const Icons>> icons() {
    return {"DIRECTORY", {}, [](Words& words) {
                auto read = std::make_shared<Icons>();
                const std::string directory = words.rest();
                const std::string allowed = readIcons(directory, *read);
                if (!allowed.empty()) words.refuse(allowed);
                return std::shared_ptr<const Icons>(std::move(read));
            }};
}

/* ---- the table, section by section ---- */

void addWishes(Table& table) {
    table.section("What the phone asks for");
    table.add(
        "call", "asks the head unit to dial",
        [](const std::string& number, const std::string& name) {
            return sendingPacket("InitiatePhoneCall", {{"Number", number}, {"DisplayName", name}});
        },
        word("NUMBER"), textIfAny("NAME"));
    table.add("hang-up", "the call is over", [] { return wishing(Wish::HangUp, 0); });
    table.add(
        "navigate", "asks the head unit to guide to a place",
        [](Int64 latitude, Int64 longitude, const std::string& name) {
            return sendingPacket("NavigateTo",
                                 {{"DisplayName", name},
                                  {"Position.Latitude.Value", std::to_string(latitude)},
                                  {"Position.Latitude.Exponent", "-6"},
                                  {"Position.Longitude.Value", std::to_string(longitude)},
                                  {"Position.Longitude.Exponent", "-6"},
                                  {"Type", "PositionOnly"}});
        },
        degrees("LATITUDE", 90), degrees("LONGITUDE", 180), textIfAny("NAME"));
    table.add(
        "audio request", "asks for the loudspeakers; gives back what was had before",
        [](AudioType type, UInt64 seconds) {
            return wishing(Wish::Audio, soundWish(type, static_cast<UInt16>(seconds)));
        },
        named<AudioType>("TYPE"), optional(number("SECONDS", 0, 65535), UInt64{0}));
    table.add("audio release", "gives the loudspeakers back",
              [] { return wishing(Wish::Audio, noSoundWish); });
    table.add("audio type", "asks what is heard",
              [] { return wishing(Wish::Audio, whichSoundWish); });
    table.add(
        "voice", "asks for a voice session, or ends it",
        [](VoiceRequest request) { return wishing(Wish::Voice, request); },
        named<VoiceRequest>("REQUEST"));
}

Performed sendingRaw(UInt16 operation, UInt32 block, const Bytes& bytes) {
    return sendingPacket("ServerCustomData", {{"Event", "Raw"},
                                              {"Type", std::to_string(operation | block)},
                                              {"pData", digitsOf(bytes)}});
}

void addBlocks(Table& table) {
    const auto block = identifier("BLOCK", 0xFFF);
    table.section("Bytes parked at the head unit");
    table.add(
        "park", "parks bytes",
        [](UInt16 operation, UInt32 which, const Bytes& bytes) {
            return sendingRaw(operation, which, bytes);
        },
        store(&Store::park), block, bytes(0xFFFF));
    const auto plain = [](UInt16 operation, UInt32 which) {
        return sendingRaw(operation, which, {});
    };
    table.add("fetch", "asks for them; they come as ClientCustomData", plain, store(&Store::fetch),
              block);
    table.add("forget", "has them deleted", plain, store(&Store::remove), block);
}

void addLooks(Table& table) {
    table.section("What the phone is");
    table.add(
        "app", "shows an app, or the home screen",
        [](int number) {
            return errand(State::Connected,
                          [number](Session& session) { session.screen().open(number); });
        },
        app());
    table.add(
        "apps", "the apps that the head unit is told of, at once and from then on",
        [](const std::vector<int>& told) {
            return setting([told](Options& options) { options.toldApps = told; });
        },
        apps());
    table.add(
        "icons", "sends these pictures as icons: NAME.png for each app called NAME",
        [](const std::shared_ptr<const Icons>& pictures) {
            return setting([pictures](Options& options) { options.icons = pictures; });
        },
        icons());
    table.add(
        "name", "what the phone calls itself, from the next handshake on",
        [](const std::string& name) {
            return setting([name](Options& options) { options.appName = name; });
        },
        text("TEXT"));
    table.add(
        "softkeys", "its softkeys, from the next handshake on",
        [](const std::vector<Softkey>& keys) {
            return setting([keys](Options& options) { options.softkeys = keys; });
        },
        softkeys());
    table.add(
        "capabilities", "what it says that it can do, from the next handshake on",
        [](ServerCapabilities flags) {
            return setting([flags](Options& options) { options.capabilities = flags; });
        },
        capabilities());
}

void addPackets(Table& table) {
    table.section("Packets");
    table.add(
        "send", "sends a packet; fields that are not said are 0 or empty",
        [](const Bytes& bytes) { return sending(State::Running, bytes); }, packet());
    table.add(
        "bytes", "sends these bytes as they are, before RUN too",
        [](const Bytes& bytes) { return sending(State::Connected, bytes); }, someBytes());
}

void addFaults(Table& table) {
    const auto stage = optional(parsed("STAGE", parseStage, stageWords()));
    table.section("Faults");
    table.add(
        "refuse", "answers this negatively from now on",
        [](Refusal what) {
            return setting([what](Options& options) { options.refusals.insert(what); });
        },
        parsed("WHAT", parseRefusal, refusalWords()));
    table.add(
        "stall", "says nothing more, now or from that point of each session on",
        [](std::optional<Stage> at) {
            if (at) return setting([at](Options& options) { options.stallAt = at; });
            return errand(State::Connected, [](Session& session) { session.fallSilent(); });
        },
        stage);
    table.add(
        "drop", "closes the connection, now or at that point of each session",
        [](std::optional<Stage> at) {
            if (at) return setting([at](Options& options) { options.dropAt = at; });
            return dropNow();
        },
        stage);
    table.add("no-faults", "takes refuse, stall STAGE and drop STAGE back", [] {
        return setting([](Options& options) {
            options.refusals.clear();
            options.stallAt.reset();
            options.dropAt.reset();
        });
    });
}

void addWaiting(Table& table) {
    table.section("Waiting and checking of a phone");
    table.add(
        "unit", "the steps that follow are about the head unit of that number",
        [](UInt64 which) -> Performed {
            return [which](Scene& scene, Turn&) {
                scene.unit = static_cast<int>(which);
                return isWellDone;
            };
        },
        number("NUMBER", 1, 64));
    table.add("wait", "lets time pass, up to ten minutes", common::pause<Scene>, duration("MS"));
    table.add(
        "wait-for",
        "waits until the head unit has sent such a packet, or until that has become of it; "
        "15000 ms if no time is given",
        [](const Performed& wait) { return wait; }, awaited());
    table.add(
        "expect", "that must have been since the start",
        [](const Wanted& wanted) { return expect(wanted, true); }, wantedOne());
    table.add(
        "expect-no", "that must not have been since the start",
        [](const Wanted& wanted) { return expect(wanted, false); }, wantedOne());
}

}  // namespace

const Steps<Performed>& scriptSteps() {
    static const Table all = [] {
        Table table;
        for (const auto add : {addWishes, addBlocks, addLooks, addPackets, addFaults, addWaiting}) {
            add(table);
        }
        return table;
    }();
    return all;
}

std::string parseScript(const std::string& file, const std::string& text, Script& script) {
    script.file = file;
    return readSteps(scriptSteps(), file, text, script.steps);
}

std::string readScript(const std::string& file, Script& script) {
    std::string text;
    const std::string problem = readScriptFile(file, text);
    return problem.empty() ? parseScript(file, text, script) : problem;
}

}  // namespace quarlo::phone
