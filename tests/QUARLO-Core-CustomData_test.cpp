/* Custom data from the head unit to the phone, and the lists announced in the handshake. */
#include <gtest/gtest.h>

#include <set>

#include "Calls.h"

namespace quarlo::test {
namespace {

template <class E>
constexpr E as(unsigned value) {
    return static_cast<E>(value);
}

std::function<eReturnCode(void*)> stringCall(unsigned type, unsigned encoding,
                                             const std::string& content) {
    return [=](void* h) {
        return quarlo_CustomDataString(h, as<ClientCustomDataStringType>(type),
                                       as<StringEncoding>(encoding), content.c_str());
    };
}

std::function<eReturnCode(void*)> intCall(unsigned type, Bytes value) {
    return [=](void* h) mutable {
        return quarlo_CustomDataInt(h, as<ClientCustomDataIntType>(type),
                                    static_cast<UInt16>(value.size()), value.data());
    };
}

std::function<eReturnCode(void*)> keyCall(unsigned type, unsigned code) {
    return [=](void* h) {
        return quarlo_CustomDataKeyTimed(h, as<ClientCustomDataKeyType>(type),
                                         as<ClientCustomDataKeyCode>(code), 0x01020304);
    };
}

std::function<eReturnCode(void*)> canCall(unsigned type, Bytes data) {
    return [=](void* h) mutable {
        return quarlo_CustomDataCan(h, as<ClientCustomDataCanType>(type), 0xAABBCCDD,
                                    static_cast<UInt8>(data.size()), data.data());
    };
}

std::function<eReturnCode(void*)> rawCall(unsigned identifier, unsigned length, Bytes data) {
    return [=](void* h) mutable {
        return quarlo_CustomDataRaw(h, static_cast<UInt16>(identifier), static_cast<UInt16>(length),
                                    data.empty() ? nullptr : data.data());
    };
}

Bytes customData(unsigned event, unsigned type, const Bytes& payload) {
    return packet(67, u8(event) + u16(type) + u16(static_cast<unsigned>(payload.size())) + payload);
}

/** A channel's call: its lines after the channel's own, and its packet. */
Call channel(const char* name, const char* function, std::function<eReturnCode(void*)> call,
             const Lines& lines, const Bytes& sent) {
    Call result{name, std::move(call), lines, sent, {}, {}};
    result.outside = {{std::string("WRN ") + function + "() called outside RUN state."},
                      eRETURN_STATE_NOT_RUN};
    return result;
}

const Lines notCreated{"WRN creation of ClientCustomData packet failed."};

std::vector<Call> stringCalls() {
    const auto call = [&](unsigned type, unsigned encoding, const std::string& content,
                          const std::string& sent, const Lines& more) {
        return channel("string", "quarlo_CustomDataString", stringCall(type, encoding, content),
                       Lines{"INF Client Custom Data String"} + more,
                       customData(1, type, text(sent, encoding)));
    };
    const std::string longest(65532, 's');
    std::vector<Call> calls{
        call(1, 1, "AA:BB", "AA:BB", {}), call(8, 2, "%s", "%s", {}),
        call(7, 1, "1.2.3", "1.2.3",
             {"INF Type '_IVIFirmwareVersionF' is reserved for Core Version."}),
        call(65534, 1, "x", "x", {"INF CustomDataString called for test control [65534]"}),
        call(2, 1, "", "", {}), call(2, 1, longest, longest, {}),
        // What does not fit the packet is sent empty.
        call(2, 1, longest + "s", "", {}), call(2, 1, std::string(65536, 's'), "", {}),
        call(2, 1, std::string(65540, 's'), "", {})};
    Call& largest = calls[5];
    const char* const memory = "cannot allocate data memory for packet ClientCustomData.";
    largest.failures = {{largest.lines + outOfMemoryLines(memory), eRETURN_MEM_ALLOC},
                        {largest.lines + notCreated, eRETURN_PACKET_MEMORY}};
    return calls;
}

std::vector<Call> intCalls() {
    const auto call = [](unsigned type, const Bytes& value, const char* warning) {
        return channel("int", "quarlo_CustomDataInt", intCall(type, value),
                       {"INF Client Custom Data Int", warning}, customData(2, type, value));
    };
    return {call(65280, {1}, "WRN ScreenTest is for internal use only"),
            call(65024, {1, 2}, "WRN ZelHUTunerClient is for internal use only"),
            call(65281, {1, 2, 3, 4},
                 "WRN GetCanAmbientlight is deprecated, use CustomData CAN instead"),
            call(65280, {1, 2, 3, 4, 5, 6, 7, 8}, "WRN ScreenTest is for internal use only")};
}

std::vector<Call> keyCalls() {
    std::vector<Call> calls;
    for (const unsigned code : {1U, 14U, 20U, 21U, 30U, 33U}) {
        const unsigned type = code % 6 + 1;
        calls.push_back(channel("key", "quarlo_CustomDataKey", keyCall(type, code),
                                {"INF Client Custom Data Key"},
                                customData(5, type, u8(code) + u32(0x01020304))));
    }
    return calls;
}

std::vector<Call> canCalls() {
    const auto call = [](unsigned type, const Bytes& data) {
        return channel(
            "can", "quarlo_CustomDataCan", canCall(type, data), {"INF Client Custom Data CAN"},
            customData(4, type, u32(0xAABBCCDD) + u8(static_cast<unsigned>(data.size())) + data));
    };
    return {call(1, {}), call(1, {1, 2, 3}), call(65281, {1, 2, 3, 4, 5, 6, 7, 8})};
}

std::vector<Call> rawCalls() {
    const Lines head{"INF Client Custom Data Raw"};
    const Lines empty{
        "INF quarlo_CustomDataRaw() called with 0/NULL length/pointer to value; will "
        "send empty data."};
    const Lines masked{"WRN type opcode (highest nibble) shall be 0 (mask 0x0FFF)"};
    const char* const function = "quarlo_CustomDataRaw";
    const Bytes most(65535, 0xEE);
    std::vector<Call> calls{
        channel("raw", function, rawCall(0x0FFF, 3, {1, 2, 3}), head,
                customData(3, 0x0FFF, {1, 2, 3})),
        channel("raw masked", function, rawCall(0x1000, 1, {9}), head + masked,
                customData(3, 0, {9})),
        channel("raw empty", function, rawCall(5, 0, {9}), head + empty, customData(3, 5, {})),
        channel("raw without data", function, rawCall(0xFFFF, 65535, {}), head + empty + masked,
                customData(3, 0x0FFF, {})),
        channel("raw of the most", function, rawCall(1, 65535, most), head,
                customData(3, 1, most))};
    calls.back().failures = {{head + notCreated, eRETURN_PACKET_MEMORY}};
    return calls;
}

std::vector<Call> allCalls() {
    std::vector<Call> calls;
    for (const auto& more : {stringCalls(), intCalls(), keyCalls(), canCalls(), rawCalls()}) {
        calls.insert(calls.end(), more.begin(), more.end());
    }
    return calls;
}

TEST(CustomDataCalls, InRunSendAtOnce) {
    expectSentInRun(allCalls());
}

TEST(CustomDataCalls, OutsideRunWarnAndSendNothing) {
    expectNothingSentOutsideRun(allCalls());
}

TEST(CustomDataCalls, NeedMemoryOnlyForLongContents) {
    expectFailuresWithoutMemory(allCalls());
}

TEST(CustomDataCalls, RefuseWhatTheirChannelDoesNotHave) {
    struct Refusal {
        std::function<eReturnCode(void*)> call;
        Lines lines;
        eReturnCode result;
    };
    const std::string head = "INF Client Custom Data ";
    std::vector<Refusal> refusals;
    const auto add = [&](std::function<eReturnCode(void*)> call, const Lines& lines) {
        refusals.push_back({std::move(call), lines, eRETURN_PARAM_VALUE});
    };
    for (const unsigned type : {0U, 9U, 65533U, 65535U}) {
        add(stringCall(type, 1, "x"),
            {head + "String",
             "WRN CustomData 'String' called with invalid type value " + std::to_string(type)});
    }
    for (const unsigned encoding : {0U, 3U, 255U}) {
        add(stringCall(1, encoding, "x"),
            {head + "String", "WRN CustomData 'String' called with invalid encoding value " +
                                  std::to_string(encoding)});
    }
    for (const unsigned type : {0U, 1U, 65279U, 65025U, 65282U}) {
        add(intCall(type, {1}), {head + "Int",
                                 "WRN CustomData 'Int' called with invalid type "
                                 "value " +
                                     std::to_string(type)});
    }
    for (const unsigned length : {0U, 3U, 5U, 7U, 9U, 65535U}) {
        Bytes value(length + 1);
        add(
            [value, length](void* h) mutable {
                return quarlo_CustomDataInt(h, eCLIENTCUSTOMDATAINTTYPE_ScreenTest,
                                            static_cast<UInt16>(length), value.data());
            },
            {head + "Int", "WRN ScreenTest is for internal use only",
             "WRN CustomData 'Int' called with invalid length value " + std::to_string(length)});
    }
    for (const unsigned type : {0U, 7U, 65535U}) {
        add(keyCall(type, 1),
            {head + "Key",
             "WRN CustomData 'Key' called with invalid type value " + std::to_string(type)});
    }
    // The text shows the type, not the code.
    for (const unsigned code : {0U, 15U, 255U}) {
        add(keyCall(6, code),
            {head + "Key", "WRN CustomData 'Key' called with invalid code value 6"});
    }
    for (const unsigned type : {0U, 2U, 65280U}) {
        add(canCall(type, {}),
            {head + "CAN",
             "WRN CustomData 'Can' called with invalid type value " + std::to_string(type)});
    }
    for (const unsigned code : {9U, 255U}) {
        add(canCall(1, Bytes(code)),
            {head + "CAN",
             "WRN CustomData 'Can' called with invalid data length code " + std::to_string(code)});
    }
    refusals.push_back({[](void* h) {
                            return quarlo_CustomDataInt(h, eCLIENTCUSTOMDATAINTTYPE_ScreenTest, 4,
                                                        nullptr);
                        },
                        {"WRN quarlo_CustomDataInt() called with NULL pointer to value."},
                        eRETURN_NULL_PARAM});
    const auto canWithoutData = [](void* h) {
        return quarlo_CustomDataCan(h, eCLIENTCUSTOMDATACANTYPE_Generic, 1, 1, nullptr);
    };
    refusals.push_back({canWithoutData, {}, eRETURN_NULL_PARAM});

    const Library library;
    Session session;
    for (const Refusal& r : refusals) {
        const long before = allocations::live();
        EXPECT_EQ(session.during([&] { EXPECT_EQ(r.call(session.handle()), r.result); }), r.lines);
        EXPECT_EQ(allocations::live(), before);
        EXPECT_TRUE(session.sent().empty());
    }
    // Judged before the state.
    Host idle;
    EXPECT_EQ(canWithoutData(idle.handle()), eRETURN_NULL_PARAM);
    EXPECT_EQ(quarlo_CustomDataInt(idle.handle(), eCLIENTCUSTOMDATAINTTYPE_ScreenTest, 4, nullptr),
              eRETURN_STATE_NOT_RUN);
}

TEST(CustomDataCalls, SendANullTextEmptyAndAKeyWithThePresentTime) {
    const Library library;
    Session session;
    EXPECT_EQ(quarlo_CustomDataString(session.handle(), eCLIENTCUSTOMDATASTRINGTYPE_BTMACAddress,
                                      eSTRINGENCODING_ASCII_LATIN1, nullptr),
              eRETURN_OKAY);
    EXPECT_EQ(session.sent(), hexes({customData(1, 1, text("", 2))}));
    session.forget();
    const UInt32 before = quarlo_GetTimestamp();
    EXPECT_EQ(quarlo_CustomDataKey(session.handle(), eCLIENTCUSTOMDATAKEYTYPE_Click,
                                   eCLIENTCUSTOMDATAKEYCODE_Ok),
              eRETURN_OKAY);
    const UInt32 after = quarlo_GetTimestamp();
    const std::vector<Bytes> sent = session.host.sent();
    ASSERT_EQ(sent.size(), 1U);
    bool isPresent = false;
    for (UInt32 time = before; !isPresent && time != after + 1; ++time) {
        isPresent = sent[0] == customData(5, 4, u8(12) + u32(time));
    }
    EXPECT_TRUE(isPresent) << hex(sent[0]);
}

/* ---- what the handshake announces ---- */

std::vector<ClientCustomDataKeyCode> keysOf(const quarlo_CoreInstance& record) {
    return {record.customKeyList, record.customKeyList + record.numberOfCustomKeys};
}

eReturnCode setKeys(void* handle, std::vector<unsigned> codes) {
    std::vector<ClientCustomDataKeyCode> keys;
    for (const unsigned code : codes) keys.push_back(as<ClientCustomDataKeyCode>(code));
    return quarlo_SetCustomKeysSupported(handle, static_cast<UInt8>(keys.size()), keys.data());
}

TEST(CustomKeys, OfTheProtocolAreValid) {
    const std::set<unsigned> valid{1,  2,  3,  4,  5,  6,  7,  8,  9,  10,
                                   11, 12, 13, 14, 20, 21, 30, 31, 32, 33};
    for (unsigned code = 0; code < 256; ++code) {
        EXPECT_EQ(quarlo_IsClientCustomDataKeyCodeValid(as<ClientCustomDataKeyCode>(code)),
                  valid.count(code))
            << code;
    }
}

TEST(CustomKeys, AreStoredAsFarAsTheyAreValid) {
    const Library library;
    Host host;
    EXPECT_EQ(setKeys(host.handle(), {1, 15, 33}), eRETURN_PARAM_VALUE);
    EXPECT_EQ(host.lines(),
              (Lines{"INF SetCustomKeysSupported()", "VER 3 CustomKeys supported",
                     "VER    1 PushToTalk", "VER    15 unknown", "VER    33 DPadRight",
                     "INF ignored unknown key code 15 (0x0F)"}));
    EXPECT_EQ(keysOf(*host.record()),
              (std::vector<ClientCustomDataKeyCode>{as<ClientCustomDataKeyCode>(1),
                                                    as<ClientCustomDataKeyCode>(33)}));
    EXPECT_EQ(setKeys(host.handle(), {0, 255}), eRETURN_PARAM_VALUE);
    EXPECT_EQ(host.record()->customKeyList, nullptr);
    EXPECT_EQ(setKeys(host.handle(), std::vector<unsigned>(255, 12)), eRETURN_OKAY);
    EXPECT_EQ(keysOf(*host.record()).size(), 255U);
    EXPECT_EQ(quarlo_SetCustomKeysSupported(host.handle(), 1, nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(keysOf(*host.record()).size(), 255U);
    EXPECT_EQ(quarlo_SetCustomKeysSupported(host.handle(), 0, nullptr), eRETURN_OKAY);
    EXPECT_EQ(host.record()->customKeyList, nullptr);
    EXPECT_EQ(host.record()->numberOfCustomKeys, 0);
}

TEST(CustomKeys, WithoutMemoryAreNone) {
    const Library library;
    Host host;
    EXPECT_EQ(setKeys(host.handle(), {1, 2}), eRETURN_OKAY);
    host.forgetLines();
    allocations::restart(1);
    EXPECT_EQ(setKeys(host.handle(), {3}), eRETURN_MEM_ALLOC);
    allocations::restart();
    EXPECT_EQ(host.lines().back(), "ERR error allocating CustomDataKey list");
    EXPECT_EQ(host.record()->customKeyList, nullptr);
    EXPECT_EQ(host.record()->numberOfCustomKeys, 0);
}

TEST(CustomKeys, ChangeOnlyWhileStopped) {
    const Library library;
    Session session;
    EXPECT_EQ(
        session.during([&] { EXPECT_EQ(setKeys(session.handle(), {1}), eRETURN_NOT_ALLOWED); }),
        (Lines{"INF SetCustomKeysSupported()",
               "WRN cannot set or change CustomKey list while running."}));
    EXPECT_EQ(session.host.record()->customKeyList, nullptr);
}

TEST(CustomData, KeysAndTypesAreAnnouncedInTheHandshake) {
    const Library library;
    Host host;
    ClientCustomDataIntType types[] = {eCLIENTCUSTOMDATAINTTYPE_ScreenTest,
                                       as<ClientCustomDataIntType>(7)};
    quarlo_SetSupportedCustomData(host.handle(), 1, types);
    quarlo_SetSupportedCustomData(host.handle(), 2, types);
    EXPECT_EQ(host.lines(), (Lines{"INF Supported Custom Data", "INF Supported Custom Data"}));
    // These change nothing.
    quarlo_SetSupportedCustomData(host.handle(), 0, types);
    quarlo_SetSupportedCustomData(host.handle(), 2, nullptr);
    EXPECT_EQ(setKeys(host.handle(), {1, 33}), eRETURN_OKAY);
    host.run();
    const Bytes tail = u8(2) + u16(65280) + u16(7) + u8(2) + u8(1) + u8(33);
    bool isAnnounced = false;
    for (const Bytes& bytes : host.sent()) {
        if (bytes[0] != 11) continue;
        ASSERT_GT(bytes.size(), tail.size());
        isAnnounced =
            Bytes(bytes.end() - static_cast<std::ptrdiff_t>(tail.size()), bytes.end()) == tail;
    }
    EXPECT_TRUE(isAnnounced);
}

TEST(CustomData, TypesWithoutMemoryAreNone) {
    const Library library;
    Host host;
    ClientCustomDataIntType types[] = {eCLIENTCUSTOMDATAINTTYPE_ScreenTest};
    quarlo_SetSupportedCustomData(host.handle(), 1, types);
    allocations::restart(1);
    EXPECT_EQ(_quarlo_fillSupportedCustomDataList(host.record(), 1, types), eRETURN_MEM_ALLOC);
    allocations::restart();
    EXPECT_EQ(host.record()->supportedCustomData.Length, 0);
    EXPECT_EQ(host.record()->supportedCustomData.pSupported, nullptr);
    EXPECT_EQ(_quarlo_fillSupportedCustomDataList(nullptr, 1, types), eRETURN_NULL_PARAM);
}

}  // namespace
}  // namespace quarlo::test
