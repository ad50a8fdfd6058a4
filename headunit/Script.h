/*
 * Scripted sessions: a text with one step per line becomes steps that a Runner performs on a
 * HeadUnit. Everything that can be wrong with a line is found while it is read. Values; the main
 * thread reads them.
 */
#ifndef HEADUNIT_SCRIPT_H
#define HEADUNIT_SCRIPT_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "QUARLO-Core-Types.h"
#include "Values.h"
#include "common/Player.h"

namespace quarlo::headunit {

/** Keys and values given with an app start. */
using Pairs = std::vector<std::pair<std::string, std::string>>;

/**
 * What a script can do: one function for each call of the host API, and the program's own screen.
 * The main thread calls.
 */
class HeadUnit {
  public:
    HeadUnit() = default;
    virtual ~HeadUnit() = default;
    HeadUnit(const HeadUnit&) = delete;
    HeadUnit& operator=(const HeadUnit&) = delete;

    virtual eReturnCode touch(const std::vector<TouchEvent>& touches) = 0;
    virtual eReturnCode key(Softkey key, SoftkeyEventType event) = 0;
    virtual eReturnCode moving(bool isOn) = 0;
    virtual eReturnCode night(bool isOn) = 0;
    virtual eReturnCode block(BlockMode mode) = 0;
    virtual eReturnCode position(const std::string& sentence) = 0;
    virtual eReturnCode language(const std::string& code) = 0;
    virtual eReturnCode vehicle(UInt32 key, const std::string& json) = 0;
    /** @param request 0 for the phone's latest */
    virtual eReturnCode audio(UInt32 request, AudioStatus status) = 0;
    virtual eReturnCode call(PhoneCallStatus status) = 0;
    virtual eReturnCode voice(VoiceSessionStatus status, VoiceSessionStatusConstraint why) = 0;
    virtual eReturnCode voiceSupport(VoiceSupport support, VoiceSupportConstraint how) = 0;
    virtual eReturnCode apps() = 0;
    virtual eReturnCode icon(const std::string& url, Size size) = 0;
    virtual eReturnCode start(const std::string& url, const Pairs& modes) = 0;
    virtual eReturnCode customString(ClientCustomDataStringType type, const std::string& text) = 0;
    virtual eReturnCode customInt(ClientCustomDataIntType type,
                                  const std::vector<UInt8>& bytes) = 0;
    virtual eReturnCode customKey(ClientCustomDataKeyType type, ClientCustomDataKeyCode code) = 0;
    virtual eReturnCode customCan(ClientCustomDataCanType type, UInt32 identifier,
                                  const std::vector<UInt8>& bytes) = 0;
    virtual eReturnCode customRaw(UInt16 identifier, const std::vector<UInt8>& bytes) = 0;
    virtual eReturnCode change(const Change& change) = 0;
    /** Asks for the screen, beside the requests that go out anyway. */
    virtual eReturnCode update(bool isFull) = 0;
    /** Whether frames are on, so that updates can be waited for. */
    virtual bool hasFrames() const = 0;
    /** Writes the present screen. @return empty, or what went wrong */
    virtual std::string screenshot(const std::string& name) = 0;
};

/** A callback as it was made: its name and what it said. */
struct Event {
    std::string callback;
    std::string text;

    friend bool operator==(const Event&, const Event&) = default;
};

/** What the steps of one script have to do with: the head unit, and what has happened. */
struct Scene {
    HeadUnit& unit;
    std::function<void(const std::string&)> note;  ///< is told of each step as it begins
    History<Event> history;
    History<Event>::Number unheard = 0;  ///< the events before it were waited for, or passed over
    bool sawUpdate = false;              ///< since the step began
    bool sawWhole = false;

    void begin(unsigned line, const std::string& text);
};

/** Calls one after the other, each some time after the one before. */
struct Act {
    struct Call {
        unsigned afterMilliseconds;
        std::function<eReturnCode(HeadUnit&)> make;
    };
    std::vector<Call> calls;
};

using What = Deed<Scene>;
using Step = common::Step<What>;

struct Script {
    std::string file;
    std::vector<Step> steps;
    Size largest;                        ///< of the screens that it asks for; 0 without any
    std::optional<PixelFormat> deepest;  ///< likewise
    bool writesPictures = false;
};

/** @return empty, or what is wrong and allowed: "tour.script:7: ..." */
std::string parseScript(const std::string& file, const std::string& text, Script& script);
/** The same with the file's content. */
std::string readScript(const std::string& file, Script& script);

}  // namespace quarlo::headunit

#endif
