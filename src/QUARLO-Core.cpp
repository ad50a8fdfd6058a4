/*
 * Process-wide start-up and shut-down, and the creation, configuration and start of instances. Host
 * threads; syncLock guards the instance list, the version text and the language.
 */
#include <cstring>
#include <memory>

#include "QUARLO-Core-Announcements.h"
#include "QUARLO-Core-Library.h"
#include "QUARLO-ThreadFunctions.h"
#include "QUARLO.Connector.IVI-API_C.h"

genericList instanceList;
UInt32 instanceCount = 0;
char theCoreVersion[coreVersionSize];
Flag isLanguageSet = eFLAG_FALSE;
UInt8 ISO639LanguageCode[3];

namespace quarlo {
namespace {

Polled<Flag> isInitialised;

constexpr const char* systemIdentification = "Linux KTX2.1 ARM11";

/** Puts a text into the shared buffer; one that is there already is not written again, since hosts
 * read it. */
char* setVersionText(const char* text) {
    const Lock library(nullptr);
    if (std::strcmp(theCoreVersion, text) != 0) {
        std::snprintf(theCoreVersion, sizeof theCoreVersion, "%s", text);
    }
    return theCoreVersion;
}

void setDescription(quarlo_CoreInstance* obj, const char* description) {
    if (description == nullptr || *description == '\0') return;
    const std::size_t length = std::strlen(description);
    obj->hostDescription = wire::Heap::make<char>(length + 2);
    if (obj->hostDescription != nullptr) std::memcpy(obj->hostDescription, description, length);
}

void enlist(quarlo_CoreInstance* obj) {
    const Lock library(nullptr);
    obj->instanceNumber = ++instanceCount;
    quarlo::listAppendFresh(&instanceList, &obj->list);
}

quarlo_CoreInstance* firstInstance() {
    const Lock library(nullptr);
    return reinterpret_cast<quarlo_CoreInstance*>(listGetFirstElement(&instanceList));
}

void deleteInstance(quarlo_CoreInstance* obj) {
    listFreeElementDataInstance(&obj->list);
    {
        const Lock library(nullptr);
        listRemoveElement(&instanceList, &obj->list);
    }
    quarlo_free(obj);
}

/* ---- start ---- */

void traceVersions(quarlo_CoreInstance* obj) {
    constexpr eTraceClass information = eTRACECLASS_INFORMATION;
    if (!traces(obj, information)) return;
    constexpr const char* line = "----------------------------------";
    const auto version = [&](const char* label, const qrVersion& v) {
        trace(obj, information, "%s%d.%d.%d", label, v.Major, v.Minor, v.Build);
    };
    trace(obj, information, "%s", line);
    trace(obj, information, "Version information:");
    version("    core............: ", coreVersion);
    version("    protocol........: ", protocolVersion);
    // The buffer that it fills is shared, and other threads may fill it before it is read here.
    quarlo_GetSystemIdentification();
    trace(obj, information, "    system..........: %s", systemIdentification);
    tracePlugins(obj);
    trace(obj, information, "%s", line);
}

/** Starts the initialisation timer; a failure is noted and does not fail the start. */
void startInitTimer(quarlo_CoreInstance* obj, Int32& errorNumber) {
    obj->initThreadCreated = eFLAG_FALSE;
    obj->initTimerThread.end();
    if (obj->waitForInitTime == 0) {
        trace(obj, eTRACECLASS_WARNING,
              "StartMainThread - intentionally no initialization timer thread.");
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "StartMainThread - start initialization timeout");
    const int error = obj->initTimerThread.start(obj->threads, &quarlo_WaitForInitThread, obj);
    if (error == 0) {
        obj->initThreadCreated = eFLAG_TRUE;
        trace(obj, eTRACECLASS_INFORMATION, "init timeout thread handle = 0x%8.8lX",
              obj->initTimerThread.id());
        return;
    }
    trace(obj, eTRACECLASS_WARNING, "StartMainThread - initialization timer thread create failed.");
    obj->waitForInitTime = 0;
    errorNumber = error;
}

void markRunning(quarlo_CoreInstance* obj, Flag isRunning) {
    const Lock lock(obj);
    obj->mainThreadRunning = isRunning;
    obj->mainThreadTerminatedRegular = eFLAG_FALSE;
}

bool startReceiver(quarlo_CoreInstance* obj, Int32& errorNumber) {
    obj->runReached = eFLAG_FALSE;
    markRunning(obj, eFLAG_TRUE);
    const int error = obj->receiverThread.start(obj->threads, &quarlo_MainInstanceThread, obj);
    if (error != 0) {
        markRunning(obj, eFLAG_FALSE);
        trace(obj, eTRACECLASS_ERROR, "start main thread (receiver) FAILED with error code %d",
              error);
        _errorCall(obj, eERRORCODE_RECEIVER_START_FAILED);
        errorNumber = error;
        return false;
    }
    trace(obj, eTRACECLASS_INFORMATION, "Start main thread (receiver)");
    trace(obj, eTRACECLASS_INFORMATION, "main thread handle = 0x%8.8lX", obj->receiverThread.id());
    return true;
}

/** Sees to it that the receiver of the run before has ended; false where nobody may wait for it. */
bool awaitFormerReceiver(quarlo_CoreInstance* obj) {
    if (!obj->receiverThread.isServing()) return true;
    if (!mayWait()) {
        trace(obj, eTRACECLASS_WARNING,
              "StartMainThread - not allowed here before the former receiver thread has ended");
        return false;
    }
    waitForEnd(obj->receiverThread.latestRun());
    return true;
}

Flag startThreads(quarlo_CoreInstance* obj, Int32& errorNumber) {
    if (!awaitFormerReceiver(obj)) return eFLAG_FALSE;
    reapThreads();
    if (_quarlo_AllocateReceiveBuffer(obj) == 0) {
        trace(obj, eTRACECLASS_WARNING,
              "StartMainThread - could not allocate receive buffer; will not start MainThread");
        return eFLAG_FALSE;
    }
    traceVersions(obj);
    startInitTimer(obj, errorNumber);
    return startReceiver(obj, errorNumber) ? eFLAG_TRUE : eFLAG_FALSE;
}

/** Reserves the start for the caller; false while another one is under way, or the instance's end.
 */
bool claimStart(quarlo_CoreInstance* obj) {
    const Lock lock(obj);
    if (obj->isStarting != 0 || obj->isAlreadyDeleted != 0) return false;
    obj->isStarting = eFLAG_TRUE;
    return true;
}

Flag start(quarlo_CoreInstance* obj, Int32& errorNumber) {
    if (obj->mainThreadRunning != 0) {
        errorNumber = 1;
        return eFLAG_TRUE;
    }
    if (obj->sender == nullptr || obj->receiver == nullptr) {
        trace(obj, eTRACECLASS_WARNING,
              "StartMainThread - sender and/or receiver link not set; will not start MainThread");
        return eFLAG_FALSE;
    }
    if (!claimStart(obj)) {
        trace(obj, eTRACECLASS_WARNING,
              "StartMainThread - the instance is being started or deleted; will not start "
              "MainThread");
        return eFLAG_FALSE;
    }
    const Flag isStarted = startThreads(obj, errorNumber);
    obj->isStarting = eFLAG_FALSE;
    wakeThreads();
    return isStarted;
}

/* ---- capabilities and language ---- */

void setCapabilities(quarlo_CoreInstance* obj, ClientCapabilities item, Flag isAvailable) {
    constexpr ClientCapabilities own =
        eCLIENTCAPABILITIES_ScreenCopy | eCLIENTCAPABILITIES_PacketExtensions;
    const bool isAll = item == eCLIENTCAPABILITIES_All;
    if (item == eCLIENTCAPABILITIES_None || (isAll && isAvailable == 0)) {
        trace(obj, eTRACECLASS_WARNING, "all capabilities cleared except the core internal ones.");
        obj->hostServices = own;
    } else if (item == eCLIENTCAPABILITIES_ScreenCopy ||
               item == eCLIENTCAPABILITIES_PacketExtensions) {
        trace(obj, eTRACECLASS_WARNING, "Core internal capabilities may not be altered.");
    } else if (isAvailable == eFLAG_TRUE || isAll) {
        obj->hostServices.setBits(item);
    } else {
        obj->hostServices.clearBits(item & ~own);
    }
}

eReturnCode setLanguage(quarlo_CoreInstance* obj, const UInt8* code) {
    {
        const Lock library(nullptr);
        isLanguageSet = code != nullptr;
        if (code != nullptr) std::memcpy(ISO639LanguageCode, code, sizeof ISO639LanguageCode);
    }
    if (code == nullptr) return eRETURN_NULL_PARAM;
    if (obj != nullptr && inRun(obj)) sendLanguage(obj, code);
    return eRETURN_OKAY;
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" {

void quarlo_Init(void) {
    logOut = stdout;
    quarlo_InitPosix();
    _quarlo_InitCriticalSection(nullptr);
    listInitialize(&instanceList);
    instanceList.freeElementData = &listFreeElementDataInstance;
    quarlo_GetVersion();
    _quarlo_OpenDecompressionLibs();
    _quarlo_OpenScalingLib();
    initAudio();
    initRawData(&coreRawDataList);
    isLanguageSet = eFLAG_FALSE;
    std::memset(ISO639LanguageCode, 0, sizeof ISO639LanguageCode);
    isInitialised = eFLAG_TRUE;
}

void quarlo_Shutdown(void) {
    if (!mayWait()) {
        trace(thisThread.owner, eTRACECLASS_WARNING,
              "Shutdown - not allowed in a callback; ignored.");
        return;
    }
    if (isInitialised.exchange(eFLAG_FALSE) == 0) return;
    // The instances first: their threads use what is freed below.
    while (quarlo_CoreInstance* obj = firstInstance()) deleteInstance(obj);
    shutdownThreads();
    shutdownVehicleData();
    shutdownAudio();
    _quarlo_CloseDecompressionLibs();
    _quarlo_CloseScalingLib();
    listClear(&coreRawDataList);
    _quarlo_DestroyCriticalSection(nullptr);
    quarlo_ShutdownPosix();
}

void* quarlo_CreateInstance(void* theConnection, const char* theDescription) {
    // Without quarlo_Init there is no list that could take it.
    if (isInitialised == 0) return nullptr;
    return inLibrary([&]() -> void* {
        void* memory = quarlo_malloc(sizeof(quarlo_CoreInstance));
        if (memory == nullptr) return nullptr;
        auto* obj = std::construct_at(static_cast<quarlo_CoreInstance*>(memory));
        setDescription(obj, theDescription);
        obj->connectionInfo = theConnection;
        obj->callbackContext = obj;
        obj->traceOutput = &_quarlo_traceOutCore;
        _quarlo_InitCriticalSection(obj);
        quarloThread_mutex_init(&obj->dumpLock, nullptr);
        initRawData(&obj->rawDataList);
        initVehicleData(obj);
        initApps(obj);
        enlist(obj);
        trace(obj, eTRACECLASS_INFORMATION, "new instance created.");
        return obj;
    });
}

void quarlo_StartMainThread(void* instanceHandle) {
    Int32 errorNumber = 0;
    quarlo_StartMainThreadEx(instanceHandle, &errorNumber);
}

Flag quarlo_StartMainThreadEx(void* instanceHandle, Int32* errorNumber) {
    if (errorNumber != nullptr) *errorNumber = 0;
    return api(instanceHandle, Flag{eFLAG_FALSE}, [&](quarlo_CoreInstance* obj) -> Flag {
        if (errorNumber != nullptr) return start(obj, *errorNumber);
        trace(obj, eTRACECLASS_WARNING, "StartMainThread - errorNumber parameter is NULL");
        return eFLAG_FALSE;
    });
}

void quarlo_AnnounceShutdown(void* instanceHandle) {
    api(instanceHandle,
        [](quarlo_CoreInstance* obj) { raiseFlag(obj, &quarlo_CoreInstance::shutdownAnnounced); });
}

void quarlo_DeleteInstance(void* instanceHandle) {
    api(instanceHandle, [](quarlo_CoreInstance* obj) {
        if (!mayWait()) {
            trace(obj, eTRACECLASS_WARNING, "DeleteInstance - not allowed in a callback; ignored.");
            return;
        }
        deleteInstance(obj);
    });
}

void quarlo_SetCallbackContext(void* instanceHandle, void* context) {
    store(instanceHandle, &quarlo_CoreInstance::callbackContext, context, "SetCallbackContext");
}

void quarlo_SetReceiverLink(void* instanceHandle, quarloReceiverLink receiveFunction) {
    store(instanceHandle, &quarlo_CoreInstance::receiver, receiveFunction, "SetReceiverLink");
}

void quarlo_SetSenderLink(void* instanceHandle, quarloSenderLink sendFunction) {
    store(instanceHandle, &quarlo_CoreInstance::sender, sendFunction, "SetSenderLink");
}

eReturnCode quarlo_SetEndReceiverRequestCallback(void* instanceHandle,
                                                 quarloContextCallback onEndReceiverRequest) {
    return store(instanceHandle, &quarlo_CoreInstance::onEndReceiverRequest, onEndReceiverRequest,
                 "SetEndReceiverRequestCallback");
}

void quarlo_SetProtocolCallback(void* instanceHandle, quarloProtocolCallback protocolCallback) {
    store(instanceHandle, &quarlo_CoreInstance::protocolCallback, protocolCallback,
          "SetProtocolCallback");
}

void quarlo_SetOnMainThreadStartCallback(void* instanceHandle, quarloContextCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::onMainThreadStartCallback, callback,
          "SetOnMainThreadStartCallback");
}

void quarlo_SetOnMainThreadEndCallback(void* instanceHandle, quarloContextCallback callback) {
    store(instanceHandle, &quarlo_CoreInstance::onMainThreadEndCallback, callback,
          "SetOnMainThreadEndCallback");
}

void quarlo_SetErrorCallback(void* instanceHandle, quarloErrorCallback errorCallback) {
    store(instanceHandle, &quarlo_CoreInstance::errorCallback, errorCallback, "SetErrorCallback");
}

void* quarlo_GetConnectionInfo(void* instanceHandle) {
    return api(instanceHandle, static_cast<void*>(nullptr), [](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "GetConnectionInfo");
        return obj->connectionInfo;
    });
}

void quarlo_SetClientCapabilities(void* instanceHandle, ClientCapabilities item, Flag isAvailable) {
    api(instanceHandle, [&](quarlo_CoreInstance* obj) {
        trace(obj, eTRACECLASS_INFORMATION, "Client Capability %s (0x%8.8X) %s",
              _quarlo_getClientCapabilitiesName(item), item,
              isAvailable == eFLAG_TRUE ? "enabled" : "disabled");
        setCapabilities(obj, item, isAvailable);
    });
}

eReturnCode quarlo_SetISO639LanguageCode(void* instanceHandle, UInt8* languageCode) {
    // Deliberate: the language is the process's, so a null handle sets it too.
    return inLibrary([&] {
        return setLanguage(static_cast<quarlo_CoreInstance*>(instanceHandle), languageCode);
    });
}

char* quarlo_GetVersion(void) {
    return inLibrary([] {
        char text[coreVersionSize];
        std::snprintf(text, sizeof text, "C%2.2d.%2.2d.%2.2d P%2.2d.%2.2d.%2.2d %s",
                      coreVersion.Major, coreVersion.Minor, coreVersion.Build,
                      protocolVersion.Major, protocolVersion.Minor, protocolVersion.Build,
                      __DATE__);
        return setVersionText(text);
    });
}

char* quarlo_getVersion(void) {
    return quarlo_GetVersion();
}

char* quarlo_GetSystemIdentification(void) {
    return inLibrary([] { return setVersionText(systemIdentification); });
}

}  // extern "C"
