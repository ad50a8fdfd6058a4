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

TEST(Features, OneStoreForManyPhonesAtOnce) {
    const Library library;
    Bytes blocks;
    for (unsigned n = 0; n < 400; ++n) {
        blocks = blocks + packet(68, u8(3) + u16(0x3000U | n) + u16(3) + Bytes{1, 2, 3});
    }
    std::vector<std::unique_ptr<Session>> sessions;
    for (unsigned i = 0; i < 4; ++i) {
        sessions.push_back(std::make_unique<Session>());
        quarlo_SetTraceClass(sessions.back()->handle(), eTRACECLASS_ERROR);
    }
    for (const auto& session : sessions) session->host.feed(blocks);
    for (const auto& session : sessions) session->host.settle();
    EXPECT_EQ(listGetLength(&coreRawDataList), 400);
}

TEST(Features, ARequestIsAnsweredWhileItsInstanceIsDeleted) {
    const Library library;
    const Session other;
    for (unsigned n = 0; n < 40; ++n) {
        Radio radio;
        radio.react([&](AudioControl, UInt32 id) { radio.answer(id, eAUDIOSTATUS_Open); });
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
