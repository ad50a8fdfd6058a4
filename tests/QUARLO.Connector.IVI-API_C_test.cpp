/* The five functions of every packet, against bytes written by hand. */
#include "QUARLO.Connector.IVI-API_C.h"

#include <gtest/gtest.h>

#include <set>

#include "Calls.h"
#include "Wire.h"

namespace quarlo::test {
namespace {

char untouched;
void* const sentinel = &untouched;

/** The bytes of a packet with other flags, and another payload size in its header. */
Bytes withHeader(const PacketCase& each, const Bytes& flags, const Bytes& size) {
    const Bytes& whole = each.whole.bytes;
    return Bytes{whole[0]} + flags + size + part(whole, 9, whole.size());
}

TEST(Packets, CatalogueHoldsFortySixTypes) {
    std::set<int> types;
    for (const PacketCase& each : packetCases()) types.insert(each.whole.bytes[0]);
    EXPECT_EQ(types.size(), 46U);
    EXPECT_EQ(packetCases().size(), 46U);
}

/** The declared payload size plays no part: 0 here, and the fields are read all the same. */
TEST(Packets, AreDecodedFieldByFieldAndBuiltByteForByte) {
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        const Bytes flags = u32(0xA1B2C3D4);
        Bytes bytes = withHeader(each, flags, u32(0));
        void* at = bytes.data();
        void* decoded = each.decode(&at);
        ASSERT_NE(decoded, nullptr);
        EXPECT_EQ(at, bytes.data() + bytes.size());
        qrPacketHeader*& header = headerOf(decoded);
        EXPECT_EQ(header->PacketType, bytes[0]);
        EXPECT_EQ(header->Flags, 0xA1B2C3D4);
        EXPECT_EQ(header->PayloadSize, 0U);
        EXPECT_EQ(each.contents(decoded).fields, each.fields);

        // The builder chooses the type and the size, whatever the header says.
        header->PacketType = eEVENTTYPE_TouchEvent;
        const Bytes wanted = withHeader(each, flags, u32(bytes.size() - 9));
        void* buffer = nullptr;
        UInt32 size = 0;
        each.build(&buffer, &size, decoded);
        EXPECT_EQ(hex(takeBuffer(buffer, size)), hex(wanted));
        EXPECT_EQ(header->PacketType, bytes[0]);
        EXPECT_EQ(header->PayloadSize, bytes.size() - 9);
        each.remove(decoded);

        // Of another type it is refused behind its header.
        bytes[0] ^= 0x40;
        at = bytes.data();
        EXPECT_EQ(each.decode(&at), nullptr);
        EXPECT_EQ(at, bytes.data() + 9);
        at = nullptr;
        EXPECT_EQ(each.decode(&at), nullptr);
        EXPECT_EQ(each.decode(nullptr), nullptr);
    }
}

/** Zeros throughout; only the first level of members is there, so NavigateTo lacks positions. */
TEST(Packets, AreEmptyWhenNew) {
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        void* made = each.create();
        ASSERT_NE(made, nullptr);
        const qrPacketHeader& header = *headerOf(made);
        EXPECT_EQ(header.PacketType + header.Flags + header.PayloadSize, 0U);
        void* buffer = sentinel;
        UInt32 size = 1;
        each.build(&buffer, &size, made);
        EXPECT_EQ(size == 0, std::string_view(each.name) == "NavigateTo");
        EXPECT_EQ(buffer == sentinel, size == 0);
        if (size != 0) {
            EXPECT_EQ(hex(takeBuffer(buffer, size)),
                      hex(packet(each.whole.bytes[0], Bytes(size - 9))));
        }
        each.remove(made);
        each.remove(nullptr);
    }
}

TEST(Packets, BuildersClearWhatTheyCannotFill) {
    using Left = std::pair<void*, UInt32>;
    const auto left = [](bool hasBuffer, bool hasSize, auto build) {
        Left given{sentinel, 5};
        build(hasBuffer ? &given.first : nullptr, hasSize ? &given.second : nullptr);
        return given;
    };
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        void* whole = filled(each);
        const auto build = [&](void** b, UInt32* s) { each.build(b, s, whole); };
        EXPECT_EQ(left(true, false, build), Left(nullptr, 5));
        EXPECT_EQ(left(false, true, build), Left(sentinel, 0));
        EXPECT_EQ(left(true, true, [&](auto... to) { each.build(to..., nullptr); }),
                  Left(nullptr, 0));
        each.remove(whole);
    }
    qrPacketHeader header{};
    const auto fromFields = [&](auto... to) { packetPingToBufferFromFields(to..., &header, 7); };
    EXPECT_EQ(left(true, false, fromFields), Left(nullptr, 5));
    EXPECT_EQ(left(false, true, fromFields), Left(sentinel, 0));
    EXPECT_EQ(left(true, true, [](auto... to) { packetPingToBufferFromFields(to..., nullptr, 7); }),
              Left(sentinel, 0));
}

