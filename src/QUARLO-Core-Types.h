/**
 * @file
 * Types of the host API: results, states, error codes, trace classes, host records and callbacks.
 *
 * Unless a callback says otherwise it runs on the instance's receiver thread, which reads nothing
 * meanwhile: return soon. Its first argument is the context set with quarlo_SetCallbackContext (by
 * default the instance handle), and every pointer it is given is owned by the library and valid
 * only during the call. It may call the host API, but neither delete an instance nor shut the
 * library down.
 *
 * Texts from the phone are terminated copies of the bytes that it sent, which nothing checks or
 * converts: UTF-8 from most phones, but a phone may declare ISO 8859-1 for any of them, and only
 * quarloCustomDataStringCallback tells. A text that is empty, or for which there is no memory, is
 * null unless said otherwise.
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
    eTRACECLASS_NONE = 0,        /**< nothing is traced */
    eTRACECLASS_ERROR = 1,       /**< the connection or a request failed */
    eTRACECLASS_WARNING = 2,     /**< something was ignored or refused */
    eTRACECLASS_INFORMATION = 4, /**< API calls and received packets */
    eTRACECLASS_VERBOSE = 8,     /**< their contents */
    eTRACECLASS_INF_FRAME = 16,  /**< frame and send path, one line per packet */
    eTRACECLASS_VER_FRAME = 32   /**< frame path, several lines per rectangle */
} eTraceClass;

/** Which pixel format quarlo_SetPixelFormatEx sets. */
typedef enum eGraphicType QUARLO_AS_INT {
    eGRAPHICTYPE_Unknown = 0, /**< refused */
    eGRAPHICTYPE_Frame = 1,   /**< the phone's screen */
    eGRAPHICTYPE_Icon = 2     /**< app icons */
} eGraphicType;

/** One touch point, in the pixels of the frame size declared with quarlo_SetFrameSize. */
typedef struct {
    TouchType event;  /**< what the finger did */
    UInt16 xPosition; /**< from the left */
    UInt16 yPosition; /**< from the top */
    UInt32 fingerId;  /**< ties the events of one finger together, from down to up */
} TouchEvent;

/** A place as texts; those that are absent are null. */
typedef struct {
    UInt16 validMask;  /**< bit i: the i-th of the texts is present, Country being bit 0 */
    char* Country;     /**< name of the country */
    char* StateRegion; /**< state or region */
    char* ZipCode;     /**< postal code */
    char* City;        /**< town */
    char* Street;      /**< street */
    char* CrossStreet; /**< street that crosses it */
    char* Housenumber; /**< number in the street, with letters if it has any */
} LocationStrings;

/** Categories of an app. */
typedef struct {
    UInt8 NumberOfCategories; /**< length of Categories */
    UInt32* Categories;       /**< numbers that phone and head unit know the meaning of */
} CategoryList;

/** One app of the phone's catalogue. */
typedef struct {
    char* IdentifierURL;              /**< names the app in requests */
    char* Name;                       /**< to be shown */
    UInt32 UniqueIconID;              /**< names the icon; the same in AppIconResponse */
    char* Manufacturer;               /**< to be shown */
    char* Description;                /**< to be shown */
    CategoryList* Categories;         /**< never null */
    AppInstallationStatus InstStatus; /**< whether it can be started */
    Flag IsAbleToLaunchApps;          /**< 1: it starts others, as a launcher does */
    UInt8 arrLanguage[3];             /**< ISO 639-2 code of the texts' language, not terminated */
} AppInfo;

/**
 * Host copy of the app catalogue. The count has one byte: of a catalogue of more than 255 apps only
 * the first (length modulo 256) entries are filled, so loop over NumberOfEntries and not over the
 * length.
 */
typedef struct {
    UInt8 NumberOfEntries; /**< how many Entries are filled */
    AppInfo** Entries;     /**< in the phone's order; owned like the list */
} AppInfoList;

/** An app's icon, decompressed. */
typedef struct {
    char* IdentifierURL;           /**< the app; never null */
    UInt32 UniqueIconID;           /**< the same as in AppInfo */
    UInt32 uncompressedDataLength; /**< bytes; of a compressed icon the requested width x height x
                                        4, of an uncompressed one what the phone sent */
    UInt8* uncompressedData;       /**< rows without padding, in the format of icons; may be null
                                        when the length is 0 */
} AppIconResponse;

/** One key and value given with an app start: terminated UTF-8 texts, not null. */
typedef struct {
    char* key;   /**< what it sets; known to the app */
    char* value; /**< to what */
} KeyValue;

