/**
 * @file
 * Host API of the quarlo protocol stack.
 *
 * A process calls quarlo_Init once, creates one instance per phone connection, registers its links
 * and callbacks, configures it and starts it. The library then reads through the receiver link on a
 * thread of its own, performs the handshake and calls the host back.
 *
 * The first argument of most functions is the instance: a handle that quarlo_CreateInstance gave
 * and quarlo_DeleteInstance has not taken back. It may be null: functions with an eReturnCode
 * return eRETURN_NULL_HANDLE then, the others do nothing and return 0 or null, unless said
 * otherwise.
 *
 * Unless a function says otherwise it may be called from any host thread, from several at once, and
 * from inside callbacks (but for the trace output), in any protocol state; it does not wait for a
 * thread of the library; pointers given to it are read during the call and not kept; callbacks may
 * be null, which switches them off. Set links and callbacks before the start, so that nothing is
 * missed.
 *
 * What waits for threads of the library - deleting an instance, the shutdown, a start after a run
 * that has ended, switching the watchdog off, ending an audio request - waits on a thread of the
 * host and outside of callbacks only, where it cannot wait for itself. Hold no lock then that a
 * callback takes.
 *
 * Functions that send do so on the calling thread, through the sender link, before they return:
 * they take as long as that. Texts are terminated UTF-8 unless said otherwise; one of 65536 bytes
 * or more is sent as an empty one.
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
 * Deletes every instance that is left (waiting for each like quarlo_DeleteInstance), closes the
 * plug-ins and releases the process-wide state. No other call may be running or follow, except
 * quarlo_Init. In a callback and on a thread of the library it is refused with a warning. Does
 * nothing without quarlo_Init.
 */
QUARLO_API void quarlo_Shutdown(void);

/**
 * The version text "C01.02.03 P01.02.00 <build date>": core and protocol version.
 * @return a buffer of the library, never null, shared with quarlo_GetSystemIdentification and valid
 * until the next call of either on any thread; what it holds when RUN is reached is announced to
 * the phone
 */
QUARLO_API char* quarlo_GetVersion(void);
/**
 * quarlo_GetVersion under a second name.
 * @return the same
 */
QUARLO_API char* quarlo_getVersion(void);
/**
 * The text that names the system the library was made for.
 * @return see quarlo_GetVersion
 */
QUARLO_API char* quarlo_GetSystemIdentification(void);

/* ---- instance -----------------------------------------------------------------------------------
 */

/**
 * Creates an instance in ePROTOCOL_STATE_STOP with every setting at its default.
 * @param theConnection handed to the links as their last argument; the library never looks behind
 * it; may be null
 * @param theDescription the host's name for itself, sent to the phone; UTF-8, less than 65536
 * bytes; copied; may be null or empty
 * @return the handle, owned by the library until quarlo_DeleteInstance; null without quarlo_Init or
 * memory
 */
QUARLO_API void* quarlo_CreateInstance(void* theConnection, const char* theDescription);

/** quarlo_StartMainThreadEx without its results. */
QUARLO_API void quarlo_StartMainThread(void* instanceHandle);

/**
 * Allocates the receive buffer (one uncompressed full frame at the configured size plus 64 KiB) and
 * starts the initialisation timer and the receiver thread, which begins the handshake. May be
 * called again after the receiver has ended by itself: it waits, without a limit, for the
 * receiver's last callback to return then, and is refused with a warning where it may not wait.
 * Refused with a warning, too, while another thread starts or deletes the instance.
 * @param errorNumber gets 0, 1 when the receiver was already running, or the errno value of a
 * failed thread creation (of the timer, which does not fail the start, or of the receiver, which is
 * also reported); must not be null
 * @return 1 when the receiver thread runs, else 0: a null argument, no links, no memory, no thread,
 * or refused
 */
QUARLO_API Flag quarlo_StartMainThreadEx(void* instanceHandle, Int32* errorNumber);

/**
 * Silences the instance before it is deleted: nothing more is sent, the error and protocol
 * callbacks are not called any more, and the receiver ends when its link next returns. For hosts
 * whose transport is already gone. Does not wait, and cannot be taken back.
 */
QUARLO_API void quarlo_AnnounceShutdown(void* instanceHandle);

