/* zlib streams for frame updates; programs that use it link zlib. */
#ifndef QUARLO_TESTS_DEFLATED_H
#define QUARLO_TESTS_DEFLATED_H

#include <zlib.h>

#include "Bytes.h"

namespace quarlo::test {

inline Bytes deflated(const Bytes& bytes) {
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    Bytes packed(size);
    compress(packed.data(), &size, bytes.data(), static_cast<uLong>(bytes.size()));
    packed.resize(size);
    return packed;
}

}  // namespace quarlo::test

#endif
