/*
 * The wire functions, one family for every type of the catalogues.
 *
 * For every type T: sizeOf_T (wire size in bytes), readFromBuffer_T (reads at *bufferPointer and
 * advances it; records come as new zero-filled heap trees, null when memory is exhausted) and
 * writeToBuffer_T (returns the position behind what was written; null for a null argument). For
 * every packet X: packetXNew, packetXDelete, packetXFromBuffer, packetXToBuffer and
 * packetXToBufferFromFields. None of them knows where the buffer ends: the caller vouches for it.
 * Bytes that nobody vouches for are decoded with the bounded input of QUARLO-WireEngine.h. Buffers
 * and records are freed with quarlo_free and packetXDelete.
 */
#ifndef QUARLO_CONNECTOR_IVI_API_C_H
#define QUARLO_CONNECTOR_IVI_API_C_H

#include "QUARLO.Connector.IVI-API-Types_C.h"

#ifdef __cplusplus
extern "C" {
#endif

#define QUARLO_SCALAR_FUNCTIONS(Type)                 \
    UInt32 sizeOf_##Type(void);                       \
    Type readFromBuffer_##Type(void** bufferPointer); \
    void* writeToBuffer_##Type(void* bufferPointer, Type value);

QUARLO_SCALAR_FUNCTIONS(UInt8)
QUARLO_SCALAR_FUNCTIONS(UInt16)
QUARLO_SCALAR_FUNCTIONS(UInt32)
QUARLO_SCALAR_FUNCTIONS(UInt64)
QUARLO_SCALAR_FUNCTIONS(Int8)
QUARLO_SCALAR_FUNCTIONS(Int16)
QUARLO_SCALAR_FUNCTIONS(Int32)
QUARLO_SCALAR_FUNCTIONS(Int64)

/* The enumerations' functions, and a printer for each: the constant text of a named value, else
 * "unknown". */
#define QUARLO_PRINTER_OWN(Type) const char* _quarlo_get##Type##Name(Type value);
#define QUARLO_PRINTER_NONE(Type)
#define QUARLO_ENUM_BEGIN(Type, Wire, Printer) \
    QUARLO_SCALAR_FUNCTIONS(Type)              \
    QUARLO_PRINTER_##Printer(Type)
#define QUARLO_MASK_BEGIN(Type, Wire, Printer) QUARLO_ENUM_BEGIN(Type, Wire, Printer)
#include "QUARLO.Connector.IVI-API-Enumerations.def"
#undef QUARLO_PRINTER_OWN
#undef QUARLO_PRINTER_NONE

#define QUARLO_SIZE_PLAIN(Name) UInt32 sizeOf_##Name(void);
#define QUARLO_SIZE_FIXED(Name) UInt32 sizeOf_##Name(void);
#define QUARLO_SIZE_OPEN(Name) UInt32 sizeOf_##Name(const qr##Name* value);
#define QUARLO_RECORD(Shape, Name, ...)                                              \
    QUARLO_SIZE_##Shape(Name) qr##Name* readFromBuffer_##Name(void** bufferPointer); \
    void* writeToBuffer_##Name(void* bufferPointer, const qr##Name* value);
#define QUARLO_PACKET_FAMILY(Name)                                \
    packet##Name* packet##Name##New(void);                        \
    void packet##Name##Delete(packet##Name* packet);              \
    packet##Name* packet##Name##FromBuffer(void** bufferPointer); \
    void packet##Name##ToBuffer(void** buffer, UInt32* bufferSize, packet##Name* packet);
#define QUARLO_PACKET(Event, Direction, Name, ...) \
    QUARLO_PACKET_FAMILY(Name)                     \
    void packet##Name##ToBufferFromFields(         \
        void** buffer, UInt32* bufferSize,         \
        qrPacketHeader* header QUARLO_EACH_FIELD(QUARLO_PARAMETERS, __VA_ARGS__));
#define QUARLO_EMPTY_PACKET(Event, Direction, Name)                          \
    QUARLO_PACKET_FAMILY(Name)                                               \
    void packet##Name##ToBufferFromFields(void** buffer, UInt32* bufferSize, \
                                          qrPacketHeader* header);
#include "QUARLO.Connector.IVI-API-Catalogue.def"
#undef QUARLO_SCALAR_FUNCTIONS
#undef QUARLO_SIZE_PLAIN
#undef QUARLO_SIZE_FIXED
#undef QUARLO_SIZE_OPEN
#undef QUARLO_PACKET_FAMILY

#ifdef __cplusplus
}
#endif

#endif