/**
 * Ends and joins every thread of the instance and frees it with all it owns; the handle is then
 * invalid. Waits without a limit for callbacks on the timers' threads; for the receiver, in its
 * link or a callback, without a limit if there is an end-receiver callback, else for the join
 * timeout, or one second if that is 0, after which it is cancelled there. In a callback and on a
 * thread of the library, whichever instance it is about, refused with a warning.
 */
QUARLO_API void quarlo_DeleteInstance(void* instanceHandle);

/* ---- links, callbacks and capabilities ----------------------------------------------------------
 */

/**
 * Sets the first argument of every link and callback; by default the handle.
 * @param context kept, not looked behind; may be null
 */
QUARLO_API void quarlo_SetCallbackContext(void* instanceHandle, void* context);
/**
 * Sets the function that reads from the transport; there is no start without one.
 * @param receiveFunction see quarloReceiverLink
 */
QUARLO_API void quarlo_SetReceiverLink(void* instanceHandle, quarloReceiverLink receiveFunction);
/**
 * Sets the function that writes to the transport; there is no start without one.
 * @param sendFunction see quarloSenderLink
 */
QUARLO_API void quarlo_SetSenderLink(void* instanceHandle, quarloSenderLink sendFunction);
/**
 * Sets the function that makes a blocking receiver link return. quarlo_DeleteInstance calls it
 * once, on its own thread, and then waits without a limit; without it the receiver is cancelled
 * after the join timeout.
 * @param onEndReceiverRequest must not block, nor call the API
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SetEndReceiverRequestCallback(
    void* instanceHandle, quarloContextCallback onEndReceiverRequest);
/**
 * Sets who is told of RUN and STOP.
 * @param protocolCallback made when the state is set: in RUN all features can be used in it already
 */
QUARLO_API void quarlo_SetProtocolCallback(void* instanceHandle,
                                           quarloProtocolCallback protocolCallback);
/**
 * Sets who is told that the receiver thread has begun.
 * @param callback made on it before the first read; the first packet has been sent by then
 */
QUARLO_API void quarlo_SetOnMainThreadStartCallback(void* instanceHandle,
                                                    quarloContextCallback callback);
/**
 * Sets who is told that the receiver thread ends.
 * @param callback the last one made on it; not made when it is cancelled
 */
QUARLO_API void quarlo_SetOnMainThreadEndCallback(void* instanceHandle,
                                                  quarloContextCallback callback);
/**
 * Sets who is told of errors.
 * @param errorCallback comes on several threads, see there
 */
QUARLO_API void quarlo_SetErrorCallback(void* instanceHandle, quarloErrorCallback errorCallback);
/**
 * The host's own connection.
 * @return what was given to quarlo_CreateInstance
 */
QUARLO_API void* quarlo_GetConnectionInfo(void* instanceHandle);

/**
 * Declares what the head unit can do; sent in the next handshake.
 * @param item one or more ClientCapabilities flags. 0, or All with isAvailable 0, leaves only
 * ScreenCopy and PacketExtensions, which cannot be altered by themselves
 * @param isAvailable 1 sets the flags, any other value clears them; with All any non-zero value
 * sets all
 */
QUARLO_API void quarlo_SetClientCapabilities(void* instanceHandle, ClientCapabilities item,
                                             Flag isAvailable);

/**
 * Sets the user's language for every instance of the process, also with a null handle; sent to the
 * handle's phone at once in RUN, to others in their handshake.
 * @param languageCode three bytes, an ISO 639-2 code, copied; null clears the setting
 * @return eRETURN_NULL_PARAM for a null code, else eRETURN_OKAY
 */
QUARLO_API eReturnCode quarlo_SetISO639LanguageCode(void* instanceHandle, UInt8* languageCode);

/* ---- supervision --------------------------------------------------------------------------------
 */

/**
 * Sets how long the handshake may take before eERRORCODE_INITIALIZATION_TIMEOUT is reported.
 * Accepted only in ePROTOCOL_STATE_STOP or ePROTOCOL_STATE_NONE: before the start, as a rule.
 * @param value seconds from the start to RUN; default 60, 0 switches the timer off
 */
QUARLO_API void quarlo_SetInitialisationTimeout(void* instanceHandle, UInt8 value);

/**
 * Sets how long quarlo_DeleteInstance lets the receiver end by itself when there is no end-receiver
 * callback; after that the receiver is cancelled inside the host's code.
 * @param timeoutValue seconds; default 2; 0: one second
 */
