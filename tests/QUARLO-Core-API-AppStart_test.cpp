/* Starting apps, and the requests for their icons. */
#include <gtest/gtest.h>

#include <optional>

#include "Calls.h"

namespace quarlo::test {
namespace {

/* ---- app start ---- */

char one[] = "one";
char two[] = "two";
char empty[] = "";
KeyValue pairs[] = {{one, two}, {empty, one}};
KeyValueList both{2, pairs};
KeyValueList none{0, nullptr};

TEST(AppStart, IsSentWithItsLists) {
    const Bytes no = u8(0);
    const Bytes bothWire = u8(2) + text("one") + text("two") + text("") + text("one");
    const Lines outside{"WRN AppStart feature and therefore StartApp not supported by phone.",
                        "= NOT_SUPPORTED"};
    const auto start = [&](const std::string& url, KeyValueList* modes, KeyValueList* options,
                           const Lines& more, const Bytes& sent, const Lines& failure) {
        const std::string line = "INF StartApp with IdentifierURL='" + url;
        Sending sending{[=](void* h) { return quarlo_StartApp(h, url.c_str(), modes, options); },
                        Lines{url.size() < 1000 ? line + "'" : line.substr(0, 4 + 1023)} + more,
                        packet(73, sent), outside};
        if (!failure.empty()) sending.failures = {sending.lines + failure};
        return sending;
    };
    const Lines modes{"VER pLaunchModesNoEntries=2."};
    const Lines options{"VER pOptionsNoEntries=2, "};
    const Lines noMemory{"= MEM_ALLOC"};
    const Lines noPacket{"WRN creation of ClientStartApp packet failed.", "= PACKET_MEMORY"};
    const Bytes app = text("app:%s");
    const std::string longest(65535, 'u');
    expectSendings({
        start("app:%s", nullptr, nullptr, {}, app + no + no, {}),
        start("app:%s", &both, &both, modes + options, app + bothWire + bothWire, noMemory),
        start("app:%s", &none, nullptr, {"VER pLaunchModesNoEntries=0."}, app + no + no, {}),
        start("app:%s", nullptr, &both, options, app + no + bothWire, noMemory),
        start(longest, nullptr, nullptr, {}, text(longest) + no + no, noPacket),
        // What does not fit is sent empty.
        start(longest + "u", nullptr, nullptr, {}, text("") + no + no, {}),
    });
}

TEST(AppStart, IsRefused) {
    Session session;
    EXPECT_EQ(session.call(quarlo_StartApp, nullptr, nullptr, nullptr), Lines{"= NULL_PARAM"});
    KeyValue torn[] = {{one, two}, {one, nullptr}};
    KeyValue keyless[] = {{nullptr, two}};
    KeyValueList lists[] = {{2, torn}, {1, keyless}, {1, nullptr}};
    for (KeyValueList& list : lists) {
        EXPECT_EQ(session.call(quarlo_StartApp, "u", &list, nullptr).back(), "= NULL_PARAM");
        EXPECT_EQ(session.call(quarlo_StartApp, "u", &both, &list).back(), "= NULL_PARAM");
    }
    EXPECT_EQ(_quarlo_CopyKeyValueList(nullptr, &both), eRETURN_NULL_PARAM);
    qrKeyValueList to{};
    EXPECT_EQ(_quarlo_CopyKeyValueList(&to, nullptr), eRETURN_NULL_PARAM);
    Idle idle;
    idle.record()->serverCapabilities = 4;
    EXPECT_EQ(idle.call(quarlo_StartApp, "u", nullptr, nullptr),
              (Lines{"INF StartApp with IdentifierURL='u'",
                     "WRN StartApp received in wrong state; ignored.", "= STATE_NOT_RUN"}));
}

TEST(AppStart, TheAnswerReachesTheHost) {
    const Lines head{"INF Received ServerAppStartedResponse"};
    const Lines failed = head + "WRN allocation for IdentifierURL failed.";
    const auto answer = [](const std::string& url, unsigned status) {
        return packet(74, text(url) + u8(status));
    };
    Session session;
    // The text names the icon's callback.
    EXPECT_EQ(session.hear(answer("app:a", 2)),
              head + "WRN AppStartedResponse received, but onAppIconResponseCallback not set.");
    session.listenTo<Callback::AppStartedResponse>(quarlo_SetAppStartedResponseCallback);
    EXPECT_EQ(session.hear(answer("app:a", 2) + answer("%s", 200)),
              head + "AppStartedResponse app:a 2" + head + "AppStartedResponse %s 200");
    EXPECT_EQ(session.hear(answer("", 2)), failed);
    EXPECT_EQ(hearWithoutMemory(session, answer(std::string(65535, 'u'), 2)), failed);

    Idle idle;
    idle.listenTo<Callback::AppStartedResponse>(quarlo_SetAppStartedResponseCallback);
    expectRefusals(idle, onReceiveServerAppStarted,
                   head + "WRN onReceiveServerAppStarted called with NULL packet.",
                   head + "WRN AppStartedResponse received in wrong state; ignored.");
}

/* ---- icon requests ---- */

Bytes iconRequest(const std::string& url, unsigned width, unsigned height,
                  const Bytes& format = u8(3) + u8(2) + u32(0) + u8(4)) {
    return packet(71, u16(width) + u16(height) + format + text(url));
}

TEST(IconRequest, OneAtATimeTakesTheFormatOfTheFrame) {
    Session session;
    const std::string usesFrame = "WRN RequestAppIcon - uses frame format for icon.";
    EXPECT_EQ(session.call(quarlo_RequestAppIcon, "app:%s", 64, 65535),
              Lines{"INF RequestAppIcon with IdentifierURL='app:%s'"} + usesFrame +
                  sending(iconRequest("app:%s", 64, 65535)));
    // Only an answer for this app ends it.
    const Lines pending{"WRN RequestAppIcon for IdentifierURL='other' is pending; ignored.",
                        "= NOT_ALLOWED"};
    EXPECT_EQ(session.call(quarlo_RequestAppIcon, "other", 1, 2), pending);
    const auto answer = [](const std::string& url) {
        return packet(72, text(url) + u32(1) + u32(4) + u32(0));
    };
    session.hear(answer("other"));
    EXPECT_EQ(session.call(quarlo_RequestAppIcon, "other", 1, 2), pending);
    session.hear(answer("app:%s"));
    // The frame's format was kept, and is no longer told of.
    EXPECT_EQ(session.call(quarlo_RequestAppIcon, "other", 1, 2),
              Lines{"INF RequestAppIcon with IdentifierURL='other'"} +
                  sending(iconRequest("other", 1, 2)));
}

TEST(IconRequest, TakesItsOwnFormat) {
    Idle session;
    EXPECT_EQ(quarlo_SetPixelFormatEx(session.handle(), eGRAPHICTYPE_Icon, ePIXELFORMAT_RGBA8888, 4,
                                      ePIXELENDIANESS_BigEndian),
              eRETURN_OKAY);
    session.host.run();
    EXPECT_EQ(
        session.call(quarlo_RequestAppIcon, "u", 1, 2),
        Lines{"INF RequestAppIcon with IdentifierURL='u'"} +
            sending(iconRequest("u", 1, 2, u8(ePIXELFORMAT_RGBA8888) + u8(1) + u32(0) + u8(4))));
}

TEST(IconRequest, IsRefused) {
    Session session;
    const Lines traced{"INF RequestAppIcon with IdentifierURL='u'"};
    EXPECT_EQ(session.call(quarlo_RequestAppIcon, nullptr, 1, 1), Lines{"= NULL_PARAM"});
    quarlo_SetPixelFormat(session.handle(), ePIXELFORMAT_RGB565, 2, ePIXELENDIANESS_LittleEndian);
    EXPECT_EQ(session.call(quarlo_RequestAppIcon, "u", 1, 1),
              traced + "WRN RequestAppIcon - icon format not allowed - use 4 byte coding." +
                  "= NOT_ALLOWED");
    session.record()->serverCapabilities = 3;
    EXPECT_EQ(session.call(quarlo_RequestAppIcon, "u", 1, 1),
              (Lines{"WRN AppStart feature and therefore RequestAppIcon not supported by phone.",
                     "= NOT_SUPPORTED"}));
    Idle idle;
    idle.record()->serverCapabilities = 4;
    EXPECT_EQ(idle.call(quarlo_RequestAppIcon, "u", 1, 1),
              traced + "WRN RequestAppIcon received in wrong state; ignored." + "= STATE_NOT_RUN");
}

TEST(IconRequest, WithoutMemoryIsNotPending) {
    const Library library;
    const std::string url(65535, 'u');
    const Lines head{("INF RequestAppIcon with IdentifierURL='" + url).substr(0, 4 + 1023),
                     "WRN RequestAppIcon - uses frame format for icon."};
    std::optional<Session> session;
    const auto action = [&] {
        const Lines lines = session->call(quarlo_RequestAppIcon, url.c_str(), 1, 1);
        const bool isPending =
            session->record()->iconConfig.eIconReqState == eICONREQUESTSTATE_Requested;
        return lines + (isPending ? "pending" : "not pending");
    };
    // The packet's text names another one.
    expectOutcomes(
        {head + sending(iconRequest(url, 1, 1)) + "pending",
         head + "WRN creation of ClientSettings packet failed." + "= PACKET_MEMORY" + "not pending",
         head + "= MEM_ALLOC" + "not pending", head + "= MEM_ALLOC" + "not pending"},
        [&] { session.emplace(); }, action, [&] { session.reset(); });
}

}  // namespace
}  // namespace quarlo::test
