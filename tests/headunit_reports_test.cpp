// What the phone tells, as lines: names in both directions, bounded texts, the parked blocks.
#include "Reports.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "Store.h"

namespace quarlo::headunit {
namespace {

TEST(Names, GoInBothDirections) {
    EXPECT_EQ(wireName(eAUDIOTYPE_CriticalAnnouncement), "CriticalAnnouncement");
    EXPECT_EQ(wireName(static_cast<AudioType>(99)), "unknown (99)");
    EXPECT_EQ(wireValue<BlockMode>("usewhitelist"), eBLOCKMODE_UseWhitelist);
    EXPECT_EQ(wireValue<BlockMode>("use"), std::nullopt);
    EXPECT_EQ(wireNames<Softkey>(), "Home, Back, Menu, Search");
    const auto capabilities = valuesOf(std::type_identity<ServerCapabilitiesBits>());
    EXPECT_EQ(flagsAmong(capabilities, 6), "EnableAudioHandling,EnableAppStart");
    EXPECT_EQ(flagsAmong(capabilities, 0), "none");
}

TEST(Reports, AreBoundedAndSaySizes) {
    EXPECT_EQ(quoted(nullptr), "none");
    EXPECT_EQ(quoted(std::string(400, 'a').c_str()), "\"" + std::string(400, 'a') + "\"");
    EXPECT_EQ(quoted(std::string(70000, 'a').c_str()), "\"" + std::string(400, 'a') + "...\"");
    EXPECT_EQ(quotedLatin1("M\xFCnchen"), "\"M\xC3\xBCnchen\"");
    const std::vector<UInt8> many(33, 0xAB);
    EXPECT_EQ(hexadecimal(many).size(), 32U * 3 - 1 + 4);

    struct Case {
        std::vector<UInt8> bytes;
        const char* said;
    };
    const Case cases[] = {
        {{0xC8}, "BatteryLevel 200"},
        {{0x01, 0x80}, "BatteryLevel 32769"},
        {{1, 0, 0, 0x80}, "BatteryLevel 2147483649"},
        {{1, 0, 0, 0, 0, 0, 0, 0x80}, "BatteryLevel 9223372036854775809"},
        {{1, 2, 3}, "BatteryLevel bytes 01 02 03"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(reportNumber(eSERVERCUSTOMDATAINTTYPE_BatteryLevel, c.bytes), c.said);
    }
}

TEST(Reports, ShowOnlyWhatAPlaceHas) {
    char city[] = "Ulm";
    LocationStrings location{};
    location.validMask = 8;
    location.City = city;
    EXPECT_EQ(reportPlace("A", eNAVIGATETOTYPE_Both, 11.5, 48.25, &location),
              "\"A\" Both longitude 11.500000 latitude 48.250000 city \"Ulm\"");
    EXPECT_EQ(reportPlace(nullptr, eNAVIGATETOTYPE_PlacemarkOnly, 0, 0, &location),
              "none PlacemarkOnly city \"Ulm\"");
    EXPECT_EQ(reportPlace("P", eNAVIGATETOTYPE_PositionOnly, -1, -2, nullptr),
              "\"P\" PositionOnly longitude -1.000000 latitude -2.000000");
}

using Bytes = std::vector<UInt8>;

std::string remark(HostStore& store, ServerCustomDataRawType what, UInt16 identifier,
                   const Bytes& data = {}) {
    return store.apply(what, identifier, data).remark;
}

std::optional<Bytes> kept(HostStore& store, UInt16 identifier) {
    return store.apply(eSERVERCUSTOMDATARAWTYPE_GetPersistent, identifier, {}).answer;
}

TEST(HostStore, AFileKeepsTheLastingBlocks) {
    const std::string file = testing::TempDir() + "lasting-blocks";
    std::filesystem::remove(file);
    const Bytes first{1, 2, 3};
    const Bytes second(300, 7);
    constexpr auto keep = eSERVERCUSTOMDATARAWTYPE_StorePersistent;
    {
        HostStore store(file);
        EXPECT_EQ(remark(store, keep, 0x123, first), "kept");
        for (const UInt16 identifier : {UInt16{2}, UInt16{3}}) {
            EXPECT_EQ(remark(store, keep, identifier, second), "kept");
        }
        remark(store, eSERVERCUSTOMDATARAWTYPE_DeletePersistent, 3);
        remark(store, eSERVERCUSTOMDATARAWTYPE_StoreHost, 4, first);
    }
    HostStore next(file);
    EXPECT_EQ(kept(next, 0x123), first);
    EXPECT_EQ(kept(next, 2), second);
    EXPECT_EQ(kept(next, 3), Bytes());
    EXPECT_EQ(kept(next, 4), Bytes());

    std::filesystem::resize_file(file, std::filesystem::file_size(file) - 1);
    HostStore cut(file);
    EXPECT_EQ(kept(cut, 2), second);
    EXPECT_EQ(kept(cut, 0x123), Bytes()) << "what is cut off is not there";

    // Whatever else comes to be there is not for us.
    std::ofstream(file) << "a letter";
    HostStore other(file);
    HostStore lost(testing::TempDir() + "no-such-directory/file");
    for (HostStore* store : {&other, &cut, &lost}) {
        EXPECT_EQ(remark(*store, keep, 1, first), "kept, but the file cannot be written");
    }
    EXPECT_EQ(std::filesystem::file_size(file), 8U);
    EXPECT_EQ(kept(lost, 1), first);
}

TEST(HostStore, KeepsBlocksUpToItsQuota) {
    HostStore store;
    constexpr auto keep = eSERVERCUSTOMDATARAWTYPE_StoreHost;
    const auto get = [&] { return store.apply(eSERVERCUSTOMDATARAWTYPE_GetHost, 7, {}).answer; };
    EXPECT_EQ(get(), Bytes());
    EXPECT_EQ(remark(store, keep, 7, {1, 2, 3}), "kept");
    EXPECT_EQ(get(), (Bytes{1, 2, 3}));
    remark(store, eSERVERCUSTOMDATARAWTYPE_DeleteHost, 7);
    EXPECT_EQ(get(), Bytes());

    const Bytes large(0xFFFF);
    UInt16 count = 0;
    while (remark(store, keep, count, large) == "kept") {
        ASSERT_LE(++count, Blocks::quota / large.size());
    }
    EXPECT_EQ(count, Blocks::quota / large.size());
    EXPECT_EQ(remark(store, keep, 0, large), "kept")
        << "a block takes the room of the one that it replaces";
}

}  // namespace
}  // namespace quarlo::headunit
