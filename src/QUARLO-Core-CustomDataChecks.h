/* The warnings of the custom data channels' checks, shared by both directions. Any thread. */
#ifndef QUARLO_CORE_CUSTOMDATACHECKS_H
#define QUARLO_CORE_CUSTOMDATACHECKS_H

#include "QUARLO-Core-Utilities.h"
#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo {

constexpr char invalidType[] = "CustomData '%s' called with invalid type value %d";
constexpr char invalidEncoding[] = "CustomData '%s' called with invalid encoding value %d";
constexpr char invalidLength[] = "CustomData '%s' called with invalid length value %d";
constexpr char invalidCode[] = "CustomData '%s' called with invalid code value %d";
constexpr char invalidDataLengthCode[] = "CustomData '%s' called with invalid data length code %d";
constexpr char invalidKeyCode[] = "CustomData '%s' called with invalid data (key code value) %d";

/** Traces one of the texts above with the channel's name; eRETURN_PARAM_VALUE. */
template <std::size_t N>
eReturnCode refuse(quarlo_CoreInstance* obj, const char (&text)[N], CustomDataEvent event,
                   int value) {
    trace(obj, eTRACECLASS_WARNING, text, _quarlo_getCustomDataEventName(event), value);
    return eRETURN_PARAM_VALUE;
}

/** Traces a whole text as a warning; the result. */
inline eReturnCode warn(quarlo_CoreInstance* obj, const char* text, eReturnCode result) {
    trace(obj, eTRACECLASS_WARNING, "%s", text);
    return result;
}

inline bool isIntLength(UInt16 length) {
    return length == 1 || length == 2 || length == 4 || length == 8;
}

}  // namespace quarlo

#endif
