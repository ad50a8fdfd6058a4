/*
 * 32 instances in one process, each with a phone and all with the tables that the process has once:
 * audio sources, the shared raw store, the blacklist, the plug-ins. Nothing is lost, and nothing of
 * one connection reaches another.
 */
#include <gtest/gtest.h>

#include <memory>

#include "Deflated.h"
#include "Radio.h"
#include "Recording.h"
#include "Supervision.h"
#include "Unit.h"

namespace quarlo::test {
namespace {

constexpr unsigned instances = 32;
constexpr unsigned hostThreads = 4;
constexpr unsigned rounds = 20;
constexpr unsigned hostRounds = 5;
constexpr unsigned sharedBlock = 0xFFF;
constexpr unsigned side = 8;

Bytes raw(unsigned type, const Bytes& payload) {
    return packet(68, u8(3) + u16(type) + u16(static_cast<unsigned>(payload.size())) + payload);
}

Bytes picture(unsigned owner, unsigned round) {
    return Bytes(std::size_t{side * side * 4}, static_cast<std::uint8_t>(owner * 7 + round));
}

/** A number of 16 bits; the tests' identifiers need no more. */
unsigned wordAt(const UInt8* at) {
    return unsigned{at[0]} | unsigned{at[1]} << 8U;
}

/** What the phone of an instance says in RUN. */
std::vector<Bytes> script(unsigned owner) {
    std::vector<Bytes> packets;
    for (unsigned round = 0; round < rounds; ++round) {
        const Bytes own(16 + owner, static_cast<std::uint8_t>(owner));
        const UInt32 source = owner * 1000 + round;
        for (const Bytes& bytes :
             {packet(26, u8(1) + rectangle(side, side, 2, 100, deflated(picture(owner, round)))),
              raw(0x3000 | owner, own), raw(0x3000 | sharedBlock, own), raw(0x4000 | owner, {}),
              raw(0x4000 | sharedBlock, {}), packet(56, u32(owner * 4 + round % 4)),
              packet(54, u8(2) + u32(owner) + u32(1000 + round % 3)),
              serverAudio(source, eAUDIOCONTROL_Request, 3 + round % 4, 0), packet(64),
              serverAudio(source, eAUDIOCONTROL_Release, 3, 0), packet(128, u32(round))}) {
            packets.push_back(bytes);
        }
    }
    return packets;
}

class Member : public Unit {
  public:
    explicit Member(unsigned number) : owner(number), packets(script(number)) {
        open();
        quarlo_SetFrameUpdateCallback(handle, &Member::show);
        start();
    }
    ~Member() override { close(); }
    Member(const Member&) = delete;
    Member& operator=(const Member&) = delete;

    [[nodiscard]] bool hasPlayed() const { return isPlayed.load(relaxed); }

    void heard(const Heard& what) override {
        Unit::heard(what);
        if (what.callback == Callback::Error) wrong.fetch_add(1, relaxed);
        if (what.callback != Callback::AudioRequest) return;
        const bool isRequest = what.numbers[0] == eAUDIOCONTROL_Request;
        quarlo_SetAudioStatus(handle, what.numbers[1],
                              isRequest ? eAUDIOSTATUS_Open : eAUDIOSTATUS_Close,
                              eAUDIOREQUESTRESULTCODE_NoError);
    }
    void write(const UInt8* buffer, std::size_t size) override {
        Unit::write(buffer, size);
        const bool isBlock = buffer[0] == eEVENTTYPE_ClientCustomData && buffer[9] == 3;
        if (isBlock) checkBlock(wordAt(buffer + 10), Bytes(buffer + 14, buffer + size));
        const bool isAudio = buffer[0] == eEVENTTYPE_ClientAudio;
        if (isAudio && wordAt(buffer + 9) / 1000 != owner) wrong.fetch_add(1, relaxed);
    }

    const unsigned owner;
    std::atomic<unsigned> frames{0};
    std::atomic<unsigned> ownBlocks{0};
    std::atomic<unsigned> sharedBlocks{0};
    std::atomic<unsigned> wrong{0};

  protected:
    Bytes speak() override {
        if (next < packets.size()) return packets[next++];
        isPlayed.store(true, relaxed);
        return {};
    }

