/* A picture that looks like a screen, as JPEG and back. */
#ifndef QUARLO_BENCH_JPEG_H
#define QUARLO_BENCH_JPEG_H

#include "Pump.h"

namespace quarlo::bench {

/** Half a user interface, half a noisy photograph, quality 80, 4:2:0. */
Bytes jpegPicture(int width, int height);

/** Decodes into ARGB8888 with the usual decoder alone, `pitch` bytes from row to row. */
void decodeAlone(const Bytes& jpeg, UInt8* into, int width, int height, int pitch);

}  // namespace quarlo::bench

#endif
