/*
 * wire-doc: writes docs/wire.md, the tables of all packets, records and enumerations, from the two
 * catalogues. The text goes to standard output.
 */
#include <cctype>
#include <cstdio>

#include "Catalogues.h"

namespace {

using namespace quarlo::catalogues;

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

/** A field's row; before a run or a list one for its count. */
void printField(const Field& field) {
    const auto print = [&](const std::string& type, const std::string& bytes) {
        row({"`" + field.name + "`", type, bytes, field.unit, field.meaning});
    };
    const std::string each = std::to_string(field.type.size);
    const std::string times = "`" + field.lengthName + "` x ";
    if (field.kind == Field::Run || field.kind == Field::List) {
        row({"`" + field.lengthName + "`", field.lengthType.name,
             std::to_string(field.lengthType.size), "", "how many `" + field.name + "` follow"});
    }
    switch (field.kind) {
        case Field::Value:
            return print(linked(field.type), each);
        case Field::Bytes:
            return print("bytes", std::to_string(field.count));
        case Field::Member:
            return print(linked(field.type),
                         size(findRecord(field.type.name)->isFixed, field.type.size));
        case Field::Run:
            return print(linked(field.type) + " ...", times + each);
        case Field::List:
            return print(
                linked(field.type) + " ...",
                times + "(" + size(findRecord(field.type.name)->isFixed, field.type.size) + ")");
    }
}

void printFields(const Layout& layout) {
    if (layout.fields.empty()) return print("No payload.\n");
    row({"Field", "Type", "Bytes", "Unit", "Meaning"});
    row({"---", "---", "---", "---", "---"});
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
longer than its fields: the head unit skips the rest.

## Session

| Step | Packet | Then |
| --- | --- | --- |
| 1 | the head unit sends [ClientProtocolVersion](#packet-1-clientprotocolversion) | |
| 2 | the phone answers [ServerProtocolAcknowledge](#packet-2-serverprotocolacknowledge) | not 1: the session is over |
| 3 | the head unit sends [ClientInit](#packet-11-clientinit) | |
| 4 | the phone answers [ServerInitAcknowledge](#packet-12-serverinitacknowledge) | not 1: the session is over |
| 5 | the head unit sends [ClientVoiceSupportInfo](#packet-61-clientvoicesupportinfo), and [ClientSettings](#packet-69-clientsettings) if it knows the language | nothing answers them |
| 6 | the phone sends [ServerInit](#packet-14-serverinit) | |
| 7 | the head unit sends [ClientInitDone](#packet-17-clientinitdone) | |
| 8 | the phone sends [ServerInitDone](#packet-18-serverinitdone), before or after step 7 | 0: the session is over |
| 9 | both are in RUN | the head unit first tells the version of its library in [ClientCustomData](#packet-67-clientcustomdata) |

The steps have to be done within 60 seconds, unless the head unit sets another time. A packet of another step is ignored,
and so is a packet of a feature before RUN, except [ServerAppInfo](#packet-70-serverappinfo), which is kept. In RUN
either side may send what it likes. A packet that the head unit does not know, or one that goes to the phone, ends the
connection; so does one whose counts lead behind the bytes that have arrived. No packet may be longer than the screen
of ClientInit in bytes (width x height x bytes per pixel) plus 64 KiB: the head unit would wait for the rest for ever.
What is refused otherwise is dropped without an answer.

A head unit may end a connection on which nothing comes for some seconds: send [Ping](#packet-128-ping) when
there is nothing else to say.

## Frames

The head unit asks with [FramebufferUpdateRequest](#packet-25-framebufferupdaterequest), the phone sends
[FramebufferUpdate](#packet-26-framebufferupdate). Each rectangle says by itself how it is stored. The pixels of a
compressed rectangle, unpacked, are `Width` x `Height` x `BytesPerPixel` bytes, no more and no less. A JPEG picture has
exactly the rectangle's width and height. The first rectangle that cannot be shown ends the update.

A rectangle at reduced size, of 50 % say, stands for one of twice the size: the head unit multiplies position and size by
100 and divides them by the percentage, and drops what is behind the decimal point.

## Custom data

What stands in `pData`, of which `Length` counts the bytes:

| Channel | To the phone | From the phone |
| --- | --- | --- |
| `eCUSTOMDATAEVENT_String` | a [String](#record-string), of a [ClientCustomDataStringType](#enumeration-clientcustomdatastringtype) | a [String](#record-string), of a [ServerCustomDataStringType](#enumeration-servercustomdatastringtype) |
| `eCUSTOMDATAEVENT_Int` | 1, 2, 4 or 8 bytes as the host gave them, of a [ClientCustomDataIntType](#enumeration-clientcustomdatainttype) | 1, 2, 4 or 8 bytes, handed to the host as they are, of a [ServerCustomDataIntType](#enumeration-servercustomdatainttype) |
| `eCUSTOMDATAEVENT_Raw` | the block whose number is in `Type`; empty if there is none | the block to keep; nothing in all other operations of [ServerCustomDataRawType](#enumeration-servercustomdatarawtype) |
| `eCUSTOMDATAEVENT_Can` | a [CANMessage](#record-canmessage), of a [ClientCustomDataCanType](#enumeration-clientcustomdatacantype) | a [CANMessage](#record-canmessage) of 5 to 13 bytes, of a [ServerCustomDataCanType](#enumeration-servercustomdatacantype) |
| `eCUSTOMDATAEVENT_Key` | a [ClientCustomDataKeyCode](#enumeration-clientcustomdatakeycode) and the time in ms, a UInt32, of a [ClientCustomDataKeyType](#enumeration-clientcustomdatakeytype) | a [ServerCustomDataKeyCode](#enumeration-servercustomdatakeycode), of a [ServerCustomDataKeyType](#enumeration-servercustomdatakeytype) |

What does not fit is dropped. The head unit answers a Get with the same number and the block, in a
[ClientCustomData](#packet-67-clientcustomdata). It keeps at most 32 MiB for a connection and as much for all of them.

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
        print(std::string(packet.isFromPhone ? "From the phone. " : "To the phone. ") +
              meaningOf(packet.layout.name) + "\n");
        printFields(packet.layout);
    }
}

void printRecords() {
    print("## Records\n");
    for (const Layout& record : records()) {
        print("### Record " + record.name + "\n");
        print("Is " + meaningOf(record.name) + ". Size: " + size(record.isFixed, record.minimum) +
              ".\n");
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
        row({"Value", "Enumerator", "Meaning"});
        row({"---", "---", "---"});
        for (const Value& value : e.values) {
            char number[24];
            std::snprintf(number, sizeof number, value.value > 255 ? "0x%X" : "%u", value.value);
            row({number, "`" + value.name + "`" + (value.isPrinted ? "" : " *"), value.meaning});
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
