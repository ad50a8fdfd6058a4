/**
 * @file
 * Ready-made transports for the quarlo protocol stack.
 *
 * A quarloLink is a byte stream to one phone: any file descriptor, a TCP or Unix socket, a serial
 * line. It supplies the receiver link, the sender link and the end-receiver request of an instance;
 * one call attaches all three:
 *
 *     quarloLink* link = quarloLink_ConnectTcp("192.168.7.2", 4711, 0, &failure);
 *     void* instance = quarlo_CreateInstance(link, "My head unit");
 *     quarloLink_Attach(link, instance, myApp);
 *     ... callbacks, settings, quarlo_StartMainThread(instance) ...
 *     quarlo_DeleteInstance(instance);
 *     quarloLink_Close(link);
 *
 * A quarloSession does all of this on a thread of its own, and again after every loss.
 *
 * Context. The library hands the end-receiver request nothing but the callback context, so the link
 * must be found from it. The context stays the host's: the links find themselves as the instance's
 * connection (quarlo_GetConnectionInfo gives it back), and the end-receiver request looks the link
 * up by the context it was attached with. Hence each attached link needs a context of its own; null
 * stands for the instance handle, which always is one.
 *
 * Threads and callbacks:
 *
 *     what                   runs on            may block  links API from it    delete from it
 *     quarloLink_Receive     receiver thread    250 ms     -                    -
 *     quarloLink_Send        any sending thread send limit -                    -
 *     session state callback session thread     briefly    all but Delete       no: refused
 *     session configure      session thread     briefly    all but Delete       no: refused
 *     session open           session thread     see there  all but Delete       no: refused
 *     session protocol and   as the library's   briefly    all but Delete       no: refused on the
 *     error callback         own callbacks                                      receiver thread
 *
 * Times are in milliseconds. No function changes a signal's disposition, and no write raises
 * SIGPIPE. Descriptors are closed on exec.
 */
#ifndef QUARLO_LINKS_H
#define QUARLO_LINKS_H

#include "QUARLO-Core.h"

