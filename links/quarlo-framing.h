/**
 * @file
 * Finds the packets in a stream of bytes, in either direction: functions for the host's own
 * transports, recorders and tests. Nothing is linked, copied or allocated; a quarloFraming lives in
 * the caller's memory and never crosses into a library, so its layout may change with the header.
 *
 *     quarloFraming framing = QUARLO_FRAMING_BEGIN;
 *     while ((count = read(...)) > 0) {
 *         for (at = 0; at < count; at += taken) {
 *             taken = quarloFraming_Take(&framing, bytes + at, count - at);
 *             if (framing.isWhole) printf("packet %u\n", framing.type);
 *         }
 *     }
 *
 * A packet is a header (type, flags, size of the payload; little-endian) and its payload.
 */
#ifndef QUARLO_FRAMING_H
#define QUARLO_FRAMING_H

#include <stddef.h>
#include <string.h>

#include "QUARLO-Core-Types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Sizes of the stream. */
enum {
    QUARLO_PACKET_HEADER = 9 /**< bytes of a packet before its payload */
};

/** Where a stream stands. Set to QUARLO_FRAMING_BEGIN where a stream begins; else only read. */
typedef struct {
    UInt64 begin;                       /**< position in the stream of the packet's first byte */
    UInt64 taken;                       /**< bytes of the packet so far, header included */
    Flag hasHeader;                     /**< the header is complete: what follows is known */
    Flag isWhole;                       /**< the packet is complete; the next bytes begin another */
    UInt8 type;                         /**< eEVENTTYPE_..., or whatever the stream says */
    UInt32 flags;                       /**< of the header */
    UInt32 payloadSize;                 /**< bytes behind the header; whatever the stream says */
    UInt8 header[QUARLO_PACKET_HEADER]; /**< its bytes, as far as they have come */
} quarloFraming;

/** Initialises a quarloFraming. */
#define QUARLO_FRAMING_BEGIN   \
    {                          \
        0, 0, 0, 0, 0, 0, 0, { \
            0                  \
        }                      \
    }

/**
 * Four bytes of a packet as the number that they stand for.
 * @param bytes four, the lowest first; not aligned
 * @return the number
 */
static inline UInt32 quarloFraming_Number(const UInt8* bytes) {
    return (UInt32)bytes[0] | (UInt32)bytes[1] << 8 | (UInt32)bytes[2] << 16 |
           (UInt32)bytes[3] << 24;
}

/**
 * How much of the packet is still to come.
 * @param framing where the stream stands
 * @return bytes; before the header is complete those of the header
 */
static inline UInt64 quarloFraming_Missing(const quarloFraming* framing) {
    const UInt64 whole =
        QUARLO_PACKET_HEADER + (framing->hasHeader ? (UInt64)framing->payloadSize : 0);
    return whole - framing->taken;
}

/* One step: the bytes of the header, or those of the payload. */
static inline size_t quarloFraming_TakePart(quarloFraming* framing, const UInt8* bytes,
                                            size_t size) {
    const UInt64 missing = quarloFraming_Missing(framing);
    const size_t count = missing < size ? (size_t)missing : size;
    if (!framing->hasHeader) memcpy(framing->header + framing->taken, bytes, count);
    framing->taken += count;
    if (!framing->hasHeader && framing->taken == QUARLO_PACKET_HEADER) {
        framing->hasHeader = 1;
        framing->type = framing->header[0];
        framing->flags = quarloFraming_Number(framing->header + 1);
        framing->payloadSize = quarloFraming_Number(framing->header + 5);
    }
    framing->isWhole = framing->hasHeader && quarloFraming_Missing(framing) == 0 ? 1 : 0;
    return count;
}

/**
 * Takes the next bytes of the stream, up to the end of the present packet. A framing is used by one
 * thread at a time.
 * @param framing where the stream stands; is moved on
 * @param bytes,size the next of the stream; none of them is kept but those of the header
 * @return how many were taken: all of them, or fewer when the packet ends before; then
 * framing->isWhole is 1, and the rest is to be handed over again. 0 only for size 0.
 */
static inline size_t quarloFraming_Take(quarloFraming* framing, const UInt8* bytes, size_t size) {
    size_t count;
    if (size == 0) return 0;
    if (framing->isWhole) {
        framing->begin += framing->taken;
        framing->taken = 0;
        framing->hasHeader = framing->isWhole = 0;
    }
    count = framing->hasHeader ? 0 : quarloFraming_TakePart(framing, bytes, size);
    if (count < size && framing->hasHeader && !framing->isWhole) {
        count += quarloFraming_TakePart(framing, bytes + count, size - count);
    }
    return count;
}

#ifdef __cplusplus
}
#endif

#endif
