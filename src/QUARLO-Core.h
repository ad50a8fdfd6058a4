/**
 * @file
 * Host API of the quarlo protocol stack.
 *
 * A process calls quarlo_Init once, creates one instance per phone connection, registers its links
 * and callbacks, configures it and starts it. The library then reads through the receiver link on a
 * thread of its own, performs the handshake and calls the host back. Every function takes the
 * instance handle first and tolerates a null one: those with a result return eRETURN_NULL_HANDLE,
 * the others do nothing.
 *
 * Unless a function says otherwise it may be called from any host thread and from inside callbacks,
 * in any protocol state; pointers given to it are read during the call and not kept; callbacks may
 * be null, which switches them off. Set links and callbacks before the start, so that nothing is
 * missed.
 *
 * Functions that send do so on the calling thread, through the sender link, before they return.
 */
#ifndef QUARLO_CORE_H
#define QUARLO_CORE_H

#include "QUARLO-Core-Types.h"

#if defined(__GNUC__)
#define QUARLO_API __attribute__((visibility("default")))
#else
#define QUARLO_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- library ------------------------------------------------------------------------------------
 */

/**
 * Sets up the process-wide state and loads the plug-ins. Call once, before anything else, on one
 * thread; again only after quarlo_Shutdown.
 */
QUARLO_API void quarlo_Init(void);

/**
 * Deletes every instance that is left, closes the plug-ins and releases the process-wide state. No
 * other call may be running or follow, except quarlo_Init. Not in a callback: refused with a
 * warning. Does nothing without quarlo_Init.
 */
QUARLO_API void quarlo_Shutdown(void);

/**
 * The version text "C01.02.03 P01.02.00 <build date>": core and protocol version.
 * @return a buffer of the library, shared with quarlo_GetSystemIdentification and valid until the
 * next call of either; what it holds when RUN is reached is announced to the phone
 */
QUARLO_API char* quarlo_GetVersion(void);
/** Older spelling of quarlo_GetVersion. */
QUARLO_API char* quarlo_getVersion(void);
/** The text that names the system the library was made for. @return see quarlo_GetVersion */
QUARLO_API char* quarlo_GetSystemIdentification(void);

/* ---- instance -----------------------------------------------------------------------------------
 */

/**
 * Creates an instance in ePROTOCOL_STATE_STOP with every setting at its default.
 * @param theConnection handed to the links as their last argument; the library never looks behind
 * it
 * @param theDescription the host's name for itself, sent to the phone; copied; may be null or empty
 * @return the handle, owned by the library until quarlo_DeleteInstance; null when memory is
 * exhausted
 */
QUARLO_API void* quarlo_CreateInstance(void* theConnection, const char* theDescription);

/** quarlo_StartMainThreadEx without its results. */
QUARLO_API void quarlo_StartMainThread(void* instanceHandle);

/**
 * Allocates the receive buffer (one uncompressed full frame at the configured size plus 64 KiB) and
 * starts the initialisation timer and the receiver thread, which begins the handshake. May be
 * called again after the receiver has ended by itself: it waits for the receiver's last callback
 * then, and is refused with a warning where nobody may wait for it, in a callback. Refused with a
 * warning, too, while another thread starts or deletes the instance.
 * @param errorNumber gets 0, 1 when the receiver was already running, or the error number of a
 * failed thread creation (of the timer, which does not fail the start, or of the receiver); must
 * not be null
 * @return 1 when the receiver thread runs, else 0: a null argument, no links, no memory, no thread,
 * or refused
 */
QUARLO_API Flag quarlo_StartMainThreadEx(void* instanceHandle, Int32* errorNumber);

/**
 * Silences the instance before it is deleted: nothing more is sent, the error and protocol
 * callbacks are not called any more, and the receiver stops reading. For hosts whose transport is
 * already gone.
 */
QUARLO_API void quarlo_AnnounceShutdown(void* instanceHandle);

/**
 * Ends and joins every thread of the instance and frees it with all it owns; the handle is then
 * invalid. Waits for callbacks that are under way, and for the receiver: until it returns (with an
 * end-receiver callback), until the join timeout and its cancellation (without), or one second
 * (join timeout 0). Not in a callback, whichever instance it is about: refused with a warning.
 */
QUARLO_API void quarlo_DeleteInstance(void* instanceHandle);

/* ---- links, callbacks and capabilities ----------------------------------------------------------
 */

