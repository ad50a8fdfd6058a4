/* Custom data from the head unit to the phone, and the lists announced in the handshake. */
#include <gtest/gtest.h>

#include "Calls.h"

namespace quarlo::test {
namespace {

using Made = std::function<eReturnCode(void*)>;

UInt8 counted[] = {1, 2, 3, 4, 5, 6, 7, 8};

Made stringCall(unsigned type, unsigned encoding, const std::string& content) {
    return [=](void* h) {
        return quarlo_CustomDataString(h, static_cast<ClientCustomDataStringType>(type),
                                       static_cast<StringEncoding>(encoding), content.c_str());
    };
}

Made intCall(unsigned type, unsigned length) {
    return bound(quarlo_CustomDataInt, static_cast<ClientCustomDataIntType>(type),
                 static_cast<UInt16>(length), counted);
}

Made keyCall(unsigned type, unsigned code) {
    return bound(quarlo_CustomDataKeyTimed, static_cast<ClientCustomDataKeyType>(type),
                 static_cast<ClientCustomDataKeyCode>(code), 0x01020304);
}

Made canCall(unsigned type, unsigned length) {
    return bound(quarlo_CustomDataCan, static_cast<ClientCustomDataCanType>(type), 0xAABBCCDD,
                 static_cast<UInt8>(length), counted);
}

Bytes customData(unsigned event, unsigned type, const Bytes& payload) {
    return packet(67, u8(event) + u16(type) + u16(static_cast<unsigned>(payload.size())) + payload);
}

Lines outside(const std::string& function) {
    return {"WRN quarlo_CustomData" + function + "() called outside RUN state.", "= STATE_NOT_RUN"};
}

const std::string notCreated = "WRN creation of ClientCustomData packet failed.";

TEST(CustomDataCalls, OfTextsAreSent) {
    const auto call = [&](unsigned type, unsigned encoding, const std::string& content,
                          const std::string& sent, const Lines& more) {
        return Sending{stringCall(type, encoding, content),
                       Lines{"INF Client Custom Data String"} + more,
                       customData(1, type, text(sent, encoding)), outside("String")};
    };
    const std::string longest(65532, 's');
    Sending largest = call(2, 1, longest, longest, {});
    largest.failures = {
        largest.lines +
            outOfMemoryLines("cannot allocate data memory for packet ClientCustomData.") +
            "= MEM_ALLOC",
        largest.lines + notCreated + "= PACKET_MEMORY"};
    expectSendings({
        call(1, 1, "AA:BB", "AA:BB", {}),
        call(8, 2, "%s", "%s", {}),
        call(7, 1, "1.2.3", "1.2.3",
             {"INF Type '_IVIFirmwareVersionF' is reserved for Core Version."}),
        call(65534, 1, "x", "x", {"INF CustomDataString called for test control [65534]"}),
        call(2, 1, "", "", {}),
        largest,
        // What does not fit the packet is sent empty.
        call(2, 1, longest + "s", "", {}),
        call(2, 1, std::string(65536 + 4, 's'), "", {}),
        {bound(quarlo_CustomDataString, eCLIENTCUSTOMDATASTRINGTYPE_BTMACAddress,
               eSTRINGENCODING_ASCII_LATIN1, nullptr),
         {"INF Client Custom Data String"},
         customData(1, 1, text("", 2)),
         outside("String")},
    });
}

TEST(CustomDataCalls, OfNumbersKeysAndMessagesAreSent) {
    const auto ofInt = [](unsigned type, const Bytes& value, const char* warning) {
        return Sending{intCall(type, static_cast<unsigned>(value.size())),
                       {"INF Client Custom Data Int", warning},
                       customData(2, type, value),
                       outside("Int")};
    };
    const auto ofKey = [](unsigned type, unsigned code) {
        return Sending{keyCall(type, code),
                       {"INF Client Custom Data Key"},
                       customData(5, type, u8(code) + u32(0x01020304)),
                       outside("Key")};
    };
    const auto ofCan = [](unsigned type, const Bytes& data) {
        const auto length = static_cast<unsigned>(data.size());
        return Sending{canCall(type, length),
                       {"INF Client Custom Data CAN"},
                       customData(4, type, u32(0xAABBCCDD) + u8(length) + data),
                       outside("Can")};
    };
    expectSendings({
        ofInt(65280, {1}, "WRN ScreenTest is for internal use only"),
        ofInt(65024, {1, 2}, "WRN ZelHUTunerClient is for internal use only"),
        ofInt(65281, {1, 2, 3, 4},
              "WRN GetCanAmbientlight is deprecated, use CustomData CAN instead"),
        ofInt(65280, {1, 2, 3, 4, 5, 6, 7, 8}, "WRN ScreenTest is for internal use only"),
        ofKey(1, 1),
        ofKey(6, 33),
        ofCan(1, {}),
        ofCan(1, {1, 2, 3}),
        ofCan(65281, {1, 2, 3, 4, 5, 6, 7, 8}),
    });
}

TEST(CustomDataCalls, OfBlocksAreSent) {
    static UInt8 most[65535] = {0xEE};
    const Lines head{"INF Client Custom Data Raw"};
    const Lines empty = head +
                        "INF quarlo_CustomDataRaw() called with 0/NULL length/pointer to value; "
                        "will send empty data.";
    const std::string masked = "WRN type opcode (highest nibble) shall be 0 (mask 0x0FFF)";
    const auto call = [](unsigned identifier, unsigned length, UInt8* data, const Lines& lines,
                         const Bytes& sent) {
        return Sending{bound(quarlo_CustomDataRaw, static_cast<UInt16>(identifier),
                             static_cast<UInt16>(length), data),
                       lines, customData(3, identifier & 0x0FFF, sent), outside("Raw")};
    };
    Sending largest = call(1, 65535, most, head, Bytes(most, most + 65535));
    largest.failures = {head + notCreated + "= PACKET_MEMORY"};
    expectSendings({call(0x0FFF, 3, counted, head, {1, 2, 3}),
                    call(0x1000, 1, counted, head + masked, {1}), call(5, 0, counted, empty, {}),
                    call(0xFFFF, 65535, nullptr, empty + masked, {}), largest});
}

TEST(CustomDataCalls, RefuseWhatTheirChannelDoesNotHave) {
    Session session;
    const auto refuse = [&](const char* channel, const char* what,
                            std::initializer_list<unsigned> values, auto call,
                            const Lines& more = {}) {
        for (const unsigned value : values) {
            const bool isCan = std::string("Can") == channel;
            const std::string line = std::string("WRN CustomData '") + channel +
                                     "' called with invalid " + what + " " + std::to_string(value);
            EXPECT_EQ(session.during([&] { return call(value)(session.handle()); }),
                      Lines{std::string("INF Client Custom Data ") + (isCan ? "CAN" : channel)} +
                          more + line + "= PARAM_VALUE");
        }
    };
    refuse("String", "type value", {0, 9, 65533, 65535},
           [](unsigned type) { return stringCall(type, 1, "x"); });
    refuse("String", "encoding value", {0, 3},
           [](unsigned encoding) { return stringCall(1, encoding, "x"); });
    refuse("Int", "type value", {0, 1, 65279, 65025, 65282},
           [](unsigned type) { return intCall(type, 1); });
    refuse("Int", "length value", {0, 3, 5, 7, 9, 65535},
           [](unsigned length) { return intCall(65280, length); },
           {"WRN ScreenTest is for internal use only"});
    refuse("Key", "type value", {0, 7, 65535}, [](unsigned type) { return keyCall(type, 1); });
    // The text shows the type, not the code.
    refuse("Key", "code value", {6}, [](unsigned type) { return keyCall(type, 0); });
    refuse("Key", "code value", {6}, [](unsigned type) { return keyCall(type, 15); });
    refuse("Can", "type value", {0, 2, 65280}, [](unsigned type) { return canCall(type, 0); });
    refuse("Can", "data length code", {9, 255}, [](unsigned length) { return canCall(1, length); });

    EXPECT_EQ(
        session.call(quarlo_CustomDataInt, eCLIENTCUSTOMDATAINTTYPE_ScreenTest, 4, nullptr),
        (Lines{"WRN quarlo_CustomDataInt() called with NULL pointer to value.", "= NULL_PARAM"}));
    // Judged before the state.
    Idle idle;
    for (Session* any : {&session, static_cast<Session*>(&idle)}) {
        EXPECT_EQ(any->call(quarlo_CustomDataCan, eCLIENTCUSTOMDATACANTYPE_Generic, 1, 1, nullptr),
                  Lines{"= NULL_PARAM"});
    }
}

TEST(CustomDataCalls, OfAKeySendThePresentTime) {
    Session session;
    const UInt32 before = quarlo_GetTimestamp();
    quarlo_CustomDataKey(session.handle(), eCLIENTCUSTOMDATAKEYTYPE_Click,
                         eCLIENTCUSTOMDATAKEYCODE_Ok);
    const UInt32 span = quarlo_GetTimestamp() - before;
    const Bytes sent = session.host.sent().back();
    EXPECT_EQ(part(sent, 0, 15), part(customData(5, 4, u8(12) + u32(0)), 0, 15));
    EXPECT_LE(numberAt(sent, 15) - before, span);
}

/* ---- what the handshake announces ---- */

TEST(CustomKeys, OfTheProtocolAreValid) {
    for (unsigned code = 0; code < 256; ++code) {
        const bool isValid =
            (code >= 1 && code <= 14) || code == 20 || code == 21 || (code >= 30 && code <= 33);
        EXPECT_EQ(
            quarlo_IsClientCustomDataKeyCodeValid(static_cast<ClientCustomDataKeyCode>(code)) != 0,
            isValid)
            << code;
    }
}

Lines setKeys(Session& session, const Bytes& codes) {
    std::vector<ClientCustomDataKeyCode> keys;
    for (const unsigned code : codes) keys.push_back(static_cast<ClientCustomDataKeyCode>(code));
    const Lines lines =
        session.call(quarlo_SetCustomKeysSupported, static_cast<UInt8>(keys.size()), keys.data());
    const quarlo_CoreInstance& record = *session.record();
    EXPECT_EQ(record.customKeyList == nullptr, record.numberOfCustomKeys == 0);
    return lines;
}

Bytes keysOf(const Session& session) {
    const quarlo_CoreInstance& record = *session.record();
    return {record.customKeyList, record.customKeyList + record.numberOfCustomKeys};
}

TEST(CustomKeys, AreStoredAsFarAsTheyAreValid) {
    Idle idle;
    EXPECT_EQ(setKeys(idle, {1, 15, 33}),
              (Lines{"INF SetCustomKeysSupported()", "VER 3 CustomKeys supported",
                     "VER    1 PushToTalk", "VER    15 unknown", "VER    33 DPadRight",
                     "INF ignored unknown key code 15 (0x0F)", "= PARAM_VALUE"}));
    EXPECT_EQ(keysOf(idle), (Bytes{1, 33}));
    EXPECT_EQ(setKeys(idle, {0, 255}).back(), "= PARAM_VALUE");
    EXPECT_EQ(keysOf(idle), Bytes{});
    setKeys(idle, Bytes(255, 12));
    EXPECT_EQ(idle.call(quarlo_SetCustomKeysSupported, 1, nullptr), Lines{"= NULL_PARAM"});
    EXPECT_EQ(keysOf(idle), Bytes(255, 12));
    const Lines lines = withoutMemory(1, [&] { return setKeys(idle, {3}); });
    EXPECT_EQ(Lines(lines.end() - 2, lines.end()),
              (Lines{"ERR error allocating CustomDataKey list", "= MEM_ALLOC"}));
    EXPECT_EQ(keysOf(idle), Bytes{});
    setKeys(idle, {1});
    setKeys(idle, {});
    EXPECT_EQ(keysOf(idle), Bytes{});
    Session session;
    EXPECT_EQ(setKeys(session, {1}),
              (Lines{"INF SetCustomKeysSupported()",
                     "WRN cannot set or change CustomKey list while running.", "= NOT_ALLOWED"}));
    EXPECT_EQ(keysOf(session), Bytes{});
}

TEST(CustomData, KeysAndTypesAreAnnouncedInTheHandshake) {
    Idle idle;
    ClientCustomDataIntType types[] = {eCLIENTCUSTOMDATAINTTYPE_ScreenTest,
                                       static_cast<ClientCustomDataIntType>(7)};
    const Lines traced{"INF Supported Custom Data"};
    EXPECT_EQ(idle.call(quarlo_SetSupportedCustomData, 1, types), traced);
    EXPECT_EQ(withoutMemory(1,
                            [&] {
                                return idle.during([&] {
                                    return _quarlo_fillSupportedCustomDataList(idle.record(), 1,
                                                                               types);
                                });
                            }),
              Lines{"= MEM_ALLOC"});
    EXPECT_EQ(idle.record()->supportedCustomData.Length, 0);
    EXPECT_EQ(idle.record()->supportedCustomData.pSupported, nullptr);
    EXPECT_EQ(_quarlo_fillSupportedCustomDataList(nullptr, 1, types), eRETURN_NULL_PARAM);
    EXPECT_EQ(idle.call(quarlo_SetSupportedCustomData, 2, types), traced);
    // These change nothing.
    EXPECT_EQ(idle.call(quarlo_SetSupportedCustomData, 0, types), traced);
    EXPECT_EQ(idle.call(quarlo_SetSupportedCustomData, 2, nullptr), traced);
    setKeys(idle, {1, 33});
    idle.host.run();
    const Bytes clientInit = idle.host.sent()[1];
    const Bytes tail = u8(2) + u16(65280) + u16(7) + u8(2) + u8(1) + u8(33);
    EXPECT_EQ(clientInit[0], eEVENTTYPE_ClientInit);
    EXPECT_EQ(part(clientInit, clientInit.size() - tail.size(), clientInit.size()), tail);
}

}  // namespace
}  // namespace quarlo::test
