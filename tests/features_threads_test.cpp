/* What only one lock orders, without other traffic, whose locks would order it by chance. */
#include <gtest/gtest.h>

#include <algorithm>
#include <barrier>
#include <memory>

#include "Radio.h"
#include "Supervision.h"
#include "Unit.h"

namespace quarlo::test {
namespace {

Bytes raw(unsigned type, const Bytes& payload) {
    return packet(68, u8(3) + u16(type) + u16(static_cast<unsigned>(payload.size())) + payload);
}

/** Raw blocks, audio sources and the blacklist; and nothing of one phone reaches another. */
TEST(Features, OneProcessForManyPhonesAtOnce) {
    constexpr unsigned phones = 4;
    constexpr unsigned own = 60;
    constexpr unsigned rounds = 200;
    const Library library;
    std::vector<std::unique_ptr<Session>> sessions;
    std::vector<Bytes> scripts(phones);
    for (unsigned i = 0; i < phones; ++i) {
        sessions.push_back(std::make_unique<Session>());
        void* const h = sessions.back()->handle();
        quarlo_SetTraceClass(h, eTRACECLASS_ERROR);
        quarlo_SetClientCapabilities(h, eCLIENTCAPABILITIES_AudioHandling, 1);
        for (unsigned n = 0; n < rounds; ++n) {
            const UInt32 number = i * own + n % own;
            scripts[i] = scripts[i] + raw(0x3000 | n, {1, 2, 3}) + raw(0x1001, u8(i)) +
                         raw(0x2001, {}) + packet(56, u32(number)) +
                         serverAudio(number, eAUDIOCONTROL_Request, eAUDIOTYPE_Chime, 0);
        }
    }
    const std::size_t handshake = sessions[0]->host.sent().size();
    for (unsigned i = 0; i < phones; ++i) sessions[i]->host.feed(scripts[i]);
    for (const auto& session : sessions) {
        EXPECT_TRUE(waitFor([&] { return session->host.sent().size() == handshake + rounds; }));
        session->host.settle();
    }
    EXPECT_EQ(listGetLength(&coreRawDataList), static_cast<int>(rounds));
    EXPECT_EQ(Radio::sources().size(), phones * own);
    EXPECT_EQ(vehicleDataBlackListLength, phones * own);
    for (unsigned i = 0; i < phones; ++i) {
        const Bytes block = packet(67, u8(3) + u16(1) + u16(1) + u8(i));
        const std::vector<Bytes> sent = sessions[i]->host.sent();
        EXPECT_EQ(
            std::vector<Bytes>(sent.begin() + static_cast<std::ptrdiff_t>(handshake), sent.end()),
            std::vector<Bytes>(rounds, block));
        EXPECT_EQ(sessions[i]->host.linesWith("e"), Lines{});
    }
    // From several threads at once, as hosts with a thread for each phone do.
    std::vector<std::thread> threads;
    for (auto& session : sessions) threads.emplace_back([&session] { session.reset(); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(Radio::sources(), Lines{});
    EXPECT_EQ(supervision::unjoined(), 0);
}

TEST(Features, ARequestIsAnsweredWhileItsInstanceIsDeleted) {
    const Library library;
    const Session other;
    for (unsigned n = 0; n < 40; ++n) {
        Radio radio;
        radio.host.reaction = [&](const Heard& what) {
            radio.answer(what.numbers[1], eAUDIOSTATUS_Open);
        };
        radio.ask(1, eAUDIOTYPE_Chime, 100);
        std::thread host([&] {
            quarlo_SetAudioStatus(other.handle(), 1,
                                  n % 2 == 0 ? eAUDIOSTATUS_Close : eAUDIOSTATUS_Open,
                                  eAUDIOREQUESTRESULTCODE_NoError);
        });
        radio.host.remove();
        host.join();
    }
    EXPECT_EQ(Radio::sources(), Lines{});
    EXPECT_EQ(supervision::unjoined(), 1);  // the other one's receiver
}

TEST(Features, OfTwoIconRequestsAtOnceOneIsSent) {
    const Library library;
    const Session session;
    void* const h = session.handle();
    static std::barrier both(2);
    quarlo_SetTraceClass(h, eTRACECLASS_INFORMATION);
    quarlo_SetTraceOutput(h, [](void*, eTraceClass, char* text) {
        // When this is said, none was pending.
        if (std::string(text) == "RequestAppIcon with IdentifierURL='app0'") both.arrive_and_wait();
    });
    eReturnCode results[2] = {};
    std::thread other([&] { results[0] = quarlo_RequestAppIcon(h, "app0", 4, 4); });
    results[1] = quarlo_RequestAppIcon(h, "app0", 4, 4);
    other.join();
    EXPECT_EQ(std::count(results, results + 2, eRETURN_OKAY), 1);
    EXPECT_EQ(std::count(results, results + 2, eRETURN_NOT_ALLOWED), 1);
}

TEST(Features, ADescriptionIsReadWhileItIsReplaced) {
    const Library library;
    Session session;
    Host& host = session.host;
    quarlo_SetTraceClass(host.handle(), eTRACECLASS_ERROR);
    std::atomic<bool> isEnough{false};
    std::thread reader([&] {
        Arguments samples;
        while (!isEnough.load(relaxed)) {
            apiCall("quarlo_GetServerAppName").call(host.handle(), samples);
            apiCall("quarlo_GetAvailableSoftkeys").call(host.handle(), samples);
        }
    });
    for (unsigned n = 0; n < 100; ++n) {
        host.record()->currentState = ePROTOCOL_STATE_INIT_SERVER;
        host.feed(Host::serverInit("phone " + std::to_string(n)));
        host.waitUntil([&] { return host.record()->currentState != ePROTOCOL_STATE_INIT_SERVER; });
    }
    isEnough.store(true, relaxed);
    reader.join();
    EXPECT_EQ(host.linesWith("error "), Lines{});
}

}  // namespace
}  // namespace quarlo::test
