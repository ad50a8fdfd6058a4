/* The program of docs/guides/touch.md: hands the fingers on the head unit's panel to the phone. */
#include <stdio.h>

#include "../common.h"

/* guide: panel */
enum { PANEL_WIDTH = 1920, PANEL_HEIGHT = 720, FINGERS = 5 };

/* The phone's picture on the panel: as large as fits, in the middle. */
static const int viewWidth = PANEL_HEIGHT * WIDTH / HEIGHT;
static const int viewLeft = (PANEL_WIDTH - PANEL_HEIGHT * WIDTH / HEIGHT) / 2;

static int inside(int value, int end) {
    return value < 0 ? 0 : value >= end ? end - 1 : value;
}

/* The phone wants pixels of the frame, not of the panel. */
static TouchEvent toFrame(TouchType event, int x, int y, UInt32 finger) {
    TouchEvent touch = {event, 0, 0, finger};
    touch.xPosition = (UInt16)inside((x - viewLeft) * WIDTH / viewWidth, WIDTH);
    touch.yPosition = (UInt16)inside(y * HEIGHT / PANEL_HEIGHT, HEIGHT);
    return touch;
}
/* guide end */

/* guide: fingers */
typedef struct {
    void* quarlo;
    TouchEvent down[FINGERS]; /* where each finger is */
    UInt8 count;
} Fingers;

/* One finger lands, while the others stay where they are. */
static void press(Fingers* fingers, int x, int y, UInt32 finger) {
    TouchEvent touch = toFrame(eTOUCHTYPE_Down, x, y, finger);
    if (fingers->count == FINGERS) return;
    fingers->down[fingers->count++] = touch;
    quarlo_TouchEvents(fingers->quarlo, &touch, 1);
}

/* All fingers have moved: one sample of the panel is one call. */
static void moveAll(Fingers* fingers, int dx) {
    for (UInt8 i = 0; i < fingers->count; ++i) {
        TouchEvent* touch = &fingers->down[i];
        touch->event = eTOUCHTYPE_Moved;
        touch->xPosition = (UInt16)inside(touch->xPosition + dx, WIDTH);
    }
    if (fingers->count > 0) quarlo_TouchEvents(fingers->quarlo, fingers->down, fingers->count);
}

/* The view closes, or the session ends soon: nobody may stay down on the phone. */
static void endAll(Fingers* fingers, TouchType how) {
    for (UInt8 i = 0; i < fingers->count; ++i) fingers->down[i].event = how;
    if (fingers->count > 0) quarlo_TouchEvents(fingers->quarlo, fingers->down, fingers->count);
    fingers->count = 0;
}
/* guide end */

/* guide: softkeys */
/* Offer only what the phone understands. */
static int pressSoftkey(void* quarlo, Softkey wanted) {
    Softkey* keys = NULL;
    UInt8 count = 0;
    quarlo_GetAvailableSoftkeys(quarlo, &count, &keys); /* the array stays the library's */
    for (UInt8 i = 0; i < count; ++i) {
        if (keys[i] != wanted) continue;
        quarlo_SoftkeyEvent(quarlo, wanted, eSOFTKEYEVENTTYPE_Press);
        quarlo_SoftkeyEvent(quarlo, wanted, eSOFTKEYEVENTTYPE_Release);
        return 1;
    }
    return 0;
}
/* guide end */

int main(int argc, char** argv) {
    Fingers fingers = {.quarlo = openSession(argc, argv)};
    int isGood = startSession(fingers.quarlo);
    if (isGood) {
        press(&fingers, 960, 360, 1);
        press(&fingers, 1200, 400, 2);
        moveAll(&fingers, 40);
        endAll(&fingers, eTOUCHTYPE_Up);
        press(&fingers, 960, 360, 3);
        endAll(&fingers, eTOUCHTYPE_Cancelled);
        isGood = pressSoftkey(fingers.quarlo, eSOFTKEY_Home);
    }
    return closeSession(fingers.quarlo, isGood);
}
