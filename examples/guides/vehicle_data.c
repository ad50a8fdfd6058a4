/* The program of docs/guides/vehicle-data.md: delivers the vehicle values that the phone wants. */
#include <pthread.h>
#include <stdio.h>

#include "../common.h"

enum { REQUEST }; /* what the main thread waits for */

/* guide: values */
enum { KEYS = 16 };

/* Shared by the receiver thread, which says what is wanted, and the car's, which has the values. */
typedef struct {
    void* quarlo;
    pthread_mutex_t lock;
    Flag isWanted[KEYS]; /* keys are agreed on with the phone's app: here 1 is the speed */
    double values[KEYS];
} Vehicle;

static eReturnCode deliver(Vehicle* vehicle, UInt32 key, double value) {
    char json[64];
    snprintf(json, sizeof json, "{\"value\":%.1f}", value);
    return quarlo_VehicleData(vehicle->quarlo, key, eSTRINGENCODING_UTF8, json);
}

/* The car's thread. */
static eReturnCode changeValue(Vehicle* vehicle, UInt32 key, double value) {
    Flag isWanted;
    pthread_mutex_lock(&vehicle->lock);
    vehicle->values[key] = value;
    isWanted = vehicle->isWanted[key];
    pthread_mutex_unlock(&vehicle->lock);
    /* Never call the library, which may call back, with a lock that the callbacks take. */
    return isWanted ? deliver(vehicle, key, value) : eRETURN_OKAY;
}
/* guide end */

/* guide: request */
/* Receiver thread. First the keys that are no longer wanted, then the new ones; the array is gone
 * when this returns. */
static void onVehicleDataRequest(void* context, Flag isOn, UInt8 numberOfKeys, UInt32* keys) {
    Vehicle* vehicle = context;
    printf("%s %u keys\n", isOn ? "wanted:" : "no longer wanted:", numberOfKeys);
    for (UInt8 i = 0; i < numberOfKeys; ++i) {
        double value;
        if (keys[i] >= KEYS) continue; /* not known to this car: leave it unanswered */
        pthread_mutex_lock(&vehicle->lock);
        vehicle->isWanted[keys[i]] = isOn;
        value = vehicle->values[keys[i]];
        pthread_mutex_unlock(&vehicle->lock);
        /* A new key gets the present value at once; calling the library from here is fine. */
        if (isOn) deliver(vehicle, keys[i], value);
    }
    happened(REQUEST);
}
/* guide end */

static int use(Vehicle* vehicle) {
    userOpens(vehicle->quarlo, "vehicle"); /* the dashboard asks for six keys */
    if (!awaitEvent(REQUEST) || changeValue(vehicle, 1, 83.5) != eRETURN_OKAY) return 0;
    if (deliver(vehicle, 14, 1) != eRETURN_PARAM_VALUE) return 0; /* nobody asked for it */
    userOpens(vehicle->quarlo, "music");                          /* the dashboard closes */
    return awaitEvent(REQUEST);
}

int main(int argc, char** argv) {
    Vehicle vehicle = {.quarlo = openSession(argc, argv), .lock = PTHREAD_MUTEX_INITIALIZER};
    int isGood;
    vehicle.values[1] = 50;
    quarlo_SetCallbackContext(vehicle.quarlo, &vehicle);
    quarlo_SetVehicleDataRequestCallback(vehicle.quarlo, onVehicleDataRequest);
    isGood = startSession(vehicle.quarlo) && use(&vehicle);
    return closeSession(vehicle.quarlo, isGood);
}
