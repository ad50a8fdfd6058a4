/**
 * @file
 * Types of the wire protocol: integers, enumerations, records and packets.
 *
 * The layouts and values stand in two catalogues, QUARLO.Connector.IVI-API-Enumerations.def and
 * QUARLO.Connector.IVI-API-Catalogue.def, from which this header stamps its declarations. On the
 * wire every value is little-endian in the width of its type and follows the one before it without
 * padding; in memory the structs have natural alignment and hold every member record by pointer.
 */
#ifndef QUARLO_CONNECTOR_IVI_API_TYPES_C_H
#define QUARLO_CONNECTOR_IVI_API_TYPES_C_H

#include <stddef.h>
#include <stdint.h>

#include "QUARLO-Catalogue-Macros.h"

typedef uint8_t UInt8;
typedef uint16_t UInt16;
typedef uint32_t UInt32;
typedef uint64_t UInt64;
typedef int8_t Int8;
typedef int16_t Int16;
typedef int32_t Int32;
typedef int64_t Int64;

/*
 * Enumerations have the unsigned type of their wire width. Any value that arrives is kept, named or
 * not. Flags and bit masks are plain integers in both languages, so that their values combine
 * without casts.
 */
#ifdef __cplusplus
#define QUARLO_ENUM_BEGIN(Type, Wire, Printer) enum Type : Wire {
#define QUARLO_MASK_BEGIN(Type, Wire, Printer) \
    typedef Wire Type;                         \
    enum : Wire {
#else
#define QUARLO_ENUM_BEGIN(Type, Wire, Printer) \
    typedef Wire Type;                         \
    enum {
#define QUARLO_MASK_BEGIN(Type, Wire, Printer) QUARLO_ENUM_BEGIN(Type, Wire, Printer)
#endif
#define QUARLO_VALUE(enumerator, value, meaning) enumerator = value,
#define QUARLO_UNPRINTED(enumerator, value, meaning) enumerator = value,
#define QUARLO_ENUM_END(Type) \
    }                         \
    ;
#include "QUARLO.Connector.IVI-API-Enumerations.def"

/* Every record qrX and packet packetX of the catalogue; a packet's first member is its header. */
#define QUARLO_RECORD(Shape, Name, ...)                \
    typedef struct _##Name##_STRUCT_T {                \
        QUARLO_EACH_FIELD(QUARLO_MEMBERS, __VA_ARGS__) \
    } qr##Name;
#define QUARLO_PACKET(Event, Direction, Name, ...)     \
    typedef struct _##Name##_PACKET_T {                \
        qrPacketHeader* Header;                        \
        QUARLO_EACH_FIELD(QUARLO_MEMBERS, __VA_ARGS__) \
    } packet##Name;
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) \
    typedef struct _##Name##_PACKET_T {             \
        qrPacketHeader* Header;                     \
    } packet##Name;
#include "QUARLO.Connector.IVI-API-Catalogue.def"

#endif