QUARLO_API void quarlo_SetWaitForJoinTimeout(void* instanceHandle, UInt8 timeoutValue);

/**
 * Switches the ping watchdog, which reports eERRORCODE_CONNECTION_TIMEOUT once when nothing was
 * received for a period, and then ends. Before RUN it is started when RUN is reached. Of one that
 * runs only the period changes. Switching it off waits for a report that is under way until that
 * callback returns; in a callback it does not wait, and no report begins any more.
 * @param isEnable 1 switches on, any other value off
 * @param timeoutValue period in seconds; 0 switches off
 */
QUARLO_API void quarlo_EnablePingWatchdog(void* instanceHandle, Flag isEnable, UInt8 timeoutValue);

/**
 * Makes the watchdog answer silence with an unsolicited PingAcknowledge instead of a report.
 * @param enable non-zero switches this on; default 0
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SendPingAckOnWatchdog(void* instanceHandle, Flag enable);

/* ---- tracing and dump ---------------------------------------------------------------------------
 */

/**
 * Sets the function that gets the trace lines.
 * @param traceOutput see there for its threads; by default one that writes "CORE  : ..." to
 * standard output
 */
QUARLO_API void quarlo_SetTraceOutput(void* instanceHandle, quarloTraceOutput traceOutput);
/**
 * Sets what is traced.
 * @param traceClass any combination of eTraceClass; default: warnings
 */
QUARLO_API void quarlo_SetTraceClass(void* instanceHandle, eTraceClass traceClass);
/**
 * Hands a line of the host's to the instance's trace output, whatever the classes that are traced.
 * @param traceClass,text handed on as they are; the text must not be null
 */
QUARLO_API void quarlo_Trace(void* instanceHandle, eTraceClass traceClass, char* text);
/**
 * The four characters that stand for a trace class in trace output.
 * @param traceClass one class
 * @return a constant, never to be written to or freed; " ??? " for any other value
 */
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

/**
 * Sets who is told that an update begins.
 * @param callback made before the rectangles, and only if the end callback is set too
 */
QUARLO_API void quarlo_SetFrameUpdateStartCallback(void* instanceHandle,
                                                   quarloFrameUpdateStartCallback callback);
/**
 * Sets who gets the decoded rectangles.
 * @param callback made for each rectangle, unless raw output is chosen
 */
QUARLO_API void quarlo_SetFrameUpdateCallback(void* instanceHandle,
                                              quarloFrameUpdateCallback callback);
/**
 * Sets who gets the rectangles as sent.
 * @param callback made for each rectangle when raw output is chosen
 */
QUARLO_API void quarlo_SetFrameUpdateRawCallback(void* instanceHandle,
                                                 quarloFrameUpdateRawCallback callback);
/**
 * Sets who is told that an update is complete, as far as it could be decoded.
 * @param callback made after the rectangles, and only if the start callback is set too
 */
QUARLO_API void quarlo_SetFrameUpdateEndCallback(void* instanceHandle,
                                                 quarloContextCallback callback);

/**
 * Sets the pixel format that the phone is asked for; default ARGB8888, 4 bytes, little-endian.
 * Sent at once in RUN, else in the handshake. Values are passed through unchecked; a phone that
 * refuses the format in RUN ends the session.
 * @param format,endian layout and byte order of a pixel
 * @param bpp bytes per pixel, cut to 8 bits
 */
QUARLO_API void quarlo_SetPixelFormat(void* instanceHandle, PixelFormat format, UInt32 bpp,
                                      PixelEndianess endian);

/**
 * Sets the pixel format of the screen (as quarlo_SetPixelFormat) or of app icons, which can be set
 * outside RUN only.
 * @param type which of the two
 * @param format,endian layout and byte order of a pixel
 * @param bpp bytes per pixel of the screen; icons have 4, whatever it says
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE; eRETURN_NOT_ALLOWED for icons in RUN;
 * eRETURN_PARAM_VALUE for another type, or for an icon format other than ARGB8888 and RGBA8888,
 * which leaves icons without a format of their own
 */
QUARLO_API eReturnCode quarlo_SetPixelFormatEx(void* instanceHandle, eGraphicType type,
                                               PixelFormat format, UInt32 bpp,
                                               PixelEndianess endian);

