/**
 * @file
 * Sessions: an instance, its transport and their renewal. See quarlo-links.h.
 *
 * The first argument of a session's callbacks is the context of its configuration.
 */
#ifndef QUARLO_SESSION_H
#define QUARLO_SESSION_H

#include "quarlo-capture.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An instance, its transport and their renewal, on a thread of its own. */
typedef struct quarloSession quarloSession;

/** How a session reaches its phone. */
typedef enum quarloTransportKind QUARLO_AS_INT {
    eTRANSPORT_TcpClient = 1,  /**< connects to address and port */
    eTRANSPORT_TcpServer = 2,  /**< waits on address and port */
    eTRANSPORT_UnixClient = 3, /**< connects to the socket file address */
    eTRANSPORT_UnixServer = 4, /**< waits on the socket file address */
    eTRANSPORT_Serial = 5,     /**< opens the device address at baudRate */
    eTRANSPORT_Custom = 6,     /**< calls open */
    eTRANSPORT_Listener = 7    /**< waits on listener, which other sessions may share */
} quarloTransportKind;

/**
 * Opens the link of an eTRANSPORT_Custom session, on the session thread. quarloSession_Delete waits
 * for it: what takes long should end when quarloSession_GetInterrupt is readable.
 * @param session whose link it is
 * @param failure to be filled when null is returned; never null
 * @return the link, which the session closes; or null
 */
typedef quarloLink* (*quarloSessionOpen)(void* context, quarloSession* session,
                                         quarloLinkFailure* failure);

/**
 * Where a session's phone is. Set all of it to 0, then size to sizeof(quarloTransport), then what
 * the kind uses.
 */
typedef struct {
    size_t size;              /**< of the struct as the host was compiled with it */
    const char* address;      /**< host, interface (null: loopback), socket file or device */
    quarloSessionOpen open;   /**< Custom: opens the link */
    quarloListener* listener; /**< stays the host's; closed after the sessions are deleted */
    quarloTransportKind kind; /**< which of the members count */
    UInt32 baudRate;          /**< bits per second */
    UInt16 port;              /**< 1 to 65535; servers: also 0, for any free one */
    Flag useRtsCts;           /**< Serial: 1 switches hardware flow control on */
    UInt8 reserved[5];        /**< 0 */
} quarloTransport;

/** What a session is doing. */
typedef enum quarloSessionState QUARLO_AS_INT {
    eSESSIONSTATE_Connecting = 1, /**< opening the transport, or waiting for a phone to connect */
    eSESSIONSTATE_Connected = 2,  /**< transport open, instance started, handshake under way */
    eSESSIONSTATE_Running = 3,    /**< the instance is in RUN */
    eSESSIONSTATE_Waiting = 4,    /**< an attempt failed or a connection was lost; next try later */
    eSESSIONSTATE_GivenUp = 5,    /**< no further try, until quarloSession_Reconnect */
    eSESSIONSTATE_Stopped = 6     /**< stopped by the host; the last report */
} quarloSessionState;

/** What a state callback is told; valid during the call. */
typedef struct {
    size_t size;              /**< of what the library fills in */
    const char* reason;       /**< Waiting, GivenUp: the reason in one line; else empty */
    quarloSessionState state; /**< what the session does now */
    UInt32 attempt;           /**< attempts to connect since a lasting RUN was left, from 1 */
    UInt32 remaining;         /**< Waiting: milliseconds until the next attempt */
    Int32 errorNumber; /**< Waiting, GivenUp: the reason as an errno value; 0 if it has none */
} quarloSessionInfo;

/**
 * Tells of every change of state, and once a second while Waiting; on the session thread.
 * @param session which one; its quarloSession_Start may not have returned yet
 * @param info valid during the call
 */
typedef void (*quarloSessionStateCallback)(void* context, quarloSession* session,
                                           const quarloSessionInfo* info);

