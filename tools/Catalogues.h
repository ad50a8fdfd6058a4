/*
 * The two catalogues as data, for what is generated from them.
 */
#ifndef QUARLO_TOOLS_CATALOGUES_H
#define QUARLO_TOOLS_CATALOGUES_H

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "QUARLO-WireEngine.h"

namespace quarlo::catalogues {

using quarlo::wire::minimumOf;

struct Type {
    std::string name;
    std::size_t size;
};

struct Field {
    enum Kind { Value, Bytes, Member, Run, List } kind;
    Type type;  // of one element
    std::string name;
    std::size_t count;  // Bytes: how many
    Type lengthType;    // Run, List
    std::string lengthName;
    std::string unit;
    std::string meaning;
};

struct Layout {
    std::string name;
    bool isFixed;
    std::uint64_t minimum;
    std::vector<Field> fields;
};

struct Packet {
    unsigned event;
    bool isFromPhone;
    Layout layout;
};

struct Value {
    std::string name;
    std::uint32_t value;
    bool isPrinted;
    std::string meaning;
};

struct Enumeration {
    Type type;
    std::string wire;
    bool isInteger;
    std::vector<Value> values;
};

inline bool isFixed(const std::vector<Field>& fields);

#define FIELD(Kind, ...) FIELD_##Kind(__VA_ARGS__)
#define FIELD_VALUE(T, Name, unit, meaning) \
    Field{Field::Value, {#T, sizeof(::T)}, #Name, 1, {}, {}, unit, meaning},
#define FIELD_BYTES(Name, N, unit, meaning) \
    Field{Field::Bytes, {"UInt8", 1}, #Name, N, {}, {}, unit, meaning},
#define FIELD_MEMBER(Record, Name, unit, meaning) \
    Field{Field::Member, {#Record, minimumOf<::qr##Record>()}, #Name, 1, {}, {}, unit, meaning},
#define FIELD_RUN(Count, Length, T, Name, unit, meaning)                                     \
    Field{Field::Run, {#T, sizeof(::T)}, #Name, 0, {#Count, sizeof(::Count)}, #Length, unit, \
          meaning},
#define FIELD_LIST(Count, Length, Record, Name, unit, meaning) \
    Field{Field::List,                                         \
          {#Record, minimumOf<::qr##Record>()},                \
          #Name,                                               \
          0,                                                   \
          {#Count, sizeof(::Count)},                           \
          #Length,                                             \
          unit,                                                \
          meaning},

inline const std::vector<Layout>& records() {
    static const std::vector<Layout> all = {
#define QUARLO_RECORD(Shape, Name, ...) \
    {#Name,                             \
     std::string(#Shape) != "OPEN",     \
     minimumOf<::qr##Name>(),           \
     {QUARLO_EACH_FIELD(FIELD, __VA_ARGS__)}},
#include "QUARLO.Connector.IVI-API-Catalogue.def"
    };
    return all;
}

inline std::vector<Packet> packets() {
    constexpr bool ToPhone = false;
    constexpr bool FromPhone = true;
    std::vector<Packet> all;
    const auto add = [&](unsigned event, bool isFromPhone, const char* name, std::uint64_t minimum,
                         const std::vector<Field>& fields) {
        all.push_back({event, isFromPhone, {name, isFixed(fields), minimum, fields}});
    };
#define QUARLO_PACKET(Event, Direction, Name, ...)            \
    add(Event, Direction, #Name, minimumOf<::packet##Name>(), \
        {QUARLO_EACH_FIELD(FIELD, __VA_ARGS__)});
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) add(Event, Direction, #Name, 0, {});
#include "QUARLO.Connector.IVI-API-Catalogue.def"
    std::sort(all.begin(), all.end(),
              [](const Packet& a, const Packet& b) { return a.event < b.event; });
    return all;
}

inline const std::vector<Enumeration>& enumerations() {
    static const std::vector<Enumeration> all = {
/* clang-format off */
#define QUARLO_ENUM_BEGIN(T, Wire, Printer) {{#T, sizeof(::T)}, #Wire, false, {
#define QUARLO_MASK_BEGIN(T, Wire, Printer) {{#T, sizeof(::T)}, #Wire, true, {
#define QUARLO_VALUE(enumerator, value, meaning) {#enumerator, value, true, meaning},
#define QUARLO_UNPRINTED(enumerator, value, meaning) {#enumerator, value, false, meaning},
#define QUARLO_ENUM_END(T) }},
/* clang-format on */
#include "QUARLO.Connector.IVI-API-Enumerations.def"
    };
    return all;
}

inline std::string meaningOf(const std::string& name) {
    static const std::map<std::string, std::string> all = {
#define QUARLO_ABOUT(Name, meaning) {#Name, meaning},
#include "QUARLO.Connector.IVI-API-Catalogue.def"
    };
    return all.at(name);
}

inline const Layout* findRecord(const std::string& name) {
    const auto found = std::find_if(records().begin(), records().end(),
                                    [&](const Layout& record) { return record.name == name; });
    return found == records().end() ? nullptr : &*found;
}

inline bool isFixed(const std::vector<Field>& fields) {
    return std::all_of(fields.begin(), fields.end(), [](const Field& field) {
        if (field.kind == Field::Member) return findRecord(field.type.name)->isFixed;
        return field.kind != Field::Run && field.kind != Field::List;
    });
}

}  // namespace quarlo::catalogues

#endif
