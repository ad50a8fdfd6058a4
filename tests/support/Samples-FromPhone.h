/* Samples of the packets from the phone; included by Samples.h. */
#ifndef QUARLO_TESTS_SAMPLES_FROMPHONE_H
#define QUARLO_TESTS_SAMPLES_FROMPHONE_H

#include "Samples.h"

namespace quarlo::test {

SAMPLE(ServerProtocolAcknowledge, 2, "01") {
    v.value(p.IsAcknowledged, eFLAG_TRUE);
}

SAMPLE(ServerInitAcknowledge, 12, "01") {
    v.value(p.IsAcknowledged, eFLAG_TRUE);
}

SAMPLE(ServerInit, 14,
       "01 <05 00> 'Phone' 01 <04> 01 02 03 04  06 00 00 00"
       "01 <02 00> 'OS'  01 <04 00> 'uuid'") {
    v.text(p.Name, "Phone");
    v.value(p.IsAllowedWhileMoving, eFLAG_TRUE);
    auto& softkeys = v.record(p.SupportedSoftkeys);
    v.run(softkeys.Length, softkeys.pSoftkeys,
          {eSOFTKEY_Home, eSOFTKEY_Back, eSOFTKEY_Menu, eSOFTKEY_Search});
    v.value(p.Capabilities, 6);
    v.text(p.ServerOSName, "OS");
    v.text(p.PhoneLauncherUUID, "uuid");
}

SAMPLE(ServerInitDone, 18, "01") {
    v.value(p.Successful, eFLAG_TRUE);
}

SAMPLE(PixelFormatAcknowledge, 22, "01") {
    v.value(p.IsAcknowledged, eFLAG_TRUE);
}

SAMPLE(OverrideCompressionAcknowledge, 24, "01") {
    v.value(p.IsAcknowledged, eFLAG_TRUE);
}

SAMPLE(FramebufferUpdate, 26,
       "<02>  00 00 10 00 80 02 F0 00  02 02 02 00 00 00 02  64 32  <04 00 00 00> 11 22 33 44"
       "01 00 02 00 03 00 04 00  03 01 04 00 00 00 04  00 FF  <00 00 00 00>") {
    auto& regions = v.record(p.UpdateRegions);
    v.list(regions.Length, regions.paRectangles, 2, [&v](qrFrameRectangle& entry, std::size_t i) {
        auto& area = v.record(entry.Rectangle);
        auto& properties = v.record(entry.Properties);
        const bool isFirst = i == 0;
        v.value(area.X, isFirst ? UInt16{0} : UInt16{1});
        v.value(area.Y, isFirst ? UInt16{16} : UInt16{2});
        v.value(area.Width, isFirst ? UInt16{640} : UInt16{3});
        v.value(area.Height, isFirst ? UInt16{240} : UInt16{4});
        v.value(properties.Format, isFirst ? ePIXELFORMAT_RGB565 : ePIXELFORMAT_ARGB8888);
        v.value(properties.Endianess,
                isFirst ? ePIXELENDIANESS_LittleEndian : ePIXELENDIANESS_BigEndian);
        v.value(properties.Compression,
                isFirst ? eFRAMECOMPRESSION_ZLIB : eFRAMECOMPRESSION_Uncompressed);
        v.value(properties.BytesPerPixel, isFirst ? UInt8{2} : UInt8{4});
        v.value(entry.ScalingPercentageHorizontal, isFirst ? UInt8{100} : UInt8{0});
        v.value(entry.ScalingPercentageVertical, isFirst ? UInt8{50} : UInt8{255});
        if (isFirst) {
            v.run(entry.DataLength, entry.pData, {0x11, 0x22, 0x33, 0x44});
        } else {
            v.run(entry.DataLength, entry.pData, {});
        }
    });
}

SAMPLE(FrameSizeAcknowledge, 28, "01") {
    v.value(p.IsAcknowledged, eFLAG_TRUE);
}

SAMPLE(ServerState, 36, "04 02") {
    v.value(p.DataType, eSERVERDATATYPE_LauncherAppState);
    v.value(p.Value, 2);
}

SAMPLE(BlockStatus, 40, "01") {
    v.value(p.BlockIsActive, eFLAG_TRUE);
}

SAMPLE(BlockHealth, 42, "01") {
    v.value(p.AppIsHealthy, eFLAG_TRUE);
}

SAMPLE(InitiatePhoneCall, 50, "01 <03 00> 'Bob'  02 <04 00> '+491'") {
    v.text(p.DisplayName, "Bob");
    v.text(p.Number, "+491", eSTRINGENCODING_ASCII_LATIN1);
}

SAMPLE(NavigateTo, 52,
       "01 <04 00> 'Home'  FE FF FF FF FF FF FF FF FF  08 07 06 05 04 03 02 01 F6"
       "01 <02 00> 'DE' 01 <00 00> 01 <05 00> '80331' 01 <06 00> 'Munich'"
       "01 <04 00> 'Main' 01 <03 00> '2nd' 01 <02 00> '7a'  03") {
    v.text(p.DisplayName, "Home");
    auto& position = v.record(p.Position);
    auto& latitude = v.record(position.Latitude);
    v.value(latitude.Value, -2);
    v.value(latitude.Exponent, -1);
    auto& longitude = v.record(position.Longitude);
    v.value(longitude.Value, 0x0102030405060708);
    v.value(longitude.Exponent, -10);
    auto& placemark = v.record(p.Placemark);
    v.text(placemark.Country, "DE");
    v.text(placemark.Region, "");
    v.text(placemark.ZipCode, "80331");
    v.text(placemark.City, "Munich");
    v.text(placemark.Streetname, "Main");
    v.text(placemark.CrossStreetname, "2nd");
    v.text(placemark.Housenumber, "7a");
    v.value(p.Type, eNAVIGATETOTYPE_Both);
}

SAMPLE(SetVehicleDataFilter, 54, "<02> 01 00 00 00 04 03 02 01") {
    v.run(p.Length, p.pKeys, {1, 0x01020304});
}

SAMPLE(BlacklistUrgentVehicleData, 56, "EF BE AD DE") {
    v.value(p.Key, 0xDEADBEEF);
}

SAMPLE(ServerAudio, 58, "04 03 02 01 01 06 E8 03") {
    v.value(p.RequestID, 0x01020304);
    v.value(p.Command, eAUDIOCONTROL_Request);
    v.value(p.Type, eAUDIOTYPE_CriticalAnnouncement);
    v.value(p.MaximumDuration, 1000);
}

SAMPLE(ServerVoiceSessionRequest, 62, "04") {
    v.value(p.Type, eVOICEREQUEST_EndRealCallEvent);
}

SAMPLE(RequestAudioType, 64, "") {}

SAMPLE(ServerCustomData, 68, "02 01 FF <04 00> 01 02 03 04") {
    v.value(p.Event, eCUSTOMDATAEVENT_Int);
    v.value(p.Type, 0xFF01);
    v.run(p.Length, p.pData, {1, 2, 3, 4});
}

SAMPLE(ServerAppInfo, 70,
       "<02 00 00 00>  01 <01 00> 'u' 01 <03 00> 'App' 78 56 34 12 01 <02 00> 'Co'"
       "01 <04 00> 'Desc' <02> 01 00 00 00 05 00 00 80  03 01 'deu'"
       "01 <00 00> 01 <00 00> 00 00 00 00 01 <00 00> 01 <00 00> <00>  00 00 00 00 00") {
    auto& info = v.record(p.Info);
    v.list(info.NumberOfApps, info.paInfo, 2, [&v](qrAppInformation& app, std::size_t i) {
        const bool isFirst = i == 0;
        v.text(app.IdentifierURL, isFirst ? "u" : "");
        v.text(app.Name, isFirst ? "App" : "");
        v.value(app.UniqueIconID, isFirst ? 0x12345678U : 0U);
        v.text(app.Manufacturer, isFirst ? "Co" : "");
        v.text(app.Description, isFirst ? "Desc" : "");
        auto& categories = v.record(app.Categories);
        if (isFirst) {
            v.run(categories.NumberOfCategories, categories.pCategories, {1, 0x80000005});
        } else {
            v.run(categories.NumberOfCategories, categories.pCategories, {});
        }
        v.value(app.InstStatus,
                isFirst ? eAPPINSTALLATIONSTATUS_Executable : eAPPINSTALLATIONSTATUS_Unknown);
        v.value(app.IsAbleToLaunchApps, isFirst ? eFLAG_TRUE : eFLAG_FALSE);
        v.language(app.arrLanguage, isFirst ? "deu" : "\0\0\0");
    });
}

SAMPLE(ServerAppIcon, 72, "01 <01 00> 'i'  09 00 00 00  01 00 00 00  <03 00 00 00> FF D8 FF") {
    v.text(p.IdentifierURL, "i");
    v.value(p.UniqueIconID, 9);
    v.value(p.IconCompression, eFRAMECOMPRESSION_JPEG);
    v.run(p.DataLength, p.pData, {0xFF, 0xD8, 0xFF});
}

SAMPLE(ServerAppStarted, 74, "01 <03 00> 'url' 82") {
    v.text(p.IdentifierURL, "url");
    v.value(p.Status, eAPPSTARTSTATUS_NotAllowed);
}

SAMPLE(Ping, 128, "07 00 00 00") {
    v.value(p.PacketCounter, 7);
}

}  // namespace quarlo::test

#endif
