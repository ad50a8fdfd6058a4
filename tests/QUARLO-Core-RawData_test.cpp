/* The raw channel: blocks of bytes that the phone parks in the head unit and fetches back. */
#include <gtest/gtest.h>

#include "Calls.h"

namespace quarlo::test {
namespace {

constexpr unsigned raws = 3;

std::string number(unsigned value) {
    return " " + std::to_string(value);
}

std::string bytesOf(const UInt8* data, std::size_t length) {
    return data == nullptr ? " null" : " [" + hex(Bytes(data, data + length)) + "]";
}

/** A host in RUN that notes what is meant for its own storage. */
class Parker : public Session {
  public:
    Parker() {
        EXPECT_EQ(quarlo_SetCustomDataRawCallback(
                      handle(),
                      [](void* context, ServerCustomDataRawType opcode, UInt16 identifier,
                         UInt16 length, UInt8* data) {
                          hostOf(context).note("raw" + number(opcode) + number(identifier) +
                                               bytesOf(data, length));
                      }),
                  eRETURN_OKAY);
        EXPECT_EQ(host.lines(), Lines{});
    }
};

/** A message of the raw channel. */
Bytes raw(unsigned type, const Bytes& payload) {
    return packet(68, u8(raws) + u16(type) + u16(static_cast<unsigned>(payload.size())) + payload);
}

constexpr unsigned storeInstance = 0x1000;
constexpr unsigned getInstance = 0x2000;
constexpr unsigned storeCore = 0x3000;
constexpr unsigned getCore = 0x4000;

std::string answer(unsigned identifier, const Bytes& data) {
    return hex(
        packet(67, u8(raws) + u16(identifier) + u16(static_cast<unsigned>(data.size())) + data));
}

Lines rawHead(const char* opcode, const char* identifier) {
    return {"INF ServerCustomData event=Raw",
            std::string("INF CustomData 'Raw' called with type '") + opcode +
                "'; identification value " + identifier};
}

TEST(RawData, OfTheHostIsHandedOn) {
    const Library library;
    Parker parker;
    const struct {
        unsigned opcode;
        const char* name;
        bool isStore;
    } opcodes[] = {{0x5000, "StorePersistent", true},   {0x6000, "GetPersistent", false},
                   {0x7000, "DeletePersistent", false}, {0x8000, "StoreHost", true},
                   {0x9000, "GetHost", false},          {0xA000, "DeleteHost", false}};
    for (const auto& o : opcodes) {
        SCOPED_TRACE(o.name);
        const Lines head = rawHead(o.name, "0x0ABC");
        const std::string told = "raw" + number(o.opcode) + number(0xABC);
        const std::string prefix = std::string("WRN CustomData 'Raw' opcode '") + o.name + "': ";
        const Lines empty = parker.hear(raw(o.opcode | 0xABC, {}));
        const Lines full = parker.hear(raw(o.opcode | 0xABC, {1, 2}));
        if (o.isStore) {
            EXPECT_EQ(empty,
                      (head + Lines{prefix + "length should not be 0 for all STORE operations",
                                    told + " null"}));
            EXPECT_EQ(full, head + Lines{told + " [01 02]"});
        } else {
            EXPECT_EQ(empty, (head + Lines{told + " null"}));
            EXPECT_EQ(full, head + Lines{prefix + "length/data shall be 0/NULL for all GET and "
                                                  "DELETE operations"});
        }
    }
    EXPECT_TRUE(parker.sent().empty());
    UInt8 byte = 1;
    EXPECT_EQ(_quarlo_ProcessCustomDataRaw(parker.host.record(), getInstance, 0, &byte),
              eRETURN_PARAM_VALUE);
}

TEST(RawData, OfUnknownOpcodesIsRefused) {
    const Library library;
    Parker parker;
    const std::pair<unsigned, const char*> types[] = {
        {0x0000, "0x0000"}, {0x0123, "0x0123"}, {0xB001, "0xB001"}, {0xFFFF, "0xFFFF"}};
    for (const auto& [type, shown] : types) {
        EXPECT_EQ(parker.hear(raw(type, {1})),
                  (Lines{"INF ServerCustomData event=Raw",
                         std::string("WRN CustomData 'Raw' called with invalid opcode in type "
                                     "value ") +
                             shown}));
    }
    EXPECT_TRUE(parker.sent().empty());
}

TEST(RawData, IsParkedAndFetched) {
    const Library library;
    Parker parker;
    EXPECT_EQ(parker.hear(raw(getInstance | 0x7, {})), rawHead("GetInstance", "0x0007") + sendLine);
    EXPECT_EQ(parker.sent(), Lines{answer(7, {})});
    EXPECT_EQ(parker.hear(raw(storeInstance | 0x7, {1, 2, 3})), rawHead("StoreInstance", "0x0007"));
    parker.hear(raw(storeInstance | 0xFFF, Bytes(65535, 0xAB)) + raw(getInstance | 0x7, {}) +
                raw(getInstance | 0xFFF, {}) + raw(getInstance | 0x7, {}));
    EXPECT_EQ(parker.sent(), (Lines{answer(7, {1, 2, 3}), answer(0xFFF, Bytes(65535, 0xAB)),
                                    answer(7, {1, 2, 3})}));
    // Replaced, then emptied.
    parker.hear(raw(storeInstance | 0x7, {9}) + raw(getInstance | 0x7, {}) +
                raw(storeInstance | 0x7, {}) + raw(getInstance | 0x7, {}));
    EXPECT_EQ(parker.sent(), (Lines{answer(7, {9}), answer(7, {})}));
    EXPECT_TRUE(
        parker.host.has("WRN CustomData 'Raw' opcode 'StoreInstance': length should not "
                        "be 0 for all STORE operations"));
    EXPECT_EQ(listGetLength(&parker.host.record()->rawDataList), 2);
}

TEST(RawData, OfTheCoreIsSharedByTheInstances) {
    const Library library;
    Parker other;
    {
        Parker one;
        one.hear(raw(storeCore | 0x7, {1, 2}) + raw(storeInstance | 0x8, {3}));
    }
    other.hear(raw(getCore | 0x7, {}) + raw(getCore | 0x8, {}) + raw(getInstance | 0x7, {}) +
               raw(getInstance | 0x8, {}));
    EXPECT_EQ(other.sent(),
              (Lines{answer(7, {1, 2}), answer(8, {}), answer(7, {}), answer(8, {})}));
    EXPECT_TRUE(other.host.has(rawHead("GetCore", "0x0007")[1]));
}

TEST(RawData, OfTheCoreEndsWithTheLibrary) {
    {
        const Library library;
        Parker parker;
        parker.hear(raw(storeCore | 0x7, {1, 2}));
    }
    const Library library;
    Parker parker;
    parker.hear(raw(getCore | 0x7, {}));
    EXPECT_EQ(parker.sent(), Lines{answer(7, {})});
}

TEST(RawData, IsBoundedForEachStore) {
    const Library library;
    Parker parker;
    const Bytes most(65535, 0x11);
    constexpr unsigned fitting = 32U * 1024 * 1024 / 65535;
    for (const unsigned store : {storeInstance, storeCore}) {
        genericList* list =
            store == storeInstance ? &parker.host.record()->rawDataList : &coreRawDataList;
        const unsigned get = store + 0x1000;
        for (unsigned id = 0; id <= fitting; ++id) parker.hear(raw(store | id, most));
        EXPECT_EQ(listGetLength(list), static_cast<int>(fitting));
        parker.hear(raw(get | fitting, {}) + raw(get | 0, {}));
        EXPECT_EQ(parker.sent(), (Lines{answer(fitting, {}), answer(0, most)}));
        // A replacement of the same size still fits; the rest of the room can be used.
        const Bytes other(65535, 0x22);
        parker.hear(raw(store | 1, other) + raw(store | fitting, {1}) + raw(get | 1, {}) +
                    raw(get | fitting, {}));
        EXPECT_EQ(parker.sent(), (Lines{answer(1, other), answer(fitting, {1})}));
        // One that no longer fits empties what it was to replace.
        parker.hear(raw(store | fitting, most) + raw(get | fitting, {}));
        EXPECT_EQ(parker.sent(), Lines{answer(fitting, {})});
    }
}

TEST(RawData, WithoutMemoryIsEmptyOrNotStored) {
    const Library library;
    Parker parker;
    genericList& list = parker.host.record()->rawDataList;
    const Lines noItem = outOfMemoryLines("cannot allocate temporary raw data item.");
    const Lines head = rawHead("StoreInstance", "0x0007");
    const Bytes store = raw(storeInstance | 0x7, {4, 5});

    allocations::restart(1);
    EXPECT_EQ(parker.hear(store), head + noItem);
    allocations::restart(2);
    EXPECT_EQ(parker.hear(store), head);
    EXPECT_EQ(listGetLength(&list), 0);
    allocations::restart();
    parker.hear(store);
    allocations::restart(2);
    EXPECT_EQ(parker.hear(store), head);
    allocations::restart();
    parker.hear(raw(getInstance | 0x7, {}));
    EXPECT_EQ(parker.sent(), Lines{answer(7, {})});
}

TEST(RawData, AnswersNeedMemoryOnlyForLongContents) {
    const Library library;
    Parker parker;
    const Bytes longest(65535, 0xAB);
    parker.hear(raw(storeInstance | 0x7, {4, 5}) + raw(storeInstance | 0x8, longest));
    allocations::restart(1);
    parker.hear(raw(getInstance | 0x7, {}));
    EXPECT_EQ(parker.sent(), Lines{answer(7, {4, 5})});
    EXPECT_EQ(parker.hear(raw(getInstance | 0x8, {})),
              rawHead("GetInstance", "0x0008") +
                  outOfMemoryLines("cannot allocate CustomData RAW packet."));
    EXPECT_TRUE(parker.sent().empty());
    allocations::restart();
    parker.hear(raw(getInstance | 0x8, {}));
    EXPECT_EQ(parker.sent(), Lines{answer(8, longest)});
}

TEST(RawData, ItemsArePrintedComparedAndExchanged) {
    const Library library;
    Parker parker;
    Bytes block;
    for (unsigned i = 0; i < 17; ++i) block = block + u8(i);
    parker.hear(raw(storeInstance | 0xABC, block) +
                raw(storeInstance | 0x001, Bytes(block.begin(), block.end() - 1)) +
                raw(storeInstance | 0x002, {}));
    genericList& list = parker.host.record()->rawDataList;
    std::vector<genericListElement*> items;
    for (auto* at = listGetFirstElement(&list); at != nullptr; at = listGetNextElement(&list)) {
        items.push_back(at);
    }
    ASSERT_EQ(items.size(), 3U);
    ::testing::internal::CaptureStdout();
    for (genericListElement* item : items) {
        EXPECT_EQ(listPrintElementRawDataItem(item), eRETURN_OKAY);
    }
    std::fflush(stdout);
    const std::string sixteen = "00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F ";
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "      identifier 0x0ABC\n      length     17\n      data [hex] " + sixteen +
                  "...\n      identifier 0x0001\n      length     16\n      data [hex] " + sixteen +
                  "\n      identifier 0x0002\n      length     0\n");
    EXPECT_EQ(listIsEqualRawDataItem(items[0], items[0]), 1);
    EXPECT_EQ(listIsEqualRawDataItem(items[0], items[1]), 0);
    EXPECT_EQ(listIsEqualRawDataItem(nullptr, items[1]), 0);
    EXPECT_EQ(listIsEqualRawDataItem(items[0], nullptr), 0);
    EXPECT_EQ(listFindElementRawDataIdentifier(nullptr, items[0]), nullptr);
    EXPECT_EQ(listFindElementRawDataIdentifier(&list, nullptr), nullptr);
    EXPECT_EQ(listPrintElementRawDataItem(nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(listFreeElementDataRawDataItem(nullptr), eRETURN_NULL_PARAM);

    auto* item = reinterpret_cast<rawDataItem*>(items[0]);
    EXPECT_EQ(_quarlo_exchangeRawData(nullptr, 0, nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(_quarlo_exchangeRawData(item, 1, nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(item->data, nullptr);
    UInt8 byte = 0x5A;
    EXPECT_EQ(_quarlo_exchangeRawData(item, 1, &byte), eRETURN_OKAY);
    parker.forget();
    EXPECT_EQ(_quarlo_sendRawData(parker.host.record(), item), eRETURN_OKAY);
    EXPECT_EQ(parker.sent(), Lines{answer(0xABC, {0x5A})});
    EXPECT_EQ(_quarlo_sendRawData(nullptr, item), eRETURN_NULL_HANDLE);
    EXPECT_EQ(_quarlo_sendRawData(parker.host.record(), nullptr), eRETURN_NULL_PARAM);
}

}  // namespace
}  // namespace quarlo::test
