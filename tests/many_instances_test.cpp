/*
 * 32 instances in one process, each with a phone and all with the tables that the process has once:
 * audio sources, the shared raw store, the blacklist, the plug-ins. Nothing is lost, and nothing of
 * one connection reaches another. Links and callbacks take no lock and count relaxed: what the
 * test orders by itself would hide races of the library from a sanitizer.
 */
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <map>
#include <memory>
#include <thread>

#include "ApiCalls.h"
#include "Deflated.h"
#include "Radio.h"
#include "Recording.h"
#include "Supervision.h"

namespace quarlo::test {
namespace {

constexpr unsigned instances = 32;
constexpr unsigned hostThreads = 4;
constexpr unsigned rounds = 20;
constexpr unsigned hostRounds = 5;
constexpr unsigned sharedBlock = 0xFFF;
constexpr unsigned side = 8;
constexpr unsigned voiceSupport = 61;
constexpr unsigned customData = 67;
constexpr unsigned clientSettings = 69;
constexpr auto relaxed = std::memory_order_relaxed;

Bytes raw(unsigned type, const Bytes& payload) {
    return packet(68, u8(3) + u16(type) + u16(static_cast<unsigned>(payload.size())) + payload);
}

Bytes picture(unsigned owner, unsigned round) {
    return Bytes(std::size_t{side * side * 4}, static_cast<std::uint8_t>(owner * 7 + round));
}

/** A number of 16 bits; the tests' identifiers need no more. */
unsigned wordAt(const Bytes& bytes, std::size_t at) {
    return unsigned{bytes[at]} | unsigned{bytes[at + 1]} << 8U;
}

/** What the phone of an instance says, one packet for each read. */
std::vector<Bytes> script(unsigned owner) {
    std::vector<Bytes> packets = handshakePackets();
    const auto add = [&](const Bytes& bytes) { packets.push_back(bytes); };
    for (unsigned round = 0; round < rounds; ++round) {
        const Bytes own(16 + owner, static_cast<std::uint8_t>(owner));
        const UInt32 source = owner * 1000 + round;
        add(packet(26, u8(1) + rectangle(side, side, 2, 100, deflated(picture(owner, round)))));
        add(raw(0x3000 | owner, own));
        add(raw(0x3000 | sharedBlock, own));
        add(raw(0x4000 | owner, {}));
        add(raw(0x4000 | sharedBlock, {}));
        add(packet(56, u32(owner * 4 + round % 4)));
        add(packet(54, u8(2) + u32(owner) + u32(1000 + round % 3)));
        add(serverAudio(source, eAUDIOCONTROL_Request, 3 + round % 4, 0));
        add(packet(64));
        add(serverAudio(source, eAUDIOCONTROL_Release, 3, 0));
        add(packet(128, u32(round)));
    }
    return packets;
}

/** A head unit whose phone is a script. */
class Unit {
  public:
    explicit Unit(unsigned number) : owner(number), packets(script(number)) {}
    ~Unit() { quarlo_DeleteInstance(handle); }
    Unit(const Unit&) = delete;
    Unit& operator=(const Unit&) = delete;

    void start() {
        handle = quarlo_CreateInstance(this, "unit");
        quarlo_SetCallbackContext(handle, this);
        quarlo_SetTraceClass(handle, static_cast<eTraceClass>(0));
        quarlo_SetInitialisationTimeout(handle, 100);
        quarlo_SetClientCapabilities(handle, eCLIENTCAPABILITIES_All, 1);
        quarlo_SetFrameSize(handle, 64, 32, 10, 5);
        quarlo_SetReceiverLink(handle, &Unit::receive);
        quarlo_SetSenderLink(handle, &Unit::send);
        quarlo_SetEndReceiverRequestCallback(handle, [](void*) {});
        quarlo_SetErrorCallback(
            handle, [](void* context, eErrorCode) { of(context).wrong.fetch_add(1, relaxed); });
        quarlo_SetProtocolCallback(handle, [](void* context, eProtocolState state) {
            if (state == ePROTOCOL_STATE_RUN) of(context).isRunning.store(true, relaxed);
        });
        quarlo_SetFrameUpdateCallback(handle, &Unit::show);
        quarlo_SetAudioRequestCallback(handle, &Unit::answerAudio);
        quarlo_StartMainThread(handle);
    }
    void waitForRun() const {
        waitUntil([&] { return isRunning.load(relaxed); });
    }
    void waitForEnd() const {
        waitUntil([&] { return isPlayed.load(relaxed); });
    }
    [[nodiscard]] unsigned sentOf(unsigned type) const { return sent[type].load(relaxed); }

    const unsigned owner;
    void* handle = nullptr;
    std::atomic<unsigned> frames{0};
    std::atomic<unsigned> ownBlocks{0};
    std::atomic<unsigned> sharedBlocks{0};
    std::atomic<unsigned> wrong{0};

  private:
    static Unit& of(void* context) { return *static_cast<Unit*>(context); }

