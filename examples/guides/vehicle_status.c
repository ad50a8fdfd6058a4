/* The program of docs/guides/vehicle-status.md: tells the phone about the car. */
#include <stdio.h>

#include "../common.h"

enum { BLOCK_STATUS }; /* what the main thread waits for */

/* guide: state */
/* What the head unit knows. The library remembers none of it but the language. */
typedef struct {
    Flag isMoving;
    Flag isNight;
    BlockMode block;
    const char* sentence;
} Car;

/* Once when RUN is reached, and after every change. */
static void tell(void* quarlo, const Car* car) {
    quarlo_SetMovingStatus(quarlo, car->isMoving);
    quarlo_SetNightMode(quarlo, car->isNight);
    quarlo_SetBlockMode(quarlo, car->block);
    quarlo_PositionInformation(quarlo, car->sentence);
}

/* Receiver thread: whether the phone hides what it shows, because of the block mode. */
static void onBlockStatus(void* context, Flag isBlocked) {
    (void)context;
    printf("the phone's screen is %s\n", isBlocked ? "blocked" : "shown");
    happened(BLOCK_STATUS);
}
/* guide end */

/* guide: session */
static int drive(void* quarlo) {
    Car car = {eFLAG_FALSE, eFLAG_TRUE, eBLOCKMODE_AllowAll,
               "$GPGGA,120000,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*49"};
    UInt8 french[3] = {'f', 'r', 'a'};
    tell(quarlo, &car);
    if (!awaitEvent(BLOCK_STATUS)) return 0; /* every block mode is answered */

    car.isMoving = eFLAG_TRUE;
    car.block = eBLOCKMODE_UseWhitelist;
    tell(quarlo, &car);
    if (!awaitEvent(BLOCK_STATUS)) return 0;

    return quarlo_SetISO639LanguageCode(quarlo, french) == eRETURN_OKAY;
}
/* guide end */

int main(int argc, char** argv) {
    void* quarlo = openSession(argc, argv);
    UInt8 german[3] = {'d', 'e', 'u'};
    int isGood;
    /* guide: setup */
    quarlo_SetClientCapabilities(quarlo, eCLIENTCAPABILITIES_PositionInformation, 1);
    quarlo_SetISO639LanguageCode(quarlo, german);
    quarlo_SetBlockStatusCallback(quarlo, onBlockStatus);
    /* guide end */
    isGood = startSession(quarlo);
    userOpens(quarlo, "news"); /* not for those who drive */
    isGood = isGood && drive(quarlo);
    return closeSession(quarlo, isGood);
}
