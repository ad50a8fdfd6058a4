/**
 * @file
 * Links: byte streams to one phone. See quarlo-links.h.
 *
 * Opening, closing, attaching and adding observers are the host's, one at a time for a link;
 * functions that may be called from any thread at any time say so. Texts are terminated.
 */
#ifndef QUARLO_LINK_H
#define QUARLO_LINK_H

#include "QUARLO-Core.h"

#ifdef __cplusplus
extern "C" {
#endif

/** One byte stream to a phone. */
typedef struct quarloLink quarloLink;
/** A socket that waits for phones to connect. */
typedef struct quarloListener quarloListener;

/**
 * Why something could not be opened. Set all of it to 0, or size to sizeof(quarloLinkFailure): then
 * members that later releases add at the end are filled too.
 */
typedef struct {
    size_t size;     /**< of the struct as the host was compiled with it, or 0 */
    char text[240];  /**< one line for people: what was tried, and why it failed */
    Int32 number;    /**< an errno value */
    UInt32 reserved; /**< 0 */
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
 * noticed within about the silence limit, idle or not; see quarloLink_SetSilenceLimit.
 * Of a name with several addresses all are tried, IPv6 and IPv4 in turn, the next one when one has
 * failed or has not answered within 250 ms; the first that answers wins. A name is looked up on a
 * thread of its own, which is left behind when the time is over; at most 8 are at a time.
 * @param host,port name or numeric address, and where on it; port 1 to 65535
 * @param timeLimit milliseconds for the whole call, name lookup included; 0: 5000
 * @param failure says why, when null is returned: EHOSTUNREACH also for a name that is not known,
 * EAGAIN when too many lookups hang; may be null
 * @return the link, to be closed with quarloLink_Close; or null
 */
QUARLO_API quarloLink* quarloLink_ConnectTcp(const char* host, UInt16 port, UInt32 timeLimit,
                                             quarloLinkFailure* failure);

/**
 * As quarloLink_ConnectTcp, and gives up with ECANCELED as soon as a descriptor is readable.
 * @param host,port,timeLimit,failure see quarloLink_ConnectTcp
 * @param interrupt the descriptor: an eventfd, a pipe, a signalfd; not read from, stays the
 * caller's; -1 for none
 * @return likewise
 */
QUARLO_API quarloLink* quarloLink_ConnectTcpInterruptibly(const char* host, UInt16 port,
                                                          UInt32 timeLimit, int interrupt,
                                                          quarloLinkFailure* failure);

/**
 * Connects to a Unix stream socket.
 * @param path of the socket file
 * @param failure says why, when null is returned; may be null
 * @return the link, to be closed with quarloLink_Close; or null
 */
QUARLO_API quarloLink* quarloLink_ConnectUnix(const char* path, quarloLinkFailure* failure);

/**
 * Opens a serial line: 8 data bits, no parity, one stop bit, raw, exclusive, modem control lines
 * ignored. What was received before the call is thrown away.
 * @param device path of the device file
 * @param baudRate bits per second; any rate that the driver can make to within 3 percent
 * @param useRtsCts 1 switches hardware flow control on; without it nothing controls the flow
 * @param failure see quarloLink_ConnectTcp
 * @return the link, whose send limit grows with what the line needs for a packet; null when the
 * device cannot be opened, is no serial line, or refuses the rate
 */
QUARLO_API quarloLink* quarloLink_OpenSerial(const char* device, UInt32 baudRate, Flag useRtsCts,
                                             quarloLinkFailure* failure);

/**
 * Sets how long one packet may take to be sent; default 5000. A packet that takes longer breaks the
 * connection: senders return, the receiver link ends. Applies from the next packet on. From any
 * thread.
 * @param link null is ignored
 * @param milliseconds 1 to 2^32 - 1; 0: the default
 */
QUARLO_API void quarloLink_SetSendLimit(quarloLink* link, UInt32 milliseconds);

/**
 * Sets after how long a TCP peer that acknowledges nothing is given up, idle or not; default 5000.
 * It is noticed at most a second later. Does nothing for other transports: there a phone that falls
 * silent is found by the ping watchdog. For the same reason a peer that takes nothing for most of
 * this time is given up however long the send limit. From any thread.
 * @param link a link of any kind
 * @param milliseconds 2000 to 3600000; 0: the default
 * @return eRETURN_OKAY, also for other transports; eRETURN_NULL_PARAM for a null link;
 * eRETURN_PARAM_VALUE outside of the range
 */
QUARLO_API eReturnCode quarloLink_SetSilenceLimit(quarloLink* link, UInt32 milliseconds);

/**
 * Makes the link the transport of an instance: sets the receiver link, the sender link, the
 * end-receiver request and the callback context. To be called before the instance is started, with
 * an instance that was created with the link as its connection. A link that was stopped, but did
 * not end, can be attached anew, to a fresh instance. Setting another callback context afterwards
 * makes the deletion of the instance slower (up to 250 ms, or the send limit while a send blocks).
 * @param link stays the host's, to be closed after the instance was deleted
 * @param instance handle of an instance that was created with the link as its connection
 * @param context the instance's callback context; null for the instance handle
 * @return eRETURN_NULL_PARAM for a null link, eRETURN_NULL_HANDLE for a null instance,
 * eRETURN_PARAM_VALUE when the link is not the instance's connection, eRETURN_NOT_ALLOWED when
 * another link is attached with this context and not closed yet, else eRETURN_OKAY
 */
QUARLO_API eReturnCode quarloLink_Attach(quarloLink* link, void* instance, void* context);

/**
 * The receiver link, of type quarloReceiverLink. Sleeps until there is something to read, the link
 * is stopped, or 250 ms have passed. Takes no lock and allocates nothing. To be called by one
 * thread at a time. What a phone had sent before it went away is delivered before the end.
 * @param context not used
 * @param buffer,size where to put what was read, and how much of it at most, in bytes
 * @param connectionInfo the link
 * @return the number of bytes read; 0 when nothing is there now, always with size 0, and for the
 * first call that finds the link stopped; -1 when the connection ended (end of file, reset,
 * hang-up, a send that failed or took too long, stopped before) or connectionInfo is null; -2 for
 * any other failure
 */
QUARLO_API size_t quarloLink_Receive(void* context, UInt8* buffer, size_t size,
                                     void* connectionInfo);

/**
 * The sender link, of type quarloSenderLink. Sends the whole buffer before it returns, and never
 * mixes the buffers of several threads. When that fails, takes longer than the send limit, or would
 * block on a stopped link, the connection is broken: the receiver link ends, and this and later
 * calls return without sending. From any thread.
 * @param context not used
 * @param buffer,size what to send, one whole packet; in bytes
 * @param connectionInfo the link; null is ignored
 */
QUARLO_API void quarloLink_Send(void* context, UInt8* buffer, size_t size, void* connectionInfo);

/**
 * The end-receiver request, of type quarloContextCallback: stops the link that is attached with a
 * context. Does not wait.
 * @param context of the attachment; one that no link is attached with is ignored
 */
QUARLO_API void quarloLink_EndReceiverRequest(void* context);

/**
 * Makes blocked reads and writes of the link return at once. Does not wait for them; from any
 * thread and from callbacks.
 * @param link null is ignored
 */
QUARLO_API void quarloLink_Stop(quarloLink* link);

/**
 * Tells the other side that nothing more comes. It may go on sending, which is received as before,
 * until it has closed its side, too. For a host that wants its last packets to arrive: closing a
 * TCP connection on which the other side has just sent something may take along what is under way.
 * To be called when nobody sends any more. Does not wait, and does nothing for what is no socket.
 * @param link null is ignored
 */
QUARLO_API void quarloLink_EndSending(quarloLink* link);

/**
 * What ended the connection, as a number. From any thread.
 * @param link an open one, or null
 * @return 0 while it is open, after an orderly end and for null; an errno value after a failure:
 * ETIMEDOUT after a send that took too long, ECANCELED after one that was stopped
 */
QUARLO_API Int32 quarloLink_GetError(const quarloLink* link);

/**
 * What became of the connection, as one line for people; empty while it is open, and after an end
 * that the host itself asked for between two packets. From any thread.
 * @param link an open one, or null
 * @param text,size receives at most size bytes with the zero at their end; null only with size 0
 * @return the length of the whole text, without the zero
 */
QUARLO_API size_t quarloLink_GetEndText(const quarloLink* link, char* text, size_t size);

/**
 * Tells whether a phone is heard at all. From any thread.
 * @param link an open one, or null
 * @return bytes read so far; 0 for null
 */
QUARLO_API UInt64 quarloLink_GetBytesReceived(const quarloLink* link);
/**
 * Tells how much of what was sent has left the library. From any thread.
 * @param link an open one, or null
 * @return bytes that the system has taken so far; 0 for null
 */
QUARLO_API UInt64 quarloLink_GetBytesSent(const quarloLink* link);

/**
 * Closes and frees a link. Nobody may be using it any more: delete the instance first. Does not
 * wait for unsent bytes; those in a serial line's buffer are thrown away.
 * @param link null is ignored
 */
QUARLO_API void quarloLink_Close(quarloLink* link);

/* ---- observers ----------------------------------------------------------------------------------
 */

/** Which way bytes go. */
typedef enum quarloDirection QUARLO_AS_INT {
    eDIRECTION_FromPhone = 1, /**< what the library reads */
    eDIRECTION_ToPhone = 2    /**< what it sends */
} quarloDirection;

/** Bytes as they were read, or as the system has taken them for sending. Valid during the call. */
typedef struct {
    size_t size;               /**< of what the library fills in */
    UInt64 wallTime;           /**< when: nanoseconds since 1970 */
    UInt64 steadyTime;         /**< when: nanoseconds of the monotonic clock */
    UInt64 begin;              /**< position of the first byte in its direction, from 0 */
    const UInt8* bytes;        /**< not null */
    size_t count;              /**< at least 1 */
    quarloDirection direction; /**< which way they go */
    UInt32 reserved;           /**< 0 */
} quarloPiece;

/** A packet whose last byte was read, or taken by the system for sending. Valid during the call. */
typedef struct {
    size_t size;               /**< of what the library fills in */
    UInt64 wallTime;           /**< of its last byte, as in quarloPiece */
    UInt64 steadyTime;         /**< likewise */
    UInt64 steadyBegin;        /**< of its first byte, nanoseconds of the monotonic clock */
    UInt64 begin;              /**< position of the first byte in its direction, from 0 */
    UInt64 packetSize;         /**< in bytes, header included */
    UInt32 flags;              /**< of the header */
    quarloDirection direction; /**< which way it goes */
    UInt32 type;               /**< of the header: eEVENTTYPE_..., or whatever the phone says */
    UInt32 reserved;           /**< 0 */
} quarloPacket;

/**
 * Who is told of all that a link carries, for statistics, logs and captures. Set all of it to 0,
 * then size to sizeof(quarloObserver), then what the host is to be told.
 * The callbacks of one link never run at the same time, and in true order: nothing is told before
 * what it answers. They run on the receiver thread and on every thread that sends, while the link
 * waits: briefly, and without a call of the link, of its session or of the host API. The receiver
 * thread cannot be cancelled in them.
 */
typedef struct {
    size_t size;   /**< of the struct as the host was compiled with it */
    void* context; /**< first argument of the callbacks */
    /** Bytes went by. May be null. */
    void (*piece)(void* context, const quarloPiece* piece);
    /** A packet is complete; after its last piece. May be null. */
    void (*packet)(void* context, const quarloPacket* packet);
    /** The link is being closed: the last call for this link, on the thread that closes it. May be
     * null. */
    void (*closed)(void* context, const quarloLink* link);
} quarloObserver;

/**
 * Has an observer told of all that the link carries from now on. Several may be added; they are
 * told in that order. To be called before the link is used.
 * @param link to be watched
 * @param observer is copied
 * @return eRETURN_NULL_PARAM, eRETURN_PARAM_VALUE for a size that is none, eRETURN_MEM_ALLOC, else
 * eRETURN_OKAY
 */
QUARLO_API eReturnCode quarloLink_AddObserver(quarloLink* link, const quarloObserver* observer);

/**
 * How many packets of a type the link has carried whole, and their bytes, headers included.
 * Counted from the moment that the link has an observer (of which all may be null); links of
 * sessions always count. From any thread.
 * @param link one that counts
 * @param direction,type of the packets; type 0 to 255
 * @param packets,bytes receive the numbers; may be null
 * @return eRETURN_NULL_PARAM for a null link, eRETURN_PARAM_VALUE for a direction or a type that is
 * none, eRETURN_NOT_SUPPORTED for a link that does not count, else eRETURN_OKAY
 */
QUARLO_API eReturnCode quarloLink_GetPacketCount(const quarloLink* link, quarloDirection direction,
                                                 UInt32 type, UInt64* packets, UInt64* bytes);

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
 * @param path of the socket file
 * @param failure says why, when null is returned; may be null
 * @return the listener, to be closed with quarloListener_Close; or null
 */
QUARLO_API quarloListener* quarloListener_OpenUnix(const char* path, quarloLinkFailure* failure);

/**
 * The port on which a listener waits, also when the system chose it. From any thread.
 * @param listener an open one, or null
 * @return the TCP port; 0 for null and for Unix sockets
 */
QUARLO_API UInt16 quarloListener_GetPort(const quarloListener* listener);

/**
 * Waits for one phone to connect. Several threads may wait at once: each phone goes to one of them.
 * @param listener where to wait
 * @param timeLimit milliseconds; 0: no limit
 * @param failure says why, when null is returned: ETIMEDOUT, ECANCELED after quarloListener_Stop,
 * or what the system said; may be null
 * @return the link, with the options of quarloLink_ConnectTcp, to be closed with quarloLink_Close;
 * or null
 */
QUARLO_API quarloLink* quarloListener_Accept(quarloListener* listener, UInt32 timeLimit,
                                             quarloLinkFailure* failure);

/**
 * Makes every present and later quarloListener_Accept return. Does not wait for them; from any
 * thread.
 * @param listener null is ignored
 */
QUARLO_API void quarloListener_Stop(quarloListener* listener);

/**
 * Closes and frees a listener that nobody uses any more. Its links go on.
 * @param listener null is ignored
 */
QUARLO_API void quarloListener_Close(quarloListener* listener);

#ifdef __cplusplus
}
#endif

#endif
