/*
 * The instance record, the process-wide state and the internal functions.
 *
 * A field says which lock guards it: "sync" the library's syncLock, "lock" the instance's
 * internalLock, "receiver" the receiver thread alone, "start" set before the start. Polled fields
 * need none. Neither lock is ever held across a callback, a send or a join, and the two are never
 * nested.
 */
#ifndef QUARLO_INTERNAL_H
#define QUARLO_INTERNAL_H

#include <cstdio>

#include "QUARLO-Core-Engineering-Types.h"
#include "QUARLO-Core-List.h"
#include "QUARLO-Core.h"
#include "QUARLO-LibScale.h"
#include "QUARLO-Polled.h"
#include "QUARLO-Posix.h"
#include "QUARLO-Thread.h"
#include "QUARLO-WireScratch.h"

namespace quarlo {
constexpr qrVersion coreVersion{1, 2, 3};
constexpr qrVersion protocolVersion{1, 2, 0};
}  // namespace quarlo

/** Result of the receive dispatcher. */
typedef enum {
    eRECEIVE_NO_ERROR = 0,
    eRECEIVE_ERROR_NULL_POINTER = 1,
    eRECEIVE_ERROR_UNKNOWN_EVENT = 2,
    eRECEIVE_ERROR_HEADER_ALLOC = 3,
    eRECEIVE_ERROR_UNREACHABLE_UNKNOWN = 4
} ReceiveError;

/** State of the one icon request that may be outstanding. */
typedef enum {
    eICONREQUESTSTATE_Unknown = 0,
    eICONREQUESTSTATE_Requested = 1,
    eICONREQUESTSTATE_Received = 2,
    eICONREQUESTSTATE_Failed = 3
} eIconRequestState;

typedef struct _FRAME_CONFIGURATION_STRUCT {
    qrFrameProperties frameProperties;
    Flag rawFrameOutput;
    UInt32 hostWidth;
    UInt32 hostHeight;
    UInt32 hostPhysicalWidth;
    UInt32 hostPhysicalHeight;
} coreConfiguration;

typedef struct _ICON_CONFIGURATION_STRUCT {
    eIconRequestState eIconReqState;
    UInt16 Width;
    UInt16 Height;
    qrFrameProperties IconProperties;
    qrString* IdentifierURL;
} iconConfiguration;

/** A block of bytes that the phone parked here. */
typedef struct _RAW_DATA_ITEM {
    genericListElement list;
    UInt16 identifier;  // 12 significant bits
    UInt16 length;
    UInt8* data;
} rawDataItem;

/** A vehicle value that the phone asked for, with the last text that the host gave. */
typedef struct _VEHICLE_DATA_ITEM {
    genericListElement list;
    UInt32 key;
    qrString* value;
    UInt16 capacity;  // what the value's content has room for
} vehicleDataItem;

/** One app of the phone's catalogue. */
typedef struct _APP_INFORMATION_ITEM {
    genericListElement list;
    qrAppInformation info;
    Flag isOneBlock;  // what info leads to stands behind the item, in its block
} appInformationItem;

