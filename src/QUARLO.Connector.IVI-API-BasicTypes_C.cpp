/* Stamps the constructors and destructors of the records that hold pointers. */
#include "QUARLO.Connector.IVI-API-BasicTypes_C.h"

#include "QUARLO-WireEngine.h"

extern "C" {

#define QUARLO_BASIC_PLAIN(Name)
#define QUARLO_BASIC_OPEN(Name)                                  \
    void _##Name##New(qr##Name* record) {                        \
        quarlo::wire::visitAll(record, quarlo::wire::Clear{});   \
    }                                                            \
    void _##Name##Delete(qr##Name* record) {                     \
        quarlo::wire::visitAll(record, quarlo::wire::Release{}); \
    }
#define QUARLO_BASIC_FIXED(Name) QUARLO_BASIC_OPEN(Name)
#define QUARLO_RECORD(Shape, Name, ...) QUARLO_BASIC_##Shape(Name)
#include "QUARLO.Connector.IVI-API-Catalogue.def"

}  // extern "C"