/** Keys and values given with an app start; owned by the host. */
typedef struct {
    UInt8 NumberOfEntries; /**< length of Entries */
    KeyValue* Entries;     /**< may be null when there are none */
} KeyValueList;

/**
 * The host's function that reads from the transport. Called by the receiver thread, again and again
 * until the connection ends. May block, if quarlo_SetEndReceiverRequestCallback can make it return;
 * without that it is cancelled when the instance is deleted, and must hold nothing then.
 * @param buffer,size where to put what was read, and how much of it at most, in bytes
 * @param connectionInfo what quarlo_CreateInstance was given
 * @return the bytes read. 0: nothing is available now; the library calls again at once, also with
 * size 0 when its buffer is full, so a polling link waits briefly itself. As a signed 32-bit
 * number -1: the end of the connection; any other negative value, or more than size: a failure
 */
typedef size_t (*quarloReceiverLink)(void* context, UInt8* buffer, size_t size,
                                     void* connectionInfo);

/**
 * The host's function that writes to the transport. Called by the receiver, watchdog and audio
 * timer threads and by every host thread that calls the API, concurrently: whole buffers must not
 * mix. Returns when all is sent or will never be; a failure shows in the receiver link.
 * @param buffer,size what to send, one whole packet; in bytes
 * @param connectionInfo what quarlo_CreateInstance was given
 */
typedef void (*quarloSenderLink)(void* context, UInt8* buffer, size_t size, void* connectionInfo);

/** Something happened; see the function that sets the callback for what and on which thread. */
typedef void (*quarloContextCallback)(void* context);

/**
 * The connection has reached a state.
 * @param state ePROTOCOL_STATE_RUN or ePROTOCOL_STATE_STOP
 */
typedef void (*quarloProtocolCallback)(void* context, eProtocolState state);

/**
 * Something failed. Comes on the receiver thread, on the timer that noticed it (watchdog,
 * initialisation), and on a host thread inside the call that failed; on several at once.
 * @param code which failure; that the connection is over is said by ePROTOCOL_STATE_STOP alone
 */
typedef void (*quarloErrorCallback)(void* context, eErrorCode code);

/**
 * Takes a line of the trace. Comes on any thread of the library and of the host, inside its calls,
 * on several at once. Must not call the API.
 * @param traceClass one class; quarlo_getTraceClassPrefix gives it as text
 * @param text terminated, usually one line of less than 1024 bytes; may hold bytes that the phone
 * sent
 */
typedef void (*quarloTraceOutput)(void* context, eTraceClass traceClass, char* text);

/**
 * An update of the screen begins.
 * @param numberOfRectangles 0 to 255; fewer follow when one cannot be decoded
 */
typedef void (*quarloFrameUpdateStartCallback)(void* context, UInt8 numberOfRectangles);

/**
 * One decoded rectangle, enlarged to full size if it was sent reduced.
 * @param rectangleIndex its place in the update, from 0
 * @param x,y,width,height where it belongs, in pixels; as the phone says, so it may lie outside the
 * screen
 * @param data rows of width pixels without padding, in the format of quarlo_SetPixelFormat; may be
 * null when dataLength is 0
 * @param dataLength bytes. It rules: an uncompressed rectangle is handed on as it was sent, which
 * may be shorter or longer than its size needs
 */
typedef void (*quarloFrameUpdateCallback)(void* context, UInt8 rectangleIndex, UInt16 x, UInt16 y,
                                          UInt16 width, UInt16 height, UInt8* data,
                                          UInt32 dataLength);

/**
 * One rectangle as the phone sent it, neither checked nor decoded.
 * @param rectangleIndex its place in the update, from 0
 * @param x,y,width,height in pixels, of the reduced size if it was sent reduced
 * @param data,dataLength the bytes as sent, compressed or not; null and 0 when there are none
 * @param scalingPercentageHorizontal,scalingPercentageVertical size as sent in percent of the size
 * to be shown; both 100 or both 0: as it is
 * @param format,endianess,compression how the bytes are to be read; any value the phone sent
 */
typedef void (*quarloFrameUpdateRawCallback)(void* context, UInt8 rectangleIndex, UInt16 x,
                                             UInt16 y, UInt16 width, UInt16 height, UInt8* data,
                                             UInt32 dataLength, UInt8 scalingPercentageHorizontal,
                                             UInt8 scalingPercentageVertical, PixelFormat format,
                                             PixelEndianess endianess,
                                             FrameCompression compression);