/** Sets the first argument of every link and callback; default: the handle. Kept, not looked
 * behind. */
QUARLO_API void quarlo_SetCallbackContext(void* instanceHandle, void* context);
/** Sets the function that reads from the transport; see quarloReceiverLink. */
QUARLO_API void quarlo_SetReceiverLink(void* instanceHandle, quarloReceiverLink receiveFunction);
/** Sets the function that writes to the transport; see quarloSenderLink. */
QUARLO_API void quarlo_SetSenderLink(void* instanceHandle, quarloSenderLink sendFunction);
/**
 * Sets the function that makes a blocking receiver link return. quarlo_DeleteInstance calls it
 * once, on its own thread, and then waits without a limit; without it the receiver is cancelled
 * after the join timeout.
 */
QUARLO_API eReturnCode quarlo_SetEndReceiverRequestCallback(
    void* instanceHandle, quarloContextCallback onEndReceiverRequest);
/** Sets the callback that is told of RUN and STOP. */
QUARLO_API void quarlo_SetProtocolCallback(void* instanceHandle,
                                           quarloProtocolCallback protocolCallback);
/** Sets the callback made first on the receiver thread. */
QUARLO_API void quarlo_SetOnMainThreadStartCallback(void* instanceHandle,
                                                    quarloContextCallback callback);
/** Sets the callback made last on the receiver thread. */
QUARLO_API void quarlo_SetOnMainThreadEndCallback(void* instanceHandle,
                                                  quarloContextCallback callback);
/** Sets the callback for error reports; see eErrorCode and quarloErrorCallback. */
QUARLO_API void quarlo_SetErrorCallback(void* instanceHandle, quarloErrorCallback errorCallback);
/** @return the connection given to quarlo_CreateInstance, null for a null handle */
QUARLO_API void* quarlo_GetConnectionInfo(void* instanceHandle);

/**
 * Declares what the head unit can do; sent in the handshake.
 * @param item one or more ClientCapabilities flags. 0, or All with isAvailable 0, leaves only
 * ScreenCopy and PacketExtensions, which cannot be altered by themselves
 * @param isAvailable 1 sets the flags, any other value clears them; with All any non-zero value
 * sets all
 */
QUARLO_API void quarlo_SetClientCapabilities(void* instanceHandle, ClientCapabilities item,
                                             Flag isAvailable);

/**
 * Sets the user's language for every instance of the process; sent at once in RUN, else in the
 * handshake.
 * @param languageCode three bytes, an ISO 639-2 code, copied; null clears the setting
 * @return eRETURN_NULL_PARAM for a null code, else eRETURN_OKAY, also for a null handle
 */
QUARLO_API eReturnCode quarlo_SetISO639LanguageCode(void* instanceHandle, UInt8* languageCode);

/* ---- supervision --------------------------------------------------------------------------------
 */

/**
 * Seconds from the start to RUN after which eERRORCODE_INITIALIZATION_TIMEOUT is reported; default
 * 60, 0 switches the timer off. Accepted only while the instance is not started or stopped.
 */
QUARLO_API void quarlo_SetInitialisationTimeout(void* instanceHandle, UInt8 value);

/**
 * Seconds that quarlo_DeleteInstance gives the receiver to end by itself when there is no
 * end-receiver callback; default 2. After them the receiver is cancelled inside the host's code. 0:
 * one second.
 */
QUARLO_API void quarlo_SetWaitForJoinTimeout(void* instanceHandle, UInt8 timeoutValue);

/**
 * Switches the ping watchdog, which reports eERRORCODE_CONNECTION_TIMEOUT once when nothing was
 * received for a period, and then ends. Before RUN it is started when RUN is reached. Switching it
 * off waits for a report that is under way, except in a callback.
 * @param isEnable 1 switches on, any other value off
 * @param timeoutValue period in seconds; 0 switches off
 */
QUARLO_API void quarlo_EnablePingWatchdog(void* instanceHandle, Flag isEnable, UInt8 timeoutValue);

/**
 * Makes the watchdog answer silence with an unsolicited PingAcknowledge instead of a report.
 * @param enable non-zero switches this on
 */
QUARLO_API eReturnCode quarlo_SendPingAckOnWatchdog(void* instanceHandle, Flag enable);

/* ---- tracing and dump ---------------------------------------------------------------------------
 */

/**
 * Sets the function that gets the trace lines; the default writes "CORE  : ..." to standard output.
 * It must be safe to call from several threads at once and must not call the API.
 */
