/* The five functions of every packet, against bytes written by hand. */
#include "QUARLO.Connector.IVI-API_C.h"

#include <gtest/gtest.h>

#include <set>

#include "Allocations.h"
#include "Wire.h"

namespace quarlo::test {
namespace {

char untouched;
void* const sentinel = &untouched;

TEST(Packets, CatalogueHoldsFortySixTypes) {
    std::set<int> types;
    for (const PacketCase& each : packetCases()) types.insert(each.whole.bytes[0]);
    EXPECT_EQ(types.size(), 46U);
    EXPECT_EQ(packetCases().size(), 46U);
}

/** Builds twice, from the record and from its fields, and takes the packet's bytes. */
TEST(Packets, AreBuiltByteForByte) {
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        void* packet = filled(each);
        qrPacketHeader*& header = headerOf(packet);
        header->Flags = 0xA1B2C3D4;
        Bytes wanted = each.whole.bytes;
        const Bytes flags = u32(0xA1B2C3D4);
        std::copy(flags.begin(), flags.end(), wanted.begin() + 1);

        void* buffer = nullptr;
        UInt32 size = 0;
        each.build(&buffer, &size, packet);
        EXPECT_EQ(hex(takeBuffer(buffer, size)), hex(wanted));
        EXPECT_EQ(header->PacketType, each.whole.bytes[0]);
        EXPECT_EQ(header->PayloadSize, each.whole.bytes.size() - 9);

        // The builder chooses the type and the size, whatever the caller's header says.
        qrPacketHeader own{eEVENTTYPE_Ping, 0xA1B2C3D4, 77};
        each.buildFromFields(&buffer, &size, &own, packet);
        EXPECT_EQ(hex(takeBuffer(buffer, size)), hex(wanted));
        EXPECT_EQ(own.PacketType, each.whole.bytes[0]);
        EXPECT_EQ(own.PayloadSize, each.whole.bytes.size() - 9);
        each.remove(packet);
    }
    EXPECT_EQ(allocations::live(), 0);
}

TEST(Packets, AreDecodedFieldByField) {
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        Bytes bytes = each.whole.bytes;
        bytes[1] = 0x5A;
        void* at = bytes.data();
        void* packet = each.decode(&at);
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(at, bytes.data() + bytes.size());
        EXPECT_EQ(headerOf(packet)->PacketType, bytes[0]);
        EXPECT_EQ(headerOf(packet)->Flags, 0x5AU);
        EXPECT_EQ(headerOf(packet)->PayloadSize, bytes.size() - 9);
        each.check(packet);
        each.remove(packet);
    }
    EXPECT_EQ(allocations::live(), 0);
}

TEST(Packets, OfAnotherTypeAreRefusedBehindTheirHeader) {
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        Bytes bytes = each.whole.bytes;
        bytes[0] ^= 0x40;
        void* at = bytes.data();
        EXPECT_EQ(each.decode(&at), nullptr);
        EXPECT_EQ(at, bytes.data() + 9);
        at = nullptr;
        EXPECT_EQ(each.decode(&at), nullptr);
        EXPECT_EQ(each.decode(nullptr), nullptr);
    }
    EXPECT_EQ(allocations::live(), 0);
}

/** The declared payload size plays no part: 0 here, and the fields are read all the same. */
TEST(Packets, AreDecodedWhateverTheirPayloadSizeSays) {
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        Bytes bytes = each.whole.bytes;
        std::fill(bytes.begin() + 5, bytes.begin() + 9, std::uint8_t{0});
        void* at = bytes.data();
        void* packet = each.decode(&at);
        ASSERT_NE(packet, nullptr);
        EXPECT_EQ(at, bytes.data() + bytes.size());
        each.check(packet);
        each.remove(packet);
    }
}

/** A new packet is zeros throughout: what it builds, apart from its header, is nothing but zeros.
 */
