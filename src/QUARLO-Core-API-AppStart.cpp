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

struct IconRequest {
    const char* identifierURL;
    UInt16 width;
    UInt16 height;
};

/** Remembers the request, unless one is pending, and takes the URL of the one before. */
bool isRemembered(quarlo_CoreInstance* obj, const IconRequest& request, qrString*& url) {
    const Lock lock(obj);
    iconConfiguration& icon = obj->iconConfig;
    if (icon.eIconReqState == eICONREQUESTSTATE_Requested) return false;
    std::swap(icon.IdentifierURL, url);
    icon.Width = request.width;
    icon.Height = request.height;
    icon.eIconReqState = eICONREQUESTSTATE_Requested;
    return true;
}

bool isIconPending(quarlo_CoreInstance* obj) {
    const Lock lock(obj);
    return obj->iconConfig.eIconReqState == eICONREQUESTSTATE_Requested;
}

eReturnCode refusePending(quarlo_CoreInstance* obj, const IconRequest& request) {
    trace(obj, eTRACECLASS_WARNING, "RequestAppIcon for IdentifierURL='%s' is pending; ignored.",
          request.identifierURL);
    return eRETURN_NOT_ALLOWED;
}

eReturnCode remember(quarlo_CoreInstance* obj, const IconRequest& request) {
    qrString* url = quarlo_utilCToString(request.identifierURL);
    if (url == nullptr) return eRETURN_MEM_ALLOC;
    const bool isFirst = isRemembered(obj, request, url);
    wire::Heap::discard(url);
    // Another thread may have asked since this call looked.
    return isFirst ? eRETURN_OKAY : refusePending(obj, request);
}

/** A request counts as pending only once its packet can be sent. */
Built buildIconRequest(quarlo_CoreInstance* obj, const IconRequest& request,
                       wire::Outgoing<packetClientRequestAppIcon>& outgoing) {
    const Built built = build(outgoing, [&](packetClientRequestAppIcon& packet) {
        if (!copyFormat(obj, *packet.IconProperties)) return eRETURN_NOT_ALLOWED;
        *packet.IdentifierURL = borrowText(request.identifierURL);
        packet.Width = request.width;
        packet.Height = request.height;
        return eRETURN_OKAY;
    });
    return built.result == eRETURN_OKAY ? remember(obj, request) : built;
}

eReturnCode requestIcon(quarlo_CoreInstance* obj, const IconRequest& request) {
    if (!hasCapability(obj, eSERVERCAPABILITIES_EnableAppStart,
                       "AppStart feature and therefore RequestAppIcon not supported by phone.")) {
        return eRETURN_NOT_SUPPORTED;
    }
    if (isIconPending(obj)) return refusePending(obj, request);
    trace(obj, eTRACECLASS_INFORMATION, "RequestAppIcon with IdentifierURL='%s'",
          request.identifierURL);
    if (!inRun(obj, "RequestAppIcon received in wrong state; ignored.")) {
        return eRETURN_STATE_NOT_RUN;
    }
    wire::Outgoing<packetClientRequestAppIcon> outgoing;
    const Built built = buildIconRequest(obj, request, outgoing);
    // Deliberate: the text names another packet. Programs that read traces know a line by its text,
    // which is a part of the interface.
    return conclude(obj, outgoing, built, "creation of ClientSettings packet failed.");
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

/** A host's list as the packet wants it. */
class Converted {
  public:
    explicit Converted(const KeyValueList* from) {
        if (from == nullptr) return;
        outcome = _quarlo_CopyKeyValueList(&list, from);
        list.NumberOfEntries = list.paEntries == nullptr ? UInt8{0} : from->NumberOfEntries;
    }
    ~Converted() { wire::visitAll(&list, wire::Release{}); }
    Converted(const Converted&) = delete;
    Converted& operator=(const Converted&) = delete;

    qrKeyValueList list{};
    eReturnCode outcome = eRETURN_OKAY;
};

Built buildStart(wire::Outgoing<packetClientStartApp>& outgoing, const char* identifierURL,
                 const KeyValueList* launchModes, const KeyValueList* options) {
    const Converted modes(launchModes);
    if (modes.outcome != eRETURN_OKAY) return modes.outcome;
    const Converted others(options);
    if (others.outcome != eRETURN_OKAY) return others.outcome;
    return build(outgoing, [&](packetClientStartApp& packet) {
        *packet.IdentifierURL = borrowText(identifierURL);
        *packet.LaunchModes = modes.list;
        *packet.Options = others.list;
    });
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
    wire::Outgoing<packetClientStartApp> outgoing;
    const Built built = buildStart(outgoing, identifierURL, launchModes, options);
    return conclude(obj, outgoing, built, "creation of ClientStartApp packet failed.");
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
        return requestIcon(obj, {identifierURL, width, height});
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