#ifdef __cplusplus
extern "C" {
#endif

/** One byte stream to a phone. */
typedef struct quarloLink quarloLink;
/** A socket that waits for phones to connect. */
typedef struct quarloListener quarloListener;
/** An instance, its transport and their renewal, on a thread of its own. */
typedef struct quarloSession quarloSession;

/** Why something could not be opened. */
typedef struct {
    Int32 number;   /**< an errno value */
    char text[240]; /**< one line for people: what was tried, and why it failed */
} quarloLinkFailure;

/* ---- links --------------------------------------------------------------------------------------
 */

/**
 * Makes a link of open descriptors: a stream socket, a terminal, a pair of pipes, whatever a
 * Bluetooth or USB service handed out. A TCP socket gets the options that quarloLink_ConnectTcp
 * describes; anything that is not a socket is switched to non-blocking, for all who share its open
 * file.
 * @param input what to read from
 * @param output what to write to, usually the same descriptor
 * @param failure says why, when null is returned; may be null
 * @return the link, which closes both descriptors when it is closed; null for a bad descriptor, a
 * socket that is not a stream, or no memory: the descriptors then still belong to the caller
 */
QUARLO_API quarloLink* quarloLink_FromDescriptors(int input, int output,
                                                  quarloLinkFailure* failure);

/**
 * Connects to a TCP server. Packets are sent at once (TCP_NODELAY), and a peer that falls silent is
 * noticed within 6 seconds, idle or not (keep-alive and TCP_USER_TIMEOUT). For the same reason one
 * that takes nothing for some 4 seconds is given up, however long the send limit.
 * @param host name or numeric address; the lookup of a name can neither be limited nor interrupted,
 * so prefer addresses
 * @param timeLimit for the whole call but the name lookup; 0: 5000
 * @param failure says why, when null is returned; may be null
 * @return the link, or null
 */
QUARLO_API quarloLink* quarloLink_ConnectTcp(const char* host, UInt16 port, UInt32 timeLimit,
                                             quarloLinkFailure* failure);

/**
 * As quarloLink_ConnectTcp, and gives up with ECANCELED as soon as the descriptor interrupt is
 * readable: an eventfd, a pipe, a signalfd. It is not read from; -1 for none.
 */
QUARLO_API quarloLink* quarloLink_ConnectTcpInterruptibly(const char* host, UInt16 port,
                                                          UInt32 timeLimit, int interrupt,
                                                          quarloLinkFailure* failure);

/** Connects to a Unix stream socket. @param failure see quarloLink_ConnectTcp @return likewise */
QUARLO_API quarloLink* quarloLink_ConnectUnix(const char* path, quarloLinkFailure* failure);

/**
 * Opens a serial line: 8 data bits, no parity, one stop bit, raw, exclusive, modem control lines
 * ignored. What was received before the call is thrown away.
 * @param baudRate any rate that the driver can make to within 3 percent
 * @param useRtsCts 1 switches hardware flow control on; without it nothing controls the flow
 * @param failure see quarloLink_ConnectTcp
 * @return the link, whose send limit grows with what the line needs for a packet; null when the
 * device cannot be opened, is no serial line, or refuses the rate
 */
QUARLO_API quarloLink* quarloLink_OpenSerial(const char* device, UInt32 baudRate, Flag useRtsCts,
                                             quarloLinkFailure* failure);

/**
 * Sets how long one packet may take to be sent; default 5000. A packet that takes longer breaks the
 * connection: senders return, the receiver link ends. Applies from the next packet on.
 * @param milliseconds 0: the default
 */
QUARLO_API void quarloLink_SetSendLimit(quarloLink* link, UInt32 milliseconds);

/**
 * Makes the link the transport of an instance: sets the receiver link, the sender link, the
 * end-receiver request and the callback context. To be called before the instance is started, with
 * an instance that was created with the link as its connection. A link that was stopped, but did
 * not end, can be attached anew, to a fresh instance. Setting another callback context afterwards
 * makes the deletion of the instance slower (up to 250 ms, or the send limit while a send blocks).
 * @param context the instance's callback context; null for the instance handle
 * @return eRETURN_NULL_PARAM for a null link, eRETURN_NULL_HANDLE for a null instance,
 * eRETURN_PARAM_VALUE when the link is not the instance's connection, eRETURN_NOT_ALLOWED when
 * another link is attached with this context and not closed yet, else eRETURN_OKAY
 */
QUARLO_API eReturnCode quarloLink_Attach(quarloLink* link, void* instance, void* context);

/**
 * The receiver link, of type quarloReceiverLink; connectionInfo is the link. Sleeps until there is
 * something to read, the link is stopped, or 250 ms have passed. Takes no lock and allocates
 * nothing. To be called by one thread at a time.
 * What a phone had sent before it went away is delivered before the end.
 * @return the number of bytes read; 0 when nothing is there now, always with size 0, and for the
 * first call that finds the link stopped; -1 when the connection ended (end of file, reset,
 * hang-up, a send that failed or took too long, stopped before) or connectionInfo is null; -2 for
 * any other failure
 */
QUARLO_API size_t quarloLink_Receive(void* context, UInt8* buffer, size_t size,
                                     void* connectionInfo);

/**
 * The sender link, of type quarloSenderLink; connectionInfo is the link. Sends the whole buffer
 * before it returns, and never mixes the buffers of several threads. When that fails, takes longer
 * than the send limit, or would block on a stopped link, the connection is broken: the receiver
 * link ends, and this and later calls return without sending.
 */
QUARLO_API void quarloLink_Send(void* context, UInt8* buffer, size_t size, void* connectionInfo);

/**
 * The end-receiver request, of type quarloContextCallback: stops the link that is attached with
 * this context; does nothing when there is none.
 */
QUARLO_API void quarloLink_EndReceiverRequest(void* context);

/** Makes blocked reads and writes of the link return at once. From any thread; null is ignored. */
QUARLO_API void quarloLink_Stop(quarloLink* link);

/**
 * What ended the connection: 0 while it is open and after an orderly end, an errno value after a
 * failure; ETIMEDOUT after a send that took too long, ECANCELED after one that was stopped. From
 * any thread.
 */
QUARLO_API Int32 quarloLink_GetError(const quarloLink* link);

/**
 * What became of the connection, as one line for people; empty while it is open, and after an end
 * that the host itself asked for between two packets. From any thread.
 * @param text receives at most size bytes with the zero at their end; may be null when size is 0
 * @return the length of the whole text
 */
QUARLO_API size_t quarloLink_GetEndText(const quarloLink* link, char* text, size_t size);

/** Bytes read so far: an instance that gets none hears nothing from its phone. From any thread. */
QUARLO_API UInt64 quarloLink_GetBytesReceived(const quarloLink* link);
/** Bytes that the system has taken for sending so far. From any thread. */
QUARLO_API UInt64 quarloLink_GetBytesSent(const quarloLink* link);

/**
 * Closes and frees a link; null is ignored. Nobody may be using it any more: delete the instance
 * first. Does not wait for unsent bytes; those in a serial line's buffer are thrown away.
 */
QUARLO_API void quarloLink_Close(quarloLink* link);

/* ---- listeners ----------------------------------------------------------------------------------
 */

/**
 * Waits for phones on a TCP port.
 * @param address numeric address of the interface; null for the loopback address, "0.0.0.0" or "::"
 * for all
 * @param port 0 for any free one; see quarloListener_GetPort
 * @param failure says why, when null is returned; may be null
 * @return the listener, to be closed with quarloListener_Close; or null
 */
QUARLO_API quarloListener* quarloListener_OpenTcp(const char* address, UInt16 port,
                                                  quarloLinkFailure* failure);

/**
 * Waits for phones on a Unix socket. A socket file that nobody listens on any more is replaced;
 * the file is removed by quarloListener_Close.
 * @param failure see quarloListener_OpenTcp @return likewise
 */
QUARLO_API quarloListener* quarloListener_OpenUnix(const char* path, quarloLinkFailure* failure);

/** @return the TCP port of the listener; 0 for null and for Unix sockets */
QUARLO_API UInt16 quarloListener_GetPort(const quarloListener* listener);

/**
 * Waits for one phone to connect.
 * @param timeLimit 0: no limit
 * @param failure says why, when null is returned: ETIMEDOUT, ECANCELED after quarloListener_Stop,
 * or what the system said; may be null
 * @return the link, with the options of quarloLink_ConnectTcp; or null
 */
QUARLO_API quarloLink* quarloListener_Accept(quarloListener* listener, UInt32 timeLimit,
                                             quarloLinkFailure* failure);

/** Makes every present and later quarloListener_Accept return. From any thread; null is ignored. */
QUARLO_API void quarloListener_Stop(quarloListener* listener);

/** Closes and frees a listener that nobody uses any more; null is ignored. */
QUARLO_API void quarloListener_Close(quarloListener* listener);

/* ---- sessions -----------------------------------------------------------------------------------
 */

/** How a session reaches its phone. */
typedef enum {
    eTRANSPORT_TcpClient = 1,  /**< connects to address and port */
    eTRANSPORT_TcpServer = 2,  /**< waits on address and port */
    eTRANSPORT_UnixClient = 3, /**< connects to the socket file address */
    eTRANSPORT_UnixServer = 4, /**< waits on the socket file address */
    eTRANSPORT_Serial = 5,     /**< opens the device address at baudRate */
    eTRANSPORT_Custom = 6      /**< calls open */
} quarloTransportKind;

/**
 * Opens the link of an eTRANSPORT_Custom session, on the session thread. Cannot be interrupted:
 * quarloSession_Delete waits for it.
 * @param failure to be filled when null is returned
 * @return the link, which the session closes; or null
 */
typedef quarloLink* (*quarloSessionOpen)(void* context, quarloSession* session,
                                         quarloLinkFailure* failure);

/** Where a session's phone is; what the kind does not use may be 0. */
typedef struct {
    quarloTransportKind kind;
    const char* address; /**< host, interface (may be null), socket file or device */
    UInt16 port;
    Flag useRtsCts;
    UInt32 baudRate;
    quarloSessionOpen open;
} quarloTransport;

/** What a session is doing. */
typedef enum {
    eSESSIONSTATE_Connecting = 1, /**< opening the transport, or waiting for a phone to connect */
    eSESSIONSTATE_Connected = 2,  /**< transport open, instance started, handshake under way */
    eSESSIONSTATE_Running = 3,    /**< the instance is in RUN */
    eSESSIONSTATE_Waiting = 4,    /**< an attempt failed or a connection was lost; next try later */
    eSESSIONSTATE_GivenUp = 5,    /**< no further try, until quarloSession_Reconnect */
    eSESSIONSTATE_Stopped = 6     /**< stopped by the host; the last report */
} quarloSessionState;

/** What a state callback is told; valid during the call. */
typedef struct {
    quarloSessionState state;
    UInt32 attempt;     /**< attempts to connect since RUN was last left, from 1 */
    UInt32 remaining;   /**< Waiting: milliseconds until the next attempt */
    Int32 errorNumber;  /**< Waiting, GivenUp: the reason as an errno value; 0 if it has none */
    const char* reason; /**< Waiting, GivenUp: the reason in one line; else empty */
} quarloSessionInfo;

/** Tells of every change of state, and once a second while Waiting; on the session thread. */
typedef void (*quarloSessionStateCallback)(void* context, quarloSession* session,
                                           const quarloSessionInfo* info);

/**
 * Configures a new instance, before every start: everything that is set between
 * quarlo_CreateInstance and quarlo_StartMainThread except the links, the callback context, the
 * protocol callback and the error callback, which belong to the session. The initialisation timer
 * is off; the session's handshake limit stands in for it. On the session thread.
 * @return eRETURN_OKAY to start the instance; any other value makes the attempt fail
 */
typedef eReturnCode (*quarloSessionConfigure)(void* context, quarloSession* session,
                                              void* instance);

/**
 * What a session is to do. Set all of it to 0, then size to sizeof(quarloSessionConfig), then what
 * is wanted: 0 and null stand for the defaults, also of members that later releases add. Texts are
 * copied.
 */
typedef struct {
    size_t size;
    quarloTransport transport;
    const char* description; /**< the host's name for itself; see quarlo_CreateInstance */
    /** First argument of the session's callbacks and, if not null, of all callbacks of its
     * instances. Not to be shared with another session or attached link. */
    void* context;
    quarloSessionConfigure configure;         /**< may be null */
    quarloSessionStateCallback stateCallback; /**< may be null */
    quarloProtocolCallback protocolCallback;  /**< see quarlo_SetProtocolCallback; may be null */
    quarloErrorCallback errorCallback;        /**< see quarlo_SetErrorCallback; may be null */
    UInt32 connectLimit;   /**< for one attempt to connect; default 5000, servers wait for ever */
    UInt32 handshakeLimit; /**< from Connected to Running; default 60000 */
    UInt32 sendLimit;      /**< see quarloLink_SetSendLimit; default 5000 */
    UInt32 firstDelay;     /**< pause before the second attempt; doubled with each; default 500 */
    UInt32 longestDelay;   /**< upper limit of the pause; default 10000 */
    UInt32 giveUpAfter;    /**< give up this long after RUN was left; default: never */
} quarloSessionConfig;

/**
 * Starts a session. quarlo_Init must have been called, and quarlo_Shutdown must wait for
 * quarloSession_Delete. A connection is given up for lost, and replaced, when the instance stops
 * (end of the transport, refusal by the phone), when the ping watchdog or the handshake limit
 * reports silence, or when the host asks for it.
 * @param failure says why, when null is returned: EINVAL for a configuration that makes no sense;
 * may be null
 * @return the session; callbacks may be made before this function returns
 */
QUARLO_API quarloSession* quarloSession_Start(const quarloSessionConfig* config,
                                              quarloLinkFailure* failure);

/**
 * Lends the session's present instance to the caller: it is not deleted before
 * quarloSession_Release is called. For every use of the API outside the instance's own callbacks.
 * Hold it briefly, as for one call. From any thread.
 * @return the instance, or null while there is none or it is about to be deleted
 */
QUARLO_API void* quarloSession_Acquire(quarloSession* session);
/** Gives back what quarloSession_Acquire returned (not null). */
QUARLO_API void quarloSession_Release(quarloSession* session);

/** Drops the present connection, ends a pause or a giving up, and connects at once. Asks for it
 * only; from any thread and from callbacks. */
QUARLO_API void quarloSession_Reconnect(quarloSession* session);

/** Ends the session: deletes the instance, closes the transport, reports Stopped. Asks for it only;
 * from any thread and from callbacks. */
QUARLO_API void quarloSession_Stop(quarloSession* session);

/**
 * Stops the session, waits for its end and frees it. Interrupts every wait but a name lookup and a
 * custom transport's open.
 * @return eRETURN_OKAY; eRETURN_NULL_HANDLE for null; eRETURN_NOT_ALLOWED, with the session left as
 * it is, on the session thread and on the receiver thread
 */
QUARLO_API eReturnCode quarloSession_Delete(quarloSession* session);

#ifdef __cplusplus
}
#endif

#endif
