/* The program of docs/guides/audio.md: lends the phone the car's loudspeakers. */
#include <stdio.h>

#include "../common.h"

enum { REQUEST }; /* what the main thread waits for */

/* guide: request */
/* What the car's amplifier can do; here it can do everything at once. */
static int openChannel(AudioType type) {
    return type != eAUDIOTYPE_Silent;
}
static void closeChannel(UInt32 requestID) {
    printf("channel of request %u closed\n", (unsigned)requestID);
}

/* Receiver thread; a time-out comes on a thread of its own. The answer may be given here, or later
 * from any other thread, with the number of the request. */
static void onAudioRequest(void* context, AudioControl command, UInt32 requestID, AudioType type) {
    void* quarlo = context;
    eReturnCode result;
    if (command == eAUDIOCONTROL_Request) {
        const AudioStatus answer = openChannel(type) ? eAUDIOSTATUS_Open : eAUDIOSTATUS_Reject;
        printf("request %u for type %d\n", (unsigned)requestID, (int)type);
        result = quarlo_SetAudioStatus(quarlo, requestID, answer, eAUDIOREQUESTRESULTCODE_NoError);
    } else {
        /* The phone gives it back, or its time is over: it is ended by the answer only. */
        closeChannel(requestID);
        result = quarlo_SetAudioStatus(quarlo, requestID, eAUDIOSTATUS_Close,
                                       eAUDIOREQUESTRESULTCODE_NoError);
    }
    if (result != eRETURN_OKAY) printf("not answered: %d\n", (int)result);
    happened(REQUEST);
}
/* guide end */

/* guide: suspend */
/* The radio has traffic news: the phone shall pause, and then go on. */
static int interrupt(void* quarlo, UInt32 requestID) {
    eReturnCode result = quarlo_SetAudioStatus(quarlo, requestID, eAUDIOSTATUS_Suspend,
                                               eAUDIOREQUESTRESULTCODE_NoError);
    if (result == eRETURN_NOT_FOUND) return 1; /* the phone was quicker: it is over */
    if (result != eRETURN_OKAY) return 0;
    result = quarlo_SetAudioStatus(quarlo, requestID, eAUDIOSTATUS_Open,
                                   eAUDIOREQUESTRESULTCODE_NoError);
    return result == eRETURN_OKAY || result == eRETURN_NOT_FOUND;
}
/* guide end */

static int listen(void* quarlo) {
    userOpens(quarlo, "music");
    userTaps(quarlo, 0); /* "Play" */
    if (!awaitEvent(REQUEST) || !interrupt(quarlo, 1)) return 0;
    userTaps(quarlo, 3); /* "Stop" */
    return awaitEvent(REQUEST) && interrupt(quarlo, 1);
}

int main(int argc, char** argv) {
    void* quarlo = openSession(argc, argv);
    int isGood;
    /* guide: setup */
    quarlo_SetClientCapabilities(quarlo, eCLIENTCAPABILITIES_AudioHandling, 1);
    quarlo_SetAudioRequestCallback(quarlo, onAudioRequest); /* the context is the handle here */
    /* guide end */
    isGood = startSession(quarlo) && listen(quarlo);
    return closeSession(quarlo, isGood);
}
