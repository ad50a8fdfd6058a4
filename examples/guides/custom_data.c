/* The program of docs/guides/custom-data.md: messages of one's own between head unit and phone. */
#include <stdio.h>
#include <string.h>

#include "../common.h"

enum { MESSAGE }; /* what the main thread waits for */

/* guide: receive */
/* Receiver thread, all of them; texts and bytes are gone when they return. */
static void onText(void* context, ServerCustomDataStringType type, StringEncoding encoding,
                   char* text) {
    (void)context;
    printf("text %d, encoding %d: %s\n", (int)type, (int)encoding, text);
    happened(MESSAGE);
}

static void onNumber(void* context, ServerCustomDataIntType type, UInt16 length, UInt8* value) {
    unsigned long long number = 0;
    (void)context;
    /* The bytes are as the phone sent them: agree on an order, here the lowest first. */
    for (UInt16 i = 0; i < length; ++i) number |= (unsigned long long)value[i] << (8 * i);
    printf("number %d: %llu\n", (int)type, number);
    happened(MESSAGE);
}

static void onKey(void* context, ServerCustomDataKeyType type, ServerCustomDataKeyCode code) {
    (void)context;
    printf("key %d, type %d\n", (int)code, (int)type);
    happened(MESSAGE);
}

static void onCan(void* context, ServerCustomDataCanType type, UInt32 identifier,
                  UInt8 dataLengthCode, UInt8* data) {
    (void)context, (void)type;
    printf("bus message 0x%X:", (unsigned)identifier);
    for (UInt8 i = 0; i < dataLengthCode; ++i) printf(" %02X", data[i]);
    printf("\n");
    happened(MESSAGE);
}
/* guide end */

/* guide: raw */
/* The host's own store, for the operations that the library does not answer itself. One block. */
typedef struct {
    void* quarlo;
    UInt8 bytes[256];
    UInt16 length;
} Store;

/* Receiver thread. A Get is answered with the identifier that it asked for. */
static void onRaw(void* context, ServerCustomDataRawType opcode, UInt16 identifier, UInt16 length,
                  UInt8* data) {
    Store* store = context;
    switch (opcode) {
        case eSERVERCUSTOMDATARAWTYPE_StorePersistent:
        case eSERVERCUSTOMDATARAWTYPE_StoreHost:
            store->length = length < sizeof store->bytes ? length : (UInt16)sizeof store->bytes;
            if (store->length > 0) memcpy(store->bytes, data, store->length);
            break;
        case eSERVERCUSTOMDATARAWTYPE_GetPersistent:
        case eSERVERCUSTOMDATARAWTYPE_GetHost:
            quarlo_CustomDataRaw(store->quarlo, identifier, store->length, store->bytes);
            break;
        default: /* the deletes */
            store->length = 0;
            break;
    }
    happened(MESSAGE);
}
/* guide end */

/* guide: send */
static int sendAll(void* quarlo) {
    UInt8 light[3] = {0xFF, 0x80, 0x20};
    UInt8 tuner[2] = {0x2A, 0x00}; /* in the order in which they are to be sent */
    UInt8 block[4] = {1, 2, 3, 4};
    return quarlo_CustomDataString(quarlo, eCLIENTCUSTOMDATASTRINGTYPE_IVIFirmwareVersionA,
                                   eSTRINGENCODING_UTF8, "7.1 B") == eRETURN_OKAY &&
           quarlo_CustomDataInt(quarlo, eCLIENTCUSTOMDATAINTTYPE_ZelHUTunerClient, sizeof tuner,
                                tuner) == eRETURN_OKAY &&
           quarlo_CustomDataKey(quarlo, eCLIENTCUSTOMDATAKEYTYPE_Click,
                                eCLIENTCUSTOMDATAKEYCODE_ScrollDown) == eRETURN_OKAY &&
           quarlo_CustomDataCan(quarlo, eCLIENTCUSTOMDATACANTYPE_Generic, 0x123, sizeof light,
                                light) == eRETURN_OKAY &&
           quarlo_CustomDataRaw(quarlo, 0x042, sizeof block, block) == eRETURN_OKAY;
}
/* guide end */

static int receiveAll(void* quarlo) {
    const int rows[] = {0, 2, 3, 4}; /* a text, a number, a key, a bus message */
    userOpens(quarlo, "link");
    for (int i = 0; i < 4; ++i) {
        userTaps(quarlo, rows[i]);
        if (!awaitEvent(MESSAGE)) return 0;
    }
    userTaps(quarlo, 5); /* parks bytes at the instance, */
    userScrolls(quarlo);
    userTaps(quarlo, 0); /* and fetches them: the library answers */
    userScrolls(quarlo);
    userTaps(quarlo, 3); /* the same at the host, */
    userTaps(quarlo, 4); /* which answers itself */
    return awaitEvent(MESSAGE) && awaitEvent(MESSAGE);
}

int main(int argc, char** argv) {
    static Store store;
    void* quarlo = store.quarlo = openSession(argc, argv);
    int isGood;
    /* guide: setup */
    ClientCustomDataIntType numbers[] = {eCLIENTCUSTOMDATAINTTYPE_ZelHUTunerClient};
    ClientCustomDataKeyCode keys[] = {eCLIENTCUSTOMDATAKEYCODE_ScrollUp,
                                      eCLIENTCUSTOMDATAKEYCODE_ScrollDown};
    quarlo_SetCallbackContext(quarlo, &store);
    quarlo_SetSupportedCustomData(quarlo, 1, numbers);
    quarlo_SetCustomKeysSupported(quarlo, 2, keys); /* before the start only */
    quarlo_SetCustomDataStringCallback(quarlo, onText);
    quarlo_SetCustomDataIntCallback(quarlo, onNumber);
    quarlo_SetCustomDataKeyCallback(quarlo, onKey);
    quarlo_SetCustomDataCanCallback(quarlo, onCan);
    quarlo_SetCustomDataRawCallback(quarlo, onRaw);
    /* guide end */
    isGood = startSession(quarlo) && sendAll(quarlo) && receiveAll(quarlo);
    return closeSession(quarlo, isGood);
}
