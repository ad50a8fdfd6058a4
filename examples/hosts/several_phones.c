/*
 * Several phones at once, each in its own column of one picture: a session for each, which comes
 * and goes by itself. Ends with SIGINT or SIGTERM.
 */
#define _POSIX_C_SOURCE 200809L
#include <quarlo-links.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { PHONES = 4, WIDTH = 320, HEIGHT = 180 };

/* guide: phones */
typedef struct {
    int number;
    quarloSession* session;
    void* quarlo; /* the instance of the present connection */
    unsigned long updates;
} Phone;

/* One picture for all. No lock: each receiver thread draws in its own column only. */
static UInt8 picture[HEIGHT][PHONES][WIDTH][4];
static Phone phones[PHONES];

/* Receiver thread of this phone; the context tells which. */
static void onRectangle(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width, UInt16 height,
                        UInt8* data, UInt32 dataLength) {
    const Phone* phone = context;
    (void)index;
    if (x + width > WIDTH || y + height > HEIGHT || dataLength < 4UL * width * height) return;
    for (UInt16 row = 0; row < height; ++row) {
        memcpy(picture[y + row][phone->number][x], data + 4UL * width * row, 4UL * width);
    }
}
/* guide end */

static void onUpdateStart(void* context, UInt8 numberOfRectangles) {
    (void)context, (void)numberOfRectangles;
}

static void onUpdateEnd(void* context) {
    Phone* phone = context;
    phone->updates++;
    quarlo_FramebufferUpdateRequest(phone->quarlo, 0, 0, WIDTH, HEIGHT, eFLAG_TRUE);
}

static void onProtocol(void* context, eProtocolState state) {
    const Phone* phone = context;
    if (state != ePROTOCOL_STATE_RUN) return;
    quarlo_FramebufferUpdateRequest(phone->quarlo, 0, 0, WIDTH, HEIGHT, eFLAG_FALSE);
}

/* Session thread of this phone. */
static void onState(void* context, quarloSession* session, const quarloSessionInfo* info) {
    Phone* phone = context;
    (void)session;
    if (info->state == eSESSIONSTATE_Running) printf("phone %d is there\n", phone->number);
    if (info->state != eSESSIONSTATE_Waiting || phone->updates == 0) return;
    printf("phone %d is gone after %lu updates: %s\n", phone->number, phone->updates, info->reason);
    phone->updates = 0;
}

static eReturnCode configure(void* context, quarloSession* session, void* instance) {
    Phone* phone = context;
    (void)session;
    phone->quarlo = instance;
    quarlo_SetFrameSize(instance, WIDTH, HEIGHT, 160, 90);
    quarlo_SetPixelFormat(instance, ePIXELFORMAT_ARGB8888, 4, ePIXELENDIANESS_LittleEndian);
    quarlo_SetFrameUpdateStartCallback(instance, onUpdateStart);
    quarlo_SetFrameUpdateCallback(instance, onRectangle);
    quarlo_SetFrameUpdateEndCallback(instance, onUpdateEnd);
    return eRETURN_OKAY;
}

/* guide: sessions */
/* A phone has a session and a context of its own: what happens to one is nothing to the others. */
static int mirror(Phone* phone, const char* address, const char* port) {
    const quarloTransport place = {.size = sizeof place,
                                   .kind = eTRANSPORT_TcpClient,
                                   .address = address,
                                   .port = (UInt16)atoi(port)};
    const quarloSessionConfig config = {.size = sizeof config,
                                        .transport = &place,
                                        .description = "several phones",
                                        .context = phone,
                                        .configure = configure,
                                        .stateCallback = onState,
                                        .protocolCallback = onProtocol,
                                        .sendLimit = 2000};
    quarloLinkFailure failure = {.size = sizeof failure};
    phone->session = quarloSession_Start(&config, &failure);
    if (phone->session == NULL) fprintf(stderr, "several_phones: %s\n", failure.text);
    return phone->session != NULL;
}
/* guide end */

int main(int argc, char** argv) {
    const int count = (argc - 1) / 2;
    int isGood = 1;
    int number;
    sigset_t ends;
    if (argc % 2 == 0 || count < 1 || count > PHONES) {
        fputs("usage: several_phones ADDRESS PORT [ADDRESS PORT]..., up to 4\n", stderr);
        return 2;
    }
    setvbuf(stdout, NULL, _IOLBF, BUFSIZ);
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, NULL); /* all threads to come leave them to sigwait() */
    quarlo_Init(); /* once in the process, whatever the number of phones */
    for (int i = 0; i < count; ++i) {
        phones[i].number = i;
        isGood &= mirror(&phones[i], argv[1 + 2 * i], argv[2 + 2 * i]);
    }
    if (isGood) sigwait(&ends, &number);
    for (int i = 0; i < count; ++i) {
        quarloSession_Delete(phones[i].session);
        printf("phone %d: %lu updates\n", i, phones[i].updates);
    }
    quarlo_Shutdown(); /* after the last session */
    return isGood ? 0 : 1;
}