QUARLO_API void quarlo_SetTraceOutput(void* instanceHandle, quarloTraceOutput traceOutput);
/** Sets which classes are traced, any combination of eTraceClass; default: warnings. */
QUARLO_API void quarlo_SetTraceClass(void* instanceHandle, eTraceClass traceClass);
/** Hands a line to the instance's trace output, without looking at the trace class. */
QUARLO_API void quarlo_Trace(void* instanceHandle, eTraceClass traceClass, char* text);
/** @return the four characters that stand for a trace class in trace output, " ??? " for any other
 * value; a constant, never to be written to or freed */
QUARLO_API char* quarlo_getTraceClassPrefix(eTraceClass traceClass);

/**
 * Switches the dump of every byte sent and received, for debugging.
 * @param enable 0 ends a running dump
 * @param isStdDevice 1 writes hexadecimal text to a standard device, any other value raw bytes to a
 * file
 * @param device 2 for standard error, any other value for standard output
 * @param fileName file to append to; null for "/tmp/QUARLO-Core-Dump.bin"; if it cannot be opened
 * the dump goes to standard output
 */
QUARLO_API void quarlo_SetDumpProperties(void* instanceHandle, Flag enable, Flag isStdDevice,
                                         UInt8 device, char* fileName);

/* ---- the phone's screen -------------------------------------------------------------------------
 */

/** Sets the callback made before the rectangles of an update; made only if the end callback is set
 * too. */
QUARLO_API void quarlo_SetFrameUpdateStartCallback(void* instanceHandle,
                                                   quarloFrameUpdateStartCallback callback);
/** Sets the callback that gets each decoded rectangle. */
QUARLO_API void quarlo_SetFrameUpdateCallback(void* instanceHandle,
                                              quarloFrameUpdateCallback callback);
/** Sets the callback that gets each rectangle as sent, in raw output mode. */
QUARLO_API void quarlo_SetFrameUpdateRawCallback(void* instanceHandle,
                                                 quarloFrameUpdateRawCallback callback);
/** Sets the callback made after the rectangles of an update; made only if the start callback is set
 * too. */
QUARLO_API void quarlo_SetFrameUpdateEndCallback(void* instanceHandle,
                                                 quarloContextCallback callback);

/**
 * Sets the pixel format in which the screen is wanted; default ARGB8888, 4 bytes, little-endian.
 * Sent at once in RUN, else in the handshake. Values are passed through unchecked; a phone that
 * refuses the format in RUN ends the session.
 * @param bpp bytes per pixel, cut to 8 bits
 */
QUARLO_API void quarlo_SetPixelFormat(void* instanceHandle, PixelFormat format, UInt32 bpp,
                                      PixelEndianess endian);

/**
 * Sets the pixel format of the screen (as quarlo_SetPixelFormat) or of app icons, which use 4 bytes
 * per pixel whatever bpp says and can be set outside RUN only.
 * @return eRETURN_OKAY; eRETURN_NOT_ALLOWED for icons in RUN; eRETURN_PARAM_VALUE for another type
 * or an icon format other than ARGB8888 and RGBA8888
 */
QUARLO_API eReturnCode quarlo_SetPixelFormatEx(void* instanceHandle, eGraphicType type,
                                               PixelFormat format, UInt32 bpp,
                                               PixelEndianess endian);

/**
 * Sets the head unit's screen size in pixels and millimetres; default 1280 x 1024, 134 x 108. Sent
 * at once in RUN (cut to 16 bits), else in the handshake. The receive buffer is sized at the start:
 * a larger frame set later may not fit it. A phone that refuses the size in RUN ends the session.
 */
QUARLO_API void quarlo_SetFrameSize(void* instanceHandle, UInt32 frameWidth, UInt32 frameHeight,
                                    UInt32 physicalWidth, UInt32 physicalHeight);

/** Sets the compression that the phone is to use; sent at once in RUN, else in the handshake. */
QUARLO_API void quarlo_OverrideCompressionFormat(void* instanceHandle,
                                                 FrameCompression compression);
/** Older name of quarlo_OverrideCompressionFormat. */
QUARLO_API void quarlo_SetCompressionFormat(void* instanceHandle, FrameCompression compression);