/**
 * Configures a new instance, before every start: everything that is set between
 * quarlo_CreateInstance and quarlo_StartMainThread except the links, the callback context, the
 * protocol callback, the error callback and the initialisation timeout, which belong to the
 * session: its handshake limit stands in for the latter. On the session thread.
 * @param session whose instance it is
 * @param instance handle; not to be started or deleted
 * @return eRETURN_OKAY to start the instance; any other value makes the attempt fail
 */
typedef eReturnCode (*quarloSessionConfigure)(void* context, quarloSession* session,
                                              void* instance);

/* ---- changes of frames --------------------------------------------------------------------------
 */

/** What of frames is to be changed; bits. */
enum {
    eFRAMECHANGE_Size = 1,        /**< width, height and their millimetres */
    eFRAMECHANGE_PixelFormat = 2, /**< format, order and bytesPerPixel */
    eFRAMECHANGE_Compression = 4, /**< compression */
    eFRAMECHANGE_Fence = 8        /**< nothing: what comes when it is over was drawn after it */
};

/** A change of frames. Set all of it to 0, then size to sizeof(quarloFrameChange), then the rest.
 */
typedef struct {
    size_t size;           /**< of the struct as the host was compiled with it */
    UInt32 what;           /**< eFRAMECHANGE_..., at least one */
    UInt32 width;          /**< pixels, 1 to 65535; see quarlo_SetFrameSize */
    UInt32 height;         /**< pixels, 1 to 65535 */
    UInt32 physicalWidth;  /**< millimetres, 0 to 65535 */
    UInt32 physicalHeight; /**< millimetres, 0 to 65535 */
    UInt32 bytesPerPixel;  /**< 1 to 255; see quarlo_SetPixelFormat */
    UInt32 format;         /**< a PixelFormat */
    UInt32 order;          /**< a PixelEndianess */
    UInt32 compression;    /**< see quarlo_OverrideCompressionFormat */
    UInt32 reserved;       /**< 0 */
} quarloFrameChange;

/** How a change of frames has ended. */
typedef enum quarloChangeResult QUARLO_AS_INT {
    /** Made, and acknowledged by the phone. */
    eCHANGERESULT_Done = 0,
    /** Made, but the phone has not acknowledged it in time. */
    eCHANGERESULT_Unacknowledged = 1,
    /** Made, although the phone did not show in time that nothing is under way: frames of the time
     * before may still come, and are decoded by the new settings. */
    eCHANGERESULT_Unfenced = 2,
    /** The phone goes on without the compression; what else was asked for is made. */
    eCHANGERESULT_CompressionRefused = 3,
    /** The phone refused the size or the pixel format, which ends the connection. */
    eCHANGERESULT_Refused = 4,
    /** The connection ended before the result was known. */
    eCHANGERESULT_Lost = 5
} quarloChangeResult;

/** Where a change of frames stands. */
typedef enum quarloChangePhase QUARLO_AS_INT {
    /** All that was under way has arrived and was handled, and the settings change when the
     * callback returns: the moment to prepare the surface. Not made when the connection is lost
     * before. */
    eCHANGEPHASE_Changing = 1,
    /** It is over, see result; the moment to ask for the whole screen. */
    eCHANGEPHASE_Over = 2
} quarloChangePhase;

/** What a change callback is told; valid during the call. */
typedef struct {
    size_t size;                     /**< of what the library fills in */
    const quarloFrameChange* change; /**< as it was asked for; not null */
    quarloChangePhase phase;         /**< where it stands */
    /** Over: how it has ended. Changing: Unfenced, when frames of the time before may still come,
     * or Done. */
    quarloChangeResult result;
    /** What frames look like with the change, or without it if it was refused: all that the
     * session's frames name, see quarloSessionConfig. Not null. */
    const quarloFrameChange* frames;
} quarloFrameChangeInfo;

/**
 * Tells of the changes that quarloSession_ChangeFrames was asked for; on the session thread.
 * @param session which one
 * @param info valid during the call
 */
