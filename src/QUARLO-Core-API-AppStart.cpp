/* App icons and app start, head unit to phone. Host threads; internalLock guards the icon request.
 */
#include <utility>

#include "QUARLO-Core-Strings.h"
#include "QUARLO-Core-Utilities.h"

namespace quarlo {
namespace {

constexpr UInt8 iconBytesPerPixel = 4;

/* ---- icons ---- */

enum class IconFormat { Own, FromFrame, Refused };

/** Icons have four bytes per pixel: their own format, or the screen's, which is then kept. */
IconFormat chooseFormat(quarlo_CoreInstance* obj, qrFrameProperties& chosen) {
    const Lock lock(obj);
    qrFrameProperties& icon = obj->iconConfig.IconProperties;
    const qrFrameProperties& frame = obj->config.frameProperties;
    IconFormat result = IconFormat::Own;
    if (icon.BytesPerPixel != iconBytesPerPixel) {
        if (frame.BytesPerPixel != iconBytesPerPixel) return IconFormat::Refused;
        icon.BytesPerPixel = frame.BytesPerPixel;
        icon.Endianess = frame.Endianess;
        icon.Format = frame.Format;
        result = IconFormat::FromFrame;
    }
    chosen = icon;
    chosen.Compression = eFRAMECOMPRESSION_None;
    return result;
}

bool copyFormat(quarlo_CoreInstance* obj, qrFrameProperties& chosen) {
    switch (chooseFormat(obj, chosen)) {
        case IconFormat::Refused:
            trace(obj, eTRACECLASS_WARNING,
                  "RequestAppIcon - icon format not allowed - use 4 byte coding.");
            return false;
        case IconFormat::FromFrame:
            trace(obj, eTRACECLASS_WARNING, "RequestAppIcon - uses frame format for icon.");
            return true;
        case IconFormat::Own:
            return true;
    }
    return false;
}

/** Remembers the request, replacing the URL of the one before. */
void rememberRequest(quarlo_CoreInstance* obj, qrString* url, UInt16 width, UInt16 height) {
    {
        const Lock lock(obj);
        iconConfiguration& icon = obj->iconConfig;
        std::swap(icon.IdentifierURL, url);
        icon.Width = width;
        icon.Height = height;
        icon.eIconReqState = eICONREQUESTSTATE_Requested;
    }
    wire::Heap::discard(url);
}

eReturnCode fillIconRequest(quarlo_CoreInstance* obj, packetClientRequestAppIcon& packet,
                            const char* identifierURL, UInt16 width, UInt16 height) {
    if (!copyFormat(obj, *packet.IconProperties)) return eRETURN_NOT_ALLOWED;
    quarlo_utilCToStringCopy(identifierURL, packet.IdentifierURL);
    qrString* url = quarlo_utilStringCopy(packet.IdentifierURL);
    const bool isCopied = url != nullptr && url->Length == packet.IdentifierURL->Length;
    if (!isCopied) {
        wire::Heap::discard(url);
        return eRETURN_MEM_ALLOC;
    }
    rememberRequest(obj, url, width, height);
    packet.Width = width;
    packet.Height = height;
    return eRETURN_OKAY;
}

bool isIconPending(quarlo_CoreInstance* obj) {
    const Lock lock(obj);
    return obj->iconConfig.eIconReqState == eICONREQUESTSTATE_Requested;
}

eReturnCode requestIcon(quarlo_CoreInstance* obj, const char* identifierURL, UInt16 width,
                        UInt16 height) {
    if (!hasCapability(obj, eSERVERCAPABILITIES_EnableAppStart,
                       "AppStart feature and therefore RequestAppIcon not supported by phone.")) {
        return eRETURN_NOT_SUPPORTED;
    }
    if (isIconPending(obj)) {
        trace(obj, eTRACECLASS_WARNING,
              "RequestAppIcon for IdentifierURL='%s' is pending; ignored.", identifierURL);
        return eRETURN_NOT_ALLOWED;
    }
    trace(obj, eTRACECLASS_INFORMATION, "RequestAppIcon with IdentifierURL='%s'", identifierURL);
    if (!inRun(obj, "RequestAppIcon received in wrong state; ignored.")) {
        return eRETURN_STATE_NOT_RUN;
    }
    // Deliberate: the text names another packet.
    return send<packetClientRequestAppIcon>(
        obj, "creation of ClientSettings packet failed.", [&](packetClientRequestAppIcon& packet) {
            return fillIconRequest(obj, packet, identifierURL, width, height);
        });
}

/* ---- start ---- */

eReturnCode copyKeyValue(qrKeyValue*& copy, const KeyValue& from) {
    copy = wire::Heap::make<qrKeyValue>();
    if (copy == nullptr) return eRETURN_MEM_ALLOC;
    if (from.key == nullptr || from.value == nullptr) return eRETURN_NULL_PARAM;
    copy->key = quarlo_utilCToString(from.key);
    copy->value = quarlo_utilCToString(from.value);
    const bool isCopied = copy->key != nullptr && copy->value != nullptr;
    return isCopied ? eRETURN_OKAY : eRETURN_MEM_ALLOC;
}

eReturnCode fillList(qrKeyValueList& list, const KeyValueList* from) {
    if (from == nullptr) return eRETURN_OKAY;
    list.NumberOfEntries = from->NumberOfEntries;
    return _quarlo_CopyKeyValueList(&list, from);
}

eReturnCode fillStart(packetClientStartApp& packet, const char* identifierURL,
                      const KeyValueList* launchModes, const KeyValueList* options) {
    quarlo_utilCToStringCopy(identifierURL, packet.IdentifierURL);
    if (packet.IdentifierURL->Length != 0 && packet.IdentifierURL->pContent == nullptr) {
        return eRETURN_MEM_ALLOC;
    }
    const eReturnCode modes = fillList(*packet.LaunchModes, launchModes);
    return modes != eRETURN_OKAY ? modes : fillList(*packet.Options, options);
}

eReturnCode startApp(quarlo_CoreInstance* obj, const char* identifierURL,
                     const KeyValueList* launchModes, const KeyValueList* options) {
    if (!hasCapability(obj, eSERVERCAPABILITIES_EnableAppStart,
                       "AppStart feature and therefore StartApp not supported by phone.")) {
        return eRETURN_NOT_SUPPORTED;
    }
    trace(obj, eTRACECLASS_INFORMATION, "StartApp with IdentifierURL='%s'", identifierURL);
    if (launchModes != nullptr) {
        trace(obj, eTRACECLASS_VERBOSE, "pLaunchModesNoEntries=%d.", launchModes->NumberOfEntries);
    }
    if (options != nullptr) {
        trace(obj, eTRACECLASS_VERBOSE, "pOptionsNoEntries=%d, ", options->NumberOfEntries);
    }
    if (!inRun(obj, "StartApp received in wrong state; ignored.")) return eRETURN_STATE_NOT_RUN;
    return send<packetClientStartApp>(
        obj, "creation of ClientStartApp packet failed.", [&](packetClientStartApp& packet) {
            return fillStart(packet, identifierURL, launchModes, options);
        });
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" {

eReturnCode quarlo_SetAppListChangedCallback(void* instanceHandle, quarloContextCallback callback) {
    return store(instanceHandle, &quarlo_CoreInstance::onAppListChangedCallback, callback,
                 "SetAppListChangedCallback");
}

eReturnCode quarlo_SetAppIconResponseCallback(void* instanceHandle,
                                              quarloAppIconResponseCallback callback) {
    return store(instanceHandle, &quarlo_CoreInstance::onAppIconResponseCallback, callback,
                 "SetAppIconResponseCallback");
}

eReturnCode quarlo_SetAppStartedResponseCallback(void* instanceHandle,
                                                 quarloAppStartedResponseCallback callback) {
    return store(instanceHandle, &quarlo_CoreInstance::onAppStartedResponseCallback, callback,
                 "SetAppStartedResponseCallback");
}

eReturnCode quarlo_RequestAppIcon(void* instanceHandle, const char* identifierURL, UInt16 width,
                                  UInt16 height) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        if (identifierURL == nullptr) return eRETURN_NULL_PARAM;
        return requestIcon(obj, identifierURL, width, height);
    });
}

