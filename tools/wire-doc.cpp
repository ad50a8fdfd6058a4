/*
 * wire-doc: writes docs/wire.md, the tables of all packets, records and enumerations, from the two
 * catalogues. The text goes to standard output.
 */
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "QUARLO-WireEngine.h"

namespace {

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
};

struct Enumeration {
    Type type;
    std::string wire;
    bool isInteger;
    std::vector<Value> values;
};

/* ---- the catalogues as data ---- */

bool isFixed(const std::vector<Field>& fields);

#define FIELD(Kind, ...) FIELD_##Kind(__VA_ARGS__)
#define FIELD_VALUE(T, Name) Field{Field::Value, {#T, sizeof(::T)}, #Name, 1, {}, {}},
#define FIELD_BYTES(Name, N) Field{Field::Bytes, {"UInt8", 1}, #Name, N, {}, {}},
#define FIELD_MEMBER(Record, Name) \
    Field{Field::Member, {#Record, minimumOf<::qr##Record>()}, #Name, 1, {}, {}},
#define FIELD_RUN(Count, Length, T, Name) \
    Field{Field::Run, {#T, sizeof(::T)}, #Name, 0, {#Count, sizeof(::Count)}, #Length},
#define FIELD_LIST(Count, Length, Record, Name)                                                   \
    Field{Field::List, {#Record, minimumOf<::qr##Record>()}, #Name, 0, {#Count, sizeof(::Count)}, \
          #Length},

const std::vector<Layout>& records() {
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

std::vector<Packet> packets() {
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

const std::vector<Enumeration>& enumerations() {
    static const std::vector<Enumeration> all = {
/* clang-format off */
#define QUARLO_ENUM_BEGIN(T, Wire, Printer) {{#T, sizeof(::T)}, #Wire, false, {
#define QUARLO_MASK_BEGIN(T, Wire, Printer) {{#T, sizeof(::T)}, #Wire, true, {
#define QUARLO_VALUE(enumerator, value) {#enumerator, value, true},
#define QUARLO_UNPRINTED(enumerator, value) {#enumerator, value, false},
#define QUARLO_ENUM_END(T) }},
/* clang-format on */
#include "QUARLO.Connector.IVI-API-Enumerations.def"
    };
    return all;
}

/* ---- queries ---- */

const Layout* findRecord(const std::string& name) {
    const auto found = std::find_if(records().begin(), records().end(),
                                    [&](const Layout& record) { return record.name == name; });
    return found == records().end() ? nullptr : &*found;
}

bool isFixed(const std::vector<Field>& fields) {
    return std::all_of(fields.begin(), fields.end(), [](const Field& field) {
        if (field.kind == Field::Member) return findRecord(field.type.name)->isFixed;
        return field.kind != Field::Run && field.kind != Field::List;
    });
}

/** The heading's anchor: lower case, spaces as hyphens, other punctuation left out. */
std::string anchor(const std::string& heading) {
    std::string result;
    for (const char c : heading) {
        if (c == ' ') result += '-';
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            result += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
    }
    return result;
}

std::string link(const std::string& text, const std::string& heading) {
    return "[" + text + "](#" + anchor(heading) + ")";
}

std::string linked(const Type& type) {
    if (findRecord(type.name) != nullptr) return link(type.name, "Record " + type.name);
    for (const Enumeration& e : enumerations()) {
        if (e.type.name == type.name) return link(type.name, "Enumeration " + type.name);
    }
    return type.name;
}

std::string size(bool isFixedSize, std::uint64_t minimum) {
    return (isFixedSize ? "" : "at least ") + std::to_string(minimum);
}

std::string headingOf(const Packet& packet) {
    return "Packet " + std::to_string(packet.event) + " " + packet.layout.name;
}

/* ---- output ---- */

void print(const std::string& line) {
    std::puts(line.c_str());
}

void row(std::initializer_list<std::string> cells) {
    std::string line = "|";
    for (const std::string& cell : cells) line += " " + cell + " |";
    print(line);
}

void printField(const Field& field) {
    const std::string each = std::to_string(field.type.size);
    const std::string times = "`" + field.lengthName + "` x ";
    switch (field.kind) {
        case Field::Value:
            return row({"`" + field.name + "`", linked(field.type), each});
        case Field::Bytes:
            return row({"`" + field.name + "`", "bytes", std::to_string(field.count)});
        case Field::Member:
            return row({"`" + field.name + "`", linked(field.type),
                        size(findRecord(field.type.name)->isFixed, field.type.size)});
        case Field::Run:
            row({"`" + field.lengthName + "`", field.lengthType.name,
                 std::to_string(field.lengthType.size)});
            return row({"`" + field.name + "`", linked(field.type) + " ...", times + each});
        case Field::List:
            row({"`" + field.lengthName + "`", field.lengthType.name,
                 std::to_string(field.lengthType.size)});
            return row(
                {"`" + field.name + "`", linked(field.type) + " ...",
                 times + "(" + size(findRecord(field.type.name)->isFixed, field.type.size) + ")"});
    }
}

void printFields(const Layout& layout) {
    if (layout.fields.empty()) return print("No payload.\n");
    row({"Field", "Type", "Bytes"});
    row({"---", "---", "---"});
    for (const Field& field : layout.fields) printField(field);
    print("");
}

void printIntroduction() {
    print(R"(# Wire format

<!-- Generated from the catalogues in src/ by wire-doc. Do not edit: run
     cmake --build build/dev --target wire-doc && build/dev/tools/wire-doc > docs/wire.md -->

Both directions carry packets, one after the other, without anything between them. A packet is a
[header](#record-packetheader) and a payload of `PayloadSize` bytes. Fields follow each other in the order of
the tables, without padding; every number is little-endian. A count stands directly before the elements
that it counts. A value of an enumeration that has no name here is kept and passed on.

Sizes are in bytes; "at least" is the size with every counted run and list inside empty. A payload may be
longer than its fields: the head unit skips the rest. `Flags` is sent as 0 and not looked at.

## Packets
)");
}

void printPackets() {
    const std::vector<Packet> all = packets();
    row({"Type", "Name", "Direction", "Payload"});
    row({"---", "---", "---", "---"});
    for (const Packet& packet : all) {
        row({std::to_string(packet.event), link(packet.layout.name, headingOf(packet)),
             packet.isFromPhone ? "from the phone" : "to the phone",
             size(packet.layout.isFixed, packet.layout.minimum)});
    }
    print("");
    for (const Packet& packet : all) {
        print("### " + headingOf(packet) + "\n");
        print(packet.isFromPhone ? "From the phone.\n" : "To the phone.\n");
        printFields(packet.layout);
    }
}

void printRecords() {
    print("## Records\n");
    for (const Layout& record : records()) {
        print("### Record " + record.name + "\n");
        print("Size: " + size(record.isFixed, record.minimum) + ".\n");
        printFields(record);
    }
}

void printEnumerations() {
    print("## Enumerations\n");
    print("The name that the printers give is the part after the first underscore; values marked");
    print("with * are not named by them.\n");
    for (const Enumeration& e : enumerations()) {
        print("### Enumeration " + e.type.name + "\n");
        print("Carried as " + e.wire + (e.isInteger ? "; a plain integer type.\n" : ".\n"));
        row({"Value", "Enumerator"});
        row({"---", "---"});
        for (const Value& value : e.values) {
            char number[24];
            std::snprintf(number, sizeof number, value.value > 255 ? "0x%X" : "%u", value.value);
            row({number, "`" + value.name + "`" + (value.isPrinted ? "" : " *")});
        }
        print("");
    }
}

}  // namespace

int main() {
    printIntroduction();
    printPackets();
    printRecords();
    printEnumerations();
    return 0;
}