/**
 * Declares, before the handshake and for the whole process, which compressions the phone may use,
 * and closes the plug-ins of the others until the next quarlo_Init; uncompressed is always allowed.
 * @return eRETURN_OKAY; eRETURN_PARAM_VALUE for a compression that no plug-in decodes (in raw
 * output mode: that is not defined); eRETURN_NOT_ALLOWED in raw output mode without a raw callback
 */
QUARLO_API eReturnCode quarlo_SetSupportedCompressions(void* instanceHandle, UInt32 compressions);

/** Chooses raw output (1: rectangles as sent, to the raw callback) or decoded output (any other
 * value). */
QUARLO_API void quarlo_SetFrameOutputType(void* instanceHandle, Flag useRaw);

/**
 * Asks the phone for the screen, in RUN only. The library never asks by itself: the host asks for
 * the next update when it has shown the last.
 * @param x0 region in pixels of the frame size, with y0, width and height
 * @param incremental 1 for what has changed only
 */
QUARLO_API void quarlo_FramebufferUpdateRequest(void* instanceHandle, UInt16 x0, UInt16 y0,
                                                UInt16 width, UInt16 height, Flag incremental);
/** The same under the misspelt name that older hosts use. */
QUARLO_API void quarlo_FrambufferUpdateRequest(void* instanceHandle, UInt16 x0, UInt16 y0,
                                               UInt16 width, UInt16 height, Flag incremental);

/**
 * Tells the phone to pause (1) or resume (0) sending frames.
 * @return eRETURN_OKAY or eRETURN_STATE_NOT_RUN
 */
QUARLO_API eReturnCode quarlo_FrameRequestStatus(void* instanceHandle, Flag isSuspended);

/* ---- the phone's description, touches and softkeys ---- */

/**
 * Copies what the phone said about itself in the handshake: the launcher's identifier, the
 * operating system's name, the application's name. Never truncated.
 * @param textBuffer gets the terminated text; empty when there is none or it does not fit
 * @param textBufferLen size of the buffer in bytes; must exceed the text's length
 * @return the length, 0 on any failure
 */
QUARLO_API UInt16 quarlo_GetLauncherUUID(void* instanceHandle, char* textBuffer,
                                         UInt16 textBufferLen);
/** @see quarlo_GetLauncherUUID */
QUARLO_API UInt16 quarlo_GetServerOSName(void* instanceHandle, char* textBuffer,
                                         UInt16 textBufferLen);
/** @see quarlo_GetLauncherUUID */
QUARLO_API UInt16 quarlo_GetServerAppName(void* instanceHandle, char* textBuffer,
                                          UInt16 textBufferLen);
/** @return what the phone can do, without the deprecated voice control flag; 0 before the handshake
 */
QUARLO_API ServerCapabilities quarlo_GetServerCapabilities(void* instanceHandle);
/**
 * The softkeys that the phone understands.
 * @param numberOfKeys gets the count; both outputs are cleared first
 * @param keyList gets the array, owned by the library and valid until the phone has described
 * itself twice more or the instance is deleted
 */
QUARLO_API void quarlo_GetAvailableSoftkeys(void* instanceHandle, UInt8* numberOfKeys,
                                            Softkey** keyList);
/** Sends a softkey, in RUN only and silently dropped otherwise; values are not checked. */
QUARLO_API void quarlo_SoftkeyEvent(void* instanceHandle, Softkey key, SoftkeyEventType event);
/** quarlo_TouchEventsTimed with the present time. */
QUARLO_API void quarlo_TouchEvents(void* instanceHandle, TouchEvent* eventArray,
                                   UInt8 numberOfEvents);
/**
 * Sends one sample of touches in one packet, in RUN only (a warning otherwise).
 * @param eventArray numberOfEvents touches in the frame's coordinates, neither scaled nor clipped
 * @param timestamp milliseconds of any clock; 0 for the present time of the library's own
 */
QUARLO_API void quarlo_TouchEventsTimed(void* instanceHandle, TouchEvent* eventArray,
                                        UInt8 numberOfEvents, UInt32 timestamp);

/* ---- vehicle status and position ---- */

/**
 * Tells the phone whether the vehicle moves (1) or stands, whether it is night (1) or day, and what
 * it may show. Sent in RUN only and silently dropped otherwise; not remembered: repeat it when RUN
 * is reached. Values are passed on.
 */
