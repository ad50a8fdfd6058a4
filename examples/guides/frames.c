/* The program of docs/guides/frames.md: keeps a copy of the phone's screen. */
#include <stdio.h>
#include <string.h>

#include "../common.h"

enum { WHOLE, CHANGES }; /* kinds of update that the main thread waits for */

/* guide: screen */
typedef struct {
    void* quarlo;
    UInt8 pixels[HEIGHT][WIDTH][4]; /* receiver thread only, until the session is over */
    unsigned long inUpdate;         /* pixels drawn since the start callback */
    unsigned long updates, drawn, refused;
} Screen;

/* Receiver thread. Both this and onUpdateEnd have to be set. */
static void onUpdateStart(void* context, UInt8 numberOfRectangles) {
    (void)numberOfRectangles; /* a host with two buffers chooses the hidden one here */
    ((Screen*)context)->inUpdate = 0;
}

static void onRectangle(void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width, UInt16 height,
                        UInt8* data, UInt32 dataLength) {
    Screen* screen = context;
    (void)index;
    /* The phone says where it draws, and how much: believe neither. */
    if (x + width > WIDTH || y + height > HEIGHT || dataLength < 4UL * width * height) {
        screen->refused++;
        return;
    }
    for (UInt16 row = 0; row < height; ++row) {
        memcpy(screen->pixels[y + row][x], data + 4UL * width * row, 4UL * width);
    }
    screen->inUpdate += 1UL * width * height;
}

/* Now everything of this update is there: show it, and ask for what changes next. */
static void onUpdateEnd(void* context) {
    Screen* screen = context;
    screen->updates++;
    screen->drawn += screen->inUpdate;
    happened(screen->inUpdate < WIDTH * HEIGHT ? CHANGES : WHOLE);
    quarlo_FramebufferUpdateRequest(screen->quarlo, 0, 0, WIDTH, HEIGHT, eFLAG_TRUE);
}
/* guide end */

/* guide: configure */
/* Before the start: the handshake tells the phone all of this. */
static int configure(Screen* screen) {
    void* quarlo = screen->quarlo;
    quarlo_SetCallbackContext(quarlo, screen);
    quarlo_SetFrameUpdateStartCallback(quarlo, onUpdateStart);
    quarlo_SetFrameUpdateCallback(quarlo, onRectangle);
    quarlo_SetFrameUpdateEndCallback(quarlo, onUpdateEnd);
    quarlo_SetFrameSize(quarlo, WIDTH, HEIGHT, 160, 90);
    quarlo_SetPixelFormat(quarlo, ePIXELFORMAT_ARGB8888, 4, ePIXELENDIANESS_LittleEndian);
    /* Needs the zlib plug-in; eRETURN_PARAM_VALUE without it, and then nothing is changed. */
    if (quarlo_SetSupportedCompressions(quarlo, eFRAMECOMPRESSION_ZLIB) != eRETURN_OKAY) return 0;
    quarlo_OverrideCompressionFormat(quarlo, eFRAMECOMPRESSION_ZLIB);
    return 1;
}
/* guide end */

/* guide: session */
static int show(Screen* screen) {
    void* quarlo = screen->quarlo;
    /* In RUN. The first request is for everything; onUpdateEnd makes the others. */
    quarlo_FramebufferUpdateRequest(quarlo, 0, 0, WIDTH, HEIGHT, eFLAG_FALSE);
    if (!awaitEvent(WHOLE) || !awaitEvent(CHANGES)) return 0;

    /* Another view covers the phone's: it need not draw for nobody. */
    if (quarlo_FrameRequestStatus(quarlo, eFLAG_TRUE) != eRETURN_OKAY) return 0;
    if (quarlo_FrameRequestStatus(quarlo, eFLAG_FALSE) != eRETURN_OKAY) return 0;

    /* It is uncovered. From here on without compression. */
    quarlo_OverrideCompressionFormat(quarlo, eFRAMECOMPRESSION_Uncompressed);
    quarlo_FramebufferUpdateRequest(quarlo, 0, 0, WIDTH, HEIGHT, eFLAG_FALSE);
    return awaitEvent(WHOLE);
}
/* guide end */

int main(int argc, char** argv) {
    static Screen screen;
    int isGood;
    screen.quarlo = openSession(argc, argv);
    isGood = configure(&screen) && startSession(screen.quarlo) && show(&screen);
    isGood = closeSession(screen.quarlo, isGood) == 0;
    printf("%lu updates, %lu pixels drawn, %lu rectangles refused\n", screen.updates, screen.drawn,
           screen.refused);
    return !(isGood && screen.drawn >= WIDTH * HEIGHT && screen.refused == 0);
}