TEST(Packets, AreEmptyWhenNew) {
    const std::set<std::string> withNullMembers{"NavigateTo"};
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        void* packet = each.create();
        ASSERT_NE(packet, nullptr);
        const qrPacketHeader& header = *headerOf(packet);
        EXPECT_EQ(header.PacketType + header.Flags + header.PayloadSize, 0U);
        void* buffer = sentinel;
        UInt32 size = 1;
        each.build(&buffer, &size, packet);
        const bool isNested = size == 0;
        if (!isNested) {
            const Bytes bytes = takeBuffer(buffer, size);
            EXPECT_EQ(bytes[0], each.whole.bytes[0]);
            EXPECT_EQ(hex(Bytes(bytes.begin() + 9, bytes.end())), hex(Bytes(bytes.size() - 9)));
        } else {
            EXPECT_EQ(buffer, sentinel);
        }
        // Only the first level of members comes with a packet: positions and placemarks of
        // NavigateTo lack theirs.
        EXPECT_EQ(isNested, withNullMembers.count(each.name) == 1);
        each.remove(packet);
        each.remove(nullptr);
    }
    EXPECT_EQ(allocations::live(), 0);
}

TEST(Packets, BuildersClearWhatTheyCannotFill) {
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        void* packet = filled(each);
        void* buffer = sentinel;
        UInt32 size = 5;
        each.build(&buffer, &size, nullptr);
        EXPECT_EQ(buffer, nullptr);
        EXPECT_EQ(size, 0U);
        const auto refusesHalf = [&](auto build) {
            buffer = sentinel;
            build(&buffer, static_cast<UInt32*>(nullptr));
            EXPECT_EQ(buffer, nullptr);
            size = 5;
            build(static_cast<void**>(nullptr), &size);
            EXPECT_EQ(size, 0U);
        };
        refusesHalf([&](void** b, UInt32* s) { each.build(b, s, packet); });
        refusesHalf(
            [&](void** b, UInt32* s) { each.buildFromFields(b, s, headerOf(packet), packet); });
        buffer = sentinel;
        size = 5;
        each.buildFromFields(&buffer, &size, nullptr, packet);
        EXPECT_EQ(buffer, sentinel);
        EXPECT_EQ(size, 0U);
        each.remove(packet);
    }
    EXPECT_EQ(allocations::live(), 0);
}

/** Expects that the builder refuses with size 0 and leaves the buffer pointer as it was. */
template <class Build>
void expectRefused(Build build) {
    void* buffer = sentinel;
    UInt32 size = 5;
    qrPacketHeader header{};
    build(&buffer, &size, &header);
    EXPECT_EQ(size, 0U);
    EXPECT_EQ(buffer, sentinel);
}

TEST(Packets, BuildersRefuseAbsentMembersAndRuns) {
    qrString string{};
    qrTouchList touches{2, nullptr};
    qrKeyValue halfEntry{&string, nullptr};
    qrKeyValue* entries[] = {nullptr, &halfEntry};
    qrKeyValueList none{}, broken{2, entries};
    UInt32 keys[] = {1};
    expectRefused(
        [](auto... to) { packetClientProtocolVersionToBufferFromFields(to..., nullptr); });
    expectRefused([](auto... to) { packetTouchEventToBufferFromFields(to..., nullptr, 1); });
    expectRefused([&](auto... to) { packetTouchEventToBufferFromFields(to..., &touches, 1); });
    expectRefused([](auto... to) { packetClientSettingsToBufferFromFields(to..., nullptr); });
    expectRefused([](auto... to) {
        packetClientCustomDataToBufferFromFields(to..., eCUSTOMDATAEVENT_Raw, 1, 4, nullptr);
    });
    expectRefused(
        [](auto... to) { packetSetVehicleDataFilterToBufferFromFields(to..., 1, nullptr); });
    expectRefused([&](auto... to) {
        packetServerAppIconToBufferFromFields(to..., &string, 1, eFRAMECOMPRESSION_JPEG, 1,
                                              nullptr);
    });
    expectRefused([&](auto... to) {
        packetServerInitToBufferFromFields(to..., &string, 1, nullptr, 0, &string, &string);
    });
    string.Length = 3;  // a length without content
    expectRefused([&](auto... to) { packetPositionInformationToBufferFromFields(to..., &string); });
    string.Length = 0;
    // A null member inside a composite, here behind an absent entry of a list, refuses as well.
    expectRefused([&](auto... to) {
        packetClientStartAppToBufferFromFields(to..., &string, &none, &broken);
    });
    qrFrameRectangle rectangle{};
    qrFrameRectangle* rectangles[] = {&rectangle};
    qrFrameRectangleList regions{1, rectangles};
    expectRefused([&](auto... to) { packetFramebufferUpdateToBufferFromFields(to..., &regions); });

    void* buffer = nullptr;
    UInt32 size = 0;
    qrPacketHeader header{};
    packetSetVehicleDataFilterToBufferFromFields(&buffer, &size, &header, 0, nullptr);
    EXPECT_EQ(hex(takeBuffer(buffer, size)), hex(packet(54, u8(0))));
    packetSetVehicleDataFilterToBufferFromFields(&buffer, &size, &header, 0, keys);
    EXPECT_EQ(hex(takeBuffer(buffer, size)), hex(packet(54, u8(0))));
    packetServerCustomDataToBufferFromFields(&buffer, &size, &header, eCUSTOMDATAEVENT_Can, 1, 0,
                                             nullptr);
    EXPECT_EQ(hex(takeBuffer(buffer, size)), hex(packet(68, u8(4) + u16(1) + u16(0))));
    EXPECT_EQ(allocations::live(), 0);
}