/**
 * The phone reports something that is on or off.
 * @param isOn 1 or 0; of the block status any value the phone sent
 */
typedef void (*quarloFlagCallback)(void* context, Flag isOn);

/**
 * The phone reports its launcher.
 * @param state any value the phone sent
 */
typedef void (*quarloLauncherStateCallback)(void* context, LauncherState state);

/**
 * The phone asks the head unit to dial; answer with quarlo_PhoneCallStatusResponse.
 * @param number never null
 * @param displayName who is called, to be shown; may be null
 */
typedef void (*quarloInitiatePhoneCallCallback)(void* context, char* number, char* displayName);

/**
 * The phone asks the head unit to guide to a place.
 * @param displayName to be shown; may be null
 * @param type whether there is a position, a placemark or both; any value the phone sent
 * @param longitude,latitude degrees, WGS 84, east and north positive; both 0.0 without a position
 * @param location null without a placemark
 */
typedef void (*quarloNavigateToCallback)(void* context, char* displayName, NavigateToType type,
                                         double longitude, double latitude,
                                         LocationStrings* location);

/**
 * The phone asks for a voice session or ends it; answer with quarlo_VoiceSessionStatus.
 * @param request any value the phone sent
 */
typedef void (*quarloVoiceSessionRequestCallback)(void* context, VoiceRequest request);

/**
 * The phone asks for the loudspeakers, or gives them back. The release comes on the source's timer
 * thread when the library makes it, because the maximum duration has passed.
 * @param command request or release
 * @param requestID names the request in quarlo_SetAudioStatus; chosen by the phone
 * @param type what is to be heard; any value the phone sent
 */
typedef void (*quarloAudioRequestCallback)(void* context, AudioControl command, UInt32 requestID,
                                           AudioType type);

/**
 * The phone asks for values of the vehicle from now on, or needs them no more; deliver them with
 * quarlo_VehicleData. Also comes on the thread that calls quarlo_Eng_SetVehicleDataFilter.
 * @param isOn 1: deliver these, 0: stop
 * @param numberOfKeys,keys which; 1 to 255 of them, copied for the call
 */
typedef void (*quarloVehicleDataRequestCallback)(void* context, Flag isOn, UInt8 numberOfKeys,
                                                 UInt32* keys);

/**
 * An app's icon has come.
 * @param icon not null; valid with all it holds during the call
 */
typedef void (*quarloAppIconResponseCallback)(void* context, AppIconResponse* icon);

/**
 * The phone answers quarlo_StartApp.
 * @param identifierURL the app; never null
 * @param status any value the phone sent
 */
typedef void (*quarloAppStartedResponseCallback)(void* context, const char* identifierURL,
                                                 AppStartStatus status);

/**
 * A text from the phone.
 * @param type of those that the protocol knows
 * @param encoding how the bytes are to be read; any value the phone sent
 * @param text terminated, may be empty, never null
 */
typedef void (*quarloCustomDataStringCallback)(void* context, ServerCustomDataStringType type,
                                               StringEncoding encoding, char* text);

/**
 * An integer from the phone.
 * @param type of those that the protocol knows
 * @param length 1, 2, 4 or 8 bytes
 * @param value the bytes in the order in which the phone sent them, not aligned
 */
typedef void (*quarloCustomDataIntCallback)(void* context, ServerCustomDataIntType type,
                                            UInt16 length, UInt8* value);

/**
 * A key from the phone.
 * @param type,code what was done to which key; of those that the protocol knows
 */
typedef void (*quarloCustomDataKeyCallback)(void* context, ServerCustomDataKeyType type,
                                            ServerCustomDataKeyCode code);

/**
 * A CAN message (ISO 11898) from the phone. Not checked against the bus: the host decides what may
 * be put on it.
 * @param type of those that the protocol knows
 * @param identifier 32 bits as sent
 * @param dataLengthCode 0 to 8 bytes
 * @param data the bytes; may be null when there are none
 */
typedef void (*quarloCustomDataCanCallback)(void* context, ServerCustomDataCanType type,
                                            UInt32 identifier, UInt8 dataLengthCode, UInt8* data);

/**
 * The phone asks for an operation on the blocks that the host keeps.
 * @param opcode which; never one that the library performs itself: storing and getting in the
 * stores of the instance and of the process
 * @param identifier number of the block, 12 bits; answer a get with it in quarlo_CustomDataRaw
 * @param length,data what is to be stored, in bytes; 0 and null for all that is no store
 */
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
