// Packets as text: what is built from it, what is recognised by it, and what is said about wrong
// ones.
#include "PacketText.h"

#include <gtest/gtest.h>

#include "phone_bytes.h"

namespace quarlo::phone {
namespace {

TEST(PacketText, BuildsWhatIsSaid) {
    struct Case {
        const char* name;
        const char* fields;
        Bytes packet;
    };
    const Case cases[] = {
        {"RequestAudioType", "", packet(64)},
        {"Ping", "PacketCounter=0x01020304", packet(128, {4, 3, 2, 1})},
        {"ServerAudio", "Command=release RequestID=7  Type=3 MaximumDuration=258",
         packet(58, u32(7) + u8(5) + u8(3) + u16(258))},
        {"ServerAudio", "Command=77", packet(58, u32(0) + u8(77) + u8(0) + u16(0))},
        {"InitiatePhoneCall", "Number=+49 DisplayName=\"Ada L = ~\"",
         packet(50, text("Ada L = ~") + text("+49"))},
        {"NavigateTo", "Position.Latitude.Value=-5 Position.Latitude.Exponent=-6 Type=positiononly",
         packet(52,
                Bytes(3) + u32(0xFFFFFFFB) + u32(0xFFFFFFFF) + u8(0xFA) + Bytes(9 + 21) + u8(1))},
        {"SetVehicleDataFilter", "pKeys=1,0x20000", packet(54, u8(2) + u32(1) + u32(0x20000))},
        {"ServerInit", "SupportedSoftkeys.pSoftkeys=back,1 Capabilities=4",
         packet(14, Bytes{0, 0, 0, 0, 2, 2, 1} + u32(4) + Bytes(6))},
        {"ServerCustomData", "Event=raw Type=0x1042 pData=616263",
         packet(68, u8(3) + u16(0x1042) + u16(3) + Bytes{'a', 'b', 'c'})},
        {"FramebufferUpdate",
         "UpdateRegions.paRectangles.1.pData=ff UpdateRegions.paRectangles.Rectangle.X=2",
         packet(26, u8(2) + u16(2) + Bytes(19) + Bytes(17) + u32(1) + u8(0xFF))},
    };
    for (const Case& c : cases) {
        Bytes bytes;
        EXPECT_EQ(buildPacket(c.name, c.fields, bytes), "") << c.name << " " << c.fields;
        EXPECT_EQ(bytes, c.packet) << c.name << " " << c.fields;
    }
}

TEST(PacketText, RecognisesWhatIsSaid) {
    const Bytes touch = packet(33, u8(2) + u8(1) + u16(10) + u16(20) + u32(7) + u8(2) + u16(5) +
                                       u16(30) + u32(8) + u32(1000));
    const Bytes place = position("$GPGG");
    const Bytes settings = language("deu");
    struct Case {
        const Bytes& packet;
        const char* name;
        const char* fields;
        bool isMatch;
    };
    const Case cases[] = {
        {touch, "TouchEvent", "", true},
        {touch, "SoftkeyEvent", "", false},
        {touch, "TouchEvent", "Timestamp=1000 TouchEvents.Length=2", true},
        {touch, "TouchEvent", "TouchEvents.Length=1", false},
        {touch, "TouchEvent", "TouchEvents.paTouches.1.PositionY=30", true},
        {touch, "TouchEvent", "TouchEvents.paTouches.0.PositionY=30", false},
        {touch, "TouchEvent", "TouchEvents.paTouches.PositionY=0x1e", true},
        {touch, "TouchEvent", "TouchEvents.paTouches.PositionY=31", false},
        {touch, "TouchEvent", "TouchEvents.paTouches.0.TouchType=down", true},
        {touch, "TouchEvent", "TouchEvents.paTouches.1.TouchType=2", true},
        {touch, "TouchEvent", "TouchEvents.paTouches.2.TouchType=2", false},
        {place, "PositionInformation", "NMEA=$GPGG", true},
        {place, "PositionInformation", "NMEA=$GPG", false},
        {place, "PositionInformation", "NMEA~GPG", true},
        {place, "PositionInformation", "NMEA~GPRMC", false},
        {settings, "ClientSettings", "arrLanguage=deu", true},
        {settings, "ClientSettings", "arrLanguage=eng", false},
    };
    for (const Case& c : cases) {
        PacketPattern pattern;
        EXPECT_EQ(pattern.read(c.name, c.fields), "") << c.name << " " << c.fields;
        EXPECT_EQ(pattern.matches(c.packet), c.isMatch) << c.name << " " << c.fields;
    }
    PacketPattern pattern;
    ASSERT_EQ(pattern.read("TouchEvent", "Timestamp=1000"), "");
    for (std::size_t size = 0; size < touch.size(); ++size) {
        EXPECT_FALSE(pattern.matches(std::span(touch).first(size))) << size;
    }
}

TEST(PacketText, SaysWhatIsAllowed) {
    struct Case {
        bool isSent;
        const char* name;
        const char* fields;
        const char* allowed;
    };
    const Case cases[] = {
        {true, "Pong", "", "PACKET: ServerProtocolAcknowledge, "},
        {false, "Ping", "", "PACKET: ClientProtocolVersion, "},
        {true, "RequestAudioType", "A=1", "no fields"},
        {true, "NavigateTo", "Position=1", "Position.Latitude.Exponent"},
        {true, "Ping", "PacketCounter=4294967296", "a number from 0 to 4294967295"},
        {true, "Ping", "PacketCounter", "FIELD=VALUE or"},
        {true, "ServerAudio", "Command=ask", "Request, Release"},
        {true, "InitiatePhoneCall", "Number=\"12", "FIELD=VALUE or"},
        {true, "SetVehicleDataFilter", "Length=3", "FIELD: Length, pKeys"},
        {true, "SetVehicleDataFilter", "pKeys=1,,2", "commas"},
        {true, "ServerCustomData", "pData=abc", "hexadecimal digits, up to 65535"},
        {true, "FramebufferUpdate", "UpdateRegions.paRectangles.300.Rectangle.X=2",
         "entries 0 to 255"},
        {false, "ClientSettings", "arrLanguage=english", "up to 3 bytes"},
        {false, "TouchEvent", "Time~1", "FIELD: TouchEvents.Length, Timestamp"},
    };
    for (const Case& c : cases) {
        Bytes bytes;
        PacketPattern pattern;
        const std::string allowed =
            c.isSent ? buildPacket(c.name, c.fields, bytes) : pattern.read(c.name, c.fields);
        EXPECT_NE(allowed.find(c.allowed), std::string::npos)
            << c.name << " " << c.fields << ": " << allowed;
    }
}

}  // namespace
}  // namespace quarlo::phone