/**
 * Sets the head unit's screen size. Sent at once in RUN, else in the handshake, cut to 16 bits. The
 * receive buffer is sized at the start: a larger frame set later may not fit it. A phone that
 * refuses the size in RUN ends the session.
 * @param frameWidth,frameHeight pixels; default 1280 x 1024
 * @param physicalWidth,physicalHeight millimetres; default 134 x 108
 */
QUARLO_API void quarlo_SetFrameSize(void* instanceHandle, UInt32 frameWidth, UInt32 frameHeight,
                                    UInt32 physicalWidth, UInt32 physicalHeight);

/**
 * Sets the compression that the phone is to use; sent at once in RUN, else in the handshake.
 * @param compression one bit; passed through unchecked
 */
QUARLO_API void quarlo_OverrideCompressionFormat(void* instanceHandle,
                                                 FrameCompression compression);
/**
 * quarlo_OverrideCompressionFormat under a second name.
 * @param compression see there
 */
QUARLO_API void quarlo_SetCompressionFormat(void* instanceHandle, FrameCompression compression);

/**
 * Declares, before the handshake and for the whole process, which compressions the phone may use,
 * and closes the plug-ins of the others until the next quarlo_Init.
 * @param compressions FrameCompression bits; uncompressed is always allowed
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE; eRETURN_PARAM_VALUE for a compression that no
 * plug-in decodes (in raw output mode: that is not defined); eRETURN_NOT_ALLOWED in raw output mode
 * without a raw callback. On an error nothing changes
 */
QUARLO_API eReturnCode quarlo_SetSupportedCompressions(void* instanceHandle, UInt32 compressions);

/**
 * Chooses what the host gets of the screen.
 * @param useRaw 1: rectangles as sent, to the raw callback; any other value (default): decoded ones
 */
QUARLO_API void quarlo_SetFrameOutputType(void* instanceHandle, Flag useRaw);

/**
 * Asks the phone for the screen, in RUN only and silently dropped otherwise. The library never asks
 * by itself: the host asks for the next update when it has shown the last.
 * @param x0,y0,width,height region in pixels of the frame size; not checked
 * @param incremental 1: only what has changed; 0: all of it
 */
QUARLO_API void quarlo_FramebufferUpdateRequest(void* instanceHandle, UInt16 x0, UInt16 y0,
                                                UInt16 width, UInt16 height, Flag incremental);
/**
 * quarlo_FramebufferUpdateRequest under a second name, written without the e of frame.
 * @param x0,y0,width,height,incremental see there
 */
QUARLO_API void quarlo_FrambufferUpdateRequest(void* instanceHandle, UInt16 x0, UInt16 y0,
                                               UInt16 width, UInt16 height, Flag incremental);

/**
 * Tells the phone to pause or resume sending frames.
 * @param isSuspended 1 to pause, 0 to resume
 * @return eRETURN_OKAY, eRETURN_NULL_HANDLE or eRETURN_STATE_NOT_RUN (not sent, nor remembered)
 */
QUARLO_API eReturnCode quarlo_FrameRequestStatus(void* instanceHandle, Flag isSuspended);

/* ---- the phone's description, touches and softkeys ---- */

/**
 * Copies the identifier of the phone's launcher, as the phone said it in the handshake; never cut.
 * @param textBuffer gets the bytes as the phone sent them, terminated; empty when there are none or
 * they do not fit
 * @param textBufferLen size of the buffer in bytes; must exceed the text's length
 * @return the length without the terminator, 0 on any failure
 */
QUARLO_API UInt16 quarlo_GetLauncherUUID(void* instanceHandle, char* textBuffer,
                                         UInt16 textBufferLen);
/**
 * Copies the name of the phone's operating system, in the same way.
 * @param textBuffer,textBufferLen see quarlo_GetLauncherUUID
 * @return likewise
 */
QUARLO_API UInt16 quarlo_GetServerOSName(void* instanceHandle, char* textBuffer,
                                         UInt16 textBufferLen);
/**
 * Copies the name of the phone's app, in the same way.
 * @param textBuffer,textBufferLen see quarlo_GetLauncherUUID
 * @return likewise
 */
QUARLO_API UInt16 quarlo_GetServerAppName(void* instanceHandle, char* textBuffer,
                                          UInt16 textBufferLen);
/**
 * What the phone can do, as it said in its last handshake.
 * @return flags, without the deprecated one of voice control; 0 before the first handshake
 */
