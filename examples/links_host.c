/* A host that survives the loss of its phone: a session connects, serves, and connects again. */
#define _POSIX_C_SOURCE 200809L
#include <pthread.h>
#include <quarlo-links.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef struct {
    void* instance; /* the present one; for its own callbacks only */
    atomic_uint width, height;
    unsigned long updates;
} Host;

/* Session thread: one line for every change, and once a second while it waits. */
static void onState(void* context, quarloSession* session, const quarloSessionInfo* info) {
    (void)context, (void)session;
    switch (info->state) {
        case eSESSIONSTATE_Connecting:
            printf("connecting, attempt %u\n", (unsigned)info->attempt);
            break;
        case eSESSIONSTATE_Connected:
            puts("connected");
            break;
        case eSESSIONSTATE_Running:
            puts("running");
            break;
        case eSESSIONSTATE_Waiting:
            printf("%s; next try in %u s\n", info->reason,
                   (unsigned)(info->remaining + 999) / 1000);
            break;
        case eSESSIONSTATE_GivenUp:
            printf("given up: %s\n", info->reason);
            break;
        case eSESSIONSTATE_Stopped:
            puts("stopped");
            break;
    }
    fflush(stdout);
}

static void request(Host* host, void* instance, Flag isIncremental) {
    quarlo_FramebufferUpdateRequest(instance, 0, 0, (UInt16)host->width, (UInt16)host->height,
                                    isIncremental);
}

/* Receiver thread: the library never asks for the screen by itself. */
static void onProtocol(void* context, eProtocolState state) {
    Host* host = context;
    if (state == ePROTOCOL_STATE_RUN) request(host, host->instance, eFLAG_FALSE);
}

static void onUpdateStart(void* context, UInt8 numberOfRectangles) {
    (void)context, (void)numberOfRectangles;
}

static void onRectangle(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width, UInt16 height,
                        UInt8* data, UInt32 dataLength) {
    (void)context, (void)index, (void)x, (void)y, (void)width, (void)height;
    (void)data, (void)dataLength; /* a real host copies the rows to its screen */
}

static void onUpdateEnd(void* context) {
    Host* host = context;
    host->updates++;
    request(host, host->instance, eFLAG_TRUE);
}

/* Session thread, before every start: the instance is new each time. */
static eReturnCode configure(void* context, quarloSession* session, void* instance) {
    Host* host = context;
    (void)session;
    host->instance = instance;
    quarlo_SetFrameUpdateStartCallback(instance, onUpdateStart);
    quarlo_SetFrameUpdateCallback(instance, onRectangle);
    quarlo_SetFrameUpdateEndCallback(instance, onUpdateEnd);
    quarlo_SetFrameSize(instance, host->width, host->height, 160, 90);
    quarlo_SetPixelFormat(instance, ePIXELFORMAT_ARGB8888, 4, ePIXELENDIANESS_LittleEndian);
    quarlo_EnablePingWatchdog(instance, 1, 5); /* a phone that falls silent counts as lost */
    return eRETURN_OKAY;
}

static int readTransport(int argc, char** argv, quarloTransport* transport) {
    const char* kind = argc > 2 ? argv[1] : "";
    const char* number = argc > 3 ? argv[3] : "0";
    if (argc > 2) transport->address = argv[2];
    if (strcmp(kind, "tcp") == 0) {
        transport->kind = eTRANSPORT_TcpClient;
        transport->port = (UInt16)atoi(number);
    } else if (strcmp(kind, "tcp-server") == 0) {
        transport->kind = eTRANSPORT_TcpServer;
        transport->port = (UInt16)atoi(number);
    } else if (strcmp(kind, "unix") == 0) {
        transport->kind = eTRANSPORT_UnixClient;
    } else if (strcmp(kind, "unix-server") == 0) {
        transport->kind = eTRANSPORT_UnixServer;
    } else if (strcmp(kind, "serial") == 0) {
        transport->kind = eTRANSPORT_Serial;
        transport->baudRate = (UInt32)atol(number);
    } else {
        return 0;
    }
    return 1;
}

/* Outside of the instance's callbacks it is borrowed: it may be deleted at any moment otherwise. */
static void setNightMode(quarloSession* session) {
    void* instance = quarloSession_Acquire(session);
    if (instance == NULL) return; /* no phone at present */
    quarlo_SetNightMode(instance, eFLAG_TRUE);
    quarloSession_Release(session);
}

/* Session thread. Between the two phases no frame of either size is drawn. */
static void onChange(void* context, quarloSession* session, const quarloFrameChangeInfo* info) {
    Host* host = context;
    void* instance;
    if (info->phase == eCHANGEPHASE_Changing) {
        host->width = info->change->width;
        host->height = info->change->height;
        return;
    }
    printf("frames of %u x %u: result %d\n", host->width, host->height, (int)info->result);
    fflush(stdout);
    instance = quarloSession_Acquire(session);
    if (instance == NULL) return; /* the next connection begins with the new size */
    request(host, instance, eFLAG_FALSE);
    quarloSession_Release(session);
}

/* Another view takes half of the screen, or gives it back. */
static void resize(quarloSession* session, const Host* host) {
    quarloFrameChange change = {.size = sizeof change, .what = eFRAMECHANGE_Size};
    change.width = host->width == 1280 ? 640 : 1280;
    change.height = 720;
    change.physicalWidth = change.width / 8;
    change.physicalHeight = 90;
    quarloSession_ChangeFrames(session, &change, NULL); /* onChange tells the rest */
}

/* Ctrl-C ends the program, SIGHUP connects anew, SIGUSR1 means that it got dark, SIGUSR2 resizes.
 */
static void serve(quarloSession* session, const Host* host, const sigset_t* signals) {
    int number = 0;
    while (sigwait(signals, &number) == 0 && number != SIGINT && number != SIGTERM) {
        if (number == SIGHUP) quarloSession_Reconnect(session);
        if (number == SIGUSR1) setNightMode(session);
        if (number == SIGUSR2) resize(session, host);
    }
}

int main(int argc, char** argv) {
    Host host = {.width = 1280, .height = 720};
    quarloSessionConfig config = {.size = sizeof config};
    quarloTransport transport = {.size = sizeof transport};
    quarloLinkFailure failure = {.size = sizeof failure};
    quarloSession* session;
    sigset_t signals;
    if (!readTransport(argc, argv, &transport)) {
        fputs(
            "usage: links_host tcp ADDRESS PORT | tcp-server ADDRESS PORT | unix PATH |\n"
            "                  unix-server PATH | serial DEVICE BAUD\n",
            stderr);
        return 2;
    }
    config.transport = &transport;
    config.description = "links host";
    config.context = &host;
    config.configure = configure;
    config.stateCallback = onState;
    config.protocolCallback = onProtocol;
    config.changeCallback = onChange;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGHUP);
    sigaddset(&signals, SIGUSR1);
    sigaddset(&signals, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &signals, NULL); /* before there are other threads */

    quarlo_Init();
    session = quarloSession_Start(&config, &failure);
    if (session != NULL) {
        serve(session, &host, &signals);
        quarloSession_Delete(session);
    } else {
        fprintf(stderr, "links_host: %s\n", failure.text);
    }
    quarlo_Shutdown();
    printf("links_host: %lu updates\n", host.updates);
    return host.updates == 0;
}
