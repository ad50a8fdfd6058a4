/**
 * @file
 * Captures: files of what links carry, for Wireshark and for playing back. See quarlo-links.h.
 *
 * Whatever its transport, a connection stands in the file as one TCP connection, from head unit
 * (192.0.2.1) to phone (192.0.2.2, port 5910); what a link and its host have to say of it are
 * comments of the packets. A thread of the capture's own writes; what cannot be written ends the
 * capture, never a connection.
 */
#ifndef QUARLO_CAPTURE_H
#define QUARLO_CAPTURE_H

#include "quarlo-link.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A file that links are captured in. */
typedef struct quarloCapture quarloCapture;

/**
 * Begins a capture.
 * @param path of a file, which is written anew; "-" for the standard output; a FIFO, of which the
 * call waits for a reader
 * @param failure says why, when null is returned; may be null
 * @return the capture, to be closed with quarloCapture_Close; or null
 */
QUARLO_API quarloCapture* quarloCapture_Open(const char* path, quarloLinkFailure* failure);

/**
 * Why a capture has ended before it was closed: the disk is full, the reader has gone or has taken
 * nothing for a second. Connections go on without it. From any thread.
 * @param capture an open one, or null
 * @param text,size receives at most size bytes with the zero at their end, empty while all is
 * written; null only with size 0
 * @return the length of the whole text, without the zero
 */
QUARLO_API size_t quarloCapture_GetFailure(const quarloCapture* capture, char* text, size_t size);

/**
 * Writes what is left to be written, waiting at most a second for a reader that takes nothing, and
 * frees the capture. Its links are closed, and its sessions deleted, before.
 * @param capture null is ignored
 * @param failure says why, when not all that the links carried is in the file; may be null
 * @return eRETURN_OKAY when all is, eRETURN_NULL_PARAM for null, else eRETURN_NOT_ALLOWED
 */
QUARLO_API eReturnCode quarloCapture_Close(quarloCapture* capture, quarloLinkFailure* failure);

/**
 * Has all that a link carries written to a capture. To be called before the link is attached or
 * used. Several links, one after the other or at once, may share a capture; a link that carries
 * nothing leaves nothing there.
 * @param link to be captured
 * @param capture stays the host's, to be closed after the link
 * @return eRETURN_NULL_PARAM, eRETURN_ALREADY_IN_LIST for a link that is captured,
 * eRETURN_MEM_ALLOC, else eRETURN_OKAY
 */
QUARLO_API eReturnCode quarloLink_SetCapture(quarloLink* link, quarloCapture* capture);

/**
 * Writes a remark of the host's, as a comment of the next packet that is captured. From any thread.
 * @param link a captured one
 * @param text terminated, UTF-8; cut after 1000 bytes
 * @return eRETURN_OKAY; eRETURN_NULL_PARAM; eRETURN_NOT_SUPPORTED for a link without a capture;
 * eRETURN_MEM_ALLOC when more than 16 KiB of remarks wait for a packet
 */
QUARLO_API eReturnCode quarloLink_Note(quarloLink* link, const char* text);

/**
 * As quarloCapture_GetFailure, of the capture that the link was given. From any thread.
 * @param link an open one, or null
 * @param text,size see quarloCapture_GetFailure
 * @return the length of the whole text; 0 also for a link without a capture
 */
QUARLO_API size_t quarloLink_GetCaptureFailure(const quarloLink* link, char* text, size_t size);

#ifdef __cplusplus
}
#endif

#endif