QUARLO_API ServerCapabilities quarlo_GetServerCapabilities(void* instanceHandle);
/**
 * The softkeys that the phone understands.
 * @param numberOfKeys gets the count; both outputs are cleared first, and a null one makes the call
 * do nothing else
 * @param keyList gets the array, owned by the library and valid until the phone has described
 * itself twice more or the instance is deleted
 */
QUARLO_API void quarlo_GetAvailableSoftkeys(void* instanceHandle, UInt8* numberOfKeys,
                                            Softkey** keyList);
/**
 * Sends a softkey, in RUN only and silently dropped otherwise.
 * @param key,event which, and whether it was pressed or released; not checked
 */
QUARLO_API void quarlo_SoftkeyEvent(void* instanceHandle, Softkey key, SoftkeyEventType event);
/**
 * quarlo_TouchEventsTimed with the present time.
 * @param eventArray,numberOfEvents see there
 */
QUARLO_API void quarlo_TouchEvents(void* instanceHandle, TouchEvent* eventArray,
                                   UInt8 numberOfEvents);
/**
 * Sends one sample of touches in one packet, in RUN only (a warning otherwise).
 * @param eventArray,numberOfEvents touches in the frame's coordinates, neither scaled nor clipped;
 * none, or null, gives a warning
 * @param timestamp milliseconds of any clock that only goes forward; 0 for the present time of the
 * library's own
 */
QUARLO_API void quarlo_TouchEventsTimed(void* instanceHandle, TouchEvent* eventArray,
                                        UInt8 numberOfEvents, UInt32 timestamp);

/* ---- vehicle status and position ----
 *
 * Sent in RUN only and silently dropped otherwise; not remembered: repeat it when RUN is reached.
 */

/**
 * Tells the phone whether the vehicle moves.
 * @param isMoving 1 or 0; passed on
 */
QUARLO_API void quarlo_SetMovingStatus(void* instanceHandle, Flag isMoving);
/**
 * Tells the phone whether it is night.
 * @param isNight 1 or 0; passed on
 */
QUARLO_API void quarlo_SetNightMode(void* instanceHandle, Flag isNight);
/**
 * Tells the phone what it may show.
 * @param mode passed on
 */
QUARLO_API void quarlo_SetBlockMode(void* instanceHandle, BlockMode mode);
/**
 * Sends one position sentence (NMEA 0183), which is not parsed.
 * @param NMEA at most 80 characters: the rest is cut with a warning; null or empty sends nothing
 */
QUARLO_API void quarlo_PositionInformation(void* instanceHandle, const char* NMEA);
/**
 * Sets who is told whether the phone blocks what it shows.
 * @param callback gets 1 when blocking takes effect, 0 when it ends
 */
QUARLO_API void quarlo_SetBlockStatusCallback(void* instanceHandle, quarloFlagCallback callback);

/* ---- vehicle data ---- */

/**
 * Sets who is told which values the phone asks for.
 * @param callback may deliver the values at once
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SetVehicleDataRequestCallback(
    void* instanceHandle, quarloVehicleDataRequestCallback callback);
/**
 * Delivers a value that the phone has asked for. It is stored in any state and sent in RUN.
 * @param key which value
 * @param encoding not used: values are UTF-8
 * @param jsonString the value (RFC 8259), copied
 * @return eRETURN_OKAY (also for a key that the phone has blacklisted: stored, not sent),
 * eRETURN_NULL_HANDLE, eRETURN_NULL_PARAM, eRETURN_PARAM_VALUE for a key that the phone does not
 * ask for, eRETURN_STATE_NOT_RUN (stored), eRETURN_MEM_ALLOC (also reported; the key has no value
 * then) or eRETURN_PACKET_MEMORY (stored)
 */
QUARLO_API eReturnCode quarlo_VehicleData(void* instanceHandle, UInt32 key, StringEncoding encoding,
                                          const char* jsonString);

/* ---- audio ---- */

