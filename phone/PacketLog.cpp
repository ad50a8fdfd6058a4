// Describes packets from their bytes with the wire catalogue, so that every packet that exists can
// be logged without code of its own. Pure functions.
#include "PacketLog.h"

#include <algorithm>

#include "NamedFields.h"
#include "QUARLO.Connector.IVI-API_C.h"
#include "common/Text.h"

namespace quarlo::phone {
namespace {

using quarlo::wire::Scalar;

constexpr std::size_t longestText = 200;

std::string nameOf(std::uint64_t value) {
    return std::to_string(value);
}
std::string nameOf(std::int64_t value) {
    return std::to_string(value);
}

template <Scalar T>
requires std::is_integral_v<T> std::string nameOf(T value) {
    return nameOf(
        static_cast<std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>>(value));
}

// Bit masks are integers and stay numbers; enumerations get the names of their printers.
#define QUARLO_NAME_OWN(Type)                                        \
    [[maybe_unused]] std::string nameOf(Type value) {                \
        return std::to_string(static_cast<unsigned>(value)) + " (" + \
               _quarlo_get##Type##Name(value) + ")";                 \
    }
#define QUARLO_NAME_NONE(Type)
#define QUARLO_ENUM_BEGIN(Type, Wire, Printer) QUARLO_NAME_##Printer(Type)
#include "QUARLO.Connector.IVI-API-Enumerations.def"
#undef QUARLO_NAME_OWN
#undef QUARLO_NAME_NONE

std::string bytesText(const UInt8* bytes, std::uint64_t count) {
    return "\"" + printable({reinterpret_cast<const char*>(bytes), count}, longestText) + "\"";
}

/// Collects the fields of a record as "Name=value".
struct Describe {
    std::string text;

    template <class R>
    static std::string fieldsOf(const R& record) {
        Describe describe;
        Named<R>::each(record, describe);
        return describe.text;
    }

    template <Scalar T>
    void operator()(const char* name, const T& value) {
        add(name, nameOf(value));
    }
    template <std::size_t N>
    void operator()(const char* name, const UInt8 (&bytes)[N]) {
        add(name, bytesText(bytes, N));
    }
    template <class R>
    void operator()(const char* name, R* const& member) {
        if constexpr (std::is_same_v<R, qrString>)
            return add(name, bytesText(member->pContent, member->Length));
        add(name, "{" + fieldsOf(*member) + "}");
    }
    template <Scalar T, Scalar C>
    void operator()(const char* name, T* const& run, const char*, const C& count) {
        constexpr std::uint64_t most = 16;
        if (sizeof(T) == 1 && count > most) return add(name, std::to_string(count) + " bytes");
        std::string values;
        for (std::uint64_t i = 0; i < count && i < most; ++i)
            values += (i == 0 ? "" : ", ") + nameOf(run[i]);
        add(name, "[" + values + (count > most ? ", ..." : "") + "]");
    }
    template <class R, Scalar C>
    void operator()(const char* name, R** const& list, const char*, const C& count) {
        std::string records;
        for (std::uint64_t i = 0; i < count; ++i) {
            if (list[i] != nullptr) records += (i == 0 ? "{" : ", {") + fieldsOf(*list[i]) + "}";
        }
        add(name, "[" + records + "]");
    }

  private:
    void add(const char* name, const std::string& value) {
        text += (text.empty() ? "" : ", ") + std::string(name) + "=" + value;
    }
};

template <class P>
std::string decodedFields(std::span<const std::uint8_t> bytes) {
    wire::Bounded input{bytes.data(), bytes.data() + bytes.size()};
    wire::Heap heap;
    P* packet = wire::decodePacket<P>(input, heap);
    if (packet == nullptr) return "malformed";
    std::string text = Describe::fieldsOf(*packet);
    wire::deletePacket(packet);
    return text;
}

std::string fieldsByType(std::span<const std::uint8_t> bytes) {
    switch (bytes[0]) {
#define QUARLO_PACKET(Event, Direction, Name, ...) \
    case Event:                                    \
        return decodedFields<packet##Name>(bytes);
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) \
    case Event:                                     \
        return decodedFields<packet##Name>(bytes);
#include "QUARLO.Connector.IVI-API-Catalogue.def"
        default:
            return "type " + std::to_string(bytes[0]);
    }
}

}  // namespace

std::string describePacket(std::span<const std::uint8_t> packet) {
    if (packet.size() < wire::headerSize) return "incomplete";
    const std::string fields = fieldsByType(packet);
    std::string text = _quarlo_getEventTypeName(static_cast<EventType>(packet[0]));
    text += ", " + std::to_string(packet.size()) + " bytes";
    return fields.empty() ? text : text + ": " + fields;
}

}  // namespace quarlo::phone
