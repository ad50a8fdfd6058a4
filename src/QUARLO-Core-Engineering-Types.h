/**
 * @file
 * Engineering interface: queries and settings for test benches and diagnosis, beside the ordinary
 * host API.
 */
#ifndef QUARLO_CORE_ENGINEERING_TYPES_H
#define QUARLO_CORE_ENGINEERING_TYPES_H

#include "QUARLO-Core.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The compressions that can be decoded now: the bits whose plug-ins quarlo_Init loaded, narrowed by
 * quarlo_SetSupportedCompressions. From any thread.
 * @return a FrameCompression mask; eFRAMECOMPRESSION_Uncompressed is always set after quarlo_Init
 */
QUARLO_API UInt32 quarlo_Eng_GetSupportedCompressions(void);

/**
 * Says whether the library has a feature. From any thread.
 * @param coreHandle not used; may be null
 * @param feature one or more FeatureSetMask flags
 * @return 1 when feature is not 0 and holds defined flags only, else 0
 */
QUARLO_API Flag quarlo_Eng_HasFeature(void* coreHandle, FeatureSetMask feature);

/**
 * Sets the vehicle data filter as if the phone had sent it, in any state. From any host thread and
 * from callbacks; the request callback is made on that thread, before the call returns.
 * @param callbackOn 0 keeps the change from the host's own request callback
 * @param length,keyList keys, copied; a length of 0 clears the filter
 * @return eRETURN_OKAY, eRETURN_NULL_HANDLE, eRETURN_NULL_PARAM or eRETURN_MEM_ALLOC (also
 * reported; the filter is then empty)
 */
QUARLO_API eReturnCode quarlo_Eng_SetVehicleDataFilter(void* instanceHandle, Flag callbackOn,
                                                       UInt8 length, UInt32* keyList);

/**
 * Spoils the third app of the stored catalogue, for tests of the copying. A shorter catalogue is
 * left alone. From any thread.
 * @param testCase 1 takes away the content of the app's URL, 2 replaces it by another; any other
 * value changes nothing
 */
QUARLO_API void onlyTestSimulateCorruptAppInformation(void* instanceHandle, UInt8 testCase);

#ifdef __cplusplus
}
#endif

#endif
