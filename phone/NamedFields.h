/**
 * @file
 * Shows the fields of a record or packet to a visitor as wire::Layout does, with their names: the
 * same lines of the catalogue, stamped once more. Pure functions.
 */
#ifndef PHONE_NAMEDFIELDS_H
#define PHONE_NAMEDFIELDS_H

#include "QUARLO-WirePackets.h"

namespace quarlo::phone {

/** each(record, visit) calls visit(name, field), and visit(name, run, name of its count, count). */
template <class R>
struct Named;

#define QUARLO_NAMED(Kind, ...) QUARLO_NAMED_##Kind(__VA_ARGS__)
#define QUARLO_NAMED_VALUE(Type, Name, unit, meaning) visit(#Name, record.Name);
#define QUARLO_NAMED_BYTES(Name, N, unit, meaning) visit(#Name, record.Name);
#define QUARLO_NAMED_MEMBER(Record, Name, unit, meaning) visit(#Name, record.Name);
#define QUARLO_NAMED_RUN(Count, Length, Type, Name, unit, meaning) \
    visit(#Name, record.Name, #Length, record.Length);
#define QUARLO_NAMED_LIST(Count, Length, Record, Name, unit, meaning) \
    visit(#Name, record.Name, #Length, record.Length);
#define QUARLO_RECORD(Shape, Name, ...)                  \
    template <>                                          \
    struct Named<qr##Name> {                             \
        template <class R, class Visit>                  \
        static void each(R& record, Visit& visit) {      \
            QUARLO_EACH_FIELD(QUARLO_NAMED, __VA_ARGS__) \
        }                                                \
    };
#define QUARLO_PACKET(Event, Direction, Name, ...)       \
    template <>                                          \
    struct Named<packet##Name> {                         \
        template <class R, class Visit>                  \
        static void each(R& record, Visit& visit) {      \
            QUARLO_EACH_FIELD(QUARLO_NAMED, __VA_ARGS__) \
        }                                                \
    };
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) \
    template <>                                     \
    struct Named<packet##Name> {                    \
        template <class R, class Visit>             \
        static void each(R&, Visit&) {}             \
    };
#include "QUARLO.Connector.IVI-API-Catalogue.def"

}  // namespace quarlo::phone

#endif
