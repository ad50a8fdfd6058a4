/* Custom data from the phone to the head unit: texts, integers, keys and CAN messages. */
#include <gtest/gtest.h>

#include "Calls.h"

namespace quarlo::test {
namespace {

void listenToAll(Session& session) {
    session.listenTo<Callback::CustomDataString>(quarlo_SetCustomDataStringCallback);
    session.listenTo<Callback::CustomDataInt>(quarlo_SetCustomDataIntCallback);
    session.listenTo<Callback::CustomDataKey>(quarlo_SetCustomDataKeyCallback);
    session.listenTo<Callback::CustomDataCan>(quarlo_SetCustomDataCanCallback);
}

Bytes message(unsigned event, unsigned type, const Bytes& payload) {
    return packet(68, u8(event) + u16(type) + u16(static_cast<unsigned>(payload.size())) + payload);
}

constexpr unsigned strings = 1;
constexpr unsigned ints = 2;
constexpr unsigned cans = 4;
constexpr unsigned keys = 5;

struct Message {
    unsigned event;
    unsigned type;
    Bytes payload;
    Lines lines;  // after the packet's own

    [[nodiscard]] Bytes wire() const { return message(event, type, payload); }
    [[nodiscard]] Lines head() const {
        constexpr const char* names[] = {"unknown", "String", "Int", "Raw", "Can", "Key"};
        return {std::string("INF ServerCustomData event=") + names[event < 6 ? event : 0]};
    }
};

const Message accepted[] = {
    {strings, 1, text("Car"), {"CustomDataString 1 1 Car"}},
    {strings, 2, text("%n%s", 2), {"CustomDataString 2 2 %n%s"}},
    {strings, 1, text("", 99), {"CustomDataString 1 99 "}},
    {strings, 1, text("two") + Bytes{1, 2}, {"CustomDataString 1 1 two"}},
    {keys, 1, {1}, {"CustomDataKey 1 1"}},
    {keys, 6, {10}, {"CustomDataKey 6 10"}},
    {keys, 3, {11}, {"CustomDataKey 3 11"}},
    {cans, 1, u32(7) + u8(0), {"CustomDataCan 1 7 0 -"}},
    {cans,
     65281,
     u32(0xFFFFFFFF) + u8(8) + Bytes{1, 2, 3, 4, 5, 6, 7, 8},
     {"CustomDataCan 65281 4294967295 8 [ 1 2 3 4 5 6 7 8 ]"}},
    {cans, 1, u32(7) + u8(1) + Bytes{1, 2, 3}, {"CustomDataCan 1 7 1 [ 1 ]"}},
    {ints,
     65024,
     {9, 8},
     {"WRN ZelHUTunerServer is for internal use only", "CustomDataInt 65024 2 [ 9 8 ]"}},
    {ints,
     65281,
     {9},
     {"WRN SetCanAmbientlight is deprecated, use CustomData CAN instead",
      "CustomDataInt 65281 1 [ 9 ]"}},
    {ints, 1, {1, 2, 3, 4}, {"CustomDataInt 1 4 [ 1 2 3 4 ]"}},
    {ints, 6, {1, 2, 3, 4, 5, 6, 7, 8}, {"CustomDataInt 6 8 [ 1 2 3 4 5 6 7 8 ]"}}};

std::vector<Message> refused() {
    const char* const low = "WRN unexpected low length in ProcessCustomDataString";
    const char* const keyLength =
        "WRN _quarlo_ProcessCustomDataKey() called with wrong length information";
    const auto canLength = [](std::size_t length) {
        return "WRN _quarlo_ProcessCustomDataCan() called with wrong length information 5 <= " +
               std::to_string(length) + " <= 13";
    };
    const auto null = [](const std::string& event) {
        return "WRN _quarlo_ProcessCustomData" + event + "() called with NULL data";
    };
    std::vector<Message> messages{{strings, 1, {1}, {low}},
                                  {strings, 1, {1, 0}, {low}},
                                  // The text claims more than its message holds.
                                  {strings, 1, {1, 1, 0}, {low}},
                                  {strings, 1, u8(1) + u16(65535) + Bytes(65532, 'x'), {low}},
                                  {keys, 1, {1, 1}, {keyLength}},
                                  {cans, 1, Bytes(4), {canLength(4)}},
                                  {cans, 1, Bytes(14), {canLength(14)}},
                                  {cans, 1, u32(1) + u8(1), {canLength(5)}},
                                  {cans, 1, u32(1) + u8(255) + Bytes(8), {canLength(13)}},
                                  {strings, 1, {}, {null("String")}},
                                  {ints, 1, {}, {null("Int")}},
                                  {keys, 1, {}, {null("Key")}},
                                  {cans, 1, {}, {null("Can")}}};
    const auto wrong = [&](unsigned event, const char* name, const char* what, unsigned value,
                           unsigned type, const Bytes& payload) {
        messages.push_back({event,
                            type,
                            payload,
                            {std::string("WRN CustomData '") + name + "' called with invalid " +
                             what + " " + std::to_string(value)}});
    };
    for (const unsigned type : {0U, 3U})
        wrong(strings, "String", "type value", type, type, text("x"));
    for (const unsigned type : {0U, 7U, 65280U}) wrong(ints, "Int", "type value", type, type, {1});
    for (const unsigned type : {0U, 7U}) wrong(keys, "Key", "type value", type, type, {1});
    for (const unsigned type : {0U, 2U}) wrong(cans, "Can", "type value", type, type, Bytes(5));
    for (const std::uint8_t code : Bytes{2, 12}) {
        wrong(keys, "Key", "data (key code value)", code, 1, {code});
    }
    for (const unsigned length : {3U, 5U, 7U, 9U, 65535U}) {
        wrong(ints, "Int", "length value", length, 1, Bytes(length));
    }
    return messages;
}

TEST(CustomDataReceived, ReachesItsCallback) {
    Session session;
    for (const Message& m : accepted) {
        const Lines before(m.lines.begin(), m.lines.end() - 1);
        EXPECT_EQ(session.hear(m.wire()), m.head() + before);
    }
    listenToAll(session);
    for (const Message& m : accepted) {
        EXPECT_EQ(session.hear(m.wire()), m.head() + m.lines);
    }
}

TEST(CustomDataReceived, IsDroppedWithAWarning) {
    Session session;
    listenToAll(session);
    for (const Message& m : refused()) EXPECT_EQ(session.hear(m.wire()), m.head() + m.lines);
    for (const unsigned event : {0U, 6U, 255U}) {
        EXPECT_EQ(session.hear(message(event, 1, {1})),
                  (Lines{"INF ServerCustomData event=unknown",
                         "WRN ServerCustomData with unknown event type " + std::to_string(event)}));
    }
    Idle idle;
    expectRefusals(idle, onReceiveServerCustomData,
                   {"WRN ServerCustomData called with NULL packet."},
                   {"WRN ServerCustomData received in state != RUN; ignored."});
}

TEST(CustomDataReceived, ReadsNothingBehindTheMessage) {
    Session session;
    listenToAll(session);
    using Process = eReturnCode (*)(quarlo_CoreInstance*, UInt16, UInt16, UInt8*);
    const Process processes[] = {&_quarlo_ProcessCustomDataString, &_quarlo_ProcessCustomDataInt,
                                 &_quarlo_ProcessCustomDataKey, &_quarlo_ProcessCustomDataCan};
    for (const Process process : processes) {
        EXPECT_EQ(process(nullptr, 1, 1, nullptr), eRETURN_NULL_HANDLE);
        EXPECT_EQ(process(session.record(), 1, 0, nullptr), eRETURN_NULL_PARAM);
        for (UInt16 length = 1; length < 16; ++length) {
            const Exact exact(Bytes(length, 0xFF));
            process(session.record(), 1, length, exact.data());
        }
    }
    EXPECT_EQ(_quarlo_ProcessCustomDataRaw(nullptr, 0x1000, 0, nullptr), eRETURN_NULL_HANDLE);
}

TEST(CustomDataReceived, WithoutMemoryIsDropped) {
    Session session;
    listenToAll(session);
    const std::string longest(65532, 'x');
    const std::string noText =
        "ERR Error reading content from string in _quarlo_ProcessCustomDataString()";
    const Bytes large = message(strings, 1, text(longest));
    EXPECT_EQ(session.hear(large).back(), "CustomDataString 1 1 " + longest);
    EXPECT_EQ(hearWithoutMemory(session, large).back(), noText);
    // The scratch memory is full and cannot grow.
    quarlo_CoreInstance* const obj = session.record();
    obj->scratch.make<UInt8>(wire::Scratch::ordinarySize);
    allocations::restart(1, true);
    Bytes can = u32(1) + u8(0);
    Bytes string = text("x");
    EXPECT_EQ(session.during([&] { return _quarlo_ProcessCustomDataCan(obj, 1, 5, can.data()); }),
              (Lines{"ERR error reading CAN message from data", "= MEM_ALLOC"}));
    EXPECT_EQ(
        session.during([&] { return _quarlo_ProcessCustomDataString(obj, 1, 4, string.data()); }),
        (Lines{"ERR Error reading string in _quarlo_ProcessCustomDataString()", "= MEM_ALLOC"}));
    allocations::restart();
    obj->scratch.reset();
}

}  // namespace
}  // namespace quarlo::test
