/*
 * Raw output: the host gets rectangles as the phone sent them and decodes them itself, here with
 * zlib, elsewhere with the decoder of its processor. Writes the last picture into a file when it
 * ends, with SIGINT or SIGTERM.
 */
#define _POSIX_C_SOURCE 200809L
#include <quarlo-links.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <zlib.h>

enum { WIDTH = 320, HEIGHT = 180, SIZE = WIDTH * HEIGHT * 4 };

typedef struct {
    UInt8 picture[SIZE]; /* receiver thread only, until the session is deleted */
    UInt8 decoded[SIZE];
    void* quarlo;
    unsigned long updates, refused;
} Screen;

/* guide: decode */
/* The pixels of a rectangle, which are this many bytes; null when it cannot be decoded. */
static const UInt8* decode(Screen* screen, FrameCompression compression, const UInt8* data,
                           UInt32 dataLength, size_t size) {
    uLongf room = size;
    if (compression == eFRAMECOMPRESSION_Uncompressed) return dataLength >= size ? data : NULL;
    if (compression != eFRAMECOMPRESSION_ZLIB || data == NULL) return NULL;
    /* Never more than the rectangle needs, whatever the stream would hold. */
    if (uncompress(screen->decoded, &room, data, dataLength) != Z_OK) return NULL;
    return room == size ? screen->decoded : NULL;
}

/* Receiver thread, as all callbacks. Nothing was checked: every value is as the phone sent it. */
static void onRectangle(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width, UInt16 height,
                        UInt8* data, UInt32 dataLength, UInt8 horizontal, UInt8 vertical,
                        PixelFormat format, PixelEndianess order, FrameCompression compression) {
    Screen* screen = context;
    const UInt8* pixels = NULL;
    const int isWhole = horizontal == vertical && (horizontal == 100 || horizontal == 0);
    const int isAsAsked = format == ePIXELFORMAT_ARGB8888 && order == ePIXELENDIANESS_LittleEndian;
    (void)index;
    if (isWhole && isAsAsked && x + width <= WIDTH && y + height <= HEIGHT) {
        pixels = decode(screen, compression, data, dataLength, 4UL * width * height);
    }
    if (pixels == NULL) {
        screen->refused++;
        return;
    }
    for (UInt16 row = 0; row < height; ++row) {
        memcpy(screen->picture + 4UL * WIDTH * (size_t)(y + row) + 4UL * x,
               pixels + 4UL * width * row, 4UL * width);
    }
}
/* guide end */

static void onUpdateStart(void* context, UInt8 numberOfRectangles) {
    (void)context, (void)numberOfRectangles;
}

static void onUpdateEnd(void* context) {
    Screen* screen = context;
    printf("update %lu, %lu rectangles refused\n", ++screen->updates, screen->refused);
    quarlo_FramebufferUpdateRequest(screen->quarlo, 0, 0, WIDTH, HEIGHT, eFLAG_TRUE);
}

static void onProtocol(void* context, eProtocolState state) {
    if (state != ePROTOCOL_STATE_RUN) return;
    quarlo_FramebufferUpdateRequest(((Screen*)context)->quarlo, 0, 0, WIDTH, HEIGHT, eFLAG_FALSE);
}

/* Session thread, before each connection. */
static eReturnCode configure(void* context, quarloSession* session, void* instance) {
    Screen* screen = context;
    (void)session;
    screen->quarlo = instance;
    quarlo_SetFrameSize(instance, WIDTH, HEIGHT, 160, 90);
    quarlo_SetPixelFormat(instance, ePIXELFORMAT_ARGB8888, 4, ePIXELENDIANESS_LittleEndian);
    quarlo_SetFrameUpdateStartCallback(instance, onUpdateStart);
    quarlo_SetFrameUpdateEndCallback(instance, onUpdateEnd);
    /* guide: raw */
    quarlo_SetFrameUpdateRawCallback(instance, onRectangle);
    quarlo_SetFrameOutputType(instance, eFLAG_TRUE);
    /* No plug-in is asked now: this says what our own decoder takes. */
    quarlo_OverrideCompressionFormat(instance, eFRAMECOMPRESSION_ZLIB);
    return quarlo_SetSupportedCompressions(instance, eFRAMECOMPRESSION_ZLIB);
    /* guide end */
}

static int save(const Screen* screen, const char* path) {
    FILE* file = fopen(path, "wb");
    const size_t written = file != NULL ? fwrite(screen->picture, 1, SIZE, file) : 0;
    return file != NULL && fclose(file) == 0 && written == SIZE;
}

int main(int argc, char** argv) {
    static Screen screen;
    quarloTransport phone = {.size = sizeof phone, .kind = eTRANSPORT_TcpClient};
    quarloSessionConfig config = {.size = sizeof config,
                                  .transport = &phone,
                                  .description = "raw decoder",
                                  .context = &screen,
                                  .configure = configure,
                                  .protocolCallback = onProtocol,
                                  .sendLimit = 2000};
    quarloLinkFailure failure = {.size = sizeof failure};
    quarloSession* session;
    sigset_t ends;
    int number;
    if (argc != 4) {
        fputs("usage: raw_decoder ADDRESS PORT FILE\n", stderr);
        return 2;
    }
    setvbuf(stdout, NULL, _IOLBF, BUFSIZ);
    phone.address = argv[1];
    phone.port = (UInt16)atoi(argv[2]);
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, NULL); /* all threads to come leave them to sigwait() */
    quarlo_Init();
    session = quarloSession_Start(&config, &failure);
    if (session == NULL) fprintf(stderr, "raw_decoder: %s\n", failure.text);
    if (session != NULL) sigwait(&ends, &number);
    quarloSession_Delete(session);
    quarlo_Shutdown();
    return screen.updates == 0 || screen.refused > 0 || !save(&screen, argv[3]);
}
