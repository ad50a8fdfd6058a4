/**
 * @file
 * What states, errors and results are called: for the logs of hosts. From any thread.
 */
#ifndef QUARLO_NAMES_H
#define QUARLO_NAMES_H

#include "QUARLO-Core.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The name of a state, as the library traces it.
 * @param state any value
 * @return constant: "RUN", "STOP", ...; "unknown" for a value that is none
 */
QUARLO_API const char* quarloName_OfState(eProtocolState state);
/**
 * The name of an error, as the library traces it.
 * @param code any value
 * @return constant: "PROTOCOL_STOP", ...; "unknown" for a value that is none
 */
QUARLO_API const char* quarloName_OfError(eErrorCode code);
/**
 * The name of a function's result.
 * @param result any value
 * @return constant: "OKAY", "STATE_NOT_RUN", ...; "unknown" for a value that is none
 */
QUARLO_API const char* quarloName_OfResult(eReturnCode result);

#ifdef __cplusplus
}
#endif

#endif