/**
 * Sets who is told of the phone's audio requests and releases; needs the capability AudioHandling.
 * @param callback may answer at once
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SetAudioRequestCallback(void* instanceHandle,
                                                      quarloAudioRequestCallback callback);
/**
 * Answers an audio request, also from inside the callback. An opened request with a maximum
 * duration is released by the library when it has been open so long. Ending such a one waits until
 * its time-out callback has returned, if that is running; in a callback it does not wait.
 * @param requestID as the request callback got it
 * @param status Open, Suspend, Close or Reject; the last two end the request
 * @param reason why; passed on
 * @return eRETURN_OKAY, eRETURN_NULL_HANDLE, eRETURN_NOT_SUPPORTED by the phone,
 * eRETURN_NOT_FOUND for a request that is not known or has ended, or eRETURN_STATE_NOT_RUN (the
 * status is stored, and the request not ended)
 */
QUARLO_API eReturnCode quarlo_SetAudioStatus(void* instanceHandle, UInt32 requestID,
                                             AudioStatus status, AudioRequestResultCode reason);

/* ---- phone call, navigation and voice ---- */

/**
 * Sets who is told of calls on the phone.
 * @param callback gets 1 when one starts, 0 when it ends
 */
QUARLO_API void quarlo_SetPhonecallStatusCallback(void* instanceHandle,
                                                  quarloFlagCallback callback);
/**
 * Sets who is told of transitions between apps.
 * @param callback gets 1 when one starts, 0 when it ends
 */
QUARLO_API void quarlo_SetAppTransitionStatusCallback(void* instanceHandle,
                                                      quarloFlagCallback callback);
/**
 * Sets who is told whether the app is in use.
 * @param callback gets 1 when it is inactive
 */
QUARLO_API void quarlo_SetAppInactiveCallback(void* instanceHandle, quarloFlagCallback callback);
/**
 * Sets who is told whether the launcher is visible.
 * @param callback gets its state at each change
 */
QUARLO_API void quarlo_SetLauncherStateCallback(void* instanceHandle,
                                                quarloLauncherStateCallback callback);
/**
 * Sets who is told whether push-to-talk is available.
 * @param callback gets 1 when it is
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SetPTTAvailableCallback(void* instanceHandle,
                                                      quarloFlagCallback callback);
/**
 * Sets who dials for the phone; needs the capability InitiatePhoneCall.
 * @param callback gets the number; one without a number is dropped with a warning
 */
QUARLO_API void quarlo_SetInitiatePhoneCallCallback(void* instanceHandle,
                                                    quarloInitiatePhoneCallCallback callback);
/**
 * Sets who guides for the phone; needs the capability NavigateTo.
 * @param callback gets the place
 */
QUARLO_API void quarlo_SetNavigateToCallback(void* instanceHandle,
                                             quarloNavigateToCallback callback);
/**
 * Sets who is told of voice session requests.
 * @param callback may answer at once
 */
QUARLO_API void quarlo_SetVoiceSessionRequestCallback(void* instanceHandle,
                                                      quarloVoiceSessionRequestCallback callback);
/**
 * Reports a call that the head unit handles, in RUN only and silently dropped otherwise.
 * @param statusValue passed on
 */
QUARLO_API void quarlo_PhoneCallStatusResponse(void* instanceHandle, PhoneCallStatus statusValue);
/**
 * Reports a voice session, in RUN only and silently dropped otherwise.
 * @param statusValue,statusConstraint its state, and why if it is refused; passed on
 */
QUARLO_API void quarlo_VoiceSessionStatus(void* instanceHandle, VoiceSessionStatus statusValue,
                                          VoiceSessionStatusConstraint statusConstraint);
/**
 * Says what voice sessions the head unit supports; stored, sent at once in RUN, else in the
 * handshake.
 * @param supportValue,supportConstraint what, and under which condition; unknown values give a
 * warning and are passed on
 */
QUARLO_API void quarlo_VoiceSupportInfo(void* instanceHandle, VoiceSupport supportValue,
                                        VoiceSupportConstraint supportConstraint);

/* ---- apps ----
 *
 * Functions return eRETURN_NOT_SUPPORTED for a phone that has not declared EnableAppStart.
 */

