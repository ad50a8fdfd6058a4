/*
 * Conversions between wire strings and decimals and the texts and numbers of the host. Texts
 * returned are terminated and, like records returned, freed by the caller (quarlo_free; a
 * qrString's content first). No state; any thread.
 */
#ifndef QUARLO_CORE_STRINGS_H
#define QUARLO_CORE_STRINGS_H

#include "QUARLO.Connector.IVI-API-Types_C.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @return a terminated copy; null for a null or empty string and when memory is exhausted */
char* quarlo_utilStringToC(const qrString* string);
/** @return a UTF-8 string; empty for a text of 65536 bytes or more; null for null or without memory
 */
qrString* quarlo_utilCToString(const char* text);
/** @return a deep copy; null for null or without memory */
qrString* quarlo_utilStringCopy(const qrString* string);
/** Fills a record like quarlo_utilCToString; without memory the length stays set, the content is
 * null. */
void quarlo_utilCToStringCopy(const char* text, qrString* string);
/** @return 1 for two nulls, or for equal encoding, length and bytes */
Flag quarlo_utilStringCompare(const qrString* a, const qrString* b);
/** Copies into dst with a terminator, all or nothing; dstSize counts modulo 65536. @return the
 * length */
UInt16 _quarlo_GetStringToTextBuffer(const qrString* string, char* dst, UInt32 dstSize);

/** @return Value x 10^Exponent, 0.0 for null */
double _quarlo_utilDecimalToDouble(const qrDecimal* decimal);
/** Twelve significant digits. @return 0; -1 for a null record; -2 for NaN and infinities */
Int32 _quarlo_utilDoubleToDecimal(double value, qrDecimal* decimal);

#ifdef __cplusplus
}

namespace quarlo {
/** A UTF-8 string that leads to the caller's bytes; nothing to free. */
qrString borrowBytes(const void* bytes, UInt16 length);
/** The same of a terminated text; empty for one of 65536 bytes or more. */
qrString borrowText(const char* text);
}  // namespace quarlo
#endif

#endif
