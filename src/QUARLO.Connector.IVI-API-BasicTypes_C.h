/*
 * Constructors and destructors of the records that hold pointers.
 *
 * _XNew sets a record's pointers to null and its counts to 0; _XDelete frees all that the record
 * holds, deep, and leaves it like _XNew. Neither allocates or frees the record itself; both do
 * nothing for null.
 */
#ifndef QUARLO_CONNECTOR_IVI_API_BASICTYPES_C_H
#define QUARLO_CONNECTOR_IVI_API_BASICTYPES_C_H

#include "QUARLO.Connector.IVI-API-Types_C.h"

#ifdef __cplusplus
extern "C" {
#endif

#define QUARLO_BASIC_PLAIN(Name)
#define QUARLO_BASIC_OPEN(Name)          \
    void _##Name##New(qr##Name* record); \
    void _##Name##Delete(qr##Name* record);
#define QUARLO_BASIC_FIXED(Name) QUARLO_BASIC_OPEN(Name)
#define QUARLO_RECORD(Shape, Name, ...) QUARLO_BASIC_##Shape(Name)
#include "QUARLO.Connector.IVI-API-Catalogue.def"
#undef QUARLO_BASIC_PLAIN
#undef QUARLO_BASIC_OPEN
#undef QUARLO_BASIC_FIXED

#ifdef __cplusplus
}
#endif

#endif
