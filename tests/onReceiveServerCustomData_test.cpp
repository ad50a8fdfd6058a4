/* Custom data from the phone to the head unit: texts, integers, keys and CAN messages. */
#include <gtest/gtest.h>

#include <memory>

#include "Calls.h"

namespace quarlo::test {
namespace {

template <class T>
std::string number(T value) {
    return " " + std::to_string(value);
}

std::string bytesOf(const UInt8* data, std::size_t length) {
    return data == nullptr ? " null" : " [" + hex(Bytes(data, data + length)) + "]";
}

/** A host in RUN that notes the messages of every channel. */
class Channels : public Session {
  public:
    Channels() {
        void* const h = handle();
        EXPECT_EQ(
            quarlo_SetCustomDataStringCallback(
                h,
                [](void* context, ServerCustomDataStringType type, StringEncoding encoding,
                   char* text) {
                    hostOf(context).note("string" + number(type) + number(encoding) + " " + text);
                }),
            eRETURN_OKAY);
        EXPECT_EQ(quarlo_SetCustomDataIntCallback(
                      h,
                      [](void* context, ServerCustomDataIntType type, UInt16 length, UInt8* value) {
                          hostOf(context).note("int" + number(type) + bytesOf(value, length));
                      }),
                  eRETURN_OKAY);
        EXPECT_EQ(
            quarlo_SetCustomDataKeyCallback(
                h,
                [](void* context, ServerCustomDataKeyType type, ServerCustomDataKeyCode code) {
                    hostOf(context).note("key" + number(type) + number(code));
                }),
            eRETURN_OKAY);
        EXPECT_EQ(quarlo_SetCustomDataCanCallback(h,
                                                  [](void* context, ServerCustomDataCanType type,
                                                     UInt32 identifier, UInt8 length, UInt8* data) {
                                                      hostOf(context).note("can" + number(type) +
                                                                           number(identifier) +
                                                                           bytesOf(data, length));
                                                  }),
                  eRETURN_OKAY);
        EXPECT_EQ(host.lines(), Lines{});
    }
    void dropCallbacks() {
        quarlo_SetCustomDataStringCallback(handle(), nullptr);
        quarlo_SetCustomDataIntCallback(handle(), nullptr);
        quarlo_SetCustomDataKeyCallback(handle(), nullptr);
        quarlo_SetCustomDataCanCallback(handle(), nullptr);
    }
};

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
};

std::vector<Message> accepted() {
    std::vector<Message> messages{
        {strings, 1, text("Car"), {"string 1 1 Car"}},
        {strings, 2, text("%n%s", 2), {"string 2 2 %n%s"}},
        {strings, 1, text("", 99), {"string 1 99 "}},
        {strings, 1, text("two") + Bytes{1, 2}, {"string 1 1 two"}},
        {strings, 1, text("cut") + Bytes{}, {"string 1 1 cut"}},
        {keys, 1, {1}, {"key 1 1"}},
        {keys, 6, {10}, {"key 6 10"}},
        {keys, 3, {11}, {"key 3 11"}},
        {cans, 1, u32(7) + u8(0), {"can 1 7 null"}},
        {cans,
         65281,
         u32(0xFFFFFFFF) + u8(8) + Bytes{1, 2, 3, 4, 5, 6, 7, 8},
         {"can 65281 4294967295 [01 02 03 04 05 06 07 08]"}},
        {cans, 1, u32(7) + u8(1) + Bytes{1, 2, 3}, {"can 1 7 [01]"}},
        {ints,
         65024,
         {9, 8},
         {"WRN ZelHUTunerServer is for internal use only", "int 65024 [09 08]"}},
        {ints,
         65281,
         {9},
         {"WRN SetCanAmbientlight is deprecated, use CustomData CAN instead", "int 65281 [09]"}}};
    for (unsigned type = 1; type <= 6; ++type) {
        messages.push_back({ints, type, {1, 2, 3, 4}, {"int" + number(type) + " [01 02 03 04]"}});
    }
    messages.push_back({ints, 1, {1, 2, 3, 4, 5, 6, 7, 8}, {"int 1 [01 02 03 04 05 06 07 08]"}});
    return messages;
}

std::vector<Message> refused() {
    const char* const low = "WRN unexpected low length in ProcessCustomDataString";
    const char* const keyLength =
        "WRN _quarlo_ProcessCustomDataKey() called with wrong length information";
    const auto canLength = [](std::size_t length) {
        return "WRN _quarlo_ProcessCustomDataCan() called with wrong length information 5 <= " +
               std::to_string(length) + " <= 13";
    };
    const auto wrong = [](const char* event, const char* what, unsigned value) {
        return std::string("WRN CustomData '") + event + "' called with invalid " + what + " " +
               std::to_string(value);
    };
    std::vector<Message> messages{
        {strings, 0, text("x"), {wrong("String", "type value", 0)}},
        {strings, 3, text("x"), {wrong("String", "type value", 3)}},
        {strings, 1, {1}, {low}},
        {strings, 1, {1, 0}, {low}},
        // The text claims more than its message holds.
        {strings, 1, {1, 1, 0}, {low}},
        {strings, 1, u8(1) + u16(65535) + Bytes(65532, 'x'), {low}},
        {ints, 0, {1}, {wrong("Int", "type value", 0)}},
        {ints, 7, {1}, {wrong("Int", "type value", 7)}},
        {ints, 65280, {1}, {wrong("Int", "type value", 65280)}},
        {keys, 0, {1}, {wrong("Key", "type value", 0)}},
        {keys, 7, {1}, {wrong("Key", "type value", 7)}},
        {keys, 1, {1, 1}, {keyLength}},
        {keys, 1, {2}, {wrong("Key", "data (key code value)", 2)}},
        {keys, 1, {12}, {wrong("Key", "data (key code value)", 12)}},
        {cans, 0, u32(1) + u8(0), {wrong("Can", "type value", 0)}},
        {cans, 2, u32(1) + u8(0), {wrong("Can", "type value", 2)}},
        {cans, 1, Bytes(4), {canLength(4)}},
        {cans, 1, Bytes(14), {canLength(14)}},
        {cans, 1, u32(1) + u8(1), {canLength(5)}},
        {cans, 1, u32(1) + u8(255) + Bytes(8), {canLength(13)}},
        {strings, 1, {}, {"WRN _quarlo_ProcessCustomDataString() called with NULL data"}},
        {ints, 1, {}, {"WRN _quarlo_ProcessCustomDataInt() called with NULL data"}},
        {keys, 1, {}, {"WRN _quarlo_ProcessCustomDataKey() called with NULL data"}},
        {cans, 1, {}, {"WRN _quarlo_ProcessCustomDataCan() called with NULL data"}}};
    for (const unsigned length : {3U, 5U, 7U, 9U, 65535U}) {
        messages.push_back({ints, 1, Bytes(length), {wrong("Int", "length value", length)}});
    }
    return messages;
}

const char* nameOf(unsigned event) {
    constexpr const char* names[] = {"unknown", "String", "Int", "Raw", "Can", "Key"};
    return event < 6 ? names[event] : names[0];
}

TEST(CustomDataReceived, ReachesItsCallback) {
    const Library library;
    Channels channels;
    for (const Message& m : accepted()) {
        SCOPED_TRACE(m.lines.back());
        const Lines head{std::string("INF ServerCustomData event=") + nameOf(m.event)};
        EXPECT_EQ(channels.hear(message(m.event, m.type, m.payload)), head + m.lines);
    }
    channels.dropCallbacks();
    for (const Message& m : accepted()) {
        Lines lines = Lines{std::string("INF ServerCustomData event=") + nameOf(m.event)} + m.lines;
        lines.pop_back();
        EXPECT_EQ(channels.hear(message(m.event, m.type, m.payload)), lines);
    }
    EXPECT_TRUE(channels.sent().empty());
}

TEST(CustomDataReceived, IsDroppedWithAWarning) {
    const Library library;
    Channels channels;
    for (const Message& m : refused()) {
        SCOPED_TRACE(m.lines.back());
        const Lines head{std::string("INF ServerCustomData event=") + nameOf(m.event)};
        EXPECT_EQ(channels.hear(message(m.event, m.type, m.payload)), head + m.lines);
    }
    for (const unsigned event : {0U, 6U, 255U}) {
        EXPECT_EQ(channels.hear(message(event, 1, {1})),
                  (Lines{"INF ServerCustomData event=unknown",
                         "WRN ServerCustomData with unknown event type " + std::to_string(event)}));
    }
    EXPECT_TRUE(channels.sent().empty());
}

TEST(CustomDataReceived, ReadsNothingBehindTheMessage) {
    // Exactly allocated, so that a sanitizer sees what is read behind it.
    const Library library;
    Channels channels;
    quarlo_CoreInstance* obj = channels.host.record();
    using Process = eReturnCode (*)(quarlo_CoreInstance*, UInt16, UInt16, UInt8*);
    const Process processes[] = {&_quarlo_ProcessCustomDataString, &_quarlo_ProcessCustomDataInt,
                                 &_quarlo_ProcessCustomDataKey, &_quarlo_ProcessCustomDataCan};
    for (const Process process : processes) {
        EXPECT_EQ(process(nullptr, 1, 1, nullptr), eRETURN_NULL_HANDLE);
        EXPECT_EQ(process(obj, 1, 0, nullptr), eRETURN_NULL_PARAM);
        for (UInt16 length = 1; length < 16; ++length) {
            const std::unique_ptr<UInt8[]> exact(new UInt8[length]);
            std::fill_n(exact.get(), length, UInt8{0xFF});
            process(obj, 1, length, exact.get());
        }
    }
    EXPECT_EQ(_quarlo_ProcessCustomDataRaw(nullptr, 0x1000, 0, nullptr), eRETURN_NULL_HANDLE);
}

TEST(CustomDataReceived, NeedsRunAndAPacket) {
    const Library library;
    Host idle;
    packetServerCustomData data{};
    onReceiveServerCustomData(idle.record(), nullptr);
    onReceiveServerCustomData(idle.record(), &data);
    onReceiveServerCustomData(nullptr, &data);
    EXPECT_EQ(idle.lines(), (Lines{"WRN ServerCustomData called with NULL packet.",
                                   "WRN ServerCustomData received in state != RUN; ignored."}));
}

TEST(CustomDataReceived, LongTextsWithoutMemoryAreDropped) {
    const Library library;
    Channels channels;
    const std::string longest(65532, 'x');
    Lines seen;
    allocations::sweep([&](long) {
        const Lines lines = channels.hear(message(strings, 1, text(longest)));
        seen.push_back(lines.back().substr(0, 80));
    });
    ASSERT_GE(seen.size(), 2U);
    EXPECT_EQ(seen[0], ("string 1 1 " + longest).substr(0, 80));
    EXPECT_EQ(seen[1],
              "ERR Error reading content from string in _quarlo_ProcessCustomDataString()");
}

TEST(CustomDataReceived, WithoutRoomForTheirRecordsAreDropped) {
    const Library library;
    Channels channels;
    quarlo_CoreInstance* obj = channels.host.record();
    // The scratch memory is full and cannot grow.
    obj->scratch.make<UInt8>(wire::Scratch::ordinarySize);
    allocations::restart(1, true);
    Bytes can = u32(1) + u8(0);
    Bytes string = text("x");
    EXPECT_EQ(channels.during([&] {
        EXPECT_EQ(_quarlo_ProcessCustomDataCan(obj, 1, 5, can.data()), eRETURN_MEM_ALLOC);
        EXPECT_EQ(_quarlo_ProcessCustomDataString(obj, 1, 4, string.data()), eRETURN_MEM_ALLOC);
    }),
              (Lines{"ERR error reading CAN message from data",
                     "ERR Error reading string in _quarlo_ProcessCustomDataString()"}));
    allocations::restart();
    obj->scratch.reset();
}

}  // namespace
}  // namespace quarlo::test
