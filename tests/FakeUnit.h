/*
 * A head unit that writes down what it is told to do; it refuses calls when it is to.
 */
#ifndef TESTS_FAKEUNIT_H
#define TESTS_FAKEUNIT_H

#include <string>
#include <vector>

#include "Reports.h"
#include "Script.h"
#include "common/Log.h"

namespace quarlo::headunit {

class FakeUnit : public HeadUnit {
  public:
    std::vector<std::string> lines;
    eReturnCode result = eRETURN_OKAY;
    bool areFramesOn = true;
    std::string pictureProblem;

    eReturnCode touch(const std::vector<TouchEvent>& touches) override {
        std::string text = "touch";
        for (const TouchEvent& t : touches) {
            text += " " + wireName(t.event) +
                    format(" %u,%u #%u", t.xPosition, t.yPosition, t.fingerId);
        }
        return did(text);
    }
    eReturnCode key(Softkey key, SoftkeyEventType event) override {
        return did("key " + wireName(key) + " " + wireName(event));
    }
    eReturnCode moving(bool isOn) override { return did(format("moving %d", isOn)); }
    eReturnCode night(bool isOn) override { return did(format("night %d", isOn)); }
    eReturnCode block(BlockMode mode) override { return did("block " + wireName(mode)); }
    eReturnCode position(const std::string& text) override { return did("position " + text); }
    eReturnCode language(const std::string& code) override { return did("language " + code); }
    eReturnCode vehicle(UInt32 key, const std::string& json) override {
        return did("vehicle " + std::to_string(key) + " " + json);
    }
    eReturnCode audio(UInt32 request, AudioStatus status) override {
        return did("audio " + std::to_string(request) + " " + wireName(status));
    }
    eReturnCode call(PhoneCallStatus status) override { return did("call " + wireName(status)); }
    eReturnCode voice(VoiceSessionStatus status, VoiceSessionStatusConstraint why) override {
        return did("voice " + wireName(status) + " " + wireName(why));
    }
    eReturnCode voiceSupport(VoiceSupport support, VoiceSupportConstraint how) override {
        return did("voice-support " + wireName(support) + " " + wireName(how));
    }
    eReturnCode apps() override { return did("apps"); }
    eReturnCode icon(const std::string& url, Size size) override {
        return did("icon " + url + format(" %ux%u", size.width, size.height));
    }
    eReturnCode start(const std::string& url, const Pairs& modes) override {
        std::string text = "start " + url;
        for (const auto& [key, value] : modes) text += " [" + key + "][" + value + "]";
        return did(text);
    }
    eReturnCode customString(ClientCustomDataStringType type, const std::string& text) override {
        return did("string " + wireName(type) + " " + text);
    }
    eReturnCode customInt(ClientCustomDataIntType type, const std::vector<UInt8>& bytes) override {
        return did("int " + wireName(type) + " " + hexadecimal(bytes));
    }
    eReturnCode customKey(ClientCustomDataKeyType type, ClientCustomDataKeyCode code) override {
        return did("key " + wireName(code) + " " + wireName(type));
    }
    eReturnCode customCan(ClientCustomDataCanType type, UInt32 identifier,
                          const std::vector<UInt8>& bytes) override {
        return did("can " + wireName(type) + format(" %X ", identifier) + hexadecimal(bytes));
    }
    eReturnCode customRaw(UInt16 identifier, const std::vector<UInt8>& bytes) override {
        return did(format("raw %X ", identifier) + hexadecimal(bytes));
    }
    eReturnCode change(const Change& change) override {
        return did("change " + std::to_string(change.index()));
    }
    eReturnCode update(bool isFull) override { return did(isFull ? "update full" : "update"); }
    bool hasFrames() const override { return areFramesOn; }
    std::string screenshot(const std::string& name) override {
        did("screenshot " + name);
        return pictureProblem;
    }

  private:
    eReturnCode did(const std::string& line) {
        lines.push_back(line);
        return result;
    }
};

}  // namespace quarlo::headunit

#endif
