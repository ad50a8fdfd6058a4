/*
 * What a script does, done: calls of the host API for a running session, and the program's own
 * screen. The main thread calls.
 */
#ifndef HEADUNIT_SCRIPTEDUNIT_H
#define HEADUNIT_SCRIPTEDUNIT_H

#include "Host.h"
#include "Mirror.h"
#include "Script.h"

namespace quarlo::headunit {

class ScriptedUnit : public HeadUnit {
  public:
    ScriptedUnit(Host& host, Mirror& mirror);

    eReturnCode touch(const std::vector<TouchEvent>& touches) override;
    eReturnCode key(Softkey key, SoftkeyEventType event) override;
    eReturnCode moving(bool isOn) override;
    eReturnCode night(bool isOn) override;
    eReturnCode block(BlockMode mode) override;
    eReturnCode position(const std::string& sentence) override;
    eReturnCode language(const std::string& code) override;
    eReturnCode vehicle(UInt32 key, const std::string& json) override;
    eReturnCode audio(UInt32 request, AudioStatus status) override;
    eReturnCode call(PhoneCallStatus status) override;
    eReturnCode voice(VoiceSessionStatus status, VoiceSessionStatusConstraint why) override;
    eReturnCode voiceSupport(VoiceSupport support, VoiceSupportConstraint how) override;
    eReturnCode apps() override;
    eReturnCode icon(const std::string& url, Size size) override;
    eReturnCode start(const std::string& url, const Pairs& modes) override;
    eReturnCode customString(ClientCustomDataStringType type, const std::string& text) override;
    eReturnCode customInt(ClientCustomDataIntType type, const std::vector<UInt8>& bytes) override;
    eReturnCode customKey(ClientCustomDataKeyType type, ClientCustomDataKeyCode code) override;
    eReturnCode customCan(ClientCustomDataCanType type, UInt32 identifier,
                          const std::vector<UInt8>& bytes) override;
    eReturnCode customRaw(UInt16 identifier, const std::vector<UInt8>& bytes) override;
    eReturnCode change(const Change& change) override;
    eReturnCode update(bool isFull) override;
    bool hasFrames() const override;
    std::string screenshot(const std::string& name) override;

  private:
    Host& host;
    Mirror& mirror;
};

}  // namespace quarlo::headunit

#endif