// Fields stand by concern. NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
typedef struct _QUARLO_INSTANCE_STRUCT {
    genericListElement list;  // sync; first, so that the record is an element of instanceList

    /* identity and host binding */
    UInt32 instanceNumber;
    char* hostDescription;
    void* connectionInfo;
    quarlo::Polled<void*> callbackContext;
    quarlo::Polled<quarloReceiverLink> receiver;
    quarlo::Polled<quarloSenderLink> sender;
    quarlo::Polled<quarloProtocolCallback> protocolCallback;
    quarlo::Polled<quarloContextCallback> onEndReceiverRequest;
    quarlo::Polled<quarloContextCallback> onMainThreadStartCallback;
    quarlo::Polled<quarloContextCallback> onMainThreadEndCallback;
    quarlo::Polled<quarloErrorCallback> errorCallback;

    /* threads */
    quarlo::ThreadGroup threads;  // all of them, the audio timers included
    quarlo::Thread receiverThread;
    quarlo::Thread initTimerThread;
    quarlo::Thread watchdogThread;
    quarlo::Thread joinTimerThread;
    quarlo::Polled<Flag> isStarting;
    quarlo::Polled<Flag> mainThreadRunning;            // the receiver has not left its loop
    quarlo::Polled<Flag> mainThreadTerminatedRegular;  // it has, by itself
    quarlo::Polled<Flag> hasBeenRunning;
    quarlo::Polled<Flag> waitForJoinEndFlag;
    quarlo::Polled<UInt8> waitForJoinTime{2};
    quarlo::Polled<Flag> initThreadCreated;
    quarlo::Polled<UInt8> waitForInitTime{60};
    quarlo::Polled<UInt8> watchdogTime;
    quarlo::Polled<UInt8> watchdogCounter;
    quarlo::Polled<Flag> watchdogStartPending;
    quarlo::Polled<UInt32> lastPingCount;
    quarlo::Polled<Flag> sendPingOnWatchdog;
    quarlo::Polled<Flag> shutdownAnnounced;
    quarlo::Polled<Flag> isAlreadyDeleted;
    quarloThread_mutex_t internalLock;

    /* protocol state */
    eProtocolState lastState;  // receiver
    quarlo::Polled<eProtocolState> currentState{ePROTOCOL_STATE_STOP};
    Flag initDoneSent;      // receiver
    Flag initDoneReceived;  // receiver
    Flag runReached;        // receiver; since the start

    /* frame configuration; lock */
    coreConfiguration config{
        {ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_LittleEndian, eFRAMECOMPRESSION_None, 4},
        eFLAG_FALSE,
        1280,
        1024,
        134,
        108};

    /* buffers; receiver */
    UInt8* receiveBuffer;
    UInt32 receiveBufferSize;
    UInt8* decompressionBuffer;
    size_t decompressionBufferSize;
    UInt8* scaleBuffer;
    size_t scaleBufferSize;
    quarlo::wire::Scratch scratch;
    void* inFlight;  // block that a cancelled receiver thread was lending to the host

    /* what the server declared; lock, the rest polled */
    qrString* applicationName;
    qrSoftkeyList* supportedSoftkeys;
    qrSoftkeyList* formerSoftkeys;  // its array may still be in the host's hands
    qrString* operatingSystemName;
    qrString* phoneLauncherUUID;
    quarlo::Polled<Flag> isAllowedWhileMoving;
    quarlo::Polled<ServerCapabilities> serverCapabilities;

    /* what the client declares; lock, the rest polled */
    quarlo::Polled<ClientCapabilities> hostServices{eCLIENTCAPABILITIES_ScreenCopy |
                                                    eCLIENTCAPABILITIES_PacketExtensions};
    qrCustomDataList supportedCustomData;
    UInt8 numberOfCustomKeys;
    ClientCustomDataKeyCode* customKeyList;
    quarlo::Polled<VoiceSupport> voiceSupportInfo;
    quarlo::Polled<VoiceSupportConstraint> voiceSupportConstraint;

    /* feature state; lock */
    genericList rawDataList;  // sync, like the store that all instances share
    UInt8 vehicleDataKeyListLength;
    UInt32* vehicleDataKeyList;
    genericList vehicleDataList;
    genericList appInformationList;
    AppInfoList* appInfoListCopy;
    iconConfiguration iconConfig{
        eICONREQUESTSTATE_Unknown,
        0,
        0,
        {ePIXELFORMAT_ARGB8888, ePIXELENDIANESS_LittleEndian, eFRAMECOMPRESSION_None, 0},
        nullptr};

    /* feature callbacks */
    quarlo::Polled<quarloFrameUpdateStartCallback> frameUpdateStartCallback;
    quarlo::Polled<quarloFrameUpdateCallback> frameUpdateCallback;
    quarlo::Polled<quarloFrameUpdateRawCallback> frameUpdateRawCallback;
    quarlo::Polled<quarloContextCallback> frameUpdateEndCallback;
    quarlo::Polled<quarloInitiatePhoneCallCallback> initiatePhoneCallCallback;
    quarlo::Polled<quarloNavigateToCallback> navigateToCallback;
    quarlo::Polled<quarloFlagCallback> phonecallStatusCallback;
    quarlo::Polled<quarloFlagCallback> appTransitionStatusCallback;
    quarlo::Polled<quarloFlagCallback> appInactiveCallback;
    quarlo::Polled<quarloLauncherStateCallback> launcherStateCallback;
    quarlo::Polled<quarloFlagCallback> pttAvailableCallback;
    quarlo::Polled<quarloFlagCallback> blockStatusCallback;
    quarlo::Polled<quarloVoiceSessionRequestCallback> onVoiceSessionRequestCallback;
    quarlo::Polled<quarloAudioRequestCallback> onAudioRequestCallback;
    quarlo::Polled<quarloCustomDataStringCallback> onCustomDataStringCallback;
    quarlo::Polled<quarloCustomDataIntCallback> onCustomDataIntCallback;
    quarlo::Polled<quarloCustomDataKeyCallback> onCustomDataKeyCallback;
    quarlo::Polled<quarloCustomDataCanCallback> onCustomDataCanCallback;
    quarlo::Polled<quarloCustomDataRawCallback> onCustomDataRawCallback;
    quarlo::Polled<quarloVehicleDataRequestCallback> onVehicleDataRequestCallback;
    quarlo::Polled<quarloContextCallback> onAppListChangedCallback;
    quarlo::Polled<quarloAppIconResponseCallback> onAppIconResponseCallback;
    quarlo::Polled<quarloAppStartedResponseCallback> onAppStartedResponseCallback;

    /* tracing and dump */
    quarlo::Polled<quarloTraceOutput> traceOutput;
    quarlo::Polled<eTraceClass> traceClass{eTRACECLASS_WARNING};
    quarlo::Polled<Flag> dumpEnabled;
    quarloThread_mutex_t dumpLock;  // guards the two below and whole dumps; never nested
    Flag dumpToStdDevice = eFLAG_TRUE;
    FILE* theDumpFile;
} quarlo_CoreInstance;

