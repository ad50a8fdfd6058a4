/*
 * One sample of every packet: its payload as it stands on the wire, and what its fields hold then.
 * Included by Wire.cpp only.
 */
#ifndef QUARLO_TESTS_SAMPLES_H
#define QUARLO_TESTS_SAMPLES_H

#include <string_view>

namespace quarlo::test {

struct Sample {
    std::string_view name;
    unsigned type;
    std::string_view payload;
    std::string_view fields;
};

constexpr Sample samples[] = {
    {"ClientProtocolVersion", 1, "01 00 02 00 34 12", "{Version{Major=1 Minor=2 Build=4660}}"},
    {"ServerProtocolAcknowledge", 2, "01", "{IsAcknowledged=1}"},
    {"ClientInit", 11,
     "01 <04 00> 'Unit' 00 05 D0 02 57 00 31 00 24 07 00 00"
     "02 02 02 00 00 00 02  06 00 00 00  <02> 00 FF 01 FF  <03> 01 14 21",
     "{Name='Unit' ScreenWidth=1280 ScreenHeight=720 PhysicalScreenWidth=87 "
     "PhysicalScreenHeight=49 Capabilities=1828 FrameProperties{Format=2 Endianess=2 "
     "Compression=2 BytesPerPixel=2} SupportedCompressions=6 "
     "SupportedCustomData{pSupported=[65280 65281]} NonTouchConfig{pSupportedKeyCodes=[1 20 "
     "33]}}"},
    {"ServerInitAcknowledge", 12, "01", "{IsAcknowledged=1}"},
    {"ServerInit", 14,
     "01 <05 00> 'Phone' 01 <04> 01 02 03 04  06 00 00 00"
     "01 <02 00> 'OS'  01 <04 00> 'uuid'",
     "{Name='Phone' IsAllowedWhileMoving=1 SupportedSoftkeys{pSoftkeys=[1 2 3 4]} "
     "Capabilities=6 ServerOSName='OS' PhoneLauncherUUID='uuid'}"},
    {"ClientInitDone", 17, "01", "{Successful=1}"},
    {"ServerInitDone", 18, "01", "{Successful=1}"},
    {"SetPixelFormat", 21, "03 01 04", "{Format=3 Endianess=1 BytesPerPixel=4}"},
    {"PixelFormatAcknowledge", 22, "01", "{IsAcknowledged=1}"},
    {"OverrideCompression", 23, "02 00 00 00", "{Compression=2}"},
    {"OverrideCompressionAcknowledge", 24, "01", "{IsAcknowledged=1}"},
    {"FramebufferUpdateRequest", 25, "01 00 02 00 00 05 D0 02  01",
     "{UpdateRegion{X=1 Y=2 Width=1280 Height=720} Incremental=1}"},
    {"FramebufferUpdate", 26,
     "<02>  00 00 10 00 80 02 F0 00  02 02 02 00 00 00 02  64 32  <04 00 00 00> 11 22 33 44"
     "01 00 02 00 03 00 04 00  03 01 04 00 00 00 04  00 FF  <00 00 00 00>",
     "{UpdateRegions{paRectangles=[{Rectangle{X=0 Y=16 Width=640 Height=240} "
     "Properties{Format=2 Endianess=2 Compression=2 BytesPerPixel=2} "
     "ScalingPercentageHorizontal=100 ScalingPercentageVertical=50 pData=[17 34 51 "
     "68]}{Rectangle{X=1 Y=2 Width=3 Height=4} Properties{Format=3 Endianess=1 Compression=4 "
     "BytesPerPixel=4} ScalingPercentageHorizontal=0 ScalingPercentageVertical=255 "
     "pData=[]}]}}"},
    {"SetFrameSize", 27, "80 07 D0 02 A0 00 5A 00",
     "{ScreenWidth=1920 ScreenHeight=720 PhysicalScreenWidth=160 PhysicalScreenHeight=90}"},
    {"FrameSizeAcknowledge", 28, "01", "{IsAcknowledged=1}"},
    {"SoftkeyEvent", 31, "01 03", "{SoftkeyEvent=1 Softkey=3}"},
    {"TouchEvent", 33, "<02>  01 10 00 20 00 01 00 00 00  03 FF 04 CF 02 EF BE AD DE  44 33 22 11",
     "{TouchEvents{paTouches=[{TouchType=1 PositionX=16 PositionY=32 UniqueID=1}{TouchType=3 "
     "PositionX=1279 PositionY=719 UniqueID=3735928559}]} Timestamp=287454020}"},
    {"ClientState", 35, "02 01", "{DataType=2 Value=1}"},
    {"ServerState", 36, "04 02", "{DataType=4 Value=2}"},
    {"PositionInformation", 37, "02 <06 00> '$GPGGA'", "{NMEA=latin'$GPGGA'}"},
    {"SetBlockMode", 39, "03", "{ModeToSet=3}"},
    {"BlockStatus", 40, "01", "{BlockIsActive=1}"},
    {"BlockHealth", 42, "01", "{AppIsHealthy=1}"},
    {"InitiatePhoneCall", 50, "01 <03 00> 'Bob'  02 <04 00> '+491'",
     "{DisplayName='Bob' Number=latin'+491'}"},
    {"PhoneCallStatusResponse", 51, "04", "{Status=4}"},
    {"NavigateTo", 52,
     "01 <04 00> 'Home'  FE FF FF FF FF FF FF FF FF  08 07 06 05 04 03 02 01 F6"
     "01 <02 00> 'DE' 01 <00 00> 01 <05 00> '80331' 01 <06 00> 'Munich'"
     "01 <04 00> 'Main' 01 <03 00> '2nd' 01 <02 00> '7a'  03",
     "{DisplayName='Home' Position{Latitude{Value=-2 Exponent=-1} "
     "Longitude{Value=72623859790382856 Exponent=-10}} Placemark{Country='DE' Region='' "
     "ZipCode='80331' City='Munich' Streetname='Main' CrossStreetname='2nd' Housenumber='7a'} "
     "Type=3}"},
    {"SetVehicleDataFilter", 54, "<02> 01 00 00 00 04 03 02 01", "{pKeys=[1 16909060]}"},
    {"VehicleData", 55, "78 56 34 12  01 <07 00> '{\"v\":1}'",
     "{Key=305419896 JSONValue='{\"v\":1}'}"},
    {"BlacklistUrgentVehicleData", 56, "EF BE AD DE", "{Key=3735928559}"},
    {"ServerAudio", 58, "04 03 02 01 01 06 E8 03",
     "{RequestID=16909060 Command=1 Type=6 MaximumDuration=1000}"},
    {"ClientAudio", 59, "04 03 02 01 03 FF", "{RequestID=16909060 Status=3 ResultCode=255}"},
    {"ClientVoiceSupportInfo", 61, "03 01", "{Value=3 Constraint=1}"},
    {"ServerVoiceSessionRequest", 62, "04", "{Type=4}"},
    {"ClientVoiceSessionStatus", 63, "03 02", "{Value=3 Constraint=2}"},
    {"RequestAudioType", 64, "", "{}"},
    {"AudioTypeResponse", 65, "04", "{CurrentAudioType=4}"},
    {"ClientCustomData", 67, "03 00 80 <05 00> DE AD 00 BE EF",
     "{Event=3 Type=32768 pData=[222 173 0 190 239]}"},
    {"ServerCustomData", 68, "02 01 FF <04 00> 01 02 03 04",
     "{Event=2 Type=65281 pData=[1 2 3 4]}"},
    {"ClientSettings", 69, "'eng'", "{arrLanguage=[101 110 103]}"},
    {"ServerAppInfo", 70,
     "<02 00 00 00>  01 <01 00> 'u' 01 <03 00> 'App' 78 56 34 12 01 <02 00> 'Co'"
     "01 <04 00> 'Desc' <02> 01 00 00 00 05 00 00 80  03 01 'deu'"
     "01 <00 00> 01 <00 00> 00 00 00 00 01 <00 00> 01 <00 00> <00>  00 00 00 00 00",
     "{Info{paInfo=[{IdentifierURL='u' Name='App' UniqueIconID=305419896 Manufacturer='Co' "
     "Description='Desc' Categories{pCategories=[1 2147483653]} InstStatus=3 "
     "IsAbleToLaunchApps=1 arrLanguage=[100 101 117]}{IdentifierURL='' Name='' UniqueIconID=0 "
     "Manufacturer='' Description='' Categories{pCategories=[]} InstStatus=0 "
     "IsAbleToLaunchApps=0 arrLanguage=[0 0 0]}]}}"},
    {"ClientRequestAppIcon", 71, "40 00 30 00  04 02 04 00 00 00 04  01 <05 00> 'app:a'",
     "{Width=64 Height=48 IconProperties{Format=4 Endianess=2 Compression=4 BytesPerPixel=4} "
     "IdentifierURL='app:a'}"},
    {"ServerAppIcon", 72, "01 <01 00> 'i'  09 00 00 00  01 00 00 00  <03 00 00 00> FF D8 FF",
     "{IdentifierURL='i' UniqueIconID=9 IconCompression=1 pData=[255 216 255]}"},
    {"ClientStartApp", 73,
     "01 <03 00> 'url'  <01> 01 <01 00> 'k' 01 <02 00> 'vv'"
     "<02> 01 <01 00> 'a' 01 <00 00>  01 <00 00> 02 <01 00> 'b'",
     "{IdentifierURL='url' LaunchModes{paEntries=[{key='k' value='vv'}]} "
     "Options{paEntries=[{key='a' value=''}{key='' value=latin'b'}]}}"},
    {"ServerAppStarted", 74, "01 <03 00> 'url' 82", "{IdentifierURL='url' Status=130}"},
    {"Ping", 128, "07 00 00 00", "{PacketCounter=7}"},
    {"PingAcknowledge", 129, "07 00 00 00", "{PacketCounter=7}"},
};

/** The program does not compile when there is none. */
consteval Sample sampleOf(std::string_view name) {
    for (const Sample& sample : samples) {
        if (sample.name == name) return sample;
    }
    throw "no sample";
}

}  // namespace quarlo::test

#endif
