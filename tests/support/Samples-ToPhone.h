/* Samples of the packets to the phone; included by Samples.h. */
#ifndef QUARLO_TESTS_SAMPLES_TOPHONE_H
#define QUARLO_TESTS_SAMPLES_TOPHONE_H

#include "Samples.h"

namespace quarlo::test {

SAMPLE(ClientProtocolVersion, 1, "01 00 02 00 34 12") {
    auto& version = v.record(p.Version);
    v.value(version.Major, 1);
    v.value(version.Minor, 2);
    v.value(version.Build, 0x1234);
}

SAMPLE(ClientInit, 11,
       "01 <04 00> 'Unit' 00 05 D0 02 57 00 31 00 24 07 00 00"
       "02 02 02 00 00 00 02  06 00 00 00  <02> 00 FF 01 FF  <03> 01 14 21") {
    v.text(p.Name, "Unit");
    v.value(p.ScreenWidth, 1280);
    v.value(p.ScreenHeight, 720);
    v.value(p.PhysicalScreenWidth, 87);
    v.value(p.PhysicalScreenHeight, 49);
    v.value(p.Capabilities, 0x724);
    auto& properties = v.record(p.FrameProperties);
    v.value(properties.Format, ePIXELFORMAT_RGB565);
    v.value(properties.Endianess, ePIXELENDIANESS_LittleEndian);
    v.value(properties.Compression, eFRAMECOMPRESSION_ZLIB);
    v.value(properties.BytesPerPixel, 2);
    v.value(p.SupportedCompressions, 6);
    auto& types = v.record(p.SupportedCustomData);
    v.run(types.Length, types.pSupported,
          {eCLIENTCUSTOMDATAINTTYPE_ScreenTest, eCLIENTCUSTOMDATAINTTYPE_GetCanAmbientlight});
    auto& keys = v.record(p.NonTouchConfig);
    v.run(keys.NumberOfKeysSupported, keys.pSupportedKeyCodes,
          {eCLIENTCUSTOMDATAKEYCODE_PushToTalk, eCLIENTCUSTOMDATAKEYCODE_KnobTickCW,
           eCLIENTCUSTOMDATAKEYCODE_DPadRight});
}

SAMPLE(ClientInitDone, 17, "01") {
    v.value(p.Successful, eFLAG_TRUE);
}

SAMPLE(SetPixelFormat, 21, "03 01 04") {
    v.value(p.Format, ePIXELFORMAT_ARGB8888);
    v.value(p.Endianess, ePIXELENDIANESS_BigEndian);
    v.value(p.BytesPerPixel, 4);
}

SAMPLE(OverrideCompression, 23, "02 00 00 00") {
    v.value(p.Compression, eFRAMECOMPRESSION_ZLIB);
}

SAMPLE(FramebufferUpdateRequest, 25, "01 00 02 00 00 05 D0 02  01") {
    auto& region = v.record(p.UpdateRegion);
    v.value(region.X, 1);
    v.value(region.Y, 2);
    v.value(region.Width, 1280);
    v.value(region.Height, 720);
    v.value(p.Incremental, eFLAG_TRUE);
}

SAMPLE(SetFrameSize, 27, "80 07 D0 02 A0 00 5A 00") {
    v.value(p.ScreenWidth, 1920);
    v.value(p.ScreenHeight, 720);
    v.value(p.PhysicalScreenWidth, 160);
    v.value(p.PhysicalScreenHeight, 90);
}

SAMPLE(SoftkeyEvent, 31, "01 03") {
    v.value(p.SoftkeyEvent, eSOFTKEYEVENTTYPE_Press);
    v.value(p.Softkey, eSOFTKEY_Menu);
}

SAMPLE(TouchEvent, 33,
       "<02>  01 10 00 20 00 01 00 00 00  03 FF 04 CF 02 EF BE AD DE  44 33 22 11") {
    auto& touches = v.record(p.TouchEvents);
    v.list(touches.Length, touches.paTouches, 2, [&v](qrTouch& touch, std::size_t i) {
        v.value(touch.TouchType, i == 0 ? eTOUCHTYPE_Down : eTOUCHTYPE_Moved);
        v.value(touch.PositionX, i == 0 ? UInt16{16} : UInt16{1279});
        v.value(touch.PositionY, i == 0 ? UInt16{32} : UInt16{719});
        v.value(touch.UniqueID, i == 0 ? 1U : 0xDEADBEEFU);
    });
    v.value(p.Timestamp, 0x11223344);
}

SAMPLE(ClientState, 35, "02 01") {
    v.value(p.DataType, eCLIENTDATATYPE_DayNightMode);
    v.value(p.Value, 1);
}

SAMPLE(PositionInformation, 37, "02 <06 00> '$GPGGA'") {
    v.text(p.NMEA, "$GPGGA", eSTRINGENCODING_ASCII_LATIN1);
}

SAMPLE(SetBlockMode, 39, "03") {
    v.value(p.ModeToSet, eBLOCKMODE_UseWhitelist);
}

SAMPLE(PhoneCallStatusResponse, 51, "04") {
    v.value(p.Status, ePHONECALLSTATUS_Ended);
}

SAMPLE(VehicleData, 55, "78 56 34 12  01 <07 00> '{\"v\":1}'") {
    v.value(p.Key, 0x12345678);
    v.text(p.JSONValue, "{\"v\":1}");
}

SAMPLE(ClientAudio, 59, "04 03 02 01 03 FF") {
    v.value(p.RequestID, 0x01020304);
    v.value(p.Status, eAUDIOSTATUS_Open);
    v.value(p.ResultCode, eAUDIOREQUESTRESULTCODE_UnknownError);
}

SAMPLE(ClientVoiceSupportInfo, 61, "03 01") {
    v.value(p.Value, eVOICESUPPORT_ProtocolTransport);
    v.value(p.Constraint, eVOICESUPPORTCONSTRAINT_MicAndSpeakersTogetherOnly);
}

SAMPLE(ClientVoiceSessionStatus, 63, "03 02") {
    v.value(p.Value, eVOICESESSIONSTATUS_Active);
    v.value(p.Constraint, eVOICESESSIONSTATUSCONSTRAINT_VoiceAlreadyActive);
}

SAMPLE(AudioTypeResponse, 65, "04") {
    v.value(p.CurrentAudioType, eAUDIOTYPE_Chime);
}

SAMPLE(ClientCustomData, 67, "03 00 80 <05 00> DE AD 00 BE EF") {
    v.value(p.Event, eCUSTOMDATAEVENT_Raw);
    v.value(p.Type, 0x8000);
    v.run(p.Length, p.pData, {0xDE, 0xAD, 0x00, 0xBE, 0xEF});
}

SAMPLE(ClientSettings, 69, "'eng'") {
    v.language(p.arrLanguage, "eng");
}

SAMPLE(ClientRequestAppIcon, 71, "40 00 30 00  04 02 04 00 00 00 04  01 <05 00> 'app:a'") {
    v.value(p.Width, 64);
    v.value(p.Height, 48);
    auto& properties = v.record(p.IconProperties);
    v.value(properties.Format, ePIXELFORMAT_RGBA8888);
    v.value(properties.Endianess, ePIXELENDIANESS_LittleEndian);
    v.value(properties.Compression, eFRAMECOMPRESSION_Uncompressed);
    v.value(properties.BytesPerPixel, 4);
    v.text(p.IdentifierURL, "app:a");
}

SAMPLE(ClientStartApp, 73,
       "01 <03 00> 'url'  <01> 01 <01 00> 'k' 01 <02 00> 'vv'"
       "<02> 01 <01 00> 'a' 01 <00 00>  01 <00 00> 02 <01 00> 'b'") {
    v.text(p.IdentifierURL, "url");
    auto& modes = v.record(p.LaunchModes);
    v.list(modes.NumberOfEntries, modes.paEntries, 1, [&v](qrKeyValue& entry, std::size_t) {
        v.text(entry.key, "k");
        v.text(entry.value, "vv");
    });
    auto& options = v.record(p.Options);
    v.list(options.NumberOfEntries, options.paEntries, 2, [&v](qrKeyValue& entry, std::size_t i) {
        v.text(entry.key, i == 0 ? "a" : "");
        v.text(entry.value, i == 0 ? "" : "b",
               i == 0 ? eSTRINGENCODING_UTF8 : eSTRINGENCODING_ASCII_LATIN1);
    });
}

SAMPLE(PingAcknowledge, 129, "07 00 00 00") {
    v.value(p.PacketCounter, 7);
}

}  // namespace quarlo::test

#endif