QUARLO_API void quarlo_SetMovingStatus(void* instanceHandle, Flag isMoving);
/** @see quarlo_SetMovingStatus */
QUARLO_API void quarlo_SetNightMode(void* instanceHandle, Flag isNight);
/** @see quarlo_SetMovingStatus */
QUARLO_API void quarlo_SetBlockMode(void* instanceHandle, BlockMode mode);
/**
 * Sends one position sentence (NMEA 0183), in RUN only. Not parsed.
 * @param NMEA terminated text, at most 80 characters: the rest is cut; null or empty sends nothing
 */
QUARLO_API void quarlo_PositionInformation(void* instanceHandle, const char* NMEA);
/** Sets the callback that is told whether the phone's block mode takes effect. */
QUARLO_API void quarlo_SetBlockStatusCallback(void* instanceHandle, quarloFlagCallback callback);

/* ---- vehicle data ---- */

/**
 * Sets the callback that is told which values the phone wants (on 1) and wants no more (on 0).
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SetVehicleDataRequestCallback(
    void* instanceHandle, quarloVehicleDataRequestCallback callback);
/**
 * Delivers a value that the phone wants. It is stored in any state and sent in RUN.
 * @param encoding not used: values are UTF-8
 * @param jsonString terminated text (RFC 8259), copied; empty from 65536 bytes on
 * @return eRETURN_OKAY (also for a key that the phone has blacklisted: stored, not sent),
 * eRETURN_NULL_PARAM, eRETURN_PARAM_VALUE for a key that is not wanted, eRETURN_STATE_NOT_RUN
 * (stored), eRETURN_MEM_ALLOC (also reported) or eRETURN_PACKET_MEMORY
 */
QUARLO_API eReturnCode quarlo_VehicleData(void* instanceHandle, UInt32 key, StringEncoding encoding,
                                          const char* jsonString);

/* ---- audio ---- */

/** Sets the callback for the phone's audio requests and releases. @return eRETURN_OKAY or
 * eRETURN_NULL_HANDLE */
QUARLO_API eReturnCode quarlo_SetAudioRequestCallback(void* instanceHandle,
                                                      quarloAudioRequestCallback callback);
/**
 * Answers an audio request, also from inside the callback. An opened request with a maximum
 * duration is released by the library when it has been open so long. Ending
 * one waits for its time-out callback if that is running, except in a callback.
 * @param status Open, Suspend, Close or Reject; the last two end the request
 * @return eRETURN_OKAY, eRETURN_NOT_SUPPORTED, eRETURN_NOT_FOUND or eRETURN_STATE_NOT_RUN (the
 * status is stored)
 */
QUARLO_API eReturnCode quarlo_SetAudioStatus(void* instanceHandle, UInt32 requestID,
                                             AudioStatus status, AudioRequestResultCode reason);

/* ---- phone call, navigation and voice ---- */

/** Sets the callback that is told of the start (1) and the end of a call on the phone. */
QUARLO_API void quarlo_SetPhonecallStatusCallback(void* instanceHandle,
                                                  quarloFlagCallback callback);
/** Sets the callback that is told of the start (1) and the end of a transition between apps. */
QUARLO_API void quarlo_SetAppTransitionStatusCallback(void* instanceHandle,
                                                      quarloFlagCallback callback);
/** Sets the callback that is told whether the app is inactive (1). */
QUARLO_API void quarlo_SetAppInactiveCallback(void* instanceHandle, quarloFlagCallback callback);
/** Sets the callback that is told of the launcher's state. */
QUARLO_API void quarlo_SetLauncherStateCallback(void* instanceHandle,
                                                quarloLauncherStateCallback callback);
/** Sets the callback that is told whether push-to-talk is available (1). */
QUARLO_API eReturnCode quarlo_SetPTTAvailableCallback(void* instanceHandle,
                                                      quarloFlagCallback callback);
/** Sets the callback for numbers to dial; needs the capability InitiatePhoneCall. The display name
 * may be null. */
QUARLO_API void quarlo_SetInitiatePhoneCallCallback(void* instanceHandle,
                                                    quarloInitiatePhoneCallCallback callback);
/**
 * Sets the callback for places to guide to; needs the capability NavigateTo. Degrees, longitude
 * before latitude, 0.0 both for a placemark alone; the location is null for a position alone.
 */
QUARLO_API void quarlo_SetNavigateToCallback(void* instanceHandle,
                                             quarloNavigateToCallback callback);
/** Sets the callback for voice session requests; answer with quarlo_VoiceSessionStatus. */
QUARLO_API void quarlo_SetVoiceSessionRequestCallback(void* instanceHandle,
                                                      quarloVoiceSessionRequestCallback callback);
