/*
 * wire-lua PART...: writes quarlo.lua to standard output: the catalogues as tables of Lua, and
 * behind them the parts that work with these.
 */
#include <cctype>
#include <cstdio>
#include <fstream>
#include <iostream>

#include "Catalogues.h"

namespace {

using namespace quarlo::catalogues;

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') result += '\\';
        result += c;
    }
    return result + '"';
}

std::string pair(const char* key, const std::string& value) {
    return std::string(key) + " = " + value + ", ";
}

const char* kindOf(const Field& field) {
    switch (field.kind) {
        case Field::Value:
            return "value";
        case Field::Bytes:
            return "bytes";
        case Field::Member:
            return "member";
        case Field::Run:
            return field.type.name == "UInt8" ? "run_of_bytes" : "run";
        case Field::List:
            return "list";
    }
    return nullptr;
}

void printField(const Field& field) {
    std::string line = pair("kind", quoted(kindOf(field))) + pair("name", quoted(field.name)) +
                       pair("type", quoted(field.type.name)) +
                       pair("size", std::to_string(field.type.size));
    if (field.kind == Field::Bytes) line += pair("count", std::to_string(field.count));
    if (!field.lengthName.empty()) {
        line += pair("length", "{ " + pair("name", quoted(field.lengthName)) +
                                   pair("type", quoted(field.lengthType.name)) +
                                   pair("size", std::to_string(field.lengthType.size)) + "}");
    }
    const std::string unit = field.unit.empty() ? "" : " (" + field.unit + ")";
    std::printf("        { %sabout = %s },\n", line.c_str(), quoted(field.meaning + unit).c_str());
}

void printFields(const Layout& layout) {
    std::puts("    fields = {");
    for (const Field& field : layout.fields) printField(field);
    std::puts("    },\n}");
}

// The part after the first underscore, as the printers name it.
std::string shortName(const std::string& enumerator) {
    return enumerator.substr(enumerator.find('_') + 1);
}

bool isSingleBit(std::uint32_t value) {
    return value != 0 && (value & (value - 1)) == 0;
}

// A Flag is an integer in C, and yet no mask.
void printEnumeration(const Enumeration& e) {
    const bool isMask = e.isInteger && e.type.size == 4;
    std::printf("%s.%s = {", isMask ? "masks" : "enumerations", e.type.name.c_str());
    for (const Value& value : e.values) {
        const std::string name = quoted(shortName(value.name));
        if (!isMask) std::printf(" [%u] = %s,", value.value, name.c_str());
        if (isMask && isSingleBit(value.value)) {
            std::printf(" { value = %u, name = %s, about = %s },", value.value, name.c_str(),
                        quoted(value.meaning).c_str());
        }
    }
    std::puts(" }");
}

}  // namespace

int main(int argc, char** argv) {
    std::puts(
        "-- Generated from the catalogues in src/ by wire-lua. Do not edit.\n"
        "-- Wireshark may have it already, from among its plug-ins.\n"
        "local is_asked, dissector = pcall(Dissector.get, \"quarlo\")\n"
        "if is_asked and dissector then return end\n\n"
        "local enumerations, masks, records, packets = {}, {}, {}, {}");
    for (const Enumeration& e : enumerations()) printEnumeration(e);
    for (const Layout& record : records()) {
        std::printf("records.%s = { minimum = %u,\n", record.name.c_str(),
                    static_cast<unsigned>(record.minimum));
        printFields(record);
    }
    for (const Packet& packet : packets()) {
        std::printf("packets[%u] = { name = %s, from_phone = %s, about = %s,\n", packet.event,
                    quoted(packet.layout.name).c_str(), packet.isFromPhone ? "true" : "false",
                    quoted(meaningOf(packet.layout.name)).c_str());
        printFields(packet.layout);
    }
    std::fflush(stdout);
    for (int i = 1; i < argc; ++i) {
        const std::ifstream part(argv[i]);
        if (!(std::cout << part.rdbuf())) {
            std::cerr << "wire-lua: cannot copy " << argv[i] << '\n';
            return 1;
        }
    }
    return 0;
}
