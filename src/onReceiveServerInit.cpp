/*
 * The phone's description of itself. The strings and the softkey list are swapped under
 * internalLock, because host threads read them; a replaced softkey array stays until the next
 * replacement, because its pointer may have been handed out.
 */
#include <algorithm>
#include <utility>

#include "QUARLO-Core-Strings.h"
#include "QUARLO-Core-Utilities.h"
#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo {
namespace {

void print(quarlo_CoreInstance* obj, const packetServerInit& packet) {
    constexpr eTraceClass verbose = eTRACECLASS_VERBOSE;
    const auto text = [&](const char* label, const qrString* string) {
        trace(obj, verbose, "%s%.*s", label, lengthOf(string), bytesOf(string));
    };
    text("    name:           ", packet.Name);
    text("    OS name:        ", packet.ServerOSName);
    text("    Launcher UUID:  ", packet.PhoneLauncherUUID);
    trace(obj, verbose, "    is%s allowed while car is moving",
          packet.IsAllowedWhileMoving == eFLAG_TRUE ? "" : " NOT");
    const qrSoftkeyList& keys = *packet.SupportedSoftkeys;
    trace(obj, verbose, "    supported softkey list length = %d", keys.Length);
    for (unsigned i = 0; i < keys.Length; ++i) {
        trace(obj, verbose, "    supported softkey [%2d] %3d %s", static_cast<int>(i),
              keys.pSoftkeys[i], _quarlo_getSoftkeyName(keys.pSoftkeys[i]));
    }
    trace(obj, verbose, "    capabilities = 0x%X", packet.Capabilities);
}

/** Replaces a stored string by a copy of the received one. */
void storeString(quarlo_CoreInstance* obj, qrString* quarlo_CoreInstance::*field,
                 const qrString* received, const char* failed) {
    qrString* copy = quarlo_utilStringCopy(received);
    {
        const Lock lock(obj);
        std::swap(obj->*field, copy);
    }
    wire::Heap::discard(copy);
    if (obj->*field == nullptr) outOfMemory(obj, failed);
}

/** A heap copy of the list; null, and the text of the failure, when there is no memory. */
qrSoftkeyList* copySoftkeys(const qrSoftkeyList& received, const char*& failure) {
    auto* list = wire::Heap::make<qrSoftkeyList>();
    if (list == nullptr) {
        failure = "cannot allocate memory for supported softkey list.";
        return nullptr;
    }
    if (received.Length == 0) return list;
    list->pSoftkeys = wire::Heap::make<Softkey>(received.Length);
    if (list->pSoftkeys == nullptr) {
        failure = "cannot allocate memory for softkeys.";
        quarlo_free(list);
        return nullptr;
    }
    list->Length = received.Length;
    std::copy_n(received.pSoftkeys, received.Length, list->pSoftkeys);
    return list;
}

void storeSoftkeys(quarlo_CoreInstance* obj, const qrSoftkeyList& received) {
    if (received.Length >= 5) {
        trace(obj, eTRACECLASS_WARNING, "number of supported softkeys larger than 4.");
    }
    const char* failure = nullptr;
    qrSoftkeyList* list = copySoftkeys(received, failure);
    qrSoftkeyList* oldest = nullptr;
    {
        const Lock lock(obj);
        oldest = std::exchange(obj->formerSoftkeys, obj->supportedSoftkeys);
        obj->supportedSoftkeys = list;
    }
    wire::Heap::discard(oldest);
    if (failure != nullptr) outOfMemory(obj, failure);
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" void onReceiveServerInit(quarlo_CoreInstance* obj, packetServerInit* pPacket) {
    // Deliberate: the wrong-state text names the acknowledge. Programs that read traces know a line
    // by its text, which is a part of the interface.
    if (!accept(obj, pPacket, "ServerInit() called with NULL packet.",
                "ServerInitAcknowledge received in wrong state; ignored.",
                ePROTOCOL_STATE_INIT_SERVER, eTRACECLASS_ERROR)) {
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "QUARLO: ServerInit");
    if (traces(obj, eTRACECLASS_VERBOSE)) print(obj, *pPacket);
    obj->isAllowedWhileMoving = pPacket->IsAllowedWhileMoving;
    obj->serverCapabilities = pPacket->Capabilities;
    storeString(obj, &quarlo_CoreInstance::applicationName, pPacket->Name,
                "error creating ApplicationName string.");
    storeSoftkeys(obj, *pPacket->SupportedSoftkeys);
    storeString(obj, &quarlo_CoreInstance::operatingSystemName, pPacket->ServerOSName,
                "error creating OperatingSystemName string.");
    storeString(obj, &quarlo_CoreInstance::phoneLauncherUUID, pPacket->PhoneLauncherUUID,
                "error creating PhoneLauncherUUID string.");
    obj->currentState = ePROTOCOL_STATE_INIT_DONE;
}