/** What a builder makes of fields: the bytes, or none and a buffer pointer as it was. */
template <class Build>
std::string built(Build build) {
    void* buffer = sentinel;
    UInt32 size = 5;
    qrPacketHeader header{eEVENTTYPE_Ping, 0, 77};
    build(&buffer, &size, &header);
    EXPECT_EQ(buffer == sentinel, size == 0);
    EXPECT_TRUE(size == 0 || header.PayloadSize == size - 9);
    return size == 0 ? "refused" : hex(takeBuffer(buffer, size));
}

TEST(Packets, BuildersRefuseAbsentMembersAndRuns) {
    qrString empty{}, broken{eSTRINGENCODING_UTF8, 3, nullptr};
    qrTouchList touches{2, nullptr};
    qrKeyValue half{&empty, nullptr};
    qrKeyValue* entries[] = {nullptr, &half};
    qrKeyValueList none{}, behindAnAbsentOne{2, entries};
    UInt8 byte = 0;
    const std::string results[] = {
        built([](auto... to) { packetClientProtocolVersionToBufferFromFields(to..., nullptr); }),
        built([&](auto... to) { packetTouchEventToBufferFromFields(to..., &touches, 1); }),
        built([](auto... to) { packetClientSettingsToBufferFromFields(to..., nullptr); }),
        built([](auto... to) {
            packetClientCustomDataToBufferFromFields(to..., eCUSTOMDATAEVENT_Raw, 1, 4, nullptr);
        }),
        built([](auto... to) { packetSetVehicleDataFilterToBufferFromFields(to..., 1, nullptr); }),
        built([&](auto... to) { packetPositionInformationToBufferFromFields(to..., &broken); }),
        built([&](auto... to) {
            packetClientStartAppToBufferFromFields(to..., &empty, &none, &behindAnAbsentOne);
        })};
    for (const std::string& result : results) EXPECT_EQ(result, "refused");

    UInt32 keys[] = {1, 2};
    EXPECT_EQ(
        built([&](auto... to) { packetSetVehicleDataFilterToBufferFromFields(to..., 2, keys); }),
        hex(packet(54, u8(2) + u32(1) + u32(2))));
    for (UInt32* const given : {static_cast<UInt32*>(nullptr), keys}) {
        EXPECT_EQ(built([&](auto... to) {
                      packetSetVehicleDataFilterToBufferFromFields(to..., 0, given);
                  }),
                  hex(packet(54, u8(0))));
    }
    // More than the header can say is refused before anything is read or allocated.
    allocations::restart();
    EXPECT_EQ(built([&](auto... to) {
                  packetServerAppIconToBufferFromFields(to..., &empty, 1, eFRAMECOMPRESSION_JPEG,
                                                        0xFFFFFFFF, &byte);
              }),
              "refused");
    EXPECT_EQ(allocations::made(), 0);
}

TEST(PacketsWithoutMemory, AreNotCreatedOrBuilt) {
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        const long created = allocations::sweep([&](long refused) {
            void* made = each.create();
            EXPECT_EQ(made == nullptr, refused != 0);
            each.remove(made);
        });
        EXPECT_GE(created, 2);  // the record and its header
        void* whole = filled(each);
        const long requests = allocations::sweep([&](long refused) {
            void* buffer = nullptr;
            UInt32 size = 5;
            each.build(&buffer, &size, whole);
            EXPECT_EQ(size == 0, refused != 0);
            EXPECT_EQ(buffer == nullptr, refused != 0);
            quarlo_free(buffer);
        });
        EXPECT_EQ(requests, 1);
        each.remove(whole);
    }
}

/** An entry of a list may be missing; everything else is had whole or not at all. */
TEST(PacketsWithoutMemory, AreNotDecoded) {
    // Where a list ends with the packet, one that ended early stays; behind it nothing is found.
    const std::set<std::string> endInLists{"ClientStartApp", "FramebufferUpdate", "ServerAppInfo"};
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        bool hadHoles = false;
        allocations::sweep([&](long refused) {
            void* decoded = filled(each);
            if (refused == 0) {
                EXPECT_EQ(each.contents(decoded).fields, each.fields);
            } else if (decoded != nullptr) {
                const Contents contents = each.contents(decoded);
                EXPECT_GT(contents.holes, 0U);
                EXPECT_TRUE(contents.holesAreAtEnds);
                EXPECT_TRUE(contents.countsAreHonest);
                hadHoles = true;
            }
            each.remove(decoded);
        });
        EXPECT_EQ(hadHoles, endInLists.count(each.name) == 1);
    }
}

}  // namespace
}  // namespace quarlo::test