/** Reports the state of a call that the head unit handles; in RUN only. */
QUARLO_API void quarlo_PhoneCallStatusResponse(void* instanceHandle, PhoneCallStatus statusValue);
/** Reports the state of a voice session; in RUN only. */
QUARLO_API void quarlo_VoiceSessionStatus(void* instanceHandle, VoiceSessionStatus statusValue,
                                          VoiceSessionStatusConstraint statusConstraint);
/** Says what voice sessions the head unit supports; stored, sent at once in RUN, else in the
 * handshake. */
QUARLO_API void quarlo_VoiceSupportInfo(void* instanceHandle, VoiceSupport supportValue,
                                        VoiceSupportConstraint supportConstraint);

/* ---- apps ---- */

/** Sets the callback made when the phone has sent a new app catalogue in RUN. */
QUARLO_API eReturnCode quarlo_SetAppListChangedCallback(void* instanceHandle,
                                                        quarloContextCallback callback);
/** Sets the callback for icons; the icon is valid during the call. */
QUARLO_API eReturnCode quarlo_SetAppIconResponseCallback(void* instanceHandle,
                                                         quarloAppIconResponseCallback callback);
/** Sets the callback for the answers to app starts. */
QUARLO_API eReturnCode quarlo_SetAppStartedResponseCallback(
    void* instanceHandle, quarloAppStartedResponseCallback callback);
/**
 * Makes a copy of the app catalogue, a snapshot; one may be outstanding for an instance.
 * @param numberOfItems gets the length of the catalogue; loop over the list's own NumberOfEntries
 * @param infoList gets the copy, owned by the library until quarlo_DeleteAppInfoList or the
 * instance's end
 * @return eRETURN_OKAY, eRETURN_NULL_PARAM, eRETURN_NOT_SUPPORTED, eRETURN_NOT_ALLOWED (a copy is
 * outstanding, or there is no catalogue) or eRETURN_MEM_ALLOC
 */
QUARLO_API eReturnCode quarlo_CreateAppInfoList(void* instanceHandle, UInt32* numberOfItems,
                                                AppInfoList** infoList);
/**
 * Frees the outstanding copy.
 * @return eRETURN_OKAY, eRETURN_NULL_PARAM, eRETURN_NOT_SUPPORTED, eRETURN_NOT_ALLOWED (there is
 * none) or eRETURN_PARAM_VALUE (this is not it)
 */
QUARLO_API eReturnCode quarlo_DeleteAppInfoList(void* instanceHandle, AppInfoList* infoList);
/**
 * Asks for an app's icon, in RUN only and one at a time: an answer that never comes blocks further
 * requests. The pixel format is the icon's (quarlo_SetPixelFormatEx), else the screen's if that has
 * four bytes.
 * @param width pixels, with height
 * @return eRETURN_OKAY, eRETURN_NULL_PARAM, eRETURN_NOT_SUPPORTED, eRETURN_NOT_ALLOWED (pending, or
 * no four-byte format), eRETURN_STATE_NOT_RUN, eRETURN_PACKET_MEMORY or eRETURN_MEM_ALLOC
 */
QUARLO_API eReturnCode quarlo_RequestAppIcon(void* instanceHandle, const char* identifierURL,
                                             UInt16 width, UInt16 height);
/**
 * Starts an app on the phone, in RUN only.
 * @param launchModes keys and values, copied; may be null, as may options
 * @return eRETURN_OKAY, eRETURN_NULL_PARAM (also for a null key or value), eRETURN_NOT_SUPPORTED,
 *         eRETURN_STATE_NOT_RUN, eRETURN_PACKET_MEMORY or eRETURN_MEM_ALLOC
 */
QUARLO_API eReturnCode quarlo_StartApp(void* instanceHandle, const char* identifierURL,
                                       KeyValueList* launchModes, KeyValueList* options);

/* ---- custom data ---- */

/**
 * Declares the integer custom data types that the host sends; goes to the phone with the next
 * handshake. A null list or a count of 0 changes nothing; when memory is exhausted the list is left
 * empty.
 * @param supportedItemsList numberOfEntries types, copied
 */
QUARLO_API void quarlo_SetSupportedCustomData(void* instanceHandle, UInt8 numberOfEntries,
                                              ClientCustomDataIntType* supportedItemsList);