/**
 * Sets who is told of new app catalogues.
 * @param callback made on the receiver thread when one has come in RUN; one that came in the
 * handshake is there without it
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SetAppListChangedCallback(void* instanceHandle,
                                                        quarloContextCallback callback);
/**
 * Sets who gets icons.
 * @param callback made for each icon that could be decoded
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SetAppIconResponseCallback(void* instanceHandle,
                                                         quarloAppIconResponseCallback callback);
/**
 * Sets who gets the answers to app starts.
 * @param callback made for each answer in RUN
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SetAppStartedResponseCallback(
    void* instanceHandle, quarloAppStartedResponseCallback callback);
/**
 * Makes a copy of the app catalogue, a snapshot; one may be outstanding for an instance.
 * @param numberOfItems gets the length of the catalogue; loop over the list's own NumberOfEntries
 * @param infoList gets the copy, owned by the library until quarlo_DeleteAppInfoList or the
 * instance's end
 * @return eRETURN_OKAY, eRETURN_NULL_HANDLE, eRETURN_NULL_PARAM, eRETURN_NOT_SUPPORTED,
 * eRETURN_NOT_ALLOWED (a copy is outstanding, or there is no catalogue) or eRETURN_MEM_ALLOC
 */
QUARLO_API eReturnCode quarlo_CreateAppInfoList(void* instanceHandle, UInt32* numberOfItems,
                                                AppInfoList** infoList);
/**
 * Frees the outstanding copy.
 * @param infoList what quarlo_CreateAppInfoList gave
 * @return eRETURN_OKAY, eRETURN_NULL_HANDLE, eRETURN_NULL_PARAM, eRETURN_NOT_SUPPORTED,
 * eRETURN_NOT_ALLOWED (there is none) or eRETURN_PARAM_VALUE (this is not it)
 */
QUARLO_API eReturnCode quarlo_DeleteAppInfoList(void* instanceHandle, AppInfoList* infoList);
/**
 * Asks for an app's icon, in RUN only and one at a time. The pixel format is the icon's
 * (quarlo_SetPixelFormatEx), else the screen's if that has four bytes. Once sent, a request is
 * pending until an answer with the same identifier comes, even one that cannot be shown: no error,
 * end of the connection or new start resets it, only a new instance does. A call that fails leaves
 * nothing pending.
 * @param identifierURL the app, as in AppInfo
 * @param width,height pixels of the icon
 * @return eRETURN_OKAY, eRETURN_NULL_HANDLE, eRETURN_NULL_PARAM, eRETURN_NOT_SUPPORTED,
 * eRETURN_NOT_ALLOWED (pending, or no four-byte format), eRETURN_STATE_NOT_RUN,
 * eRETURN_PACKET_MEMORY or eRETURN_MEM_ALLOC
 */
QUARLO_API eReturnCode quarlo_RequestAppIcon(void* instanceHandle, const char* identifierURL,
                                             UInt16 width, UInt16 height);
/**
 * Starts an app on the phone, in RUN only; the answer comes in a callback.
 * @param identifierURL the app, as in AppInfo
 * @param launchModes,options keys and values for the app, copied; may be null
 * @return eRETURN_OKAY, eRETURN_NULL_HANDLE, eRETURN_NULL_PARAM (also for a null key or value),
 * eRETURN_NOT_SUPPORTED, eRETURN_STATE_NOT_RUN, eRETURN_PACKET_MEMORY or eRETURN_MEM_ALLOC
 */
QUARLO_API eReturnCode quarlo_StartApp(void* instanceHandle, const char* identifierURL,
                                       KeyValueList* launchModes, KeyValueList* options);

/* ---- custom data ---- */

/**
 * Declares the integer custom data types that the host sends; goes to the phone with the next
 * handshake.
 * @param numberOfEntries,supportedItemsList types, copied; none, or null, changes nothing; without
 * memory for the copy the list is left empty
 */
QUARLO_API void quarlo_SetSupportedCustomData(void* instanceHandle, UInt8 numberOfEntries,
                                              ClientCustomDataIntType* supportedItemsList);

/**
 * Sends a text to the phone, in RUN only.
 * @param type 1 to 8; IVIFirmwareVersionF is the library's own announcement of its version
 * @param encoding UTF8 or ASCII_LATIN1: how the bytes of the text are to be read; nothing converts
 * them
 * @param messageString terminated; null, or one of more than 65532 bytes, is sent as an empty text
 * @return eRETURN_OKAY, eRETURN_NULL_HANDLE, eRETURN_STATE_NOT_RUN, eRETURN_PARAM_VALUE,
 * eRETURN_PACKET_MEMORY or eRETURN_MEM_ALLOC (also reported)
 */
QUARLO_API eReturnCode quarlo_CustomDataString(void* instanceHandle,
                                               ClientCustomDataStringType type,
                                               StringEncoding encoding, const char* messageString);