    template <class Condition>
    static void waitUntil(Condition condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(50);
        while (!condition() && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_TRUE(condition());
    }

    static std::size_t receive(void*, UInt8* buffer, std::size_t, void* connection) {
        Unit& self = of(connection);
        if (self.next == self.packets.size()) {
            self.isPlayed.store(true, relaxed);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return 0;
        }
        const Bytes& bytes = self.packets[self.next++];
        std::copy(bytes.begin(), bytes.end(), buffer);
        return bytes.size();
    }

    static void send(void* context, UInt8* buffer, std::size_t size, void*) {
        Unit& self = of(context);
        const Bytes packet(buffer, buffer + size);
        self.sent[packet[0]].fetch_add(1, relaxed);
        if (packet[0] == customData && packet[9] == 3) self.checkBlock(packet);
        const bool isOwn = packet[0] != 59 || wordAt(packet, 9) / 1000 == self.owner;
        if (!isOwn) self.wrong.fetch_add(1, relaxed);
    }

    /** The own block is the own one; the shared one is anybody's, but whole. */
    void checkBlock(const Bytes& packet) {
        const unsigned identifier = wordAt(packet, 10);
        if (identifier == sample::identifier) return;
        const Bytes data(packet.begin() + 14, packet.end());
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
        Unit& self = of(context);
        const Bytes expected = picture(self.owner, self.frames.fetch_add(1, relaxed));
        if (Bytes(data, data + length) != expected) self.wrong.fetch_add(1, relaxed);
    }

    static void answerAudio(void* context, AudioControl control, UInt32 id, AudioType) {
        const Unit& self = of(context);
        const bool isRequest = control == eAUDIOCONTROL_Request;
        quarlo_SetAudioStatus(self.handle, id, isRequest ? eAUDIOSTATUS_Open : eAUDIOSTATUS_Close,
                              eAUDIOREQUESTRESULTCODE_NoError);
    }

    const std::vector<Bytes> packets;
    std::size_t next = 0;
    std::atomic<bool> isRunning{false};
    std::atomic<bool> isPlayed{false};
    std::array<std::atomic<unsigned>, 256> sent{};
};

using Units = std::vector<std::unique_ptr<Unit>>;

/** One round of a host thread on one instance. */
void call(void* h) {
    Arguments samples;
    callAll(About::Packet, h, samples);
    quarlo_FramebufferUpdateRequest(h, 0, 0, 8, 8, 1);
    // What the phone wants changes meanwhile: no packet is certain.
    quarlo_VehicleData(h, 1000, eSTRINGENCODING_UTF8, "{}");
}

/** The packets of a round by type, from a host that is alone. */
std::map<unsigned, unsigned> packetsOfARound() {
    Session alone;
    call(alone.handle());
    std::map<unsigned, unsigned> counts;
    for (const Bytes& packet : alone.host.sent()) ++counts[packet[0]];
    return counts;
}

/** The library's own: taken while all receivers decode, open sources and park blocks. */
void callProcess(void* h) {
    quarlo_SetSupportedCompressions(h, eFRAMECOMPRESSION_ZLIB | eFRAMECOMPRESSION_Uncompressed);
    EXPECT_NE(quarlo_Eng_GetSupportedCompressions() & eFRAMECOMPRESSION_ZLIB, 0U);
    quarlo_GetVersion();
}

void callAll(const Units& units, unsigned first) {
    for (unsigned n = 0; n < hostRounds; ++n) {
        for (unsigned i = 0; i < instances; ++i) {
            Unit& unit = *units[(first + i) % instances];
            unit.waitForRun();
            call(unit.handle);
            if (i % 8 == 0) callProcess(unit.handle);
        }
    }
}

void expectComplete(const Unit& unit, const std::map<unsigned, unsigned>& round) {
    SCOPED_TRACE("instance " + std::to_string(unit.owner));
    EXPECT_EQ(unit.wrong, 0U);
    EXPECT_EQ(unit.frames, rounds);
    EXPECT_EQ(unit.ownBlocks, rounds);
    EXPECT_EQ(unit.sharedBlocks, rounds);
    const unsigned openedAndClosed = 2 * rounds;
    EXPECT_EQ(unit.sentOf(59), openedAndClosed);
    for (const unsigned type : {65U, 129U}) EXPECT_EQ(unit.sentOf(type), rounds) << type;
    for (const auto& [type, count] : round) {
        if (type == customData) continue;
        // The handshake tells the voice support, and the language, which is the process's.
        const unsigned inHandshake = type == voiceSupport || type == clientSettings ? 1 : 0;
        EXPECT_EQ(unit.sentOf(type), hostThreads * hostRounds * count + inHandshake) << type;
    }
}

TEST(ManyInstances, ShareTheProcessAndNothingElse) {
    {
        const Library library;
        UInt8 language[] = {'e', 'n', 'g'};
        quarlo_SetISO639LanguageCode(nullptr, language);
        const std::map<unsigned, unsigned> round = packetsOfARound();
        Units units;
        for (unsigned i = 0; i < instances; ++i) units.push_back(std::make_unique<Unit>(i));
        for (const auto& unit : units) unit->start();
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < hostThreads; ++i) {
            threads.emplace_back([&units, i] { callAll(units, i * 7); });
        }
        for (std::thread& thread : threads) thread.join();
        for (const auto& unit : units) unit->waitForEnd();
        for (const auto& unit : units) expectComplete(*unit, round);
        EXPECT_EQ(Radio::sources(), Lines{});
        // From several threads at once, as hosts with a thread for each phone do.
        threads.clear();
        for (auto& unit : units) threads.emplace_back([&unit] { unit.reset(); });
        for (std::thread& thread : threads) thread.join();
    }
    EXPECT_EQ(supervision::unjoined(), 0);
    EXPECT_EQ(supervision::wrongJoins(), 0);
}

}  // namespace
}  // namespace quarlo::test
