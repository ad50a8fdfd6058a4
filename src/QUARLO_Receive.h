/*
 * The receive dispatcher: frames the gathered bytes into packets, decodes each where it lies and
 * hands it to its handler. Receiver thread only; keeps nothing between calls.
 */
#ifndef QUARLO_RECEIVE_H
#define QUARLO_RECEIVE_H

#include "QUARLO-Internal.h"

extern "C" {

/**
 * Handles every complete packet of the bytes.
 * @param advancedBuffer gets the position behind the last packet handled; behind the end of the
 * bytes when a packet's inner lengths claim more than was received (its handler was not called)
 */
ReceiveError QUARLO_Receive(quarlo_CoreInstance* obj, void* bufferPointer, UInt32 maxLength,
                            void** advancedBuffer);
}

#endif
