/*
 * Terminated copies of received strings for the duration of a handler, in the receiver's scratch
 * memory: nothing to free, also when the thread is cancelled inside the callback that gets them.
 * Receiver thread.
 */
#ifndef QUARLO_CORE_TEXTS_H
#define QUARLO_CORE_TEXTS_H

#include <cstring>

#include "QUARLO-Internal.h"

namespace quarlo {

/** Null for a null or empty string and without memory. */
inline char* textOf(quarlo_CoreInstance* obj, const qrString* string) {
    if (string == nullptr || string->Length == 0 || string->pContent == nullptr) return nullptr;
    char* text = obj->scratch.make<char>(std::uint64_t{string->Length} + 1);
    if (text != nullptr) std::memcpy(text, string->pContent, string->Length);
    return text;
}

}  // namespace quarlo

#endif