  private:
    /** The own block is the own one; the shared one is anybody's, but whole. */
    void checkBlock(unsigned identifier, const Bytes& data) {
        if (identifier == sample::identifier) return;
        if (data.empty() || data != Bytes(16U + data[0], data[0])) {
            wrong.fetch_add(1, relaxed);
        } else if (identifier == owner && data[0] == owner) {
            ownBlocks.fetch_add(1, relaxed);
        } else if (identifier == sharedBlock) {
            sharedBlocks.fetch_add(1, relaxed);
        }
    }
    static void show(void* context, UInt8, UInt16, UInt16, UInt16, UInt16, UInt8* data,
                     UInt32 length) {
        auto& self = static_cast<Member&>(listenerOf(context));
        const Bytes expected = picture(self.owner, self.frames.fetch_add(1, relaxed));
        if (Bytes(data, data + length) != expected) self.wrong.fetch_add(1, relaxed);
    }

    const std::vector<Bytes> packets;
    std::size_t next = 0;
    std::atomic<bool> isPlayed{false};
};

using Members = std::vector<std::unique_ptr<Member>>;

/** One round of a host thread on one instance; what the phone wants changes meanwhile. */
void call(void* h) {
    Arguments samples;
    callAll(About::Packet, h, samples);
    quarlo_VehicleData(h, 1000, eSTRINGENCODING_UTF8, "{}");
    // The library's own: while all receivers decode, open sources and park blocks.
    quarlo_SetSupportedCompressions(h, eFRAMECOMPRESSION_ZLIB | eFRAMECOMPRESSION_Uncompressed);
    EXPECT_NE(quarlo_Eng_GetSupportedCompressions() & eFRAMECOMPRESSION_ZLIB, 0U);
    quarlo_GetVersion();
}

void callEverybody(const Members& members, unsigned first) {
    for (unsigned n = 0; n < hostRounds; ++n) {
        for (unsigned i = 0; i < instances; ++i) {
            const Member& member = *members[(first + i) % instances];
            EXPECT_TRUE(waitFor([&] { return member.isInRun(); }));
            call(member.handle);
        }
    }
}

void expectComplete(const Member& member) {
    SCOPED_TRACE("instance " + std::to_string(member.owner));
    EXPECT_TRUE(waitFor([&] { return member.hasPlayed(); }));
    EXPECT_EQ(member.wrong, 0U);
    EXPECT_EQ(member.frames, rounds);
    EXPECT_EQ(member.ownBlocks, rounds);
    EXPECT_EQ(member.sharedBlocks, rounds);
    EXPECT_EQ(member.sentOf(eEVENTTYPE_ClientAudio), 2 * rounds);  // opened and closed
    EXPECT_EQ(member.sentOf(eEVENTTYPE_AudioTypeResponse), rounds);
    EXPECT_EQ(member.sentOf(eEVENTTYPE_PingAcknowledge), rounds);
    for (const auto type :
         {eEVENTTYPE_SoftkeyEvent, eEVENTTYPE_SetBlockMode, eEVENTTYPE_PositionInformation}) {
        EXPECT_EQ(member.sentOf(type), hostThreads * hostRounds) << type;
    }
}

TEST(ManyInstances, ShareTheProcessAndNothingElse) {
    {
        const Library library;
        Members members;
        for (unsigned i = 0; i < instances; ++i) members.push_back(std::make_unique<Member>(i));
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < hostThreads; ++i) {
            threads.emplace_back([&members, i] { callEverybody(members, i * 7); });
        }
        for (std::thread& thread : threads) thread.join();
        for (const auto& member : members) expectComplete(*member);
        EXPECT_EQ(Radio::sources(), Lines{});
        // From several threads at once, as hosts with a thread for each phone do.
        threads.clear();
        for (auto& member : members) threads.emplace_back([&member] { member.reset(); });
        for (std::thread& thread : threads) thread.join();
    }
    EXPECT_EQ(supervision::unjoined(), 0);
    EXPECT_EQ(supervision::wrongJoins(), 0);
}

}  // namespace
}  // namespace quarlo::test
