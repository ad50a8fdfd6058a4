/**
 * @file
 * Types of the host API: results, states, error codes, trace classes, host records and callbacks.
 *
 * Unless a callback says otherwise it runs on the instance's receiver thread, its first argument is
 * the context set with quarlo_SetCallbackContext (by default the instance handle), and every
 * pointer it is given is owned by the library and valid only during the call.
 */
#ifndef QUARLO_CORE_TYPES_H
#define QUARLO_CORE_TYPES_H

#include "QUARLO.Connector.IVI-API-Types_C.h"

#ifdef __cplusplus
/* With its underlying type fixed, an enumeration may hold any value that a C host passes. */
#define QUARLO_AS_INT : int
extern "C" {
#else
#define QUARLO_AS_INT
#endif

/** Result of an API function. */
typedef enum eReturnCode QUARLO_AS_INT {
    eRETURN_OKAY = 0,             /**< done */
    eRETURN_NULL_PARAM = -1,      /**< a required pointer argument is null */
    eRETURN_PACKET_MEMORY = -2,   /**< a packet could not be created */
    eRETURN_STATE_NOT_RUN = -3,   /**< called outside ePROTOCOL_STATE_RUN */
    eRETURN_NULL_HANDLE = -4,     /**< the instance handle is null */
    eRETURN_PARAM_VALUE = -5,     /**< an argument's value is not accepted */
    eRETURN_NOT_FOUND = -6,       /**< no such element */
    eRETURN_MEM_ALLOC = -7,       /**< an allocation failed */
    eRETURN_NOT_SUPPORTED = -8,   /**< the phone does not support the feature */
    eRETURN_ALREADY_IN_LIST = -9, /**< the element is already present */
    eRETURN_NOT_ALLOWED = -10     /**< not allowed now */
} eReturnCode;

/** State of the connection; the host is told of RUN and STOP only. */
typedef enum eProtocolState QUARLO_AS_INT {
    ePROTOCOL_STATE_NONE = 0,        /**< started, nothing sent yet */
    ePROTOCOL_STATE_HANDSHAKE = 1,   /**< protocol version sent */
    ePROTOCOL_STATE_INIT_CLIENT = 2, /**< version acknowledged by the phone */
    ePROTOCOL_STATE_INIT_SERVER =
        3,                         /**< head unit described, waiting for the phone's description */
    ePROTOCOL_STATE_INIT_DONE = 4, /**< phone described, waiting for both ends of initialisation */
    ePROTOCOL_STATE_RUN = 5,       /**< features may be used */
    ePROTOCOL_STATE_STOP = 6       /**< not started, refused or ended; final until the next start */
} eProtocolState;

/** What the library reports through the error callback. */
typedef enum eErrorCode QUARLO_AS_INT {
    eERRORCODE_NONE = 0,                      /**< never reported */
    eERRORCODE_CONNECTION_TIMEOUT = 1,        /**< the ping watchdog saw no sign of life */
    eERRORCODE_CONNECTION_EOF_ZERO = 2,       /**< the receiver link failed */
    eERRORCODE_PROTOCOL_STOP = 3,             /**< the connection stopped after RUN, or a handshake
                                                   packet could not be built */
    eERRORCODE_Z_DATA_ERROR = 4,              /**< a zlib rectangle could not be decoded */
    eERRORCODE_MEM_ALLOC = 5,                 /**< an allocation failed */
    eERRORCODE_FRAME_SIZE_MISMATCH = 6,       /**< decoded data do not fit their rectangle */
    eERRORCODE_INITIALIZATION_TIMEOUT = 7,    /**< RUN was not reached in time */
    eERRORCODE_RECEIVER_START_FAILED = 8,     /**< the receiver thread could not be created */
    eERRORCODE_MESSAGE_PROCESSING_FAILED = 9, /**< a packet of an unknown type was received */
    eERRORCODE_JPEG_ERROR = 10,               /**< a JPEG rectangle could not be decoded */
    eERRORCODE_INITIALIZATION_ABORT = 11      /**< the connection ended before RUN */
} eErrorCode;

/** Class of a trace line; an instance's trace class is any combination of these. */
typedef enum eTraceClass QUARLO_AS_INT {
    eTRACECLASS_NONE = 0,
    eTRACECLASS_ERROR = 1,       /**< the connection or a request failed */
    eTRACECLASS_WARNING = 2,     /**< something was ignored or refused */
    eTRACECLASS_INFORMATION = 4, /**< API calls and received packets */
    eTRACECLASS_VERBOSE = 8,     /**< their contents */
    eTRACECLASS_INF_FRAME = 16,  /**< frame and send path, one line per packet */
    eTRACECLASS_VER_FRAME = 32   /**< frame path, several lines per rectangle */
} eTraceClass;

/** Which pixel format quarlo_SetPixelFormatEx sets. */
typedef enum eGraphicType QUARLO_AS_INT {
    eGRAPHICTYPE_Unknown = 0,
    eGRAPHICTYPE_Frame = 1, /**< the phone's screen */
    eGRAPHICTYPE_Icon = 2   /**< app icons */
} eGraphicType;

/** One touch point, in the pixels of the frame size declared with quarlo_SetFrameSize. */
typedef struct {
    TouchType event;
    UInt16 xPosition;
    UInt16 yPosition;
    UInt32 fingerId; /**< ties the events of one finger together */
} TouchEvent;

/** A place as texts (UTF-8, terminated); bit i of validMask says that the i-th text is present. */
typedef struct {
    UInt16 validMask;
    char* Country;
    char* StateRegion;
    char* ZipCode;
    char* City;
    char* Street;
    char* CrossStreet;
    char* Housenumber;
} LocationStrings;

/** Categories of an app. */
typedef struct {
    UInt8 NumberOfCategories;
    UInt32* Categories;
} CategoryList;

/** One app of the phone's catalogue; absent texts are null. */
typedef struct {
    char* IdentifierURL;
    char* Name;
    UInt32 UniqueIconID;
    char* Manufacturer;
    char* Description;
    CategoryList* Categories;
    AppInstallationStatus InstStatus;
    Flag IsAbleToLaunchApps;
    UInt8 arrLanguage[3];
} AppInfo;

/**
 * Host copy of the app catalogue. The count has one byte: of a catalogue of more than 255 apps only
 * the first (length modulo 256) entries are filled, so loop over NumberOfEntries and not over the
 * length.
 */
typedef struct {
    UInt8 NumberOfEntries;
    AppInfo** Entries;
} AppInfoList;

/** An app's icon, decompressed. */
typedef struct {
    char* IdentifierURL;
    UInt32 UniqueIconID;
    UInt32 uncompressedDataLength;
    UInt8* uncompressedData;
} AppIconResponse;

/** One key and value given with an app start. */
typedef struct {
    char* key;
    char* value;
} KeyValue;

/** Keys and values given with an app start; owned by the host. */
typedef struct {
    UInt8 NumberOfEntries;
    KeyValue* Entries;
} KeyValueList;

/**
 * Reads at most size bytes into buffer and returns their count, which is read as a signed 32-bit
 * number: 0 means nothing is available now (the library calls again at once, also with size 0 when
 * its buffer is full, so a polling link waits briefly itself), -1 the end of the connection, any
 * other negative value or more than size a failure. May block; see
 * quarlo_SetEndReceiverRequestCallback.
 */
typedef size_t (*quarloReceiverLink)(void* context, UInt8* buffer, size_t size,
                                     void* connectionInfo);

/**
 * Transmits the whole buffer before it returns; the buffer is lent for the call. Called from the
 * receiver thread, the watchdog and every host thread that calls the API, concurrently: whole
 * buffers must not mix.
 */
typedef void (*quarloSenderLink)(void* context, UInt8* buffer, size_t size, void* connectionInfo);

typedef void (*quarloContextCallback)(void* context);
typedef void (*quarloProtocolCallback)(void* context, eProtocolState state);
/** May be called from any thread of the library and from the host's own calls. */
typedef void (*quarloErrorCallback)(void* context, eErrorCode code);
/** May be called from any thread of the library and from the host's own calls, concurrently. */
typedef void (*quarloTraceOutput)(void* context, eTraceClass traceClass, char* text);

typedef void (*quarloFrameUpdateStartCallback)(void* context, UInt8 numberOfRectangles);
/**
 * One decoded rectangle: rows of width pixels without padding. dataLength rules: an uncompressed
 * rectangle is handed on as it was sent, which may be shorter or longer than its size needs. The
 * data are valid until the call returns.
 */
typedef void (*quarloFrameUpdateCallback)(void* context, UInt8 rectangleIndex, UInt16 x, UInt16 y,
                                          UInt16 width, UInt16 height, UInt8* data,
                                          UInt32 dataLength);
/** One rectangle as the phone sent it, neither checked nor decoded. */
typedef void (*quarloFrameUpdateRawCallback)(void* context, UInt8 rectangleIndex, UInt16 x,
                                             UInt16 y, UInt16 width, UInt16 height, UInt8* data,
                                             UInt32 dataLength, UInt8 scalingPercentageHorizontal,
                                             UInt8 scalingPercentageVertical, PixelFormat format,
                                             PixelEndianess endianess,
                                             FrameCompression compression);

typedef void (*quarloFlagCallback)(void* context, Flag isOn);
typedef void (*quarloLauncherStateCallback)(void* context, LauncherState state);
typedef void (*quarloInitiatePhoneCallCallback)(void* context, char* number, char* displayName);
typedef void (*quarloNavigateToCallback)(void* context, char* displayName, NavigateToType type,
                                         double longitude, double latitude,
                                         LocationStrings* location);
typedef void (*quarloVoiceSessionRequestCallback)(void* context, VoiceRequest request);
/** Also called from an audio source's timer thread when its maximum duration has passed. */
typedef void (*quarloAudioRequestCallback)(void* context, AudioControl command, UInt32 requestID,
                                           AudioType type);
typedef void (*quarloVehicleDataRequestCallback)(void* context, Flag isOn, UInt8 numberOfKeys,
                                                 UInt32* keys);
typedef void (*quarloAppIconResponseCallback)(void* context, AppIconResponse* icon);
typedef void (*quarloAppStartedResponseCallback)(void* context, const char* identifierURL,
                                                 AppStartStatus status);
typedef void (*quarloCustomDataStringCallback)(void* context, ServerCustomDataStringType type,
                                               StringEncoding encoding, char* text);
/** The value's bytes are in the order in which the phone sent them. */
typedef void (*quarloCustomDataIntCallback)(void* context, ServerCustomDataIntType type,
                                            UInt16 length, UInt8* value);
typedef void (*quarloCustomDataKeyCallback)(void* context, ServerCustomDataKeyType type,
                                            ServerCustomDataKeyCode code);
typedef void (*quarloCustomDataCanCallback)(void* context, ServerCustomDataCanType type,
                                            UInt32 identifier, UInt8 dataLengthCode, UInt8* data);
typedef void (*quarloCustomDataRawCallback)(void* context, ServerCustomDataRawType opcode,
                                            UInt16 identifier, UInt16 length, UInt8* data);

#ifdef __cplusplus
}

constexpr eTraceClass operator|(eTraceClass a, eTraceClass b) {
    return static_cast<eTraceClass>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}
constexpr eTraceClass operator&(eTraceClass a, eTraceClass b) {
    return static_cast<eTraceClass>(static_cast<unsigned>(a) & static_cast<unsigned>(b));
}
constexpr eTraceClass operator~(eTraceClass a) {
    return static_cast<eTraceClass>(~static_cast<unsigned>(a) & 0x3FU);
}
#endif

#endif