eReturnCode quarlo_StartApp(void* instanceHandle, const char* identifierURL,
                            KeyValueList* launchModes, KeyValueList* options) {
    return api(instanceHandle, eRETURN_NULL_HANDLE, [&](quarlo_CoreInstance* obj) {
        if (identifierURL == nullptr) return eRETURN_NULL_PARAM;
        return startApp(obj, identifierURL, launchModes, options);
    });
}

eReturnCode _quarlo_CopyKeyValueList(qrKeyValueList* destination, const KeyValueList* source) {
    if (destination == nullptr || source == nullptr) return eRETURN_NULL_PARAM;
    const UInt8 count = source->NumberOfEntries;
    qrKeyValueList copy{count, nullptr};
    destination->paEntries = nullptr;
    if (count == 0) return eRETURN_OKAY;
    if (source->Entries == nullptr) return eRETURN_NULL_PARAM;
    copy.paEntries = wire::Heap::make<qrKeyValue*>(count);
    if (copy.paEntries == nullptr) return eRETURN_MEM_ALLOC;
    for (unsigned i = 0; i < count; ++i) {
        const eReturnCode result = copyKeyValue(copy.paEntries[i], source->Entries[i]);
        if (result == eRETURN_OKAY) continue;
        wire::visitAll(&copy, wire::Release{});
        return result;
    }
    destination->paEntries = copy.paEntries;
    return eRETURN_OKAY;
}

}  // extern "C"
