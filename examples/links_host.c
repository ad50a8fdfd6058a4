/* A host that survives the loss of its phone: a session connects, serves, and connects again. */
#define _POSIX_C_SOURCE 200809L
#include <quarlo-links.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { HEIGHT = 720 };
typedef struct {
    void* instance; /* the present one; for its own callbacks only */
    _Atomic UInt16 width;
    unsigned long updates;
} Host;

/* Session thread: one line for every change, and once a second while it waits. */
static void onState(void* context, quarloSession* session, const quarloSessionInfo* info) {
    const char* names[] = {"", "connecting", "connected", "running", "lost", "given up", "stopped"};
    (void)context, (void)session;
    printf("%s%s%s", names[info->state], *info->reason != '\0' ? ": " : "", info->reason);
    if (info->state == eSESSIONSTATE_Connecting) printf(", attempt %u", info->attempt);
    if (info->state == eSESSIONSTATE_Waiting) printf("; next try in %u ms", info->remaining);
    puts("");
}

static void request(Host* host, void* instance, Flag isIncremental) {
    quarlo_FramebufferUpdateRequest(instance, 0, 0, host->width, HEIGHT, isIncremental);
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
    quarlo_SetFrameSize(instance, host->width, HEIGHT, 160, 90);
    quarlo_SetPixelFormat(instance, ePIXELFORMAT_ARGB8888, 4, ePIXELENDIANESS_LittleEndian);
    quarlo_EnablePingWatchdog(instance, 1, 5); /* a phone that falls silent counts as lost */
    return eRETURN_OKAY;
}

static int readTransport(int argc, char** argv, quarloTransport* transport) {
    /* In the order of quarloTransportKind, which begins with 1. */
    static const char* const kinds[] = {"tcp", "tcp-server", "unix", "unix-server", "serial"};
    int kind = 0;
    while (kind < 5 && strcmp(argc > 2 ? argv[1] : "", kinds[kind]) != 0) ++kind;
    if (kind == 5) return 0;
    transport->kind = (quarloTransportKind)(kind + 1);
    transport->address = argv[2];
    transport->port = (UInt16)atoi(argc > 3 ? argv[3] : "0");
    transport->baudRate = (UInt32)atol(argc > 3 ? argv[3] : "0");
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
    if (info->phase == eCHANGEPHASE_Changing) host->width = (UInt16)info->change->width;
    if (info->phase == eCHANGEPHASE_Changing) return;
    printf("frames of %u x %u: result %d\n", host->width, HEIGHT, (int)info->result);
    void* const instance = quarloSession_Acquire(session);
    if (instance == NULL) return; /* the next connection begins with the new size */
    request(host, instance, eFLAG_FALSE);
    quarloSession_Release(session);
}

/* Another view takes half of the screen, or gives it back; onChange tells the rest. */
static void resize(quarloSession* session, const Host* host) {
    quarloFrameChange change = {.size = sizeof change, .what = eFRAMECHANGE_Size, .height = HEIGHT};
    change.width = host->width == 1280 ? 640 : 1280;
    change.physicalWidth = change.width / 8;
    change.physicalHeight = 90;
    quarloSession_ChangeFrames(session, &change, NULL);
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
    const int handled[] = {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2};
    Host host = {.width = 1280};
    quarloTransport transport = {.size = sizeof transport};
    const quarloSessionConfig config = {.size = sizeof config,
                                        .transport = &transport,
                                        .description = "links host",
                                        .context = &host,
                                        .configure = configure,
                                        .stateCallback = onState,
                                        .protocolCallback = onProtocol,
                                        .changeCallback = onChange};
    quarloLinkFailure failure = {.size = sizeof failure};
    sigset_t signals;
    if (!readTransport(argc, argv, &transport)) {
        fputs("usage: links_host tcp|tcp-server|unix|unix-server|serial PLACE [NUMBER]\n", stderr);
        return 2;
    }
    sigemptyset(&signals);
    for (size_t i = 0; i < sizeof handled / sizeof *handled; ++i) sigaddset(&signals, handled[i]);
    pthread_sigmask(SIG_BLOCK, &signals, NULL); /* before there are other threads */
    setvbuf(stdout, NULL, _IOLBF, BUFSIZ);
    quarlo_Init();
    quarloSession* const session = quarloSession_Start(&config, &failure);
    if (session == NULL) fprintf(stderr, "links_host: %s\n", failure.text);
    if (session != NULL) serve(session, &host, &signals);
    quarloSession_Delete(session);
    quarlo_Shutdown();
    printf("links_host: %lu updates\n", host.updates);
    return host.updates == 0;
}
