/**
 * @file
 * Ready-made transports for the quarlo protocol stack: quarlo-link.h, quarlo-session.h,
 * quarlo-capture.h and quarlo-framing.h; and for the logs of hosts quarlo-names.h and
 * quarlo-plugins.h, which say what errors are called and why a compression cannot be decoded.
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
 *     what                   runs on            may block  links API from it
 *     quarloLink_Receive     receiver thread    250 ms     -
 *     quarloLink_Send        any sending thread send limit -
 *     observers              both of these      no         none
 *     session state, change  session thread     briefly    all but what waits for a session
 *     session configure      session thread     briefly    all but what waits for a session
 *     session open           session thread     see there  all but what waits for a session
 *     session protocol and   as the library's   briefly    all but what waits for a session
 *     error callback         own callbacks
 *     all other callbacks    as the library's   briefly    all but what waits for a session
 *
 * What waits for a session is quarloSession_Delete, and quarloSession_ChangeFrames with a result:
 * on a thread of the library or of any session they are refused (eRETURN_NOT_ALLOWED).
 *
 * Structs. Each begins with its size, so that later releases can add members at the end: a host
 * sets it to what it was compiled with, and members that it does not know have their defaults. What
 * a callback is given tells by its size how much of it there is.
 *
 * Times are in milliseconds unless a member says otherwise. No function changes a signal's
 * disposition, and no write raises SIGPIPE. Descriptors are closed on exec.
 */
#ifndef QUARLO_LINKS_H
#define QUARLO_LINKS_H

#include "quarlo-capture.h"
#include "quarlo-framing.h"
#include "quarlo-link.h"
#include "quarlo-names.h"
#include "quarlo-plugins.h"
#include "quarlo-session.h"

#endif
