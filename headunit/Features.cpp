#include "Features.h"

#include <array>
#include <vector>

#include "Compositor.h"
#include "Host.h"
#include "common/PngWriter.h"

namespace quarlo::headunit {
namespace {

constexpr PixelLayout iconLayout{ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_LittleEndian};

Features& featuresOf(void* context) {
    return static_cast<Host*>(context)->features();
}

template <UInt16 (*get)(void*, char*, UInt16)>
std::string textFrom(void* instance) {
    std::vector<char> text(65536);
    get(instance, text.data(), static_cast<UInt16>(text.size() - 1));
    return quoted(text.data());
}

}  // namespace

Features::Features(const Options& given, Log& output, Mailbox& receiver)
    : options(given), log(output), mailbox(receiver) {}

void Features::attach(void* instanceHandle) {
    instance = instanceHandle;
    registerStates();
    registerServices();
    registerCustomData();
    declare();
}

void Features::tell(const char* callback, const std::string& text) {
    log.line("CALL", callback + (text.empty() ? "" : " " + text));
    mailbox.happened({callback, text});
}

void Features::registerStates() {
    quarlo_SetBlockStatusCallback(instance, [](void* context, Flag isOn) {
        featuresOf(context).tell("block", isOn != 0 ? "on" : "off");
    });
    quarlo_SetPhonecallStatusCallback(instance, [](void* context, Flag isOn) {
        featuresOf(context).tell("call-status", isOn != 0 ? "on" : "off");
    });
    quarlo_SetAppTransitionStatusCallback(instance, [](void* context, Flag isOn) {
        featuresOf(context).tell("transition", isOn != 0 ? "on" : "off");
    });
    quarlo_SetAppInactiveCallback(instance, [](void* context, Flag isOn) {
        featuresOf(context).tell("inactive", isOn != 0 ? "on" : "off");
    });
    quarlo_SetPTTAvailableCallback(instance, [](void* context, Flag isOn) {
        featuresOf(context).tell("ptt", isOn != 0 ? "on" : "off");
    });
    quarlo_SetLauncherStateCallback(instance, [](void* context, LauncherState state) {
        featuresOf(context).tell("launcher", wireName(state));
    });
}

void Features::registerServices() {
    quarlo_SetVehicleDataRequestCallback(
        instance, [](void* context, Flag isOn, UInt8 count, UInt32* keys) {
            featuresOf(context).tell("vehicle-data", reportKeys(isOn != 0, {keys, count}));
        });
    quarlo_SetAudioRequestCallback(
        instance, [](void* context, AudioControl command, UInt32 request, AudioType type) {
            featuresOf(context).onAudio(command, request, type);
        });
    quarlo_SetInitiatePhoneCallCallback(instance, [](void* context, char* number, char* name) {
        featuresOf(context).tell("call", quoted(number) + " " + quoted(name));
    });
    quarlo_SetNavigateToCallback(
        instance, [](void* context, char* name, NavigateToType type, double longitude,
                     double latitude, LocationStrings* location) {
            featuresOf(context).tell("navigate",
                                     reportPlace(name, type, longitude, latitude, location));
        });
    quarlo_SetVoiceSessionRequestCallback(instance, [](void* context, VoiceRequest request) {
        featuresOf(context).tell("voice", wireName(request));
    });
    quarlo_SetAppListChangedCallback(
        instance, [](void* context) { featuresOf(context).tell("app-list", "changed"); });
    quarlo_SetAppIconResponseCallback(
        instance, [](void* context, AppIconResponse* icon) { featuresOf(context).onIcon(*icon); });
    quarlo_SetAppStartedResponseCallback(
        instance, [](void* context, const char* url, AppStartStatus status) {
            featuresOf(context).tell("app-started", quoted(url) + " " + wireName(status));
        });
}

void Features::registerCustomData() {
    quarlo_SetCustomDataStringCallback(instance, [](void* context, ServerCustomDataStringType type,
                                                    StringEncoding encoding, char* text) {
        const bool isLatin1 = encoding == eSTRINGENCODING_ASCII_LATIN1;
        featuresOf(context).tell(
            "custom-string", wireName(type) + " " + (isLatin1 ? quotedLatin1(text) : quoted(text)));
    });
    quarlo_SetCustomDataIntCallback(
        instance, [](void* context, ServerCustomDataIntType type, UInt16 length, UInt8* value) {
            featuresOf(context).tell("custom-int", reportNumber(type, {value, length}));
        });
    quarlo_SetCustomDataKeyCallback(
        instance, [](void* context, ServerCustomDataKeyType type, ServerCustomDataKeyCode code) {
            featuresOf(context).tell("custom-key", wireName(code) + " " + wireName(type));
        });
    quarlo_SetCustomDataCanCallback(instance, [](void* context, ServerCustomDataCanType type,
                                                 UInt32 identifier, UInt8 length, UInt8* data) {
        featuresOf(context).tell("custom-can", reportBusMessage(type, identifier, {data, length}));
    });
    quarlo_SetCustomDataRawCallback(instance, [](void* context, ServerCustomDataRawType operation,
                                                 UInt16 identifier, UInt16 length, UInt8* data) {
        const std::size_t size = data == nullptr ? 0 : length;
        featuresOf(context).onBlock(operation, identifier, {data, size});
    });
}

void Features::declare() {
    quarlo_SetClientCapabilities(
        instance,
        eCLIENTCAPABILITIES_PartialFrameUpdate | eCLIENTCAPABILITIES_InitiatePhoneCall |
            eCLIENTCAPABILITIES_NavigateTo | eCLIENTCAPABILITIES_PositionInformation |
            eCLIENTCAPABILITIES_AudioHandling,
        1);
    quarlo_SetPixelFormatEx(instance, eGRAPHICTYPE_Icon, iconLayout.format, 4, iconLayout.order);
    std::array numbers{eCLIENTCUSTOMDATAINTTYPE_ScreenTest,
                       eCLIENTCUSTOMDATAINTTYPE_ZelHUTunerClient,
                       eCLIENTCUSTOMDATAINTTYPE_GetCanAmbientlight};
    quarlo_SetSupportedCustomData(instance, static_cast<UInt8>(numbers.size()), numbers.data());
    std::vector<ClientCustomDataKeyCode> keys;
    for (const NamedValue& key : valuesOf(std::type_identity<ClientCustomDataKeyCode>())) {
        keys.push_back(static_cast<ClientCustomDataKeyCode>(key.value));
    }
    quarlo_SetCustomKeysSupported(instance, static_cast<UInt8>(keys.size()), keys.data());
}

// A script answers by itself; otherwise whatever wants to sound may sound.
void Features::onAudio(AudioControl command, UInt32 request, AudioType type) {
    audioRequest = request;
    tell("audio", wireName(command) + " " + std::to_string(request) + " " + wireName(type));
    if (options.script) return;
    const bool isRequest = command == eAUDIOCONTROL_Request;
    quarlo_SetAudioStatus(instance, request, isRequest ? eAUDIOSTATUS_Open : eAUDIOSTATUS_Close,
                          eAUDIOREQUESTRESULTCODE_NoError);
}

void Features::onBlock(ServerCustomDataRawType operation, UInt16 identifier,
                       std::span<const UInt8> bytes) {
    HostStore::Outcome outcome = store.apply(operation, identifier, bytes);
    tell("custom-raw", reportBlock(operation, identifier, bytes) + ", " + outcome.remark);
    if (!outcome.answer) return;
    quarlo_CustomDataRaw(instance, identifier, static_cast<UInt16>(outcome.answer->size()),
                         outcome.answer->data());
}

void Features::onIcon(const AppIconResponse& icon) {
    tell("icon", quoted(icon.IdentifierURL) + " icon " + std::to_string(icon.UniqueIconID) +
                     format(", %u bytes, ", icon.uncompressedDataLength) + saveIcon(icon));
}

// Only what was asked for becomes a file, so that a phone cannot fill the disk.
std::string Features::saveIcon(const AppIconResponse& icon) {
    const std::lock_guard guard(lock);
    if (icon.IdentifierURL == nullptr || iconUrl.empty() || iconUrl != icon.IdentifierURL) {
        return "not asked for";
    }
    iconUrl.clear();
    if (options.output.empty()) return "not written without --output";
    Picture picture(iconSize);
    const UInt32 length = icon.uncompressedData == nullptr ? 0 : icon.uncompressedDataLength;
    const DrawResult result = draw(picture, {0, 0, iconSize.width, iconSize.height},
                                   {iconSize, iconLayout, {icon.uncompressedData, length}});
    if (!isDrawn(result)) return describe(result);
    const std::string file = "icon-" + std::to_string(icon.UniqueIconID) + ".png";
    const std::string problem = writePng(picture, options.output + "/" + file);
    return problem.empty() ? "written to " + file : "cannot write " + problem;
}

eReturnCode Features::requestIcon(void* borrowed, const std::string& url, Size size) {
    const std::lock_guard guard(lock);
    const eReturnCode result = quarlo_RequestAppIcon(
        borrowed, url.c_str(), static_cast<UInt16>(size.width), static_cast<UInt16>(size.height));
    if (result != eRETURN_OKAY) return result;
    iconUrl = url;
    iconSize = size;
    return result;
}

void Features::reportPhone() {
    tell("phone", textFrom<quarlo_GetServerAppName>(instance) + " on " +
                      textFrom<quarlo_GetServerOSName>(instance) + ", launcher " +
                      textFrom<quarlo_GetLauncherUUID>(instance) + ", can " +
                      flagsAmong(valuesOf(std::type_identity<ServerCapabilitiesBits>()),
                                 quarlo_GetServerCapabilities(instance)));
    UInt8 count = 0;
    Softkey* keys = nullptr;
    quarlo_GetAvailableSoftkeys(instance, &count, &keys);
    std::string names;
    for (unsigned i = 0; i < count; ++i) names += (i == 0 ? "" : " ") + wireName(keys[i]);
    tell("softkeys", names);
}

eReturnCode Features::reportApps(void* borrowed) {
    UInt32 total = 0;
    AppInfoList* list = nullptr;
    const eReturnCode result = quarlo_CreateAppInfoList(borrowed, &total, &list);
    if (result != eRETURN_OKAY) return result;
    tell("apps", std::to_string(total));
    for (unsigned i = 0; i < list->NumberOfEntries; ++i) tell("app", reportApp(*list->Entries[i]));
    return quarlo_DeleteAppInfoList(borrowed, list);
}

}  // namespace quarlo::headunit
