/**
 * @file
 * The part of a visitor of packets to which plain values, and runs of them, are nothing.
 */
#ifndef PHONE_RECORDSONLY_H
#define PHONE_RECORDSONLY_H

#include <cstddef>

#include "QUARLO-WireEngine.h"

namespace quarlo::phone {

struct RecordsOnly {
    template <wire::Scalar T>
    bool operator()(const T&) const {
        return true;
    }
    template <std::size_t N>
    bool operator()(const UInt8 (&)[N]) const {
        return true;
    }
    template <wire::Scalar C, wire::Scalar T>
    bool operator()(const C&, T* const&) const {
        return true;
    }
};

}  // namespace quarlo::phone

#endif