/** A wire size that the header cannot carry is refused before anything is read or allocated. */
TEST(Packets, BuildersRefuseMoreThanTheHeaderCanSay) {
    qrString string{};
    UInt8 byte = 0;
    allocations::restart();
    expectRefused([&](auto... to) {
        packetServerAppIconToBufferFromFields(to..., &string, 1, eFRAMECOMPRESSION_JPEG, 0xFFFFFFFF,
                                              &byte);
    });
    EXPECT_EQ(allocations::made(), 0);
}

TEST(Packets, DecodeEmptyRunsAsNull) {
    Bytes bytes = packet(54, u8(0));
    void* at = bytes.data();
    auto* filter = packetSetVehicleDataFilterFromBuffer(&at);
    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(filter->Length, 0);
    EXPECT_EQ(filter->pKeys, nullptr);
    packetSetVehicleDataFilterDelete(filter);

    bytes = packet(68, u8(1) + u16(1) + u16(0));
    at = bytes.data();
    auto* custom = packetServerCustomDataFromBuffer(&at);
    ASSERT_NE(custom, nullptr);
    EXPECT_EQ(custom->pData, nullptr);
    packetServerCustomDataDelete(custom);
    EXPECT_EQ(allocations::live(), 0);
}

TEST(PacketsWithoutMemory, AreNotCreated) {
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        const long requests = allocations::sweep([&](long refused) {
            void* packet = each.create();
            EXPECT_EQ(packet == nullptr, refused != 0);
            each.remove(packet);
        });
        EXPECT_GE(requests, 2);  // the record and its header
    }
}

TEST(PacketsWithoutMemory, AreNotBuilt) {
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        void* packet = filled(each);
        const long requests = allocations::sweep([&](long refused) {
            void* buffer = nullptr;
            UInt32 size = 5;
            each.build(&buffer, &size, packet);
            EXPECT_EQ(size == 0, refused != 0);
            EXPECT_EQ(buffer == nullptr, refused != 0);
            quarlo_free(buffer);
        });
        EXPECT_EQ(requests, 1);
        each.remove(packet);
    }
}

/** An entry of a list may be missing; everything else is had whole or not at all. */
TEST(PacketsWithoutMemory, AreNotDecoded) {
    // Where a list ends with the packet, one that ended early stays; behind it nothing is found.
    const std::set<std::string> endInLists{"ClientStartApp", "FramebufferUpdate", "ServerAppInfo"};
    for (const PacketCase& each : packetCases()) {
        SCOPED_TRACE(each.name);
        const Bytes bytes = each.whole.bytes;
        bool hadHoles = false;
        allocations::sweep([&](long refused) {
            void* at = const_cast<std::uint8_t*>(bytes.data());
            void* packet = each.decode(&at);
            if (refused == 0) {
                ASSERT_NE(packet, nullptr);
                EXPECT_EQ(each.contents(packet).holes, 0U);
            } else if (packet != nullptr) {
                const Contents contents = each.contents(packet);
                EXPECT_GT(contents.holes, 0U);
                EXPECT_TRUE(contents.holesAreAtEnds);
                EXPECT_TRUE(contents.countsAreHonest);
                hadHoles = true;
            }
            each.remove(packet);
        });
        EXPECT_EQ(hadHoles, endInLists.count(each.name) == 1);
    }
}

}  // namespace
}  // namespace quarlo::test
