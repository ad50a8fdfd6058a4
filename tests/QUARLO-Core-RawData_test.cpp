/* The raw channel: blocks of bytes that the phone parks in the head unit and fetches back. */
#include <gtest/gtest.h>

#include "Calls.h"

namespace quarlo::test {
namespace {

/** A host in RUN that notes what is meant for its own storage. */
class Parker : public Session {
  public:
    Parker() { listenTo<Callback::CustomDataRaw>(quarlo_SetCustomDataRawCallback); }
};

Bytes rawPayload(unsigned type, const Bytes& data) {
    return u8(3) + u16(type) + u16(static_cast<unsigned>(data.size())) + data;
}

/** A message of the raw channel. */
Bytes raw(unsigned type, const Bytes& data = {}) {
    return packet(68, rawPayload(type, data));
}

constexpr unsigned storeInstance = 0x1000;
constexpr unsigned getInstance = 0x2000;
constexpr unsigned storeCore = 0x3000;
constexpr unsigned getCore = 0x4000;

Lines answer(unsigned identifier, const Bytes& data) {
    return sending(packet(67, rawPayload(identifier, data)));
}

Lines head(const char* opcode, const char* identifier) {
    return {"INF ServerCustomData event=Raw",
            std::string("INF CustomData 'Raw' called with type '") + opcode +
                "'; identification value " + identifier};
}

/** What the host sends when the phone asks for a block. */
Lines fetched(Parker& parker, unsigned type) {
    const Lines lines = parker.hear(raw(type));
    return {lines.begin() + 2, lines.end()};
}

TEST(RawData, OfTheHostIsHandedOn) {
    Parker parker;
    const struct {
        unsigned opcode;
        const char* name;
        bool isStore;
    } opcodes[] = {{0x5000, "StorePersistent", true},   {0x6000, "GetPersistent", false},
                   {0x7000, "DeletePersistent", false}, {0x8000, "StoreHost", true},
                   {0x9000, "GetHost", false},          {0xA000, "DeleteHost", false}};
    for (const auto& o : opcodes) {
        const Lines traced = head(o.name, "0x0ABC");
        const std::string told = "CustomDataRaw " + std::to_string(o.opcode) + " 2748";
        const std::string warning = std::string("WRN CustomData 'Raw' opcode '") + o.name + "': ";
        const Lines empty = o.isStore
                                ? Lines{warning + "length should not be 0 for all STORE operations"}
                                : Lines{};
        EXPECT_EQ(parker.hear(raw(o.opcode | 0xABC)), traced + empty + (told + " 0 -"));
        EXPECT_EQ(parker.hear(raw(o.opcode | 0xABC, {1, 2})),
                  traced + (o.isStore ? told + " 2 [ 1 2 ]"
                                      : warning + "length/data shall be 0/NULL for all GET and "
                                                  "DELETE operations"));
    }
    UInt8 byte = 1;
    EXPECT_EQ(_quarlo_ProcessCustomDataRaw(parker.record(), getInstance, 0, &byte),
              eRETURN_PARAM_VALUE);
    for (const char* unknown : {"0x0000", "0x0123", "0xB001", "0xFFFF"}) {
        const auto type = static_cast<unsigned>(std::stoul(unknown, nullptr, 16));
        EXPECT_EQ(parker.hear(raw(type, {1})),
                  Lines{"INF ServerCustomData event=Raw"} +
                      (std::string("WRN CustomData 'Raw' called with invalid opcode in type "
                                   "value ") +
                       unknown));
    }
}

TEST(RawData, IsParkedAndFetched) {
    Parker parker;
    EXPECT_EQ(parker.hear(raw(getInstance | 0x7)), head("GetInstance", "0x0007") + answer(7, {}));
    EXPECT_EQ(parker.hear(raw(storeInstance | 0x7, {1, 2, 3})), head("StoreInstance", "0x0007"));
    parker.hear(raw(storeInstance | 0xFFF, Bytes(65535, 0xAB)));
    EXPECT_EQ(fetched(parker, getInstance | 0x7), answer(7, {1, 2, 3}));
    EXPECT_EQ(fetched(parker, getInstance | 0xFFF), answer(0xFFF, Bytes(65535, 0xAB)));
    // Replaced, then emptied.
    parker.hear(raw(storeInstance | 0x7, {9}));
    EXPECT_EQ(fetched(parker, getInstance | 0x7), answer(7, {9}));
    EXPECT_EQ(parker.hear(raw(storeInstance | 0x7)).back(),
              "WRN CustomData 'Raw' opcode 'StoreInstance': length should not be 0 for all STORE "
              "operations");
    EXPECT_EQ(fetched(parker, getInstance | 0x7), answer(7, {}));
    EXPECT_EQ(listGetLength(&parker.record()->rawDataList), 2);
}

TEST(RawData, OfTheCoreIsSharedUntilTheLibraryEnds) {
    {
        Parker other;
        {
            Parker one;
            one.hear(raw(storeCore | 0x7, {1, 2}) + raw(storeInstance | 0x8, {3}));
        }
        EXPECT_EQ(other.hear(raw(getCore | 0x7)), head("GetCore", "0x0007") + answer(7, {1, 2}));
        EXPECT_EQ(fetched(other, getCore | 0x8), answer(8, {}));
        EXPECT_EQ(fetched(other, getInstance | 0x7), answer(7, {}));
        EXPECT_EQ(fetched(other, getInstance | 0x8), answer(8, {}));
    }
    Parker later;
    EXPECT_EQ(fetched(later, getCore | 0x7), answer(7, {}));
}

TEST(RawData, IsBoundedForEachStore) {
    Parker parker;
    const Bytes most(65535, 0x11);
    const Bytes other(65535, 0x22);
    constexpr unsigned fitting = 32U * 1024 * 1024 / 65535;
    for (const unsigned store : {storeInstance, storeCore}) {
        const unsigned get = store + 0x1000;
        genericList& list = store == storeInstance ? parker.record()->rawDataList : coreRawDataList;
        for (unsigned id = 0; id <= fitting; ++id) parker.hear(raw(store | id, most));
        EXPECT_EQ(listGetLength(&list), static_cast<int>(fitting));
        EXPECT_EQ(fetched(parker, get | fitting), answer(fitting, {}));
        EXPECT_EQ(fetched(parker, get | 0), answer(0, most));
        // A replacement of the same size still fits; the rest of the room can be used.
        parker.hear(raw(store | 1, other) + raw(store | fitting, {1}));
        EXPECT_EQ(fetched(parker, get | 1), answer(1, other));
        EXPECT_EQ(fetched(parker, get | fitting), answer(fitting, {1}));
        // One that no longer fits empties what it was to replace.
        parker.hear(raw(store | fitting, most));
        EXPECT_EQ(fetched(parker, get | fitting), answer(fitting, {}));
    }
}

TEST(RawData, WithoutMemoryIsEmptyOrNotStored) {
    Parker parker;
    const Lines traced = head("StoreInstance", "0x0007");
    const Bytes store = raw(storeInstance | 0x7, {4, 5});
    EXPECT_EQ(hearWithoutMemory(parker, store),
              traced + outOfMemoryLines("cannot allocate temporary raw data item."));
    EXPECT_EQ(hearWithoutMemory(parker, store, 2), traced);
    EXPECT_EQ(listGetLength(&parker.record()->rawDataList), 0);
    parker.hear(store);
    // Short answers need none.
    EXPECT_EQ(hearWithoutMemory(parker, raw(getInstance | 0x7)),
              head("GetInstance", "0x0007") + answer(7, {4, 5}));
    EXPECT_EQ(hearWithoutMemory(parker, store, 2), traced);
    EXPECT_EQ(fetched(parker, getInstance | 0x7), answer(7, {}));
    const Bytes longest(65535, 0xAB);
    parker.hear(raw(storeInstance | 0x8, longest));
    EXPECT_EQ(
        hearWithoutMemory(parker, raw(getInstance | 0x8)),
        head("GetInstance", "0x0008") + outOfMemoryLines("cannot allocate CustomData RAW packet."));
    EXPECT_EQ(fetched(parker, getInstance | 0x8), answer(8, longest));
}

TEST(RawData, ItemsArePrintedComparedAndExchanged) {
    Parker parker;
    Bytes block;
    for (unsigned i = 0; i < 17; ++i) block = block + u8(i);
    parker.hear(raw(storeInstance | 0xABC, block) + raw(storeInstance | 0x001, part(block, 0, 16)) +
                raw(storeInstance | 0x002));
    genericList& list = parker.record()->rawDataList;
    const std::string sixteen = "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F ";
    expectOperations(
        list, "      identifier 0x0ABC\n      length     17\n      data [hex] " + sixteen +
                  "...\n      identifier 0x0001\n      length     16\n      data [hex] " + sixteen +
                  "\n      identifier 0x0002\n      length     0\n");
    auto* item = reinterpret_cast<rawDataItem*>(list.head.next);
    EXPECT_EQ(_quarlo_exchangeRawData(nullptr, 0, nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(_quarlo_exchangeRawData(item, 1, nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(item->data, nullptr);
    UInt8 byte = 0x5A;
    EXPECT_EQ(_quarlo_exchangeRawData(item, 1, &byte), eRETURN_OKAY);
    EXPECT_EQ(parker.during([&] { return _quarlo_sendRawData(parker.record(), item); }),
              answer(0xABC, {0x5A}));
    EXPECT_EQ(_quarlo_sendRawData(nullptr, item), eRETURN_NULL_HANDLE);
    EXPECT_EQ(_quarlo_sendRawData(parker.record(), nullptr), eRETURN_NULL_PARAM);
}

}  // namespace
}  // namespace quarlo::test