/**
 * Sends a text to the phone, in RUN only.
 * @param type 1 to 8; IVIFirmwareVersionF is the library's own announcement of its version
 * @param encoding UTF8 or ASCII_LATIN1: how the bytes of the text are to be read
 * @param messageString terminated text; null, or one too long for the packet, is sent as an empty
 * text
 * @return eRETURN_OKAY, eRETURN_STATE_NOT_RUN, eRETURN_PARAM_VALUE, eRETURN_PACKET_MEMORY or
 *         eRETURN_MEM_ALLOC (also reported)
 */
QUARLO_API eReturnCode quarlo_CustomDataString(void* instanceHandle,
                                               ClientCustomDataStringType type,
                                               StringEncoding encoding, const char* messageString);

/**
 * Sends an integer, in RUN only.
 * @param length 1, 2, 4 or 8 bytes
 * @param pValue the bytes in the order in which they are to be sent
 * @return as quarlo_CustomDataString, or eRETURN_NULL_PARAM
 */
QUARLO_API eReturnCode quarlo_CustomDataInt(void* instanceHandle, ClientCustomDataIntType type,
                                            UInt16 length, UInt8* pValue);
/** quarlo_CustomDataKeyTimed with the present time. */
QUARLO_API eReturnCode quarlo_CustomDataKey(void* instanceHandle, ClientCustomDataKeyType type,
                                            ClientCustomDataKeyCode code);
/** Sends a key of the head unit, in RUN only. @param timestamp milliseconds @return as
 * quarlo_CustomDataString */
QUARLO_API eReturnCode quarlo_CustomDataKeyTimed(void* instanceHandle, ClientCustomDataKeyType type,
                                                 ClientCustomDataKeyCode code, UInt32 timestamp);
/**
 * Sends a CAN message (ISO 11898), in RUN only.
 * @param dataLengthCode 0 to 8 bytes of data
 * @return as quarlo_CustomDataString, or eRETURN_NULL_PARAM
 */
QUARLO_API eReturnCode quarlo_CustomDataCan(void* instanceHandle, ClientCustomDataCanType type,
                                            UInt32 identifier, UInt8 dataLengthCode, UInt8* data);
/**
 * Sends a block of bytes, in RUN only. Without a pointer the block is sent empty.
 * @param identifier cut to its low 12 bits with a warning
 * @return as quarlo_CustomDataString
 */
QUARLO_API eReturnCode quarlo_CustomDataRaw(void* instanceHandle, UInt16 identifier, UInt16 length,
                                            UInt8* pData);
/**
 * Declares the keys that the head unit has, while the instance is not started or stopped; sent in
 * the handshake.
 * @return eRETURN_OKAY; eRETURN_PARAM_VALUE when unknown codes were dropped (the others are taken);
 *         eRETURN_NULL_PARAM, eRETURN_NOT_ALLOWED or eRETURN_MEM_ALLOC
 */
QUARLO_API eReturnCode quarlo_SetCustomKeysSupported(void* instanceHandle, UInt8 numberOfKeys,
                                                     ClientCustomDataKeyCode* keyList);
/** @return 1 for a key code that the protocol knows */
QUARLO_API Flag quarlo_IsClientCustomDataKeyCodeValid(ClientCustomDataKeyCode code);
/** Sets the callback for texts from the phone. @return eRETURN_OKAY or eRETURN_NULL_HANDLE, as the
 * four below */
QUARLO_API eReturnCode quarlo_SetCustomDataStringCallback(void* instanceHandle,
                                                          quarloCustomDataStringCallback callback);
/** Sets the callback for integers from the phone. */
QUARLO_API eReturnCode quarlo_SetCustomDataIntCallback(void* instanceHandle,
                                                       quarloCustomDataIntCallback callback);
/** Sets the callback for keys from the phone. */
QUARLO_API eReturnCode quarlo_SetCustomDataKeyCallback(void* instanceHandle,
                                                       quarloCustomDataKeyCallback callback);
/** Sets the callback for CAN messages from the phone. */
QUARLO_API eReturnCode quarlo_SetCustomDataCanCallback(void* instanceHandle,
                                                       quarloCustomDataCanCallback callback);
/** Sets the callback for the phone's requests to the host's own storage of blocks. */
QUARLO_API eReturnCode quarlo_SetCustomDataRawCallback(void* instanceHandle,
                                                       quarloCustomDataRawCallback callback);

#ifdef __cplusplus
}
#endif

#endif