/**
 * Sends an integer, in RUN only.
 * @param type what it means
 * @param length 1, 2, 4 or 8 bytes
 * @param pValue the bytes in the order in which they are to be sent
 * @return as quarlo_CustomDataString, or eRETURN_NULL_PARAM
 */
QUARLO_API eReturnCode quarlo_CustomDataInt(void* instanceHandle, ClientCustomDataIntType type,
                                            UInt16 length, UInt8* pValue);
/**
 * quarlo_CustomDataKeyTimed with the present time.
 * @param type,code see there
 * @return likewise
 */
QUARLO_API eReturnCode quarlo_CustomDataKey(void* instanceHandle, ClientCustomDataKeyType type,
                                            ClientCustomDataKeyCode code);
/**
 * Sends a key of the head unit, in RUN only.
 * @param type,code what was done to which key
 * @param timestamp milliseconds of any clock that only goes forward
 * @return as quarlo_CustomDataString
 */
QUARLO_API eReturnCode quarlo_CustomDataKeyTimed(void* instanceHandle, ClientCustomDataKeyType type,
                                                 ClientCustomDataKeyCode code, UInt32 timestamp);
/**
 * Sends a CAN message (ISO 11898), in RUN only.
 * @param type Generic or CanAmbientlight
 * @param identifier of the message; all 32 bits are passed on
 * @param dataLengthCode,data 0 to 8 bytes
 * @return as quarlo_CustomDataString, or eRETURN_NULL_PARAM for missing data
 */
QUARLO_API eReturnCode quarlo_CustomDataCan(void* instanceHandle, ClientCustomDataCanType type,
                                            UInt32 identifier, UInt8 dataLengthCode, UInt8* data);
/**
 * Sends a block of bytes, in RUN only.
 * @param identifier number of the block, cut to its low 12 bits with a warning
 * @param length,pData the bytes; null sends the block empty
 * @return as quarlo_CustomDataString
 */
QUARLO_API eReturnCode quarlo_CustomDataRaw(void* instanceHandle, UInt16 identifier, UInt16 length,
                                            UInt8* pData);
/**
 * Declares the keys that the head unit has, in place of those before; sent in the handshake.
 * Accepted only in ePROTOCOL_STATE_STOP.
 * @param numberOfKeys,keyList codes, copied; 0 for none
 * @return eRETURN_OKAY; eRETURN_PARAM_VALUE when unknown codes were dropped (the others are taken);
 * eRETURN_NULL_HANDLE, eRETURN_NULL_PARAM or eRETURN_NOT_ALLOWED, which change nothing; or
 * eRETURN_MEM_ALLOC, which leaves no keys
 */
QUARLO_API eReturnCode quarlo_SetCustomKeysSupported(void* instanceHandle, UInt8 numberOfKeys,
                                                     ClientCustomDataKeyCode* keyList);
/**
 * Says whether the protocol knows a key.
 * @param code any value
 * @return 1 if it does, else 0
 */
QUARLO_API Flag quarlo_IsClientCustomDataKeyCodeValid(ClientCustomDataKeyCode code);
/**
 * Sets who gets texts from the phone.
 * @param callback made in RUN for each that is of a known type
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SetCustomDataStringCallback(void* instanceHandle,
                                                          quarloCustomDataStringCallback callback);
/**
 * Sets who gets integers from the phone.
 * @param callback made in RUN for each that is of a known type and length
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SetCustomDataIntCallback(void* instanceHandle,
                                                       quarloCustomDataIntCallback callback);
/**
 * Sets who gets keys from the phone.
 * @param callback made in RUN for each that is known
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SetCustomDataKeyCallback(void* instanceHandle,
                                                       quarloCustomDataKeyCallback callback);
/**
 * Sets who gets CAN messages from the phone.
 * @param callback made in RUN for each that is of a known type and at most 8 bytes
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SetCustomDataCanCallback(void* instanceHandle,
                                                       quarloCustomDataCanCallback callback);
/**
 * Sets who keeps blocks for the phone in a storage of the host's own.
 * @param callback made in RUN for each operation on it; may answer a get at once
 * @return eRETURN_OKAY or eRETURN_NULL_HANDLE
 */
QUARLO_API eReturnCode quarlo_SetCustomDataRawCallback(void* instanceHandle,
                                                       quarloCustomDataRawCallback callback);

#ifdef __cplusplus
}
#endif

#endif
