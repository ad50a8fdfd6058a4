/* Primitives and records outside of packets: sizes, bytes, empty and absent parts, destructors. */
#include "QUARLO.Connector.IVI-API-BasicTypes_C.h"

#include <gtest/gtest.h>

#include <array>

#include "Calls.h"
#include "QUARLO.Connector.IVI-API_C.h"
#include "Wire.h"

namespace quarlo::test {
namespace {

/** The three functions of a type, by name. */
#define FUNCTIONS(Type) sizeOf_##Type, readFromBuffer_##Type, writeToBuffer_##Type

template <class T>
void expectScalar(UInt32 (*sizeOf)(), T (*read)(void**), void* (*write)(void*, T), T value,
                  std::string_view notation) {
    const Bytes wanted = golden(notation).bytes;
    EXPECT_EQ(sizeOf(), wanted.size());
    Bytes room(wanted.size() + 1, 0xEE);  // one byte in, so that wide values stand unaligned
    EXPECT_EQ(write(room.data() + 1, value), room.data() + room.size());
    EXPECT_EQ(hex(room), hex(u8(0xEE) + wanted));
    void* at = room.data() + 1;
    EXPECT_EQ(static_cast<long long>(read(&at)), static_cast<long long>(value));
    EXPECT_EQ(at, room.data() + room.size());
}

TEST(Primitives, AreLittleEndianInTheWidthOfTheirType) {
    expectScalar<Int8>(FUNCTIONS(Int8), -2, "FE");
    expectScalar<UInt16>(FUNCTIONS(UInt16), 0x1234, "34 12");
    expectScalar<UInt32>(FUNCTIONS(UInt32), 0x11223344, "44 33 22 11");
    expectScalar<Int32>(FUNCTIONS(Int32), -0x11223344, "BC CC DD EE");
    expectScalar<Int64>(FUNCTIONS(Int64), -2, "FE FF FF FF FF FF FF FF");
    // A value without a name passes unchanged.
    expectScalar<PixelFormat>(FUNCTIONS(PixelFormat), static_cast<PixelFormat>(0xF7), "F7");
}

/** A record and back: its bytes, its size, and the same bytes again from what was read. */
template <class R, class Size, class Delete>
void expectRecord(Size sizeOf, R* (*read)(void**), void* (*write)(void*, const R*), Delete remove,
                  std::string_view notation) {
    const Bytes wanted = golden(notation).bytes;
    SCOPED_TRACE(hex(wanted));
    void* at = const_cast<std::uint8_t*>(wanted.data());
    R* record = read(&at);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(at, wanted.data() + wanted.size());
    EXPECT_EQ(sizeOf(record), wanted.size());
    Bytes room(wanted.size(), 0xEE);
    EXPECT_EQ(write(room.data(), record), room.data() + room.size());
    EXPECT_EQ(hex(room), hex(wanted));
    EXPECT_EQ(write(nullptr, record), nullptr);
    EXPECT_EQ(write(room.data(), nullptr), nullptr);
    remove(record);
    quarlo_free(record);
    at = nullptr;
    EXPECT_EQ(read(&at), nullptr);
    EXPECT_EQ(read(nullptr), nullptr);
}
#define EXPECT_PLAIN(Name, notation)                                                     \
    expectRecord([](const qr##Name*) { return sizeOf_##Name(); }, readFromBuffer_##Name, \
                 writeToBuffer_##Name, [](qr##Name*) {}, notation)
#define EXPECT_OPEN(Name, notation)                                         \
    do {                                                                    \
        expectRecord<qr##Name>(FUNCTIONS(Name), _##Name##Delete, notation); \
        EXPECT_EQ(sizeOf_##Name(nullptr), 0U);                              \
        _##Name##Delete(nullptr);                                           \
        _##Name##New(nullptr);                                              \
    } while (false)

TEST(Records, KeepTheirBytesWhenEmptyAndWhenFilled) {
    EXPECT_PLAIN(PacketHeader, "21 00 00 00 00 11 00 00 00");
    EXPECT_PLAIN(Decimal, "01 02 03 04 05 06 07 88 F6");
    EXPECT_EQ(sizeOf_WGSPosition(), 18U);
    EXPECT_OPEN(String, "02 00 00");
    EXPECT_OPEN(String, "01 03 00 'abc'");
    EXPECT_OPEN(CANMessage, "78 56 34 12 00");
    // The length code is a count of bytes and not limited to what a bus can carry.
    EXPECT_OPEN(CANMessage, "78 56 34 12 0C 01 02 03 04 05 06 07 08 09 0A 0B 0C");
    EXPECT_OPEN(CategoryList, "01 44 33 22 11");
    EXPECT_OPEN(KeyValueList, "00");
    EXPECT_OPEN(KeyValueList, "02 01 01 00 'k' 01 02 00 'vv' 01 00 00 01 00 00");
}

TEST(Records, AbsentEntriesOfAListTakeNoRoom) {
    qrTouch touch{eTOUCHTYPE_Up, 1, 2, 3};
    std::array<qrTouch*, 3> entries{nullptr, &touch, nullptr};
    const qrTouchList list{3, entries.data()};
    EXPECT_EQ(sizeOf_TouchList(&list), 10U);
    Bytes room(10);
    EXPECT_EQ(writeToBuffer_TouchList(room.data(), &list), room.data() + 10);
    EXPECT_EQ(hex(room), hex(golden("03 02 01 00 02 00 03 00 00 00").bytes));
}

TEST(Records, WritersRefuseAbsentMembersAndRuns) {
    Bytes room(64);
    qrString empty{eSTRINGENCODING_UTF8, 0, nullptr};
    const qrString broken{eSTRINGENCODING_UTF8, 2, nullptr};
    const qrKeyValue half{&empty, nullptr};
    const qrTouchList noTouches{1, nullptr};
    EXPECT_EQ(writeToBuffer_String(room.data(), &broken), nullptr);
    EXPECT_EQ(writeToBuffer_KeyValue(room.data(), &half), nullptr);
    EXPECT_EQ(writeToBuffer_TouchList(room.data(), &noTouches), nullptr);
}

/** Constructors forget, destructors free; both leave the record empty and may be repeated. */
TEST(Records, ConstructorsAndDestructorsLeaveRecordsEmpty) {
    qrAppInformation app{};
    app.Categories = reinterpret_cast<qrCategoryList*>(&app);
    app.arrLanguage[2] = 'x';
    _AppInformationNew(&app);
    EXPECT_EQ(app.Categories, nullptr);
    EXPECT_EQ(app.arrLanguage[2], 0);

    const Bytes bytes = golden("02 01 01 00 'k' 01 02 00 'vv' 01 00 00 01 01 00 'x'").bytes;
    void* at = const_cast<std::uint8_t*>(bytes.data());
    qrKeyValueList* list = readFromBuffer_KeyValueList(&at);
    ASSERT_NE(list, nullptr);
    for (int times = 0; times < 2; ++times) {
        _KeyValueListDelete(list);
        EXPECT_EQ(list->NumberOfEntries, 0);
        EXPECT_EQ(list->paEntries, nullptr);
    }
    quarlo_free(list);
}

}  // namespace
}  // namespace quarlo::test
