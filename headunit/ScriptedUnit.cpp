#include "ScriptedUnit.h"

namespace quarlo::headunit {
namespace {

// The library wants bytes that it does not write to as pointers to what can be written.
UInt8* asArgument(const std::vector<UInt8>& bytes) {
    return const_cast<UInt8*>(bytes.data());
}

Flag flag(bool isOn) {
    return isOn ? 1 : 0;
}

}  // namespace

ScriptedUnit::ScriptedUnit(Host& running, Mirror& screen) : host(running), mirror(screen) {}

eReturnCode ScriptedUnit::touch(const std::vector<TouchEvent>& touches) {
    quarlo_TouchEvents(host.instance(), const_cast<TouchEvent*>(touches.data()),
                       static_cast<UInt8>(touches.size()));
    return eRETURN_OKAY;
}

eReturnCode ScriptedUnit::key(Softkey key, SoftkeyEventType event) {
    quarlo_SoftkeyEvent(host.instance(), key, event);
    return eRETURN_OKAY;
}

eReturnCode ScriptedUnit::moving(bool isOn) {
    quarlo_SetMovingStatus(host.instance(), flag(isOn));
    return eRETURN_OKAY;
}

eReturnCode ScriptedUnit::night(bool isOn) {
    quarlo_SetNightMode(host.instance(), flag(isOn));
    return eRETURN_OKAY;
}

eReturnCode ScriptedUnit::block(BlockMode mode) {
    quarlo_SetBlockMode(host.instance(), mode);
    return eRETURN_OKAY;
}

eReturnCode ScriptedUnit::position(const std::string& sentence) {
    quarlo_PositionInformation(host.instance(), sentence.c_str());
    return eRETURN_OKAY;
}

eReturnCode ScriptedUnit::language(const std::string& code) {
    return quarlo_SetISO639LanguageCode(host.instance(),
                                        reinterpret_cast<UInt8*>(const_cast<char*>(code.c_str())));
}

eReturnCode ScriptedUnit::vehicle(UInt32 key, const std::string& json) {
    return quarlo_VehicleData(host.instance(), key, eSTRINGENCODING_UTF8, json.c_str());
}

eReturnCode ScriptedUnit::audio(UInt32 request, AudioStatus status) {
    const UInt32 named = request == 0 ? host.features().latestAudio() : request;
    return quarlo_SetAudioStatus(host.instance(), named, status, eAUDIOREQUESTRESULTCODE_NoError);
}

eReturnCode ScriptedUnit::call(PhoneCallStatus status) {
    quarlo_PhoneCallStatusResponse(host.instance(), status);
    return eRETURN_OKAY;
}

eReturnCode ScriptedUnit::voice(VoiceSessionStatus status, VoiceSessionStatusConstraint why) {
    quarlo_VoiceSessionStatus(host.instance(), status, why);
    return eRETURN_OKAY;
}

eReturnCode ScriptedUnit::voiceSupport(VoiceSupport support, VoiceSupportConstraint how) {
    quarlo_VoiceSupportInfo(host.instance(), support, how);
    return eRETURN_OKAY;
}

eReturnCode ScriptedUnit::apps() {
    return host.features().reportApps(host.instance());
}

eReturnCode ScriptedUnit::icon(const std::string& url, Size size) {
    return host.features().requestIcon(host.instance(), url, size);
}

eReturnCode ScriptedUnit::start(const std::string& url, const Pairs& modes) {
    std::vector<KeyValue> entries;
    for (const auto& [key, value] : modes) {
        entries.push_back({const_cast<char*>(key.c_str()), const_cast<char*>(value.c_str())});
    }
    KeyValueList list{static_cast<UInt8>(entries.size()), entries.data()};
    return quarlo_StartApp(host.instance(), url.c_str(), entries.empty() ? nullptr : &list,
                           nullptr);
}

eReturnCode ScriptedUnit::customString(ClientCustomDataStringType type, const std::string& text) {
    return quarlo_CustomDataString(host.instance(), type, eSTRINGENCODING_UTF8, text.c_str());
}

eReturnCode ScriptedUnit::customInt(ClientCustomDataIntType type, const std::vector<UInt8>& bytes) {
    return quarlo_CustomDataInt(host.instance(), type, static_cast<UInt16>(bytes.size()),
                                asArgument(bytes));
}

eReturnCode ScriptedUnit::customKey(ClientCustomDataKeyType type, ClientCustomDataKeyCode code) {
    return quarlo_CustomDataKey(host.instance(), type, code);
}

eReturnCode ScriptedUnit::customCan(ClientCustomDataCanType type, UInt32 identifier,
                                    const std::vector<UInt8>& bytes) {
    return quarlo_CustomDataCan(host.instance(), type, identifier, static_cast<UInt8>(bytes.size()),
                                asArgument(bytes));
}

eReturnCode ScriptedUnit::customRaw(UInt16 identifier, const std::vector<UInt8>& bytes) {
    return quarlo_CustomDataRaw(host.instance(), identifier, static_cast<UInt16>(bytes.size()),
                                asArgument(bytes));
}

eReturnCode ScriptedUnit::change(const Change& change) {
    mirror.change(change);
    return eRETURN_OKAY;
}

eReturnCode ScriptedUnit::update(bool isFull) {
    mirror.ask(isFull);
    return eRETURN_OKAY;
}

bool ScriptedUnit::hasFrames() const {
    return mirror.hasFrames();
}

std::string ScriptedUnit::screenshot(const std::string& name) {
    return mirror.screenshot(name);
}

}  // namespace quarlo::headunit