typedef void (*quarloFrameChangeCallback)(void* context, quarloSession* session,
                                          const quarloFrameChangeInfo* info);

/* ---- configuration ------------------------------------------------------------------------------
 */

/**
 * What a session is to do. Set all of it to 0, then size to sizeof(quarloSessionConfig), then what
 * is to differ: 0 and null stand for the defaults, also of members that later releases add.
 * Everything is copied. Times are in milliseconds, 1 to 2^32 - 1 unless another range is given.
 */
typedef struct {
    size_t size;                      /**< of the struct as the host was compiled with it */
    const quarloTransport* transport; /**< not null */
    const char* description;          /**< the host's name for itself; see quarlo_CreateInstance */
    /** First argument of the session's callbacks and, if not null, of all callbacks of its
     * instances. Not to be shared with another session or attached link. */
    void* context;
    quarloSessionConfigure configure;         /**< sets each instance up; may be null */
    quarloSessionStateCallback stateCallback; /**< told of the session's state; may be null */
    quarloProtocolCallback protocolCallback;  /**< see quarlo_SetProtocolCallback; may be null */
    quarloErrorCallback errorCallback;        /**< see quarlo_SetErrorCallback; never told of
                                               * INITIALIZATION_TIMEOUT; may be null */
    quarloFrameChangeCallback changeCallback; /**< told of changes of frames; may be null */
    const quarloObserver* observer;           /**< of all links of the session; may be null */
    UInt32 connectLimit;   /**< for one attempt to connect; default 5000, servers wait for ever */
    UInt32 handshakeLimit; /**< from Connected to Running; default 60000 */
    UInt32 sendLimit;      /**< see quarloLink_SetSendLimit; default 5000 */
    UInt32 silenceLimit;   /**< see quarloLink_SetSilenceLimit; 2000 to 3600000, default 5000 */
    UInt32 changeLimit;    /**< for each answer of the phone to a change; default 3000 */
    UInt32 firstDelay;     /**< pause before the second attempt; doubled with each; default 500 */
    UInt32 longestDelay;   /**< upper limit of the pause; default 10000 */
    UInt32 jitter; /**< percent by which a pause is shortened at random; 1 to 100, default 20 */
    /** A RUN that lasts this long is a success: pauses and giveUpAfter begin anew after it. Default
     * 10000. */
    UInt32 lastingRun;
    UInt32 giveUpAfter;     /**< give up this long after a lasting RUN was left; default: never */
    quarloCapture* capture; /**< of all links of the session, with its states and errors; stays the
                             * host's; may be null */
    /** What frames look like when RUN is reached, as far as it is named there: set after configure,
     * for each connection as it was changed since, also by a change that was Lost, but not by one
     * that was refused. May be null: then configure sets it. */
    const quarloFrameChange* frames;
    /** The largest size and the deepest pixel format, of what frames names, that changes will come
     * to: declared at the start instead, so that the receive buffer is made for it and phones do
     * not cut what is larger. When RUN is reached the phone is told of frames, before the protocol
     * callback is. May be null. */
    const quarloFrameChange* largest;
} quarloSessionConfig;

/**
 * Starts a session. quarlo_Init must have been called, and quarlo_Shutdown must wait for
 * quarloSession_Delete. A connection is given up for lost, and replaced, when the instance stops
 * (end of the transport, refusal by the phone), when the ping watchdog or the handshake limit
 * reports silence, or when the host asks for it. Does not wait for a connection.
 * @param config is copied, with all it leads to
 * @param failure says why, when null is returned: EINVAL for a configuration that makes no sense,
 * and what of it does not; may be null
 * @return the session, to be freed with quarloSession_Delete; or null. Callbacks may be made before
 * this function returns
 */
QUARLO_API quarloSession* quarloSession_Start(const quarloSessionConfig* config,
                                              quarloLinkFailure* failure);

