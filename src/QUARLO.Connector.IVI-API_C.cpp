/*
 * Stamps the wire functions and the name printers from the catalogues. Every line forwards to the
 * engine.
 */
#include "QUARLO.Connector.IVI-API_C.h"

#include "QUARLO-WirePackets.h"

namespace {

using namespace quarlo::wire;

template <Scalar T>
T readScalar(void** bufferPointer) {
    if (bufferPointer == nullptr || *bufferPointer == nullptr) return T{};
    auto* at = static_cast<UInt8*>(*bufferPointer);
    *bufferPointer = at + sizeof(T);
    return load<T>(at);
}

template <Scalar T>
void* writeScalar(void* bufferPointer, T value) {
    return bufferPointer == nullptr ? nullptr : store(static_cast<UInt8*>(bufferPointer), value);
}

constexpr const char* withoutPrefix(const char* enumerator) {
    while (*enumerator != '_') ++enumerator;
    return enumerator + 1;
}

}  // namespace

extern "C" {

#define QUARLO_SCALAR_FUNCTIONS(Type)                             \
    UInt32 sizeOf_##Type(void) {                                  \
        return sizeof(Type);                                      \
    }                                                             \
    Type readFromBuffer_##Type(void** bufferPointer) {            \
        return readScalar<Type>(bufferPointer);                   \
    }                                                             \
    void* writeToBuffer_##Type(void* bufferPointer, Type value) { \
        return writeScalar(bufferPointer, value);                 \
    }

QUARLO_SCALAR_FUNCTIONS(UInt8)
QUARLO_SCALAR_FUNCTIONS(UInt16)
QUARLO_SCALAR_FUNCTIONS(UInt32)
QUARLO_SCALAR_FUNCTIONS(UInt64)
QUARLO_SCALAR_FUNCTIONS(Int8)
QUARLO_SCALAR_FUNCTIONS(Int16)
QUARLO_SCALAR_FUNCTIONS(Int32)
QUARLO_SCALAR_FUNCTIONS(Int64)

#define QUARLO_ENUM_BEGIN(Type, Wire, Printer) QUARLO_SCALAR_FUNCTIONS(Type)
#define QUARLO_MASK_BEGIN(Type, Wire, Printer) QUARLO_SCALAR_FUNCTIONS(Type)
#include "QUARLO.Connector.IVI-API-Enumerations.def"

#define QUARLO_PRINTER_OWN(Type) const char* _quarlo_get##Type##Name(Type value)
#define QUARLO_PRINTER_NONE(Type) [[maybe_unused]] static const char* unused##Type##Name(Type value)
#define QUARLO_ENUM_BEGIN(Type, Wire, Printer) \
    QUARLO_PRINTER_##Printer(Type) {           \
        switch (value) {
#define QUARLO_MASK_BEGIN(Type, Wire, Printer) QUARLO_ENUM_BEGIN(Type, Wire, Printer)
#define QUARLO_VALUE(enumerator, value, meaning) \
    case enumerator:                             \
        return withoutPrefix(#enumerator);
#define QUARLO_ENUM_END(Type) \
    default:                  \
        return "unknown";     \
        }                     \
        }
#include "QUARLO.Connector.IVI-API-Enumerations.def"

#define QUARLO_SIZE_PLAIN(Name)                            \
    UInt32 sizeOf_##Name(void) {                           \
        return static_cast<UInt32>(minimumOf<qr##Name>()); \
    }
#define QUARLO_SIZE_FIXED(Name) QUARLO_SIZE_PLAIN(Name)
#define QUARLO_SIZE_OPEN(Name)                    \
    UInt32 sizeOf_##Name(const qr##Name* value) { \
        return sizeOf(value);                     \
    }
#define QUARLO_RECORD(Shape, Name, ...)                                               \
    QUARLO_SIZE_##Shape(Name) qr##Name* readFromBuffer_##Name(void** bufferPointer) { \
        return read<qr##Name>(bufferPointer);                                         \
    }                                                                                 \
    void* writeToBuffer_##Name(void* bufferPointer, const qr##Name* value) {          \
        return write(bufferPointer, value);                                           \
    }
#define QUARLO_PACKET_FAMILY(Name)                                                         \
    packet##Name* packet##Name##New(void) {                                                \
        return newPacket<packet##Name>();                                                  \
    }                                                                                      \
    void packet##Name##Delete(packet##Name* packet) {                                      \
        deletePacket(packet);                                                              \
    }                                                                                      \
    packet##Name* packet##Name##FromBuffer(void** bufferPointer) {                         \
        return packetFromBuffer<packet##Name>(bufferPointer);                              \
    }                                                                                      \
    void packet##Name##ToBuffer(void** buffer, UInt32* bufferSize, packet##Name* packet) { \
        packetToBuffer(buffer, bufferSize, packet);                                        \
    }
#define QUARLO_PACKET(Event, Direction, Name, ...)                                  \
    QUARLO_PACKET_FAMILY(Name)                                                      \
    void packet##Name##ToBufferFromFields(                                          \
        void** buffer, UInt32* bufferSize,                                          \
        qrPacketHeader* header QUARLO_EACH_FIELD(QUARLO_PARAMETERS, __VA_ARGS__)) { \
        packet##Name packet{};                                                      \
        Assign assign;                                                              \
        packet.Header = header;                                                     \
        QUARLO_EACH_FIELD(QUARLO_ASSIGN, __VA_ARGS__)                               \
        buildFromFields(buffer, bufferSize, packet, assign.isWhole);                \
    }
#define QUARLO_EMPTY_PACKET(Event, Direction, Name)                          \
    QUARLO_PACKET_FAMILY(Name)                                               \
    void packet##Name##ToBufferFromFields(void** buffer, UInt32* bufferSize, \
                                          qrPacketHeader* header) {          \
        packet##Name packet{header};                                         \
        buildFromFields(buffer, bufferSize, packet, true);                   \
    }
#include "QUARLO.Connector.IVI-API-Catalogue.def"

}  // extern "C"
