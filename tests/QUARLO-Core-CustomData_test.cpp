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

const std::string notCreated = "WRN creation of ClientCustomData packet failed.";

/** The calls of a channel, in the spelling of its functions and its traces. */
struct Channel {
    const char* function;
    const char* name;
    unsigned event;

    [[nodiscard]] Lines head() const { return {std::string("INF Client Custom Data ") + name}; }
    [[nodiscard]] Sending sends(Made call, unsigned type, const Bytes& payload,
                                const Lines& more = {},
                                const std::vector<Lines>& failures = {}) const {
        Sending sending{std::move(call), head() + more, customData(event, type, payload),
                        Lines{std::string("WRN quarlo_CustomData") + function +
                              "() called outside RUN state."} +
                            "= STATE_NOT_RUN"};
        for (const Lines& failure : failures) sending.failures.insert(sending.lines + failure);
        return sending;
    }
};

constexpr Channel strings{"String", "String", 1};
constexpr Channel ints{"Int", "Int", 2};
constexpr Channel raws{"Raw", "Raw", 3};
constexpr Channel cans{"Can", "CAN", 4};
constexpr Channel keys{"Key", "Key", 5};

TEST(CustomDataCalls, OfTextsAreSent) {
    const auto call = [](unsigned type, unsigned encoding, const std::string& content,
                         const std::string& sent, const Lines& more = {},
                         const std::vector<Lines>& failures = {}) {
        return strings.sends(stringCall(type, encoding, content), type, text(sent, encoding), more,
                             failures);
    };
    const std::string longest(65532, 's');
    const Lines noMemory =
        outOfMemoryLines("cannot allocate data memory for packet ClientCustomData.");
    const Lines reserved{"INF Type '_IVIFirmwareVersionF' is reserved for Core Version."};
    expectSendings({
        call(1, 1, "AA:BB", "AA:BB"),
        call(8, 2, "%s", "%s"),
        call(7, 1, "1.2.3", "1.2.3", reserved),
        call(65534, 1, "x", "x", {"INF CustomDataString called for test control [65534]"}),
        call(2, 1, "", ""),
        call(2, 1, longest, longest, {},
             {noMemory + "= MEM_ALLOC", Lines{notCreated} + "= PACKET_MEMORY"}),
        // What does not fit the packet is sent empty.
        call(2, 1, longest + "s", ""),
        call(2, 1, std::string(65536 + 4, 's'), ""),
        strings.sends(bound(quarlo_CustomDataString, eCLIENTCUSTOMDATASTRINGTYPE_BTMACAddress,
                            eSTRINGENCODING_ASCII_LATIN1, nullptr),
                      1, text("", 2)),
    });
}

TEST(CustomDataCalls, OfNumbersKeysAndMessagesAreSent) {
    const Lines screen{"WRN ScreenTest is for internal use only"};
    const Lines tuner{"WRN ZelHUTunerClient is for internal use only"};
    const Lines light{"WRN GetCanAmbientlight is deprecated, use CustomData CAN instead"};
    const Bytes id = u32(0xAABBCCDD);
    const Bytes eight{1, 2, 3, 4, 5, 6, 7, 8};
    expectSendings({
        ints.sends(intCall(65280, 1), 65280, {1}, screen),
        ints.sends(intCall(65024, 2), 65024, {1, 2}, tuner),
        ints.sends(intCall(65281, 4), 65281, {1, 2, 3, 4}, light),
        ints.sends(intCall(65280, 8), 65280, eight, screen),
        keys.sends(keyCall(1, 1), 1, u8(1) + u32(0x01020304)),
        keys.sends(keyCall(6, 33), 6, u8(33) + u32(0x01020304)),
        cans.sends(canCall(1, 0), 1, id + u8(0)),
        cans.sends(canCall(1, 3), 1, id + Bytes{3, 1, 2, 3}),
        cans.sends(canCall(65281, 8), 65281, id + u8(8) + eight),
    });
}

TEST(CustomDataCalls, OfBlocksAreSent) {
    static UInt8 most[65535] = {0xEE};
    const Lines empty{
        "INF quarlo_CustomDataRaw() called with 0/NULL length/pointer to value; will send empty "
        "data."};
    const Lines masked{"WRN type opcode (highest nibble) shall be 0 (mask 0x0FFF)"};
    expectSendings({
        raws.sends(bound(quarlo_CustomDataRaw, 0x0FFF, 3, counted), 0x0FFF, {1, 2, 3}),
        raws.sends(bound(quarlo_CustomDataRaw, 0x1000, 1, counted), 0, {1}, masked),
        raws.sends(bound(quarlo_CustomDataRaw, 5, 0, counted), 5, {}, empty),
        raws.sends(bound(quarlo_CustomDataRaw, 0xFFFF, 65535, nullptr), 0x0FFF, {}, empty + masked),
        raws.sends(bound(quarlo_CustomDataRaw, 1, 65535, most), 1, Bytes(most, most + 65535), {},
                   {Lines{notCreated} + "= PACKET_MEMORY"}),
    });
}

TEST(CustomDataCalls, RefuseWhatTheirChannelDoesNotHave) {
    Session session;
    const auto refuse = [&](const Channel& channel, const char* what, const auto& call,
                            std::initializer_list<unsigned> values, const Lines& more = {}) {
        for (const unsigned value : values) {
            EXPECT_EQ(session.during([&] { return call(value)(session.handle()); }),
                      channel.head() + more +
                          (std::string("WRN CustomData '") + channel.function +
                           "' called with invalid " + what + " " + std::to_string(value)) +
                          "= PARAM_VALUE");
        }
    };
    const auto string = [](unsigned type) { return stringCall(type, 1, "x"); };
    const auto encoded = [](unsigned encoding) { return stringCall(1, encoding, "x"); };
    const auto number = [](unsigned type) { return intCall(type, 1); };
    const auto numbers = [](unsigned length) { return intCall(65280, length); };
    const auto key = [](unsigned type) { return keyCall(type, 1); };
    const auto unknownKey = [](unsigned type) { return keyCall(type, type == 6 ? 0 : 15); };
    const auto can = [](unsigned type) { return canCall(type, 0); };
    const auto cansOf = [](unsigned length) { return canCall(1, length); };
    refuse(strings, "type value", string, {0, 9, 65533, 65535});
    refuse(strings, "encoding value", encoded, {0, 3});
    refuse(ints, "type value", number, {0, 1, 65279, 65025, 65282});
    refuse(ints, "length value", numbers, {0, 3, 5, 7, 9, 65535},
           {"WRN ScreenTest is for internal use only"});
    refuse(keys, "type value", key, {0, 7, 65535});
    // The text shows the type, not the code.
    refuse(keys, "code value", unknownKey, {5, 6});
    refuse(cans, "type value", can, {0, 2, 65280});
    refuse(cans, "data length code", cansOf, {9, 255});
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
    std::vector<ClientCustomDataKeyCode> list;
    for (const unsigned code : codes) list.push_back(static_cast<ClientCustomDataKeyCode>(code));
    const Lines lines =
        session.call(quarlo_SetCustomKeysSupported, static_cast<UInt8>(list.size()), list.data());
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