/* A loaded decompression plug-in; loaded when library is not null. */
typedef struct decompressorStruct {
    FrameCompression compression;
    void* library;
    decompressInitialiseFunction init;
    decompressionFunction decompress;
    UInt16 versionMajor;
    UInt16 versionMinor;
    UInt16 versionBuild;
} decompressor;

typedef struct scaleStruct {
    void* library;
    scaleInitialiseFunction init;
    scaleFunction scale;
    UInt16 versionMajor;
    UInt16 versionMinor;
    UInt16 versionBuild;
} scaler;

extern "C" {

/* ---- process-wide state ---- */

constexpr unsigned coreVersionSize = 128;
extern genericList instanceList;  // sync
extern UInt32 instanceCount;      // sync
extern quarloThread_mutex_t syncLock;
extern char theCoreVersion[coreVersionSize];  // sync
extern FILE* logOut;                          // quarlo_Init
extern Flag isLanguageSet;                    // sync
extern UInt8 ISO639LanguageCode[3];           // sync

/* The plug-in table: changed under an exclusive, used under a shared plug-in lock. */
constexpr unsigned decompressorCount = 32;
extern decompressor decompressorList[decompressorCount];
extern UInt8 decompressorIndexZLIB;
extern UInt8 decompressorIndexJPEG;
extern quarlo::Polled<FrameCompression> supportedCompressions;
extern scaler scaleLib;
extern Flag isScalingLibAvailable;

/* ---- instance: locks, trace, errors, dump, send path ---- */

/* With null they act on the library's syncLock. */
void _quarlo_InitCriticalSection(quarlo_CoreInstance* handle);
void _quarlo_EnterCriticalSection(quarlo_CoreInstance* handle);
void _quarlo_LeaveCriticalSection(quarlo_CoreInstance* handle);
void _quarlo_DestroyCriticalSection(quarlo_CoreInstance* handle);

void _quarlo_traceOutCore(void* context, eTraceClass traceClass, char* text);
char* _quarlo_getReturnCodeName(eReturnCode code);
char* _quarlo_getStateName(eProtocolState state);
char* _quarlo_getErrorName(eErrorCode code);
/** Traces the report and hands it to the error callback, unless shutdown was announced. */
void _errorCall(void* instanceHandle, eErrorCode code);
void _quarlo_DisableDump(quarlo_CoreInstance* handle);
void _quarlo_DumpBuffer(quarlo_CoreInstance* handle, UInt8* buffer, size_t bufferSize,
                        Flag isWrite);
void _quarlo_PrintString(qrString* string);
void _quarlo_PrintLanguage(UInt8* code);

/** (Re)allocates the receive buffer for the configured frame; its size, 0 on failure. */
UInt32 _quarlo_AllocateReceiveBuffer(quarlo_CoreInstance* handle);
/** Makes *pBuffer hold at least the requested size; old contents are lost, a new block is zeros. */
eReturnCode _quarlo_AllocateFrameBuffer(quarlo_CoreInstance* handle, UInt8** pBuffer,
                                        size_t* pBufferSizeValue, size_t requestedSize);
/** Sends and frees the buffer. */
void _quarlo_SendBuffer(void* instance, UInt8* buffer, UInt32 size);

/* ---- plug-ins ---- */

void _quarlo_OpenDecompressionLibs(void);
void _quarlo_CloseDecompressionLibs(void);
void _quarlo_OpenScalingLib(void);
void _quarlo_CloseScalingLib(void);
/** Centres the source, at its own size, in a white destination. */
Int32 _quarlo_ScaleImage(scaleParameter* scalePara, Int32* scaleErrorCode);

/* ---- features: lists, their element operations, and what lifecycle calls ---- */

/* Audio sources of all instances; sync. */
extern genericList audioSourceList;
extern AudioType currentAudioType;  // sync
genericListElement* listFindElementAudioRequestID(genericList* list, genericListElement* probe);
Flag listIsEqualAudioRequestID(genericListElement* a, genericListElement* b);
eReturnCode listFreeElementDataAudio(genericListElement* element);
eReturnCode listPrintElementAudio(genericListElement* element);
AudioType mixAudioTypes(AudioType current, AudioType additional);
void* quarlo_AudioTimeoutThread(void* args);

/* The raw store shared by all instances; sync. */
extern genericList coreRawDataList;
genericListElement* listFindElementRawDataIdentifier(genericList* list, genericListElement* probe);
Flag listIsEqualRawDataItem(genericListElement* a, genericListElement* b);
eReturnCode listFreeElementDataRawDataItem(genericListElement* element);
eReturnCode listPrintElementRawDataItem(genericListElement* element);
eReturnCode _quarlo_storeRawData(quarlo_CoreInstance* obj, genericList* list, UInt16 identifier,
                                 UInt16 length, UInt8* data);
eReturnCode _quarlo_exchangeRawData(rawDataItem* item, UInt16 length, UInt8* data);
eReturnCode _quarlo_getAndSendRawData(quarlo_CoreInstance* obj, genericList* list,
                                      UInt16 identifier);
eReturnCode _quarlo_sendRawData(quarlo_CoreInstance* obj, rawDataItem* item);

/* Custom data received; each drops what it refuses. */
eReturnCode _quarlo_ProcessCustomDataString(quarlo_CoreInstance* obj, UInt16 type, UInt16 length,
                                            UInt8* data);
eReturnCode _quarlo_ProcessCustomDataInt(quarlo_CoreInstance* obj, UInt16 type, UInt16 length,
                                         UInt8* data);
eReturnCode _quarlo_ProcessCustomDataKey(quarlo_CoreInstance* obj, UInt16 type, UInt16 length,
                                         UInt8* data);
eReturnCode _quarlo_ProcessCustomDataCan(quarlo_CoreInstance* obj, UInt16 type, UInt16 length,
                                         UInt8* data);
eReturnCode _quarlo_ProcessCustomDataRaw(quarlo_CoreInstance* obj, UInt16 type, UInt16 length,
                                         UInt8* data);
eReturnCode _quarlo_fillSupportedCustomDataList(quarlo_CoreInstance* obj, UInt8 count,
                                                const ClientCustomDataIntType* types);

/* Vehicle data: the blacklist of all instances (sync) and the values that one phone asks for. */
extern UInt32* vehicleDataBlackList;
extern quarlo::Polled<UInt8> vehicleDataBlackListLength;
genericListElement* listFindElementVehicleDataKey(genericList* list, genericListElement* probe);
Flag listIsEqualVehicleDataKey(genericListElement* a, genericListElement* b);
eReturnCode listFreeElementDataVehicleData(genericListElement* element);
eReturnCode listPrintElementVehicleData(genericListElement* element);
void _clearVehicleDataList(quarlo_CoreInstance* obj);
eReturnCode _quarlo_ProcessSetVehicleDataFilter(quarlo_CoreInstance* obj, UInt8 length,
                                                UInt32* keyList);
eReturnCode _quarlo_ProcessVehicleDataBlackList(quarlo_CoreInstance* obj, UInt32 key);

/* The app catalogue. */
genericListElement* listFindElementAppInformationIdentifierURL(genericList* list,
                                                               genericListElement* probe);
Flag listIsEqualAppInformationIdentifierURL(genericListElement* a, genericListElement* b);
eReturnCode listFreeElementDataAppInformation(genericListElement* element);
eReturnCode listPrintElementAppInformation(genericListElement* element);
eReturnCode _quarlo_CopyAppInformation(qrAppInformation* destination,
                                       const qrAppInformation* source);
eReturnCode _quarlo_CopyAppInformationToExternStruct(AppInfo* destination,
                                                     const qrAppInformation* source);
eReturnCode _quarlo_CopyAppInformationListToExternStruct(AppInfoList* destination,
                                                         genericList* source);
void _quarlo_InitAppInformation(AppInfo* info);
void _quarlo_DeleteAppInformation(AppInfo* info);
eReturnCode _quarlo_CopyKeyValueList(qrKeyValueList* destination, const KeyValueList* source);

/* ---- supervision ---- */

void* quarlo_MainInstanceThread(void* args);
void* quarlo_WatchdogThread(void* args);
void* quarlo_WaitForInitThread(void* args);
void* quarlo_WaitForJoinThread(void* args);
/** A sign of life. */
void quarlo_ResetWatchdog(quarlo_CoreInstance* handle);

/* ---- protocol ---- */

/** One step of the protocol; receiver thread. */
void quarlo_Protocol(void* instanceHandle);

/** The teardown; not the record itself. */
eReturnCode listFreeElementDataInstance(genericListElement* instanceHandle);

/* The handlers of received packets; receiver thread. */
#define QUARLO_HANDLER_ToPhone(Name)
#define QUARLO_HANDLER_FromPhone(Name) \
    void onReceive##Name(quarlo_CoreInstance* obj, packet##Name* pPacket);
#define QUARLO_PACKET(Event, Direction, Name, ...) QUARLO_HANDLER_##Direction(Name)
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) QUARLO_HANDLER_##Direction(Name)
#include "QUARLO.Connector.IVI-API-Catalogue.def"
#undef QUARLO_HANDLER_ToPhone
#undef QUARLO_HANDLER_FromPhone
void onReceiveUnknown(quarlo_CoreInstance* obj, void* bufferPointer);

}  // extern "C"

namespace quarlo {

/* What each feature sets up and releases for the process and for an instance. */
void initAudio();
void shutdownAudio();
/** Ends the instance's audio sources; the last of their timers frees what it uses. */
void removeAudioSources(quarlo_CoreInstance* obj);
void initRawData(genericList* store);
void shutdownVehicleData();
void initVehicleData(quarlo_CoreInstance* obj);
void releaseVehicleData(quarlo_CoreInstance* obj);
void initApps(quarlo_CoreInstance* obj);
void releaseApps(quarlo_CoreInstance* obj);

}  // namespace quarlo

#endif
