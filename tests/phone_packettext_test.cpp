// Packets as text: what is built from it, what is recognised by it, and what is said about wrong
// ones.
#include "PacketText.h"

#include <gtest/gtest.h>

#include "common/Words.h"

namespace quarlo::phone {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// The whole packet, from its type and the payload's digits.
Bytes packetOf(UInt8 type, const std::string& digits) {
    Words words(digits);
    const Bytes payload = digits.empty() ? Bytes() : words.bytes(digits.size());
    Bytes bytes{type, 0, 0, 0, 0, static_cast<UInt8>(payload.size()), 0, 0, 0};
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

TEST(PacketText, BuildsWhatIsSaid) {
    struct Case {
        const char* name;
        const char* fields;
        UInt8 type;
        const char* payload;
    };
    const Case cases[] = {
        {"RequestAudioType", "", 64, ""},
        {"Ping", "PacketCounter=0x01020304", 128, "04030201"},
        {"ServerAudio", "Command=release RequestID=7  Type=3 MaximumDuration=258", 58,
         "0700000005030201"},
        {"ServerAudio", "Command=77", 58, "000000004d000000"},
        {"InitiatePhoneCall", "Number=+49 DisplayName=\"Ada L = ~\"", 50,
         "010900416461204c203d207e0103002b3439"},
        {"NavigateTo", "Position.Latitude.Value=-5 Position.Latitude.Exponent=-6 Type=positiononly",
         52,
         "000000"
         "fbfffffffffffffffa000000000000000000"
         "000000000000000000000000000000000000000000"
         "01"},
        {"SetVehicleDataFilter", "pKeys=1,0x20000", 54, "020100000000000200"},
        {"ServerInit", "SupportedSoftkeys.pSoftkeys=back,1 Capabilities=4", 14,
         "000000"
         "00"
         "020201"
         "04000000"
         "000000"
         "000000"},
        {"ServerCustomData", "Event=raw Type=0x1042 pData=616263", 68,
         "034210"
         "0300616263"},
        {"FramebufferUpdate",
         "UpdateRegions.paRectangles.1.pData=ff UpdateRegions.paRectangles.Rectangle.X=2", 26,
         "02"
         "0200000000000000"
         "00000000000000"
         "0000"
         "00000000"
         "0000000000000000"
         "00000000000000"
         "0000"
         "01000000ff"},
    };
    for (const Case& c : cases) {
        Bytes bytes;
        EXPECT_EQ(buildPacket(c.name, c.fields, bytes), "") << c.name << " " << c.fields;
        EXPECT_EQ(bytes, packetOf(c.type, c.payload)) << c.name << " " << c.fields;
    }
}

TEST(PacketText, RecognisesWhatIsSaid) {
    const Bytes touch = packetOf(33,
                                 "02"
                                 "010a00140007000000"
                                 "0205001e0008000000"
                                 "e8030000");
    const Bytes position = packetOf(37, "0105002447504747");
    const Bytes settings = packetOf(69, "646575");
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
        {position, "PositionInformation", "NMEA=$GPGG", true},
        {position, "PositionInformation", "NMEA=$GPG", false},
        {position, "PositionInformation", "NMEA~GPG", true},
        {position, "PositionInformation", "NMEA~GPRMC", false},
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
        {true, "TouchEvent", "", "PACKET: ServerProtocolAcknowledge, "},
        {false, "Ping", "", "PACKET: ClientProtocolVersion, "},
        {true, "RequestAudioType", "A=1", "no fields"},
        {true, "NavigateTo", "Position=1", "Position.Latitude.Exponent"},
        {true, "NavigateTo", "Position.DisplayName=x", "Position.Latitude.Exponent"},
        {true, "NavigateTo", "DisplayName.X=x", "Position.Latitude.Exponent"},
        {true, "Ping", "PacketCounter=4294967296", "a number from 0 to 4294967295"},
        {true, "Ping", "PacketCounter=-1", "a number from 0"},
        {true, "Ping", "PacketCounter", "FIELD=VALUE or"},
        {true, "Ping", "PacketCounter~1", "FIELD=VALUE or"},
        {true, "ServerAudio", "Command=ask", "Request, Release"},
        {true, "InitiatePhoneCall", "Number=\"12", "FIELD=VALUE or"},
        {true, "SetVehicleDataFilter", "Length=3", "FIELD: Length, pKeys"},
        {true, "SetVehicleDataFilter", "pKeys=1,,2", "commas"},
        {true, "ServerCustomData", "pData=abc", "hexadecimal digits, up to 65535"},
        {true, "FramebufferUpdate", "UpdateRegions.paRectangles.300.Rectangle.X=2",
         "entries 0 to 255"},
        {false, "ClientSettings", "arrLanguage=english", "up to 3 bytes"},
        {false, "TouchEvent", "Timestamp=soon", "a number from 0"},
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
