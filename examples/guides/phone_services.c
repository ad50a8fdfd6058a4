/* The program of docs/guides/phone-services.md: dials, guides and listens for the phone. */
#include <stdio.h>

#include "../common.h"

enum { REQUEST }; /* what the main thread waits for */

/* guide: call */
/* Receiver thread. Both texts are gone when it returns; the name may be null. */
static void onDial(void* context, char* number, char* displayName) {
    void* quarlo = context;
    printf("dial %s (%s)\n", number, displayName != NULL ? displayName : "no name");
    /* The hands-free unit dials. Each change of the call is reported; on any thread. */
    quarlo_PhoneCallStatusResponse(quarlo, ePHONECALLSTATUS_Received);
    quarlo_PhoneCallStatusResponse(quarlo, ePHONECALLSTATUS_Started);
    quarlo_PhoneCallStatusResponse(quarlo, ePHONECALLSTATUS_Active);
    quarlo_PhoneCallStatusResponse(quarlo, ePHONECALLSTATUS_Ended);
    happened(REQUEST);
}
/* guide end */

/* guide: navigation */
/* The texts that are there: bit i of the mask stands for the i-th of them. */
static void printPlace(const LocationStrings* place) {
    const char* const texts[] = {place->Country, place->StateRegion, place->ZipCode,    place->City,
                                 place->Street,  place->CrossStreet, place->Housenumber};
    for (unsigned i = 0; i < sizeof texts / sizeof texts[0]; ++i) {
        if ((place->validMask >> i & 1) != 0) printf("    %s\n", texts[i]);
    }
}

/* Receiver thread. Longitude comes first. */
static void onNavigateTo(void* context, char* displayName, NavigateToType type, double longitude,
                         double latitude, LocationStrings* location) {
    (void)context;
    printf("guide to %s\n", displayName != NULL ? displayName : "a place without a name");
    if (type != eNAVIGATETOTYPE_PlacemarkOnly) printf("    %.4f %.4f\n", latitude, longitude);
    if (location != NULL) printPlace(location);
    happened(REQUEST);
}
/* guide end */

/* guide: voice */
/* Receiver thread. The library keeps no state of voice sessions: that is the host's. */
static void onVoiceRequest(void* context, VoiceRequest request) {
    void* quarlo = context;
    VoiceSessionStatus status = eVOICESESSIONSTATUS_Idle;
    if (request == eVOICEREQUEST_StartMicAndSpeakers || request == eVOICEREQUEST_StartMicOnly) {
        quarlo_VoiceSessionStatus(quarlo, eVOICESESSIONSTATUS_StartRequested,
                                  eVOICESESSIONSTATUSCONSTRAINT_NoConstraint);
        status = eVOICESESSIONSTATUS_Active; /* when the microphone is open */
    } else if (request == eVOICEREQUEST_Active) {
        status = eVOICESESSIONSTATUS_Active;
    }
    printf("voice request %d\n", (int)request);
    quarlo_VoiceSessionStatus(quarlo, status, eVOICESESSIONSTATUSCONSTRAINT_NoConstraint);
    happened(REQUEST);
}
/* guide end */

static int use(void* quarlo) {
    userOpens(quarlo, "phone");
    userTaps(quarlo, 0); /* the first contact */
    if (!awaitEvent(REQUEST)) return 0;
    userOpens(quarlo, "places");
    for (int row = 0; row < 4; row += 3) { /* a place with a position, and one without */
        userTaps(quarlo, row);
        if (!awaitEvent(REQUEST)) return 0;
    }
    userOpens(quarlo, "voice");
    for (int row = 0; row < 4; row += 3) { /* "Speak", "Done" */
        userTaps(quarlo, row);
        if (!awaitEvent(REQUEST)) return 0;
    }
    return 1;
}

int main(int argc, char** argv) {
    void* quarlo = openSession(argc, argv);
    int isGood;
    /* guide: setup */
    /* Without its capability a request of the phone is ignored with a warning. */
    quarlo_SetClientCapabilities(
        quarlo, eCLIENTCAPABILITIES_InitiatePhoneCall | eCLIENTCAPABILITIES_NavigateTo, 1);
    quarlo_VoiceSupportInfo(quarlo, eVOICESUPPORT_FullSCOSupport,
                            eVOICESUPPORTCONSTRAINT_NoConstraint);
    quarlo_SetInitiatePhoneCallCallback(quarlo, onDial);
    quarlo_SetNavigateToCallback(quarlo, onNavigateTo);
    quarlo_SetVoiceSessionRequestCallback(quarlo, onVoiceRequest);
    /* guide end */
    isGood = startSession(quarlo) && use(quarlo);
    return closeSession(quarlo, isGood);
}