/**
 * Lends the session's present instance to the caller: it is not deleted before
 * quarloSession_Release is called. For every use of the API outside the instance's own callbacks.
 * Hold it briefly, as for one call, and not over quarloSession_Delete. From any thread; does not
 * wait for a connection.
 * @param session whose instance; null gives null
 * @return the instance, or null while there is none or it is about to be deleted
 */
QUARLO_API void* quarloSession_Acquire(quarloSession* session);
/**
 * Gives back what quarloSession_Acquire returned (not null). From any thread.
 * @param session the same
 */
QUARLO_API void quarloSession_Release(quarloSession* session);

/**
 * Changes size, pixel format or compression of the frames in RUN. The library decodes every frame
 * by its present settings, so one that was drawn before and arrives after would be decoded wrongly.
 * Hence, on the session thread: the phone is asked to suspend frames and to acknowledge something
 * (its present compression); when it has, and all before that was handled, the change is made, and
 * frames go on. A compression alone needs no such fence. The host asks for no frames meanwhile, and
 * for the whole screen afterwards; frame requests that the host has suspended stay so. Changes that
 * are asked for meanwhile follow, in their order. Each connection begins with the
 * configuration's frames as they were changed since, and with what else configure sets.
 * @param session in RUN
 * @param change is copied
 * @param result null: asks for it only, from any thread and from callbacks; the change callback
 * tells the rest. Otherwise waits until the change is over and receives what became of it: not on a
 * thread of the library or of a session, and not while holding an acquired instance; the frames
 * that are under way must find their callbacks free
 * @return eRETURN_NULL_HANDLE, eRETURN_NULL_PARAM, eRETURN_PARAM_VALUE; eRETURN_STATE_NOT_RUN;
 * eRETURN_NOT_ALLOWED when it would wait where it must not, eRETURN_MEM_ALLOC also when 64 changes
 * wait; else eRETURN_OKAY
 */
QUARLO_API eReturnCode quarloSession_ChangeFrames(quarloSession* session,
                                                  const quarloFrameChange* change,
                                                  quarloChangeResult* result);

/**
 * As quarloLink_GetPacketCount, over all connections of the session. From any thread.
 * @param session whose packets
 * @param direction,type,packets,bytes see quarloLink_GetPacketCount
 * @return eRETURN_OKAY, eRETURN_NULL_HANDLE for null, or eRETURN_PARAM_VALUE as there
 */
QUARLO_API eReturnCode quarloSession_GetPacketCount(quarloSession* session,
                                                    quarloDirection direction, UInt32 type,
                                                    UInt64* packets, UInt64* bytes);

/**
 * For a custom transport's open: a descriptor that becomes readable when the session is to stop or
 * to connect anew. It stays the session's, and is not to be read from or closed.
 * @param session which is given to open
 * @return the descriptor; -1 for null
 */
QUARLO_API int quarloSession_GetInterrupt(quarloSession* session);

/**
 * Drops the present connection, ends a pause or a giving up, and connects at once. Asks for it
 * only; from any thread and from callbacks.
 * @param session null is ignored
 */
QUARLO_API void quarloSession_Reconnect(quarloSession* session);

/**
 * Ends the session: deletes the instance, closes the transport, reports Stopped. Asks for it only;
 * from any thread and from callbacks.
 * @param session null is ignored
 */
QUARLO_API void quarloSession_Stop(quarloSession* session);

/**
 * Stops the session, waits for its end and frees it. Interrupts every wait but a custom transport's
 * open.
 * @param session not to be used by another thread any more
 * @return eRETURN_OKAY; eRETURN_NULL_HANDLE for null; eRETURN_NOT_ALLOWED, with the session left as
 * it is, on every thread of the library and of a session, whichever session it is about
 */
QUARLO_API eReturnCode quarloSession_Delete(quarloSession* session);

#ifdef __cplusplus
}
#endif

#endif
